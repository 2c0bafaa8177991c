#pragma once

#include <QObject>
#include <QStringList>

// Entry point of the voice memos module: the user's recorded memos.
class TULOVoiceMemosService : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE explicit TULOVoiceMemosService(QObject *parent = nullptr);

    // "Voice Memos" in the user's music folder.
    Q_INVOKABLE QString memosPath() const;
    // Audio files of the folder, newest first.
    Q_INVOKABLE QStringList memoFilePaths() const;
};

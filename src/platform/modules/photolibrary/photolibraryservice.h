#pragma once

#include <QObject>
#include <QStringList>

// Entry point of the photo library module: where the user's pictures live.
class TULOPhotoLibraryService : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE explicit TULOPhotoLibraryService(QObject *parent = nullptr);

    // The pictures folder the library is built over.
    Q_INVOKABLE QString libraryPath() const;
    // True when the folder exists and can be read.
    Q_INVOKABLE bool isAvailable() const;
    // Image and video files directly in the folder and below, sorted by path.
    Q_INVOKABLE QStringList assetFilePaths() const;
};

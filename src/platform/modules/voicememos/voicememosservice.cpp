#include "voicememosservice.h"

#include <QDir>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QStandardPaths>

#include <cstring>

TULOVoiceMemosService::TULOVoiceMemosService(QObject *parent)
    : QObject(parent)
{
}

QString TULOVoiceMemosService::memosPath() const
{
    return QDir(QStandardPaths::writableLocation(QStandardPaths::MusicLocation)).filePath(QStringLiteral("Voice Memos"));
}

QStringList TULOVoiceMemosService::memoFilePaths() const
{
    const QMimeDatabase database;
    QStringList paths;
    const QFileInfoList files = QDir(memosPath()).entryInfoList(QDir::Files | QDir::Readable, QDir::Time);
    for (const QFileInfo &file : files) {
        // CAF is missing from some MIME databases; it is the memo format all the same.
        const bool caf = file.suffix().compare(QLatin1String("caf"), Qt::CaseInsensitive) == 0;
        if (caf || database.mimeTypeForFile(file, QMimeDatabase::MatchExtension).name().startsWith(QLatin1String("audio/")))
            paths << file.absoluteFilePath();
    }
    return paths;
}

extern "C" Q_DECL_EXPORT const QMetaObject *TULOModuleClassNamed(const char *name)
{
    if (name && std::strcmp(name, "TULOVoiceMemosService") == 0)
        return &TULOVoiceMemosService::staticMetaObject;
    return nullptr;
}

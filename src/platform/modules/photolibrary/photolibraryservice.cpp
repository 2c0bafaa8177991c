#include "photolibraryservice.h"

#include <Quillon/platform/library/photolibrary.h>

#include <QDirIterator>
#include <QFileInfo>
#include <QMimeDatabase>
#include <cstring>

TULOPhotoLibraryService::TULOPhotoLibraryService(QObject *parent)
    : QObject(parent)
{
}

QString TULOPhotoLibraryService::libraryPath() const
{
    return TULOPhotoLibrary::defaultLibraryPath();
}

bool TULOPhotoLibraryService::isAvailable() const
{
    const QFileInfo folder(libraryPath());
    return folder.isDir() && folder.isReadable();
}

QStringList TULOPhotoLibraryService::assetFilePaths() const
{
    if (!isAvailable())
        return {};
    const QMimeDatabase database;
    QStringList paths;
    QDirIterator files(libraryPath(), QDir::Files | QDir::Readable, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        const QString type = database.mimeTypeForFile(path, QMimeDatabase::MatchExtension).name();
        if (type.startsWith(QLatin1String("image/")) || type.startsWith(QLatin1String("video/")))
            paths << path;
    }
    paths.sort();
    return paths;
}

extern "C" Q_DECL_EXPORT const QMetaObject *TULOModuleClassNamed(const char *name)
{
    if (name && std::strcmp(name, "TULOPhotoLibraryService") == 0)
        return &TULOPhotoLibraryService::staticMetaObject;
    // The library itself lives in Quillon, which is loaded before any module: the module is
    // the switch that makes it reachable, so that without the module no asset is resolved.
    if (name && std::strcmp(name, "TULOPhotoLibrary") == 0)
        return &TULOPhotoLibrary::staticMetaObject;
    return nullptr;
}

#include "photolibraryservice.h"

#include <Quillon/platform/library/photolibrary.h>

#include <QFileInfo>
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
    // The library's own walk and index, sorted by path.
    QStringList paths;
    for (const TULOPhotoAsset &asset : TULOPhotoLibrary(libraryPath()).assets())
        paths << asset.filePath();
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

#include <Quillon/media/filepathforasseturl.h>

#include <Quillon/media/photopickerviewcontroller.h>
#include <Quillon/platform/library/photolibrary.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <mutex>

namespace {

std::mutex sharedLibraryMutex;
std::shared_ptr<TULOPhotoLibrary> sharedLibrary;

} // namespace

std::shared_ptr<TULOPhotoLibrary> TULOSharedPhotoLibrary()
{
    const QString path = QDir::cleanPath(QFileInfo(TULOPhotoLibrary::defaultLibraryPath()).absoluteFilePath());
    std::lock_guard lock(sharedLibraryMutex);
    if (sharedLibrary && sharedLibrary->libraryPath() == path)
        return sharedLibrary;
    sharedLibrary = TULOModulePhotoLibrary();
    if (sharedLibrary && QCoreApplication::instance()) {
        // Made on whichever thread looked first; it lives on the main thread, whose end it
        // does not outlast (its queue's threads must stop before the application goes).
        if (sharedLibrary->thread() != QCoreApplication::instance()->thread())
            sharedLibrary->moveToThread(QCoreApplication::instance()->thread());
        static std::once_flag cleanup;
        std::call_once(cleanup, [] {
            qAddPostRoutine([] {
                std::lock_guard routineLock(sharedLibraryMutex);
                sharedLibrary.reset();
            });
        });
    }
    return sharedLibrary;
}

QString TULOFilePathForAssetURL(const QUrl &assetURL, TULOError *error)
{
    if (assetURL.isLocalFile())
        return assetURL.toLocalFile();
    const std::shared_ptr<TULOPhotoLibrary> library = TULOSharedPhotoLibrary();
    if (!library) {
        TULOSetError(error, TULOError::withDescription(TULOPhotoLibraryErrorDomain,
                                                       TULOPhotoLibraryErrorUnavailable,
                                                       QStringLiteral("The photo library is not available.")));
        return QString();
    }
    // Anything but an asset URL ends here too, with the library's own error.
    const TULOPhotoAsset asset = library->assetForURLNow(assetURL, error);
    return asset.isNull() ? QString() : asset.filePath();
}

#include <Quillon/media/filepathforasseturl.h>

#include <Quillon/media/photopickerviewcontroller.h>
#include <Quillon/platform/library/photolibrary.h>

QString TULOFilePathForAssetURL(const QUrl &assetURL, TULOError *error)
{
    if (assetURL.isLocalFile())
        return assetURL.toLocalFile();
    const std::shared_ptr<TULOPhotoLibrary> library = TULOModulePhotoLibrary();
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

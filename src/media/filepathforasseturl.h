#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/quillon_export.h>

#include <QString>
#include <QUrl>

#include <memory>

class TULOPhotoLibrary;

// The file behind an attachment's asset URL: a file URL's own path, or the file of a photo
// library asset ("assets-library" URLs, looked up through the photo library module). A null
// string with `error` when there is none: not a URL of either kind, the module absent, or the
// asset gone. A library lookup may scan the pictures folder: call it off the main thread.
QUILLON_EXPORT QString TULOFilePathForAssetURL(const QUrl &assetURL, TULOError *error = nullptr);

// The photo library of the pictures folder in use, one for every caller (its index is opened
// once); another one once the folder changes. Null without the photo library module.
// Thread-safe, as the library's lookups are.
QUILLON_EXPORT std::shared_ptr<TULOPhotoLibrary> TULOSharedPhotoLibrary();

#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/platform/image/metadatastripper.h>

#include <QByteArray>
#include <QByteArrayView>
#include <QCoreApplication>
#include <QString>

#include <functional>

// Metadata removal itself lives in the optional module libquillon-imagemetadata.so, with
// Exiv2: a job that attaches no photo (a text post, a song) then loads neither, which spares
// every start of the command line their loading. The module exports, with C linkage,
// `const TULOImageMetadataEngine *TULOImageMetadataEngineInstance()`; TULOMetadataStripper
// forwards to it, and refuses photos with a clear error when it is missing rather than pass
// them on with their metadata.
using TULOImageSink = std::function<bool(QByteArrayView)>;

struct TULOImageMetadataEngine
{
    // As TULOMetadataStripper::supportedTypeForData.
    QString (*supportedType)(const QByteArray &data, TULOError *error);
    // The stripped image, handed to `sink` in pieces as it is made; false with `error` on
    // failure (a sink that returns false stops it, and sets no error).
    bool (*strip)(const QByteArray &data, const TULOImageSink &sink, QString *typeIdentifier, TULOError *error);
};

// The module's engine, opened on first use; null when the module is missing.
const TULOImageMetadataEngine *TULOImageMetadataEngineShared();

inline QString TULOImageMetadataText(const char *source)
{
    return QCoreApplication::translate("TULOMetadataStripper", source);
}

inline TULOError TULOImageMetadataError(TULOImageMetadataErrorCode code, const QString &description)
{
    return TULOError::withDescription(TULOImageMetadataErrorDomain, code, description);
}

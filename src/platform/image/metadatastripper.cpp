#include <Quillon/platform/image/imagemetadataengine_p.h>

#include <Quillon/platform/optionalmodules.h>

#include <QIODevice>

#ifdef TULO_LINKED_IMAGE_METADATA_ENGINE
// The stripper built on its own (fuzzing, benchmarks) carries the engine in itself.
extern "C" const TULOImageMetadataEngine *TULOImageMetadataEngineInstance();
#endif

const TULOImageMetadataEngine *TULOImageMetadataEngineShared()
{
#ifdef TULO_LINKED_IMAGE_METADATA_ENGINE
    return TULOImageMetadataEngineInstance();
#else
    static const TULOImageMetadataEngine *const engine = TULOOptionalModules::call<const TULOImageMetadataEngine>(
        TULOOptionalModules::ImageMetadata, "TULOImageMetadataEngineInstance");
    return engine;
#endif
}

namespace {

// The engine, or null with `error` saying that photos cannot be made safe to share.
const TULOImageMetadataEngine *engineOrError(TULOError *error)
{
    const TULOImageMetadataEngine *engine = TULOImageMetadataEngineShared();
#ifndef TULO_LINKED_IMAGE_METADATA_ENGINE
    if (!engine) {
        TULOSetError(error, TULOImageMetadataError(TULOImageMetadataErrorUnavailable,
            TULOImageMetadataText("Photos cannot be attached: the part of Quillon that removes their location and camera "
                                  "data (%1) is missing. Reinstall Quillon.")
                .arg(TULOOptionalModules::fileName(TULOOptionalModules::ImageMetadata))));
    }
#else
    Q_UNUSED(error);
#endif
    return engine;
}

} // namespace

QString TULOMetadataStripper::supportedTypeForData(const QByteArray &data, TULOError *error)
{
    const TULOImageMetadataEngine *engine = engineOrError(error);
    return engine ? engine->supportedType(data, error) : QString();
}

QByteArray TULOMetadataStripper::strippedImageData(const QByteArray &data, QString *typeIdentifier, TULOError *error)
{
    const TULOImageMetadataEngine *engine = engineOrError(error);
    if (!engine)
        return QByteArray();
    QByteArray result;
    result.reserve(data.size());
    const auto append = [&result](QByteArrayView piece) {
        result.append(piece);
        return true;
    };
    if (!engine->strip(data, append, typeIdentifier, error))
        return QByteArray();
    return result;
}

bool TULOMetadataStripper::writeStrippedImageData(const QByteArray &data, QIODevice *device, QString *typeIdentifier, TULOError *error)
{
    const TULOImageMetadataEngine *engine = engineOrError(error);
    if (!engine)
        return false;
    TULOError writeError;
    const auto write = [&](QByteArrayView piece) {
        if (device->write(piece.data(), piece.size()) == piece.size())
            return true;
        writeError = TULOImageMetadataError(TULOImageMetadataErrorWriteFailed,
            TULOImageMetadataText("The image cannot be written: %1").arg(device->errorString()));
        return false;
    };
    QString type;
    if (!engine->strip(data, write, &type, error)) {
        if (!writeError.isNull())
            TULOSetError(error, writeError);
        return false;
    }
    if (typeIdentifier)
        *typeIdentifier = type;
    return true;
}

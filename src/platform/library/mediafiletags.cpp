#include <Quillon/platform/library/mediatagsengine_p.h>

#include <Quillon/platform/optionalmodules.h>

const char *const TULOMediaTagStoreItemID = "STOREITEMID";
const char *const TULOMediaTagStoreArtistID = "STOREARTISTID";
const char *const TULOMediaTagStoreAlbumArtistID = "STOREALBUMARTISTID";
const char *const TULOMediaTagStoreAlbumID = "STOREALBUMID";
const char *const TULOMediaTagAdvisory = "CONTENTADVISORY";

namespace {

const TULOMediaTagsEngine *engine()
{
    static const TULOMediaTagsEngine *const shared
        = TULOOptionalModules::call<const TULOMediaTagsEngine>(TULOOptionalModules::MediaTags, "TULOMediaTagsEngineInstance");
    return shared;
}

} // namespace

bool TULOReadMediaFileTags(const QString &path, TULOMediaFileTags *tags, TULOError *error)
{
    if (const TULOMediaTagsEngine *tagsEngine = engine())
        return tagsEngine->readTags(path, tags, error);
    *tags = TULOMediaFileTags();
    TULOSetError(error, TULOError::withDescription(TULOErrorDomain, TULOErrorOperationFailed,
        QStringLiteral("Songs cannot be read: the part of Quillon that reads their tags (%1) is missing. Reinstall Quillon.")
            .arg(TULOOptionalModules::fileName(TULOOptionalModules::MediaTags))));
    return false;
}

QByteArray TULOReadEmbeddedArtwork(const QString &path)
{
    const TULOMediaTagsEngine *tagsEngine = engine();
    return tagsEngine ? tagsEngine->readEmbeddedArtwork(path) : QByteArray();
}

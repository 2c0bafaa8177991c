#pragma once

#include <Quillon/platform/library/mediafiletags.h>

// Tag reading lives in the optional module libquillon-mediatags.so, with TagLib: a job that
// reads no song (a text post, a photo) then loads neither. The module exports, with C linkage,
// `const TULOMediaTagsEngine *TULOMediaTagsEngineInstance()`; TULOReadMediaFileTags and
// TULOReadEmbeddedArtwork forward to it.
struct TULOMediaTagsEngine
{
    bool (*readTags)(const QString &path, TULOMediaFileTags *tags, TULOError *error);
    QByteArray (*readEmbeddedArtwork)(const QString &path);
};

#pragma once

#include <QString>

// Type identifiers are MIME type names from the shared MIME database; conformance is MIME
// inheritance. "image/*", "audio/*" and "video/*" stand for every type of that kind.
extern const char *const TULOTypeIdentifierJPEG;  // "image/jpeg"
extern const char *const TULOTypeIdentifierPNG;   // "image/png"
extern const char *const TULOTypeIdentifierCAF;   // "audio/x-caf", Core Audio Format sound bites
extern const char *const TULOTypeIdentifierImage; // "image/*"
extern const char *const TULOTypeIdentifierAudio; // "audio/*"
extern const char *const TULOTypeIdentifierVideo; // "video/*"

class TULOTypeIdentifiers
{
public:
    // The preferred type for a file-name extension (without the dot, any case); a null
    // string when nothing claims the extension.
    static QString typeForFilenameExtension(const QString &extension);
    // The type's preferred extension without the dot; null when the type has none or is unknown.
    static QString preferredFilenameExtension(const QString &type);
    // The canonical name for a type or one of its aliases ("audio/mp3" -> "audio/mpeg"); null
    // when unknown.
    static QString canonicalType(const QString &type);
    // True when `type` is `parent`, an alias of it, or inherits from it; or when `parent` is a
    // "kind/*" wildcard and `type` is of that kind.
    static bool typeConformsTo(const QString &type, const QString &parent);
    // The attachment type for a type identifier: 2 images, 4 videos, 3 CAF audio, 1 other audio,
    // 0 anything else (also a null or unknown type).
    static int attachmentTypeForTypeIdentifier(const QString &type);
    // The type of a file by its content: the shared MIME database's content match (the name
    // only when the bytes say nothing), and for containers that hold video or audio (Matroska,
    // WebM, MP4, Ogg) what their streams are: one with a video stream (not just cover art) is
    // that container's video type, one with audio only its audio type. Null for a file that
    // cannot be read.
    static QString typeForFile(const QString &path);
};

#include <Quillon/platform/typeidentifiers.h>

#include <QMimeDatabase>

const char *const TULOTypeIdentifierJPEG = "image/jpeg";
const char *const TULOTypeIdentifierPNG = "image/png";
const char *const TULOTypeIdentifierCAF = "audio/x-caf";
const char *const TULOTypeIdentifierImage = "image/*";
const char *const TULOTypeIdentifierAudio = "audio/*";
const char *const TULOTypeIdentifierVideo = "video/*";

namespace {

// Types the shared MIME database of some systems lacks (Debian 12 has no Core Audio Format).
struct TULOExtraType
{
    const char *type;
    const char *extension;
    const char *parent;
};
constexpr TULOExtraType TULOExtraTypes[] = {
    {"audio/x-caf", "caf", "application/octet-stream"},
};

const TULOExtraType *extraTypeNamed(const QString &type)
{
    for (const auto &extra : TULOExtraTypes) {
        if (type.compare(QLatin1String(extra.type), Qt::CaseInsensitive) == 0)
            return &extra;
    }
    return nullptr;
}

QMimeType mimeTypeNamed(const QString &type)
{
    static const QMimeDatabase database; // QMimeDatabase is thread-safe
    return database.mimeTypeForName(type);
}

// The type, then everything it inherits from, nearest first.
QStringList lineage(const QString &type)
{
    if (const TULOExtraType *extra = extraTypeNamed(type))
        return {QLatin1String(extra->type), QLatin1String(extra->parent)};
    const QMimeType mime = mimeTypeNamed(type);
    if (!mime.isValid())
        return {};
    QStringList names{mime.name()};
    names += mime.allAncestors();
    return names;
}

} // namespace

QString TULOTypeIdentifiers::typeForFilenameExtension(const QString &extension)
{
    QString suffix = extension.trimmed();
    if (suffix.startsWith(QLatin1Char('.')))
        suffix.remove(0, 1);
    if (suffix.isEmpty() || suffix.contains(QLatin1Char('/')))
        return QString();
    for (const auto &extra : TULOExtraTypes) {
        if (suffix.compare(QLatin1String(extra.extension), Qt::CaseInsensitive) == 0)
            return QLatin1String(extra.type);
    }
    static const QMimeDatabase database;
    const QMimeType mime = database.mimeTypeForFile(QStringLiteral("file.") + suffix, QMimeDatabase::MatchExtension);
    if (!mime.isValid() || mime.isDefault())
        return QString();
    return mime.name();
}

QString TULOTypeIdentifiers::preferredFilenameExtension(const QString &type)
{
    if (const TULOExtraType *extra = extraTypeNamed(type))
        return QLatin1String(extra->extension);
    const QMimeType mime = mimeTypeNamed(type);
    if (!mime.isValid() || mime.preferredSuffix().isEmpty())
        return QString();
    return mime.preferredSuffix();
}

QString TULOTypeIdentifiers::canonicalType(const QString &type)
{
    const QStringList names = lineage(type);
    return names.isEmpty() ? QString() : names.first();
}

bool TULOTypeIdentifiers::typeConformsTo(const QString &type, const QString &parent)
{
    if (type.isEmpty() || parent.isEmpty())
        return false;
    const QStringList names = lineage(type);
    if (parent.endsWith(QLatin1String("/*"))) {
        const QString kind = parent.chopped(1); // "image/"
        for (const QString &name : names) {
            if (name.startsWith(kind, Qt::CaseInsensitive))
                return true;
        }
        return false;
    }
    const QString canonicalParent = canonicalType(parent);
    if (canonicalParent.isEmpty())
        return false;
    return names.contains(canonicalParent, Qt::CaseInsensitive);
}

int TULOTypeIdentifiers::attachmentTypeForTypeIdentifier(const QString &type)
{
    if (type.isEmpty())
        return 0;
    // A type's own kind comes first: audio/webm inherits from video/webm, yet it is a song.
    const QString canonical = canonicalType(type);
    if (canonical.startsWith(QLatin1String("audio/")))
        return typeConformsTo(canonical, QLatin1String(TULOTypeIdentifierCAF)) ? 3 : 1;
    if (typeConformsTo(type, QLatin1String(TULOTypeIdentifierImage)))
        return 2;
    if (typeConformsTo(type, QLatin1String(TULOTypeIdentifierVideo)))
        return 4;
    if (typeConformsTo(type, QLatin1String(TULOTypeIdentifierCAF)))
        return 3;
    if (typeConformsTo(type, QLatin1String(TULOTypeIdentifierAudio)))
        return 1;
    return 0;
}

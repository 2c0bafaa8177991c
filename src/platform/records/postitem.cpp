#include <Quillon/platform/records/postitem.h>

#include <array>
#include <utility>

namespace {
struct KindRow {
    const char *kind;
    TULOPostItemType type;
};
// The store's kind strings; "activity" is the store's name for a curator activity feed.
constexpr std::array<KindRow, 8> kKinds{{
    {"album", TULOPostItemTypeAlbum},
    {"song", TULOPostItemTypeSong},
    {"musicVideo", TULOPostItemTypeMusicVideo},
    {"playlist", TULOPostItemTypePlaylist},
    {"radioStation", TULOPostItemTypeRadioStation},
    {"artist", TULOPostItemTypeArtist},
    {"curator", TULOPostItemTypeCurator},
    {"activity", TULOPostItemTypeActivity},
}};
} // namespace

TULOPostItemType TULOPostItemTypeForStorePlatformKind(const QString &kind)
{
    for (const KindRow &row : kKinds) {
        if (kind == QLatin1String(row.kind))
            return row.type;
    }
    return TULOPostItemTypeUnknown;
}

QString TULOStorePlatformKindForPostItemType(TULOPostItemType type)
{
    for (const KindRow &row : kKinds) {
        if (row.type == type)
            return QString::fromLatin1(row.kind);
    }
    return QString();
}

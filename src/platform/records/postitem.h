#pragma once

#include <Quillon/quillon_export.h>

#include <QMetaType>
#include <QString>

// The kind of store content a post carries.
enum TULOPostItemType {
    TULOPostItemTypeUnknown = 0,
    TULOPostItemTypeAlbum,
    TULOPostItemTypeSong,
    TULOPostItemTypeMusicVideo,
    TULOPostItemTypePlaylist,
    TULOPostItemTypeRadioStation,
    TULOPostItemTypeArtist,
    TULOPostItemTypeCurator,
    TULOPostItemTypeActivity,
};

// The post item type for a store platform kind string ("album", "musicVideo", ...);
// unknown and null kinds give TULOPostItemTypeUnknown.
QUILLON_EXPORT TULOPostItemType TULOPostItemTypeForStorePlatformKind(const QString &kind);
// The store platform kind of a type; null for TULOPostItemTypeUnknown.
QUILLON_EXPORT QString TULOStorePlatformKindForPostItemType(TULOPostItemType type);

// A store content item attached to a post: its store identifier and type.
class QUILLON_EXPORT TULOPostItem
{
public:
    TULOPostItem() = default;
    TULOPostItem(const QString &identifier, TULOPostItemType type)
        : m_identifier(identifier), m_type(type) {}

    QString identifier() const { return m_identifier; }
    void setIdentifier(const QString &identifier) { m_identifier = identifier; }
    TULOPostItemType type() const { return m_type; }
    void setType(TULOPostItemType type) { m_type = type; }

    bool operator==(const TULOPostItem &other) const = default;

private:
    QString m_identifier;
    TULOPostItemType m_type = TULOPostItemTypeUnknown;
};

Q_DECLARE_METATYPE(TULOPostItem)

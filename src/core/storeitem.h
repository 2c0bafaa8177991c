#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>
#include <Quillon/platform/library/mediamodelobject.h>
#include <Quillon/platform/records/artworkcatalog.h>
#include <Quillon/platform/records/artworklist.h>
#include <Quillon/platform/records/lookupitemartwork.h>
#include <Quillon/platform/records/postitem.h>

#include <QByteArray>
#include <QDataStream>
#include <QMetaType>
#include <QSharedDataPointer>
#include <QString>
#include <QVariantMap>

#include <optional>

// Keys of a store lookup result that a store item reads.
extern QUILLON_EXPORT const char *const TULOLookupKeyArtistName;
extern QUILLON_EXPORT const char *const TULOLookupKeyCollectionName;
extern QUILLON_EXPORT const char *const TULOLookupKeyDisplayName;
extern QUILLON_EXPORT const char *const TULOLookupKeyKind;
extern QUILLON_EXPORT const char *const TULOLookupKeyItemIdentifier;
extern QUILLON_EXPORT const char *const TULOLookupKeyArtwork;

class TULOStoreItemPrivate;

// A store content item (album, playlist, song, music video, radio station) that a post carries.
// A value: copies are independent.
class QUILLON_EXPORT TULOStoreItem
{
public:
    TULOStoreItem();
    TULOStoreItem(const TULOStoreItem &other);
    TULOStoreItem &operator=(const TULOStoreItem &other);
    ~TULOStoreItem();

    // From a store lookup result. A value of an unexpected type leaves its field null.
    static TULOStoreItem withItemDictionary(const QVariantMap &dictionary);
    // From a media library object; an object of an unknown class gives an item with null fields.
    static TULOStoreItem withMediaModelObject(const TULOMediaModelObjectPtr &object);

    QString itemIdentifier() const;
    void setItemIdentifier(const QString &value);
    QString kind() const;
    void setKind(const QString &value);
    QString artistName() const;
    void setArtistName(const QString &value);
    QString collectionName() const;
    void setCollectionName(const QString &value);
    QString displayName() const;
    void setDisplayName(const QString &value);
    TULOLookupItemArtwork artworkTemplate() const;
    void setArtworkTemplate(const TULOLookupItemArtwork &value);
    TULOArtworkCatalog artworkCatalog() const;
    void setArtworkCatalog(const TULOArtworkCatalog &value);
    TULOArtworkList artworkList() const;
    void setArtworkList(const TULOArtworkList &value);

    TULOPostItem copyQuillonPostItem() const;

    // Archiving. Decoding checks every value's type, so archives from elsewhere are safe to read.
    static constexpr bool supportsSecureCoding() { return true; }
    // Writes the five strings and, when there is an artwork catalog, its image at full size.
    // Rendering blocks the caller until the image arrives; on an artwork thread the image is
    // rendered in place instead, so that the caller never waits for itself.
    void encodeWithCoder(QDataStream &stream) const;
    // nullopt with `error` for a stream that is not a store item archive of a known version.
    static std::optional<TULOStoreItem> decodeWithCoder(QDataStream &stream, TULOError *error = nullptr);
    QByteArray archivedData() const;
    static std::optional<TULOStoreItem> fromArchivedData(const QByteArray &data, TULOError *error = nullptr);

    // Field by field; artwork catalogs compare by source.
    bool operator==(const TULOStoreItem &other) const;
    bool operator!=(const TULOStoreItem &other) const { return !(*this == other); }

private:
    QSharedDataPointer<TULOStoreItemPrivate> d;
};

Q_DECLARE_METATYPE(TULOStoreItem)

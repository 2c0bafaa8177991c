#include <Quillon/core/storeitem.h>

#include <Quillon/platform/library/mediaalbum.h>
#include <Quillon/platform/library/mediaplaylist.h>
#include <Quillon/platform/library/mediaradiostation.h>
#include <Quillon/platform/library/mediasong.h>
#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/semaphore_p.h>

#include <QBuffer>
#include <QImage>

const char *const TULOLookupKeyArtistName = "artistName";
const char *const TULOLookupKeyCollectionName = "collectionName";
const char *const TULOLookupKeyDisplayName = "name";
const char *const TULOLookupKeyKind = "kind";
const char *const TULOLookupKeyItemIdentifier = "id";
const char *const TULOLookupKeyArtwork = "artwork";

namespace {

constexpr quint32 kArchiveMagic = 0x54534931; // "TSI1"
constexpr quint32 kArchiveVersion = 1;

QString decimalIdentifier(qint64 identifier)
{
    // 0 is the library's "no store identifier"; it becomes a null identifier, not "0".
    return identifier ? QString::number(identifier) : QString();
}

} // namespace

class TULOStoreItemPrivate : public QSharedData
{
public:
    QString itemIdentifier;
    QString kind;
    QString artistName;
    QString collectionName;
    QString displayName;
    TULOLookupItemArtwork artworkTemplate;
    TULOArtworkCatalog artworkCatalog;
    TULOArtworkList artworkList;
};

TULOStoreItem::TULOStoreItem() : d(new TULOStoreItemPrivate) {}
TULOStoreItem::TULOStoreItem(const TULOStoreItem &other) = default;
TULOStoreItem &TULOStoreItem::operator=(const TULOStoreItem &other) = default;
TULOStoreItem::~TULOStoreItem() = default;

QString TULOStoreItem::itemIdentifier() const { return d->itemIdentifier; }
void TULOStoreItem::setItemIdentifier(const QString &value) { d->itemIdentifier = value; }
QString TULOStoreItem::kind() const { return d->kind; }
void TULOStoreItem::setKind(const QString &value) { d->kind = value; }
QString TULOStoreItem::artistName() const { return d->artistName; }
void TULOStoreItem::setArtistName(const QString &value) { d->artistName = value; }
QString TULOStoreItem::collectionName() const { return d->collectionName; }
void TULOStoreItem::setCollectionName(const QString &value) { d->collectionName = value; }
QString TULOStoreItem::displayName() const { return d->displayName; }
void TULOStoreItem::setDisplayName(const QString &value) { d->displayName = value; }
TULOLookupItemArtwork TULOStoreItem::artworkTemplate() const { return d->artworkTemplate; }
void TULOStoreItem::setArtworkTemplate(const TULOLookupItemArtwork &value) { d->artworkTemplate = value; }
TULOArtworkCatalog TULOStoreItem::artworkCatalog() const { return d->artworkCatalog; }
void TULOStoreItem::setArtworkCatalog(const TULOArtworkCatalog &value) { d->artworkCatalog = value; }
TULOArtworkList TULOStoreItem::artworkList() const { return d->artworkList; }
void TULOStoreItem::setArtworkList(const TULOArtworkList &value) { d->artworkList = value; }

TULOStoreItem TULOStoreItem::withItemDictionary(const QVariantMap &dictionary)
{
    TULOStoreItem item;
    const QVariant artist = dictionary.value(QString::fromLatin1(TULOLookupKeyArtistName));
    if (TULOLookupIsString(artist))
        item.d->artistName = artist.toString();
    // A collection name deliberately takes the artist's place; collectionName itself stays null.
    const QVariant collection = dictionary.value(QString::fromLatin1(TULOLookupKeyCollectionName));
    if (TULOLookupIsString(collection))
        item.d->artistName = collection.toString();
    const QVariant name = dictionary.value(QString::fromLatin1(TULOLookupKeyDisplayName));
    if (TULOLookupIsString(name))
        item.d->displayName = name.toString();
    const QVariant kind = dictionary.value(QString::fromLatin1(TULOLookupKeyKind));
    if (TULOLookupIsString(kind))
        item.d->kind = kind.toString();
    item.d->itemIdentifier = TULOLookupIdentifierString(dictionary.value(QString::fromLatin1(TULOLookupKeyItemIdentifier)));
    const QVariant artwork = dictionary.value(QString::fromLatin1(TULOLookupKeyArtwork));
    if (artwork.typeId() == QMetaType::QVariantList)
        item.d->artworkList = TULOArtworkList(artwork.toList());
    else if (artwork.typeId() == QMetaType::QVariantMap)
        item.d->artworkTemplate = TULOLookupItemArtwork(artwork.toMap());
    return item;
}

TULOStoreItem TULOStoreItem::withMediaModelObject(const TULOMediaModelObjectPtr &object)
{
    TULOStoreItem item;
    if (!object)
        return item;
    // Each class is tested on its own, in this order.
    if (const auto *album = dynamic_cast<const TULOMediaAlbum *>(object.get())) {
        item.d->artistName = album->albumArtistName();
        item.d->displayName = album->title();
        item.d->itemIdentifier = decimalIdentifier(album->storeIdentifier());
        item.d->artworkCatalog = album->artworkCatalog();
        if (!item.d->itemIdentifier.isEmpty())
            item.d->kind = QStringLiteral("album");
    }
    if (const auto *playlist = dynamic_cast<const TULOMediaPlaylist *>(object.get())) {
        item.d->artistName = playlist->curatorName();
        item.d->displayName = playlist->name();
        item.d->itemIdentifier = playlist->globalPlaylistIdentifier();
        item.d->artworkCatalog = playlist->artworkCatalog();
        if (!item.d->itemIdentifier.isEmpty())
            item.d->kind = QStringLiteral("playlist");
    }
    if (const auto *song = dynamic_cast<const TULOMediaSong *>(object.get())) {
        item.d->artistName = song->artistName();
        item.d->displayName = song->title();
        item.d->itemIdentifier = decimalIdentifier(song->storeIdentifier());
        item.d->artworkCatalog = song->artworkCatalog();
        if (!item.d->itemIdentifier.isEmpty())
            item.d->kind = song->hasVideo() ? QStringLiteral("musicVideo") : QStringLiteral("song");
    }
    if (const auto *station = dynamic_cast<const TULOMediaRadioStation *>(object.get())) {
        item.d->displayName = station->name();
        item.d->itemIdentifier = station->stationStringIdentifier();
        item.d->artworkCatalog = station->artworkCatalog();
        if (!item.d->itemIdentifier.isEmpty())
            item.d->kind = QStringLiteral("radioStation");
    }
    return item;
}

TULOPostItem TULOStoreItem::copyQuillonPostItem() const
{
    return TULOPostItem(d->itemIdentifier, TULOPostItemTypeForStorePlatformKind(d->kind));
}

void TULOStoreItem::encodeWithCoder(QDataStream &stream) const
{
    QVariantMap archive{
        {QStringLiteral("artistName"), d->artistName},
        {QStringLiteral("collectionName"), d->collectionName},
        {QStringLiteral("displayName"), d->displayName},
        {QStringLiteral("kind"), d->kind},
        {QStringLiteral("itemIdentifier"), d->itemIdentifier},
    };
    if (!d->artworkCatalog.isNull()) {
        // A fresh catalog over the same source: full size, scale 1, whatever the item's was set to.
        const TULOArtworkCatalog catalog(d->artworkCatalog.dataSource(), d->artworkCatalog.token());
        QImage image;
        if (TULOArtworkCatalog::isArtworkThread()) {
            image = catalog.imageWithSize(QSizeF(), 1.0);
        } else {
            auto semaphore = std::make_shared<TULOSemaphore>();
            auto delivered = std::make_shared<QImage>();
            catalog.requestImage([semaphore, delivered](const QImage &result, const TULOError &) {
                *delivered = result;
                semaphore->signal();
            });
            semaphore->wait();
            image = *delivered;
        }
        if (!image.isNull())
            archive.insert(QStringLiteral("artwork"), image);
    }
    stream << kArchiveMagic << kArchiveVersion;
    stream.setVersion(QDataStream::Qt_6_4);
    stream << archive;
}

std::optional<TULOStoreItem> TULOStoreItem::decodeWithCoder(QDataStream &stream, TULOError *error)
{
    quint32 magic = 0;
    quint32 version = 0;
    stream >> magic >> version;
    QVariantMap archive;
    if (stream.status() == QDataStream::Ok && magic == kArchiveMagic && version == kArchiveVersion) {
        stream.setVersion(QDataStream::Qt_6_4);
        stream >> archive;
    }
    if (stream.status() != QDataStream::Ok || magic != kArchiveMagic || version != kArchiveVersion) {
        TULOSetError(error, TULOError::withDescription(
                                TULOErrorDomain, TULOErrorOperationFailed,
                                version > kArchiveVersion && magic == kArchiveMagic
                                    ? QStringLiteral("The store item was saved by a newer version.")
                                    : QStringLiteral("The data is not a store item.")));
        return std::nullopt;
    }
    TULOStoreItem item;
    const auto string = [&archive](const char *key) {
        return TULOLookupString(archive.value(QString::fromLatin1(key)));
    };
    item.d->artistName = string("artistName");
    item.d->collectionName = string("collectionName");
    item.d->displayName = string("displayName");
    item.d->kind = string("kind");
    item.d->itemIdentifier = string("itemIdentifier");
    const QVariant artwork = archive.value(QStringLiteral("artwork"));
    if (artwork.typeId() == QMetaType::QImage && !artwork.value<QImage>().isNull())
        item.d->artworkCatalog = TULOArtworkCatalog::withImage(artwork.value<QImage>());
    return item;
}

QByteArray TULOStoreItem::archivedData() const
{
    QByteArray data;
    QDataStream stream(&data, QIODevice::WriteOnly);
    encodeWithCoder(stream);
    return data;
}

std::optional<TULOStoreItem> TULOStoreItem::fromArchivedData(const QByteArray &data, TULOError *error)
{
    QDataStream stream(data);
    return decodeWithCoder(stream, error);
}

bool TULOStoreItem::operator==(const TULOStoreItem &other) const
{
    return d == other.d
        || (d->itemIdentifier == other.d->itemIdentifier && d->kind == other.d->kind
            && d->artistName == other.d->artistName && d->collectionName == other.d->collectionName
            && d->displayName == other.d->displayName && d->artworkTemplate == other.d->artworkTemplate
            && d->artworkCatalog == other.d->artworkCatalog && d->artworkList == other.d->artworkList);
}

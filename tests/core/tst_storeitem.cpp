#include <Quillon/core/storeitem.h>
#include "library/mediafixtures.h"
#include <Quillon/platform/library/mediaalbum.h>
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/platform/library/mediaplaylist.h>
#include <Quillon/platform/library/mediaradiostation.h>
#include <Quillon/platform/library/mediasong.h>

#include <QJsonDocument>
#include <QMutex>
#include <QTemporaryDir>
#include <QTest>

namespace {

// Test data write JSON with single quotes for readability.
QVariantMap json(const QString &text)
{
    return QJsonDocument::fromJson(text.toUtf8().replace('\'', '"')).toVariant().toMap();
}

QImage picture(int width, int height, Qt::GlobalColor color)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

class UnknownObject : public TULOMediaModelObject
{
};

} // namespace

class TestStoreItem : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

private Q_SLOTS:
    void fromLookup_data()
    {
        QTest::addColumn<QString>("lookup");
        QTest::addColumn<QString>("artist");
        QTest::addColumn<QString>("display");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<bool>("hasList");
        QTest::addColumn<bool>("hasTemplate");
        QTest::newRow("plain song") << "{'artistName':'Ann','name':'Song','kind':'song','id':'123'}"
                                    << "Ann" << "Song" << "song" << "123" << false << false;
        QTest::newRow("collection replaces artist") << "{'artistName':'Ann','collectionName':'Best Of','kind':'album'}"
                                                    << "Best Of" << QString() << "album" << QString() << false << false;
        QTest::newRow("collection without artist") << "{'collectionName':'Best Of'}"
                                                   << "Best Of" << QString() << QString() << QString() << false << false;
        QTest::newRow("numeric identifier") << "{'id':123}" << QString() << QString() << QString() << "123" << false << false;
        QTest::newRow("large numeric identifier") << "{'id':1234567890123}" << QString() << QString() << QString()
                                                  << "1234567890123" << false << false;
        QTest::newRow("wrong types") << "{'artistName':5,'collectionName':[1],'name':{},'kind':true,'id':false}"
                                     << QString() << QString() << QString() << QString() << false << false;
        QTest::newRow("wrong collection keeps artist") << "{'artistName':'Ann','collectionName':7}"
                                                       << "Ann" << QString() << QString() << QString() << false << false;
        QTest::newRow("artwork list") << "{'artwork':[{'url':'http://a/100','width':100}]}"
                                      << QString() << QString() << QString() << QString() << true << false;
        QTest::newRow("artwork template") << "{'artwork':{'url':'http://a/{w}x{h}','width':600}}"
                                          << QString() << QString() << QString() << QString() << false << true;
        QTest::newRow("artwork of wrong type") << "{'artwork':'http://a/1.jpg'}"
                                               << QString() << QString() << QString() << QString() << false << false;
    }
    void fromLookup()
    {
        QFETCH(QString, lookup);
        QFETCH(QString, artist);
        QFETCH(QString, display);
        QFETCH(QString, kind);
        QFETCH(QString, identifier);
        QFETCH(bool, hasList);
        QFETCH(bool, hasTemplate);
        const TULOStoreItem item = TULOStoreItem::withItemDictionary(json(lookup));
        QCOMPARE(item.artistName(), artist);
        QCOMPARE(item.artistName().isNull(), artist.isNull());
        QVERIFY(item.collectionName().isNull());
        QCOMPARE(item.displayName(), display);
        QCOMPARE(item.kind(), kind);
        QCOMPARE(item.itemIdentifier(), identifier);
        QCOMPARE(item.itemIdentifier().isNull(), identifier.isNull());
        QCOMPARE(!item.artworkList().isEmpty(), hasList);
        QCOMPARE(!item.artworkTemplate().isNull(), hasTemplate);
    }

    void fromMediaObject_data()
    {
        QTest::addColumn<QString>("object");
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("identifier");
        QTest::addColumn<QString>("artist");
        QTest::addColumn<QString>("display");
        QTest::newRow("album") << "album:55" << "album" << "55" << "The Band" << "First Light";
        QTest::newRow("album without store id") << "album:0" << QString() << QString() << "The Band" << "First Light";
        QTest::newRow("playlist") << "playlist:pl.1" << "playlist" << "pl.1" << "Curator" << "Mix";
        QTest::newRow("local playlist") << "playlist:" << QString() << "" << "Curator" << "Mix";
        QTest::newRow("song") << "song:7" << "song" << "7" << "Ann" << "Tune";
        QTest::newRow("music video") << "video:8" << "musicVideo" << "8" << "Ann" << "Tune";
        QTest::newRow("music video without store id") << "video:0" << QString() << QString() << "Ann" << "Tune";
        QTest::newRow("radio station") << "radio:ra.9" << "radioStation" << "ra.9" << QString() << "Station";
        QTest::newRow("unknown class") << "unknown:" << QString() << QString() << QString() << QString();
        QTest::newRow("no object") << "null:" << QString() << QString() << QString() << QString();
    }
    void fromMediaObject()
    {
        QFETCH(QString, object);
        QFETCH(QString, kind);
        QFETCH(QString, identifier);
        QFETCH(QString, artist);
        QFETCH(QString, display);
        const QString type = object.section(QLatin1Char(':'), 0, 0);
        const QString id = object.section(QLatin1Char(':'), 1);
        const TULOArtworkCatalog artwork = TULOArtworkCatalog::withImage(picture(4, 4, Qt::red));
        TULOMediaModelObjectPtr model;
        if (type == QLatin1String("album")) {
            auto album = std::make_shared<TULOMediaAlbum>();
            album->setTitle(QStringLiteral("First Light"));
            album->setAlbumArtistName(QStringLiteral("The Band"));
            album->setStoreIdentifier(id.toLongLong());
            model = album;
        } else if (type == QLatin1String("playlist")) {
            auto playlist = std::make_shared<TULOMediaPlaylist>();
            playlist->setName(QStringLiteral("Mix"));
            playlist->setCuratorName(QStringLiteral("Curator"));
            playlist->setGlobalPlaylistIdentifier(id);
            model = playlist;
        } else if (type == QLatin1String("song") || type == QLatin1String("video")) {
            auto song = std::make_shared<TULOMediaSong>();
            song->setTitle(QStringLiteral("Tune"));
            song->setArtistName(QStringLiteral("Ann"));
            song->setStoreIdentifier(id.toLongLong());
            song->setHasVideo(type == QLatin1String("video"));
            model = song;
        } else if (type == QLatin1String("radio")) {
            auto station = std::make_shared<TULOMediaRadioStation>();
            station->setName(QStringLiteral("Station"));
            station->setStationStringIdentifier(id);
            model = station;
        } else if (type == QLatin1String("unknown")) {
            model = std::make_shared<UnknownObject>();
        }
        if (model)
            model->setArtworkCatalog(artwork);

        const TULOStoreItem item = TULOStoreItem::withMediaModelObject(model);
        QCOMPARE(item.kind(), kind);
        QCOMPARE(item.kind().isNull(), kind.isNull());
        QCOMPARE(item.itemIdentifier(), identifier);
        QCOMPARE(item.artistName(), artist);
        QCOMPARE(item.displayName(), display);
        QVERIFY(item.collectionName().isNull());
        const bool known = !display.isNull();
        QCOMPARE(item.artworkCatalog() == artwork, known);
        QCOMPARE(int(item.copyQuillonPostItem().type()), int(TULOPostItemTypeForStorePlatformKind(kind)));
        QCOMPARE(item.copyQuillonPostItem().identifier(), identifier);
    }

    void copyIsIndependent()
    {
        TULOStoreItem item = TULOStoreItem::withItemDictionary(
            json("{'artistName':'Ann','name':'Song','artwork':[{'url':'http://a/1','width':10}]}"));
        TULOStoreItem copy = item;
        QCOMPARE(copy, item);
        copy.setDisplayName(QStringLiteral("Other"));
        copy.setArtworkList(TULOArtworkList());
        QCOMPARE(item.displayName(), QStringLiteral("Song"));
        QVERIFY(!item.artworkList().isEmpty());
        QVERIFY(copy != item);
    }

    void archiveRoundTrip_data()
    {
        QTest::addColumn<QString>("artwork");
        QTest::addColumn<QSize>("size");
        QTest::newRow("without artwork") << "none" << QSize();
        QTest::newRow("static image") << "image" << QSize(30, 20);
        QTest::newRow("image file") << "file" << QSize(64, 48);
        QTest::newRow("artwork embedded in a song") << "song" << QSize(120, 90);
        QTest::newRow("artwork that cannot be read") << "missing" << QSize();
    }
    void archiveRoundTrip()
    {
        QFETCH(QString, artwork);
        QFETCH(QSize, size);
        TULOStoreItem item = TULOStoreItem::withItemDictionary(
            json("{'artistName':'Ann','name':'Song','kind':'song','id':77,"
                 "'artwork':{'url':'http://a/{w}x{h}'}}"));
        item.setCollectionName(QStringLiteral("Collected"));
        if (artwork == QLatin1String("image")) {
            item.setArtworkCatalog(TULOArtworkCatalog::withImage(picture(30, 20, Qt::blue)));
        } else if (artwork == QLatin1String("file")) {
            const QString path = m_dir.filePath(QStringLiteral("cover.png"));
            QVERIFY(picture(64, 48, Qt::blue).save(path));
            TULOArtworkCatalog catalog = TULOArtworkCatalog::withFile(path);
            catalog.setFittingSize(QSizeF(10, 10)); // not used: archives hold the full size
            item.setArtworkCatalog(catalog);
        } else if (artwork == QLatin1String("song")) {
            TULOTestTrack track;
            track.title = QStringLiteral("Song");
            track.artwork = picture(120, 90, Qt::blue);
            QDir().mkpath(m_dir.filePath(QStringLiteral("music")));
            QVERIFY(TULOTestWriteTrack(m_dir.filePath(QStringLiteral("music/song.flac")), track));
            TULOMediaLibrary library(m_dir.filePath(QStringLiteral("music")), m_dir.filePath(QStringLiteral("index")));
            QVERIFY(library.reload());
            QCOMPARE(library.songs().size(), 1);
            item.setArtworkCatalog(library.songs().first()->artworkCatalog());
        } else if (artwork == QLatin1String("missing")) {
            item.setArtworkCatalog(TULOArtworkCatalog::withFile(m_dir.filePath(QStringLiteral("none.png"))));
        }

        TULOError error;
        const std::optional<TULOStoreItem> decoded = TULOStoreItem::fromArchivedData(item.archivedData(), &error);
        QVERIFY(decoded);
        QVERIFY(error.isNull());
        QCOMPARE(decoded->artistName(), QStringLiteral("Ann"));
        QCOMPARE(decoded->collectionName(), QStringLiteral("Collected"));
        QCOMPARE(decoded->displayName(), QStringLiteral("Song"));
        QCOMPARE(decoded->kind(), QStringLiteral("song"));
        QCOMPARE(decoded->itemIdentifier(), QStringLiteral("77"));
        QVERIFY(decoded->artworkTemplate().isNull()); // templates and lists are not archived
        QCOMPARE(decoded->artworkCatalog().isNull(), !size.isValid());
        if (size.isValid()) {
            const QImage image = decoded->artworkCatalog().staticImage();
            QCOMPARE(image.size(), size);
            QCOMPARE(image.pixelColor(size.width() / 2, size.height() / 2), QColor(Qt::blue));
        }
    }

    void archivingOnTheArtworkThread()
    {
        // Encoding where artworks are delivered must render in place instead of waiting forever.
        TULOStoreItem item;
        item.setDisplayName(QStringLiteral("Nested"));
        item.setArtworkCatalog(TULOArtworkCatalog::withImage(picture(8, 8, Qt::red)));
        QMutex mutex;
        QByteArray archive;
        bool done = false;
        TULOArtworkCatalog::withImage(picture(1, 1, Qt::black)).requestImage([&](const QImage &, const TULOError &) {
            const QByteArray data = item.archivedData();
            QMutexLocker lock(&mutex);
            archive = data;
            done = true;
        });
        QVERIFY(QTest::qWaitFor([&] {
            QMutexLocker lock(&mutex);
            return done;
        }, 30000));
        const auto decoded = TULOStoreItem::fromArchivedData(archive);
        QVERIFY(decoded);
        QCOMPARE(decoded->artworkCatalog().staticImage().size(), QSize(8, 8));
    }

    void badArchives_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<bool>("decodes");
        TULOStoreItem item;
        item.setDisplayName(QStringLiteral("Name"));
        const QByteArray good = item.archivedData();
        QByteArray newer = good;
        newer[7] = 2; // version field, big-endian
        QByteArray wrongTypes;
        {
            QDataStream stream(&wrongTypes, QIODevice::WriteOnly);
            stream << quint32(0x54534931) << quint32(1);
            stream.setVersion(QDataStream::Qt_6_4);
            stream << QVariantMap{{QStringLiteral("displayName"), 12},
                                  {QStringLiteral("kind"), QStringLiteral("song")},
                                  {QStringLiteral("artwork"), QStringLiteral("not an image")}};
        }
        QTest::newRow("empty") << QByteArray() << false;
        QTest::newRow("garbage") << QByteArray("certainly not an archive") << false;
        QTest::newRow("newer version") << newer << false;
        QTest::newRow("truncated") << good.left(good.size() - 3) << false;
        QTest::newRow("wrong value types") << wrongTypes << true;
    }
    void badArchives()
    {
        QFETCH(QByteArray, data);
        QFETCH(bool, decodes);
        TULOError error;
        const auto decoded = TULOStoreItem::fromArchivedData(data, &error);
        QCOMPARE(bool(decoded), decodes);
        QCOMPARE(error.isNull(), decodes);
        if (decoded) {
            QVERIFY(decoded->displayName().isNull());
            QCOMPARE(decoded->kind(), QStringLiteral("song"));
            QVERIFY(decoded->artworkCatalog().isNull());
        } else {
            QVERIFY(!error.localizedDescription().isEmpty());
        }
    }
};

QTEST_GUILESS_MAIN(TestStoreItem)
#include "tst_storeitem.moc"

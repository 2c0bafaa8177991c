#include <Quillon/core/attachment.h>
#include "library/mediafixtures.h"
#include <Quillon/platform/library/medialibrary.h>

#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

namespace {

QImage picture(int width, int height, Qt::GlobalColor color)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

TULOTestTrack track()
{
    TULOTestTrack t;
    t.title = QStringLiteral("Library Title");
    t.artist = QStringLiteral("Ann");
    t.albumArtist = QStringLiteral("The Band");
    t.storeArtistID = 77;
    t.storeAlbumArtistID = 78;
    t.advisory = QStringLiteral("1");
    t.artwork = picture(90, 60, Qt::magenta);
    return t;
}

} // namespace

class TestAttachment : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    int m_serial = 0;

    // A library over a fresh folder holding one real file made from `t`.
    std::unique_ptr<TULOMediaLibrary> libraryWith(const TULOTestTrack &t, const QString &suffix = QStringLiteral("flac"))
    {
        const QString folder = m_dir.filePath(QStringLiteral("music%1").arg(++m_serial));
        QDir().mkpath(folder);
        QString failure;
        if (!TULOTestWriteTrack(folder + QStringLiteral("/track.") + suffix, t, &failure))
            qFatal("cannot write a test track: %s", qPrintable(failure));
        auto library = std::make_unique<TULOMediaLibrary>(folder, folder + QStringLiteral(".index"));
        if (!library->reload() || library->items().size() != 1)
            qFatal("the test library did not load");
        return library;
    }

private Q_SLOTS:
    void localSong()
    {
        auto library = libraryWith(track());
        const TULOMediaLibraryItemPtr item = library->items().first();
        TULOAttachment attachment(item);
        QCOMPARE(attachment.title(), QStringLiteral("Library Title"));
        QVERIFY(attachment.isExplicitContent());
        QCOMPARE(attachment.thumbnailImage().size(), QSize(90, 60));
        QCOMPARE(attachment.thumbnailImage().pixelColor(1, 1), QColor(Qt::magenta));
        QCOMPARE(attachment.assetURL(), QUrl::fromLocalFile(item->filePath()));
        QCOMPARE(attachment.UTI(), QStringLiteral("audio/flac"));
        QCOMPARE(attachment.attachmentType(), TULOAttachmentTypeAudio);
        QVERIFY(!attachment.isDownloadable()); // it has a local file
    }

    void storeOnlyItems_data()
    {
        QTest::addColumn<quint64>("mediaType");
        QTest::addColumn<qint64>("storeIdentifier");
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("downloadable");
        QTest::newRow("song in the store") << quint64(TULOMediaTypeMusic) << qint64(5) << int(TULOAttachmentTypeAudio) << true;
        QTest::newRow("music video in the store") << quint64(TULOMediaTypeMusicVideo) << qint64(6)
                                                  << int(TULOAttachmentTypeVideo) << true;
        QTest::newRow("audio bits win over video bits")
            << quint64(TULOMediaTypeMusic | TULOMediaTypeMusicVideo) << qint64(6) << int(TULOAttachmentTypeAudio) << true;
        QTest::newRow("no store identifier") << quint64(TULOMediaTypeMusic) << qint64(0) << int(TULOAttachmentTypeAudio)
                                             << false;
        QTest::newRow("no media type") << quint64(0) << qint64(5) << int(TULOAttachmentTypeUnknown) << true;
    }
    void storeOnlyItems()
    {
        QFETCH(quint64, mediaType);
        QFETCH(qint64, storeIdentifier);
        QFETCH(int, type);
        QFETCH(bool, downloadable);
        TULOMediaLibrary library(m_dir.filePath(QStringLiteral("empty")), m_dir.filePath(QStringLiteral("empty.index")));
        auto item = std::make_shared<TULOMediaLibraryItem>();
        item->setMediaType(mediaType);
        item->setStoreItemIdentifier(storeIdentifier);
        library.addStoreItems({item});
        TULOAttachment attachment(item);
        QVERIFY(attachment.assetURL().isEmpty());
        QVERIFY(attachment.UTI().isNull());
        QCOMPARE(int(attachment.attachmentType()), type);
        QCOMPARE(attachment.isDownloadable(), downloadable);
        // A type identifier decides over the media type.
        attachment.setUTI(QStringLiteral("image/png"));
        QCOMPARE(attachment.attachmentType(), TULOAttachmentTypeImage);
        QVERIFY(!attachment.isDownloadable());
    }

    void typeFromIdentifier_data()
    {
        QTest::addColumn<QString>("uti");
        QTest::addColumn<int>("type");
        QTest::newRow("png") << "image/png" << int(TULOAttachmentTypeImage);
        QTest::newRow("mp4 video") << "video/mp4" << int(TULOAttachmentTypeVideo);
        QTest::newRow("caf sound bite") << "audio/x-caf" << int(TULOAttachmentTypeSoundBite);
        QTest::newRow("mp3") << "audio/mpeg" << int(TULOAttachmentTypeAudio);
        QTest::newRow("text") << "text/plain" << int(TULOAttachmentTypeUnknown);
        QTest::newRow("none") << QString() << int(TULOAttachmentTypeUnknown);
    }
    void typeFromIdentifier()
    {
        QFETCH(QString, uti);
        QFETCH(int, type);
        const TULOAttachment attachment(QByteArray("bytes"), uti);
        QCOMPARE(int(attachment.attachmentType()), type);
    }

    void typeIdentifierFromURLIsCached()
    {
        TULOAttachment attachment(QUrl::fromLocalFile(QStringLiteral("/photos/IMG_0001.jpg")), QString());
        QCOMPARE(attachment.UTI(), QStringLiteral("image/jpeg"));
        QCOMPARE(attachment.attachmentType(), TULOAttachmentTypeImage);
        attachment.setAssetURL(QUrl::fromLocalFile(QStringLiteral("/photos/other.png")));
        QCOMPARE(attachment.UTI(), QStringLiteral("image/jpeg")); // kept from the first read

        const TULOAttachment noExtension(QUrl::fromLocalFile(QStringLiteral("/photos/README")), QString());
        QVERIFY(noExtension.UTI().isNull());
        const TULOAttachment unknown(QUrl::fromLocalFile(QStringLiteral("/photos/a.qqqzzz")), QString());
        QVERIFY(unknown.UTI().isNull());
    }

    void artistCredit_data()
    {
        QTest::addColumn<qint64>("albumArtistID");
        QTest::addColumn<QString>("albumArtist");
        QTest::addColumn<qint64>("artistID");
        QTest::addColumn<QString>("artist");
        QTest::addColumn<QString>("creditedID");
        QTest::addColumn<QString>("creditedName");
        QTest::newRow("album artist") << qint64(78) << "The Band" << qint64(77) << "Ann" << "78" << "The Band";
        QTest::newRow("album artist name without identifier falls back to the artist")
            << qint64(0) << "The Band" << qint64(77) << "Ann" << "77" << "Ann";
        QTest::newRow("no identifier at all keeps the credit") << qint64(0) << "The Band" << qint64(0) << "Ann"
                                                               << "1" << "Earlier";
        QTest::newRow("identifier without a name keeps the credit") << qint64(78) << "" << qint64(77) << "Ann"
                                                                    << "1" << "Earlier";
    }
    void artistCredit()
    {
        QFETCH(qint64, albumArtistID);
        QFETCH(QString, albumArtist);
        QFETCH(qint64, artistID);
        QFETCH(QString, artist);
        QFETCH(QString, creditedID);
        QFETCH(QString, creditedName);
        TULOTestTrack t = track();
        t.storeAlbumArtistID = albumArtistID;
        t.albumArtist = albumArtist;
        t.storeArtistID = artistID;
        t.artist = artist;
        auto library = libraryWith(t, QStringLiteral("wav"));
        TULOAttachment attachment;
        attachment.setArtists({TULOPostArtist(QStringLiteral("1"), QStringLiteral("Earlier"))});
        attachment.setMediaItem(library->items().first());
        QCOMPARE(attachment.artists().size(), 1);
        QCOMPARE(attachment.artists().first().identifier(), creditedID);
        QCOMPARE(attachment.artists().first().name(), creditedName);
    }

    void copyOfEditedMediaItemAttachment()
    {
        auto library = libraryWith(track());
        const auto item = library->items().first();
        TULOAttachment attachment(item);
        attachment.setTitle(QStringLiteral("Edited title"));
        attachment.setExplicitContent(false);
        attachment.setThumbnailImage(picture(4, 4, Qt::black));
        attachment.setArtists({TULOPostArtist(QStringLiteral("9"), QStringLiteral("Edited"))});
        attachment.setAttachmentDescription(QStringLiteral("Liner notes"));
        attachment.setCategoryName(QStringLiteral("Live"));
        attachment.setThumbnailImageTime(1500.0);
        attachment.setMessage(QStringLiteral("Hello"));
        TULOStoreItem album;
        album.setItemIdentifier(QStringLiteral("500"));
        attachment.setAlbum(album);

        const TULOAttachmentPtr copy = attachment.copy();
        QVERIFY(copy.get() != &attachment);
        // The media item, set last, brings back its own values.
        QCOMPARE(copy->title(), QStringLiteral("Library Title"));
        QVERIFY(copy->isExplicitContent());
        QCOMPARE(copy->thumbnailImage().size(), QSize(90, 60));
        QCOMPARE(copy->artists().first().identifier(), QStringLiteral("78"));
        // Everything else survives.
        QCOMPARE(copy->attachmentDescription(), QStringLiteral("Liner notes"));
        QCOMPARE(copy->categoryName(), QStringLiteral("Live"));
        QCOMPARE(copy->thumbnailImageTime(), 1500.0);
        QCOMPARE(copy->message(), QStringLiteral("Hello"));
        QCOMPARE(copy->album()->itemIdentifier(), QStringLiteral("500"));
        QCOMPARE(copy->mediaItem(), item);
        // The source is untouched, and the copy holds the derived URL and type as its own.
        QCOMPARE(attachment.title(), QStringLiteral("Edited title"));
        copy->setMediaItem(nullptr);
        QCOMPARE(copy->assetURL(), QUrl::fromLocalFile(item->filePath()));
        QCOMPARE(copy->UTI(), QStringLiteral("audio/flac"));
    }

    void copyOfPlainAttachmentKeepsEdits()
    {
        TULOAttachment attachment(picture(5, 5, Qt::red), QStringLiteral("image/png"));
        attachment.setTitle(QStringLiteral("Edited"));
        attachment.setPixelSize(QSizeF(5, 5));
        attachment.setDuration(2.5);
        const TULOAttachmentPtr copy = attachment.copy();
        QCOMPARE(copy->title(), QStringLiteral("Edited"));
        QCOMPARE(copy->assetImage().size(), QSize(5, 5));
        QCOMPARE(copy->pixelSize(), QSizeF(5, 5));
        QCOMPARE(copy->duration(), 2.5);
        copy->setTitle(QStringLiteral("Changed in copy"));
        QCOMPARE(attachment.title(), QStringLiteral("Edited"));
    }

    void postAttachment()
    {
        auto library = libraryWith(track());
        TULOAttachment attachment(library->items().first());
        attachment.setAttachmentDescription(QStringLiteral("About"));
        attachment.setCategoryName(QStringLiteral("Demo"));
        attachment.setThumbnailImageTime(2500.0);
        attachment.setData(QByteArray("left behind"));

        TULOPostAttachment post = attachment.copyQuillonPostAttachment();
        QVERIFY(post.albumIdentifier().isNull());
        TULOStoreItem album;
        album.setItemIdentifier(QStringLiteral("500"));
        attachment.setAlbum(album);
        post = attachment.copyQuillonPostAttachment();
        QCOMPARE(post.albumIdentifier(), QStringLiteral("500"));
        QCOMPARE(post.artists(), attachment.artists());
        QCOMPARE(post.assetURL(), attachment.assetURL());
        QCOMPARE(post.UTI(), QStringLiteral("audio/flac"));
        QCOMPARE(post.attachmentDescription(), QStringLiteral("About"));
        QCOMPARE(post.categoryName(), QStringLiteral("Demo"));
        QVERIFY(post.isExplicitContent());
        QCOMPARE(post.previewFrameTimestamp(), 2500.0);
        QCOMPARE(post.title(), QStringLiteral("Library Title"));
        QVERIFY(post.subtitle().isNull());
        QVERIFY(!post.deletesAssetWhenFinished());
        QVERIFY(post.childRelationships().isEmpty());
    }

    void description()
    {
        const TULOAttachment jpeg(QUrl::fromLocalFile(QStringLiteral("/a/b.jpg")), QString());
        QVERIFY(QRegularExpression(QStringLiteral("^<TULOAttachment: 0x[0-9a-f]+>: \\[UTI: image/jpeg\\]$"))
                    .match(jpeg.description()).hasMatch());
        QVERIFY(TULOAttachment().description().endsWith(QStringLiteral(": [UTI: (null)]")));
    }
};

QTEST_GUILESS_MAIN(TestAttachment)
#include "tst_attachment.moc"

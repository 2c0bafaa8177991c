#include "library/mediafixtures.h"
#include <Quillon/platform/library/medialibrary.h>

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

QImage cover(int width, int height, Qt::GlobalColor color)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

TULOTestTrack fullTrack()
{
    TULOTestTrack track;
    track.title = QStringLiteral("Wörds & Tones");
    track.artist = QStringLiteral("Ann Artist");
    track.albumArtist = QStringLiteral("The Band");
    track.album = QStringLiteral("First Light");
    track.storeItemID = 9001;
    track.storeArtistID = 77;
    track.storeAlbumArtistID = 78;
    track.storeAlbumID = 500;
    track.advisory = QStringLiteral("1");
    track.artwork = cover(300, 200, Qt::green);
    return track;
}

} // namespace

class TestMediaLibrary : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;

    QString music() const { return m_dir.filePath(QStringLiteral("Music")); }
    QString index() const { return m_dir.filePath(QStringLiteral("cache/index.sqlitedb")); }

    void write(const QString &relative, const TULOTestTrack &track)
    {
        const QString path = music() + QLatin1Char('/') + relative;
        QDir().mkpath(QFileInfo(path).absolutePath());
        QString failure;
        QVERIFY2(TULOTestWriteTrack(path, track, &failure), qPrintable(failure));
    }

private Q_SLOTS:
    void init()
    {
        QDir(music()).removeRecursively();
        QFile::remove(index());
        QDir().mkpath(music());
    }

    void readsTags_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("flac") << "a/song.flac";
        QTest::newRow("ogg vorbis") << "b/song.ogg";
        QTest::newRow("wav with id3") << "c/song.wav";
    }
    void readsTags()
    {
        QFETCH(QString, file);
        write(file, fullTrack());
        TULOMediaLibrary library(music(), index());
        TULOError error;
        QVERIFY(library.reload(&error));
        QCOMPARE(library.items().size(), 1);
        const TULOMediaLibraryItemPtr item = library.items().first();
        QCOMPARE(item->title(), QStringLiteral("Wörds & Tones"));
        QCOMPARE(item->artist(), QStringLiteral("Ann Artist"));
        QCOMPARE(item->albumArtist(), QStringLiteral("The Band"));
        QCOMPARE(item->albumTitle(), QStringLiteral("First Light"));
        QCOMPARE(item->storeItemIdentifier(), 9001);
        QCOMPARE(item->storeArtistIdentifier(), 77);
        QCOMPARE(item->storeAlbumArtistIdentifier(), 78);
        QCOMPARE(item->storeAlbumIdentifier(), 500);
        QVERIFY(item->isExplicit());
        QCOMPARE(item->mediaType() & TULOMediaTypeAnyAudio, quint64(TULOMediaTypeMusic));
        QVERIFY(!item->hasVideo());
        QVERIFY(item->duration() > 0.2 && item->duration() < 0.3);
        QCOMPARE(item->filePath(), QDir(music()).filePath(file));
        QCOMPARE(item->artworkBounds(), QSize(300, 200));
        const QImage artwork = item->artwork().imageWithSize(QSizeF(item->artworkBounds()), 1.0);
        QCOMPARE(artwork.size(), QSize(300, 200));
        QCOMPARE(artwork.pixelColor(150, 100), QColor(Qt::green));
        QCOMPARE(library.itemForPersistentID(item->persistentID()), item);
        QCOMPARE(library.itemForFilePath(item->filePath()), item);
    }

    void badFilesLoseNothing_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("garbage mp3") << "junk.mp3" << QByteArray("ID3\x04garbage garbage garbage");
        QTest::newRow("empty flac") << "empty.flac" << QByteArray();
        QTest::newRow("text named ogg") << "notes.ogg" << QByteArray("just some words\n");
    }
    void badFilesLoseNothing()
    {
        QFETCH(QString, file);
        QFETCH(QByteArray, bytes);
        write(QStringLiteral("good.flac"), fullTrack());
        TULOTestTrack clean;
        clean.title = QStringLiteral("Clean");
        clean.advisory = QStringLiteral("2");
        clean.rawStoreItemID = QStringLiteral("12abc"); // malformed: the identifier stays empty
        clean.storeArtistID = 5;
        write(QStringLiteral("clean.wav"), clean);
        QFile broken(QDir(music()).filePath(file));
        QVERIFY(broken.open(QIODevice::WriteOnly));
        broken.write(bytes);
        broken.close();
        QFile notMedia(QDir(music()).filePath(QStringLiteral("cover.txt")));
        QVERIFY(notMedia.open(QIODevice::WriteOnly));

        TULOMediaLibrary library(music(), index());
        QVERIFY(library.reload());
        QCOMPARE(library.items().size(), 3);
        QCOMPARE(library.lastScanStatistics().filesUnreadable, 1);
        const auto brokenItem = library.itemForFilePath(broken.fileName());
        QVERIFY(brokenItem);
        QVERIFY(brokenItem->title().isNull());
        QVERIFY(brokenItem->artwork().isNull());
        const auto cleanItem = library.itemForFilePath(QDir(music()).filePath(QStringLiteral("clean.wav")));
        QCOMPARE(cleanItem->title(), QStringLiteral("Clean"));
        QCOMPARE(cleanItem->storeItemIdentifier(), 0);
        QCOMPARE(cleanItem->storeArtistIdentifier(), 5);
        QVERIFY(!cleanItem->isExplicit());
        QCOMPARE(library.itemForFilePath(QDir(music()).filePath(QStringLiteral("good.flac")))->title(),
                 QStringLiteral("Wörds & Tones"));
    }

    void secondOpenReadsOnlyChangedFiles()
    {
        for (int i = 0; i < 4; ++i) {
            TULOTestTrack track = fullTrack();
            track.title = QStringLiteral("Track %1").arg(i);
            track.artwork = QImage();
            write(QStringLiteral("album/%1.flac").arg(i), track);
        }
        {
            TULOMediaLibrary first(music(), index());
            QVERIFY(first.reload());
            QCOMPARE(first.lastScanStatistics().filesRead, 4);
        }
        TULOMediaLibrary second(music(), index());
        QVERIFY(second.reload());
        QCOMPARE(second.lastScanStatistics().filesSeen, 4);
        QCOMPARE(second.lastScanStatistics().filesRead, 0);
        const auto item = second.itemForFilePath(QDir(music()).filePath(QStringLiteral("album/2.flac")));
        QCOMPARE(item->title(), QStringLiteral("Track 2"));
        QCOMPARE(item->storeAlbumIdentifier(), 500); // from the index, not the file

        TULOTestTrack retitled = fullTrack();
        retitled.title = QStringLiteral("Renamed, and longer so the size changes");
        write(QStringLiteral("album/2.flac"), retitled);
        QVERIFY(QFile::remove(QDir(music()).filePath(QStringLiteral("album/3.flac"))));
        QSignalSpy changed(&second, &TULOMediaLibrary::libraryDidChange);
        QVERIFY(second.reload());
        QCOMPARE(changed.size(), 1);
        QCOMPARE(second.lastScanStatistics().filesRead, 1);
        QCOMPARE(second.lastScanStatistics().filesRemoved, 1);
        QCOMPARE(second.items().size(), 3);
        QCOMPARE(second.itemForFilePath(QDir(music()).filePath(QStringLiteral("album/2.flac")))->title(),
                 retitled.title);
        // Unchanged files keep their item objects.
        const auto unchanged = second.itemForFilePath(QDir(music()).filePath(QStringLiteral("album/0.flac")));
        QVERIFY(second.reload());
        QCOMPARE(second.itemForFilePath(unchanged->filePath()), unchanged);
    }

    void corruptIndexIsRebuilt()
    {
        write(QStringLiteral("x.flac"), fullTrack());
        QDir().mkpath(QFileInfo(index()).absolutePath());
        QFile garbage(index());
        QVERIFY(garbage.open(QIODevice::WriteOnly));
        garbage.write(QByteArray(4096, 'Z'));
        garbage.close();
        {
            TULOMediaLibrary library(music(), index());
            QVERIFY(library.reload());
            QCOMPARE(library.items().size(), 1);
            QCOMPARE(library.lastScanStatistics().filesRead, 1);
        }
        TULOMediaLibrary again(music(), index());
        QVERIFY(again.reload());
        QCOMPARE(again.lastScanStatistics().filesRead, 0);
        QCOMPARE(again.items().first()->title(), QStringLiteral("Wörds & Tones"));
    }

    void missingFolderKeepsItems()
    {
        write(QStringLiteral("x.flac"), fullTrack());
        const QString moved = m_dir.filePath(QStringLiteral("Moved"));
        TULOMediaLibrary library(music(), index());
        QVERIFY(library.reload());
        QVERIFY(QDir().rename(music(), moved));
        TULOError error;
        QVERIFY(!library.reload(&error));
        QCOMPARE(error.domain(), TULOFileErrorDomain);
        QVERIFY(error.localizedDescription().contains(QStringLiteral("cannot be read")));
        QCOMPARE(library.items().size(), 1);
        QVERIFY(QDir().rename(moved, music()));
        // The index kept the file too: nothing is read again.
        TULOMediaLibrary again(music(), index());
        QVERIFY(again.reload());
        QCOMPARE(again.lastScanStatistics().filesRead, 0);
    }

    void storeItemsAndRemoval()
    {
        write(QStringLiteral("local.flac"), fullTrack());
        TULOMediaLibrary library(music(), index());
        QVERIFY(library.reload());
        const auto local = library.items().first();

        auto cloud = std::make_shared<TULOMediaLibraryItem>();
        cloud->setTitle(QStringLiteral("In the store"));
        cloud->setStoreItemIdentifier(42);
        cloud->setMediaType(TULOMediaTypeMusicVideo);
        auto noIdentifier = std::make_shared<TULOMediaLibraryItem>();
        auto elsewhere = std::make_shared<TULOMediaLibraryItem>();
        elsewhere->setStoreItemIdentifier(43);
        library.addStoreItems({cloud, noIdentifier});
        QCOMPARE(library.items().size(), 3);
        QVERIFY(cloud->isDownloadableFromStore());
        QVERIFY(!noIdentifier->isDownloadableFromStore());
        QVERIFY(!local->isDownloadableFromStore());
        QVERIFY(!elsewhere->isDownloadableFromStore());
        QVERIFY(cloud->hasVideo());

        TULOError error;
        QVERIFY(library.removeItems({local, cloud}, &error));
        QVERIFY(!QFile::exists(local->filePath()));
        QCOMPARE(library.items().size(), 1);
        QVERIFY(!cloud->isDownloadableFromStore());
        TULOMediaLibrary reopened(music(), index());
        QVERIFY(reopened.reload());
        QVERIFY(reopened.items().isEmpty());
    }

    void defaultFolders()
    {
        // Never the user's real folders: both defaults are pointed into the test's folder.
        const QString cacheHome = m_dir.filePath(QStringLiteral("cache-home"));
        qputenv("XDG_CACHE_HOME", QFile::encodeName(cacheHome));
        qputenv("QUILLON_MUSIC_DIR", QFile::encodeName(music()));
        write(QStringLiteral("x.flac"), fullTrack());
        {
            TULOMediaLibrary library;
            QCOMPARE(library.musicFolder(), music());
            QVERIFY(library.indexPath().startsWith(cacheHome + QLatin1Char('/')));
            QVERIFY(library.reload());
            QCOMPARE(library.items().size(), 1);
        }
        QVERIFY(QFile::exists(TULOMediaLibrary::defaultIndexPath()));
        qunsetenv("QUILLON_MUSIC_DIR");
        QCOMPARE(TULOMediaLibrary::defaultMusicFolder(), QStandardPaths::writableLocation(QStandardPaths::MusicLocation));
        qunsetenv("XDG_CACHE_HOME");
    }

    void albumsGroupTracks()
    {
        TULOTestTrack a = fullTrack();
        a.storeAlbumID = 0;
        a.artwork = QImage();
        write(QStringLiteral("1.flac"), a);
        TULOTestTrack b = fullTrack();
        b.title = QStringLiteral("Second");
        write(QStringLiteral("2.wav"), b);
        TULOTestTrack other;
        other.title = QStringLiteral("Loose");
        other.artist = QStringLiteral("Solo");
        other.album = QStringLiteral("First Light"); // same title, other artist: another album
        write(QStringLiteral("3.ogg"), other);
        TULOMediaLibrary library(music(), index());
        QVERIFY(library.reload());
        const auto albums = library.albums();
        QCOMPARE(albums.size(), 2);
        for (const auto &album : albums) {
            if (album->albumArtistName() == QLatin1String("The Band")) {
                QCOMPARE(album->storeIdentifier(), 500);
                QVERIFY(!album->artworkCatalog().isNull());
            } else {
                QCOMPARE(album->albumArtistName(), QStringLiteral("Solo"));
                QCOMPARE(album->storeIdentifier(), 0);
            }
        }
        QCOMPARE(library.songs().size(), 3);
    }
};

QTEST_GUILESS_MAIN(TestMediaLibrary)
#include "tst_medialibrary.moc"

#include "../media/photofixtures.h"
#include "support/videosupport.h"

#include <Quillon/platform/library/photolibrary.h>
#include <Quillon/platform/sqlite/sqlitedatabase_p.h>
#include <Quillon/platform/typeidentifiers.h>

#include <QDir>
#include <QFile>
#include <QMutex>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QDateTime kNow = QDateTime::currentDateTime();

// The 32-byte header of an MP4 with nothing in it.
const QByteArray kEmptyMP4("\x00\x00\x00\x18" "ftypmp42\x00\x00\x00\x00" "mp42isom\x00\x00\x00\x08" "free", 32);

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

// The photo library's index: filled by a walk, brought up to date by the next, read back by a
// later library without walking, rebuilt when damaged, and holding videos' durations.
class TestPhotoLibraryIndex : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_pictures;
    QString m_index;

    QString picture(const QString &name) const { return QDir(m_pictures).filePath(name); }

    QStringList relativePaths(const QList<TULOPhotoAsset> &assets) const
    {
        QStringList paths;
        for (const TULOPhotoAsset &asset : assets)
            paths << QDir(m_pictures).relativeFilePath(asset.filePath());
        return paths;
    }

    QList<TULOPhotoAsset> byPath(QList<TULOPhotoAsset> assets) const
    {
        std::sort(assets.begin(), assets.end(),
            [](const TULOPhotoAsset &a, const TULOPhotoAsset &b) { return a.filePath() < b.filePath(); });
        return assets;
    }

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_dir.isValid());
        m_pictures = m_dir.filePath(QStringLiteral("Pictures"));
        m_index = m_dir.filePath(QStringLiteral("cache/PhotoLibrary.sqlitedb"));
        QDir(m_pictures).removeRecursively();
        QDir(m_dir.filePath(QStringLiteral("cache"))).removeRecursively();
        QVERIFY(TULOTestWritePhoto(picture(QStringLiteral("a.jpg")), QSize(60, 40), 10, kNow.addSecs(-1800)));
        QVERIFY(TULOTestWritePhoto(picture(QStringLiteral("Trip/b.png")), QSize(60, 40), 100, kNow.addSecs(-1200)));
        QVERIFY(TULOTestWritePhoto(picture(QStringLiteral("Trip/c.jpg")), QSize(60, 40), 200, kNow.addSecs(-600)));
        QVERIFY(writeBytes(picture(QStringLiteral("Trip/notes.txt")), "not a photo\n"));
    }

    void refreshFollowsTheFolder_data()
    {
        QTest::addColumn<bool>("indexedBefore");
        QTest::addColumn<QString>("change");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<int>("read");
        QTest::addColumn<int>("notices");
        QTest::addColumn<QString>("typeOfC");
        const QStringList all{"Trip/b.png", "Trip/c.jpg", "a.jpg"};
        const QString jpeg = QString::fromLatin1(TULOTypeIdentifierJPEG);
        QTest::addRow("first-fill") << false << "" << all << 3 << 1 << jpeg;
        QTest::addRow("unchanged") << true << "" << all << 0 << 0 << jpeg;
        QTest::addRow("added") << true << "add Trip/d.jpg" << QStringList{"Trip/b.png", "Trip/c.jpg", "Trip/d.jpg", "a.jpg"}
                               << 1 << 1 << jpeg;
        QTest::addRow("added-in-new-folder") << true << "add Later/e.png"
                                             << QStringList{"Later/e.png", "Trip/b.png", "Trip/c.jpg", "a.jpg"} << 1 << 1
                                             << jpeg;
        QTest::addRow("deleted") << true << "delete a.jpg" << QStringList{"Trip/b.png", "Trip/c.jpg"} << 0 << 1 << jpeg;
        QTest::addRow("folder-deleted") << true << "delete Trip" << QStringList{"a.jpg"} << 0 << 1 << jpeg;
        QTest::addRow("modified") << true << "modify Trip/b.png" << all << 1 << 1 << jpeg;
        // The same name with other bytes: the type is read again.
        QTest::addRow("now-a-png") << true << "png Trip/c.jpg" << all << 1 << 1
                                   << QString::fromLatin1(TULOTypeIdentifierPNG);
    }
    void refreshFollowsTheFolder()
    {
        QFETCH(bool, indexedBefore);
        QFETCH(QString, change);
        QFETCH(QStringList, expected);
        QFETCH(int, read);
        QFETCH(int, notices);
        QFETCH(QString, typeOfC);
        if (indexedBefore) {
            TULOPhotoLibrary first(m_pictures, m_index);
            QVERIFY(first.refresh());
            QCOMPARE(first.lastRefreshReadCount(), 3);
        }
        const QString verb = change.section(QLatin1Char(' '), 0, 0), name = change.section(QLatin1Char(' '), 1);
        if (verb == QLatin1String("add")) {
            QVERIFY(TULOTestWritePhoto(picture(name), QSize(30, 20), 300, kNow));
        } else if (verb == QLatin1String("delete")) {
            QVERIFY(QFileInfo(picture(name)).isDir() ? QDir(picture(name)).removeRecursively() : QFile::remove(picture(name)));
        } else if (verb == QLatin1String("modify")) {
            QVERIFY(TULOTestWritePhoto(picture(name), QSize(120, 80), 100, kNow.addSecs(-60)));
        } else if (verb == QLatin1String("png")) {
            QVERIFY(TULOTestWritePhoto(m_dir.filePath(QStringLiteral("c.png")), QSize(60, 40), 200, kNow));
            QVERIFY(QFile::remove(picture(name)));
            QVERIFY(QFile::rename(m_dir.filePath(QStringLiteral("c.png")), picture(name)));
        }

        TULOPhotoLibrary library(m_pictures, m_index);
        QSignalSpy changed(&library, &TULOPhotoLibrary::libraryDidChange);
        QVERIFY(library.refresh());
        QCOMPARE(library.lastRefreshReadCount(), read);
        QCOMPARE(changed.size(), notices);
        const QList<TULOPhotoAsset> assets = library.assets();
        QCOMPARE(relativePaths(assets), expected);
        for (const TULOPhotoAsset &asset : assets) {
            QCOMPARE(asset.date().toMSecsSinceEpoch(), QFileInfo(asset.filePath()).lastModified().toMSecsSinceEpoch());
            QCOMPARE(asset.defaultRepresentation().size(), QFileInfo(asset.filePath()).size());
            if (asset.filePath() == picture(QStringLiteral("Trip/c.jpg")))
                QCOMPARE(asset.defaultRepresentation().UTI(), typeOfC);
        }

        // What the walk learnt is in the file: a later library knows it without walking.
        TULOPhotoLibrary later(m_pictures, m_index);
        QCOMPARE(byPath(later.indexedRecentAssets(-1)), assets);
        QVERIFY(later.refresh());
        QCOMPARE(later.lastRefreshReadCount(), 0);
    }

    void damagedIndexIsRebuilt_data()
    {
        QTest::addColumn<QString>("damage");
        QTest::addRow("garbage") << "garbage";
        QTest::addRow("empty-file") << "empty";
        QTest::addRow("other-schema-version") << "version";
    }
    void damagedIndexIsRebuilt()
    {
        QFETCH(QString, damage);
        QDir().mkpath(QFileInfo(m_index).absolutePath());
        if (damage == QLatin1String("version")) {
            // A file of a later schema, with a table of the same name that looks nothing alike.
            TULOSQLiteDatabase database(m_index);
            QVERIFY(database.reopen());
            QVERIFY(database.executeSQL(QStringLiteral("CREATE TABLE photo_files (name TEXT)")));
            QVERIFY(database.executeSQL(QStringLiteral("INSERT INTO photo_files VALUES ('x')")));
            QVERIFY(database.setUserVersion(99));
        } else {
            QVERIFY(writeBytes(m_index, damage == QLatin1String("garbage") ? QByteArray(4096, 'Z') : QByteArray()));
        }
        {
            TULOPhotoLibrary library(m_pictures, m_index);
            QCOMPARE(library.indexedRecentAssets(-1).size(), 0);
            QCOMPARE(library.recentAssets(-1).size(), 3);
            QCOMPARE(library.lastRefreshReadCount(), 3);
        }
        TULOPhotoLibrary again(m_pictures, m_index);
        QCOMPARE(relativePaths(again.indexedRecentAssets(-1)), (QStringList{"Trip/c.jpg", "Trip/b.png", "a.jpg"}));
        QVERIFY(again.refresh());
        QCOMPARE(again.lastRefreshReadCount(), 0);
    }

    // A screen shows the indexed newest at once and the folder as it is once walked.
    void loadingAnswersFromTheIndexFirst_data()
    {
        QTest::addColumn<bool>("addNewer");
        QTest::addColumn<QList<QStringList>>("deliveries");
        QTest::addRow("folder-unchanged") << false << QList<QStringList>{{"Trip/c.jpg", "Trip/b.png"}};
        QTest::addRow("newer-photo-added") << true
                                           << QList<QStringList>{{"Trip/c.jpg", "Trip/b.png"}, {"new.jpg", "Trip/c.jpg"}};
    }
    void loadingAnswersFromTheIndexFirst()
    {
        QFETCH(bool, addNewer);
        QFETCH(QList<QStringList>, deliveries);
        {
            TULOPhotoLibrary first(m_pictures, m_index);
            QVERIFY(first.refresh());
        }
        if (addNewer)
            QVERIFY(TULOTestWritePhoto(picture(QStringLiteral("new.jpg")), QSize(30, 20), 50, kNow));
        QMutex mutex;
        QList<QStringList> delivered;
        {
            TULOPhotoLibrary library(m_pictures, m_index);
            library.loadRecentAssets(2, [&](const QList<TULOPhotoAsset> &assets, const TULOError &error) {
                QMutexLocker lock(&mutex);
                delivered << (error ? QStringList{error.localizedDescription()} : relativePaths(assets));
            });
        } // the library waits for its worker
        QCOMPARE(delivered, deliveries);
    }

    void librariesSharingAnIndexFileKeepApart()
    {
        const QString sibling = m_pictures + QStringLiteral(".old"), longer = m_pictures + QStringLiteral("2");
        QVERIFY(TULOTestWritePhoto(sibling + QStringLiteral("/x.jpg"), QSize(20, 20), 0, kNow));
        QVERIFY(TULOTestWritePhoto(longer + QStringLiteral("/y.jpg"), QSize(20, 20), 0, kNow));
        for (const QString &root : {sibling, longer, m_pictures}) {
            TULOPhotoLibrary library(root, m_index);
            QVERIFY(library.refresh());
        }
        TULOPhotoLibrary library(m_pictures, m_index);
        QCOMPARE(relativePaths(library.indexedRecentAssets(-1)), (QStringList{"Trip/c.jpg", "Trip/b.png", "a.jpg"}));
        TULOPhotoLibrary other(longer, m_index);
        QCOMPARE(other.indexedRecentAssets(5).size(), 1);
    }

    void videoDurationsAreIndexed_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<double>("seconds"); // 0: no video to make, the empty MP4 header instead
        QTest::addColumn<double>("expected");
        QTest::addRow("mp4-two-seconds") << "clip.mp4" << 2.0 << 2.0;
        QTest::addRow("mkv-five-and-a-half") << "Trip/long.mkv" << 5.5 << 5.5;
        QTest::addRow("mov-in-a-folder") << "Trip/Day 2/short.mov" << 1.0 << 1.0;
        QTest::addRow("unreadable-header") << "broken.mp4" << 0.0 << 0.0;
    }
    void videoDurationsAreIndexed()
    {
        QFETCH(QString, name);
        QFETCH(double, seconds);
        QFETCH(double, expected);
        QString message;
        QVERIFY(QDir().mkpath(QFileInfo(picture(name)).absolutePath()));
        if (seconds > 0)
            QVERIFY2(TULOMakeTestVideo(picture(name), seconds, 10, QStringLiteral("64x48"), {"-c:v", "mpeg4"}, &message),
                qPrintable(message));
        else
            QVERIFY(writeBytes(picture(name), kEmptyMP4));
        const auto durationOf = [this, &name](const QList<TULOPhotoAsset> &assets) {
            for (const TULOPhotoAsset &asset : assets) {
                if (asset.filePath() == picture(name))
                    return asset.assetType() == TULOPhotoAsset::Video ? asset.duration() : -1.0;
            }
            return -2.0; // not listed
        };
        {
            TULOPhotoLibrary library(m_pictures, m_index);
            const double duration = durationOf(library.recentAssets(-1));
            QVERIFY2(qAbs(duration - expected) < 0.15, qPrintable(QString::number(duration)));
            // Photos have none.
            QCOMPARE(durationOf(library.assets()), duration);
            for (const TULOPhotoAsset &asset : library.assets()) {
                if (asset.assetType() == TULOPhotoAsset::Photo)
                    QCOMPARE(asset.duration(), 0.0);
            }
        }
        // The next library takes the duration from the index without opening the video.
        TULOPhotoLibrary again(m_pictures, m_index);
        const double indexed = durationOf(again.indexedRecentAssets(-1));
        QVERIFY2(qAbs(indexed - expected) < 0.15, qPrintable(QString::number(indexed)));
        QVERIFY(again.refresh());
        QCOMPARE(again.lastRefreshReadCount(), 0);
    }

    void watchedFoldersRefreshByThemselves_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addRow("into-a-known-folder") << "Trip/new.jpg";
        QTest::addRow("into-the-top-folder") << "new.jpg";
        QTest::addRow("into-a-new-folder") << "Autumn/new.jpg";
    }
    void watchedFoldersRefreshByThemselves()
    {
        QFETCH(QString, name);
        TULOPhotoLibrary library(m_pictures, m_index);
        QVERIFY(library.refresh());
        library.setWatchesFolders(true);
        QCoreApplication::processEvents(); // the walked folders join the watch
        // The walk runs on the library's worker; the count is kept on this thread.
        int changes = 0;
        connect(&library, &TULOPhotoLibrary::libraryDidChange, this, [&changes] { ++changes; });
        QVERIFY(TULOTestWritePhoto(picture(name), QSize(30, 20), 70, kNow));
        QTRY_VERIFY_WITH_TIMEOUT(changes > 0, 20000);
        QVERIFY(relativePaths(library.indexedRecentAssets(1)).contains(name));
        library.setWatchesFolders(false);
    }
};

QTEST_MAIN(TestPhotoLibraryIndex)
#include "tst_photolibraryindex.moc"

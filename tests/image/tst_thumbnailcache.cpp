#include <Quillon/platform/image/thumbnailcache.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QDeadlineTimer>
#include <QTest>
#include <QThread>
#include <QThreadPool>
#include <QtEndian>

namespace {

// The tEXt chunks of a PNG, read straight from its bytes (not through Qt's PNG reader).
QHash<QString, QString> pngTextChunks(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray png = file.readAll();
    QHash<QString, QString> chunks;
    if (!png.startsWith("\x89PNG\r\n\x1a\n"))
        return chunks;
    qsizetype offset = 8;
    while (offset + 8 <= png.size()) {
        const quint32 length = qFromBigEndian<quint32>(png.constData() + offset);
        const QByteArray type = png.mid(offset + 4, 4);
        const QByteArray data = png.mid(offset + 8, length);
        if (type == "tEXt") {
            const qsizetype separator = data.indexOf('\0');
            chunks.insert(QString::fromLatin1(data.left(separator)), QString::fromLatin1(data.mid(separator + 1)));
        }
        offset += 12 + length;
    }
    return chunks;
}

bool writePhoto(const QString &path, const QSize &size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor(40, 120, 200));
    return image.save(path);
}

} // namespace

class TestThumbnailCache : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_cacheFolder;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        // A private XDG cache, so the user's own thumbnails are never touched.
        qputenv("XDG_CACHE_HOME", QFile::encodeName(m_dir.filePath(QStringLiteral("cache"))));
        m_cacheFolder = TULOThumbnailCache::defaultCacheFolder();
        QCOMPARE(m_cacheFolder, m_dir.filePath(QStringLiteral("cache/thumbnails")));
    }

    void nameIsTheMD5OfTheEncodedURI_data()
    {
        QTest::addColumn<QString>("fileName");
        QTest::addColumn<QByteArray>("encodedName");
        QTest::addRow("plain") << QStringLiteral("photo.jpg") << QByteArray("photo.jpg");
        QTest::addRow("space") << QStringLiteral("my photo.jpg") << QByteArray("my%20photo.jpg");
        QTest::addRow("non-ascii") << QStringLiteral("café.png") << QByteArray("caf%C3%A9.png");
        QTest::addRow("percent") << QStringLiteral("100%.png") << QByteArray("100%25.png");
    }
    void nameIsTheMD5OfTheEncodedURI()
    {
        QFETCH(QString, fileName);
        QFETCH(QByteArray, encodedName);
        const QString path = QStringLiteral("/home/user/Pictures/") + fileName;
        const QByteArray uri = "file:///home/user/Pictures/" + encodedName;
        QCOMPARE(TULOThumbnailCache::URIForFile(path), uri);
        const TULOThumbnailCache cache;
        const QString md5 = QString::fromLatin1(QCryptographicHash::hash(uri, QCryptographicHash::Md5).toHex());
        QCOMPARE(cache.thumbnailPath(path, TULOThumbnailSizeNormal), m_cacheFolder + QStringLiteral("/normal/") + md5 + QStringLiteral(".png"));
        QCOMPARE(cache.thumbnailPath(path, TULOThumbnailSizeLarge), m_cacheFolder + QStringLiteral("/large/") + md5 + QStringLiteral(".png"));
    }

    void writtenInTheStandardsFormat_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<QSize>("original");
        QTest::addColumn<QSize>("expected");
        QTest::addRow("normal-landscape") << int(TULOThumbnailSizeNormal) << QSize(800, 600) << QSize(128, 96);
        QTest::addRow("large-portrait") << int(TULOThumbnailSizeLarge) << QSize(300, 1200) << QSize(64, 256);
        QTest::addRow("small-not-enlarged") << int(TULOThumbnailSizeNormal) << QSize(40, 30) << QSize(40, 30);
    }
    void writtenInTheStandardsFormat()
    {
        QFETCH(int, size);
        QFETCH(QSize, original);
        QFETCH(QSize, expected);
        const QString photo = m_dir.filePath(QStringLiteral("photos/%1.png").arg(QString::fromLatin1(QTest::currentDataTag())));
        QDir().mkpath(QFileInfo(photo).absolutePath());
        QVERIFY(writePhoto(photo, original));

        const TULOThumbnailCache cache;
        TULOError error;
        const QImage made = cache.thumbnail(photo, TULOThumbnailSize(size), &error);
        QVERIFY2(!made.isNull(), qPrintable(error.localizedDescription()));
        QCOMPARE(made.size(), expected);

        const QString stored = cache.thumbnailPath(photo, TULOThumbnailSize(size));
        const QHash<QString, QString> chunks = pngTextChunks(stored);
        QCOMPARE(chunks.value(QStringLiteral("Thumb::URI")), QString::fromLatin1(TULOThumbnailCache::URIForFile(photo)));
        QCOMPARE(chunks.value(QStringLiteral("Thumb::MTime")),
            QString::number(QFileInfo(photo).lastModified().toSecsSinceEpoch()));
        QCOMPARE(QImage(stored).size(), expected);
        // The cache is the user's alone.
        QCOMPARE(QFileInfo(stored).permissions() & (QFile::ReadGroup | QFile::ReadOther | QFile::WriteGroup | QFile::WriteOther),
            QFile::Permissions());
        QCOMPARE(QFileInfo(QFileInfo(stored).absolutePath()).permissions() & (QFile::ReadOther | QFile::ExeOther | QFile::ReadGroup),
            QFile::Permissions());
        QCOMPARE(cache.cachedThumbnail(photo, TULOThumbnailSize(size)).size(), expected);
    }

    // What a file manager made is used; a picture of an older version of the file is not.
    void readsOnlyCurrentThumbnails_data()
    {
        QTest::addColumn<QString>("uri");
        QTest::addColumn<qint64>("mtimeShift");
        QTest::addColumn<bool>("used");
        QTest::addRow("current") << QString() << qint64(0) << true;
        QTest::addRow("file-changed-since") << QString() << qint64(-60) << false;
        QTest::addRow("other-file") << QStringLiteral("file:///elsewhere.png") << qint64(0) << false;
    }
    void readsOnlyCurrentThumbnails()
    {
        QFETCH(QString, uri);
        QFETCH(qint64, mtimeShift);
        QFETCH(bool, used);
        const QString photo = m_dir.filePath(QStringLiteral("shared-%1.png").arg(QString::fromLatin1(QTest::currentDataTag())));
        QVERIFY(writePhoto(photo, QSize(500, 500)));
        const TULOThumbnailCache cache;
        QImage foreign(100, 100, QImage::Format_RGB32);
        foreign.fill(Qt::red);
        foreign.setText(QStringLiteral("Thumb::URI"), uri.isNull() ? QString::fromLatin1(TULOThumbnailCache::URIForFile(photo)) : uri);
        foreign.setText(QStringLiteral("Thumb::MTime"),
            QString::number(QFileInfo(photo).lastModified().toSecsSinceEpoch() + mtimeShift));
        const QString path = cache.thumbnailPath(photo, TULOThumbnailSizeNormal);
        QDir().mkpath(QFileInfo(path).absolutePath());
        QVERIFY(foreign.save(path));

        const QImage cached = cache.cachedThumbnail(photo, TULOThumbnailSizeNormal);
        QCOMPARE(!cached.isNull(), used);
        const QImage shown = cache.thumbnail(photo, TULOThumbnailSizeNormal);
        // Ours is blue and 128 wide; the file manager's was red and 100 wide.
        QCOMPARE(shown.width(), used ? 100 : 128);
        QCOMPARE(QColor(shown.pixel(5, 5)) == QColor(Qt::red), used);
    }

    void badFilesFailClearlyAndAreRemembered_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("exists");
        QTest::addColumn<int>("code");
        QTest::addRow("corrupt-jpeg") << QByteArray("\xff\xd8\xff\xe0garbage", 12) << true << int(TULOThumbnailErrorNotAnImage);
        QTest::addRow("text-file") << QByteArray("just words") << true << int(TULOThumbnailErrorNotAnImage);
        QTest::addRow("missing") << QByteArray() << false << int(TULOThumbnailErrorUnreadable);
    }
    void badFilesFailClearlyAndAreRemembered()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, exists);
        QFETCH(int, code);
        const QString path = m_dir.filePath(QStringLiteral("bad-%1.jpg").arg(QString::fromLatin1(QTest::currentDataTag())));
        if (exists) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(bytes);
        }
        const TULOThumbnailCache cache;
        TULOError error;
        QVERIFY(cache.thumbnail(path, TULOThumbnailSizeNormal, &error).isNull());
        QCOMPARE(error.code(), qint64(code));
        QVERIFY(error.localizedDescription().contains(QFileInfo(path).fileName()));
        QCOMPARE(cache.hasFailed(path), exists);
        if (exists) {
            QCOMPARE(pngTextChunks(cache.failurePath(path)).value(QStringLiteral("Thumb::URI")),
                QString::fromLatin1(TULOThumbnailCache::URIForFile(path)));
            // A repaired file is tried again.
            QVERIFY(QFile::remove(path));
            QVERIFY(writePhoto(path + QStringLiteral(".png"), QSize(10, 10)));
            QVERIFY(QFile::rename(path + QStringLiteral(".png"), path));
            QFile repaired(path);
            QVERIFY(repaired.open(QIODevice::ReadWrite));
            QVERIFY(repaired.setFileTime(QDateTime::currentDateTime().addSecs(5), QFileDevice::FileModificationTime));
            repaired.close();
            QVERIFY(!cache.hasFailed(path));
            QVERIFY(!cache.thumbnail(path, TULOThumbnailSizeNormal).isNull());
        }
    }

    void unwritableCacheStillShowsThePicture()
    {
        const QString blocked = m_dir.filePath(QStringLiteral("blocked"));
        QFile file(blocked); // a file where the cache folder should be
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        const QString photo = m_dir.filePath(QStringLiteral("unwritable.png"));
        QVERIFY(writePhoto(photo, QSize(300, 200)));
        const TULOThumbnailCache cache(blocked + QStringLiteral("/thumbnails"));
        QCOMPARE(cache.thumbnail(photo, TULOThumbnailSizeNormal).size(), QSize(128, 85));
        TULOError error;
        QVERIFY(!cache.storeThumbnail(photo, QImage(8, 8, QImage::Format_RGB32), TULOThumbnailSizeNormal, &error));
        QCOMPARE(error.code(), qint64(TULOThumbnailErrorWriteFailed));
    }

    // A library's index knows each file's modification time: the thumbnail is served on that
    // alone, without looking at the file, and only while it names that time.
    void knownModificationTimeServesWithoutTheFile_data()
    {
        QTest::addColumn<qint64>("knownShift");
        QTest::addColumn<bool>("photoKept");
        QTest::addColumn<bool>("served");
        QTest::addRow("as-indexed") << qint64(0) << true << true;
        QTest::addRow("photo-gone-since") << qint64(0) << false << true;
        QTest::addRow("indexed-later-version") << qint64(60) << true << false;
        QTest::addRow("indexed-earlier-version") << qint64(-60) << true << false;
    }
    void knownModificationTimeServesWithoutTheFile()
    {
        QFETCH(qint64, knownShift);
        QFETCH(bool, photoKept);
        QFETCH(bool, served);
        const QString photo = m_dir.filePath(QStringLiteral("indexed-%1.png").arg(QString::fromLatin1(QTest::currentDataTag())));
        QVERIFY(writePhoto(photo, QSize(400, 300)));
        const TULOThumbnailCache cache;
        QVERIFY(!cache.thumbnail(photo, TULOThumbnailSizeNormal).isNull());
        const QDateTime modified = QFileInfo(photo).lastModified();
        if (!photoKept)
            QVERIFY(QFile::remove(photo));
        const QImage image = cache.cachedThumbnail(photo, TULOThumbnailSizeNormal, modified.addSecs(knownShift));
        QCOMPARE(!image.isNull(), served);
        if (served)
            QCOMPARE(image.size(), QSize(128, 96));
        QVERIFY(cache.cachedThumbnail(photo, TULOThumbnailSizeNormal, QDateTime()).isNull());
    }

    // What a view scrolled past is dropped before it is made; everything else arrives, once.
    void cancelledRequestsAreNeverDelivered()
    {
        QStringList photos;
        for (int i = 0; i < 40; ++i) {
            photos << m_dir.filePath(QStringLiteral("cancel-%1.png").arg(i));
            QVERIFY(writePhoto(photos.last(), QSize(1200, 900)));
        }
        TULOThumbnailLoader loader(TULOThumbnailCache(m_dir.filePath(QStringLiteral("cancel-cache"))));
        QStringList delivered;
        connect(&loader, &TULOThumbnailLoader::thumbnailReady, this,
            [&](const QString &path, const QImage &, const TULOError &) { delivered << path; });
        for (int i = 0; i < photos.size(); ++i) {
            if (i % 3 == 0)
                loader.prefetchThumbnail(photos.at(i));
            else
                loader.requestThumbnail(photos.at(i));
        }
        const auto odd = [](const QString &path) { return QFileInfo(path).baseName().section(QLatin1Char('-'), 1).toInt() % 2; };
        const QStringList cancelled = loader.cancelThumbnails([&](const QString &path) { return !odd(path); });
        QVERIFY(!cancelled.isEmpty());
        for (const QString &path : cancelled)
            QVERIFY2(odd(path), qPrintable(path));
        QTRY_COMPARE_WITH_TIMEOUT(delivered.size() + cancelled.size(), photos.size(), 120000);
        QTRY_COMPARE(loader.pendingCount(), 0);
        QTest::qWait(50);
        QStringList all = delivered + cancelled;
        all.sort();
        QStringList expected = photos;
        expected.sort();
        QCOMPARE(all, expected); // each once: delivered or cancelled, never both
    }

    // Qt's raster engine paints large areas with jobs on its global pool and waits for them: a
    // loader busy with a long queue must leave that pool free, or painting stalls until it is done.
    void busyLoaderLeavesQtsThreadPoolFree_data()
    {
        QTest::addColumn<bool>("ahead");
        QTest::addRow("shown") << false;
        QTest::addRow("ahead") << true;
    }
    void busyLoaderLeavesQtsThreadPoolFree()
    {
        QFETCH(bool, ahead);
        QStringList photos;
        for (int i = 0; i < 40; ++i) {
            photos << m_dir.filePath(QStringLiteral("busy-%1-%2.png").arg(QString::fromLatin1(QTest::currentDataTag())).arg(i));
            QVERIFY(writePhoto(photos.last(), QSize(1600, 1200)));
        }
        TULOThumbnailLoader loader(TULOThumbnailCache(m_dir.filePath(QStringLiteral("busy-cache"))));
        QSignalSpy ready(&loader, &TULOThumbnailLoader::thumbnailReady);
        for (const QString &photo : std::as_const(photos)) {
            if (ahead)
                loader.prefetchThumbnail(photo);
            else
                loader.requestThumbnail(photo);
        }
        QVERIFY(ready.wait(20000));
        const int active = QThreadPool::globalInstance()->activeThreadCount();
        QVERIFY2(loader.pendingCount() > 0, "the loader finished too soon to tell");
        QCOMPARE(active, 0);
        // Forty full-size decodes on one lowered-priority worker, perhaps beside a compiler: the
        // point is that all arrive, not how soon.
        QTRY_COMPARE_WITH_TIMEOUT(ready.size(), int(photos.size()), 120000);
    }

    // A repeat that comes after a worker took the file, made or not, must not make it twice.
    void repeatWhileTheAnswerIsOnItsWayIsAnsweredOnce_data()
    {
        QTest::addColumn<bool>("prefetch");
        QTest::newRow("request") << false;
        QTest::newRow("prefetch") << true;
    }
    void repeatWhileTheAnswerIsOnItsWayIsAnsweredOnce()
    {
        QFETCH(bool, prefetch);
        const QString photo = m_dir.filePath(QStringLiteral("on-its-way-%1.png").arg(QString::fromLatin1(QTest::currentDataTag())));
        QVERIFY(writePhoto(photo, QSize(320, 240)));
        TULOThumbnailLoader loader;
        QSignalSpy ready(&loader, &TULOThumbnailLoader::thumbnailReady);
        loader.requestThumbnail(photo);
        // The worker is done and its answer queued; the event loop has not delivered it.
        QDeadlineTimer deadline(20000);
        while (loader.pendingCount() > 0 && !deadline.hasExpired())
            QThread::msleep(1);
        QCOMPARE(loader.pendingCount(), 0);
        QCOMPARE(ready.size(), 0);
        if (prefetch)
            loader.prefetchThumbnail(photo);
        else
            loader.requestThumbnail(photo);
        QTRY_COMPARE(ready.size(), 1);
        QTest::qWait(100);
        QCOMPARE(ready.size(), 1);
        // Once delivered, a new request is a new one.
        loader.requestThumbnail(photo);
        QTRY_COMPARE(ready.size(), 2);
    }

    void loaderDeliversOnTheGuiThreadOncePerRequest()
    {
        QStringList photos;
        for (int i = 0; i < 6; ++i) {
            photos << m_dir.filePath(QStringLiteral("loader-%1.png").arg(i));
            QVERIFY(writePhoto(photos.last(), QSize(200 + i, 150)));
        }
        photos << m_dir.filePath(QStringLiteral("loader-missing.png"));
        TULOThumbnailLoader loader;
        QSignalSpy ready(&loader, &TULOThumbnailLoader::thumbnailReady);
        QStringList seen;
        connect(&loader, &TULOThumbnailLoader::thumbnailReady, this, [&](const QString &path, const QImage &image, const TULOError &error) {
            QCOMPARE(QThread::currentThread(), qApp->thread());
            QCOMPARE(image.isNull(), !error.isNull());
            // Ready to draw: painting converts nothing.
            if (!image.isNull())
                QCOMPARE(image.format(), QImage::Format_ARGB32_Premultiplied);
            seen << path;
        });
        for (const QString &photo : std::as_const(photos))
            loader.requestThumbnail(photo);
        loader.requestThumbnail(photos.first()); // a repeat moves it forward, no second answer
        QTRY_COMPARE(ready.size(), int(photos.size()));
        QTest::qWait(50);
        QCOMPARE(ready.size(), int(photos.size()));
        seen.sort();
        QStringList expected = photos;
        expected.sort();
        QCOMPARE(seen, expected);
    }
};

QTEST_MAIN(TestThumbnailCache)
#include "tst_thumbnailcache.moc"

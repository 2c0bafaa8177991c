#include <Quillon/media/filepathforasseturl.h>
#include <Quillon/platform/library/photolibrary.h>

#include <QDir>
#include <QImage>
#include <QThread>
#include <QTemporaryDir>
#include <QTest>

#include <thread>
#include <vector>

// Asset URLs resolve to their files through one photo library per pictures folder, from any
// thread at once.
class TestFilePathForAssetURL : public QObject
{
    Q_OBJECT

    QTemporaryDir m_first;
    QTemporaryDir m_second;

    static QString addPhoto(const QTemporaryDir &dir, const QString &name)
    {
        QImage image(32, 24, QImage::Format_RGB32);
        image.fill(Qt::darkCyan);
        const QString path = dir.filePath(name);
        return image.save(path, "JPEG") ? path : QString();
    }

    static void usePicturesFolder(const QTemporaryDir &dir)
    {
        qputenv("QUILLON_PICTURES_DIR", QFile::encodeName(dir.path()));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_first.isValid() && m_second.isValid());
        QVERIFY(!addPhoto(m_first, QStringLiteral("a.jpg")).isEmpty());
        QVERIFY(!addPhoto(m_second, QStringLiteral("b.jpg")).isEmpty());
    }

    void lookups_data()
    {
        QTest::addColumn<bool>("second");    // the pictures folder in use
        QTest::addColumn<QString>("name");   // the photo's file, made before the lookup
        QTest::addColumn<bool>("removed");   // gone again before the lookup
        QTest::addColumn<QString>("url");    // instead of the photo's asset URL
        QTest::addColumn<qint64>("code");
        QTest::newRow("photo of the library") << false << "a.jpg" << false << QString() << qint64(0);
        QTest::newRow("added after the library opened") << false << "later.jpg" << false << QString() << qint64(0);
        QTest::newRow("removed from the library") << false << "gone.jpg" << true << QString()
                                                  << qint64(TULOPhotoLibraryErrorAssetNotFound);
        QTest::newRow("another pictures folder") << true << "b.jpg" << false << QString() << qint64(0);
        QTest::newRow("back to the first folder") << false << "a.jpg" << false << QString() << qint64(0);
        QTest::newRow("file URL, no library") << false << QString() << false << "file:///tmp/clip.mp4" << qint64(0);
        QTest::newRow("neither file nor asset") << false << QString() << false << "http://127.0.0.1:9/a.jpg"
                                                << qint64(TULOPhotoLibraryErrorInvalidURL);
    }
    void lookups()
    {
        QFETCH(bool, second);
        QFETCH(QString, name);
        QFETCH(bool, removed);
        QFETCH(QString, url);
        QFETCH(qint64, code);
        const QTemporaryDir &dir = second ? m_second : m_first;
        usePicturesFolder(dir);
        // The library of the folder in use is opened before the photo exists.
        const std::shared_ptr<TULOPhotoLibrary> library = TULOSharedPhotoLibrary();
        QVERIFY(library);
        QCOMPARE(library->libraryPath(), QDir::cleanPath(dir.path()));
        QCOMPARE(TULOSharedPhotoLibrary(), library);

        QUrl assetURL(url);
        QString expected = assetURL.isLocalFile() ? assetURL.toLocalFile() : QString();
        if (!name.isEmpty()) {
            expected = QFile::exists(dir.filePath(name)) ? dir.filePath(name) : addPhoto(dir, name);
            QVERIFY(!expected.isEmpty());
            assetURL = library->assetURLForFilePath(expected);
            QVERIFY(TULOPhotoLibrary::isAssetURL(assetURL));
            if (removed) {
                QVERIFY(QFile::remove(expected));
                expected.clear();
            }
        }
        TULOError error;
        QCOMPARE(TULOFilePathForAssetURL(assetURL, &error), expected);
        QVERIFY2(code == 0 ? !error : error.is(TULOPhotoLibraryErrorDomain, code), qPrintable(error.localizedDescription()));
    }

    // Lookups from several threads at once share the one library and all find their files.
    void concurrentLookups()
    {
        // A folder not looked in before: one of the threads makes its library.
        QTemporaryDir third;
        const QString path = addPhoto(third, QStringLiteral("c.jpg"));
        QVERIFY(!path.isEmpty());
        usePicturesFolder(third);
        const QUrl assetURL = TULOPhotoLibrary(third.path()).assetURLForFilePath(path);
        constexpr int threads = 4;
        std::vector<QString> found(threads);
        std::vector<TULOPhotoLibrary *> libraries(threads);
        std::vector<std::thread> workers;
        for (int i = 0; i < threads; ++i) {
            workers.emplace_back([&, i] {
                for (int lookup = 0; lookup < 5; ++lookup)
                    found[std::size_t(i)] = TULOFilePathForAssetURL(assetURL);
                libraries[std::size_t(i)] = TULOSharedPhotoLibrary().get();
            });
        }
        for (std::thread &worker : workers)
            worker.join();
        for (int i = 0; i < threads; ++i) {
            QCOMPARE(found[std::size_t(i)], path);
            QCOMPARE(libraries[std::size_t(i)], TULOSharedPhotoLibrary().get());
        }
        // It lives on the main thread, whichever thread made it.
        QCOMPARE(TULOSharedPhotoLibrary()->thread(), QThread::currentThread());
    }
};

QTEST_MAIN(TestFilePathForAssetURL)
#include "tst_filepathforasseturl.moc"

#include "../image/imagecorpus.h"
#include <Quillon/core/quillon.h>
#include <Quillon/platform/image/metadatastripper.h>
#include <Quillon/platform/library/photolibrary.h>

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QUrlQuery>
#include <atomic>
#include <cstdio>
#include <memory>

namespace {

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// An MP4 header is enough for a video: the library never decodes it.
const QByteArray videoBytes("\x00\x00\x00\x18"
                            "ftyp"
                            "mp42"
                            "\x00\x00\x00\x00"
                            "mp42isom"
                            "\x00\x00\x00\x08"
                            "free",
    32);

// Child mode: resolves one asset through the module, as the post preparation does.
int probe(const char *url)
{
    const QMetaObject *libraryClass
        = TULOWeakLinkedClassForString("TULOPhotoLibrary", TULOPhotoLibraryModuleHandle());
    if (!libraryClass) {
        std::printf("no-class\n");
        return 0;
    }
    std::unique_ptr<QObject> object(libraryClass->newInstance());
    auto *library = qobject_cast<TULOPhotoLibrary *>(object.get());
    const TULOPhotoAsset asset
        = library ? library->assetForURLNow(QUrl(QString::fromUtf8(url))) : TULOPhotoAsset();
    std::printf("%s\n", asset.isNull() ? "unresolved" : qPrintable(asset.filePath()));
    return 0;
}

} // namespace

class TestPhotoLibrary : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_folder;
    QString m_pictures;
    QByteArray m_photo;

    QString picture(const QString &name) const { return QDir(m_pictures).filePath(name); }

    QString probeChild(const QString &modulePath, const QUrl &url)
    {
        QProcess child;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QUILLON_PICTURES_DIR"), m_pictures);
        if (!modulePath.isNull())
            environment.insert(QStringLiteral("QUILLON_MODULE_PATH"), modulePath);
        child.setProcessEnvironment(environment);
        child.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--probe"), url.toString()});
        if (!child.waitForFinished(60000) || child.exitCode() != 0)
            return QStringLiteral("child failed");
        return QString::fromUtf8(child.readAllStandardOutput().trimmed());
    }

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_folder.isValid());
        m_pictures = QDir(m_folder.path()).filePath(QStringLiteral("Pictures"));
        QDir(m_pictures).removeRecursively();
        m_photo = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("jpeg", 160, 120));
        QVERIFY(writeFile(picture(QStringLiteral("beach.jpg")), m_photo));
        QVERIFY(writeFile(
            picture(QStringLiteral("2024/June/harbour.png")), TULOImageCorpus::encodedImage("png", 40, 30)));
        QVERIFY(writeFile(picture(QStringLiteral("clip.mp4")), videoBytes));
        // Saved under the wrong extension: the bytes decide the type.
        QVERIFY(
            writeFile(picture(QStringLiteral("misnamed.jpg")), TULOImageCorpus::encodedImage("png", 20, 20)));
        QVERIFY(writeFile(picture(QStringLiteral("notes.txt")), "shopping list\n"));
        QVERIFY(writeFile(picture(QStringLiteral("Sommer/Strand in Äbenrå #2.webp")),
            TULOImageCorpus::encodedImage("webp", 20, 20)));
    }

    void everyPhotoAndVideoHasAStableURL()
    {
        TULOPhotoLibrary library(m_pictures);
        const QList<TULOPhotoAsset> assets = library.assets();
        QStringList names;
        for (const TULOPhotoAsset &asset : assets)
            names << QDir(m_pictures).relativeFilePath(asset.filePath());
        QCOMPARE(names,
            (QStringList {QStringLiteral("2024/June/harbour.png"),
                QStringLiteral("Sommer/Strand in Äbenrå #2.webp"), QStringLiteral("beach.jpg"),
                QStringLiteral("clip.mp4"), QStringLiteral("misnamed.jpg")}));

        const QUrl beach = library.assetURLForFilePath(picture(QStringLiteral("beach.jpg")));
        QCOMPARE(beach.scheme(), QStringLiteral("assets-library"));
        QVERIFY(TULOPhotoLibrary::isAssetURL(beach));
        QCOMPARE(QUrlQuery(beach).queryItemValue(QStringLiteral("ext")), QStringLiteral("JPG"));
        // Another library over the same folder, as in a later run, gives the same URLs.
        TULOPhotoLibrary later(m_pictures);
        for (const TULOPhotoAsset &asset : assets)
            QCOMPARE(later.assetURLForFilePath(asset.filePath()), asset.assetURL());
        // Every asset has its own URL; files that are no photo or lie outside have none.
        QSet<QUrl> urls;
        for (const TULOPhotoAsset &asset : assets)
            urls.insert(asset.assetURL());
        QCOMPARE(urls.size(), assets.size());
        QVERIFY(library.assetURLForFilePath(picture(QStringLiteral("notes.txt"))).isEmpty());
        QVERIFY(library.assetURLForFilePath(QDir(m_folder.path()).filePath(QStringLiteral("elsewhere.jpg")))
                    .isEmpty());
        QVERIFY(library.assetURLForFilePath(picture(QStringLiteral("missing.jpg"))).isEmpty());
    }

    void assetsResolveToTheirFiles_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("assetType");
        QTest::addColumn<QString>("UTI");
        QTest::addRow("photo") << QStringLiteral("beach.jpg") << int(TULOPhotoAsset::Photo)
                               << QStringLiteral("image/jpeg");
        QTest::addRow("photo in a subfolder") << QStringLiteral("2024/June/harbour.png")
                                              << int(TULOPhotoAsset::Photo) << QStringLiteral("image/png");
        QTest::addRow("video") << QStringLiteral("clip.mp4") << int(TULOPhotoAsset::Video)
                               << QStringLiteral("video/mp4");
        QTest::addRow("non-ASCII name with a hash")
            << QStringLiteral("Sommer/Strand in Äbenrå #2.webp") << int(TULOPhotoAsset::Photo)
            << QStringLiteral("image/webp");
        QTest::addRow("png named jpg")
            << QStringLiteral("misnamed.jpg") << int(TULOPhotoAsset::Photo) << QStringLiteral("image/png");
    }
    void assetsResolveToTheirFiles()
    {
        QFETCH(QString, name);
        QFETCH(int, assetType);
        QFETCH(QString, UTI);
        const QString path = picture(name);
        const QUrl url = TULOPhotoLibrary(m_pictures).assetURLForFilePath(path);
        TULOPhotoLibrary library(m_pictures); // a fresh index, as after a restart
        TULOError error;
        const TULOPhotoAsset asset = library.assetForURLNow(url, &error);
        QVERIFY2(!asset.isNull(), qPrintable(error.localizedDescription()));
        QCOMPARE(asset.assetURL(), url);
        QCOMPARE(int(asset.assetType()), assetType);
        const TULOAssetRepresentation representation = asset.defaultRepresentation();
        QCOMPARE(representation.UTI(), UTI);
        QCOMPARE(representation.url(), url);
        const QByteArray expected = readFile(path);
        QCOMPARE(representation.size(), qint64(expected.size()));
        // Read in odd-sized pieces, as a caller filling a buffer does.
        QByteArray read;
        char buffer[1000];
        for (qint64 offset = 0;;) {
            const qint64 count = representation.getBytes(buffer, offset, sizeof buffer, &error);
            if (count == 0)
                break;
            read.append(buffer, count);
            offset += count;
        }
        QVERIFY(error.isNull());
        QCOMPARE(read, expected);
    }

    void lookupsThatFail_data()
    {
        QTest::addColumn<QString>("what");
        QTest::addColumn<QString>("domain");
        QTest::addColumn<int>("code");
        QTest::addRow("file URL") << QStringLiteral("file")
                                  << QString(TULOPhotoLibraryErrorDomain)
                                  << int(TULOPhotoLibraryErrorInvalidURL);
        QTest::addRow("identifier not a UUID")
            << QStringLiteral("garbled") << QString(TULOPhotoLibraryErrorDomain)
            << int(TULOPhotoLibraryErrorInvalidURL);
        QTest::addRow("unknown asset")
            << QStringLiteral("unknown") << QString(TULOPhotoLibraryErrorDomain)
            << int(TULOPhotoLibraryErrorAssetNotFound);
        QTest::addRow("photo deleted after picking")
            << QStringLiteral("deleted") << QString(TULOPhotoLibraryErrorDomain)
            << int(TULOPhotoLibraryErrorAssetNotFound);
        QTest::addRow("photo moved after picking")
            << QStringLiteral("moved") << QString(TULOPhotoLibraryErrorDomain)
            << int(TULOPhotoLibraryErrorAssetNotFound);
        QTest::addRow("pictures folder gone")
            << QStringLiteral("no folder") << QString(TULOPhotoLibraryErrorDomain)
            << int(TULOPhotoLibraryErrorUnavailable);
    }
    void lookupsThatFail()
    {
        QFETCH(QString, what);
        QFETCH(QString, domain);
        QFETCH(int, code);
        TULOPhotoLibrary library(m_pictures);
        const QString beach = picture(QStringLiteral("beach.jpg"));
        QUrl url = library.assetURLForFilePath(beach);
        QVERIFY(!library.assetForURLNow(url).isNull()); // indexed while it was there
        if (what == QLatin1String("file")) {
            url = QUrl::fromLocalFile(beach);
        } else if (what == QLatin1String("garbled")) {
            url = QUrl(QStringLiteral("assets-library://asset/asset.JPG?id=not-an-id&ext=JPG"));
        } else if (what == QLatin1String("unknown")) {
            url = QUrl(QStringLiteral(
                "assets-library://asset/asset.JPG?id=0F0E0D0C-0B0A-4908-8706-050403020100&ext=JPG"));
        } else if (what == QLatin1String("deleted")) {
            QVERIFY(QFile::remove(beach));
        } else if (what == QLatin1String("moved")) {
            QVERIFY(QFile::rename(beach, picture(QStringLiteral("2024/beach.jpg"))));
        } else if (what == QLatin1String("no folder")) {
            QVERIFY(QDir(m_pictures).removeRecursively());
        }
        TULOError error;
        QVERIFY(library.assetForURLNow(url, &error).isNull());
        QCOMPARE(error.domain(), domain);
        QCOMPARE(error.code(), qint64(code));
        QVERIFY(!error.localizedDescription().isEmpty());
        QVERIFY(library.videoFilePathForAssetURL(url).isNull());
    }

    void asynchronousLookupAnswersOnceOffTheCallingThread_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("found");
        QTest::addRow("found") << QStringLiteral("beach.jpg") << true;
        QTest::addRow("deleted meanwhile") << QStringLiteral("clip.mp4") << false;
    }
    void asynchronousLookupAnswersOnceOffTheCallingThread()
    {
        QFETCH(QString, name);
        QFETCH(bool, found);
        TULOPhotoLibrary library(m_pictures);
        const QUrl url = library.assetURLForFilePath(picture(name));
        if (!found)
            QVERIFY(QFile::remove(picture(name)));
        QSemaphore done;
        std::atomic<int> results = 0;
        std::atomic<int> failures = 0;
        std::atomic<bool> onCallingThread = false;
        QString path;
        TULOError failure;
        QThread *caller = QThread::currentThread();
        library.assetForURL(
            url,
            [&](const TULOPhotoAsset &asset) {
                onCallingThread = QThread::currentThread() == caller;
                path = asset.filePath();
                ++results;
                done.release();
            },
            [&](const TULOError &error) {
                onCallingThread = QThread::currentThread() == caller;
                failure = error;
                ++failures;
                done.release();
            });
        // The preparation waits like this on a worker thread, without an event loop.
        done.acquire();
        QVERIFY(!onCallingThread);
        QCOMPARE(results.load(), found ? 1 : 0);
        QCOMPARE(failures.load(), found ? 0 : 1);
        if (found)
            QCOMPARE(path, picture(name));
        else
            QCOMPARE(failure.code(), qint64(TULOPhotoLibraryErrorAssetNotFound));
    }

    void videoFilePathOnlyForVideos()
    {
        TULOPhotoLibrary library(m_pictures);
        TULOError error;
        QCOMPARE(library.videoFilePathForAssetURL(
                     library.assetURLForFilePath(picture(QStringLiteral("clip.mp4"))), &error),
            picture(QStringLiteral("clip.mp4")));
        QVERIFY(error.isNull());
        QVERIFY(library
                    .videoFilePathForAssetURL(
                        library.assetURLForFilePath(picture(QStringLiteral("beach.jpg"))), &error)
                    .isNull());
        QCOMPARE(error.code(), qint64(TULOPhotoLibraryErrorNotAVideo));
    }

    void representationOfAVanishedFileFailsToRead()
    {
        TULOPhotoLibrary library(m_pictures);
        const TULOPhotoAsset asset
            = library.assetForURLNow(library.assetURLForFilePath(picture(QStringLiteral("beach.jpg"))));
        QVERIFY(!asset.isNull());
        char buffer[16];
        TULOError error;
        QCOMPARE(
            asset.defaultRepresentation().getBytes(buffer, asset.defaultRepresentation().size(), 16, &error),
            qint64(0));
        QVERIFY(error.isNull()); // at the end: nothing left, not a failure
        QVERIFY(QFile::remove(asset.filePath()));
        QCOMPARE(asset.defaultRepresentation().getBytes(buffer, 0, 16, &error), qint64(0));
        QCOMPARE(error.domain(), TULOFileErrorDomain);
        QCOMPARE(error.code(), qint64(260));
        error = TULOError();
        QVERIFY(asset.defaultRepresentation().data(&error).isNull());
        QVERIFY(error.localizedDescription().contains(QStringLiteral("beach.jpg")));
    }

    void photoReadOutOfTheLibraryCanBeStripped()
    {
        TULOPhotoLibrary library(m_pictures);
        const TULOPhotoAsset asset
            = library.assetForURLNow(library.assetURLForFilePath(picture(QStringLiteral("beach.jpg"))));
        const QByteArray bytes = asset.defaultRepresentation().data();
        QCOMPARE(bytes, m_photo);
        QVERIFY(bytes.contains(TULOImageCorpus::city));
        QString type;
        const QByteArray stripped = TULOMetadataStripper::strippedImageData(bytes, &type);
        QCOMPARE(type, asset.defaultRepresentation().UTI());
        QVERIFY(!stripped.contains(TULOImageCorpus::city));
        QCOMPARE(TULOImageCorpus::readMetadata(stripped).orientation, long(TULOImageCorpus::orientation));
    }

    void reachableOnlyThroughTheModule_data()
    {
        QTest::addColumn<bool>("withModule");
        QTest::addRow("module present") << true;
        QTest::addRow("module absent") << false;
    }
    void reachableOnlyThroughTheModule()
    {
        QFETCH(bool, withModule);
        const QUrl url
            = TULOPhotoLibrary(m_pictures).assetURLForFilePath(picture(QStringLiteral("beach.jpg")));
        QTemporaryDir empty;
        const QString answer = probeChild(withModule ? QString() : empty.path(), url);
        if (withModule)
            QCOMPARE(answer, picture(QStringLiteral("beach.jpg")));
        else
            QCOMPARE(answer, QStringLiteral("no-class"));
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (argc > 2 && qstrcmp(argv[1], "--probe") == 0)
        return probe(argv[2]);
    TestPhotoLibrary test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_photolibrary.moc"

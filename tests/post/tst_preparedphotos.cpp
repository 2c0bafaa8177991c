// Photos through the post preparation: whatever way they arrive (bytes, or the photo library),
// the files that go out have no location left in them, keep their orientation and colour
// profile, and carry the very same compressed image data.

#include <Quillon/core/preparepostdescriptionoperation.h>
#include <Quillon/core/quillon.h>
#include "image/imagecorpus.h"
#include <Quillon/platform/library/photolibrary.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

bool mentionsPlace(const QStringList &keys)
{
    for (const QString &key : keys) {
        if (key.contains(QLatin1String("GPS"), Qt::CaseInsensitive) || key.contains(QLatin1String("City"))
            || key.contains(QLatin1String("Country")) || key.contains(QLatin1String("Location"))
            || key.contains(QLatin1String("Sublocation")) || key.contains(QLatin1String("ProvinceState")))
            return true;
    }
    return false;
}

} // namespace

class TestPreparedPhotos : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_home;

    // Runs one preparation with `attachment`; the finished attachment, or nothing.
    std::optional<TULOPostAttachment> prepare(const TULOAttachmentPtr &attachment, TULOError *cause = nullptr)
    {
        TULOPreparePostDescriptionOperation operation;
        operation.setAttachments({attachment});
        std::optional<TULOPostDescription> description;
        operation.setOutputBlock([&](const std::optional<TULOPostDescription> &d, const TULOError &) { description = d; });
        operation.start();
        if (cause)
            *cause = operation.finalizationError();
        if (!description || !description->attachments())
            return std::nullopt;
        return description->attachments()->first();
    }

    void checkStripped(const QByteArray &original, const TULOPostAttachment &post, const QString &expectedType)
    {
        const QString path = post.assetURL().toLocalFile();
        QCOMPARE(QFileInfo(path).absolutePath(), QDir(TULOTemporaryAssetsDirectoryPath()).absolutePath());
        QVERIFY(post.deletesAssetWhenFinished());
        QCOMPARE(post.UTI(), expectedType);
        const QByteArray sent = readAll(path);
        const TULOImageCorpus::Metadata before = TULOImageCorpus::readMetadata(original);
        const TULOImageCorpus::Metadata after = TULOImageCorpus::readMetadata(sent);
        QVERIFY(before.readable && after.readable);
        QVERIFY(mentionsPlace(before.exifKeys + before.xmpKeys + before.iptcKeys)); // the test photo does carry a place
        QVERIFY2(!mentionsPlace(after.exifKeys), qPrintable(after.exifKeys.join(QLatin1Char(' '))));
        QVERIFY2(!mentionsPlace(after.xmpKeys), qPrintable(after.xmpKeys.join(QLatin1Char(' '))));
        QVERIFY2(!mentionsPlace(after.iptcKeys), qPrintable(after.iptcKeys.join(QLatin1Char(' '))));
        QVERIFY(!sent.contains(TULOImageCorpus::city));
        QCOMPARE(after.orientation, long(TULOImageCorpus::orientation));
        QCOMPARE(after.iccProfile, before.iccProfile);
        QVERIFY(!after.iccProfile.isEmpty());
        const QByteArray compressed = TULOImageCorpus::compressedData(original);
        QVERIFY(!compressed.isEmpty());
        QCOMPARE(TULOImageCorpus::compressedData(sent), compressed);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        qputenv("XDG_DATA_HOME", m_home.filePath(QStringLiteral("share")).toUtf8());
        qputenv("QUILLON_PICTURES_DIR", m_home.filePath(QStringLiteral("Pictures")).toUtf8());
    }

    void cleanup()
    {
        QDir(TULOTemporaryAssetsDirectoryPath()).removeRecursively();
    }

    void corpus_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<QString>("type");
        QTest::addColumn<QString>("claimedType");
        QTest::newRow("jpeg") << QByteArray("jpeg") << "image/jpeg" << "image/jpeg";
        QTest::newRow("png") << QByteArray("png") << "image/png" << "image/png";
        QTest::newRow("tiff") << QByteArray("tiff") << "image/tiff" << "image/tiff";
        QTest::newRow("webp") << QByteArray("webp") << "image/webp" << "image/webp";
        // The bytes decide: a PNG handed in as JPEG goes out as PNG.
        QTest::newRow("png-claimed-jpeg") << QByteArray("png") << "image/png" << "image/jpeg";
    }

    // Photos handed in as bytes (pasted, dropped, from the command line).
    void corpus()
    {
        QFETCH(QByteArray, format);
        QFETCH(QString, type);
        QFETCH(QString, claimedType);
        const QByteArray photo = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage(format.constData(), 120, 80));
        TULOError cause;
        const auto post = prepare(std::make_shared<TULOAttachment>(photo, claimedType), &cause);
        QVERIFY2(post, qPrintable(cause.localizedDescription()));
        checkStripped(photo, *post, type);
        QVERIFY(post->assetURL().toLocalFile().endsWith(QLatin1Char('.') + TULOTypeIdentifiers::preferredFilenameExtension(type)));
    }

    void photoLibraryAssets_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("type");
        QTest::newRow("jpeg") << QByteArray("jpeg") << "beach.jpg" << "image/jpeg";
        QTest::newRow("webp-in-subfolder") << QByteArray("webp") << "2024/June/harbour.webp" << "image/webp";
    }

    // The user's own file is read, never changed; the copy that goes out is stripped.
    void photoLibraryAssets()
    {
        QFETCH(QByteArray, format);
        QFETCH(QString, name);
        QFETCH(QString, type);
        const QString pictures = qEnvironmentVariable("QUILLON_PICTURES_DIR");
        const QString path = QDir(pictures).filePath(name);
        const QByteArray photo = TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage(format.constData(), 64, 48));
        QVERIFY(writeFile(path, photo));
        const QUrl assetURL = TULOPhotoLibrary(pictures).assetURLForFilePath(path);
        QCOMPARE(assetURL.scheme(), QStringLiteral("assets-library"));

        TULOError cause;
        const auto post = prepare(std::make_shared<TULOAttachment>(assetURL, type), &cause);
        QVERIFY2(post, qPrintable(cause.localizedDescription()));
        checkStripped(photo, *post, type);
        QCOMPARE(post->title(), QStringLiteral("Photo"));
        QCOMPARE(readAll(path), photo);
    }

    // A video is the library's own file: it goes out as it is and is never deleted.
    void photoLibraryVideo()
    {
        const QString pictures = qEnvironmentVariable("QUILLON_PICTURES_DIR");
        const QString path = QDir(pictures).filePath(QStringLiteral("clip.mp4"));
        QVERIFY(writeFile(path, QByteArray("\x00\x00\x00\x18" "ftypmp42" "\x00\x00\x00\x00" "mp42isom" "\x00\x00\x00\x08" "free", 32)));
        const QUrl assetURL = TULOPhotoLibrary(pictures).assetURLForFilePath(path);
        TULOError cause;
        const auto post = prepare(std::make_shared<TULOAttachment>(assetURL, QStringLiteral("video/mp4")), &cause);
        QVERIFY2(post, qPrintable(cause.localizedDescription()));
        QCOMPARE(post->assetURL(), QUrl::fromLocalFile(path));
        QCOMPARE(post->UTI(), QStringLiteral("video/mp4"));
        QVERIFY(!post->deletesAssetWhenFinished());
        QCOMPARE(post->title(), QStringLiteral("Video"));
        QVERIFY(QFile::exists(path));
    }

    void badPhotos_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("asset-deleted-after-picking") << 0;
        QTest::newRow("asset-url-never-made") << 1;
        QTest::newRow("heic-cannot-be-stripped") << 2;
        QTest::newRow("truncated-jpeg") << 3;
    }

    // Each ends the post without a description and with a cause that names the trouble;
    // nothing is left in the assets folder.
    void badPhotos()
    {
        QFETCH(int, kind);
        const QString pictures = qEnvironmentVariable("QUILLON_PICTURES_DIR");
        TULOAttachmentPtr attachment;
        switch (kind) {
        case 0: {
            const QString path = QDir(pictures).filePath(QStringLiteral("gone.jpg"));
            QVERIFY(writeFile(path, TULOImageCorpus::encodedImage("jpeg", 20, 20)));
            const QUrl url = TULOPhotoLibrary(pictures).assetURLForFilePath(path);
            QVERIFY(QFile::remove(path));
            attachment = std::make_shared<TULOAttachment>(url, QStringLiteral("image/jpeg"));
            break;
        }
        case 1:
            attachment = std::make_shared<TULOAttachment>(QUrl(QStringLiteral("assets-library://asset/asset.JPG?id=nonsense&ext=JPG")),
                                                          QStringLiteral("image/jpeg"));
            break;
        case 2: {
            // An ISO base media file that says it is HEIC.
            QByteArray heic("\x00\x00\x00\x18" "ftypheic" "\x00\x00\x00\x00" "mif1heic", 24);
            heic += QByteArray(200, '\0');
            attachment = std::make_shared<TULOAttachment>(heic, QStringLiteral("image/heic"));
            break;
        }
        case 3:
            attachment = std::make_shared<TULOAttachment>(
                TULOImageCorpus::withPhoneMetadata(TULOImageCorpus::encodedImage("jpeg", 64, 64)).left(300), QStringLiteral("image/jpeg"));
            break;
        }
        TULOError cause;
        QVERIFY(!prepare(attachment, &cause));
        QVERIFY(cause);
        QVERIFY(!cause.localizedDescription().isEmpty());
        QCOMPARE(QDir(TULOTemporaryAssetsDirectoryPath()).entryList(QDir::Files), QStringList());
    }
};

QTEST_MAIN(TestPreparedPhotos)
#include "tst_preparedphotos.moc"

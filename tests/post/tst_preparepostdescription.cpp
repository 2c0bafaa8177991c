#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/core/preparepostdescriptionoperation.h>
#include <Quillon/core/quillon.h>
#include "library/mediafixtures.h"
#include <Quillon/platform/library/medialibrary.h>

#include <QBuffer>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QTemporaryDir>
#include <QScopeGuard>
#include <QTest>

#include <csignal>
#include <sys/resource.h>

namespace {

struct Outcome {
    int calls = 0;
    std::optional<TULOPostDescription> description;
    TULOError error;
};

// Counts the token refreshes and answers them as a test says, so destinations can be checked
// without a store; the refresh itself is tested with the account store.
class RefreshingOperation : public TULOPreparePostDescriptionOperation
{
public:
    int refreshCalls = 0;
    QList<TULOSocialService> refreshedServices;
    std::optional<QList<TULOExternalDestination>> refreshResult;
    TULOError refreshError;

protected:
    std::optional<QList<TULOExternalDestination>> refreshTokensForAuthor(
        const TULOPostAuthor &, const QList<TULOSocialService> &services, TULOError *error) override
    {
        ++refreshCalls;
        refreshedServices = services;
        if (!refreshResult)
            TULOSetError(error, refreshError);
        return refreshResult;
    }
};

Outcome run(TULOPreparePostDescriptionOperation &operation)
{
    Outcome outcome;
    operation.setOutputBlock([&](const std::optional<TULOPostDescription> &description, const TULOError &error) {
        ++outcome.calls;
        outcome.description = description;
        outcome.error = error;
    });
    operation.start();
    return outcome;
}

QImage picture(int width, int height, Qt::GlobalColor color)
{
    QImage image(width, height, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

QByteArray encoded(const QImage &image, const char *format)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

TULOSocialService service(const char *identifier)
{
    TULOSocialService s;
    s.setIdentifier(QString::fromLatin1(identifier));
    return s;
}

QString token(const QString &type, const QString &identifier, const QString &name)
{
    return QStringLiteral("@{%1:%2:\"%3\"}").arg(type, identifier, name);
}

} // namespace

class TestPreparePostDescription : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_home;

    QStringList assetFiles() const
    {
        return QDir(TULOTemporaryAssetsDirectoryPath()).entryList(QDir::Files);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_home.isValid());
        // The assets folder lives in the shared data folder: keep it inside the test.
        qputenv("XDG_DATA_HOME", m_home.filePath(QStringLiteral("share")).toUtf8());
        QVERIFY(TULOTemporaryAssetsDirectoryPath().startsWith(m_home.path()));
    }

    void cleanup()
    {
        QDir(TULOTemporaryAssetsDirectoryPath()).removeRecursively();
    }

    void truncatedText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        const QString hundred = QString(100, QLatin1Char('x'));
        QTest::newRow("token-and-word") << token(QStringLiteral("artist"), QStringLiteral("123"), QStringLiteral("Name")) + QStringLiteral(" hi")
                                        << QStringLiteral("Name hi");
        QTest::newRow("exactly-100") << hundred << hundred;
        QTest::newRow("101-gets-ellipsis") << hundred + QStringLiteral("y") << hundred + QChar(0x2026);
        QTest::newRow("cut-is-trimmed") << QString(95, QLatin1Char('a')) + QStringLiteral("     \n  tail")
                                        << QString(95, QLatin1Char('a')) + QChar(0x2026);
        // Counting happens after replacement: the token is long, its name short.
        QTest::newRow("token-shortens-below-limit")
            << token(QStringLiteral("artist"), QStringLiteral("9999999999"), QStringLiteral("Ann")) + QString(97, QLatin1Char('z'))
            << QStringLiteral("Ann") + QString(97, QLatin1Char('z'));
        QTest::newRow("malformed-token-stays") << QStringLiteral("@{artist::\"Name\"} hi") << QStringLiteral("@{artist::\"Name\"} hi");
        QTest::newRow("two-tokens") << token(QStringLiteral("artist"), QStringLiteral("1"), QStringLiteral("A B")) + QStringLiteral(" & ")
                + token(QStringLiteral("curator"), QStringLiteral("2"), QStringLiteral("C"))
                                    << QStringLiteral("A B & C");
        QTest::newRow("empty") << QString() << QString();
    }

    void truncatedText()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(TULOPreparePostDescriptionOperation::truncatedText(text), expected);
    }

    void defaultTitles_data()
    {
        QTest::addColumn<QString>("uti");
        QTest::addColumn<QString>("extension");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("expectedTitle");
        QTest::addColumn<QString>("expectedSubtitle");
        const QString text = QStringLiteral("Listen to Ann");
        QTest::newRow("audio") << "audio/mpeg" << "mp3" << QString() << "Audio" << text;
        QTest::newRow("sound-bite") << "audio/x-caf" << "caf" << QString() << "Sound Bite" << text;
        QTest::newRow("video") << "video/mp4" << "mp4" << QString() << "Video" << text;
        QTest::newRow("other-type-takes-text") << "application/pdf" << "pdf" << QString() << text << QString();
        QTest::newRow("own-title-kept") << "video/mp4" << "mp4" << "Mine" << "Mine" << QString();
    }

    // File URLs are kept as they are, so the titles are all that changes.
    void defaultTitles()
    {
        QFETCH(QString, uti);
        QFETCH(QString, extension);
        QFETCH(QString, title);
        QFETCH(QString, expectedTitle);
        QFETCH(QString, expectedSubtitle);
        const QString path = m_home.filePath(QStringLiteral("file.") + extension);
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("content");
        file.close();

        auto attachment = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(path), uti);
        attachment->setTitle(title);
        TULOPreparePostDescriptionOperation operation;
        operation.setText(QStringLiteral("Listen to ") + token(QStringLiteral("artist"), QStringLiteral("5"), QStringLiteral("Ann")));
        operation.setAttachments({attachment});
        const Outcome outcome = run(operation);

        QVERIFY(outcome.description);
        const auto attachments = outcome.description->attachments();
        QVERIFY(attachments);
        QCOMPARE(attachments->size(), 1);
        const TULOPostAttachment post = attachments->first();
        QCOMPARE(post.title(), expectedTitle);
        QCOMPARE(post.subtitle(), expectedSubtitle);
        QCOMPARE(post.assetURL(), QUrl::fromLocalFile(path));
        QVERIFY(!post.deletesAssetWhenFinished()); // not ours to delete
        QVERIFY(QFile::exists(path));
    }

    void dataIsWrittenToAssets_data()
    {
        QTest::addColumn<QString>("uti");
        QTest::addColumn<QString>("suffix");
        QTest::newRow("caf") << "audio/x-caf" << ".caf";
        QTest::newRow("mpeg") << "audio/mpeg" << ".mp3";
        QTest::newRow("no-extension") << "application/x-quillon-unknown" << "";
    }

    void dataIsWrittenToAssets()
    {
        QFETCH(QString, uti);
        QFETCH(QString, suffix);
        const QByteArray bytes = QByteArray(5000, 'q') + QByteArray("\0tail", 5);
        TULOPreparePostDescriptionOperation operation;
        operation.setAttachments({std::make_shared<TULOAttachment>(bytes, uti)});
        const Outcome outcome = run(operation);
        QVERIFY(outcome.description);
        const TULOPostAttachment post = outcome.description->attachments()->first();
        const QString path = post.assetURL().toLocalFile();
        QCOMPARE(QFileInfo(path).absolutePath(), QDir(TULOTemporaryAssetsDirectoryPath()).absolutePath());
        QVERIFY(path.endsWith(suffix));
        QVERIFY(post.deletesAssetWhenFinished());
        QCOMPARE(post.UTI(), uti);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), bytes);
    }

    void imagesInMemoryAreEncoded_data()
    {
        QTest::addColumn<QString>("uti");
        QTest::addColumn<QByteArray>("format");
        QTest::newRow("png") << "image/png" << QByteArray("png");
        QTest::newRow("jpeg") << "image/jpeg" << QByteArray("jpeg");
        QTest::newRow("other-is-jpeg") << "image/bmp" << QByteArray("jpeg");
    }

    void imagesInMemoryAreEncoded()
    {
        QFETCH(QString, uti);
        QFETCH(QByteArray, format);
        TULOPreparePostDescriptionOperation operation;
        operation.setAttachments({std::make_shared<TULOAttachment>(picture(40, 30, Qt::darkGreen), uti)});
        const Outcome outcome = run(operation);
        QVERIFY(outcome.description);
        const TULOPostAttachment post = outcome.description->attachments()->first();
        QVERIFY(post.deletesAssetWhenFinished());
        QCOMPARE(post.title(), QStringLiteral("Photo"));
        QImageReader reader(post.assetURL().toLocalFile());
        QCOMPARE(reader.format(), format);
        QCOMPARE(reader.read().size(), QSize(40, 30));
    }

    void audioGetsCoverImage()
    {
        const QString path = m_home.filePath(QStringLiteral("song.mp3"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("not really a song");
        file.close();
        auto attachment = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(path), QStringLiteral("audio/mpeg"));
        attachment->setTitle(QStringLiteral("Night Drive"));
        attachment->setThumbnailImage(picture(64, 64, Qt::blue));
        auto withoutArtwork = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(path), QStringLiteral("audio/mpeg"));

        TULOPreparePostDescriptionOperation operation;
        operation.setAttachments({attachment, withoutArtwork});
        const Outcome outcome = run(operation);
        QVERIFY(outcome.description);
        const auto posts = *outcome.description->attachments();
        const auto cover = posts.at(0).childAttachmentForRelationship(QString::fromLatin1(TULOAttachmentRelationshipCoverImage));
        QVERIFY(cover);
        QCOMPARE(cover->title(), QStringLiteral("Cover Image"));
        QCOMPARE(cover->subtitle(), QStringLiteral("Night Drive"));
        QVERIFY(cover->deletesAssetWhenFinished());
        QCOMPARE(QImage(cover->assetURL().toLocalFile()).size(), QSize(64, 64));
        QVERIFY(TULOTypeIdentifiers::typeConformsTo(cover->UTI(), QStringLiteral("image/*")));
        QVERIFY(posts.at(1).childRelationships().isEmpty());
    }

    void destinations_data()
    {
        QTest::addColumn<QStringList>("services");
        QTest::addColumn<qint64>("facebookDestination");
        QTest::addColumn<bool>("refreshSucceeds");
        QTest::addColumn<int>("expectedRefreshCalls");
        QTest::addColumn<QStringList>("expectedServices"); // empty: no destinations field
        QTest::addColumn<QStringList>("expectedPages");    // "<null>" for no page
        QTest::addColumn<bool>("expectDescription");
        QTest::addColumn<bool>("expectError");

        const QString null = QStringLiteral("<null>");
        QTest::newRow("no-services") << QStringList() << qint64(1) << true << 0 << QStringList() << QStringList() << true << false;
        QTest::newRow("facebook-page") << QStringList{"facebook"} << qint64(1) << true << 0 << QStringList{"facebook"}
                                       << QStringList{QString()} << true << false;
        QTest::newRow("facebook-timeline") << QStringList{"facebook"} << qint64(0) << true << 0 << QStringList{"facebook"}
                                           << QStringList{null} << true << false;
        QTest::newRow("twitter-refreshed") << QStringList{"twitter"} << qint64(0) << true << 1 << QStringList{"twitter"}
                                           << QStringList{null} << true << false;
        QTest::newRow("twitter-refresh-fails") << QStringList{"twitter"} << qint64(0) << false << 1 << QStringList()
                                               << QStringList() << false << true;
        // Facebook still goes out; the refresh's error comes along with the description.
        QTest::newRow("both-refresh-fails") << QStringList{"twitter", "facebook"} << qint64(0) << false << 1
                                            << QStringList{"facebook"} << QStringList{null} << true << true;
        QTest::newRow("both") << QStringList{"facebook", "twitter"} << qint64(1) << true << 1
                              << QStringList{"facebook", "twitter"} << QStringList{QString(), null} << true << false;
    }

    void destinations()
    {
        QFETCH(QStringList, services);
        QFETCH(qint64, facebookDestination);
        QFETCH(bool, refreshSucceeds);
        QFETCH(int, expectedRefreshCalls);
        QFETCH(QStringList, expectedServices);
        QFETCH(QStringList, expectedPages);
        QFETCH(bool, expectDescription);
        QFETCH(bool, expectError);

        RefreshingOperation operation;
        QList<TULOSocialService> enabled;
        for (const QString &identifier : services)
            enabled.append(service(identifier.toLatin1().constData()));
        operation.setEnabledExternalServices(enabled);
        operation.setFacebookDestination(facebookDestination);
        operation.setText(QStringLiteral("hello"));
        operation.setAuthor(TULOPostAuthor(QStringLiteral("42"), QStringLiteral("Ann"), QStringLiteral("artist")));
        if (refreshSucceeds) {
            TULOExternalDestination twitter(QString::fromLatin1(TULOServiceIdentifierTwitter));
            twitter.setAccessToken(QStringLiteral("fresh"));
            operation.refreshResult = QList<TULOExternalDestination>{twitter};
        } else {
            operation.refreshError = TULOError::withDescription(TULOErrorDomain, TULOErrorNoLinkedAccount, QStringLiteral("no account"));
        }
        const Outcome outcome = run(operation);

        QCOMPARE(outcome.calls, 1);
        QCOMPARE(operation.refreshCalls, expectedRefreshCalls);
        for (const TULOSocialService &refreshed : std::as_const(operation.refreshedServices))
            QVERIFY(refreshed.identifier() != QLatin1String("facebook"));
        QCOMPARE(bool(outcome.description), expectDescription);
        QCOMPARE(bool(outcome.error), expectError);
        if (expectError)
            QVERIFY(outcome.error.is(TULOErrorDomain, TULOErrorNoLinkedAccount));
        if (!outcome.description)
            return;
        QCOMPARE(outcome.description->authorIdentifier(), QStringLiteral("42"));
        QCOMPARE(outcome.description->authorType(), QStringLiteral("artist"));
        QVERIFY(!outcome.description->attachments()); // no attachments: the field is not set
        const auto destinations = outcome.description->externalServiceDestinations();
        QCOMPARE(bool(destinations), !expectedServices.isEmpty());
        if (!destinations)
            return;
        QStringList gotServices, gotPages;
        for (const TULOExternalDestination &d : *destinations) {
            gotServices << d.serviceIdentifier();
            gotPages << (d.pageIdentifier().isNull() ? QStringLiteral("<null>") : d.pageIdentifier());
        }
        QCOMPARE(gotServices, expectedServices);
        QCOMPARE(gotPages, expectedPages);
    }

    void descriptionFields()
    {
        TULOStoreItem album;
        album.setItemIdentifier(QStringLiteral("1001"));
        album.setKind(QStringLiteral("album"));
        const QString text = QStringLiteral("New ") + token(QStringLiteral("artist"), QStringLiteral("7"), QStringLiteral("Ann"));
        TULOPreparePostDescriptionOperation operation;
        operation.setText(text);
        operation.setAttributed(true);
        operation.setContentItem(album);
        auto first = std::make_shared<TULOAttachment>(QByteArray("one"), QStringLiteral("audio/x-caf"));
        auto second = std::make_shared<TULOAttachment>(QByteArray("two"), QStringLiteral("audio/x-caf"));
        operation.setAttachments({first, second});
        // Handed-over attachments are copies: later edits do not reach the post.
        first->setTitle(QStringLiteral("edited later"));
        const Outcome outcome = run(operation);
        QVERIFY(outcome.description);
        QVERIFY(!outcome.error);
        QCOMPARE(outcome.description->text(), text); // tokens stay in the text
        QVERIFY(outcome.description->isAttributed());
        QCOMPARE(outcome.description->contentItems(), (QList<TULOPostItem>{TULOPostItem(QStringLiteral("1001"), TULOPostItemTypeAlbum)}));
        const auto posts = *outcome.description->attachments();
        QCOMPARE(posts.size(), 2);
        QCOMPARE(posts.at(0).title(), QStringLiteral("Sound Bite"));
        QCOMPARE(posts.at(0).subtitle(), QStringLiteral("New Ann"));
        QFile one(posts.at(0).assetURL().toLocalFile()), two(posts.at(1).assetURL().toLocalFile());
        QVERIFY(one.open(QIODevice::ReadOnly) && two.open(QIODevice::ReadOnly));
        QCOMPARE(one.readAll(), QByteArray("one"));
        QCOMPARE(two.readAll(), QByteArray("two"));
    }

    // Attachments that never become a file end the post with neither description nor error;
    // the cause is kept for the caller that must explain it, and nothing stays on disk.
    void failedAttachments_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<bool>("expectCause");
        QTest::newRow("no-content") << 0 << false;
        QTest::newRow("corrupt-image-data") << 1 << true;
        QTest::newRow("truncated-jpeg") << 2 << true;
        QTest::newRow("vanished-downloaded-song") << 3 << true;
        QTest::newRow("photo-library-song-url") << 4 << false;
    }

    void failedAttachments()
    {
        QFETCH(int, kind);
        QFETCH(bool, expectCause);
        TULOAttachmentPtr broken;
        bool downloaded = false;
        switch (kind) {
        case 0: broken = std::make_shared<TULOAttachment>(); break;
        case 1: broken = std::make_shared<TULOAttachment>(QByteArray("definitely not a picture"), QStringLiteral("image/jpeg")); break;
        case 2: broken = std::make_shared<TULOAttachment>(encoded(picture(300, 200, Qt::red), "JPEG").left(40), QStringLiteral("image/jpeg")); break;
        case 3: {
            auto item = std::make_shared<TULOMediaLibraryItem>();
            item->setFilePath(m_home.filePath(QStringLiteral("gone.flac")));
            broken = std::make_shared<TULOAttachment>(item);
            downloaded = true;
            break;
        }
        case 4: broken = std::make_shared<TULOAttachment>(QUrl(QStringLiteral("assets-library://asset/asset.mp3?id=1")), QStringLiteral("audio/mpeg")); break;
        }
        // A good attachment before the broken one: its file must not outlive the failed post.
        auto good = std::make_shared<TULOAttachment>(picture(20, 20, Qt::yellow), QStringLiteral("image/png"));
        good->setThumbnailImage(picture(8, 8, Qt::black));
        TULOPreparePostDescriptionOperation operation;
        operation.setAttachmentWasDownloadedAndNeedsRemoval(downloaded);
        operation.setAttachments({good, broken});
        const Outcome outcome = run(operation);
        QCOMPARE(outcome.calls, 1);
        QVERIFY(!outcome.description);
        QVERIFY(!outcome.error);
        QCOMPARE(bool(operation.finalizationError()), expectCause);
        if (expectCause)
            QVERIFY(!operation.finalizationError().localizedDescription().isEmpty());
        QCOMPARE(assetFiles(), QStringList());
    }

    // The file is copied before the library item goes, so the post keeps its song.
    void downloadedSongIsCopiedThenRemoved()
    {
        const QString folder = m_home.filePath(QStringLiteral("music"));
        QDir().mkpath(folder);
        TULOTestTrack track;
        track.title = QStringLiteral("Fresh");
        track.artist = QStringLiteral("Ann");
        QString failure;
        QVERIFY2(TULOTestWriteTrack(folder + QStringLiteral("/fresh.flac"), track, &failure), qPrintable(failure));
        TULOMediaLibrary library(folder, folder + QStringLiteral(".index"));
        QVERIFY(library.reload());
        QCOMPARE(library.items().size(), 1);
        const TULOMediaLibraryItemPtr item = library.items().first();
        QFile original(item->filePath());
        QVERIFY(original.open(QIODevice::ReadOnly));
        const QByteArray bytes = original.readAll();
        original.close();

        TULOPreparePostDescriptionOperation operation;
        operation.setAttachmentWasDownloadedAndNeedsRemoval(true);
        operation.setAttachments({std::make_shared<TULOAttachment>(item)});
        const Outcome outcome = run(operation);
        QVERIFY(outcome.description);
        const TULOPostAttachment post = outcome.description->attachments()->first();
        QVERIFY(post.deletesAssetWhenFinished());
        QCOMPARE(post.title(), QStringLiteral("Fresh"));
        QFile copy(post.assetURL().toLocalFile());
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QCOMPARE(copy.readAll(), bytes);
        QVERIFY(!QFile::exists(item->filePath()));
        QVERIFY(library.items().isEmpty());
    }

    // Two downloaded songs of the same file name each keep their own prepared copy, and a file
    // of that name already in the assets folder is neither replaced nor removed.
    void sameFileNamesKeepTheirOwnCopies()
    {
        QDir().mkpath(TULOTemporaryAssetsDirectoryPath());
        const QString occupied = QDir(TULOTemporaryAssetsDirectoryPath()).filePath(QStringLiteral("track.flac"));
        QFile existing(occupied);
        QVERIFY(existing.open(QIODevice::WriteOnly));
        existing.write("not ours");
        existing.close();
        const auto removeOccupied = qScopeGuard([&] { QFile::remove(occupied); });

        QList<TULOAttachmentPtr> attachments;
        QList<QByteArray> contents;
        std::vector<std::unique_ptr<TULOMediaLibrary>> libraries;
        for (const QString &title : {QStringLiteral("First"), QStringLiteral("Second")}) {
            const QString folder = m_home.filePath(title);
            QDir().mkpath(folder);
            TULOTestTrack track;
            track.title = title;
            QString failure;
            QVERIFY2(TULOTestWriteTrack(folder + QStringLiteral("/track.flac"), track, &failure), qPrintable(failure));
            QFile original(folder + QStringLiteral("/track.flac"));
            QVERIFY(original.open(QIODevice::ReadOnly));
            contents << original.readAll();
            libraries.push_back(std::make_unique<TULOMediaLibrary>(folder, folder + QStringLiteral(".index")));
            QVERIFY(libraries.back()->reload());
            QCOMPARE(libraries.back()->items().size(), 1);
            attachments << std::make_shared<TULOAttachment>(libraries.back()->items().first());
        }
        QVERIFY(contents.at(0) != contents.at(1));

        TULOPreparePostDescriptionOperation operation;
        operation.setAttachmentWasDownloadedAndNeedsRemoval(true);
        operation.setAttachments(attachments);
        const Outcome outcome = run(operation);
        QVERIFY(outcome.description);
        const QList<TULOPostAttachment> posts = *outcome.description->attachments();
        QCOMPARE(posts.size(), 2);
        QVERIFY(posts.at(0).assetURL() != posts.at(1).assetURL());
        for (int i = 0; i < 2; ++i) {
            const QString path = posts.at(i).assetURL().toLocalFile();
            QVERIFY2(path != occupied, qPrintable(path));
            QFile copy(path);
            QVERIFY2(copy.open(QIODevice::ReadOnly), qPrintable(path));
            QCOMPARE(copy.readAll(), contents.at(i));
            copy.remove();
        }
        QVERIFY(existing.open(QIODevice::ReadOnly));
        QCOMPARE(existing.readAll(), QByteArray("not ours"));
    }

    // A file system that runs out of room while the file is written: the post fails with a
    // clear error and no half-written file stays behind.
    void fullDisk()
    {
        struct rlimit saved;
        QVERIFY(getrlimit(RLIMIT_FSIZE, &saved) == 0);
        auto previous = std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit small = saved;
        small.rlim_cur = 64 * 1024;
        QVERIFY(setrlimit(RLIMIT_FSIZE, &small) == 0);

        TULOPreparePostDescriptionOperation operation;
        operation.setAttachments({std::make_shared<TULOAttachment>(QByteArray(512 * 1024, 'a'), QStringLiteral("audio/x-caf"))});
        const Outcome outcome = run(operation);

        setrlimit(RLIMIT_FSIZE, &saved);
        std::signal(SIGXFSZ, previous);
        QVERIFY(!outcome.description);
        const TULOError cause = operation.finalizationError();
        QCOMPARE(cause.domain(), TULOFileErrorDomain);
        QVERIFY(cause.localizedDescription().contains(TULOTemporaryAssetsDirectoryPath()));
        QCOMPARE(assetFiles(), QStringList());
    }

    void unwritableAssetsFolder()
    {
        // A file where the folder should be: nothing can be created in it.
        const QString assets = TULOTemporaryAssetsDirectoryPath();
        QDir().mkpath(QFileInfo(assets).absolutePath());
        QFile blocker(assets);
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();

        TULOPreparePostDescriptionOperation operation;
        operation.setAttachments({std::make_shared<TULOAttachment>(QByteArray("x"), QStringLiteral("audio/x-caf"))});
        const Outcome outcome = run(operation);
        QFile::remove(assets);
        QVERIFY(!outcome.description);
        QCOMPARE(operation.finalizationError().domain(), TULOFileErrorDomain);
    }
};

QTEST_MAIN(TestPreparePostDescription)
#include "tst_preparepostdescription.moc"

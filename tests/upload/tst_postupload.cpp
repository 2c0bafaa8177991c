// Post upload through the outbox to the sandbox store, over loopback.
#include <Quillon/platform/store/backgroundtask.h>
#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/postrequest.h>
#include <Quillon/platform/store/storeerror.h>
#include "uploadtestsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <sys/stat.h>

namespace {

constexpr int TULOUploadWait = 60000; // a hang guard, never a measurement

struct Outcome
{
    int calls = 0;
    QUrl url;
    TULOError error;
};

// The child process of the interruption test: posts one large file, or resumes the outbox.
int runChild(const QString &mode)
{
    TULOClientContext context(QUrl(qEnvironmentVariable("TULO_CHILD_BAG")));
    TULOClientContext::setDefaultContext(context);
    TULOStoreAccountStore::defaultStore()->setTokenKeeper(std::make_unique<TULOMemoryTokenKeeper>());
    TULOStoreAccount account;
    account.setAccountName(qEnvironmentVariable("TULO_CHILD_ACCOUNT"));
    account.setToken(qEnvironmentVariable("TULO_CHILD_TOKEN"));
    TULOStoreAccountStore::defaultStore()->setActiveAccount(account);
    TULOPostOutbox *outbox = TULOPostOutbox::defaultOutbox();
    QObject::connect(outbox, &TULOPostOutbox::postDidFinish, QCoreApplication::instance(), [] { QCoreApplication::exit(0); });
    QObject::connect(outbox, &TULOPostOutbox::postDidFail, QCoreApplication::instance(),
        [](const QString &, const TULOError &, bool) { QCoreApplication::exit(2); });
    if (mode == QLatin1String("post")) {
        TULOPostDescription description;
        description.setAuthorIdentifier(TULOSandboxStore::demoArtistIdentifier());
        description.setAuthorType(QStringLiteral("artist"));
        description.setText(QStringLiteral("Interrupted, then delivered"));
        description.setAttachments(
            QList<TULOPostAttachment> {TULOFileAttachment(qEnvironmentVariable("TULO_CHILD_FILE"),
                QStringLiteral("video/mp4"), QStringLiteral("Long take"), true)});
        auto *request = new TULOPostRequest(description);
        request->startWithCompletionBlock([](const QUrl &, const TULOError &) {});
    } else {
        outbox->resume();
    }
    return QCoreApplication::exec();
}

} // namespace

class TestPostUpload : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    QString m_token;
    std::unique_ptr<QTemporaryDir> m_files;
    std::unique_ptr<QTemporaryDir> m_outboxFolder;
    std::unique_ptr<TULOPostOutbox> m_outbox;

    QString file(const QString &name, const QByteArray &data)
    {
        const QString path = m_files->filePath(name);
        if (!TULOWriteFile(path, data))
            return QString();
        return path;
    }

    TULOPostDescription textPost(const QString &text)
    {
        TULOPostDescription description;
        description.setAuthorIdentifier(TULOSandboxStore::demoArtistIdentifier());
        description.setAuthorType(QStringLiteral("artist"));
        description.setText(text);
        return description;
    }

    // Starts a request on this test's outbox and waits until it completes.
    Outcome post(const TULOPostDescription &description, TULOPostRequest **started = nullptr)
    {
        auto outcome = std::make_shared<Outcome>();
        auto *request = new TULOPostRequest(description);
        request->setOutbox(m_outbox.get());
        if (started)
            *started = request;
        request->startWithCompletionBlock([outcome](const QUrl &url, const TULOError &error) {
            ++outcome->calls;
            outcome->url = url;
            outcome->error = error;
        });
        [&] { QTRY_VERIFY_WITH_TIMEOUT(outcome->calls > 0, TULOUploadWait); }();
        return *outcome;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QString error;
        QVERIFY2(m_store.start(QString(), 0, &error), qPrintable(error));
        m_token = TULOSignInToSandbox(m_store);
        QVERIFY(!m_token.isEmpty());
    }

    void init()
    {
        m_store.clearFaults();
        m_files = std::make_unique<QTemporaryDir>();
        m_outboxFolder = std::make_unique<QTemporaryDir>();
        m_outbox = std::make_unique<TULOPostOutbox>(m_outboxFolder->path());
        m_outbox->setRetryDelays(50, 400);
    }

    void cleanup() { m_outbox.reset(); }

    void postWithEveryKindOfAttachmentArrivesComplete()
    {
        const QString photo = file(QStringLiteral("photo.png"), TULOPngData(64, Qt::red));
        const QString song = file(QStringLiteral("song.wav"),
            TULOSandboxDownloads::songFile(1, QStringLiteral("Song"), QStringLiteral("Dana Demo"),
                QStringLiteral("First Light"), 1001, 2001, 1));
        const QString cover = file(QStringLiteral("cover.png"), TULOPngData(32, Qt::blue));
        const QString video = file(QStringLiteral("clip.mp4"), TULORandomData(3 << 20, 7));
        const QString frame = file(QStringLiteral("frame.jpg"), TULOPngData(48, Qt::green));
        const QString bite = file(QStringLiteral("bite.caf"), TULORandomData(4096, 9));
        const QString library = file(QStringLiteral("library-song.wav"), TULORandomData(8192, 11));
        const QMap<QString, QByteArray> digests {{photo, TULOFileDigest(photo)}, {song, TULOFileDigest(song)},
            {cover, TULOFileDigest(cover)}, {video, TULOFileDigest(video)}, {frame, TULOFileDigest(frame)},
            {bite, TULOFileDigest(bite)}, {library, TULOFileDigest(library)}};

        TULOPostDescription description
            = textPost(QStringLiteral("New songs with @{artist:1001:\"Dana Demo\"} tonight"));
        description.setAuthorIdentifier(QStringLiteral("1002"));
        description.setAuthorType(QStringLiteral("brand"));
        description.setAttributed(true);
        TULOPostAttachment audio
            = TULOFileAttachment(song, QStringLiteral("audio/x-wav"), QStringLiteral("Kettle Song"), true);
        audio.setSubtitle(QStringLiteral("Live"));
        audio.setArtists({TULOPostArtist(QStringLiteral("1001"), QStringLiteral("Dana Demo"))});
        audio.setAlbumIdentifier(QStringLiteral("2002"));
        audio.setCategoryName(QStringLiteral("song"));
        audio.setExplicitContent(true);
        TULOPostAttachment audioCover
            = TULOFileAttachment(cover, QStringLiteral("image/png"), QStringLiteral("Cover"), true);
        audioCover.setSubtitle(QStringLiteral("Kettle Song"));
        audio.setChildAttachment(audioCover, QString::fromLatin1(TULOAttachmentRelationshipCoverImage));
        TULOPostAttachment movie
            = TULOFileAttachment(video, QStringLiteral("video/mp4"), QStringLiteral("Backstage"), true);
        movie.setPreviewFrameTimestamp(1500);
        movie.setChildAttachment(
            TULOFileAttachment(frame, QStringLiteral("image/png"), QStringLiteral("Frame"), true),
            QString::fromLatin1(TULOAttachmentRelationshipCoverImage));
        description.setAttachments(QList<TULOPostAttachment> {
            TULOFileAttachment(photo, QStringLiteral("image/png"), QStringLiteral("Stage"), true), audio,
            movie,
            TULOFileAttachment(bite, QStringLiteral("audio/x-caf"), QStringLiteral("Sound bite"), true),
            // A library song's own file: uploaded, never deleted.
            TULOFileAttachment(
                library, QStringLiteral("audio/x-wav"), QStringLiteral("From the library"), false)});
        TULOExternalDestination facebook(QStringLiteral("facebook"));
        facebook.setPageIdentifier(QString(""));
        description.setExternalServiceDestinations(
            QList<TULOExternalDestination> {facebook, TULOExternalDestination(QStringLiteral("twitter"))});
        description.setContentItems(
            QList<TULOPostItem> {TULOPostItem(QStringLiteral("2002"), TULOPostItemTypeAlbum)});

        const Outcome outcome = post(description);
        QVERIFY2(outcome.error.isNull(), qPrintable(outcome.error.localizedDescription()));
        QVERIFY(
            outcome.url.toString().startsWith(m_store.baseUrl().toString() + QStringLiteral("/feed#post-")));

        const QJsonArray posts = TULOFetchSandboxPosts(m_store);
        const auto found = std::find_if(posts.begin(), posts.end(), [&](const QJsonValue &p) {
            return outcome.url.fragment()
                == QStringLiteral("post-") + p.toObject().value(QStringLiteral("postId")).toString();
        });
        QVERIFY(found != posts.end());
        const QJsonObject stored = found->toObject();
        QCOMPARE(stored.value(QStringLiteral("text")).toString(), description.text());
        QCOMPARE(stored.value(QStringLiteral("authorName")).toString(),
            QStringLiteral("Northern Lights Orchestra"));
        QVERIFY(stored.value(QStringLiteral("attributed")).toBool());
        QCOMPARE(stored.value(QStringLiteral("attributionName")).toString(), QStringLiteral("Casey Demo"));
        QCOMPARE(stored.value(QStringLiteral("item")).toObject().value(QStringLiteral("type")).toString(),
            QStringLiteral("album"));
        const QJsonArray destinations = stored.value(QStringLiteral("externalDestinations")).toArray();
        QCOMPARE(destinations.size(), 2);
        QCOMPARE(
            destinations.at(0).toObject().value(QStringLiteral("pageId")).toString(QStringLiteral("none")),
            QString());
        QVERIFY(!destinations.at(1).toObject().contains(QStringLiteral("pageId")));

        const QJsonArray attachments = stored.value(QStringLiteral("attachments")).toArray();
        QCOMPARE(attachments.size(), 5);
        const QList<int> types {2, 1, 4, 3, 1};
        const QStringList sources {photo, song, video, bite, library};
        for (int i = 0; i < attachments.size(); ++i) {
            const QJsonObject a = attachments.at(i).toObject();
            QCOMPARE(a.value(QStringLiteral("type")).toInt(), types.at(i));
            const TULOSandboxExchange bytes
                = TULOSandboxFetch(QUrl(a.value(QStringLiteral("url")).toString()));
            QCOMPARE(QCryptographicHash::hash(bytes.body, QCryptographicHash::Sha256),
                digests.value(sources.at(i)));
        }
        const QJsonObject storedAudio = attachments.at(1).toObject();
        QCOMPARE(storedAudio.value(QStringLiteral("subtitle")).toString(), QStringLiteral("Live"));
        QCOMPARE(storedAudio.value(QStringLiteral("albumId")).toString(), QStringLiteral("2002"));
        QCOMPARE(storedAudio.value(QStringLiteral("category")).toString(), QStringLiteral("song"));
        QVERIFY(storedAudio.value(QStringLiteral("explicit")).toBool());
        QCOMPARE(storedAudio.value(QStringLiteral("artists"))
                     .toArray()
                     .at(0)
                     .toObject()
                     .value(QStringLiteral("name"))
                     .toString(),
            QStringLiteral("Dana Demo"));
        const QJsonObject storedCover = storedAudio.value(QStringLiteral("cover")).toObject();
        QCOMPARE(storedCover.value(QStringLiteral("subtitle")).toString(), QStringLiteral("Kettle Song"));
        QCOMPARE(QCryptographicHash::hash(
                     TULOSandboxFetch(QUrl(storedCover.value(QStringLiteral("url")).toString())).body,
                     QCryptographicHash::Sha256),
            digests.value(cover));
        QCOMPARE(attachments.at(2).toObject().value(QStringLiteral("previewFrameTime")).toDouble(), 1500.0);
        QVERIFY(attachments.at(2).toObject().contains(QStringLiteral("cover")));

        // Files the post owned are gone; the library's file stays; the outbox is empty.
        for (const QString &path : {photo, song, cover, video, frame, bite})
            QVERIFY2(!QFile::exists(path), qPrintable(path));
        QVERIFY(QFile::exists(library));
        QVERIFY(m_outbox->entries().isEmpty());
    }

    void progressCountsEveryByteOnce()
    {
        const QString video = file(QStringLiteral("progress.mp4"), TULORandomData(8 << 20, 3));
        TULOPostDescription description = textPost(QStringLiteral("progress"));
        description.setAttachments(QList<TULOPostAttachment> {
            TULOFileAttachment(video, QStringLiteral("video/mp4"), QStringLiteral("v"), false)});
        QList<QPair<qint64, qint64>> reports;
        auto *request = new TULOPostRequest(description);
        request->setOutbox(m_outbox.get());
        connect(request, &TULOPostRequest::uploadProgress, this, [&reports](qint64 sent, qint64 total) {
            reports.append({sent, total});
        });
        bool done = false;
        QStringList tasksWhileSending;
        connect(request, &TULOPostRequest::uploadProgress, this, [&tasksWhileSending] {
            if (tasksWhileSending.isEmpty())
                tasksWhileSending = TULOBackgroundTask::runningTaskNames();
        });
        request->startWithCompletionBlock([&done](const QUrl &, const TULOError &) { done = true; });
        QTRY_VERIFY_WITH_TIMEOUT(done, TULOUploadWait);
        QVERIFY(!reports.isEmpty());
        for (int i = 1; i < reports.size(); ++i)
            QVERIFY2(reports.at(i).first >= reports.at(i - 1).first,
                qPrintable(QStringLiteral("%1/%2 after %3/%4")
                               .arg(reports.at(i).first)
                               .arg(reports.at(i).second)
                               .arg(reports.at(i - 1).first)
                               .arg(reports.at(i - 1).second)));
        QCOMPARE(reports.last().first, reports.last().second);
        QVERIFY(reports.last().second > QFileInfo(video).size());
        // The application is kept running while bytes move, and let go afterwards.
        QVERIFY(tasksWhileSending.contains(QStringLiteral("com.vantor.Quillon.postUpload")));
        QVERIFY(!TULOBackgroundTask::runningTaskNames().contains(
            QStringLiteral("com.vantor.Quillon.postUpload")));
    }

    void temporaryFailuresAreRetried_data()
    {
        QTest::addColumn<int>("status");
        QTest::newRow("server error") << 500;
        QTest::newRow("unavailable") << 503;
        QTest::newRow("request timeout") << 408;
        QTest::newRow("too many requests") << 429;
    }

    void temporaryFailuresAreRetried()
    {
        QFETCH(int, status);
        const QString photo = file(QStringLiteral("retry.png"), TULOPngData(16, Qt::yellow));
        const qsizetype postsBefore = TULOFetchSandboxPosts(m_store).size();
        const int before = m_store.requestCount(QStringLiteral("/posts"));
        m_store.addFault(QStringLiteral("/posts"), TULOSandboxFault::status(status), 2);
        TULOPostDescription description = textPost(QStringLiteral("retry %1").arg(status));
        description.setAttachments(QList<TULOPostAttachment> {
            TULOFileAttachment(photo, QStringLiteral("image/png"), QStringLiteral("p"), true)});
        TULOPostRequest *request = nullptr;
        auto retries = std::make_shared<QList<TULOError>>();
        auto outcome = std::make_shared<Outcome>();
        request = new TULOPostRequest(description);
        request->setOutbox(m_outbox.get());
        connect(request, &TULOPostRequest::uploadWillRetry, this,
            [retries](const TULOError &e) { retries->append(e); });
        request->startWithCompletionBlock([outcome](const QUrl &url, const TULOError &error) {
            ++outcome->calls;
            outcome->url = url;
            outcome->error = error;
        });
        QTRY_VERIFY_WITH_TIMEOUT(outcome->calls > 0, TULOUploadWait);
        QVERIFY2(outcome->error.isNull(), qPrintable(outcome->error.localizedDescription()));
        QCOMPARE(retries->size(), 2);
        QCOMPARE(
            retries->first().userInfo().value(QString::fromLatin1(TULOStoreHTTPStatusKey)).toInt(), status);
        QCOMPARE(m_store.requestCount(QStringLiteral("/posts")) - before, 3);
        QCOMPARE(TULOFetchSandboxPosts(m_store).size(), postsBefore + 1);
        QVERIFY(!QFile::exists(photo));
    }

    void unreachableStoreIsRetriedWhenItReturns()
    {
        const QString photo = file(QStringLiteral("offline.png"), TULOPngData(16, Qt::cyan));
        const QString data = m_store.dataDirectory();
        const quint16 port = m_store.port();
        m_store.stop();
        TULOPostDescription description = textPost(QStringLiteral("written offline"));
        description.setAttachments(QList<TULOPostAttachment> {
            TULOFileAttachment(photo, QStringLiteral("image/png"), QStringLiteral("p"), true)});
        auto outcome = std::make_shared<Outcome>();
        auto retries = std::make_shared<int>(0);
        auto *request = new TULOPostRequest(description);
        request->setOutbox(m_outbox.get());
        connect(request, &TULOPostRequest::uploadWillRetry, this, [retries] { ++*retries; });
        request->startWithCompletionBlock([outcome](const QUrl &url, const TULOError &error) {
            ++outcome->calls;
            outcome->url = url;
            outcome->error = error;
        });
        QTRY_VERIFY_WITH_TIMEOUT(*retries >= 1, TULOUploadWait);
        QCOMPARE(outcome->calls, 0);
        QCOMPARE(m_outbox->entries().size(), 1);
        QVERIFY(QFile::exists(photo));
        QString error;
        QVERIFY2(m_store.start(data, port, &error), qPrintable(error));
        QTRY_VERIFY_WITH_TIMEOUT(outcome->calls > 0, TULOUploadWait);
        QVERIFY(outcome->error.isNull());
        QVERIFY(m_outbox->entries().isEmpty());
        QVERIFY(!QFile::exists(photo));
    }

    void clientErrorsStopRetryingAndKeepThePost_data()
    {
        QTest::addColumn<QString>("author");
        QTest::addColumn<QString>("uti");
        QTest::addColumn<int>("injected");
        QTest::addColumn<int>("status");
        QTest::newRow("bad request") << TULOSandboxStore::demoArtistIdentifier()
                                     << QStringLiteral("image/png") << 400 << 400;
        QTest::newRow("author not allowed")
            << QStringLiteral("1003") << QStringLiteral("image/png") << 0 << 403;
        QTest::newRow("not a media type")
            << TULOSandboxStore::demoArtistIdentifier() << QStringLiteral("text/plain") << 0 << 415;
        QTest::newRow("too large") << TULOSandboxStore::demoArtistIdentifier() << QStringLiteral("image/png")
                                   << 413 << 413;
    }

    void clientErrorsStopRetryingAndKeepThePost()
    {
        QFETCH(QString, author);
        QFETCH(QString, uti);
        QFETCH(int, injected);
        QFETCH(int, status);
        const QString photo = file(QStringLiteral("kept.png"), TULOPngData(16, Qt::magenta));
        const qsizetype postsBefore = TULOFetchSandboxPosts(m_store).size();
        const int before = m_store.requestCount(QStringLiteral("/posts"));
        if (injected)
            m_store.addFault(QStringLiteral("/posts"), TULOSandboxFault::status(injected), 1);
        TULOPostDescription description = textPost(QStringLiteral("refused"));
        description.setAuthorIdentifier(author);
        description.setAttachments(
            QList<TULOPostAttachment> {TULOFileAttachment(photo, uti, QStringLiteral("p"), true)});
        const Outcome outcome = post(description);
        QCOMPARE(outcome.error.domain(), TULOStoreErrorDomain);
        QCOMPARE(outcome.error.userInfo().value(QString::fromLatin1(TULOStoreHTTPStatusKey)).toInt(), status);
        QVERIFY(!outcome.error.localizedDescription().isEmpty());
        // Kept for the host: the file, and the post in the outbox, marked failed.
        QVERIFY(QFile::exists(photo));
        const QList<TULOPostOutboxEntry> entries = m_outbox->entries();
        QCOMPARE(entries.size(), 1);
        QCOMPARE(entries.first().state, TULOPostOutboxEntry::Failed);
        QCOMPARE(
            entries.first().description.value(QStringLiteral("text")).toString(), QStringLiteral("refused"));
        QCOMPARE(
            entries.first().lastError.userInfo().value(QString::fromLatin1(TULOStoreHTTPStatusKey)).toInt(),
            status);
        // Resuming does not send it again.
        m_outbox->resume(true);
        QCoreApplication::processEvents();
        QCOMPARE(m_store.requestCount(QStringLiteral("/posts")) - before, 1);
        QCOMPARE(TULOFetchSandboxPosts(m_store).size(), postsBefore);
        QVERIFY(m_outbox->discard(entries.first().idempotencyKey));
        QVERIFY(m_outbox->entries().isEmpty());
        QVERIFY(QFile::exists(photo)); // discarding the post leaves the user's file alone
    }

    void unreadableAttachmentFailsBeforeAnythingIsSent_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("uti");
        QTest::newRow("missing file") << QStringLiteral("gone.png") << QStringLiteral("image/png");
        QTest::newRow("folder, not file") << QStringLiteral("folder") << QStringLiteral("image/png");
        QTest::newRow("no type") << QStringLiteral("untyped.png") << QString();
    }

    void unreadableAttachmentFailsBeforeAnythingIsSent()
    {
        QFETCH(QString, path);
        QFETCH(QString, uti);
        QDir(m_files->path()).mkdir(QStringLiteral("folder"));
        file(QStringLiteral("untyped.png"), TULOPngData(8, Qt::black));
        const QString good = file(QStringLiteral("good.png"), TULOPngData(8, Qt::white));
        const int before = m_store.requestCount(QStringLiteral("/posts"));
        TULOPostDescription description = textPost(QStringLiteral("never sent"));
        description.setAttachments(QList<TULOPostAttachment> {
            TULOFileAttachment(good, QStringLiteral("image/png"), QStringLiteral("g"), true),
            TULOFileAttachment(m_files->filePath(path), uti, QStringLiteral("p"), true)});
        const Outcome outcome = post(description);
        QCOMPARE(outcome.error.domain(), TULOFileErrorDomain);
        QCOMPARE(outcome.error.code(), 4);
        QVERIFY(QFile::exists(good));
        QVERIFY(m_outbox->entries().isEmpty());
        QVERIFY(QDir(m_outbox->folder()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty());
        QCOMPARE(m_store.requestCount(QStringLiteral("/posts")), before);
    }

    void killedUploaderDeliversOnceAfterRestart()
    {
        const QString video = file(QStringLiteral("long.mp4"), TULORandomData(48 << 20, 5));
        const QByteArray digest = TULOFileDigest(video);
        QTemporaryDir outbox;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("TULO_UPLOAD_CHILD"), QStringLiteral("post"));
        environment.insert(QStringLiteral("QUILLON_OUTBOX_DIR"), outbox.path());
        environment.insert(QStringLiteral("TULO_CHILD_BAG"), m_store.bagUrl().toString());
        environment.insert(QStringLiteral("TULO_CHILD_ACCOUNT"), TULOSandboxStore::demoAccountName());
        environment.insert(QStringLiteral("TULO_CHILD_TOKEN"), m_token);
        environment.insert(QStringLiteral("TULO_CHILD_FILE"), video);
        const qsizetype postsBefore = TULOFetchSandboxPosts(m_store).size();
        const int before = m_store.requestCount(QStringLiteral("/posts"));
        // The store holds the first upload before reading it, so the kill lands mid-body.
        m_store.addFault(QStringLiteral("/posts"), TULOSandboxFault::delay(TULOUploadWait), 1);

        QProcess first;
        first.setProcessEnvironment(environment);
        first.start(QCoreApplication::applicationFilePath(), QStringList());
        QVERIFY(first.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(m_store.requestCount(QStringLiteral("/posts")) > before, TULOUploadWait);
        ::kill(pid_t(first.processId()), SIGKILL);
        QVERIFY(first.waitForFinished());
        QCOMPARE(first.exitStatus(), QProcess::CrashExit);
        QCOMPARE(QDir(outbox.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size(), 1);
        QVERIFY(QFile::exists(video));
        // A manifest may carry access tokens: the user's alone, whatever the umask.
        const QString entry
            = QDir(outbox.path()).filePath(QDir(outbox.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).first());
        struct stat entryInfo {};
        struct stat manifestInfo {};
        QCOMPARE(::stat(QFile::encodeName(entry).constData(), &entryInfo), 0);
        QCOMPARE(::stat(QFile::encodeName(entry + QStringLiteral("/post.json")).constData(), &manifestInfo), 0);
        QCOMPARE(int(entryInfo.st_mode & 0777), 0700);
        QCOMPARE(int(manifestInfo.st_mode & 0777), 0600);

        QProcess second;
        environment.insert(QStringLiteral("TULO_UPLOAD_CHILD"), QStringLiteral("resume"));
        second.setProcessEnvironment(environment);
        second.start(QCoreApplication::applicationFilePath(), QStringList());
        QVERIFY(second.waitForStarted());
        QVERIFY(second.waitForFinished(TULOUploadWait));
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);

        const QJsonArray posts = TULOFetchSandboxPosts(m_store);
        QCOMPARE(posts.size(), postsBefore + 1);
        const QJsonObject stored = posts.first().toObject();
        QCOMPARE(
            stored.value(QStringLiteral("text")).toString(), QStringLiteral("Interrupted, then delivered"));
        const QJsonObject attachment
            = stored.value(QStringLiteral("attachments")).toArray().first().toObject();
        QCOMPARE(qint64(attachment.value(QStringLiteral("size")).toDouble()), qint64(48 << 20));
        QCOMPARE(QCryptographicHash::hash(
                     TULOSandboxFetch(QUrl(attachment.value(QStringLiteral("url")).toString())).body,
                     QCryptographicHash::Sha256),
            digest);
        QVERIFY(!QFile::exists(video));
        QVERIFY(QDir(outbox.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty());
    }
};

int main(int argc, char **argv)
{
    const QString child = qEnvironmentVariable("TULO_UPLOAD_CHILD");
    if (!child.isEmpty()) {
        ::umask(022); // a host that shares what it writes: the outbox must not
        QCoreApplication application(argc, argv);
        return runChild(child);
    }
    QCoreApplication application(argc, argv);
    TestPostUpload test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_postupload.moc"

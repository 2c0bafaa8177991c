// The outbox shared by several holders of one folder (as processes share it), its index, and
// the model a host shows it with, against the sandbox store over loopback.
#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/postoutboxmodel.h>
#include <Quillon/platform/store/storeerror.h>
#include "uploadtestsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

namespace {

constexpr int TULOOutboxWait = 60000; // a hang guard, never a measurement

} // namespace

class TestPostOutbox : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    std::unique_ptr<QTemporaryDir> m_files;
    std::unique_ptr<QTemporaryDir> m_folder;

    TULOPostDescription post(const QString &text, const QString &file = QString(), const QString &uti = QString())
    {
        TULOPostDescription description;
        description.setAuthorIdentifier(TULOSandboxStore::demoArtistIdentifier());
        description.setAuthorType(QStringLiteral("artist"));
        description.setText(text);
        if (!file.isEmpty())
            description.setAttachments(QList<TULOPostAttachment> {TULOFileAttachment(file, uti, QStringLiteral("f"), false)});
        return description;
    }

    QString enqueue(TULOPostOutbox &outbox, const TULOPostDescription &description)
    {
        TULOError error;
        const QString key = outbox.enqueue(description, m_store.bagUrl(), TULOSandboxStore::demoAccountName(), &error);
        if (key.isEmpty())
            qWarning() << error;
        return key;
    }

    int storedWithText(const QString &text)
    {
        int count = 0;
        for (const QJsonValue &p : TULOFetchSandboxPosts(m_store))
            count += p.toObject().value(QStringLiteral("text")).toString() == text;
        return count;
    }

    // Ready: its folder read, as every test but those of the start-up read wants it.
    std::unique_ptr<TULOPostOutbox> outbox(bool waitUntilRead = true)
    {
        auto outbox = std::make_unique<TULOPostOutbox>(m_folder->path());
        outbox->setRetryDelays(50, 400);
        if (waitUntilRead && !QTest::qWaitFor([&outbox] { return outbox->isReady(); }, TULOOutboxWait))
            qWarning("the outbox did not read its folder");
        return outbox;
    }

    // Posts that an earlier process left, oldest first.
    QStringList leftBehind(int count, const QString &text)
    {
        QStringList keys;
        auto writer = outbox();
        for (int i = 0; i < count; ++i) {
            keys << enqueue(*writer, post(QStringLiteral("%1 %2").arg(text).arg(i)));
            QTest::qWait(2); // distinct times of writing, so the order is the writing order
        }
        return keys;
    }

    static QStringList keysOf(const QList<TULOPostOutboxEntry> &entries)
    {
        QStringList keys;
        for (const TULOPostOutboxEntry &e : entries)
            keys << e.idempotencyKey;
        return keys;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QString error;
        QVERIFY2(m_store.start(QString(), 0, &error), qPrintable(error));
        QVERIFY(!TULOSignInToSandbox(m_store).isEmpty());
    }

    void init()
    {
        m_store.clearFaults();
        m_files = std::make_unique<QTemporaryDir>();
        m_folder = std::make_unique<QTemporaryDir>();
    }

    // A second holder of the folder (another process, in effect) sees the post, but neither
    // sends nor discards it while the writer holds it; it takes over once the writer is gone.
    void postIsSentByItsHolderOnly()
    {
        auto writer = outbox();
        auto other = outbox();
        QSignalSpy added(other.get(), &TULOPostOutbox::postWasAdded);
        QSignalSpy removed(other.get(), &TULOPostOutbox::postWasRemoved);
        const QString key = enqueue(*writer, post(QStringLiteral("held by its writer")));
        QVERIFY(!key.isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(added.size(), 1, TULOOutboxWait); // from the folder's notification
        QCOMPARE(added.first().first().toString(), key);
        QVERIFY(other->isSendingElsewhere(key));
        QVERIFY(!writer->isSendingElsewhere(key));
        TULOError error;
        QVERIFY(!other->discard(key, &error));
        QCOMPARE(error.code(), 16);

        const int before = m_store.requestCount(QStringLiteral("/posts"));
        other->resume(true);
        QTest::qWait(200);
        QCOMPARE(m_store.requestCount(QStringLiteral("/posts")), before);
        QVERIFY(other->entry(key).has_value());

        writer.reset(); // its process ends: the kernel lets go of the lock
        QSignalSpy finished(other.get(), &TULOPostOutbox::postDidFinish);
        QTRY_COMPARE_WITH_TIMEOUT(finished.size(), 1, TULOOutboxWait); // the other polls for it
        QCOMPARE(finished.first().first().toString(), key);
        QCOMPARE(m_store.requestCount(QStringLiteral("/posts")) - before, 1);
        QCOMPARE(storedWithText(QStringLiteral("held by its writer")), 1);
        QCOMPARE(removed.size(), 1);
        QVERIFY(other->entries().isEmpty());
        QVERIFY(QDir(m_folder->path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty());
    }

    // The folder is read off the main thread: the constructor returns knowing nothing of what
    // is on disk; ready() comes once, from the event loop, with every post in order, and no
    // postWasAdded for them. A model made before that fills with one reset.
    void startUpReadArrivesWithReady()
    {
        const QStringList earlier = leftBehind(3, QStringLiteral("left behind"));
        auto box = outbox(false);
        QVERIFY(!box->isReady());
        QVERIFY(box->entries().isEmpty());
        QVERIFY(!box->entry(earlier.first()));
        TULOPostOutboxModel model(box.get());
        QSignalSpy ready(box.get(), &TULOPostOutbox::ready);
        QSignalSpy added(box.get(), &TULOPostOutbox::postWasAdded);
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
        QCOMPARE(model.rowCount(), 0);
        QVERIFY(ready.wait(TULOOutboxWait));
        QVERIFY(box->isReady());
        QCOMPARE(keysOf(box->entries()), earlier);
        QCOMPARE(added.size(), 0);
        QCOMPARE(reset.size(), 1);
        QCOMPARE(model.rowCount(), 3);
        QCOMPARE(model.index(0).data(TULOPostOutboxModel::KeyRole).toString(), earlier.first());
        QTest::qWait(50);
        QCOMPARE(ready.size(), 1);
    }

    void callsBeforeTheReadFinish_data()
    {
        QTest::addColumn<QString>("call");
        QTest::addColumn<int>("entriesOnceRead");
        QTest::addColumn<int>("delivered");
        // Its own post comes after those read, once, never twice.
        QTest::newRow("enqueue") << QStringLiteral("enqueue") << 3 << 0;
        // A post that left before the read finished does not come back with it.
        QTest::newRow("enqueue, discard") << QStringLiteral("discard") << 2 << 0;
        // Asked to send before it knows the posts: it sends them once it does.
        QTest::newRow("resume") << QStringLiteral("resume") << 0 << 2;
        // Changes another process makes meanwhile are looked at once it is read.
        QTest::newRow("refresh") << QStringLiteral("refresh") << 3 << 0;
    }

    void callsBeforeTheReadFinish()
    {
        QFETCH(QString, call);
        QFETCH(int, entriesOnceRead);
        QFETCH(int, delivered);
        const QString text = QStringLiteral("early %1").arg(QTest::currentDataTag());
        const QStringList earlier = leftBehind(2, text);
        const int before = m_store.requestCount(QStringLiteral("/posts"));
        auto box = outbox(false);
        QSignalSpy ready(box.get(), &TULOPostOutbox::ready);
        QString own;
        if (call == QLatin1String("enqueue") || call == QLatin1String("discard")) {
            own = enqueue(*box, post(text + QStringLiteral(", own")));
            QCOMPARE(keysOf(box->entries()), QStringList {own});
        }
        if (call == QLatin1String("discard"))
            QVERIFY(box->discard(own));
        if (call == QLatin1String("resume"))
            box->resume(true);
        if (call == QLatin1String("refresh")) {
            auto other = outbox(false); // another process adds a post while this one reads
            own = enqueue(*other, post(text + QStringLiteral(", other")));
            other.reset();
            box->refresh();
        }
        QVERIFY(!box->isReady());
        QVERIFY(ready.wait(TULOOutboxWait));
        if (delivered > 0) {
            QTRY_VERIFY_WITH_TIMEOUT(box->entries().isEmpty(), TULOOutboxWait);
            QCOMPARE(m_store.requestCount(QStringLiteral("/posts")) - before, delivered);
            for (int i = 0; i < delivered; ++i)
                QCOMPARE(storedWithText(QStringLiteral("%1 %2").arg(text).arg(i)), 1);
            return;
        }
        QTRY_COMPARE_WITH_TIMEOUT(box->entries().size(), entriesOnceRead, TULOOutboxWait);
        QStringList expected = earlier;
        if (call != QLatin1String("discard"))
            expected << own;
        QCOMPARE(keysOf(box->entries()), expected);
        QCOMPARE(m_store.requestCount(QStringLiteral("/posts")), before);
    }

    void uploadsRunAFewAtATime_data()
    {
        QTest::addColumn<int>("limit");
        QTest::newRow("one after another") << 1;
        QTest::newRow("two at a time") << 2;
    }

    void uploadsRunAFewAtATime()
    {
        QFETCH(int, limit);
        auto box = outbox();
        box->setMaximumConcurrentUploads(limit);
        // Each upload is held a moment by the store, so they would overlap if allowed to.
        m_store.addFault(QStringLiteral("/posts"), TULOSandboxFault::delay(150), 5);
        QStringList keys;
        for (int i = 0; i < 5; ++i)
            keys << enqueue(*box, post(QStringLiteral("in turn %1 of %2").arg(i).arg(limit)));
        int sending = 0;
        int most = 0;
        connect(box.get(), &TULOPostOutbox::postWillSend, this, [&] { most = qMax(most, ++sending); });
        connect(box.get(), &TULOPostOutbox::postDidFinish, this, [&] { --sending; });
        box->resume(true);
        QTRY_VERIFY_WITH_TIMEOUT(box->entries().isEmpty(), TULOOutboxWait);
        QCOMPARE(most, limit);
        for (int i = 0; i < 5; ++i)
            QCOMPARE(storedWithText(QStringLiteral("in turn %1 of %2").arg(i).arg(limit)), 1);
    }

    // What a crash leaves half-written goes at the next start; what is being written stays.
    void partialPostsAtStart_data()
    {
        QTest::addColumn<bool>("lockFile");
        QTest::addColumn<bool>("held");
        QTest::addColumn<int>("ageMinutes");
        QTest::addColumn<bool>("kept");
        QTest::newRow("cut short, lock free") << true << false << 60 << false;
        QTest::newRow("lock file just made, not held yet") << true << false << 0 << true;
        QTest::newRow("being written") << true << true << 60 << true;
        QTest::newRow("just made, not locked yet") << false << false << 0 << true;
        QTest::newRow("old, never locked") << false << false << 60 << false;
    }

    void partialPostsAtStart()
    {
        QFETCH(bool, lockFile);
        QFETCH(bool, held);
        QFETCH(int, ageMinutes);
        QFETCH(bool, kept);
        const QString partial = m_folder->filePath(QStringLiteral("0d4c7c2a-partial-test.partial"));
        QVERIFY(QDir().mkpath(partial));
        QVERIFY(TULOWriteFile(partial + QStringLiteral("/file0.png"), TULOPngData(4, Qt::red)));
        int fd = -1;
        if (lockFile) {
            fd = ::open(QFile::encodeName(partial + QStringLiteral("/.lock")).constData(), O_RDWR | O_CREAT, 0600);
            QVERIFY(fd >= 0);
            if (held)
                QCOMPARE(::flock(fd, LOCK_EX | LOCK_NB), 0);
        }
        if (ageMinutes > 0) {
            const time_t then = time(nullptr) - ageMinutes * 60;
            const utimbuf times {then, then};
            QCOMPARE(::utime(QFile::encodeName(partial).constData(), &times), 0);
            if (lockFile)
                QCOMPARE(::utime(QFile::encodeName(partial + QStringLiteral("/.lock")).constData(), &times), 0);
        }
        auto box = outbox();
        QCOMPARE(QFileInfo::exists(partial), kept);
        QVERIFY(box->entries().isEmpty());
        if (fd >= 0)
            ::close(fd);
    }

    void refusalsSayWhyAndNameTheFile_data()
    {
        QTest::addColumn<QString>("author");
        QTest::addColumn<QString>("uti");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("reason");
        QTest::addColumn<QString>("named");
        QTest::newRow("type the store does not take") << TULOSandboxStore::demoArtistIdentifier()
                                                      << QStringLiteral("text/plain") << 415
                                                      << QStringLiteral("does not take a file of this type")
                                                      << QStringLiteral("\"notes.txt\"");
        QTest::newRow("author not allowed") << QStringLiteral("1003") << QStringLiteral("image/png") << 403
                                            << QStringLiteral("may not post") << QString();
    }

    // Refused for good: kept, shown in the model with the reason in words, sent again on request.
    void refusalsSayWhyAndNameTheFile()
    {
        QFETCH(QString, author);
        QFETCH(QString, uti);
        QFETCH(int, status);
        QFETCH(QString, reason);
        QFETCH(QString, named);
        auto box = outbox();
        TULOPostOutboxModel model(box.get());
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        QSignalSpy failed(&model, &TULOPostOutboxModel::postDidFail);
        const QString file = m_files->filePath(QStringLiteral("notes.txt"));
        QVERIFY(TULOWriteFile(file, TULOPngData(8, Qt::blue)));
        TULOPostDescription description = post(QStringLiteral("refused %1").arg(status), file, uti);
        description.setAuthorIdentifier(author);
        const QString key = enqueue(*box, description);
        QCOMPARE(inserted.size(), 1);
        QCOMPARE(model.rowCount(), 1);
        box->resume(true);
        QTRY_COMPARE_WITH_TIMEOUT(failed.size(), 1, TULOOutboxWait);
        QCOMPARE(failed.first().at(2).toBool(), false);
        const QModelIndex row = model.index(model.rowForKey(key));
        QCOMPARE(row.data(TULOPostOutboxModel::StateRole).value<TULOPostOutboxModel::State>(), TULOPostOutboxModel::Refused);
        QCOMPARE(row.data(TULOPostOutboxModel::AttemptsRole).toInt(), 1);
        const QString lastError = row.data(TULOPostOutboxModel::LastErrorRole).toString();
        QVERIFY2(lastError.contains(reason), qPrintable(lastError));
        if (!named.isEmpty())
            QVERIFY2(lastError.contains(named) && !lastError.contains(QStringLiteral("\"file0\"")), qPrintable(lastError));
        // Read back from disk by a later holder: the same words.
        box.reset();
        auto later = outbox();
        const auto entry = later->entry(key);
        QVERIFY(entry);
        QCOMPARE(entry->state, TULOPostOutboxEntry::Failed);
        QCOMPARE(entry->lastError.userInfo().value(QString::fromLatin1(TULOStoreHTTPStatusKey)).toInt(), status);
        QVERIFY(entry->lastError.localizedFailureReason().contains(reason));
        QVERIFY(QFile::exists(file));
    }

    void retryResendsARefusedPost()
    {
        auto box = outbox();
        TULOPostOutboxModel model(box.get());
        const QString photo = m_files->filePath(QStringLiteral("again.png"));
        QVERIFY(TULOWriteFile(photo, TULOPngData(64, Qt::green)));
        m_store.addFault(QStringLiteral("/posts"), TULOSandboxFault::status(400), 1);
        const QString key = enqueue(*box, post(QStringLiteral("sent again by hand"), photo, QStringLiteral("image/png")));
        QSignalSpy failed(box.get(), &TULOPostOutbox::postDidFail);
        box->resume(true);
        QTRY_COMPARE_WITH_TIMEOUT(failed.size(), 1, TULOOutboxWait);
        box->resume(true); // a refused post is not sent by itself
        QTest::qWait(100);
        QCOMPARE(storedWithText(QStringLiteral("sent again by hand")), 0);

        QSignalSpy landed(&model, &TULOPostOutboxModel::postDidFinish);
        QSignalSpy progress(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy removed(&model, &QAbstractItemModel::rowsRemoved);
        QVERIFY(model.retry(key));
        QCOMPARE(model.index(0).data(TULOPostOutboxModel::AttemptsRole).toInt(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(landed.size(), 1, TULOOutboxWait);
        QVERIFY(landed.first().at(1).toUrl().isValid());
        QCOMPARE(removed.size(), 1);
        QCOMPARE(model.rowCount(), 0);
        QCOMPARE(storedWithText(QStringLiteral("sent again by hand")), 1);
        bool sawBytes = false;
        for (const QList<QVariant> &change : std::as_const(progress))
            sawBytes |= change.at(2).value<QList<int>>().contains(TULOPostOutboxModel::BytesSentRole);
        QVERIFY(sawBytes);
        QVERIFY(QFile::exists(photo)); // the test's attachment does not ask to be deleted
    }

    // Disk work runs on a thread of its own; a host's model and views must still hear of every
    // change on the thread they live on. Direct connections show where each signal is emitted.
    void signalsArriveOnTheMainThread()
    {
        auto box = outbox();
        TULOPostOutboxModel model(box.get());
        QStringList offThread;
        const auto watch = [&](const char *name) {
            return [&offThread, name] {
                if (QThread::currentThread() != qApp->thread())
                    offThread << QString::fromLatin1(name);
            };
        };
        connect(box.get(), &TULOPostOutbox::postWasAdded, this, watch("postWasAdded"), Qt::DirectConnection);
        connect(box.get(), &TULOPostOutbox::postWasRemoved, this, watch("postWasRemoved"), Qt::DirectConnection);
        connect(box.get(), &TULOPostOutbox::postDidChange, this, watch("postDidChange"), Qt::DirectConnection);
        connect(box.get(), &TULOPostOutbox::postWillSend, this, watch("postWillSend"), Qt::DirectConnection);
        connect(box.get(), &TULOPostOutbox::postUploadProgress, this, watch("postUploadProgress"), Qt::DirectConnection);
        connect(box.get(), &TULOPostOutbox::postDidFinish, this, watch("postDidFinish"), Qt::DirectConnection);
        connect(box.get(), &TULOPostOutbox::postDidFail, this, watch("postDidFail"), Qt::DirectConnection);
        connect(&model, &QAbstractItemModel::rowsInserted, this, watch("rowsInserted"), Qt::DirectConnection);
        connect(&model, &QAbstractItemModel::rowsRemoved, this, watch("rowsRemoved"), Qt::DirectConnection);
        connect(&model, &QAbstractItemModel::dataChanged, this, watch("dataChanged"), Qt::DirectConnection);
        QSignalSpy landed(&model, &TULOPostOutboxModel::postDidFinish);
        QSignalSpy failed(&model, &TULOPostOutboxModel::postDidFail);

        const QString photo = m_files->filePath(QStringLiteral("threads.png"));
        QVERIFY(TULOWriteFile(photo, TULOPngData(64, Qt::yellow)));
        // A failure (its manifest rewritten on the disk thread), then delivery (its folder
        // removed there), and a post another holder writes (seen through the folder's notification).
        m_store.addFault(QStringLiteral("/posts"), TULOSandboxFault::status(503), 1);
        enqueue(*box, post(QStringLiteral("threads, own"), photo, QStringLiteral("image/png")));
        box->resume(true);
        QTRY_COMPARE_WITH_TIMEOUT(landed.size(), 1, TULOOutboxWait);
        QCOMPARE(failed.size(), 1);
        {
            auto other = outbox();
            enqueue(*other, post(QStringLiteral("threads, other")));
        }
        QTRY_COMPARE_WITH_TIMEOUT(landed.size(), 2, TULOOutboxWait);
        QCOMPARE(model.rowCount(), 0);
        QVERIFY2(offThread.isEmpty(), qPrintable(offThread.join(QStringLiteral(", "))));
    }

    void filesAreTheUsersAlone_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<bool>("afterFailure");
        QTest::addColumn<int>("mode");
        QTest::newRow("post folder") << QString() << false << 0700;
        QTest::newRow("manifest") << QStringLiteral("post.json") << false << 0600;
        QTest::newRow("lock") << QStringLiteral(".lock") << false << 0600;
        QTest::newRow("manifest rewritten after a failure") << QStringLiteral("post.json") << true << 0600;
    }

    // A manifest may carry an access token: whatever the umask, nobody else reads the outbox.
    void filesAreTheUsersAlone()
    {
        QFETCH(QString, path);
        QFETCH(bool, afterFailure);
        QFETCH(int, mode);
        const mode_t saved = ::umask(022);
        const auto restore = qScopeGuard([saved] { ::umask(saved); });
        auto box = outbox();
        const QString key = enqueue(*box, post(QStringLiteral("private %1").arg(QTest::currentDataTag())));
        QVERIFY(!key.isEmpty());
        if (afterFailure) {
            m_store.addFault(QStringLiteral("/posts"), TULOSandboxFault::status(400), 1);
            QSignalSpy failed(box.get(), &TULOPostOutbox::postDidFail);
            box->resume(true);
            QTRY_COMPARE_WITH_TIMEOUT(failed.size(), 1, TULOOutboxWait);
            box.reset(); // waits for the disk thread's write
            QCOMPARE(outbox()->entry(key)->attempts, 1);
        }
        struct stat info {};
        const QString file = m_folder->filePath(key) + (path.isEmpty() ? QString() : QLatin1Char('/') + path);
        QCOMPARE(::stat(QFile::encodeName(file).constData(), &info), 0);
        QCOMPARE(int(info.st_mode & 0777), mode);
    }

    void discardRemovesThePostAndItsFilesOnly()
    {
        auto box = outbox();
        TULOPostOutboxModel model(box.get());
        const QString photo = m_files->filePath(QStringLiteral("dropped.png"));
        QVERIFY(TULOWriteFile(photo, TULOPngData(16, Qt::gray)));
        const QString key = enqueue(*box, post(QStringLiteral("dropped"), photo, QStringLiteral("image/png")));
        QVERIFY(model.discard(key));
        QCOMPARE(model.rowCount(), 0);
        QVERIFY(!box->entry(key));
        QVERIFY(!QFileInfo::exists(m_folder->filePath(key)));
        QVERIFY(QFile::exists(photo));
        TULOError error;
        QVERIFY(!model.discard(key, &error));
        QCOMPARE(error.code(), 4);
    }
};

QTEST_GUILESS_MAIN(TestPostOutbox)
#include "tst_postoutbox.moc"

// Downloading a store-only library item before posting, against the sandbox store.
#include <Quillon/core/attachmentdownloadoperation.h>
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/platform/operationqueue.h>
#include "upload/uploadtestsupport.h"

#include <QTemporaryDir>
#include <QTest>

static constexpr int TULODownloadWait = 30000; // a hang guard, never a measurement

class TestAttachmentDownloadOperation : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<TULOMediaLibrary> m_library;
    std::unique_ptr<TULOStoreDownloadManager> m_manager;
    TULOOperationQueue m_queue {QStringLiteral("com.vantor.Quillon.test.download")};

    TULOMediaLibraryItemPtr cloudItem()
    {
        bool done = false;
        m_manager->loadCloudLibrary(m_library.get(), [&](int, const TULOError &) { done = true; });
        if (!QTest::qWaitFor([&] { return done; }, TULODownloadWait))
            return nullptr;
        for (const TULOMediaLibraryItemPtr &item : m_library->items()) {
            if (item->isDownloadableFromStore())
                return item;
        }
        return nullptr;
    }

    std::shared_ptr<TULOAttachmentDownloadOperation> run(const TULOAttachmentPtr &attachment)
    {
        auto operation = std::make_shared<TULOAttachmentDownloadOperation>(attachment);
        operation->setDownloadManager(m_manager.get());
        m_queue.addOperation(operation);
        // The manager works on the main thread, so keep its event loop turning while waiting.
        // The callers check isFinished(); this only bounds the wait.
        [[maybe_unused]] const bool finished = QTest::qWaitFor([&] { return operation->isFinished(); }, TULODownloadWait);
        return operation;
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
        m_folder = std::make_unique<QTemporaryDir>();
        const QString music = m_folder->filePath(QStringLiteral("Music"));
        QVERIFY(QDir().mkpath(music));
        m_library = std::make_unique<TULOMediaLibrary>(music, m_folder->filePath(QStringLiteral("index.sqlite")));
        QVERIFY(m_library->reload());
        m_manager = std::make_unique<TULOStoreDownloadManager>();
    }

    void cleanup()
    {
        m_queue.waitUntilAllOperationsAreFinished();
        m_manager.reset();
        m_library.reset();
    }

    void storeOnlyItemGetsItsFile()
    {
        const TULOMediaLibraryItemPtr item = cloudItem();
        QVERIFY(item);
        auto attachment = std::make_shared<TULOAttachment>(item);
        QVERIFY(attachment->isDownloadable());

        const auto operation = run(attachment);
        QVERIFY(operation->isFinished());
        QVERIFY(!operation->download()); // released once ended
        QCOMPARE(operation->downloadProgress(), 1.0);
        QVERIFY(!item->filePath().isEmpty());
        QVERIFY(QFileInfo::exists(item->filePath()));
        // The operation worked on a copy that shares the item: the caller's attachment is local now.
        QVERIFY(operation->attachment() != attachment);
        QVERIFY(!attachment->isDownloadable());
        QVERIFY(m_manager->downloads().isEmpty());
    }

    void nothingToDownloadFinishesAtOnce_data()
    {
        QTest::addColumn<TULOAttachmentPtr>("attachment");
        QTest::newRow("no attachment") << TULOAttachmentPtr();
        QTest::newRow("photo data") << std::make_shared<TULOAttachment>(QByteArray("jpeg"), QStringLiteral("image/jpeg"));
        QTest::newRow("asset URL") << std::make_shared<TULOAttachment>(QUrl(QStringLiteral("file:///tmp/a.m4a")),
                                                                        QStringLiteral("audio/mp4"));
    }
    void nothingToDownloadFinishesAtOnce()
    {
        QFETCH(TULOAttachmentPtr, attachment);
        const int before = m_store.requestCount(QStringLiteral("/downloads"));
        const auto operation = run(attachment);
        QVERIFY(operation->isFinished());
        QVERIFY(!operation->download());
        QCOMPARE(operation->downloadProgress(), 0.0);
        QCOMPARE(m_store.requestCount(QStringLiteral("/downloads")), before);
    }

    void localItemIsNotDownloadedAgain()
    {
        const TULOMediaLibraryItemPtr item = cloudItem();
        QVERIFY(item);
        QVERIFY(run(std::make_shared<TULOAttachment>(item))->isFinished());
        const int before = m_store.requestCount(QStringLiteral("/downloads"));
        const auto again = run(std::make_shared<TULOAttachment>(item));
        QVERIFY(again->isFinished());
        QCOMPARE(m_store.requestCount(QStringLiteral("/downloads")), before);
    }

    void failedDownloadEndsTheOperationAndLeavesTheItemRemote()
    {
        const TULOMediaLibraryItemPtr item = cloudItem();
        QVERIFY(item);
        m_store.addFault(QStringLiteral("/downloads"), TULOSandboxFault::status(500), 1);
        const auto operation = run(std::make_shared<TULOAttachment>(item));
        QVERIFY(operation->isFinished());
        QVERIFY(!operation->download());
        QVERIFY(item->filePath().isEmpty());
        QVERIFY(item->isDownloadableFromStore()); // the preparation will report it
        QVERIFY(m_manager->downloads().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestAttachmentDownloadOperation)

#include "tst_attachmentdownloadoperation.moc"

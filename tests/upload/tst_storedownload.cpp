// Store downloads into the media library, from the sandbox store's cloud library.
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/platform/store/storedownloadmanager.h>
#include <Quillon/platform/store/storeerror.h>
#include "uploadtestsupport.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr int TULODownloadWait = 30000; // a hang guard, never a measurement

class Recorder : public TULOStoreDownloadManagerObserver
{
public:
    void downloadManagerDownloadDidProgress(
        TULOStoreDownloadManager *manager, const TULOStoreDownloadPtr &download) override
    {
        progress.append(download->progress());
        if (cancelOnProgress)
            manager->cancelDownloads({download});
    }
    void downloadManagerDownloadDidFinish(
        TULOStoreDownloadManager *, const TULOStoreDownloadPtr &download) override
    {
        ++finished;
        stateAtFinish = download->state();
    }

    QList<double> progress;
    int finished = 0;
    TULOStoreDownloadState stateAtFinish = TULOStoreDownloadState::Waiting;
    bool cancelOnProgress = false;
};

} // namespace

class TestStoreDownload : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<TULOMediaLibrary> m_library;
    std::unique_ptr<TULOStoreDownloadManager> m_manager;

    QString musicFolder() const { return m_folder->filePath(QStringLiteral("Music")); }

    QList<TULOMediaLibraryItemPtr> loadCloud(int *added = nullptr)
    {
        int count = -1;
        TULOError error;
        bool done = false;
        m_manager->loadCloudLibrary(m_library.get(), [&](int n, const TULOError &e) {
            count = n;
            error = e;
            done = true;
        });
        [&] { QTRY_VERIFY_WITH_TIMEOUT(done, TULODownloadWait); }();
        if (added)
            *added = count;
        QList<TULOMediaLibraryItemPtr> cloud;
        for (const TULOMediaLibraryItemPtr &item : m_library->items()) {
            if (item->isDownloadableFromStore())
                cloud.append(item);
        }
        return cloud;
    }

    QStringList leftovers() const
    {
        return QDir(musicFolder() + QStringLiteral("/Store Downloads")).entryList(QDir::Files | QDir::Hidden);
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
        QVERIFY(QDir().mkpath(musicFolder()));
        // One of the cloud songs is on this computer already.
        QVERIFY(TULOWriteFile(musicFolder() + QStringLiteral("/local.wav"),
            TULOSandboxDownloads::songFile(3001, QStringLiteral("Opening"), QStringLiteral("Dana Demo"),
                QStringLiteral("First Light"), 1001, 2001, 1)));
        m_library = std::make_unique<TULOMediaLibrary>(
            musicFolder(), m_folder->filePath(QStringLiteral("index.sqlite")));
        QVERIFY(m_library->reload());
        m_manager = std::make_unique<TULOStoreDownloadManager>();
    }

    void cleanup()
    {
        m_manager.reset();
        m_library.reset();
    }

    void cloudItemsAreDownloadableAndLocalOnesAreNot()
    {
        QCOMPARE(m_library->items().size(), 1);
        const qint64 local = m_library->items().first()->storeItemIdentifier();
        int added = 0;
        const QList<TULOMediaLibraryItemPtr> cloud = loadCloud(&added);
        QVERIFY(added > 0);
        QCOMPARE(cloud.size(), added);
        QCOMPARE(m_library->items().size(), added + 1);
        QVERIFY(!m_library->items().first()->isDownloadableFromStore());
        for (const TULOMediaLibraryItemPtr &item : cloud) {
            QVERIFY(item->filePath().isEmpty());
            QVERIFY(item->storeItemIdentifier() != local);
            QVERIFY(!item->title().isEmpty());
        }
        // Loading again adds nothing twice.
        QCOMPARE(loadCloud(&added).size(), cloud.size());
        QCOMPARE(added, 0);
    }

    void downloadReportsProgressAndDeliversIntoTheLibrary()
    {
        const QList<TULOMediaLibraryItemPtr> cloud = loadCloud();
        QVERIFY(!cloud.isEmpty());
        const TULOMediaLibraryItemPtr item = cloud.first();
        auto download = std::make_shared<TULOStoreDownload>(item);
        Recorder recorder;
        m_manager->addObserver(&recorder, download);
        m_manager->addDownloads({download});
        m_manager->addDownloads({download}); // added twice: still one download
        QTRY_COMPARE_WITH_TIMEOUT(recorder.finished, 1, TULODownloadWait);
        QCOMPARE(recorder.stateAtFinish, TULOStoreDownloadState::Finished);
        QVERIFY2(download->error().isNull(), qPrintable(download->error().localizedDescription()));
        QVERIFY(!recorder.progress.isEmpty());
        for (int i = 1; i < recorder.progress.size(); ++i)
            QVERIFY(recorder.progress.at(i) >= recorder.progress.at(i - 1));
        QCOMPARE(download->progress(), 1.0);
        QCOMPARE(download->bytesReceived(), QFileInfo(download->filePath()).size());

        // The item has its file now, in the music folder, with the store's tags.
        QCOMPARE(item->filePath(), download->filePath());
        QVERIFY(item->filePath().startsWith(musicFolder() + QLatin1Char('/')));
        QVERIFY(!item->isDownloadableFromStore());
        QVERIFY(m_manager->downloads().isEmpty());
        QVERIFY(m_library->reload());
        QVERIFY(m_library->items().contains(item)); // the same item, not a second one
        const auto same = std::count_if(
            m_library->items().cbegin(), m_library->items().cend(), [&](const TULOMediaLibraryItemPtr &i) {
                return i->storeItemIdentifier() == item->storeItemIdentifier();
            });
        QCOMPARE(same, 1);

        // And it can be removed again, file and all.
        const QString path = item->filePath();
        QVERIFY(m_library->removeItems({item}));
        QVERIFY(!QFile::exists(path));
        QVERIFY(!m_library->items().contains(item));
        QVERIFY(m_library->reload());
        QVERIFY(!m_library->itemForFilePath(path));
    }

    void cancelledDownloadLeavesNothing()
    {
        const QList<TULOMediaLibraryItemPtr> cloud = loadCloud();
        QVERIFY(!cloud.isEmpty());
        auto download = std::make_shared<TULOStoreDownload>(cloud.first());
        Recorder recorder;
        recorder.cancelOnProgress = true;
        m_manager->addObserver(&recorder, download);
        m_manager->addDownloads({download});
        QTRY_COMPARE_WITH_TIMEOUT(recorder.finished, 1, TULODownloadWait);
        QCOMPARE(recorder.stateAtFinish, TULOStoreDownloadState::Cancelled);
        QCOMPARE(recorder.progress.size(), 1);
        QVERIFY(download->filePath().isEmpty());
        QVERIFY(cloud.first()->filePath().isEmpty());
        QVERIFY(cloud.first()->isDownloadableFromStore());
        QVERIFY(leftovers().isEmpty());
        // Cancelling an ended download changes nothing.
        m_manager->cancelDownloads({download});
        QCoreApplication::processEvents();
        QCOMPARE(recorder.finished, 1);
        m_manager->removeObserver(&recorder, download);
    }

    void failedDownloadKeepsTheItemDownloadable_data()
    {
        QTest::addColumn<qint64>("identifier");
        QTest::addColumn<int>("injected");
        QTest::addColumn<int>("status");
        QTest::newRow("not in the account's library") << qint64(3011) << 0 << 404;
        QTest::newRow("store failure") << qint64(0) << 500 << 500;
        QTest::newRow("no store identifier") << qint64(-1) << 0 << 0;
    }

    void failedDownloadKeepsTheItemDownloadable()
    {
        QFETCH(qint64, identifier);
        QFETCH(int, injected);
        QFETCH(int, status);
        TULOMediaLibraryItemPtr item = loadCloud().value(0);
        QVERIFY(item);
        if (identifier != 0)
            item->setStoreItemIdentifier(identifier < 0 ? 0 : identifier);
        if (injected)
            m_store.addFault(QStringLiteral("/downloads"), TULOSandboxFault::status(injected), 1);
        auto download = std::make_shared<TULOStoreDownload>(item);
        Recorder recorder;
        m_manager->addObserver(&recorder, download);
        m_manager->addDownloads({download});
        QTRY_COMPARE_WITH_TIMEOUT(recorder.finished, 1, TULODownloadWait);
        QCOMPARE(download->state(), TULOStoreDownloadState::Failed);
        QCOMPARE(download->error().domain(), TULOStoreErrorDomain);
        QCOMPARE(
            download->error().userInfo().value(QString::fromLatin1(TULOStoreHTTPStatusKey)).toInt(), status);
        QVERIFY(item->filePath().isEmpty());
        QVERIFY(leftovers().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestStoreDownload)

#include "tst_storedownload.moc"

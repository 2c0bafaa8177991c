#include <Quillon/platform/credentials/credentialstore.h>
#include <Quillon/platform/credentials/credentialstore_file_p.h>
#include <Quillon/platform/notificationcenter.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLockFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>
#include <sys/stat.h>
#include <thread>

static int modeOf(const QString &path)
{
    struct stat info
    {
    };
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return -1;
    return int(info.st_mode & 07777);
}

static QString uniqueAccount(const QString &stem)
{
    return stem + QLatin1Char('-') + QUuid::createUuid().toString(QUuid::WithoutBraces);
}

static bool isCode(const TULOError &error, TULOCredentialStoreErrorCode code)
{
    return error.is(TULOCredentialStoreErrorDomain, code);
}

// Runs against the store the process picks. Without TULO_TEST_CREDENTIAL_BACKEND the session
// bus is cut off and the owner-only file must take over. The Secret Service script test keeps
// its private bus and names the backend it expects: "secret-service" with an unlocked keyring,
// "file" with a keyring that has no unlocked collection.
class TestCredentialStore : public QObject
{
    Q_OBJECT

    bool m_secretService = false;
    QString m_expectedBackend;
    QTemporaryDir m_folder;
    QList<QVariantMap> m_locationNotices;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_folder.isValid());
        // The user's data directory is a temporary folder: nothing lands in the real home.
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_folder.filePath(QStringLiteral("data"))));
        m_expectedBackend = QString::fromLocal8Bit(qgetenv("TULO_TEST_CREDENTIAL_BACKEND"));
        if (m_expectedBackend.isEmpty()) {
            qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/quillon-test-bus");
            m_expectedBackend = QStringLiteral("file");
        }
        m_secretService = m_expectedBackend == QLatin1String("secret-service");
        // Before anything reaches the shared store, which announces itself when it is made.
        TULONotificationCenter::defaultCenter()->addObserver(this,
            QString::fromLatin1(TULOCredentialStoreLocationNotification), nullptr,
            [this](const TULONotification &notification) { m_locationNotices << notification.userInfo(); });
    }

    void sharedStoreChoosesBackend()
    {
        QCOMPARE(TULOCredentialStore::sharedStore()->backendName(), m_expectedBackend);
        QCOMPARE(TULOCredentialStore::sharedStore(), TULOCredentialStore::sharedStore());
    }

    void fileFallbackIsAnnouncedOnce()
    {
        TULOCredentialStore::sharedStore();
        if (m_secretService) {
            QCOMPARE(m_locationNotices.size(), 0);
            return;
        }
        QCOMPARE(m_locationNotices.size(), 1);
        const QVariantMap notice = m_locationNotices.first();
        const QString directory = TULOCredentialStore::defaultFileStoreDirectory();
        const QString path = QDir(directory).filePath(QStringLiteral("credentials.json"));
        QCOMPARE(notice.value(QStringLiteral("backend")).toString(), QStringLiteral("file"));
        QCOMPARE(notice.value(QStringLiteral("path")).toString(), path);
        QVERIFY(notice.value(QStringLiteral("location")).toString().contains(path));
        QCOMPARE(notice.value(QStringLiteral("firstNotice")).toBool(), true);
        QCOMPARE(TULOCredentialStore::sharedStore()->locationDescription(), notice.value(QStringLiteral("location")));
        // The note beside the file is what makes it "once": the next process finds it.
        const QString note = QDir(directory).filePath(QStringLiteral("README"));
        QCOMPARE(modeOf(note), 0600);
        QVERIFY(!TULOCredentialStoreFile(directory).leaveNotice());
        QVERIFY(TULOCredentialStoreFile(m_folder.filePath(uniqueAccount(QStringLiteral("fresh")))).leaveNotice());
    }

    void itemLifecycle_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QByteArray>("replacement");
        QTest::newRow("ascii") << QByteArray("hunter2") << QByteArray("hunter3");
        QTest::newRow("non-ASCII UTF-8")
            << QStringLiteral("p\u00e4ss \u0436 \U0001F511").toUtf8() << QByteArray("x");
        QTest::newRow("empty") << QByteArray("") << QByteArray("now set");
        QTest::newRow("bytes with NUL") << QByteArray("a\0b\0", 4) << QByteArray("\0", 1);
        QTest::newRow("long") << QByteArray(8192, 'k') << QByteArray(10, 'q');
    }
    void itemLifecycle()
    {
        QFETCH(QByteArray, data);
        QFETCH(QByteArray, replacement);
        TULOCredentialStore *store = TULOCredentialStore::sharedStore();
        const QString account = uniqueAccount(QStringLiteral("lifecycle"));
        const QString service = QStringLiteral("twitter");
        TULOError error;

        QVERIFY(!store->findItem(account, service, &error));
        QVERIFY(isCode(error, TULOCredentialStoreErrorItemNotFound));
        QVERIFY(!store->updateItem(account, service, replacement, &error));
        QVERIFY(isCode(error, TULOCredentialStoreErrorItemNotFound));

        QVERIFY2(store->addItem(account, service, data, &error), qPrintable(error.localizedDescription()));
        QCOMPARE(store->findItem(account, service), std::optional<QByteArray>(data));
        QVERIFY(!store->addItem(account, service, replacement, &error));
        QVERIFY(isCode(error, TULOCredentialStoreErrorDuplicateItem));
        QCOMPARE(store->findItem(account, service), std::optional<QByteArray>(data));

        QVERIFY(store->updateItem(account, service, replacement, &error));
        QCOMPARE(store->findItem(account, service), std::optional<QByteArray>(replacement));

        QVERIFY(store->deleteItem(account, service, &error));
        QVERIFY(!store->findItem(account, service));
        QVERIFY(!store->deleteItem(account, service, &error));
        QVERIFY(isCode(error, TULOCredentialStoreErrorItemNotFound));
    }

    void itemsAreAddressedByAccountAndService()
    {
        TULOCredentialStore *store = TULOCredentialStore::sharedStore();
        const QString ann = uniqueAccount(QStringLiteral("ann"));
        const QString bob = uniqueAccount(QStringLiteral("bob"));
        QVERIFY(store->addItem(ann, QStringLiteral("twitter"), "ann-twitter"));
        QVERIFY(store->addItem(ann, QStringLiteral("facebook"), "ann-facebook"));
        QVERIFY(store->addItem(bob, QStringLiteral("twitter"), "bob-twitter"));

        QVERIFY(store->deleteItem(ann, QStringLiteral("twitter")));
        QVERIFY(!store->findItem(ann, QStringLiteral("twitter")));
        QCOMPARE(store->findItem(ann, QStringLiteral("facebook")), std::optional<QByteArray>("ann-facebook"));
        QCOMPARE(store->findItem(bob, QStringLiteral("twitter")), std::optional<QByteArray>("bob-twitter"));
        QVERIFY(store->deleteItem(ann, QStringLiteral("facebook")));
        QVERIFY(store->deleteItem(bob, QStringLiteral("twitter")));
    }

    void itemIsVisibleWhereTheBackendKeepsIt()
    {
        TULOCredentialStore *store = TULOCredentialStore::sharedStore();
        const QString account = uniqueAccount(QStringLiteral("visible"));
        QVERIFY(store->addItem(account, QStringLiteral("twitter"), "s3cret"));
        if (m_secretService) {
            // An outside reader of the Secret Service finds the item by the same two attributes.
            QProcess tool;
            tool.start(QStringLiteral("secret-tool"),
                {QStringLiteral("search"), QStringLiteral("user"), account, QStringLiteral("server"),
                    QStringLiteral("twitter")});
            QVERIFY(tool.waitForFinished(30000));
            const QByteArray listing = tool.readAllStandardOutput() + tool.readAllStandardError();
            QVERIFY2(listing.contains("attribute.user = " + account.toUtf8()), listing.constData());
        } else {
            const QString path = QDir(TULOCredentialStore::defaultFileStoreDirectory())
                                     .filePath(QStringLiteral("credentials.json"));
            QVERIFY(path.startsWith(m_folder.filePath(QStringLiteral("data/"))));
            QCOMPARE(modeOf(path), 0600);
            QCOMPARE(modeOf(TULOCredentialStore::defaultFileStoreDirectory()), 0700);
            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            bool found = false;
            for (const QJsonValue &item :
                QJsonDocument::fromJson(file.readAll()).object().value(QStringLiteral("items")).toArray())
                found = found
                    || (item[QStringLiteral("account")] == account
                        && item[QStringLiteral("service")] == QStringLiteral("twitter"));
            QVERIFY(found);
        }
        QVERIFY(store->deleteItem(account, QStringLiteral("twitter")));
    }

    void usableFromWorkerThread()
    {
        TULOCredentialStore *store = TULOCredentialStore::sharedStore();
        const QString account = uniqueAccount(QStringLiteral("worker"));
        std::optional<QByteArray> seen;
        bool added = false;
        std::thread worker([&] {
            added = store->addItem(account, QStringLiteral("twitter"), "from a worker");
            seen = store->findItem(account, QStringLiteral("twitter"));
        });
        worker.join();
        QVERIFY(added);
        QCOMPARE(seen, std::optional<QByteArray>("from a worker"));
        QCOMPARE(
            store->findItem(account, QStringLiteral("twitter")), std::optional<QByteArray>("from a worker"));
        QVERIFY(store->deleteItem(account, QStringLiteral("twitter")));
    }

    // The owner-only file, whichever backend the process picked.

    void fileStoreIsOwnerOnly_data()
    {
        QTest::addColumn<int>("folderMode");
        QTest::addColumn<int>("fileMode");
        QTest::newRow("fresh folder") << -1 << -1;
        QTest::newRow("folder open to others") << 0755 << -1;
        QTest::newRow("file readable by others") << 0755 << 0644;
    }
    void fileStoreIsOwnerOnly()
    {
        QFETCH(int, folderMode);
        QFETCH(int, fileMode);
        const QString folder
            = m_folder.filePath(uniqueAccount(QStringLiteral("perm")) + QStringLiteral("/Credentials"));
        if (folderMode >= 0) {
            QVERIFY(QDir().mkpath(folder));
            QVERIFY(::chmod(QFile::encodeName(folder).constData(), mode_t(folderMode)) == 0);
        }
        const QString path = QDir(folder).filePath(QStringLiteral("credentials.json"));
        if (fileMode >= 0) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(R"({"items": [{"account": "old", "service": "twitter", "data": "b2xk"}]})");
            file.close();
            QVERIFY(::chmod(QFile::encodeName(path).constData(), mode_t(fileMode)) == 0);
        }
        const auto store = TULOCredentialStore::makeFileStore(folder);
        QVERIFY(store->addItem(QStringLiteral("ann"), QStringLiteral("twitter"), "pw"));
        QCOMPARE(modeOf(folder), 0700);
        QCOMPARE(modeOf(path), 0600);
        QCOMPARE(QDir(folder).entryList(QDir::Files), (QStringList {QStringLiteral("credentials.json")}));
        if (fileMode >= 0)
            QCOMPARE(store->findItem(QStringLiteral("old"), QStringLiteral("twitter")),
                std::optional<QByteArray>("old"));
    }

    void damagedFileIsSetAside_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("not JSON") << QByteArray("\x01\x02 garbage {");
        QTest::newRow("not an object") << QByteArray("[1, 2, 3]");
        QTest::newRow("items of the wrong type")
            << QByteArray(R"({"items": [{"account": 7, "service": "twitter", "data": ""}]})");
        QTest::newRow("data not base64")
            << QByteArray(R"({"items": [{"account": "a", "service": "twitter", "data": "@@@"}]})");
    }
    void damagedFileIsSetAside()
    {
        QFETCH(QByteArray, content);
        const QString folder = m_folder.filePath(uniqueAccount(QStringLiteral("damaged")));
        QVERIFY(QDir().mkpath(folder));
        QFile file(QDir(folder).filePath(QStringLiteral("credentials.json")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
        file.close();

        TULOCredentialStoreFile store(folder);
        TULOError error;
        QVERIFY(!store.findItem(QStringLiteral("a"), QStringLiteral("twitter"), &error));
        QVERIFY(isCode(error, TULOCredentialStoreErrorItemNotFound));
        QCOMPARE(store.setAsidePaths().size(), 1);
        QFile aside(store.setAsidePaths().first());
        QVERIFY(aside.open(QIODevice::ReadOnly));
        QCOMPARE(aside.readAll(), content);

        QVERIFY(store.addItem(QStringLiteral("a"), QStringLiteral("twitter"), "fresh", &error));
        QCOMPARE(store.findItem(QStringLiteral("a"), QStringLiteral("twitter")),
            std::optional<QByteArray>("fresh"));
        QCOMPARE(store.setAsidePaths().size(), 1);
    }

    void readsDoNotWaitForAWriter()
    {
        // Another program changing the file holds the lock; a reader still gets what is stored
        // instead of waiting for it (a command would hang) or failing.
        const QString folder = m_folder.filePath(uniqueAccount(QStringLiteral("locked")));
        TULOCredentialStoreFile store(folder);
        QVERIFY(store.addItem(QStringLiteral("ann"), QStringLiteral("twitter"), "token"));
        QLockFile writer(QDir(folder).filePath(QStringLiteral("credentials.lock")));
        QVERIFY(writer.tryLock(0));
        TULOError error;
        QCOMPARE(store.findItem(QStringLiteral("ann"), QStringLiteral("twitter"), &error),
            std::optional<QByteArray>("token"));
        QVERIFY(!store.findItem(QStringLiteral("bob"), QStringLiteral("twitter"), &error));
        QVERIFY(isCode(error, TULOCredentialStoreErrorItemNotFound));
    }

    void twoStoresOnOneFolderSeeEachOther()
    {
        // As two processes would: each keeps nothing in memory between calls.
        const QString folder = m_folder.filePath(uniqueAccount(QStringLiteral("shared")));
        const auto first = TULOCredentialStore::makeFileStore(folder);
        const auto second = TULOCredentialStore::makeFileStore(folder);
        QVERIFY(first->addItem(QStringLiteral("ann"), QStringLiteral("twitter"), "one"));
        QVERIFY(second->addItem(QStringLiteral("bob"), QStringLiteral("twitter"), "two"));
        QCOMPARE(first->findItem(QStringLiteral("bob"), QStringLiteral("twitter")),
            std::optional<QByteArray>("two"));
        QVERIFY(second->deleteItem(QStringLiteral("ann"), QStringLiteral("twitter")));
        QVERIFY(!first->findItem(QStringLiteral("ann"), QStringLiteral("twitter")));
    }
};

QTEST_GUILESS_MAIN(TestCredentialStore)
#include "tst_credentialstore.moc"

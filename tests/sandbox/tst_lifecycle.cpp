#include "sandboxhttp.h"
#include "sandboxstore.h"

#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTcpSocket>
#include <QJsonArray>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <sqlite3.h>
#include <utime.h>

class TestSandboxLifecycle : public QObject
{
    Q_OBJECT

private:
    static QByteArray signIn(const TULOSandboxStore &store)
    {
        const QUrl url(store.baseUrl().toString() + QStringLiteral("/account/signin"));
        return TULOSandboxFetch(url, {}, TULOSandboxForm({{QStringLiteral("accountName"), TULOSandboxStore::demoAccountName()},
                                                          {QStringLiteral("password"), TULOSandboxStore::demoPassword()}}))
            .json().value(QStringLiteral("token")).toString().toLatin1();
    }

    static int albumCount(const TULOSandboxStore &store)
    {
        const QUrl url(store.baseUrl().toString() + QStringLiteral("/catalog/lookup?id=1001&profile=artist-content&version=2"));
        return int(TULOSandboxFetch(url).json().value(QStringLiteral("results")).toObject().value(QStringLiteral("1001"))
                       .toObject().value(QStringLiteral("contentByKind")).toObject().value(QStringLiteral("album")).toArray().size());
    }

private Q_SLOTS:
    void sessionsAndCatalogueSurviveARestart()
    {
        QTemporaryDir data;
        TULOSandboxStore store;
        QVERIFY(store.start(data.path()));
        const QByteArray token = signIn(store);
        const int albums = albumCount(store);
        QVERIFY(albums > 0);
        store.stop();
        QVERIFY(!store.isRunning());

        QVERIFY(store.start(data.path()));
        QCOMPARE(albumCount(store), albums); // not seeded twice
        const TULOSandboxExchange session = TULOSandboxFetch(QUrl(store.baseUrl().toString() + QStringLiteral("/account/session")), token);
        QCOMPARE(session.status, 200);
        QVERIFY(QFile::exists(data.filePath(QStringLiteral("store.sqlite"))));
    }

    void refusesDataItCannotUse_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<bool>("foreignDatabase");
        QTest::newRow("garbage") << QByteArray("this is not a database, but it is someone's file\n").repeated(200) << false;
        QTest::newRow("foreign database") << QByteArray() << true;
    }
    void refusesDataItCannotUse()
    {
        QFETCH(QByteArray, contents);
        QFETCH(bool, foreignDatabase);
        QTemporaryDir data;
        const QString path = data.filePath(QStringLiteral("store.sqlite"));
        if (foreignDatabase) {
            sqlite3 *db = nullptr;
            QCOMPARE(sqlite3_open(path.toUtf8().constData(), &db), SQLITE_OK);
            QCOMPARE(sqlite3_exec(db, "CREATE TABLE notes(text); INSERT INTO notes VALUES('keep me');", nullptr, nullptr, nullptr), SQLITE_OK);
            sqlite3_close(db);
        } else {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(contents);
        }
        QFile before(path);
        QVERIFY(before.open(QIODevice::ReadOnly));
        const QByteArray original = before.readAll();
        before.close();

        TULOSandboxStore store;
        QString error;
        QVERIFY(!store.start(data.path(), 0, &error));
        QVERIFY(!store.isRunning());
        QVERIFY(error.contains(path));
        QFile after(path);
        QVERIFY(after.open(QIODevice::ReadOnly));
        QCOMPARE(after.readAll(), original); // nothing lost
    }

    void busyPortIsReported()
    {
        QTcpServer occupant;
        QVERIFY(occupant.listen(QHostAddress::LocalHost));
        TULOSandboxStore store;
        QString error;
        QVERIFY(!store.start(QString(), occupant.serverPort(), &error));
        QVERIFY(error.contains(QString::number(occupant.serverPort())));
        QVERIFY(store.start(QString(), 0, &error)); // and it can still start elsewhere
    }

    void storesAreIndependent()
    {
        TULOSandboxStore first;
        TULOSandboxStore second;
        QVERIFY(first.start());
        QVERIFY(second.start());
        QVERIFY(first.port() != second.port());
        first.addFault(QString(), TULOSandboxFault::status(503));
        QCOMPARE(TULOSandboxFetch(first.bagUrl()).status, 503);
        QCOMPARE(TULOSandboxFetch(second.bagUrl()).status, 200);
        // A token of one store means nothing to the other.
        const QByteArray token = signIn(second);
        QCOMPARE(TULOSandboxFetch(QUrl(first.baseUrl().toString() + QStringLiteral("/account/session")), token).status, 503);
        first.clearFaults();
        QCOMPARE(TULOSandboxFetch(QUrl(first.baseUrl().toString() + QStringLiteral("/account/session")), token).status, 401);
    }

    // Clients that connect and then say nothing, or send their headers a byte at a time, hold
    // a connection each; the store keeps answering everyone else.
    void keepsAnsweringWhileClientsHoldConnections_data()
    {
        QTest::addColumn<int>("idle");
        QTest::addColumn<int>("slowHeaders");
        QTest::newRow("8 idle sockets") << 8 << 0;
        QTest::newRow("64 slow-header clients") << 0 << 64;
        QTest::newRow("both at once") << 8 << 64;
    }
    void keepsAnsweringWhileClientsHoldConnections()
    {
        QFETCH(int, idle);
        QFETCH(int, slowHeaders);
        TULOSandboxStore store;
        QVERIFY(store.start());
        std::vector<std::unique_ptr<QTcpSocket>> holders;
        for (int i = 0; i < idle + slowHeaders; ++i) {
            auto socket = std::make_unique<QTcpSocket>();
            socket->connectToHost(QHostAddress::LocalHost, store.port());
            QVERIFY(socket->waitForConnected(10000));
            if (i >= idle) {
                socket->write("GET /bag HTTP/1.1\r\nHost: 127.0.0.1\r\nX-Slow: ");
                QVERIFY(socket->waitForBytesWritten(10000));
            }
            holders.push_back(std::move(socket));
        }
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(TULOSandboxFetch(store.bagUrl()).status, 200);
        // The held connections would have kept it waiting for a read time-out (seconds) or more;
        // a loaded machine answers well within this bound.
        QVERIFY2(clock.elapsed() < 4000, qPrintable(QString::number(clock.elapsed())));
    }

    // A store killed mid-upload leaves its staging folder; the next start removes it, but not
    // one that another store process on the same data may be filling right now.
    void startSweepsStaleStagingFolders()
    {
        QTemporaryDir data;
        TULOSandboxStore store;
        QVERIFY(store.start(data.path()));
        store.stop();
        const QString stale = data.filePath(QStringLiteral("posts/.staging-stale"));
        const QString busy = data.filePath(QStringLiteral("posts/.staging-busy"));
        for (const QString &folder : {stale, busy}) {
            QVERIFY(QDir().mkpath(folder));
            QFile part(folder + QStringLiteral("/file0.jpg"));
            QVERIFY(part.open(QIODevice::WriteOnly));
            part.write("half a photo");
        }
        const time_t longAgo = QDateTime::currentSecsSinceEpoch() - 2 * 3600;
        const utimbuf times{longAgo, longAgo};
        for (const QString &path : {stale + QStringLiteral("/file0.jpg"), stale})
            QCOMPARE(::utime(QFile::encodeName(path).constData(), &times), 0);
        QVERIFY(store.start(data.path()));
        QVERIFY(!QFileInfo::exists(stale));
        QVERIFY(QFileInfo::exists(busy + QStringLiteral("/file0.jpg")));
    }

    void stopTwiceAndRestart()
    {
        TULOSandboxStore store;
        store.stop(); // never started
        QVERIFY(store.start());
        store.stop();
        store.stop();
        QVERIFY(!store.isRunning());
        QVERIFY(store.start());
        QCOMPARE(TULOSandboxFetch(store.bagUrl()).status, 200);
    }
};

QTEST_GUILESS_MAIN(TestSandboxLifecycle)
#include "tst_lifecycle.moc"

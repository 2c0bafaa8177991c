#include "sandboxhttp.h"
#include "sandboxstore.h"

#include <QFile>
#include <QJsonArray>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <sqlite3.h>

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

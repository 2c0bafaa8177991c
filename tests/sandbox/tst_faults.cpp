#include "sandboxhttp.h"
#include "sandboxstore.h"

#include <QImage>
#include <QJsonArray>
#include <QTest>

#include <memory>

class TestSandboxFaults : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TULOSandboxStore> m_store;

    QUrl url(const QString &path) const { return QUrl(m_store->baseUrl().toString() + path); }

private Q_SLOTS:
    void init()
    {
        m_store = std::make_unique<TULOSandboxStore>();
        QString error;
        QVERIFY2(m_store->start(QString(), 0, &error), qPrintable(error));
    }
    void cleanup() { m_store.reset(); }

    void faultModes_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<int>("value");
        QTest::newRow("delay") << int(TULOSandboxFault::Kind::Delay) << 50;
        QTest::newRow("service unavailable") << int(TULOSandboxFault::Kind::Status) << 503;
        QTest::newRow("server error") << int(TULOSandboxFault::Kind::Status) << 500;
        QTest::newRow("not found") << int(TULOSandboxFault::Kind::Status) << 404;
        QTest::newRow("malformed body") << int(TULOSandboxFault::Kind::MalformedBody) << 0;
        QTest::newRow("wrong types") << int(TULOSandboxFault::Kind::WrongTypes) << 0;
        QTest::newRow("dropped connection") << int(TULOSandboxFault::Kind::DropConnection) << 0;
    }
    void faultModes()
    {
        QFETCH(int, kind);
        QFETCH(int, value);
        const auto faultKind = TULOSandboxFault::Kind(kind);
        switch (faultKind) {
        case TULOSandboxFault::Kind::Delay: m_store->addFault(QStringLiteral("/bag"), TULOSandboxFault::delay(value)); break;
        case TULOSandboxFault::Kind::Status: m_store->addFault(QStringLiteral("/bag"), TULOSandboxFault::status(value)); break;
        case TULOSandboxFault::Kind::MalformedBody: m_store->addFault(QStringLiteral("/bag"), TULOSandboxFault::malformedBody()); break;
        case TULOSandboxFault::Kind::WrongTypes: m_store->addFault(QStringLiteral("/bag"), TULOSandboxFault::wrongTypes()); break;
        case TULOSandboxFault::Kind::DropConnection: m_store->addFault(QStringLiteral("/bag"), TULOSandboxFault::dropConnection()); break;
        }
        const TULOSandboxExchange exchange = TULOSandboxFetch(m_store->bagUrl());
        const QJsonObject bag = exchange.json();
        switch (faultKind) {
        case TULOSandboxFault::Kind::Delay:
            QCOMPARE(exchange.status, 200);
            QVERIFY(bag.value(QStringLiteral("musicForum")).isObject());
            break;
        case TULOSandboxFault::Kind::Status:
            QCOMPARE(exchange.status, value);
            QCOMPARE(bag.value(QStringLiteral("status")).toString(), QStringLiteral("failure"));
            QVERIFY(!bag.contains(QStringLiteral("musicForum")));
            break;
        case TULOSandboxFault::Kind::MalformedBody:
            QCOMPARE(exchange.status, 200);
            QVERIFY(!exchange.body.isEmpty());
            QVERIFY(!exchange.isJsonObject());
            break;
        case TULOSandboxFault::Kind::WrongTypes:
            QCOMPARE(exchange.status, 200);
            QVERIFY(bag.value(QStringLiteral("musicForum")).isArray());
            QVERIFY(bag.value(QStringLiteral("socialSearch-artistNames")).isDouble());
            QVERIFY(bag.value(QStringLiteral("protocolVersion")).isString());
            break;
        case TULOSandboxFault::Kind::DropConnection:
            QVERIFY(exchange.error != QNetworkReply::NoError);
            QVERIFY(!exchange.isJsonObject());
            break;
        }
        // Faults are per path: the rest of the store keeps working.
        QCOMPARE(TULOSandboxFetch(url(QStringLiteral("/catalog/lookup?id=1001&profile=lockup&version=2"))).status, 200);
    }

    void faultAppliesAsOftenAsAsked_data()
    {
        QTest::addColumn<int>("times");
        QTest::addColumn<int>("faulted");
        QTest::newRow("once") << 1 << 1;
        QTest::newRow("twice") << 2 << 2;
        QTest::newRow("never") << 0 << 0;
        QTest::newRow("until cleared") << -1 << 4;
    }
    void faultAppliesAsOftenAsAsked()
    {
        QFETCH(int, times);
        QFETCH(int, faulted);
        m_store->addFault(QStringLiteral("/bag"), TULOSandboxFault::status(502), times);
        int seen = 0;
        for (int i = 0; i < 4; ++i)
            seen += TULOSandboxFetch(m_store->bagUrl()).status == 502 ? 1 : 0;
        QCOMPARE(seen, faulted);
        QCOMPARE(m_store->requestCount(QStringLiteral("/bag")), 4);
        m_store->clearFaults();
        QCOMPARE(TULOSandboxFetch(m_store->bagUrl()).status, 200);
    }

    void firstMatchingFaultWins()
    {
        m_store->addFault(QStringLiteral("/catalog"), TULOSandboxFault::status(418), 1);
        m_store->addFault(QString(), TULOSandboxFault::status(503));
        QCOMPARE(TULOSandboxFetch(url(QStringLiteral("/catalog/lookup?id=1001&profile=lockup&version=2"))).status, 418);
        QCOMPARE(TULOSandboxFetch(url(QStringLiteral("/catalog/lookup?id=1001&profile=lockup&version=2"))).status, 503);
        QCOMPARE(TULOSandboxFetch(m_store->bagUrl()).status, 503);
    }

    void malformedArtworkDoesNotDecode()
    {
        m_store->addFault(QStringLiteral("/artwork"), TULOSandboxFault::malformedBody(), 1);
        const TULOSandboxExchange broken = TULOSandboxFetch(url(QStringLiteral("/artwork/1001/64x64.png")));
        QCOMPARE(broken.status, 200);
        QVERIFY(broken.contentType.startsWith("image/png"));
        QVERIFY(QImage::fromData(broken.body).isNull());
        QCOMPARE(QImage::fromData(TULOSandboxFetch(url(QStringLiteral("/artwork/1001/64x64.png"))).body).size(), QSize(64, 64));
    }

    void wrongTypesOfAListReply()
    {
        m_store->addFault(QStringLiteral("/search"), TULOSandboxFault::wrongTypes(), 1);
        const QJsonObject reply = TULOSandboxFetch(url(QStringLiteral("/search/tags?types=artist&q=mira"))).json();
        QVERIFY(reply.value(QStringLiteral("data")).isObject());
    }

    // A delayed request must not keep the store from stopping, nor be left without an answer.
    void stopReleasesDelayedRequests()
    {
        m_store->addFault(QStringLiteral("/bag"), TULOSandboxFault::delay(600000));
        QNetworkAccessManager manager;
        std::unique_ptr<QNetworkReply> reply(manager.get(QNetworkRequest(m_store->bagUrl())));
        QTRY_COMPARE_WITH_TIMEOUT(m_store->requestCount(QStringLiteral("/bag")), 1, 20000);
        m_store->stop();
        QVERIFY(!m_store->isRunning());
        QTRY_VERIFY_WITH_TIMEOUT(reply->isFinished(), 20000);
        QVERIFY(!QJsonDocument::fromJson(reply->readAll()).object().contains(QStringLiteral("musicForum")));
    }
};

QTEST_GUILESS_MAIN(TestSandboxFaults)
#include "tst_faults.moc"

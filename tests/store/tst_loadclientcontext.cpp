#include "storetestsupport.h"

#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/loadclientcontextoperation.h>
#include <Quillon/platform/store/storeerror.h>

#include <QStandardPaths>

class TestLoadClientContext : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    TULOOperationQueue m_queue{QStringLiteral("com.vantor.Quillon.tests.context")};

    TULOClientContext run(const std::shared_ptr<TULOLoadClientContextOperation> &operation, TULOError *error, int *calls)
    {
        TULOClientContext result;
        operation->setOutputBlock([&](const TULOClientContext &context, const TULOError &e) {
            ++*calls;
            result = context;
            *error = e;
        });
        m_queue.addOperation(operation);
        operation->waitUntilFinished();
        return result;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QVERIFY(m_store.start());
    }
    void init()
    {
        TULOClientContext::setDefaultContext(TULOClientContext());
        qunsetenv(TULOStoreBagURLEnvironmentVariable);
    }
    void cleanupTestCase()
    {
        TULOClientContext::setDefaultContext(TULOClientContext());
        qunsetenv(TULOStoreBagURLEnvironmentVariable);
    }

    void withoutADefault_data()
    {
        QTest::addColumn<QString>("given");       // the operation's own address
        QTest::addColumn<QString>("environment"); // the deployer's address
        QTest::addColumn<bool>("succeeds");
        const QString bag = m_store.bagUrl().toString();
        QTest::newRow("address given") << bag << QString() << true;
        QTest::newRow("address from the environment") << QString() << bag << true;
        QTest::newRow("given address wins") << bag << QStringLiteral("http://127.0.0.1:1/bag") << true;
        QTest::newRow("no address anywhere") << QString() << QString() << false;
        QTest::newRow("relative address") << QString() << QStringLiteral("bag.json") << false;
        QTest::newRow("store not there") << QString() << m_store.baseUrl().toString() + QStringLiteral("/nothing-here") << false;
    }
    void withoutADefault()
    {
        QFETCH(QString, given);
        QFETCH(QString, environment);
        QFETCH(bool, succeeds);
        if (!environment.isEmpty())
            qputenv(TULOStoreBagURLEnvironmentVariable, environment.toUtf8());
        auto operation = given.isEmpty() ? std::make_shared<TULOLoadClientContextOperation>()
                                         : std::make_shared<TULOLoadClientContextOperation>(QUrl(given));
        TULOError error;
        int calls = 0;
        const TULOClientContext context = run(operation, &error, &calls);
        QCOMPARE(calls, 1);
        if (succeeds) {
            QVERIFY2(error.isNull(), qPrintable(error.localizedDescription()));
            QCOMPARE(context.bagURL(), m_store.bagUrl());
            QVERIFY(context.loadedURLBag());
            QVERIFY(!context.locale().isEmpty());
            QVERIFY(TULOClientContext::defaultContext() == context);
        } else {
            QVERIFY(context.isNull());
            QVERIFY2(error.is(TULOStoreErrorDomain, TULOStoreErrorRequestFailed), qPrintable(error.localizedDescription()));
            QVERIFY(TULOClientContext::defaultContext().isNull());
        }
    }

    void defaultContextIsUsedAsItIs()
    {
        const TULOClientContext existing = TULOSandboxContext(m_store);
        TULOClientContext::setDefaultContext(existing);
        const int bags = m_store.requestCount(QStringLiteral("/bag"));
        auto operation = std::make_shared<TULOLoadClientContextOperation>(QUrl(QStringLiteral("http://127.0.0.1:1/bag")));
        TULOError error;
        int calls = 0;
        const TULOClientContext context = run(operation, &error, &calls);
        QVERIFY(error.isNull());
        QVERIFY(context == existing);
        QCOMPARE(context.storefrontSuffix(), QStringLiteral("143441-1,32"));
        QCOMPARE(m_store.requestCount(QStringLiteral("/bag")), bags + 1);
        // The bag is loaded now; another operation does not fetch it again.
        run(std::make_shared<TULOLoadClientContextOperation>(), &error, &calls);
        QCOMPARE(calls, 2);
        QCOMPARE(m_store.requestCount(QStringLiteral("/bag")), bags + 1);
    }

    void concurrentOperationsInstallOneContext()
    {
        qputenv(TULOStoreBagURLEnvironmentVariable, m_store.bagUrl().toEncoded());
        std::vector<std::shared_ptr<TULOLoadClientContextOperation>> operations;
        std::vector<TULOClientContext> results(4);
        for (size_t i = 0; i < results.size(); ++i) {
            auto operation = std::make_shared<TULOLoadClientContextOperation>();
            operation->setOutputBlock([&results, i](const TULOClientContext &context, const TULOError &) { results[i] = context; });
            operations.push_back(operation);
        }
        m_queue.addOperations({operations.begin(), operations.end()}, true);
        for (const TULOClientContext &context : results) {
            QVERIFY(!context.isNull());
            QVERIFY(context == TULOClientContext::defaultContext());
        }
    }
};

QTEST_GUILESS_MAIN(TestLoadClientContext)
#include "tst_loadclientcontext.moc"

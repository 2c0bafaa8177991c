#include "storetestsupport.h"

#include <Quillon/core/loadauthoralbumsoperation.h>
#include <Quillon/core/loadconfigurationoperation.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/authenticaterequest.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/urlloadoperation.h>
#include "../upload/uploadtestsupport.h"

#include <QElapsedTimer>
#include <QRegularExpression>

// Cancelling store work aborts the request in flight instead of waiting for its answer, and a
// request that times out ends quietly. The sandbox holds the request for far longer than the
// test waits, so only an abort can end it in time.
class TestCancellation : public QObject
{
    Q_OBJECT

    static constexpr int HeldFor = 60000;
    // An upper bound, not a measurement: several seconds below HeldFor, so it cannot flake.
    static constexpr int PromptlyWithin = 10000;

    TULOSandboxStore m_store;
    TULOOperationQueue m_queue{QStringLiteral("com.vantor.Quillon.tests.cancellation")};

    // The operation of a row, and where its error will be once it has finished.
    struct Job
    {
        std::shared_ptr<TULOOperation> operation;
        std::shared_ptr<TULOCallbackResult<bool>> result = std::make_shared<TULOCallbackResult<bool>>();
    };

    Job makeJob(const QString &kind, const TULOClientContext &context)
    {
        Job job;
        const auto result = job.result;
        if (kind == QLatin1String("url load")) {
            auto load = std::make_shared<TULOUrlLoadOperation>(m_store.bagUrl());
            load->setClientContext(context);
            load->setOutputBlock([result](const QVariant &output, const TULOError &error) { result->deliver(output.isValid(), error); });
            job.operation = load;
        } else if (kind == QLatin1String("albums load")) {
            auto load = std::make_shared<TULOLoadAuthorAlbumsOperation>(TULOSandboxStore::demoArtistIdentifier(), context);
            load->setOutputBlock([result](const std::optional<QList<TULOStoreItem>> &albums, const TULOError &error) {
                result->deliver(albums.has_value(), error);
            });
            job.operation = load;
        } else {
            auto load = std::make_shared<TULOLoadConfigurationOperation>();
            load->setClientContext(context);
            load->setConfigurationBlock([result](const std::optional<TULOConfiguration> &configuration, const TULOClientContext &,
                                                 const TULOError &error) { result->deliver(configuration.has_value(), error); });
            job.operation = load;
        }
        return job;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_store.start());
        TULOStoreAccountStore::defaultStore()->setTokenKeeper(std::make_unique<TULOMemoryTokenKeeper>());
        TULOAuthenticationContext::setDefaultPromptHandler([](const QString &, const TULOError &previous)
                                                               -> std::optional<TULOAuthenticationPromptReply> {
            if (previous)
                return std::nullopt;
            return TULOAuthenticationPromptReply{TULOSandboxStore::demoAccountName(), TULOSandboxStore::demoPassword(), false};
        });
    }
    void cleanup() { m_store.clearFaults(); }
    void cleanupTestCase() { TULOAuthenticationContext::setDefaultPromptHandler(nullptr); }

    void cancelAbortsTheRequestInFlight_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("heldPath");
        QTest::newRow("url load") << "url load" << "/bag";
        QTest::newRow("albums load, waiting for the bag") << "albums load" << "/bag";
        QTest::newRow("albums load, waiting for the lookup") << "albums load" << "/catalog/lookup";
        QTest::newRow("configuration load, waiting for the bag") << "configuration load" << "/bag";
        QTest::newRow("configuration load, waiting for the sign-in") << "configuration load" << "/account/signin";
        QTest::newRow("configuration load, waiting for the authors") << "configuration load" << "/account/authors";
    }
    void cancelAbortsTheRequestInFlight()
    {
        QFETCH(QString, kind);
        QFETCH(QString, heldPath);
        TULOStoreAccountStore::defaultStore()->signOut();
        m_store.addFault(heldPath, TULOSandboxFault::delay(HeldFor), 1);
        const int before = m_store.requestCount(heldPath);
        const Job job = makeJob(kind, TULOSandboxContext(m_store, 2 * HeldFor));
        m_queue.addOperation(job.operation);
        QTRY_COMPARE_WITH_TIMEOUT(m_store.requestCount(heldPath) - before, 1, TULOStoreTestWait);

        QElapsedTimer clock;
        clock.start();
        job.operation->cancel();
        QTRY_VERIFY_WITH_TIMEOUT(job.operation->isFinished(), PromptlyWithin);
        QVERIFY2(clock.elapsed() < PromptlyWithin, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(job.result->calls(), 1);
        QVERIFY(!job.result->value());
        QVERIFY2(job.result->error().is(TULOStoreErrorDomain, TULOStoreErrorUserCancelled),
                 qPrintable(job.result->error().localizedDescription()));
    }

    // An operation that runs another inside its own work passes its cancel on, also when it
    // was cancelled before the inner one started.
    void linkedOperationFollowsItsOwner_data()
    {
        QTest::addColumn<bool>("ownerCancelledFirst");
        QTest::newRow("owner cancelled while the request hangs") << false;
        QTest::newRow("owner cancelled before the request starts") << true;
    }
    void linkedOperationFollowsItsOwner()
    {
        QFETCH(bool, ownerCancelledFirst);
        m_store.addFault(QStringLiteral("/bag"), TULOSandboxFault::delay(HeldFor), 1);
        const int before = m_store.requestCount(QStringLiteral("/bag"));
        auto load = std::make_shared<TULOUrlLoadOperation>(m_store.bagUrl());
        load->setClientContext(TULOSandboxContext(m_store, 2 * HeldFor));
        auto owner = TULOOperation::fromFunction([load] {});
        if (ownerCancelledFirst)
            owner->cancel();
        auto inner = TULOOperation::fromFunction([owner, load] {
            const TULOCancellationLink link(owner.get(), load.get());
            load->start();
        });
        m_queue.addOperation(inner);
        if (!ownerCancelledFirst) {
            QTRY_COMPARE_WITH_TIMEOUT(m_store.requestCount(QStringLiteral("/bag")) - before, 1, TULOStoreTestWait);
            owner->cancel();
        }
        QTRY_VERIFY_WITH_TIMEOUT(inner->isFinished(), PromptlyWithin);
        QVERIFY(load->error().is(TULOStoreErrorDomain, TULOStoreErrorUserCancelled));
        QCOMPARE(m_store.requestCount(QStringLiteral("/bag")) - before, ownerCancelledFirst ? 0 : 1);
    }

    // A request that times out (or fails) ends with its error and without a warning about
    // reading the closed reply.
    void failedRequestsEndQuietly_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<qint64>("code");
        QTest::newRow("timed out") << "delay" << qint64(TULOStoreErrorTimedOut);
        QTest::newRow("connection dropped") << "drop" << qint64(TULOStoreErrorRequestFailed);
    }
    void failedRequestsEndQuietly()
    {
        QFETCH(QString, fault);
        QFETCH(qint64, code);
        QTest::failOnWarning(QRegularExpression(QStringLiteral("device not open")));
        m_store.addFault(QStringLiteral("/bag"),
                         fault == QLatin1String("delay") ? TULOSandboxFault::delay(HeldFor) : TULOSandboxFault::dropConnection(), 1);
        TULOUrlLoadOperation load(m_store.bagUrl());
        load.setClientContext(TULOSandboxContext(m_store, 300));
        load.start();
        QVERIFY(load.error().is(TULOStoreErrorDomain, code));
        QVERIFY(load.data().isEmpty() || fault != QLatin1String("delay"));
    }
};

QTEST_GUILESS_MAIN(TestCancellation)
#include "tst_cancellation.moc"

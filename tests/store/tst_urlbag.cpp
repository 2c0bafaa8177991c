#include "storetestsupport.h"

#include <Quillon/platform/records/lookupvalue.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/store/urlloadoperation.h>

#include <QJsonArray>
#include <QJsonObject>

class TestUrlBag : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;

    static TULOError storeError(qint64 code) { return TULOError(TULOStoreErrorDomain, code); }

    std::optional<TULOUrlBag> loadBag(const TULOClientContext &context, TULOError *error)
    {
        TULOCallbackResult<std::optional<TULOUrlBag>> result;
        context.loadURLBag([&result](const std::optional<TULOUrlBag> &bag, const TULOError &e) { result.deliver(bag, e); });
        [&] { QTRY_COMPARE_WITH_TIMEOUT(result.calls(), 1, TULOStoreTestWait); }();
        *error = result.error();
        return result.value();
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_store.start()); }
    void cleanup()
    {
        m_store.clearFaults();
        m_store.clearBagOverrides();
    }

    void loadsTheBagWithTypedValues()
    {
        TULOError error;
        const std::optional<TULOUrlBag> bag = loadBag(TULOSandboxContext(m_store), &error);
        QVERIFY2(bag, qPrintable(error.localizedDescription()));
        QVERIFY(error.isNull());
        QVERIFY(TULOLookupIsNumber(bag->valueForKey(QStringLiteral("protocolVersion"))));
        QVERIFY(TULOLookupIsString(bag->valueForKey(QStringLiteral("signIn"))));
        QCOMPARE(bag->urlForKey(QStringLiteral("signIn")).port(), int(m_store.port()));
        const QVariantList networks = bag->dictionaryForKey(QStringLiteral("musicForum")).value(QStringLiteral("availableSocialNetworks")).toList();
        QCOMPARE(networks, (QVariantList{QStringLiteral("twitter"), QStringLiteral("facebook")}));
        QCOMPARE(bag->urlForKeyPath(QStringLiteral("musicForum"), QStringLiteral("unlinkSocialAccount")).path(), QStringLiteral("/social/unlink"));
        QCOMPARE(bag->numberForKey(QStringLiteral("protocolVersion")), std::optional<double>(2));
    }

    void loadedBagIsSharedByCopiesAndNotRefetched()
    {
        const TULOClientContext context = TULOSandboxContext(m_store);
        const TULOClientContext copy = context;
        TULOError error;
        QVERIFY(loadBag(context, &error));
        const int requests = m_store.requestCount(QStringLiteral("/bag"));
        QVERIFY(copy.loadedURLBag());
        QVERIFY(loadBag(copy, &error));
        QCOMPARE(m_store.requestCount(QStringLiteral("/bag")), requests);
    }

    void loadingNeverRunsOnTheCallersThread()
    {
        const TULOClientContext context = TULOSandboxContext(m_store);
        bool calledInline = false;
        bool returned = false;
        TULOCallbackResult<bool> result;
        context.loadURLBag([&](const std::optional<TULOUrlBag> &bag, const TULOError &error) {
            calledInline = !returned;
            result.deliver(bag.has_value(), error);
        });
        returned = true;
        QTRY_COMPARE_WITH_TIMEOUT(result.calls(), 1, TULOStoreTestWait);
        QVERIFY(!calledInline);
        QVERIFY(result.value());
    }

    // Bad bags: a value that is missing or of another type reads as missing (124), and the
    // other values are untouched.
    void badBagValues_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QJsonValue>("value");
        QTest::newRow("missing sign-in") << QStringLiteral("signIn") << QJsonValue(QJsonValue::Undefined);
        QTest::newRow("sign-in as number") << QStringLiteral("signIn") << QJsonValue(7);
        QTest::newRow("sign-in as list") << QStringLiteral("signIn") << QJsonValue(QJsonArray{QStringLiteral("http://127.0.0.1/")});
        QTest::newRow("sign-in not an address") << QStringLiteral("signIn") << QJsonValue(QStringLiteral("sign in here"));
        QTest::newRow("sign-in with other scheme") << QStringLiteral("signIn") << QJsonValue(QStringLiteral("file:///etc/passwd"));
        QTest::newRow("sign-in null") << QStringLiteral("signIn") << QJsonValue(QJsonValue::Null);
    }
    void badBagValues()
    {
        QFETCH(QString, key);
        QFETCH(QJsonValue, value);
        m_store.setBagValue(key, value);
        TULOError error;
        const std::optional<TULOUrlBag> bag = loadBag(TULOSandboxContext(m_store), &error);
        QVERIFY(bag);
        TULOError lookupError;
        QVERIFY(bag->urlForKey(key, &lookupError).isEmpty());
        QVERIFY(lookupError.is(TULOStoreErrorDomain, TULOStoreErrorBagValueMissing));
        QVERIFY(lookupError.localizedDescription().contains(key));
        TULOError otherError;
        QVERIFY(!bag->urlForKey(QStringLiteral("profile"), &otherError).isEmpty());
        QVERIFY(otherError.isNull());
    }

    void musicForumOfWrongType_data()
    {
        QTest::addColumn<QJsonValue>("forum");
        QTest::newRow("string") << QJsonValue(QStringLiteral("forum"));
        QTest::newRow("list") << QJsonValue(QJsonArray{1, 2});
        QTest::newRow("endpoint as number") << QJsonValue(QJsonObject{{QStringLiteral("socialAccountInfo"), 5}});
    }
    void musicForumOfWrongType()
    {
        QFETCH(QJsonValue, forum);
        m_store.setBagValue(QStringLiteral("musicForum"), forum);
        TULOError error;
        const std::optional<TULOUrlBag> bag = loadBag(TULOSandboxContext(m_store), &error);
        QVERIFY(bag);
        TULOError lookupError;
        QVERIFY(bag->urlForKeyPath(QStringLiteral("musicForum"), QStringLiteral("socialAccountInfo"), &lookupError).isEmpty());
        QCOMPARE(lookupError.code(), TULOStoreErrorBagValueMissing);
    }

    void numbersMayArriveAsStrings()
    {
        m_store.setBagValue(QStringLiteral("protocolVersion"), QStringLiteral("2"));
        m_store.setBagValue(QStringLiteral("feed"), QStringLiteral("two"));
        TULOError error;
        const std::optional<TULOUrlBag> bag = loadBag(TULOSandboxContext(m_store), &error);
        QVERIFY(bag);
        QCOMPARE(bag->numberForKey(QStringLiteral("protocolVersion")), std::optional<double>(2));
        TULOError numberError;
        QVERIFY(!bag->numberForKey(QStringLiteral("feed"), &numberError));
        QCOMPARE(numberError.code(), TULOStoreErrorBagValueMissing);
    }

    // Every fault ends in the error the store protocol names, and the next load succeeds.
    void faultsEndInTheirErrors_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<qint64>("code");
        QTest::newRow("status 503") << int(TULOSandboxFault::Kind::Status) << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("malformed body") << int(TULOSandboxFault::Kind::MalformedBody) << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("dropped connection") << int(TULOSandboxFault::Kind::DropConnection) << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("delay past the timeout") << int(TULOSandboxFault::Kind::Delay) << qint64(TULOStoreErrorTimedOut);
    }
    void faultsEndInTheirErrors()
    {
        QFETCH(int, kind);
        QFETCH(qint64, code);
        switch (TULOSandboxFault::Kind(kind)) {
        case TULOSandboxFault::Kind::Status: m_store.addFault(QStringLiteral("/bag"), TULOSandboxFault::status(503), 1); break;
        case TULOSandboxFault::Kind::MalformedBody: m_store.addFault(QStringLiteral("/bag"), TULOSandboxFault::malformedBody(), 1); break;
        case TULOSandboxFault::Kind::DropConnection: m_store.addFault(QStringLiteral("/bag"), TULOSandboxFault::dropConnection(), 1); break;
        case TULOSandboxFault::Kind::Delay: m_store.addFault(QStringLiteral("/bag"), TULOSandboxFault::delay(60000), 1); break;
        default: QFAIL("unexpected row");
        }
        const TULOClientContext context = TULOSandboxContext(m_store, 300);
        TULOError error;
        QVERIFY(!loadBag(context, &error));
        QVERIFY2(error.is(TULOStoreErrorDomain, code), qPrintable(error.localizedDescription()));
        QVERIFY(!context.loadedURLBag());
        m_store.clearFaults();
        QVERIFY(loadBag(context, &error)); // a failure is not remembered
    }

    void wrongTypesLeaveEveryValueMissing()
    {
        m_store.addFault(QStringLiteral("/bag"), TULOSandboxFault::wrongTypes(), 1);
        TULOError error;
        const std::optional<TULOUrlBag> bag = loadBag(TULOSandboxContext(m_store), &error);
        QVERIFY(bag);
        for (const char *key : {"signIn", "authorPermissions", "socialSearch-artistNames"})
            QVERIFY(bag->urlForKey(QString::fromLatin1(key)).isEmpty());
        QVERIFY(bag->dictionaryForKey(QStringLiteral("musicForum")).isEmpty());
    }

    void unreachableStoreFails()
    {
        TULOSandboxStore gone;
        QVERIFY(gone.start());
        const TULOClientContext context = TULOSandboxContext(gone);
        gone.stop();
        TULOError error;
        QVERIFY(!loadBag(context, &error));
        QCOMPARE(error.code(), TULOStoreErrorRequestFailed);
        QCOMPARE(error.underlyingError().domain(), TULONetworkErrorDomain);
    }

    void nullContextFailsAtOnce()
    {
        TULOError error;
        QVERIFY(!loadBag(TULOClientContext(), &error));
        QCOMPARE(error.code(), TULOStoreErrorRequestFailed);
    }

    void defaultContextIsSettable()
    {
        QVERIFY(TULOClientContext::defaultContext().isNull());
        const TULOClientContext context = TULOSandboxContext(m_store);
        TULOClientContext::setDefaultContext(context);
        QVERIFY(TULOClientContext::defaultContext() == context);
        TULOClientContext::setDefaultContext(TULOClientContext());
        QVERIFY(TULOClientContext::defaultContext().isNull());
    }

    void standardHeadersOfASignedRequest()
    {
        TULOStoreRequest request(m_store.bagUrl());
        request.setToken(QStringLiteral("abc"));
        const QNetworkRequest network = request.networkRequest(TULOSandboxContext(m_store));
        QCOMPARE(network.rawHeader("Accept-Language"), QByteArray("en-GB"));
        QCOMPARE(network.rawHeader("X-Store-Front"), QByteArray("143441-1,32"));
        QCOMPARE(network.rawHeader("Authorization"), QByteArray("Bearer abc"));
        QCOMPARE(network.rawHeader("X-Store-Protocol"), QByteArray("2"));
        QVERIFY(!TULOStoreRequest(m_store.bagUrl()).networkRequest(TULOClientContext()).hasRawHeader("Authorization"));
    }
};

QTEST_GUILESS_MAIN(TestUrlBag)
#include "tst_urlbag.moc"

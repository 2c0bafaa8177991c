#include "storetestsupport.h"

#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/platformrequestoperation.h>
#include <Quillon/platform/store/storeerror.h>

#include <QJsonObject>
#include <QUrlQuery>

class TestLookup : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    TULOOperationQueue m_queue{QStringLiteral("com.vantor.Quillon.tests.lookup")};

    TULOPlatformContext platformContext(int timeout = 5000)
    {
        const TULOClientContext context = TULOSandboxContext(m_store, timeout);
        TULOCallbackResult<std::optional<TULOUrlBag>> result;
        context.loadURLBag([&result](const std::optional<TULOUrlBag> &bag, const TULOError &error) { result.deliver(bag, error); });
        [&] { QTRY_COMPARE_WITH_TIMEOUT(result.calls(), 1, TULOStoreTestWait); }();
        return result.value() ? TULOPlatformContext(*result.value(), context) : TULOPlatformContext();
    }

    std::shared_ptr<TULOPlatformRequestOperation> newRequest(const TULOPlatformContext &context, const QVariantList &identifiers,
                                                             const QString &profile)
    {
        auto operation = std::make_shared<TULOPlatformRequestOperation>(context);
        operation->setItemIdentifiers(identifiers);
        operation->setKeyProfile(profile);
        operation->setPersonalizationStyle(2);
        operation->setStorefrontSuffix(QStringLiteral("143441-1,32"));
        operation->setValueForRequestParameter(QString::fromLatin1(TULOPlatformProtocolVersion),
                                               QString::fromLatin1(TULOPlatformRequestVersionParameter));
        return operation;
    }

    // Runs the operation on a queue; the block's calls land in `calls`.
    void run(const std::shared_ptr<TULOPlatformRequestOperation> &operation, int *calls)
    {
        operation->setResponseBlock([calls](const std::optional<TULOLookupResponse> &, const TULOError &) { ++*calls; });
        m_queue.addOperation(operation);
        operation->waitUntilFinished();
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_store.start()); }
    void cleanup()
    {
        m_store.clearFaults();
        m_store.clearBagOverrides();
    }

    void lookups_data()
    {
        QTest::addColumn<QVariantList>("identifiers");
        QTest::addColumn<QString>("profile");
        QTest::addColumn<QStringList>("found");
        QTest::addColumn<int>("albums"); // entries of the first item's "contentByKind" album list; -1 for none
        QTest::newRow("artist alone") << QVariantList{QStringLiteral("1001")} << QStringLiteral("lockup") << QStringList{QStringLiteral("1001")} << -1;
        QTest::newRow("artist content") << QVariantList{QStringLiteral("1001")} << QStringLiteral("artist-content") << QStringList{QStringLiteral("1001")} << 3;
        QTest::newRow("identifier as a number") << QVariantList{qint64(1002)} << QStringLiteral("artist-content") << QStringList{QStringLiteral("1002")} << 3;
        QTest::newRow("several, one unknown") << QVariantList{qint64(1003), QStringLiteral("2001"), QStringLiteral("999999")} << QStringLiteral("lockup")
                                              << QStringList{QStringLiteral("1003"), QStringLiteral("2001")} << -1;
        QTest::newRow("unknown only") << QVariantList{QStringLiteral("999999")} << QStringLiteral("lockup") << QStringList{} << -1;
    }
    void lookups()
    {
        QFETCH(QVariantList, identifiers);
        QFETCH(QString, profile);
        QFETCH(QStringList, found);
        QFETCH(int, albums);
        const TULOPlatformContext context = platformContext();
        QVERIFY(!context.isNull());
        auto operation = newRequest(context, identifiers, profile);
        int calls = 0;
        run(operation, &calls);
        QCOMPARE(calls, 1);
        QVERIFY2(operation->response(), qPrintable(operation->error().localizedDescription()));
        const TULOLookupResponse response = *operation->response();
        QCOMPARE(response.version(), 2);
        QCOMPARE(response.storefrontSuffix(), QStringLiteral("143441-1,32"));
        QStringList keys;
        for (const TULOLookupItem &item : response.allItems())
            keys.append(item.key());
        keys.sort();
        QCOMPARE(keys, found);
        for (const QVariant &identifier : identifiers) {
            const bool expected = found.contains(identifier.toString());
            QCOMPARE(response.itemForKey(identifier).has_value(), expected);
        }
        if (found.isEmpty())
            return;
        const QVariantMap first = response.itemForKey(found.first())->lookupDictionary();
        QCOMPARE(first.value(QStringLiteral("id")).toString(), found.first());
        const QVariant content = first.value(QStringLiteral("contentByKind"));
        if (albums < 0) {
            QVERIFY(!content.isValid());
        } else {
            QCOMPARE(content.toMap().value(QStringLiteral("album")).toList().size(), albums);
            // Some albums are described, some are not: callers must look the rest up.
            const int described = int(first.value(QStringLiteral("children")).toMap().size());
            QVERIFY(described > 0 && described < albums);
        }
    }

    void requestCarriesItsParameters()
    {
        m_store.setBagValue(QStringLiteral("lookup"), m_store.baseUrl().toString() + QStringLiteral("/catalog/lookup?client=demo&profile=ignored"));
        const TULOPlatformContext context = platformContext();
        auto operation = newRequest(context, {qint64(1001), QStringLiteral("2001")}, QStringLiteral("artist-content"));
        operation->setValueForRequestParameter(QStringLiteral("a b&c"), QStringLiteral("note"));
        TULOError error;
        const QUrl url = operation->requestURL(&error);
        QVERIFY2(url.isValid(), qPrintable(error.localizedDescription()));
        const QUrlQuery query(url);
        QCOMPARE(query.queryItemValue(QStringLiteral("client")), QStringLiteral("demo"));
        QCOMPARE(query.allQueryItemValues(QStringLiteral("profile")), QStringList{QStringLiteral("artist-content")});
        QCOMPARE(query.queryItemValue(QStringLiteral("id")), QStringLiteral("1001,2001"));
        QCOMPARE(query.queryItemValue(QStringLiteral("p13n")), QStringLiteral("2"));
        QCOMPARE(query.queryItemValue(QStringLiteral("version")), QStringLiteral("2"));
        QCOMPARE(query.queryItemValue(QStringLiteral("sf")), QStringLiteral("143441-1,32"));
        QCOMPARE(query.queryItemValue(QStringLiteral("note"), QUrl::FullyDecoded), QStringLiteral("a b&c"));
        // And the store reads it so.
        int calls = 0;
        run(operation, &calls);
        QVERIFY2(operation->response(), qPrintable(operation->error().localizedDescription()));
        QVERIFY(operation->response()->itemForKey(qint64(1001)));
    }

    void failures_data()
    {
        QTest::addColumn<QString>("failure");
        QTest::addColumn<qint64>("code");
        QTest::addColumn<QString>("serverErrorCode");
        QTest::addColumn<bool>("reachesStore");
        QTest::newRow("no protocol version") << QStringLiteral("noVersion") << qint64(TULOStoreErrorRequestFailed) << QStringLiteral("unsupportedVersion") << true;
        QTest::newRow("unknown key profile") << QStringLiteral("badProfile") << qint64(TULOStoreErrorRequestFailed) << QStringLiteral("unknownProfile") << true;
        QTest::newRow("no identifiers") << QStringLiteral("noIdentifiers") << qint64(TULOStoreErrorRequestFailed) << QString() << false;
        QTest::newRow("bag without lookup") << QStringLiteral("noLookup") << qint64(TULOStoreErrorBagValueMissing) << QString() << false;
        QTest::newRow("store failure") << QStringLiteral("status") << qint64(TULOStoreErrorRequestFailed) << QStringLiteral("injected") << true;
        QTest::newRow("malformed body") << QStringLiteral("malformed") << qint64(TULOStoreErrorRequestFailed) << QString() << true;
        QTest::newRow("wrongly typed results") << QStringLiteral("wrongTypes") << qint64(TULOStoreErrorRequestFailed) << QString() << true;
        QTest::newRow("dropped connection") << QStringLiteral("drop") << qint64(TULOStoreErrorRequestFailed) << QString() << true;
        QTest::newRow("store too slow") << QStringLiteral("slow") << qint64(TULOStoreErrorTimedOut) << QString() << true;
    }
    void failures()
    {
        QFETCH(QString, failure);
        QFETCH(qint64, code);
        QFETCH(QString, serverErrorCode);
        QFETCH(bool, reachesStore);
        const QString path = QStringLiteral("/catalog/lookup");
        if (failure == QLatin1String("noLookup"))
            m_store.setBagValue(QStringLiteral("lookup"), QJsonValue(QJsonValue::Undefined));
        const TULOPlatformContext context = platformContext(failure == QLatin1String("slow") ? 300 : 5000);
        QVERIFY(!context.isNull());
        auto operation = newRequest(context, {QStringLiteral("1001")}, QStringLiteral("lockup"));
        if (failure == QLatin1String("noVersion"))
            operation->setValueForRequestParameter(QString(), QString::fromLatin1(TULOPlatformRequestVersionParameter));
        else if (failure == QLatin1String("badProfile"))
            operation->setKeyProfile(QStringLiteral("everything"));
        else if (failure == QLatin1String("noIdentifiers"))
            operation->setItemIdentifiers({});
        else if (failure == QLatin1String("status"))
            m_store.addFault(path, TULOSandboxFault::status(503));
        else if (failure == QLatin1String("malformed"))
            m_store.addFault(path, TULOSandboxFault::malformedBody());
        else if (failure == QLatin1String("wrongTypes"))
            m_store.addFault(path, TULOSandboxFault::wrongTypes());
        else if (failure == QLatin1String("drop"))
            m_store.addFault(path, TULOSandboxFault::dropConnection());
        else if (failure == QLatin1String("slow"))
            m_store.addFault(path, TULOSandboxFault::delay(3000));
        const int before = m_store.requestCount(path);
        int calls = 0;
        run(operation, &calls);
        QCOMPARE(calls, 1);
        QVERIFY(!operation->response());
        QVERIFY2(operation->error().is(TULOStoreErrorDomain, code), qPrintable(operation->error().localizedDescription()));
        QCOMPARE(operation->error().userInfo().value(QString::fromLatin1(TULOStoreServerErrorCodeKey)).toString(), serverErrorCode);
        QCOMPARE(m_store.requestCount(path) > before, reachesStore);
    }

    void itemForKey_data()
    {
        QTest::addColumn<QVariant>("key");
        QTest::addColumn<QString>("found");
        QTest::newRow("string") << QVariant(QStringLiteral("1001")) << QStringLiteral("1001");
        QTest::newRow("64-bit number") << QVariant(qint64(1001)) << QStringLiteral("1001");
        QTest::newRow("whole double") << QVariant(1001.0) << QStringLiteral("1001");
        QTest::newRow("fractional double") << QVariant(1001.5) << QString();
        QTest::newRow("string with a leading zero") << QVariant(QStringLiteral("01001")) << QString();
        QTest::newRow("boolean") << QVariant(true) << QString();
        QTest::newRow("result that is not a dictionary") << QVariant(QStringLiteral("2002")) << QString();
        QTest::newRow("absent") << QVariant(QStringLiteral("3003")) << QString();
    }
    void itemForKey()
    {
        QFETCH(QVariant, key);
        QFETCH(QString, found);
        const QVariantMap reply{{QStringLiteral("version"), 2},
                                {QStringLiteral("results"), QVariantMap{{QStringLiteral("1001"), QVariantMap{{QStringLiteral("kind"), QStringLiteral("artist")}}},
                                                                        {QStringLiteral("2002"), QStringLiteral("an album")}}}};
        const std::optional<TULOLookupResponse> response = TULOLookupResponse::withDictionary(reply);
        QVERIFY(response);
        QCOMPARE(response->allItems().size(), 1);
        const std::optional<TULOLookupItem> item = response->itemForKey(key);
        QCOMPARE(item ? item->key() : QString(), found);
    }

    void replyWithoutResults_data()
    {
        QTest::addColumn<QVariantMap>("reply");
        QTest::newRow("missing") << QVariantMap{{QStringLiteral("version"), 2}};
        QTest::newRow("a list") << QVariantMap{{QStringLiteral("results"), QVariantList{QStringLiteral("1001")}}};
        QTest::newRow("a string") << QVariantMap{{QStringLiteral("results"), QStringLiteral("1001")}};
    }
    void replyWithoutResults()
    {
        QFETCH(QVariantMap, reply);
        TULOError error;
        QVERIFY(!TULOLookupResponse::withDictionary(reply, &error));
        QVERIFY(error.is(TULOStoreErrorDomain, TULOStoreErrorRequestFailed));
    }
};

QTEST_GUILESS_MAIN(TestLookup)
#include "tst_lookup.moc"

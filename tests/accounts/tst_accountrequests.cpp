#include "accountrequeststestsupport.h"

#include <Quillon/accounts/accountinforequestoperation.h>
#include <Quillon/accounts/accounttokenregisteroperation.h>
#include <Quillon/accounts/accountunlinkrequestoperation.h>
#include <Quillon/accounts/facebookpageupdateoperation.h>
#include <Quillon/accounts/facebookuserregistrationoperation.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/deploymentconfiguration.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/storeerror.h>
#include "sandboxsocial.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

Q_DECLARE_METATYPE(QJsonValue)

namespace {

struct InfoAnswer
{
    std::optional<TULOAccount> account;
    QThread *thread = nullptr;
};

enum class StatusOperation { Unlink, PageUpdate, Registration };

} // namespace

Q_DECLARE_METATYPE(StatusOperation)

class TestAccountRequests : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    TULOOperationQueue m_queue{QStringLiteral("com.vantor.Quillon.tests.accounts")};
    const QString m_artistKey = QStringLiteral("artist");

    TULOClientContext context() const { return TULOSandboxContext(m_store); }

    std::shared_ptr<TULOCallbackResult<InfoAnswer>> accountInfo(const QString &service, const TULOPostAuthor &author = TULODemoArtistAuthor())
    {
        auto result = std::make_shared<TULOCallbackResult<InfoAnswer>>();
        auto operation = std::make_shared<TULOAccountInfoRequestOperation>(service, author, context());
        operation->setOutputBlock([result](const std::optional<TULOAccount> &account, const TULOError &error) {
            result->deliver({account, QThread::currentThread()}, error);
        });
        m_queue.addOperation(operation);
        return result;
    }

    std::shared_ptr<TULOCallbackResult<bool>> statusOperation(StatusOperation kind, const QString &input)
    {
        auto result = std::make_shared<TULOCallbackResult<bool>>();
        const auto deliver = [result](bool success, const TULOError &error) { result->deliver(success, error); };
        std::shared_ptr<TULOOperation> operation;
        if (kind == StatusOperation::Unlink) {
            auto unlink = std::make_shared<TULOAccountUnlinkRequestOperation>(input, TULODemoArtistAuthor(), context());
            unlink->setOutputBlock(deliver);
            operation = unlink;
        } else if (kind == StatusOperation::PageUpdate) {
            auto update = std::make_shared<TULOFacebookPageUpdateOperation>(input, TULODemoArtistAuthor(), context());
            update->setOutputBlock(deliver);
            operation = update;
        } else {
            auto registration = std::make_shared<TULOFacebookUserRegistrationOperation>(input, TULODemoArtistAuthor(), context());
            registration->setOutputBlock(deliver);
            operation = registration;
        }
        m_queue.addOperation(operation);
        return result;
    }

    // Runs a token register on this thread, as the account store does.
    std::pair<bool, TULOError> registerTokens(const TULOAccount &account, const TULOExternalDestination &destination,
                                              QThread **thread = nullptr)
    {
        TULOAccountTokenRegisterOperation operation(TULODemoArtistAuthor(), destination, account, context());
        std::pair<bool, TULOError> result{false, TULOError(QStringLiteral("not called"), -1)};
        operation.setOutputBlock([&result, thread](bool success, const TULOError &error) {
            result = {success, error};
            if (thread)
                *thread = QThread::currentThread();
        });
        operation.start();
        return result;
    }

    static QJsonObject musicForumWithout(const QString &key, const QJsonValue &replacement = QJsonValue(QJsonValue::Undefined))
    {
        QJsonObject forum{{QStringLiteral("socialAccountInfo"), QStringLiteral("/social/accountInfo")},
                          {QStringLiteral("unlinkSocialAccount"), QStringLiteral("/social/unlink")},
                          {QStringLiteral("updateFacebookAccount"), QStringLiteral("/social/facebook/update")},
                          {QStringLiteral("updateTwitterAccount"), QStringLiteral("/social/twitter/update")}};
        if (replacement.isUndefined())
            forum.remove(key);
        else
            forum.insert(key, replacement);
        return forum;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_store.start());
        TULOClientContext::setDefaultContext(context());
        TULODeploymentConfiguration::setCurrent(TULODeploymentConfiguration());
        QVERIFY(TULOSignInDemoAccount(m_store));
    }
    void cleanup()
    {
        m_store.clearFaults();
        m_store.clearBagOverrides();
        m_store.social()->clearCannedReplies();
        for (const char *service : {TULOServiceIdentifierFacebook, TULOServiceIdentifierTwitter})
            m_store.social()->setAccountInfo(m_artistKey, TULOSandboxStore::demoArtistIdentifier(), QString::fromLatin1(service),
                                             QJsonValue(QJsonValue::Undefined));
    }

    void accountInfo_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<QJsonValue>("info");
        QTest::addColumn<bool>("accountMade");
        QTest::addColumn<QStringList>("pageIdentifiers");
        QTest::addColumn<QString>("preferredPage");
        QTest::addColumn<qint64>("errorCode");
        const QString facebook = QString::fromLatin1(TULOServiceIdentifierFacebook);
        const QString twitter = QString::fromLatin1(TULOServiceIdentifierTwitter);
        const QJsonObject page1{{QStringLiteral("id"), QStringLiteral("5501")}, {QStringLiteral("name"), QStringLiteral("One")}};
        const QJsonObject page2{{QStringLiteral("id"), QStringLiteral("5502")}, {QStringLiteral("name"), QStringLiteral("Two")}};
        const QJsonObject numberId{{QStringLiteral("id"), 5503}, {QStringLiteral("name"), QStringLiteral("Three")}};
        const QJsonObject noName{{QStringLiteral("id"), QStringLiteral("5504")}};
        QTest::newRow("twitter account") << twitter << QJsonValue(QJsonObject{{QStringLiteral("handle"), QStringLiteral("@abc")},
                                                                              {QStringLiteral("accountId"), QStringLiteral("77")}})
                                         << true << QStringList() << QString() << qint64(0);
        QTest::newRow("facebook pages and preferred page")
            << facebook
            << QJsonValue(QJsonObject{{QStringLiteral("handle"), QStringLiteral("Casey")},
                                      {QStringLiteral("accountId"), QStringLiteral("42")},
                                      {QStringLiteral("facebookPages"), QJsonArray{page1, numberId, QStringLiteral("page"), page2}},
                                      {QStringLiteral("pageId"), QStringLiteral("5502")}})
            << true << QStringList{QStringLiteral("5501"), QStringLiteral("5502")} << QStringLiteral("5502") << qint64(0);
        QTest::newRow("facebook pages all malformed")
            << facebook
            << QJsonValue(QJsonObject{{QStringLiteral("handle"), QStringLiteral("Casey")},
                                      {QStringLiteral("accountId"), QStringLiteral("42")},
                                      {QStringLiteral("facebookPages"), QJsonArray{numberId, noName, 7}},
                                      {QStringLiteral("pageId"), 5502}})
            << true << QStringList() << QString() << qint64(0);
        QTest::newRow("facebook pages not a list")
            << facebook
            << QJsonValue(QJsonObject{{QStringLiteral("handle"), QStringLiteral("Casey")},
                                      {QStringLiteral("accountId"), QStringLiteral("42")},
                                      {QStringLiteral("facebookPages"), page1}})
            << true << QStringList() << QString() << qint64(0);
        QTest::newRow("twitter ignores pages")
            << twitter
            << QJsonValue(QJsonObject{{QStringLiteral("handle"), QStringLiteral("@abc")},
                                      {QStringLiteral("accountId"), QStringLiteral("77")},
                                      {QStringLiteral("facebookPages"), QJsonArray{page1}},
                                      {QStringLiteral("pageId"), QStringLiteral("5501")}})
            << true << QStringList() << QString() << qint64(0);
        QTest::newRow("account id a number") << facebook
                                             << QJsonValue(QJsonObject{{QStringLiteral("handle"), QStringLiteral("Casey")},
                                                                       {QStringLiteral("accountId"), 42}})
                                             << false << QStringList() << QString() << qint64(0);
        QTest::newRow("handle missing") << twitter << QJsonValue(QJsonObject{{QStringLiteral("accountId"), QStringLiteral("42")}})
                                        << false << QStringList() << QString() << qint64(0);
        QTest::newRow("nothing linked") << facebook << QJsonValue(QJsonObject()) << false << QStringList() << QString() << qint64(0);
        QTest::newRow("info a string") << facebook << QJsonValue(QStringLiteral("Casey")) << false << QStringList() << QString()
                                       << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("info a list") << twitter << QJsonValue(QJsonArray{QStringLiteral("@abc")}) << false << QStringList() << QString()
                                     << qint64(TULOStoreErrorRequestFailed);
        QTest::newRow("info null") << twitter << QJsonValue(QJsonValue::Null) << false << QStringList() << QString()
                                   << qint64(TULOStoreErrorRequestFailed);
    }
    void accountInfo()
    {
        QFETCH(QString, service);
        QFETCH(QJsonValue, info);
        QFETCH(bool, accountMade);
        QFETCH(QStringList, pageIdentifiers);
        QFETCH(QString, preferredPage);
        QFETCH(qint64, errorCode);
        m_store.social()->setAccountInfo(m_artistKey, TULOSandboxStore::demoArtistIdentifier(), service, info);
        const auto result = accountInfo(service);
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QVERIFY(result->value().thread != QThread::currentThread());
        if (errorCode == 0) {
            QVERIFY2(result->error().isNull(), qPrintable(result->error().localizedDescription()));
        } else {
            QCOMPARE(result->error().domain(), TULOStoreErrorDomain);
            QCOMPARE(result->error().code(), errorCode);
        }
        const std::optional<TULOAccount> account = result->value().account;
        QCOMPARE(account.has_value(), accountMade);
        if (!account)
            return;
        QCOMPARE(account->serviceIdentifier(), service);
        QCOMPARE(account->userName(), info[QStringLiteral("handle")].toString());
        QCOMPARE(account->valueForProperty(QString::fromLatin1(TULOAccountPropertyUserId)).toString(), info[QStringLiteral("accountId")].toString());
        QStringList identifiers;
        for (const TULOFacebookPage &page : account->pages())
            identifiers.append(page.identifier());
        QCOMPARE(identifiers, pageIdentifiers);
        // No usable page is no list at all, not an empty one.
        QCOMPARE(account->valueForProperty(QString::fromLatin1(TULOAccountPropertyPages)).isValid(), !pageIdentifiers.isEmpty());
        QCOMPARE(account->preferredPageIdentifier(), preferredPage);
    }

    // Replies the store should never give, and bags without the endpoint.
    void accountInfoFailures_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QByteArray>("contentType");
        QTest::addColumn<QString>("bagKey");
        QTest::addColumn<QJsonValue>("bagValue");
        QTest::addColumn<bool>("accountMade");
        const QByteArray json("application/json");
        const QByteArray linked(R"({"accountInfo": {"handle": "Casey", "accountId": "42"}})");
        QTest::newRow("failing status with an account") << 500 << linked << json << QString() << QJsonValue() << true;
        QTest::newRow("failing status with a failure") << 503 << QByteArray(R"({"status": "failure", "errorCode": "storeFailure"})")
                                                       << json << QString() << QJsonValue() << false;
        QTest::newRow("HTML instead of JSON") << 200 << QByteArray("<html><body>Maintenance</body></html>") << QByteArray("text/html")
                                              << QString() << QJsonValue() << false;
        QTest::newRow("empty body") << 200 << QByteArray() << json << QString() << QJsonValue() << false;
        QTest::newRow("truncated JSON") << 200 << QByteArray(R"({"accountInfo": {"handle": )") << json << QString() << QJsonValue() << false;
        QTest::newRow("JSON list") << 200 << QByteArray(R"([{"accountInfo": {}}])") << json << QString() << QJsonValue() << false;
        QTest::newRow("no musicForum") << 0 << QByteArray() << json << QStringLiteral("musicForum") << QJsonValue(QJsonValue::Undefined) << false;
        QTest::newRow("musicForum a string") << 0 << QByteArray() << json << QStringLiteral("musicForum")
                                             << QJsonValue(QStringLiteral("/social/accountInfo")) << false;
        QTest::newRow("endpoint missing") << 0 << QByteArray() << json << QStringLiteral("musicForum")
                                          << QJsonValue(musicForumWithout(QStringLiteral("socialAccountInfo"))) << false;
        QTest::newRow("endpoint a number") << 0 << QByteArray() << json << QStringLiteral("musicForum")
                                           << QJsonValue(musicForumWithout(QStringLiteral("socialAccountInfo"), 17)) << false;
    }
    void accountInfoFailures()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(QByteArray, contentType);
        QFETCH(QString, bagKey);
        QFETCH(QJsonValue, bagValue);
        QFETCH(bool, accountMade);
        if (status)
            m_store.social()->setCannedReply(QStringLiteral("/social/accountInfo"), status, body, contentType);
        TULOClientContext fresh = context();
        if (!bagKey.isNull())
            m_store.setBagValue(bagKey, bagValue);
        const int before = m_store.requestCount(QStringLiteral("/social/"));
        auto result = std::make_shared<TULOCallbackResult<InfoAnswer>>();
        auto operation = std::make_shared<TULOAccountInfoRequestOperation>(QString::fromLatin1(TULOServiceIdentifierFacebook),
                                                                           TULODemoArtistAuthor(), fresh);
        operation->setOutputBlock([result](const std::optional<TULOAccount> &account, const TULOError &error) {
            result->deliver({account, QThread::currentThread()}, error);
        });
        m_queue.addOperation(operation);
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QCOMPARE(result->error().domain(), TULOStoreErrorDomain);
        QCOMPARE(result->error().code(), qint64(TULOStoreErrorRequestFailed));
        QCOMPARE(result->value().account.has_value(), accountMade);
        QCOMPARE(m_store.requestCount(QStringLiteral("/social/")) - before, bagKey.isNull() ? 1 : 0);
    }

    void statusReplies_data()
    {
        QTest::addColumn<StatusOperation>("operation");
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("success");
        QTest::addColumn<bool>("error100");
        const struct
        {
            const char *name;
            StatusOperation operation;
            const char *path;
        } operations[] = {{"unlink", StatusOperation::Unlink, "/social/unlink"},
                          {"page update", StatusOperation::PageUpdate, "/social/facebook/update"},
                          {"registration", StatusOperation::Registration, "/social/facebookAuth"}};
        const struct
        {
            const char *name;
            int status;
            const char *body;
            bool success;
            bool error100;
        } replies[] = {{"success", 200, R"({"status": "success"})", true, false},
                       {"500 with success", 500, R"({"status": "success"})", true, true},
                       {"200 with failure", 200, R"({"status": "failure"})", false, false},
                       {"status not a string", 200, R"({"status": true})", false, false},
                       {"status in other case", 200, R"({"status": "SUCCESS"})", false, false},
                       {"404 failure", 404, R"({"status": "failure", "errorCode": "notFound"})", false, true},
                       {"HTML", 200, "<html>success</html>", false, true},
                       {"empty body", 200, "", false, true}};
        for (const auto &operation : operations) {
            for (const auto &reply : replies) {
                QTest::addRow("%s: %s", operation.name, reply.name)
                    << operation.operation << QString::fromLatin1(operation.path) << reply.status << QByteArray(reply.body)
                    << reply.success << reply.error100;
            }
        }
    }
    void statusReplies()
    {
        QFETCH(StatusOperation, operation);
        QFETCH(QString, path);
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(bool, success);
        QFETCH(bool, error100);
        m_store.social()->setCannedReply(path, status, body);
        const auto result = statusOperation(operation, QStringLiteral("facebook"));
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QCOMPARE(result->value(), success);
        QCOMPARE(result->error().is(TULOStoreErrorDomain, TULOStoreErrorRequestFailed), error100);
        if (!error100)
            QVERIFY(result->error().isNull());
    }

    void statusOperationsWithoutEndpoint_data()
    {
        QTest::addColumn<StatusOperation>("operation");
        QTest::addColumn<QString>("bagKey");
        QTest::addColumn<QJsonValue>("bagValue");
        QTest::newRow("unlink: endpoint missing") << StatusOperation::Unlink << QStringLiteral("musicForum")
                                                  << QJsonValue(musicForumWithout(QStringLiteral("unlinkSocialAccount")));
        QTest::newRow("page update: musicForum a list") << StatusOperation::PageUpdate << QStringLiteral("musicForum")
                                                        << QJsonValue(QJsonArray{QStringLiteral("updateFacebookAccount")});
        QTest::newRow("page update: endpoint an object")
            << StatusOperation::PageUpdate << QStringLiteral("musicForum")
            << QJsonValue(musicForumWithout(QStringLiteral("updateFacebookAccount"), QJsonObject{{QStringLiteral("url"), QStringLiteral("/x")}}));
    }
    void statusOperationsWithoutEndpoint()
    {
        QFETCH(StatusOperation, operation);
        QFETCH(QString, bagKey);
        QFETCH(QJsonValue, bagValue);
        m_store.setBagValue(bagKey, bagValue);
        const int before = m_store.requestCount(QStringLiteral("/social/"));
        const auto result = statusOperation(operation, QStringLiteral("5501"));
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QVERIFY(!result->value());
        QVERIFY(result->error().is(TULOStoreErrorDomain, TULOStoreErrorRequestFailed));
        QCOMPARE(m_store.requestCount(QStringLiteral("/social/")), before);
    }

    void registrationWithoutEndpoint()
    {
        TULODeploymentConfiguration configuration;
        configuration.setValue(QString::fromLatin1(TULODeploymentFacebookAuthorizationURLKey), QString());
        TULODeploymentConfiguration::setCurrent(configuration);
        const auto result = statusOperation(StatusOperation::Registration, QStringLiteral("code"));
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        TULODeploymentConfiguration::setCurrent(TULODeploymentConfiguration());
        QVERIFY(!result->value());
        QVERIFY(result->error().is(TULOStoreErrorDomain, TULOStoreErrorRequestFailed));
    }

    // Page choice and unlinking against what the store keeps.
    void pageChoiceAndUnlink()
    {
        const QString facebook = QString::fromLatin1(TULOServiceIdentifierFacebook);
        auto refused = statusOperation(StatusOperation::PageUpdate, QStringLiteral("5502"));
        QTRY_COMPARE_WITH_TIMEOUT(refused->calls(), 1, TULOStoreTestWait);
        QVERIFY(!refused->value()); // nothing linked yet
        QVERIFY(refused->error().is(TULOStoreErrorDomain, TULOStoreErrorRequestFailed));

        m_store.social()->setAccountInfo(m_artistKey, TULOSandboxStore::demoArtistIdentifier(), facebook,
                                         QJsonObject{{QStringLiteral("handle"), QStringLiteral("Casey")},
                                                     {QStringLiteral("accountId"), QStringLiteral("42")},
                                                     {QStringLiteral("facebookPages"), TULOSandboxSocial::facebookPages()}});
        auto chosen = statusOperation(StatusOperation::PageUpdate, QStringLiteral("5502"));
        QTRY_COMPARE_WITH_TIMEOUT(chosen->calls(), 1, TULOStoreTestWait);
        QVERIFY(chosen->value());
        QVERIFY(chosen->error().isNull());
        auto info = accountInfo(facebook);
        QTRY_COMPARE_WITH_TIMEOUT(info->calls(), 1, TULOStoreTestWait);
        QVERIFY(info->value().account);
        QCOMPARE(info->value().account->preferredPageIdentifier(), QStringLiteral("5502"));
        QCOMPARE(info->value().account->preferredPage()->name(), QStringLiteral("Northern Lights Fans"));

        auto unlinked = statusOperation(StatusOperation::Unlink, facebook);
        QTRY_COMPARE_WITH_TIMEOUT(unlinked->calls(), 1, TULOStoreTestWait);
        QVERIFY(unlinked->value());
        info = accountInfo(facebook);
        QTRY_COMPARE_WITH_TIMEOUT(info->calls(), 1, TULOStoreTestWait);
        QVERIFY(!info->value().account);
        QVERIFY(info->error().isNull());
    }

    void registrationWithUnknownCode()
    {
        const auto result = statusOperation(StatusOperation::Registration, QStringLiteral("made-up-code"));
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QVERIFY(!result->value());
        QVERIFY(result->error().is(TULOStoreErrorDomain, TULOStoreErrorRequestFailed));
    }

    void unsignedRequestsAreRefused()
    {
        TULOStoreAccountStore::defaultStore()->signOut();
        const auto result = statusOperation(StatusOperation::Unlink, QStringLiteral("twitter"));
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        QVERIFY(TULOSignInDemoAccount(m_store));
        QVERIFY(!result->value());
        QCOMPARE(result->error().userInfo().value(QString::fromLatin1(TULOStoreHTTPStatusKey)).toInt(), 401);
    }

    void tokenRegisterQueryItems_data()
    {
        QTest::addColumn<TULOAccount>("account");
        QTest::addColumn<QString>("pageAccessToken");
        QTest::addColumn<QStringList>("names");
        TULOAccount full(QString::fromLatin1(TULOServiceIdentifierFacebook));
        full.setAuthenticationToken(QStringLiteral("token"));
        full.setAuthenticationSecret(QStringLiteral("secret"));
        full.setValue(QStringLiteral("42"), QString::fromLatin1(TULOAccountPropertyUserId));
        full.setPreferredPageIdentifier(QStringLiteral("5501"));
        QTest::newRow("everything, in order") << full << QStringLiteral("page-token")
                                              << QStringList{QStringLiteral("accessToken"), QStringLiteral("accessTokenSecret"),
                                                             QStringLiteral("userId"), QStringLiteral("pageAccessToken"), QStringLiteral("pageId")};
        TULOAccount pageOnly(QString::fromLatin1(TULOServiceIdentifierFacebook));
        pageOnly.setPreferredPageIdentifier(QStringLiteral("5501"));
        QTest::newRow("no token, a page") << pageOnly << QString() << QStringList{QStringLiteral("pageId")};
        TULOAccount numberUserId(QString::fromLatin1(TULOServiceIdentifierTwitter));
        numberUserId.setValue(42, QString::fromLatin1(TULOAccountPropertyUserId));
        QTest::newRow("user id a number") << numberUserId << QString() << QStringList();
        QTest::newRow("empty page token is sent") << TULOAccount(QString::fromLatin1(TULOServiceIdentifierTwitter)) << QStringLiteral("")
                                                  << QStringList{QStringLiteral("pageAccessToken")};
    }
    void tokenRegisterQueryItems()
    {
        QFETCH(TULOAccount, account);
        QFETCH(QString, pageAccessToken);
        QFETCH(QStringList, names);
        TULOExternalDestination destination(account.serviceIdentifier());
        destination.setPageAccessToken(pageAccessToken);
        const TULOAccountTokenRegisterOperation operation(TULODemoArtistAuthor(), destination, account, context());
        QStringList seen;
        for (const auto &item : operation.queryItems())
            seen.append(item.first);
        QCOMPARE(seen, names);
    }

    // A Twitter account signed in at the stand-in is registered with the store.
    void tokenRegisterTwitter()
    {
        TULOAccount account(QString::fromLatin1(TULOServiceIdentifierTwitter));
        account.setAuthenticationToken(QStringLiteral("4242-unknown"));
        account.setAuthenticationSecret(QStringLiteral("secret"));
        account.setValue(QStringLiteral("4242"), QString::fromLatin1(TULOAccountPropertyUserId));
        TULOExternalDestination destination(QString::fromLatin1(TULOExternalServiceTwitter));
        QThread *thread = nullptr;
        auto [success, error] = registerTokens(account, destination, &thread);
        QCOMPARE(thread, QThread::currentThread());
        QVERIFY(!success); // the stand-in never issued this token
        QVERIFY(error.is(TULOStoreErrorDomain, TULOStoreErrorRequestFailed));

        // Without a token only the author goes out, which the store refuses.
        std::tie(success, error) = registerTokens(TULOAccount(QString::fromLatin1(TULOServiceIdentifierTwitter)), destination);
        QVERIFY(!success);
        QCOMPARE(error.userInfo().value(QString::fromLatin1(TULOStoreHTTPStatusKey)).toInt(), 400);
    }

    void tokenRegisterJudgesStatusOnly_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<bool>("success");
        QTest::newRow("200 with failure body") << 200 << QByteArray(R"({"status": "failure"})") << true;
        QTest::newRow("204 empty") << 204 << QByteArray() << true;
        QTest::newRow("200 HTML") << 200 << QByteArray("<html></html>") << true;
        QTest::newRow("500 with success body") << 500 << QByteArray(R"({"status": "success"})") << false;
    }
    void tokenRegisterJudgesStatusOnly()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, body);
        QFETCH(bool, success);
        m_store.social()->setCannedReply(QStringLiteral("/social/facebook/update"), status, body);
        TULOAccount account(QString::fromLatin1(TULOServiceIdentifierFacebook));
        account.setAuthenticationToken(QStringLiteral("token"));
        const auto [ok, error] = registerTokens(account, TULOExternalDestination(QString::fromLatin1(TULOExternalServiceFacebook)));
        QCOMPARE(ok, success);
        QCOMPARE(error.isNull(), success);
    }

    void tokenRegisterWithoutEndpoint_data()
    {
        QTest::addColumn<QString>("service");
        QTest::addColumn<QJsonValue>("forum");
        QTest::newRow("twitter endpoint missing") << QString::fromLatin1(TULOServiceIdentifierTwitter)
                                                  << QJsonValue(musicForumWithout(QStringLiteral("updateTwitterAccount")));
        QTest::newRow("facebook endpoint a number") << QString::fromLatin1(TULOServiceIdentifierFacebook)
                                                    << QJsonValue(musicForumWithout(QStringLiteral("updateFacebookAccount"), 3));
        QTest::newRow("musicForum a string") << QString::fromLatin1(TULOServiceIdentifierFacebook) << QJsonValue(QStringLiteral("forum"));
    }
    void tokenRegisterWithoutEndpoint()
    {
        QFETCH(QString, service);
        QFETCH(QJsonValue, forum);
        m_store.setBagValue(QStringLiteral("musicForum"), forum);
        TULOAccount account(service);
        account.setAuthenticationToken(QStringLiteral("token"));
        const auto [success, error] = registerTokens(account, TULOExternalDestination(service));
        QVERIFY(!success);
        QVERIFY(error.is(TULOStoreErrorDomain, TULOStoreErrorBagValueMissing));
    }

    void authorQueryKeys_data()
    {
        QTest::addColumn<QString>("authorType");
        QTest::addColumn<QString>("key");
        QTest::newRow("artist") << QStringLiteral("Artist") << QStringLiteral("artist");
        QTest::newRow("brand") << QStringLiteral("BRAND") << QStringLiteral("brand");
        QTest::newRow("sorvel brand") << QStringLiteral("sorvelbrand") << QStringLiteral("SorvelBrand");
        QTest::newRow("activity curator") << QStringLiteral("ACTIVITYCURATOR") << QStringLiteral("activityCurator");
        QTest::newRow("anything else") << QStringLiteral("label") << QStringLiteral("user");
        QTest::newRow("no type") << QString() << QStringLiteral("user");
    }
    // The store keeps accounts under the key the request names, so a wrong key loses them.
    void authorQueryKeys()
    {
        QFETCH(QString, authorType);
        QFETCH(QString, key);
        const TULOPostAuthor author(QStringLiteral("777"), QStringLiteral("Someone"), authorType);
        m_store.social()->setAccountInfo(key, QStringLiteral("777"), QStringLiteral("twitter"),
                                         QJsonObject{{QStringLiteral("handle"), QStringLiteral("@k")},
                                                     {QStringLiteral("accountId"), QStringLiteral("1")}});
        const auto result = accountInfo(QStringLiteral("twitter"), author);
        QTRY_COMPARE_WITH_TIMEOUT(result->calls(), 1, TULOStoreTestWait);
        m_store.social()->setAccountInfo(key, QStringLiteral("777"), QStringLiteral("twitter"), QJsonValue(QJsonValue::Undefined));
        QVERIFY(result->value().account);

        // The token register keeps a copy of the mapping of its own.
        m_store.social()->setAccountInfo(key, QStringLiteral("777"), QStringLiteral("facebook"),
                                         QJsonObject{{QStringLiteral("handle"), QStringLiteral("K")},
                                                     {QStringLiteral("accountId"), QStringLiteral("1")}});
        TULOAccount account(QStringLiteral("facebook"));
        account.setAuthenticationToken(QStringLiteral("t-") + key);
        TULOAccountTokenRegisterOperation operation(author, TULOExternalDestination(QStringLiteral("facebook")), account, context());
        bool success = false;
        operation.setOutputBlock([&success](bool ok, const TULOError &) { success = ok; });
        operation.start();
        const QJsonObject registered = m_store.social()->registeredTokens(key, QStringLiteral("777"), QStringLiteral("facebook"));
        m_store.social()->setAccountInfo(key, QStringLiteral("777"), QStringLiteral("facebook"), QJsonValue(QJsonValue::Undefined));
        QVERIFY(success);
        QCOMPARE(registered.value(QStringLiteral("accessToken")).toString(), QStringLiteral("t-") + key);
    }
};

QTEST_GUILESS_MAIN(TestAccountRequests)
#include "tst_accountrequests.moc"

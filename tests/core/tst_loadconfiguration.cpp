#include "../store/storetestsupport.h"

#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/accounts/socialservice.h>
#include <Quillon/core/loadconfigurationoperation.h>
#include <Quillon/platform/credentials/credentialstore.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/authenticaterequest.h>
#include <Quillon/platform/store/credentialstoretokenkeeper_p.h>
#include <Quillon/platform/store/loadclientcontextoperation.h>
#include <Quillon/platform/store/storeerror.h>
#include "sandboxdiscography.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>

#include <QScopeGuard>

#include <atomic>
#include <chrono>

// What one configuration block delivered.
struct TULOLoadOutcome
{
    std::optional<TULOConfiguration> configuration;
    TULOClientContext context;
};

class TestLoadConfiguration : public QObject
{
    Q_OBJECT

private:
    TULOSandboxStore m_store;
    QTemporaryDir m_credentials;
    TULOOperationQueue m_queue{QStringLiteral("com.vantor.Quillon.tests.loadConfig")};

    // The sign-in prompt answers with m_accountName until m_answersLeft runs out, then cancels.
    std::mutex m_promptMutex;
    QString m_accountName;
    QString m_password;
    int m_answersLeft = -1; // negative: always answers
    std::function<void(int prompt)> m_onPrompt;
    std::atomic<int> m_prompts{0};

    std::optional<TULOAuthenticationPromptReply> answerPrompt()
    {
        const int prompt = ++m_prompts;
        std::function<void(int)> onPrompt;
        std::optional<TULOAuthenticationPromptReply> reply;
        {
            std::lock_guard lock(m_promptMutex);
            onPrompt = m_onPrompt;
            if (m_answersLeft != 0) {
                if (m_answersLeft > 0)
                    --m_answersLeft;
                reply = TULOAuthenticationPromptReply{m_accountName, m_password, false};
            }
        }
        if (onPrompt)
            onPrompt(prompt);
        return reply;
    }

    void answerWith(const QString &accountName, int answers = -1, const QString &password = TULOSandboxStore::demoPassword())
    {
        std::lock_guard lock(m_promptMutex);
        m_accountName = accountName;
        m_password = password;
        m_answersLeft = answers;
    }

    struct Run
    {
        std::shared_ptr<TULOLoadConfigurationOperation> operation;
        std::shared_ptr<TULOCallbackResult<TULOLoadOutcome>> result;
    };

    Run load(const TULOClientContext &context)
    {
        Run run{std::make_shared<TULOLoadConfigurationOperation>(), std::make_shared<TULOCallbackResult<TULOLoadOutcome>>()};
        run.operation->setClientContext(context);
        run.operation->setConfigurationBlock([result = run.result](const std::optional<TULOConfiguration> &configuration,
                                                                   const TULOClientContext &used, const TULOError &error) {
            result->deliver(TULOLoadOutcome{configuration, used}, error);
        });
        m_queue.addOperation(run.operation);
        return run;
    }

    // Waits until the operation has finished; the block must have run exactly once by then.
    static bool settle(const Run &run)
    {
        [&] { QTRY_VERIFY_WITH_TIMEOUT(run.operation->isFinished(), TULOStoreTestWait); }();
        if (QTest::currentTestFailed())
            return false;
        [&] { QCOMPARE(run.result->calls(), 1); }();
        [&] { QVERIFY(!run.operation->configurationBlock()); }();
        return !QTest::currentTestFailed();
    }

    static QJsonObject musicForum(const QJsonValue &networks, const QJsonValue &duration)
    {
        QJsonObject forum;
        if (!networks.isUndefined())
            forum.insert(QStringLiteral("availableSocialNetworks"), networks);
        if (!duration.isUndefined())
            forum.insert(QStringLiteral("soundBiteDuration"), duration);
        return forum;
    }

    void signOut() { TULOStoreAccountStore::defaultStore()->signOut(); }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_store.start());
        QVERIFY(m_credentials.isValid());
        TULOStoreAccountStore::defaultStore()->setTokenKeeper(
            std::make_unique<TULOCredentialStoreTokenKeeper>(TULOCredentialStore::makeFileStore(m_credentials.path())));
        TULOAuthenticationContext::setDefaultPromptHandler([this](const QString &, const TULOError &) { return answerPrompt(); });
        qunsetenv(TULOStoreBagURLEnvironmentVariable);
    }
    void init()
    {
        m_prompts = 0;
        answerWith(TULOSandboxStore::demoAccountName());
        std::lock_guard lock(m_promptMutex);
        m_onPrompt = nullptr;
    }
    void cleanup()
    {
        m_store.clearFaults();
        m_store.clearBagOverrides();
        TULOClientContext::setDefaultContext(TULOClientContext());
        qunsetenv(TULOStoreBagURLEnvironmentVariable);
    }
    void cleanupTestCase() { TULOAuthenticationContext::setDefaultPromptHandler(nullptr); }

    // Who the user may post as, and which of them is the account's own author.
    void authorsOfEachAccount_data()
    {
        QTest::addColumn<QString>("account");
        QTest::addColumn<QStringList>("authors");
        QTest::addColumn<QString>("activeAuthor");
        QTest::addColumn<QString>("activeAuthorType");
        QTest::addColumn<bool>("activeAuthorHasThumbnail");
        QTest::newRow("own author listed, another may be credited")
            << TULOSandboxStore::demoAccountName() << QStringList{"9001", "1001", "1002", "4001"} << "9001" << "user" << true;
        QTest::newRow("own author listed, nobody may be credited")
            << TULOSandboxStore::soloAccountName() << QStringList{"9002"} << QString() << QString() << false;
        QTest::newRow("own author not listed: taken from the profile")
            << TULOSandboxLabelAccountName() << QStringList{TULOSandboxFiveAlbumArtistIdentifier()} << TULOSandboxLabelAccountIdentifier()
            << "brand" << true;
    }
    void authorsOfEachAccount()
    {
        QFETCH(QString, account);
        QFETCH(QStringList, authors);
        QFETCH(QString, activeAuthor);
        QFETCH(QString, activeAuthorType);
        QFETCH(bool, activeAuthorHasThumbnail);
        signOut();
        answerWith(account);
        const Run run = load(TULOSandboxContext(m_store));
        QVERIFY(settle(run));
        QVERIFY2(run.result->error().isNull(), qPrintable(run.result->error().localizedDescription()));
        const std::optional<TULOConfiguration> configuration = run.result->value().configuration;
        QVERIFY(configuration);
        QStringList listed;
        for (const TULOPostAuthor &author : configuration->potentalAuthors().value_or(QList<TULOPostAuthor>()))
            listed.append(author.identifier());
        QCOMPARE(listed, authors);
        const std::optional<TULOPostAuthor> active = configuration->authorForActiveAccount();
        QCOMPARE(active.has_value(), !activeAuthor.isEmpty());
        if (active) {
            QCOMPARE(active->identifier(), activeAuthor);
            QCOMPARE(active->authorType(), activeAuthorType);
            QVERIFY(!active->name().isEmpty());
            QCOMPARE(active->thumbnailImageURL().isValid(), activeAuthorHasThumbnail);
        }
        QCOMPARE(m_prompts.load(), 1);
    }

    void accountThatMayNotPost()
    {
        signOut();
        answerWith(TULOSandboxStore::listenerAccountName());
        const TULOClientContext context = TULOSandboxContext(m_store);
        const Run run = load(context);
        QVERIFY(settle(run));
        QVERIFY(!run.result->value().configuration);
        QVERIFY(run.result->value().context == context);
        QVERIFY(run.result->error().is(TULOErrorDomain, TULOErrorNoAuthor));
        QVERIFY(run.result->error().userInfo().isEmpty());
    }

    void bagValues_data()
    {
        QTest::addColumn<QJsonValue>("forum");
        QTest::addColumn<QJsonValue>("tagLookup");
        QTest::addColumn<QStringList>("services");
        QTest::addColumn<QList<qint64>>("characterLimits");
        QTest::addColumn<bool>("servicesSet");
        QTest::addColumn<double>("soundBiteDuration");
        QTest::addColumn<QString>("tagLookupURL");
        const QJsonArray both{QStringLiteral("twitter"), QStringLiteral("myspace"), QStringLiteral("facebook")};
        const QJsonValue search(QStringLiteral("http://tags.example/search?types=artist"));
        const QList<qint64> twitterThenFacebook{140, 0};
        QTest::newRow("unknown service skipped, order kept")
            << QJsonValue(musicForum(both, 30)) << search << QStringList{"twitter", "facebook"} << twitterThenFacebook << true << 30.0
            << search.toString();
        QTest::newRow("facebook before twitter")
            << QJsonValue(musicForum(QJsonArray{QStringLiteral("facebook"), QStringLiteral("twitter")}, 30)) << search
            << QStringList{"facebook", "twitter"} << QList<qint64>{0, 140} << true << 30.0 << search.toString();
        QTest::newRow("non-string service names skipped")
            << QJsonValue(musicForum(QJsonArray{7, QJsonObject(), QStringLiteral("twitter")}, 30)) << search << QStringList{"twitter"}
            << QList<qint64>{140} << true << 30.0 << search.toString();
        QTest::newRow("no services offered")
            << QJsonValue(musicForum(QJsonArray(), 30)) << search << QStringList() << QList<qint64>() << true << 30.0 << search.toString();
        QTest::newRow("services not a list")
            << QJsonValue(musicForum(QStringLiteral("twitter"), 30)) << search << QStringList() << QList<qint64>() << false << 30.0
            << search.toString();
        QTest::newRow("duration as a string") << QJsonValue(musicForum(both, QStringLiteral("30"))) << search
                                              << QStringList{"twitter", "facebook"} << twitterThenFacebook << true << 30.0 << search.toString();
        QTest::newRow("fractional duration as a string")
            << QJsonValue(musicForum(both, QStringLiteral(" 12.5 "))) << search << QStringList{"twitter", "facebook"} << twitterThenFacebook
            << true << 12.5 << search.toString();
        QTest::newRow("duration not a number") << QJsonValue(musicForum(both, QStringLiteral("thirty"))) << search
                                               << QStringList{"twitter", "facebook"} << twitterThenFacebook << true << 10.0 << search.toString();
        QTest::newRow("negative duration") << QJsonValue(musicForum(both, -5)) << search << QStringList{"twitter", "facebook"}
                                           << twitterThenFacebook << true << -5.0 << search.toString();
        QTest::newRow("zero duration") << QJsonValue(musicForum(both, 0)) << search << QStringList{"twitter", "facebook"}
                                       << twitterThenFacebook << true << 0.0 << search.toString();
        QTest::newRow("zero duration as a string") << QJsonValue(musicForum(both, QStringLiteral("0"))) << search
                                                   << QStringList{"twitter", "facebook"} << twitterThenFacebook << true << 0.0
                                                   << search.toString();
        QTest::newRow("infinite duration as a string") << QJsonValue(musicForum(both, QStringLiteral("inf"))) << search
                                                       << QStringList{"twitter", "facebook"} << twitterThenFacebook << true << 10.0
                                                       << search.toString();
        QTest::newRow("duration of the wrong type") << QJsonValue(musicForum(both, QJsonArray{30})) << search
                                                    << QStringList{"twitter", "facebook"} << twitterThenFacebook << true << 10.0
                                                    << search.toString();
        QTest::newRow("no duration") << QJsonValue(musicForum(both, QJsonValue::Undefined)) << search
                                     << QStringList{"twitter", "facebook"} << twitterThenFacebook << true << 10.0 << search.toString();
        QTest::newRow("forum not a dictionary")
            << QJsonValue(QJsonArray{QStringLiteral("twitter")}) << search << QStringList() << QList<qint64>() << false << 10.0 << search.toString();
        QTest::newRow("no forum") << QJsonValue(QJsonValue::Undefined) << search << QStringList() << QList<qint64>() << false << 10.0
                                  << search.toString();
        QTest::newRow("no tag lookup") << QJsonValue(musicForum(both, 30)) << QJsonValue(QJsonValue::Undefined)
                                       << QStringList{"twitter", "facebook"} << twitterThenFacebook << true << 30.0 << QString();
        QTest::newRow("tag lookup not a string") << QJsonValue(musicForum(both, 30)) << QJsonValue(42) << QStringList{"twitter", "facebook"}
                                                 << twitterThenFacebook << true << 30.0 << QString();
    }
    void bagValues()
    {
        QFETCH(QJsonValue, forum);
        QFETCH(QJsonValue, tagLookup);
        QFETCH(QStringList, services);
        QFETCH(QList<qint64>, characterLimits);
        QFETCH(bool, servicesSet);
        QFETCH(double, soundBiteDuration);
        QFETCH(QString, tagLookupURL);
        if (TULOStoreAccountStore::defaultStore()->activeAccount().value_or(TULOStoreAccount()).accountName() != TULOSandboxStore::demoAccountName())
            signOut();
        m_store.setBagValue(QStringLiteral("musicForum"), forum);
        m_store.setBagValue(QStringLiteral("socialSearch-artistNames"), tagLookup);

        const Run run = load(TULOSandboxContext(m_store));
        QVERIFY(settle(run));
        const std::optional<TULOConfiguration> configuration = run.result->value().configuration;
        QVERIFY2(configuration, qPrintable(run.result->error().localizedDescription()));

        const std::optional<QVariantList> allowed = configuration->allowedExternalServices();
        QCOMPARE(allowed.has_value(), servicesSet);
        QStringList identifiers;
        QList<qint64> limits;
        for (const QVariant &value : allowed.value_or(QVariantList())) {
            QVERIFY(value.canConvert<TULOSocialService>());
            identifiers.append(value.value<TULOSocialService>().identifier());
            limits.append(value.value<TULOSocialService>().maximumNumberOfCharacters());
        }
        QCOMPARE(identifiers, services);
        QCOMPARE(limits, characterLimits);
        QCOMPARE(configuration->maximumSoundBiteDuration(), soundBiteDuration);
        QCOMPARE(configuration->tagLookupBaseURL().toString(), tagLookupURL);
        // The categories do not depend on the bag.
        QCOMPARE(configuration->audioCategoryNames().value_or(QStringList()),
                 (QStringList{"Song", "Demo", "Live", "Remix", "Cover", "Acoustic", "Interview", "Instrumental", "Acapella",
                              "AlternateVersion", "WorkInProgress"}));
        // What the loader does not own keeps the defaults.
        QCOMPARE(configuration->maximumNumberOfAttachments(), 1);
        QVERIFY(configuration->allowsCamera() && configuration->allowsMicrophone());
        QVERIFY(!configuration->item() && !configuration->suggestedTags());
    }

    // Every refused session costs one sign-in; the loop ends as soon as the store accepts one.
    void signsInAgainUntilTheStoreAccepts_data()
    {
        QTest::addColumn<bool>("signedIn");
        QTest::addColumn<QString>("keptToken");
        QTest::addColumn<int>("refusals");
        QTest::addColumn<int>("signIns");
        QTest::newRow("signed out") << false << QString() << 0 << 1;
        QTest::newRow("valid session kept") << true << QString() << 0 << 0;
        QTest::newRow("session the store has forgotten") << true << QStringLiteral("0123456789abcdef") << 0 << 1;
        QTest::newRow("refused once after signing in") << false << QString() << 1 << 2;
        QTest::newRow("refused four times") << false << QString() << 4 << 5;
        QTest::newRow("kept session refused three times") << true << QString() << 3 << 3;
    }
    void signsInAgainUntilTheStoreAccepts()
    {
        QFETCH(bool, signedIn);
        QFETCH(QString, keptToken);
        QFETCH(int, refusals);
        QFETCH(int, signIns);
        signOut();
        if (signedIn) {
            const Run first = load(TULOSandboxContext(m_store));
            QVERIFY(settle(first));
            QVERIFY(first.result->value().configuration);
            if (!keptToken.isEmpty()) {
                std::optional<TULOStoreAccount> account = TULOStoreAccountStore::defaultStore()->activeAccount();
                QVERIFY(account);
                account->setToken(keptToken);
                TULOStoreAccountStore::defaultStore()->setActiveAccount(*account);
            }
        }
        m_prompts = 0;
        const int signInsBefore = m_store.requestCount(QStringLiteral("/account/signin"));
        m_store.addFault(QStringLiteral("/account/authors"), TULOSandboxFault::status(401), refusals);

        const Run run = load(TULOSandboxContext(m_store));
        QVERIFY(settle(run));
        QVERIFY2(run.result->value().configuration, qPrintable(run.result->error().localizedDescription()));
        QCOMPARE(m_store.requestCount(QStringLiteral("/account/signin")) - signInsBefore, signIns);
        QCOMPARE(m_prompts.load(), signIns);
        QVERIFY(TULOStoreAccountStore::defaultStore()->activeAccount()->isAuthenticated());
    }

    // A store that never accepts the session keeps the loader signing in; only the user (by
    // cancelling the prompt) or the owner (by cancelling the operation) ends it.
    void neverAcceptedSessionEndsWhenThePromptIsCancelled_data()
    {
        QTest::addColumn<int>("answers");
        QTest::newRow("cancelled at once") << 0;
        QTest::newRow("cancelled after one sign-in") << 1;
        QTest::newRow("cancelled after six sign-ins") << 6;
    }
    void neverAcceptedSessionEndsWhenThePromptIsCancelled()
    {
        QFETCH(int, answers);
        signOut();
        answerWith(TULOSandboxStore::demoAccountName(), answers);
        m_store.addFault(QStringLiteral("/account/authors"), TULOSandboxFault::status(401));
        const int signInsBefore = m_store.requestCount(QStringLiteral("/account/signin"));

        const Run run = load(TULOSandboxContext(m_store));
        QVERIFY(settle(run));
        QVERIFY(!run.result->value().configuration);
        QVERIFY(run.result->error().is(TULOStoreErrorDomain, TULOStoreErrorUserCancelled));
        QCOMPARE(m_store.requestCount(QStringLiteral("/account/signin")) - signInsBefore, answers);
        QCOMPARE(m_prompts.load(), answers + 1);
    }

    void cancellingStopsSigningInAgain()
    {
        signOut();
        m_store.addFault(QStringLiteral("/account/authors"), TULOSandboxFault::status(401));
        std::shared_ptr<TULOLoadConfigurationOperation> target;
        std::mutex targetMutex;
        {
            std::lock_guard lock(m_promptMutex);
            m_onPrompt = [&](int prompt) {
                std::lock_guard targetLock(targetMutex);
                if (prompt == 3 && target)
                    target->cancel();
            };
        }
        const int signInsBefore = m_store.requestCount(QStringLiteral("/account/signin"));
        Run run;
        {
            std::lock_guard targetLock(targetMutex);
            run = load(TULOSandboxContext(m_store));
            target = run.operation;
        }
        QVERIFY(settle(run));
        QVERIFY(!run.result->value().configuration);
        // Cancelled while the third prompt was up: that sign-in is never sent.
        QVERIFY(run.result->error().is(TULOStoreErrorDomain, TULOStoreErrorUserCancelled));
        QCOMPARE(m_store.requestCount(QStringLiteral("/account/signin")) - signInsBefore, 2);
        std::lock_guard lock(m_promptMutex);
        m_onPrompt = nullptr;
    }

    // Failures other than a refused session end the load at once, each with its own error.
    void failuresEndTheLoad_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("faultPath");
        QTest::addColumn<int>("faultStatus");
        QTest::addColumn<QString>("domain");
        QTest::addColumn<qint64>("code");
        QTest::addColumn<int>("signIns");
        QTest::newRow("wrong password") << QStringLiteral("not-the-password") << QString() << 0 << QString(TULOStoreErrorDomain)
                                        << qint64(TULOStoreErrorRequestFailed) << 1;
        QTest::newRow("author list fails") << TULOSandboxStore::demoPassword() << QStringLiteral("/account/authors") << 503
                                           << QString(TULOStoreErrorDomain) << qint64(TULOStoreErrorRequestFailed) << 1;
        QTest::newRow("sign-in endpoint fails") << TULOSandboxStore::demoPassword() << QStringLiteral("/account/signin") << 500
                                                << QString(TULOStoreErrorDomain) << qint64(TULOStoreErrorRequestFailed) << 1;
    }
    void failuresEndTheLoad()
    {
        QFETCH(QString, password);
        QFETCH(QString, faultPath);
        QFETCH(int, faultStatus);
        QFETCH(QString, domain);
        QFETCH(qint64, code);
        QFETCH(int, signIns);
        signOut();
        answerWith(TULOSandboxStore::demoAccountName(), -1, password);
        if (!faultPath.isEmpty())
            m_store.addFault(faultPath, TULOSandboxFault::status(faultStatus));
        const int signInsBefore = m_store.requestCount(QStringLiteral("/account/signin"));
        const Run run = load(TULOSandboxContext(m_store));
        QVERIFY(settle(run));
        QVERIFY(!run.result->value().configuration);
        QCOMPARE(run.result->error().domain(), domain);
        QCOMPARE(run.result->error().code(), code);
        QCOMPARE(m_store.requestCount(QStringLiteral("/account/signin")) - signInsBefore, signIns);
    }

    // Where the client context comes from when none is set.
    void clientContextResolution_data()
    {
        QTest::addColumn<bool>("setOwn");
        QTest::addColumn<bool>("setDefault");
        QTest::addColumn<bool>("configureBag");
        QTest::newRow("own context") << true << true << false;
        QTest::newRow("default context") << false << true << false;
        QTest::newRow("loaded from the configured bag") << false << false << true;
    }
    void clientContextResolution()
    {
        QFETCH(bool, setOwn);
        QFETCH(bool, setDefault);
        QFETCH(bool, configureBag);
        const TULOClientContext own = TULOSandboxContext(m_store);
        const TULOClientContext fallback = TULOSandboxContext(m_store);
        if (setDefault)
            TULOClientContext::setDefaultContext(fallback);
        if (configureBag)
            qputenv(TULOStoreBagURLEnvironmentVariable, m_store.bagUrl().toEncoded());
        const Run run = load(setOwn ? own : TULOClientContext());
        QVERIFY(settle(run));
        QVERIFY2(run.result->value().configuration, qPrintable(run.result->error().localizedDescription()));
        const TULOClientContext used = run.result->value().context;
        QVERIFY(!used.isNull());
        if (setOwn)
            QVERIFY(used == own);
        else if (setDefault)
            QVERIFY(used == fallback);
        else
            QCOMPARE(used.bagURL(), m_store.bagUrl());
    }

    // A credential store that cannot save must not cost a sign-in per signed request: the
    // session lives in memory instead, and one sign-in is enough.
    void credentialStoreThatCannotSave()
    {
        QTemporaryDir home;
        QVERIFY(home.isValid());
        QFile blocker(home.filePath(QStringLiteral("not-a-folder")));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        // Even root cannot make a folder inside a regular file.
        TULOStoreAccountStore::defaultStore()->setTokenKeeper(std::make_unique<TULOCredentialStoreTokenKeeper>(
            TULOCredentialStore::makeFileStore(blocker.fileName() + QStringLiteral("/credentials"))));
        const auto restore = qScopeGuard([this] {
            TULOStoreAccountStore::defaultStore()->setTokenKeeper(
                std::make_unique<TULOCredentialStoreTokenKeeper>(TULOCredentialStore::makeFileStore(m_credentials.path())));
        });
        signOut();
        const int signInsBefore = m_store.requestCount(QStringLiteral("/account/signin"));
        const Run run = load(TULOSandboxContext(m_store));
        QVERIFY(settle(run));
        QVERIFY2(run.result->value().configuration, qPrintable(run.result->error().localizedDescription()));
        QCOMPARE(m_store.requestCount(QStringLiteral("/account/signin")) - signInsBefore, 1);
        QVERIFY(TULOStoreAccountStore::defaultStore()->activeAccount()->isAuthenticated());
        // A second load reuses the session kept in memory.
        const Run again = load(TULOSandboxContext(m_store));
        QVERIFY(settle(again));
        QVERIFY(again.result->value().configuration);
        QCOMPARE(m_store.requestCount(QStringLiteral("/account/signin")) - signInsBefore, 1);
    }

    // Against a store that refuses every session, the rounds of signing in come ever further
    // apart. Only lower bounds are checked, which a slow machine cannot break.
    void signInRoundsBackOff()
    {
        signOut();
        m_store.addFault(QStringLiteral("/account/authors"), TULOSandboxFault::status(401));
        std::mutex timesMutex;
        QList<std::chrono::steady_clock::time_point> times;
        {
            std::lock_guard lock(m_promptMutex);
            m_onPrompt = [&](int) {
                std::lock_guard timesLock(timesMutex);
                times << std::chrono::steady_clock::now();
            };
        }
        answerWith(TULOSandboxStore::demoAccountName(), 5);
        const Run run = load(TULOSandboxContext(m_store));
        QVERIFY(settle(run));
        {
            std::lock_guard lock(m_promptMutex);
            m_onPrompt = nullptr;
        }
        QVERIFY(run.result->error().is(TULOStoreErrorDomain, TULOStoreErrorUserCancelled));
        std::lock_guard timesLock(timesMutex);
        QCOMPARE(times.size(), 6);
        for (int round = 1; round < times.size(); ++round) {
            const auto gap = std::chrono::duration_cast<std::chrono::milliseconds>(times.at(round) - times.at(round - 1));
            const qint64 least = 100 << (round - 1);
            QVERIFY2(gap.count() >= least, qPrintable(QStringLiteral("round %1 came after %2 ms, not %3").arg(round).arg(gap.count()).arg(least)));
        }
    }

    void noClientContext()
    {
        // Nothing listens on port 1 of the loopback address.
        qputenv(TULOStoreBagURLEnvironmentVariable, QByteArrayLiteral("http://127.0.0.1:1/bag"));
        const int signInsBefore = m_store.requestCount(QStringLiteral("/account/signin"));
        const Run run = load(TULOClientContext());
        QVERIFY(settle(run));
        QVERIFY(!run.result->value().configuration);
        QVERIFY(run.result->value().context.isNull());
        QVERIFY(!run.result->error().isNull());
        QCOMPARE(m_prompts.load(), 0);
        QCOMPARE(m_store.requestCount(QStringLiteral("/account/signin")), signInsBefore);
    }
};

QTEST_MAIN(TestLoadConfiguration)
#include "tst_loadconfiguration.moc"

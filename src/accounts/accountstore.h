#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/account.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/records/externaldestination.h>
#include <Quillon/platform/records/postauthor.h>

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

class TULOOperation;
class TULOOperationQueue;
class TULOViewController;

// Posted (sender: the store) on the main thread after every change of an account, an
// autoposting switch or the preferred Facebook destination.
extern QUILLON_EXPORT const char *const TULOAccountStoreDidChangeNotification;

// Preference keys: the per-service switch is the format filled with the service identifier.
extern QUILLON_EXPORT const char *const TULOAccountStoreAutopostingEnabledKeyFormat; // "autoposting-%1-enabled"
extern QUILLON_EXPORT const char *const TULOAccountStorePreferredFacebookDestinationKey;

// Values of the preferred Facebook destination.
enum TULOFacebookAutopostingDestination : qint64 {
    TULOFacebookAutopostingDestinationProfile = 0,
    TULOFacebookAutopostingDestinationPreferredPage = 1,
};

// Results of renewCredentialsForAccount.
enum TULOAccountCredentialRenewalResult : qint64 {
    TULOAccountCredentialRenewalRenewed = 0,
    TULOAccountCredentialRenewalFailed = 2,
};

// The linked Facebook and Twitter accounts of one author, and the one place that reads and
// changes them. Twitter (and any service but Facebook) lives in the shared account database,
// its password in the credential store; the Facebook account lives only in memory, filled from
// the store's account information; the autoposting switches and the Facebook destination are
// application preferences.
//
// Server requests run one at a time, in order, on the store's own queue; their results reach
// the store on the main thread. Callbacks that outlive a call hold the store weakly. Destroy a
// store on the main thread (a store made on a worker moves there; end it with deleteLater());
// renewCredentialsForAccount and registerExternalDestination may be called from workers, and
// block only them.
class QUILLON_EXPORT TULOAccountStore : public QObject
{
    Q_OBJECT

public:
    using TULOAccessCompletion = std::function<void(bool granted, const TULOError &error)>;
    using TULOVerifyCompletion = std::function<void(const std::optional<TULOAccount> &account, const TULOError &error)>;
    using TULORenewCompletion = std::function<void(qint64 result, const TULOError &error)>;
    using TULORegisterCompletion = std::function<void(bool success, const TULOError &error)>;
    using TULOUnlinkCompletion = std::function<void(bool success, const TULOError &error)>;
    using TULOPageUpdateCompletion = std::function<void(bool success, const TULOError &error)>;

    // Uses the application's default client context for server requests.
    explicit TULOAccountStore(const TULOPostAuthor &author, QObject *parent = nullptr);
    TULOAccountStore(const TULOPostAuthor &author, const TULOClientContext &context, QObject *parent = nullptr);
    ~TULOAccountStore() override;

    TULOPostAuthor author() const { return m_author; }
    TULOClientContext clientContext() const { return m_context; }

    std::optional<TULOAccount> accountForServiceIdentifier(const QString &serviceIdentifier) const;
    // True only with an account for the service and its switch on.
    bool isAccountEnabledForServiceIdentifier(const QString &serviceIdentifier) const;
    // Stores (enabled AND an account exists), then notifies.
    void setAccountEnabled(bool enabled, const QString &serviceIdentifier);
    qint64 preferredFacebookAutopostingDestination() const;
    void setPreferredFacebookAutopostingDestination(qint64 destination);

    // Replaces the author's account of the account's service. False (and no notification) when
    // the database refuses; the stored account is then left as it was.
    bool saveAccount(const TULOAccount &account, TULOError *error = nullptr);
    // Removes the row of this author, service and user name, and the password.
    bool removeAccount(const TULOAccount &account, TULOError *error = nullptr);

    // Facebook: presents the sign-in screen from `presentingViewController`, registers the code
    // with the store and reports (success, error). The error is never null for Facebook: a
    // successful registration comes with TULOErrorDomain code 8, so judge by the boolean alone.
    // Any other service: (true, no error) at once. `permissions` is not used. The completion
    // runs once, on the main thread; only if the store is destroyed while the sign-in screen
    // is up does it never run.
    void requestAccessToAccountForServiceIdentifier(const QString &serviceIdentifier, const QStringList &permissions,
        TULOViewController *presentingViewController, TULOAccessCompletion completion);
    // Twitter only: signs in with the service and hands back a ready account (not saved), on
    // the main thread. Other services: code 7, at once.
    void verifyUserName(const QString &userName, const QString &password, const QString &serviceIdentifier,
        TULOVerifyCompletion completion);
    // Signs a non-Facebook account in again with its stored password and copies the fresh
    // tokens into `account`; result 0 on success, 2 with the error otherwise. For a Facebook
    // account nothing happens and the completion is never called: the store renews those.
    // The account is shared so that a late answer still has it to update. Unlike the other
    // callbacks, the completion runs on the thread the service answers on (a worker): the
    // token refresh that calls this goes on there with blocking store requests.
    void renewCredentialsForAccount(const std::shared_ptr<TULOAccount> &account, TULORenewCompletion completion);
    // Registers the account's tokens with the store, synchronously on the calling thread (a
    // worker), then calls the completion there.
    void registerExternalDestination(const TULOExternalDestination &destination, const TULOAccount &account,
        TULORegisterCompletion completion);
    // Facebook only: sends the page choice to the store, then refreshes the account information.
    // The optional completion runs on the main thread with the store's answer, while the store
    // is alive.
    void updateFacebookPreferredPageIdentifier(const QString &pageIdentifier, const TULOAccount &account,
        TULOPageUpdateCompletion completion = {});
    // Asks the store to unlink the account's service; once it confirms, the account is removed.
    // The optional completion runs on the main thread with the store's answer.
    void unlinkAccount(const TULOAccount &account, TULOUnlinkCompletion completion = {});

    // Asks the store for the Facebook account information again.
    void refreshFacebookAccountInfo();

    // The preference key of a service's switch.
    static QString autopostingEnabledKey(const QString &serviceIdentifier);
    // The external-service constant of an ExternalDestination for a service; null for others.
    static QString externalServiceForServiceIdentifier(const QString &serviceIdentifier);

Q_SIGNALS:
    // The store answered (or failed) an account-information request, and its answer has been
    // applied. The CLI and tests wait for this; screens listen to the notification instead.
    void accountInfoRequestDidFinish(const QString &serviceIdentifier, const TULOError &error);

protected:
    // The deployer's Facebook application id, from the deployment configuration's scrambled one.
    static QString facebookAppId();

private:
    // `then` runs on the main thread after the answer has been applied, if the store is alive.
    void updateAccountInfoWithServiceIdentifier(
        const QString &serviceIdentifier, std::function<void(TULOAccountStore *store)> then = {});
    void applyAccountInfo(const QString &serviceIdentifier, const std::optional<TULOAccount> &account,
        const TULOError &error);
    void postDidChange();
    // Signs in with Twitter; the completion runs on the thread the service answers on.
    void authenticateWithService(const QString &userName, const QString &password, TULOVerifyCompletion completion);
    void enqueue(const std::shared_ptr<TULOOperation> &operation);

    bool saveDatabaseAccount(const TULOAccount &account, TULOError *error);
    bool removeDatabaseAccount(const TULOAccount &account, TULOError *error);
    std::optional<TULOAccount> databaseAccount(const QString &serviceIdentifier) const;

    const TULOPostAuthor m_author;
    const TULOClientContext m_context;
    // Only the Facebook account; read from workers by the token refresh, hence the lock.
    mutable std::mutex m_accountsMutex;
    QHash<QString, TULOAccount> m_accounts;
    QVariantMap m_externalServices; // kept empty; nothing uses it
    std::shared_ptr<TULOOperationQueue> m_operationQueue;
};

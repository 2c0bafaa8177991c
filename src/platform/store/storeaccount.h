#pragma once

#include <Quillon/quillon_export.h>

#include <QString>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

// A signed-in store account. The token is the session's; it is kept by the account store's
// token keeper (the credential store), never in preferences.
class QUILLON_EXPORT TULOStoreAccount
{
public:
    qint64 identifier() const { return m_identifier; }
    void setIdentifier(qint64 identifier) { m_identifier = identifier; }
    // Identifier as a decimal string, as author identifiers are compared.
    QString identifierString() const { return m_identifier ? QString::number(m_identifier) : QString(); }
    QString accountName() const { return m_accountName; }
    void setAccountName(const QString &name) { m_accountName = name; }
    QString displayName() const { return m_displayName; }
    void setDisplayName(const QString &name) { m_displayName = name; }
    QString token() const { return m_token; }
    void setToken(const QString &token) { m_token = token; }
    bool isAuthenticated() const { return !m_token.isEmpty(); }

    bool operator==(const TULOStoreAccount &other) const = default;

private:
    qint64 m_identifier = 0;
    QString m_accountName;
    QString m_displayName;
    QString m_token;
};

// Where session tokens live between runs. The default keeper is the secure credential store
// (TULOCredentialStoreTokenKeeper); tokens never go to preferences.
class QUILLON_EXPORT TULOStoreTokenKeeper
{
public:
    virtual ~TULOStoreTokenKeeper() = default;
    virtual QString tokenForAccount(const QString &accountName) = 0;
    virtual bool setTokenForAccount(const QString &token, const QString &accountName) = 0; // empty removes
    // The account that was active when the application last ran (without its token), so a new
    // run reuses its session instead of signing in again. Keepers that do not outlive the
    // process keep nothing.
    virtual std::optional<TULOStoreAccount> lastActiveAccount() { return std::nullopt; }
    virtual void setLastActiveAccount(const std::optional<TULOStoreAccount> &) {}
};

// The accounts the application is signed in with; one is active. The active account outlives
// the process through the token keeper, so its session is reused until the store refuses it.
// Thread-safe.
class QUILLON_EXPORT TULOStoreAccountStore
{
public:
    static TULOStoreAccountStore *defaultStore();

    std::optional<TULOStoreAccount> activeAccount() const;
    // Makes `account` active and hands its token to the keeper. When the keeper cannot save it,
    // the token stays in memory for the rest of the process, so the session still works (one
    // warning says so, once), and the answer is false.
    bool setActiveAccount(const TULOStoreAccount &account);
    // Forgets the active account's token (after the store refused it) but keeps the account,
    // so signing in again can offer its name.
    void invalidateToken();
    void signOut();

    // The keeper takes ownership; null restores the credential-store keeper.
    void setTokenKeeper(std::unique_ptr<TULOStoreTokenKeeper> keeper);
    TULOStoreTokenKeeper *tokenKeeper() const;

private:
    TULOStoreAccountStore();
    mutable std::mutex m_mutex;
    mutable std::optional<TULOStoreAccount> m_active; // its token only when the keeper could not save it
    mutable bool m_lastActiveRead = false; // the keeper's last active account is read once, when needed
    std::unique_ptr<TULOStoreTokenKeeper> m_keeper;
};

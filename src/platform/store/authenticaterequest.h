#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/store/storeaccount.h>

#include <functional>
#include <optional>

// What the host's sign-in prompt answers: credentials, or a wish to create an account
// (which the framework refuses). No answer (nullopt) means the user cancelled.
struct QUILLON_EXPORT TULOAuthenticationPromptReply
{
    QString accountName;
    QString password;
    bool createAccount = false;
};

// How to sign in: which account, whether the user may be prompted, and the host's prompt.
class TULOOperation;
class QUILLON_EXPORT TULOAuthenticationContext
{
public:
    enum PromptStyle { PromptStyleNever = 0, PromptStyleAllowed = 1 };
    // Runs on the main thread; gets the account name to offer and the previous failure.
    using PromptHandler = std::function<std::optional<TULOAuthenticationPromptReply>(const QString &accountName, const TULOError &previousError)>;

    QString accountName() const { return m_accountName; }
    void setAccountName(const QString &name) { m_accountName = name; }
    int promptStyle() const { return m_promptStyle; }
    void setPromptStyle(int style) { m_promptStyle = style; }
    bool allowsCreatingAccount() const { return m_allowsCreatingAccount; }
    void setAllowsCreatingAccount(bool allows) { m_allowsCreatingAccount = allows; }
    PromptHandler promptHandler() const { return m_prompt; }
    void setPromptHandler(PromptHandler handler) { m_prompt = std::move(handler); }

    // The prompt every new context gets; the host sets it once.
    static void setDefaultPromptHandler(PromptHandler handler);
    static PromptHandler defaultPromptHandler();

private:
    QString m_accountName;
    int m_promptStyle = PromptStyleNever;
    bool m_allowsCreatingAccount = false;
    PromptHandler m_prompt = defaultPromptHandler();
};

// Signs the store account in: reuses the kept session token while the store accepts it,
// otherwise asks the host's prompt for credentials and signs in. The signed-in account
// becomes the account store's active account.
class QUILLON_EXPORT TULOAuthenticateRequest
{
public:
    using ResponseBlock = std::function<void(const std::optional<TULOStoreAccount> &account, const TULOError &error)>;

    TULOAuthenticateRequest(const TULOAuthenticationContext &authenticationContext, const TULOClientContext &clientContext,
                            TULOStoreAccountStore *accountStore = TULOStoreAccountStore::defaultStore());

    // Runs on a worker thread; `block` is called there exactly once.
    void startWithResponseBlock(ResponseBlock block);
    // The same, on the calling thread. Never call it on the main thread when a prompt may show.
    // `owner`: the operation this runs inside; cancelling it stops the sign-in (store error 16).
    std::optional<TULOStoreAccount> run(TULOError *error = nullptr, const TULOOperation *owner = nullptr);

private:
    std::optional<bool> sessionIsValid(const TULOUrlBag &bag, const QString &token, const TULOOperation *owner, TULOError *error);

    TULOAuthenticationContext m_authentication;
    TULOClientContext m_context;
    TULOStoreAccountStore *m_accounts;
};

#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/core/configuration.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/operation.h>
#include <Quillon/platform/store/storeaccount.h>

#include <QStringList>

#include <functional>
#include <mutex>
#include <optional>

class TULOUrlBag;

// Builds the configuration of a composition from the store: a client context, a signed-in
// store account, the authors the user may post as, and the limits of the URL bag.
//
// Signing in again: a failure of TULOErrorDomain code 2 makes main() sign in and try once
// more, with no limit on the rounds. The store operations report code 2 when there is no
// session or the store refuses the session token (401 "unauthorized"), so a round only
// follows a refused session, and each round asks the sign-in prompt. The loop ends when the
// store accepts the session, when signing in fails (the user cancels the prompt, a wrong
// password, an unreachable store), or when the operation is cancelled.
class QUILLON_EXPORT TULOLoadConfigurationOperation : public TULOOperation
{
public:
    using ConfigurationBlock = std::function<void(const std::optional<TULOConfiguration> &configuration,
                                                  const TULOClientContext &clientContext, const TULOError &error)>;

    explicit TULOLoadConfigurationOperation(TULOStoreAccountStore *accounts = TULOStoreAccountStore::defaultStore());

    TULOClientContext clientContext() const;
    void setClientContext(const TULOClientContext &context);
    // Called once, at the end of main(), on its thread; cleared before it is called.
    ConfigurationBlock configurationBlock() const;
    void setConfigurationBlock(ConfigurationBlock block);

    // The category names an audio attachment may be given, in the order they are offered.
    static QStringList audioCategoryNames();
    // The bag's limits and services applied to `configuration`; values that are missing or of
    // the wrong type leave their fields as they were.
    static void applyUrlBag(const TULOUrlBag &bag, TULOConfiguration &configuration);

protected:
    void main() override;

private:
    TULOClientContext resolveClientContext(TULOError *error) const;
    std::optional<TULOStoreAccount> authenticateAccount(const std::optional<TULOStoreAccount> &account,
                                                        const TULOClientContext &context, TULOError *error) const;
    std::optional<TULOConfiguration> configurationWithAccount(const TULOStoreAccount &account, const TULOClientContext &context,
                                                              TULOError *error) const;
    std::optional<TULOPostAuthor> loadAuthorWithAccount(const TULOStoreAccount &account, const TULOClientContext &context) const;

    TULOStoreAccountStore *const m_accounts;
    mutable std::mutex m_mutex;
    TULOClientContext m_clientContext;
    ConfigurationBlock m_configurationBlock;
};

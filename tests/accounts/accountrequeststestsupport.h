#pragma once

#include "../store/storetestsupport.h"

#include <Quillon/platform/records/postauthor.h>
#include <Quillon/platform/store/authenticaterequest.h>

// Signs the demo store account in, as the social endpoints want a session.
inline bool TULOSignInDemoAccount(const TULOSandboxStore &store)
{
    TULOStoreAccountStore::defaultStore()->signOut();
    TULOAuthenticationContext context;
    context.setPromptStyle(TULOAuthenticationContext::PromptStyleAllowed);
    context.setPromptHandler([](const QString &, const TULOError &) {
        return std::optional<TULOAuthenticationPromptReply>({TULOSandboxStore::demoAccountName(), TULOSandboxStore::demoPassword(), false});
    });
    TULOCallbackResult<bool> result;
    TULOAuthenticateRequest(context, TULOSandboxContext(store)).startWithResponseBlock(
        [&result](const std::optional<TULOStoreAccount> &account, const TULOError &error) { result.deliver(account.has_value(), error); });
    if (!QTest::qWaitFor([&result] { return result.calls() == 1; }, TULOStoreTestWait))
        return false;
    return result.value();
}

inline TULOPostAuthor TULODemoArtistAuthor()
{
    return TULOPostAuthor(TULOSandboxStore::demoArtistIdentifier(), QStringLiteral("Demo Artist"), QStringLiteral("ARTIST"));
}

#include "accountssession.h"

#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/store/authenticaterequest.h>
#include <Quillon/platform/store/authorpermissionsoperation.h>

bool TULOAccountsSession::open(const QCommandLineParser &options, QString *error)
{
    QUrl bag;
    const QString bagURL = options.value(QStringLiteral("store"));
    if (!bagURL.isEmpty()) {
        bag = QUrl::fromUserInput(bagURL);
        if (!bag.isValid() || bag.scheme().isEmpty()) {
            *error = QStringLiteral("'%1' is not a URL bag address").arg(bagURL);
            return false;
        }
    }
    const QString account = options.value(QStringLiteral("store-account"));
    if (!bag.isEmpty() && account.isEmpty() && qEnvironmentVariableIsEmpty("QUILLON_STORE_ACCOUNT")) {
        *error = QStringLiteral("--store-account NAME is needed with --store");
        return false;
    }
    TULOError failure;
    if (!m_store.open(bag, account, &failure)) {
        *error = failure.localizedDescription();
        return false;
    }
    m_store.watchAccountsDatabase();
    return signIn(error) && chooseAuthor(options.value(QStringLiteral("as")), error);
}

bool TULOAccountsSession::signIn(QString *error)
{
    TULOAuthenticationContext authentication; // the session's prompt answers
    authentication.setAccountName(m_store.accountName());
    authentication.setPromptStyle(TULOAuthenticationContext::PromptStyleAllowed);
    bool done = false;
    TULOError failure;
    TULOAuthenticateRequest(authentication, context())
        .startWithResponseBlock([&](const std::optional<TULOStoreAccount> &account, const TULOError &signInError) {
            TULODispatchMain([&, signedIn = account.has_value(), signInError] {
                failure = signedIn ? TULOError() : signInError;
                done = true;
            });
        });
    TULOStoreSession::waitFor(done);
    if (!failure.isNull()) {
        *error = QStringLiteral("could not sign in to the store as %1: %2")
                     .arg(m_store.accountName(), failure.localizedDescription());
        return false;
    }
    return true;
}

bool TULOAccountsSession::chooseAuthor(const QString &authorID, QString *error)
{
    auto operation = std::make_shared<TULOAuthorPermissionsOperation>(context());
    QList<TULOPostAuthor> authors;
    TULOError failure;
    operation->setOutputBlock([&](const QList<TULOPostAuthor> &found, const TULOError &loadError) {
        authors = found;
        failure = loadError;
    });
    m_store.runAndWait(operation);
    if (!failure.isNull()) {
        *error = QStringLiteral("could not load the authors: %1").arg(failure.localizedDescription());
        return false;
    }
    if (authors.isEmpty()) {
        *error = QStringLiteral("this store account may not post as anyone");
        return false;
    }
    if (authorID.isEmpty()) {
        m_author = authors.first();
        return true;
    }
    QStringList known;
    for (const TULOPostAuthor &author : std::as_const(authors)) {
        if (author.identifier() == authorID) {
            m_author = author;
            return true;
        }
        known << QStringLiteral("%1 (%2, %3)").arg(author.identifier(), author.name(), author.authorType());
    }
    *error = QStringLiteral("no author %1; this account may post as: %2").arg(authorID, known.join(QStringLiteral(", ")));
    return false;
}

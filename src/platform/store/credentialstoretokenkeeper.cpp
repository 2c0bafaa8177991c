#include <Quillon/platform/store/credentialstoretokenkeeper_p.h>

#include <Quillon/platform/credentials/credentialstore.h>
#include <QJsonDocument>
#include <QJsonObject>

const char *const TULOStoreSessionCredentialService = "com.vantor.Quillon.storeSession";
const char *const TULOStoreActiveAccountItem = " active account";

static QString serviceName()
{
    return QString::fromLatin1(TULOStoreSessionCredentialService);
}

TULOCredentialStoreTokenKeeper::TULOCredentialStoreTokenKeeper() = default;

TULOCredentialStoreTokenKeeper::TULOCredentialStoreTokenKeeper(std::unique_ptr<TULOCredentialStore> store)
    : m_owned(std::move(store))
{
}

TULOCredentialStoreTokenKeeper::~TULOCredentialStoreTokenKeeper() = default;

TULOCredentialStore *TULOCredentialStoreTokenKeeper::store()
{
    // The shared store probes the session bus; only do that once a token is needed.
    return m_owned ? m_owned.get() : TULOCredentialStore::sharedStore();
}

QString TULOCredentialStoreTokenKeeper::tokenForAccount(const QString &accountName)
{
    if (accountName.isEmpty())
        return QString();
    {
        std::lock_guard lock(m_unsavedMutex);
        const auto unsaved = m_unsaved.constFind(accountName.toCaseFolded());
        if (unsaved != m_unsaved.cend())
            return *unsaved;
    }
    // An unreadable item counts as no session: the user signs in again.
    const std::optional<QByteArray> data = store()->findItem(accountName.toCaseFolded(), serviceName());
    return data ? QString::fromUtf8(*data) : QString();
}

bool TULOCredentialStoreTokenKeeper::setTokenForAccount(const QString &token, const QString &accountName)
{
    if (accountName.isEmpty())
        return false;
    const QString account = accountName.toCaseFolded();
    TULOError error;
    bool done = false;
    if (token.isEmpty()) {
        done = store()->deleteItem(account, serviceName(), &error) || error.code() == TULOCredentialStoreErrorItemNotFound;
    } else {
        const QByteArray data = token.toUtf8();
        done = store()->updateItem(account, serviceName(), data, &error);
        if (!done && error.code() == TULOCredentialStoreErrorItemNotFound) {
            error = TULOError();
            done = store()->addItem(account, serviceName(), data, &error);
        }
    }
    // A token the store cannot keep lives in this process only, or every request would sign in
    // again without end (a store that keeps nothing at rest refuses every item).
    std::lock_guard lock(m_unsavedMutex);
    if (done || token.isEmpty())
        m_unsaved.remove(account);
    else
        m_unsaved.insert(account, token);
    return done;
}

std::optional<TULOStoreAccount> TULOCredentialStoreTokenKeeper::lastActiveAccount()
{
    const std::optional<QByteArray> data = store()->findItem(QString::fromLatin1(TULOStoreActiveAccountItem), serviceName());
    if (!data)
        return std::nullopt;
    const QJsonObject object = QJsonDocument::fromJson(*data).object();
    TULOStoreAccount account;
    account.setAccountName(object.value(QStringLiteral("accountName")).toString());
    account.setIdentifier(object.value(QStringLiteral("accountId")).toString().toLongLong());
    account.setDisplayName(object.value(QStringLiteral("displayName")).toString());
    // A damaged item is no account: the user signs in again.
    if (account.accountName().isEmpty() || account.identifier() == 0)
        return std::nullopt;
    return account;
}

void TULOCredentialStoreTokenKeeper::setLastActiveAccount(const std::optional<TULOStoreAccount> &account)
{
    const QString item = QString::fromLatin1(TULOStoreActiveAccountItem);
    if (!account) {
        store()->deleteItem(item, serviceName());
        return;
    }
    const QByteArray data = QJsonDocument(QJsonObject{{QStringLiteral("accountName"), account->accountName()},
                                                      {QStringLiteral("accountId"), account->identifierString()},
                                                      {QStringLiteral("displayName"), account->displayName()}})
                                .toJson(QJsonDocument::Compact);
    TULOError error;
    if (!store()->updateItem(item, serviceName(), data, &error) && error.code() == TULOCredentialStoreErrorItemNotFound)
        store()->addItem(item, serviceName(), data);
}

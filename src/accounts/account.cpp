#include <Quillon/accounts/account.h>

#include <Quillon/platform/credentials/credentialstore.h>

const char *const TULOAccountPropertyServiceIdentifier = "TULOAccountPropertyServiceIdentifier";
const char *const TULOAccountPropertyUserName = "TULOAccountPropertyUserName";
const char *const TULOAccountPropertyPassword = "TULOAccountPropertyPassword";
const char *const TULOAccountPropertyFullName = "TULOAccountPropertyFullName";
const char *const TULOAccountPropertyAuthenticationToken = "TULOAccountPropertyAuthenticationToken";
const char *const TULOAccountPropertyAuthenticationSecret = "TULOAccountPropertyAuthenticationSecret";
const char *const TULOAccountPropertyPages = "TULOAccountPropertyPages";
const char *const TULOAccountPropertyPreferredPageIdentifier = "TULOAccountPropertyPreferredPageIdentifier";
const char *const TULOAccountPropertyUserId = "TULOAccountPropertyUserId";

static bool TULOIsNil(const QVariant &value)
{
    // Qt 6 does not count a null string inside a variant as null; for the bag it is nil.
    return !value.isValid() || value.isNull()
        || (value.typeId() == QMetaType::QString && value.toString().isNull());
}

TULOAccount::TULOAccount(const QString &serviceIdentifier)
{
    setStringValue(serviceIdentifier, TULOAccountPropertyServiceIdentifier);
}

void TULOAccount::setValue(const QVariant &value, const QString &property)
{
    if (TULOIsNil(value))
        m_properties.remove(property);
    else
        m_properties.insert(property, value);
}

QVariant TULOAccount::valueForProperty(const QString &property) const
{
    return m_properties.value(property);
}

void TULOAccount::updateWithTULOAccount(const TULOAccount &account)
{
    m_properties = account.m_properties;
}

QString TULOAccount::stringValue(const char *property) const
{
    const QVariant value = m_properties.value(QString::fromLatin1(property));
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

void TULOAccount::setStringValue(const QString &value, const char *property)
{
    setValue(value.isNull() ? QVariant() : QVariant(value), QString::fromLatin1(property));
}

QString TULOAccount::serviceIdentifier() const
{
    return stringValue(TULOAccountPropertyServiceIdentifier);
}

QString TULOAccount::userName() const
{
    return stringValue(TULOAccountPropertyUserName);
}

void TULOAccount::setUserName(const QString &userName)
{
    setStringValue(userName, TULOAccountPropertyUserName);
}

QString TULOAccount::password() const
{
    const QVariant stored = m_properties.value(QString::fromLatin1(TULOAccountPropertyPassword));
    if (stored.typeId() == QMetaType::QString)
        return stored.toString();
    const std::optional<QString> fromStore = credentialStorePassword();
    if (fromStore)
        m_properties.insert(QString::fromLatin1(TULOAccountPropertyPassword), *fromStore);
    else
        m_properties.remove(QString::fromLatin1(TULOAccountPropertyPassword));
    return fromStore.value_or(QString());
}

void TULOAccount::setPassword(const QString &password)
{
    setStringValue(password, TULOAccountPropertyPassword);
}

QString TULOAccount::fullName() const
{
    const QString stored = stringValue(TULOAccountPropertyFullName);
    return stored.isNull() ? userName() : stored;
}

void TULOAccount::setFullName(const QString &fullName)
{
    setStringValue(fullName, TULOAccountPropertyFullName);
}

QString TULOAccount::authenticationToken() const
{
    return stringValue(TULOAccountPropertyAuthenticationToken);
}

void TULOAccount::setAuthenticationToken(const QString &token)
{
    setStringValue(token, TULOAccountPropertyAuthenticationToken);
}

QString TULOAccount::authenticationSecret() const
{
    return stringValue(TULOAccountPropertyAuthenticationSecret);
}

void TULOAccount::setAuthenticationSecret(const QString &secret)
{
    setStringValue(secret, TULOAccountPropertyAuthenticationSecret);
}

QList<TULOFacebookPage> TULOAccount::pages() const
{
    const QVariant value = m_properties.value(QString::fromLatin1(TULOAccountPropertyPages));
    if (value.metaType() != QMetaType::fromType<QList<TULOFacebookPage>>())
        return {};
    return value.value<QList<TULOFacebookPage>>();
}

void TULOAccount::setPages(const QList<TULOFacebookPage> &pages)
{
    setValue(QVariant::fromValue(pages), QString::fromLatin1(TULOAccountPropertyPages));
}

QString TULOAccount::preferredPageIdentifier() const
{
    return stringValue(TULOAccountPropertyPreferredPageIdentifier);
}

void TULOAccount::setPreferredPageIdentifier(const QString &identifier)
{
    setStringValue(identifier, TULOAccountPropertyPreferredPageIdentifier);
}

std::optional<TULOFacebookPage> TULOAccount::preferredPage() const
{
    const QString identifier = preferredPageIdentifier();
    if (identifier.isNull())
        return std::nullopt;
    for (const TULOFacebookPage &page : pages()) {
        if (page.identifier() == identifier)
            return page;
    }
    return std::nullopt;
}

std::optional<QString> TULOAccount::credentialStorePassword() const
{
    const std::optional<QByteArray> data
        = TULOCredentialStore::sharedStore()->findItem(userName(), serviceIdentifier());
    if (!data)
        return std::nullopt;
    return QString::fromUtf8(*data);
}

bool TULOAccount::saveToCredentialStore(TULOError *error) const
{
    const QVariant stored = m_properties.value(QString::fromLatin1(TULOAccountPropertyPassword));
    if (stored.typeId() != QMetaType::QString)
        return false;
    const QByteArray data = stored.toString().toUtf8();
    TULOCredentialStore *store = TULOCredentialStore::sharedStore();
    if (credentialStorePassword())
        return store->updateItem(userName(), serviceIdentifier(), data, error);
    return store->addItem(userName(), serviceIdentifier(), data, error);
}

bool TULOAccount::removeFromCredentialStore(TULOError *error) const
{
    return TULOCredentialStore::sharedStore()->deleteItem(userName(), serviceIdentifier(), error);
}

QString TULOAccount::description() const
{
    return QStringLiteral("<TULOAccount: 0x%1>: [ID: %2, Service: %3]")
        .arg(quintptr(this), 0, 16)
        .arg(userName(), serviceIdentifier());
}

bool TULOAccount::operator==(const TULOAccount &other) const
{
    return userName() == other.userName() && serviceIdentifier() == other.serviceIdentifier();
}

size_t qHash(const TULOAccount &account, size_t seed)
{
    return qHash(account.userName(), seed);
}

QDebug operator<<(QDebug debug, const TULOAccount &account)
{
    QDebugStateSaver saver(debug);
    debug.noquote() << account.description();
    return debug;
}

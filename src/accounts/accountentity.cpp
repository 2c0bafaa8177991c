#include <Quillon/accounts/accountentity_p.h>

const char *const TULOAccountEntityPropertyAuthenticationSecret = "authentication_secret";
const char *const TULOAccountEntityPropertyAuthenticationToken = "authentication_token";
const char *const TULOAccountEntityPropertyAuthorIdentity = "author_identity";
const char *const TULOAccountEntityPropertyAuthorType = "author_type";
const char *const TULOAccountEntityPropertyEnabled = "enabled";
const char *const TULOAccountEntityPropertyFullName = "full_name";
const char *const TULOAccountEntityPropertyPreferredPageIdentifier = "page_identifier";
const char *const TULOAccountEntityPropertyServiceIdentifier = "service_identifier";
const char *const TULOAccountEntityPropertyRegistered = "registered";
const char *const TULOAccountEntityPropertyUserIdentifier = "user_identifier";
const char *const TULOAccountEntityPropertyUserName = "user_name";

// Account property -> column, for everything but the password.
static const std::pair<const char *, const char *> TULOColumnForProperty[] = {
    {TULOAccountPropertyAuthenticationSecret, TULOAccountEntityPropertyAuthenticationSecret},
    {TULOAccountPropertyAuthenticationToken, TULOAccountEntityPropertyAuthenticationToken},
    {TULOAccountPropertyFullName, TULOAccountEntityPropertyFullName},
    {TULOAccountPropertyPreferredPageIdentifier, TULOAccountEntityPropertyPreferredPageIdentifier},
    {TULOAccountPropertyServiceIdentifier, TULOAccountEntityPropertyServiceIdentifier},
    {TULOAccountPropertyUserName, TULOAccountEntityPropertyUserName},
    {TULOAccountPropertyUserId, TULOAccountEntityPropertyUserIdentifier},
};

static QString TULOColumnText(const QVariant &value)
{
    // The two typeless columns hand back whatever was stored; a blob is read as UTF-8 text.
    if (value.typeId() == QMetaType::QByteArray)
        return QString::fromUtf8(value.toByteArray());
    if (!value.isValid() || value.isNull())
        return QString();
    return value.toString();
}

TULOAccountEntity::TULOAccountEntity(TULOSQLiteDatabase *database, qint64 persistentID)
    : TULOSQLiteEntity(database, databaseTable(), persistentID)
{
}

QString TULOAccountEntity::databaseTable()
{
    return QStringLiteral("account");
}

std::optional<TULOAccountEntity> TULOAccountEntity::insertIntoDatabase(
    TULOSQLiteDatabase *database, const QVariantMap &values, TULOError *error)
{
    const std::optional<qint64> pid
        = TULOSQLiteEntity::insertIntoDatabase(database, databaseTable(), values, error);
    if (!pid)
        return std::nullopt;
    return TULOAccountEntity(database, *pid);
}

TULOSQLiteQuery TULOAccountEntity::queryWithPredicate(
    TULOSQLiteDatabase *database, const TULOSQLitePredicate &predicate)
{
    return TULOSQLiteQuery(database, databaseTable(), predicate);
}

QVariantMap TULOAccountEntity::valuesForAccount(
    const TULOAccount &account, const QString &authorIdentity, const QString &authorType)
{
    QVariantMap values {
        {QString::fromLatin1(TULOAccountEntityPropertyAuthorIdentity), authorIdentity},
        {QString::fromLatin1(TULOAccountEntityPropertyAuthorType), authorType},
    };
    for (const auto &[property, column] : TULOColumnForProperty) {
        const QString name = QString::fromLatin1(property);
        QString value;
        if (name == QLatin1String(TULOAccountPropertyFullName)) {
            value = account.fullName();
        } else {
            const QVariant stored = account.valueForProperty(name);
            if (stored.canConvert<QString>())
                value = stored.toString();
        }
        if (!value.isNull())
            values.insert(QString::fromLatin1(column), value);
    }
    return values;
}

QStringList TULOAccountEntity::accountProperties()
{
    return {
        QString::fromLatin1(TULOAccountEntityPropertyAuthenticationSecret),
        QString::fromLatin1(TULOAccountEntityPropertyAuthenticationToken),
        QString::fromLatin1(TULOAccountEntityPropertyEnabled),
        QString::fromLatin1(TULOAccountEntityPropertyFullName),
        QString::fromLatin1(TULOAccountEntityPropertyPreferredPageIdentifier),
        QString::fromLatin1(TULOAccountEntityPropertyRegistered),
        QString::fromLatin1(TULOAccountEntityPropertyUserIdentifier),
        QString::fromLatin1(TULOAccountEntityPropertyUserName),
    };
}

TULOAccount TULOAccountEntity::accountWithValues(const QString &serviceIdentifier, const QVariantList &values)
{
    TULOAccount account(serviceIdentifier);
    const QStringList columns = accountProperties();
    for (int i = 0; i < columns.size() && i < values.size(); ++i) {
        for (const auto &[property, column] : TULOColumnForProperty) {
            if (columns.at(i) == QLatin1String(column))
                account.setValue(TULOColumnText(values.at(i)), QString::fromLatin1(property));
        }
    }
    return account;
}

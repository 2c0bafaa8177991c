#pragma once

#include <Quillon/accounts/accountentity.h>
#include <Quillon/platform/sqlite/sqliteentity_p.h>

// One row of the table "account": a linked account of one author (identity and type) for one
// service. The password is never a column; it lives in the credential store.
class TULOAccountEntity : public TULOSQLiteEntity
{
public:
    TULOAccountEntity(TULOSQLiteDatabase *database, qint64 persistentID);

    static QString databaseTable();

    static std::optional<TULOAccountEntity> insertIntoDatabase(
        TULOSQLiteDatabase *database, const QVariantMap &values, TULOError *error = nullptr);
    static TULOSQLiteQuery queryWithPredicate(
        TULOSQLiteDatabase *database, const TULOSQLitePredicate &predicate);

    // The row for `account` of one author: author identity and type always, every other column
    // only when the account has a value for it. The full name falls back to the user name.
    static QVariantMap valuesForAccount(
        const TULOAccount &account, const QString &authorIdentity, const QString &authorType);
    // The columns an account is read back from, in the order accountWithValues expects them.
    static QStringList accountProperties();
    // A new account of `serviceIdentifier` from the values of accountProperties(); enabled and
    // registered are read but carry nothing into the account.
    static TULOAccount accountWithValues(const QString &serviceIdentifier, const QVariantList &values);
};

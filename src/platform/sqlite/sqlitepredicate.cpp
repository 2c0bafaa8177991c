#include <Quillon/platform/sqlite/sqlitepredicate_p.h>

#include <Quillon/platform/sqlite/sqlitestatement_p.h>

#include <QStringList>

TULOSQLitePredicate::TULOSQLitePredicate(const QString &column, const QVariant &value)
{
    m_terms.append({column, value});
}

TULOSQLitePredicate TULOSQLitePredicate::andEquals(const QString &column, const QVariant &value) const
{
    TULOSQLitePredicate result = *this;
    result.m_terms.append({column, value});
    return result;
}

QString TULOSQLitePredicate::whereClause() const
{
    if (m_terms.isEmpty())
        return QString();
    QStringList conditions;
    for (const auto &term : m_terms)
        conditions.append(TULOSQLiteQuotedIdentifier(term.first) + QStringLiteral(" IS ?"));
    return QStringLiteral(" WHERE ") + conditions.join(QStringLiteral(" AND "));
}

QVariantList TULOSQLitePredicate::values() const
{
    QVariantList result;
    for (const auto &term : m_terms)
        result.append(term.second);
    return result;
}

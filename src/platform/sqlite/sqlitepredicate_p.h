#pragma once

#include <QList>
#include <QString>
#include <QVariant>
#include <QVariantList>
#include <utility>

// A conjunction of "column equals value" conditions; no condition matches every row. A null
// value matches NULL (the comparison is SQL's IS, not =).
class TULOSQLitePredicate
{
public:
    TULOSQLitePredicate() = default;
    TULOSQLitePredicate(const QString &column, const QVariant &value);

    // This predicate and one more condition.
    TULOSQLitePredicate andEquals(const QString &column, const QVariant &value) const;

    bool isEmpty() const { return m_terms.isEmpty(); }
    QList<std::pair<QString, QVariant>> terms() const { return m_terms; }

    // " WHERE "a" IS ? AND "b" IS ?" (empty without conditions) and the values for its parameters.
    QString whereClause() const;
    QVariantList values() const;

private:
    QList<std::pair<QString, QVariant>> m_terms;
};

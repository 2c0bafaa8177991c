#pragma once

#include <Quillon/quillon_export.h>

#include <QHashFunctions>
#include <QMetaType>
#include <QString>
#include <QVariantMap>
#include <optional>

// A Facebook page an account may post to. Pages are the same page when their identifiers are.
class QUILLON_EXPORT TULOFacebookPage
{
public:
    TULOFacebookPage() = default;
    TULOFacebookPage(const QString &identifier, const QString &name);
    // From a server dictionary with string values for "id" and "name"; nothing otherwise.
    static std::optional<TULOFacebookPage> withDictionary(const QVariantMap &dictionary);

    QString identifier() const { return m_identifier; }
    QString name() const { return m_name; }

    bool operator==(const TULOFacebookPage &other) const { return m_identifier == other.m_identifier; }

private:
    QString m_identifier;
    QString m_name;
};

inline size_t qHash(const TULOFacebookPage &page, size_t seed = 0)
{
    return qHash(page.identifier(), seed);
}

Q_DECLARE_METATYPE(TULOFacebookPage)

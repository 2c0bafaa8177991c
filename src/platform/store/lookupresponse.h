#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>

#include <QList>
#include <QMetaType>
#include <QVariantMap>

#include <optional>

// One catalogue item of a lookup reply, in the store's lookup form.
class QUILLON_EXPORT TULOLookupItem
{
public:
    TULOLookupItem() = default;
    TULOLookupItem(const QString &key, const QVariantMap &dictionary) : m_key(key), m_dictionary(dictionary) {}

    // The key the reply listed the item under (its identifier as a decimal string).
    QString key() const { return m_key; }
    QVariantMap lookupDictionary() const { return m_dictionary; }

private:
    QString m_key;
    QVariantMap m_dictionary;
};

// A catalogue lookup reply: the items found, by identifier. Items the store does not know are
// simply absent.
class QUILLON_EXPORT TULOLookupResponse
{
public:
    TULOLookupResponse() = default;

    // From the decoded reply; store error 100 when "results" is missing or not a dictionary.
    static std::optional<TULOLookupResponse> withDictionary(const QVariantMap &reply, TULOError *error = nullptr);

    // By identifier: a string is matched as it stands; a number by its decimal string.
    // Results that are not dictionaries count as absent.
    std::optional<TULOLookupItem> itemForKey(const QVariant &key) const;
    // Every item, by key order.
    QList<TULOLookupItem> allItems() const;
    bool isEmpty() const { return allItems().isEmpty(); }

    int version() const { return m_version; }
    QString storefrontSuffix() const { return m_storefront; }

private:
    QVariantMap m_results;
    int m_version = 0;
    QString m_storefront;
};

Q_DECLARE_METATYPE(TULOLookupResponse)

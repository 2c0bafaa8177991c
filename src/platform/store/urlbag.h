#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>

#include <QMetaType>
#include <QUrl>
#include <QVariantMap>

// The store's URL bag: the one document that names every endpoint and the store's limits.
// Values keep the types the reply had (string, number, bool, list, dictionary).
class QUILLON_EXPORT TULOUrlBag
{
public:
    TULOUrlBag() = default;
    explicit TULOUrlBag(const QVariantMap &dictionary) : m_dictionary(dictionary) {}

    // From a reply body; a body that is not a JSON object fails with store error 100.
    static std::optional<TULOUrlBag> withData(const QByteArray &data, const QUrl &source, TULOError *error = nullptr);

    bool isEmpty() const { return m_dictionary.isEmpty(); }
    QVariantMap dictionary() const { return m_dictionary; }

    // The value as the reply typed it; an invalid QVariant and store error 124 when absent.
    QVariant valueForKey(const QString &key, TULOError *error = nullptr) const;
    // Typed reads: a missing value, or one of another type, gives an empty result and error 124.
    QString stringForKey(const QString &key, TULOError *error = nullptr) const;
    QUrl urlForKey(const QString &key, TULOError *error = nullptr) const;
    QVariantMap dictionaryForKey(const QString &key, TULOError *error = nullptr) const;
    QVariantList arrayForKey(const QString &key, TULOError *error = nullptr) const;
    std::optional<double> numberForKey(const QString &key, TULOError *error = nullptr) const;
    // An endpoint inside a dictionary value ("musicForum" / "socialAccountInfo").
    QUrl urlForKeyPath(const QString &key, const QString &innerKey, TULOError *error = nullptr) const;

private:
    QVariantMap m_dictionary;
};

Q_DECLARE_METATYPE(TULOUrlBag)

#pragma once

#include <Quillon/quillon_export.h>

#include <QList>
#include <QMetaType>
#include <QUrl>
#include <QVariantList>

// Artwork of a store lookup item as a list of ready-made sizes.
class QUILLON_EXPORT TULOArtworkList
{
public:
    struct Entry {
        QUrl url;
        qint64 width = 0;
        qint64 height = 0;
        bool operator==(const Entry &other) const = default;
    };

    TULOArtworkList() = default;
    // From the lookup's artwork array: dictionaries with "url", "width" and "height".
    // Entries without a URL string or a positive width are skipped.
    explicit TULOArtworkList(const QVariantList &lookupArray);

    bool isEmpty() const { return m_entries.isEmpty(); }
    QList<Entry> entries() const { return m_entries; }

    // The smallest entry at least `width` wide, else the widest there is; empty when the list is.
    QUrl URLForWidth(qint64 width) const;

    bool operator==(const TULOArtworkList &other) const = default;

private:
    QList<Entry> m_entries; // sorted by width
};

Q_DECLARE_METATYPE(TULOArtworkList)

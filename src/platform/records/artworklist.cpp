#include <Quillon/platform/records/artworklist.h>

#include <Quillon/platform/records/lookupvalue.h>

#include <algorithm>

TULOArtworkList::TULOArtworkList(const QVariantList &lookupArray)
{
    for (const QVariant &element : lookupArray) {
        if (element.typeId() != QMetaType::QVariantMap)
            continue;
        const QVariantMap map = element.toMap();
        const QString url = TULOLookupString(map.value(QStringLiteral("url")));
        const qint64 width = static_cast<qint64>(TULOLookupDouble(map.value(QStringLiteral("width"))).value_or(0));
        if (url.isEmpty() || width <= 0)
            continue;
        Entry entry;
        entry.url = QUrl(url);
        entry.width = width;
        entry.height = static_cast<qint64>(TULOLookupDouble(map.value(QStringLiteral("height"))).value_or(0));
        m_entries.append(entry);
    }
    std::stable_sort(m_entries.begin(), m_entries.end(),
                     [](const Entry &a, const Entry &b) { return a.width < b.width; });
}

QUrl TULOArtworkList::URLForWidth(qint64 width) const
{
    for (const Entry &entry : m_entries) {
        if (entry.width >= width)
            return entry.url;
    }
    return m_entries.isEmpty() ? QUrl() : m_entries.constLast().url;
}

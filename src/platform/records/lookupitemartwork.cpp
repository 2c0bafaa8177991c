#include <Quillon/platform/records/lookupitemartwork.h>

#include <Quillon/platform/records/lookupvalue.h>

TULOLookupItemArtwork::TULOLookupItemArtwork(const QVariantMap &lookupDictionary)
{
    m_URLTemplate = TULOLookupString(lookupDictionary.value(QStringLiteral("url")));
    m_width = static_cast<qint64>(TULOLookupDouble(lookupDictionary.value(QStringLiteral("width"))).value_or(0));
    m_height = static_cast<qint64>(TULOLookupDouble(lookupDictionary.value(QStringLiteral("height"))).value_or(0));
}

QUrl TULOLookupItemArtwork::URLWithHeight(quint64 height, quint64 width, const QString &format) const
{
    if (m_URLTemplate.isEmpty())
        return QUrl();
    QString url = m_URLTemplate;
    url.replace(QLatin1String("{w}"), QString::number(width));
    url.replace(QLatin1String("{h}"), QString::number(height));
    url.replace(QLatin1String("{f}"), format);
    return QUrl(url);
}

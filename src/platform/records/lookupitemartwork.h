#pragma once

#include <Quillon/quillon_export.h>

#include <QMetaType>
#include <QString>
#include <QUrl>
#include <QVariantMap>

// Artwork of a store lookup item: a URL template with "{w}" and "{h}" (and optionally "{f}",
// the image format) that the store's image server fills in for any size.
class QUILLON_EXPORT TULOLookupItemArtwork
{
public:
    TULOLookupItemArtwork() = default;
    // Reads "url" (the template), "width" and "height" (the original size); wrong types are
    // ignored field by field.
    explicit TULOLookupItemArtwork(const QVariantMap &lookupDictionary);

    bool isNull() const { return m_URLTemplate.isEmpty(); }
    QString URLTemplate() const { return m_URLTemplate; }
    qint64 originalWidth() const { return m_width; }
    qint64 originalHeight() const { return m_height; }

    // The template filled in; an empty URL without a template.
    QUrl URLWithHeight(quint64 height, quint64 width, const QString &format = QStringLiteral("jpg")) const;

    bool operator==(const TULOLookupItemArtwork &other) const = default;

private:
    QString m_URLTemplate;
    qint64 m_width = 0;
    qint64 m_height = 0;
};

Q_DECLARE_METATYPE(TULOLookupItemArtwork)

#include <Quillon/core/tag.h>

#include <Quillon/platform/records/lookupitemartwork.h>

#include <QGuiApplication>
#include <QScreen>

namespace {

QString stringValue(const QVariantMap &dictionary, const QString &key)
{
    const QVariant value = dictionary.value(key);
    return value.typeId() == QMetaType::QString ? value.toString() : QString();
}

} // namespace

TULOTag::TULOTag(const QVariantMap &tagDictionary)
    : m_entityType(stringValue(tagDictionary, QStringLiteral("entityType")))
    , m_identifier(stringValue(tagDictionary, QStringLiteral("id")))
    , m_name(stringValue(tagDictionary, QStringLiteral("title")))
{
    if (!m_name.isNull())
        m_tagString = QStringLiteral("@") + QString(m_name).remove(QLatin1Char(' '));
    const QString imageURL = stringValue(tagDictionary, QStringLiteral("imageUrl"));
    if (!imageURL.isNull()) {
        m_thumbnailImageURL = QUrl(imageURL);
        return;
    }
    const QVariant images = tagDictionary.value(QStringLiteral("images"));
    if (images.typeId() != QMetaType::QVariantList)
        return;
    const QVariant first = images.toList().value(0);
    if (first.typeId() != QMetaType::QVariantMap)
        return;
    const TULOLookupItemArtwork artwork(first.toMap());
    // A 32-point thumbnail in the main screen's pixels. A command-line process has only a core
    // application object, which must not be taken for a GUI one.
    const bool gui = qobject_cast<QGuiApplication *>(QCoreApplication::instance()) != nullptr;
    const QScreen *screen = gui ? QGuiApplication::primaryScreen() : nullptr;
    const auto side = quint64(32 * (screen ? screen->devicePixelRatio() : 1.0));
    m_thumbnailImageURL = artwork.URLWithHeight(side, side);
}

TULOTag::TULOTag(const TULOPostArtist &artist)
    : m_identifier(artist.identifier())
    , m_name(artist.name())
{
}

TULOPostArtist TULOTag::artistRepresentation() const
{
    return TULOPostArtist(m_identifier, m_name);
}

std::optional<TULOTag> TULOExistingTagForString(const QList<TULOTag> &matchedTags, const QString &string)
{
    if (matchedTags.isEmpty())
        return std::nullopt;
    const QString wanted = string.startsWith(QLatin1Char('@')) ? string.mid(1) : string;
    std::optional<TULOTag> found;
    int matches = 0;
    for (const TULOTag &tag : matchedTags) {
        const auto equal = [&wanted](const QString &value) {
            return !value.isNull() && value.compare(wanted, Qt::CaseInsensitive) == 0;
        };
        if (!equal(tag.name()) && !equal(tag.tagString()))
            continue;
        if (++matches == 2)
            return std::nullopt;
        found = tag;
    }
    return found;
}

#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/records/postartist.h>

#include <QList>
#include <QMetaType>
#include <QString>
#include <QUrl>
#include <QVariantMap>

#include <optional>

// A tagged store entity (an artist, a work, ...) as the tag lookup service names it.
// A value: copies are independent. A null QString field is nil.
class QUILLON_EXPORT TULOTag
{
public:
    TULOTag() = default;
    // From one element of a lookup reply; values of an unexpected type leave their field nil.
    explicit TULOTag(const QVariantMap &tagDictionary);
    // An artist's identifier and name; the other fields stay nil.
    explicit TULOTag(const TULOPostArtist &artist);

    // A new artist record with this tag's identifier and name, to credit an artist.
    TULOPostArtist artistRepresentation() const;

    QString entityType() const { return m_entityType; }
    void setEntityType(const QString &value) { m_entityType = value; }
    QString identifier() const { return m_identifier; }
    void setIdentifier(const QString &value) { m_identifier = value; }
    QString name() const { return m_name; }
    void setName(const QString &value) { m_name = value; }
    // What the user types: "@" and the name without spaces.
    QString tagString() const { return m_tagString; }
    void setTagString(const QString &value) { m_tagString = value; }
    QUrl thumbnailImageURL() const { return m_thumbnailImageURL; }
    void setThumbnailImageURL(const QUrl &value) { m_thumbnailImageURL = value; }

    bool operator==(const TULOTag &) const = default;

private:
    QString m_entityType;
    QString m_identifier;
    QString m_name;
    QString m_tagString;
    QUrl m_thumbnailImageURL;
};

Q_DECLARE_METATYPE(TULOTag)

// The one tag of `matchedTags` that `string` names (a leading "@" ignored): its name, or else
// its tag string, equal to the string ignoring case. Nothing when none or
// more than one match, so an ambiguous name never picks a tag by chance.
QUILLON_EXPORT std::optional<TULOTag> TULOExistingTagForString(const QList<TULOTag> &matchedTags, const QString &string);

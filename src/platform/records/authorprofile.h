#pragma once

#include <Quillon/quillon_export.h>

#include <QMetaType>
#include <QString>
#include <QUrl>
#include <QVariantMap>

// The store's profile of the signed-in account: who it is and how it shows.
class QUILLON_EXPORT TULOAuthorProfile
{
public:
    TULOAuthorProfile() = default;

    // From the store's profile reply; values of the wrong type leave their field empty.
    static TULOAuthorProfile withProfileDictionary(const QVariantMap &dictionary);

    QString identifier() const { return m_identifier; }
    void setIdentifier(const QString &value) { m_identifier = value; }
    QString name() const { return m_name; }
    void setName(const QString &value) { m_name = value; }
    // The author type of the profile ("artist", "user", ...).
    QString profileType() const { return m_profileType; }
    void setProfileType(const QString &value) { m_profileType = value; }
    QUrl profileImageURL() const { return m_profileImageURL; }
    void setProfileImageURL(const QUrl &value) { m_profileImageURL = value; }

    bool operator==(const TULOAuthorProfile &other) const = default;

private:
    QString m_identifier;
    QString m_name;
    QString m_profileType;
    QUrl m_profileImageURL;
};

Q_DECLARE_METATYPE(TULOAuthorProfile)

#pragma once

#include <Quillon/quillon_export.h>

#include <QMetaType>
#include <QString>
#include <QVariantMap>

// An external service as the configuration offers it.
class QUILLON_EXPORT TULOSocialService
{
public:
    TULOSocialService() = default;
    // The dictionary is not read: the configuration loader fills the service through its setters.
    explicit TULOSocialService(const QVariantMap &serviceDictionary);

    // A service identifier (TULOServiceIdentifierFacebook, TULOServiceIdentifierTwitter).
    QString identifier() const { return m_identifier; }
    void setIdentifier(const QString &identifier) { m_identifier = identifier; }
    qint64 maximumNumberOfCharacters() const { return m_maximumNumberOfCharacters; }
    void setMaximumNumberOfCharacters(qint64 maximum) { m_maximumNumberOfCharacters = maximum; }
    QString storeItemIdentifier() const { return m_storeItemIdentifier; }
    void setStoreItemIdentifier(const QString &identifier) { m_storeItemIdentifier = identifier; }

    bool operator==(const TULOSocialService &other) const = default;

private:
    QString m_identifier;
    qint64 m_maximumNumberOfCharacters = 0;
    QString m_storeItemIdentifier;
};

Q_DECLARE_METATYPE(TULOSocialService)

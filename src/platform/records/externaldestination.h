#pragma once

#include <Quillon/quillon_export.h>

#include <QMetaType>
#include <QString>

// Service constants carried in an external destination; they equal the service identifiers.
extern QUILLON_EXPORT const char *const TULOExternalServiceFacebook;
extern QUILLON_EXPORT const char *const TULOExternalServiceTwitter;

// Where the store cross-posts a post: a service, optionally a page, and the tokens it needs.
class QUILLON_EXPORT TULOExternalDestination
{
public:
    TULOExternalDestination() = default;
    explicit TULOExternalDestination(const QString &serviceIdentifier)
        : m_serviceIdentifier(serviceIdentifier) {}

    QString serviceIdentifier() const { return m_serviceIdentifier; }
    void setServiceIdentifier(const QString &value) { m_serviceIdentifier = value; }
    // Null means "no page"; the empty string means "a page, chosen by the server".
    QString pageIdentifier() const { return m_pageIdentifier; }
    void setPageIdentifier(const QString &value) { m_pageIdentifier = value; }
    QString accessToken() const { return m_accessToken; }
    void setAccessToken(const QString &value) { m_accessToken = value; }
    QString pageAccessToken() const { return m_pageAccessToken; }
    void setPageAccessToken(const QString &value) { m_pageAccessToken = value; }

    // Null and empty differ here, so compare nullness too.
    bool operator==(const TULOExternalDestination &other) const;

private:
    QString m_serviceIdentifier;
    QString m_pageIdentifier;
    QString m_accessToken;
    QString m_pageAccessToken;
};

Q_DECLARE_METATYPE(TULOExternalDestination)

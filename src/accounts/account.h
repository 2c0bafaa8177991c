#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/facebookpage.h>
#include <Quillon/platform/error.h>

#include <QDebug>
#include <QList>
#include <QMetaType>
#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <optional>

// Property names of an account's bag; each constant's value is its own name.
extern QUILLON_EXPORT const char *const TULOAccountPropertyServiceIdentifier;
extern QUILLON_EXPORT const char *const TULOAccountPropertyUserName;
extern QUILLON_EXPORT const char *const TULOAccountPropertyPassword;
extern QUILLON_EXPORT const char *const TULOAccountPropertyFullName;
extern QUILLON_EXPORT const char *const TULOAccountPropertyAuthenticationToken;
extern QUILLON_EXPORT const char *const TULOAccountPropertyAuthenticationSecret;
extern QUILLON_EXPORT const char *const TULOAccountPropertyPages;
extern QUILLON_EXPORT const char *const TULOAccountPropertyPreferredPageIdentifier;
extern QUILLON_EXPORT const char *const TULOAccountPropertyUserId;

// A linked social account: a bag of properties keyed by the names above. A copy has a bag of
// its own. Two accounts are the same account when their user names and service identifiers
// are. The password lives in the credential store, and is read from there when the bag has
// none; it never appears in a description or a debug stream.
class QUILLON_EXPORT TULOAccount
{
public:
    TULOAccount() = default;
    explicit TULOAccount(const QString &serviceIdentifier);

    // A null value (an invalid variant, a null string) removes the property.
    void setValue(const QVariant &value, const QString &property);
    QVariant valueForProperty(const QString &property) const;
    // Takes over a copy of the other account's whole bag.
    void updateWithTULOAccount(const TULOAccount &account);

    QString serviceIdentifier() const;
    QString userName() const;
    void setUserName(const QString &userName);
    // The bag's password, else the credential store's (then kept in the bag).
    QString password() const;
    void setPassword(const QString &password);
    // The stored full name, else the user name.
    QString fullName() const;
    void setFullName(const QString &fullName);
    QString authenticationToken() const;
    void setAuthenticationToken(const QString &token);
    QString authenticationSecret() const;
    void setAuthenticationSecret(const QString &secret);
    QList<TULOFacebookPage> pages() const;
    void setPages(const QList<TULOFacebookPage> &pages);
    QString preferredPageIdentifier() const;
    void setPreferredPageIdentifier(const QString &identifier);
    // The first page bearing the preferred page identifier; nothing without one or a match.
    std::optional<TULOFacebookPage> preferredPage() const;

    // Stores the bag's password (UTF-8) in the credential store item (user name, service
    // identifier), replacing an existing one. Nothing happens without a password.
    bool saveToCredentialStore(TULOError *error = nullptr) const;
    // Deletes that item; true when it was deleted.
    bool removeFromCredentialStore(TULOError *error = nullptr) const;

    QString description() const;

    bool operator==(const TULOAccount &other) const;

private:
    QString stringValue(const char *property) const;
    void setStringValue(const QString &value, const char *property);
    std::optional<QString> credentialStorePassword() const;

    // Mutable: reading the password caches what the credential store answered.
    mutable QVariantMap m_properties;
};

QUILLON_EXPORT size_t qHash(const TULOAccount &account, size_t seed = 0);
QUILLON_EXPORT QDebug operator<<(QDebug debug, const TULOAccount &account);

Q_DECLARE_METATYPE(TULOAccount)

#pragma once

#include <Quillon/quillon_export.h>

#include <QMetaType>
#include <QString>
#include <QVariantMap>
#include <Quillon/quillon_export.h>

// Error domains. The framework's own errors are in TULOErrorDomain; errors of the platform
// (store, files, network) are passed on unchanged in their own domains.
extern QUILLON_EXPORT const char *const TULOErrorDomain;
extern QUILLON_EXPORT const char *const TULOStoreErrorDomain;
extern QUILLON_EXPORT const char *const TULOFileErrorDomain;
extern QUILLON_EXPORT const char *const TULONetworkErrorDomain;
// Errors of the social services and of the system account store, passed on as they come.
extern QUILLON_EXPORT const char *const TULOFacebookErrorDomain;
extern QUILLON_EXPORT const char *const TULOTwitterErrorDomain;
extern QUILLON_EXPORT const char *const TULOSystemAccountStoreErrorDomain;

// User-info keys.
extern QUILLON_EXPORT const char *const TULOLocalizedDescriptionKey;
extern QUILLON_EXPORT const char *const TULOLocalizedFailureReasonKey;
extern QUILLON_EXPORT const char *const TULOUnderlyingErrorKey;
extern QUILLON_EXPORT const char *const TULOFilePathErrorKey;
extern QUILLON_EXPORT const char *const TULOURLErrorKey;

// A failure: domain, code and user info. A default-constructed error is null, meaning "no
// error"; callbacks that take (value, error) pass a null error on plain success.
class QUILLON_EXPORT TULOError
{
public:
    TULOError() = default;
    TULOError(const QString &domain, qint64 code, const QVariantMap &userInfo = {});
    // Convenience: an error whose localised description is `description`.
    static TULOError withDescription(const QString &domain, qint64 code, const QString &description);

    bool isNull() const { return m_domain.isNull(); }
    explicit operator bool() const { return !isNull(); }

    QString domain() const { return m_domain; }
    qint64 code() const { return m_code; }
    QVariantMap userInfo() const { return m_userInfo; }

    // The description for people: the user info's, else a generic sentence naming domain and code.
    QString localizedDescription() const;
    QString localizedFailureReason() const;
    // The error that caused this one, or a null error.
    TULOError underlyingError() const;

    bool is(const QString &domain, qint64 code) const { return m_domain == domain && m_code == code; }
    bool operator==(const TULOError &other) const;

private:
    QString m_domain;
    qint64 m_code = 0;
    QVariantMap m_userInfo;
};

Q_DECLARE_METATYPE(TULOError)

// Writes `value` to `out` when the caller asked for the error.
inline void TULOSetError(TULOError *out, const TULOError &value)
{
    if (out)
        *out = value;
}

QUILLON_EXPORT QDebug operator<<(QDebug debug, const TULOError &error);

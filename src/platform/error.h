#pragma once

#include <Quillon/quillon_export.h>

#include <QMetaType>
#include <QString>
#include <QVariantMap>

// An error domain's name. Every domain is a constant of this type, and each domain's codes are
// an enum named after it (TULOErrorDomain: TULOErrorCode). Errors keep the domain as a QString,
// so that errors read back from disk or another process compare equal to freshly made ones.
using TULOErrorDomainName = QLatin1StringView;

// Error domains. The framework's own errors are in TULOErrorDomain; errors of the platform
// (store, files, network) are passed on unchanged in their own domains.
inline constexpr TULOErrorDomainName TULOErrorDomain{"TULOErrorDomain"};
inline constexpr TULOErrorDomainName TULOStoreErrorDomain{"TULOStoreErrorDomain"};
inline constexpr TULOErrorDomainName TULOFileErrorDomain{"TULOFileErrorDomain"};
inline constexpr TULOErrorDomainName TULONetworkErrorDomain{"TULONetworkErrorDomain"};
// Errors of the social services and of the system account store, passed on as they come.
inline constexpr TULOErrorDomainName TULOFacebookErrorDomain{"TULOFacebookErrorDomain"};
inline constexpr TULOErrorDomainName TULOTwitterErrorDomain{"TULOTwitterErrorDomain"};
inline constexpr TULOErrorDomainName TULOSystemAccountStoreErrorDomain{"TULOSystemAccountStoreErrorDomain"};

// Codes of TULOErrorDomain. Their values are part of the API: hosts and stored errors use them.
enum TULOErrorCode : qint64 {
    TULOErrorNoAuthor = 0,                     // no identity may post for this account
    TULOErrorOperationFailed = 1,              // a framework operation failed; see the description
    TULOErrorSignInRequired = 2,               // the store session is gone: sign in again, then retry
    TULOErrorNoLinkedAccount = 3,              // no linked account for the service
    TULOErrorFacebookSignInGaveNothing = 4,    // the sign-in ended with neither a token nor an error
    TULOErrorVerificationServiceUnsupported = 7, // password verification exists for Twitter only
    TULOErrorFacebookRegistrationUnconfirmed = 8, // passed even on success: judge by the boolean
};

// Codes of TULOFileErrorDomain.
enum TULOFileErrorCode : qint64 {
    TULOFileErrorUnknown = 0,
    TULOFileErrorNoSuchFile = 4,
    TULOFileErrorBusy = 16,             // another process holds the file
    TULOFileErrorReadFailed = 256,
    TULOFileErrorReadNoPermission = 257,
    TULOFileErrorCorruptFile = 259,     // the file exists but cannot be read as what it claims to be
    TULOFileErrorReadNoSuchFile = 260,
    TULOFileErrorWriteNoPermission = 513,
    TULOFileErrorOutOfSpace = 640,
};

// Codes of TULONetworkErrorDomain: QNetworkReply::NetworkError values, and this one for a failure
// the network layer could not classify.
enum TULONetworkErrorCode : qint64 {
    TULONetworkErrorUnknown = -1,
};

// Codes of the social services' and the system account store's domains that the framework reads.
enum TULOFacebookErrorCode : qint64 {
    TULOFacebookErrorNeedsApproval = 406,
};
enum TULOTwitterErrorCode : qint64 {
    TULOTwitterErrorLoginVerificationRequired = 231,
};
enum TULOSystemAccountStoreErrorCode : qint64 {
    TULOSystemAccountStoreErrorCredentialsInvalid = 3,
};

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

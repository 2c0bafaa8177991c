#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/operation.h>
#include <Quillon/platform/store/lookupresponse.h>
#include <Quillon/platform/store/platformcontext.h>

#include <functional>
#include <mutex>
#include <optional>

// Key profiles the store's lookup understands.
extern QUILLON_EXPORT const char *const TULOLookupKeyProfileArtistContent; // "artist-content": an artist with its albums
extern QUILLON_EXPORT const char *const TULOLookupKeyProfileLockup;        // "lockup": the item alone
// The request parameter that names the protocol version, and the version this client speaks.
extern QUILLON_EXPORT const char *const TULOPlatformRequestVersionParameter; // "version"
extern QUILLON_EXPORT const char *const TULOPlatformProtocolVersion;         // "2"

// One catalogue lookup: item identifiers, a key profile, a personalization style and a
// storefront suffix, plus extra request parameters. Run it on a queue or synchronously with
// start(); the response block is called exactly once, on the running thread, with a response
// or with the error (transport 100/121, HTTP failure 100 with the status, unreadable reply 100).
class QUILLON_EXPORT TULOPlatformRequestOperation : public TULOOperation
{
public:
    using ResponseBlock = std::function<void(const std::optional<TULOLookupResponse> &response, const TULOError &error)>;

    explicit TULOPlatformRequestOperation(const TULOPlatformContext &context);

    TULOPlatformContext platformContext() const;
    // Strings or numbers; numbers go out as their decimal strings.
    QVariantList itemIdentifiers() const;
    void setItemIdentifiers(const QVariantList &identifiers);
    QString keyProfile() const;
    void setKeyProfile(const QString &profile);
    // Sent as "p13n" when positive.
    int personalizationStyle() const;
    void setPersonalizationStyle(int style);
    // Sent as "sf" and in the storefront header when not empty.
    QString storefrontSuffix() const;
    void setStorefrontSuffix(const QString &suffix);
    // Extra query items, sent after the standard ones; an empty value removes one.
    void setValueForRequestParameter(const QString &value, const QString &name);
    QList<QPair<QString, QString>> requestParameters() const;

    void setResponseBlock(ResponseBlock block);
    ResponseBlock responseBlock() const;

    // After the run.
    std::optional<TULOLookupResponse> response() const;
    TULOError error() const;
    int httpStatus() const;

    // The request this operation makes, or an invalid URL with the error.
    QUrl requestURL(TULOError *error = nullptr) const;

protected:
    void main() override;

private:
    mutable std::mutex m_mutex;
    TULOPlatformContext m_context;
    QVariantList m_identifiers;
    QString m_keyProfile;
    int m_personalizationStyle = 0;
    QString m_storefrontSuffix;
    QList<QPair<QString, QString>> m_parameters;
    ResponseBlock m_responseBlock;
    std::optional<TULOLookupResponse> m_response;
    TULOError m_error;
    int m_httpStatus = 0;
};

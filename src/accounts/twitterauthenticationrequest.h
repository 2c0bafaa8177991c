#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/accounts/account.h>
#include <Quillon/platform/error.h>

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QUrl>

#include <functional>
#include <memory>

class QNetworkRequest;

// Exchanges a Twitter user name and password for an access token (xAuth) and answers a ready
// account. One attempt per object; nothing is kept after it.
class QUILLON_EXPORT TULOTwitterAuthenticationRequest
{
public:
    // Called exactly once, on the worker thread that received the answer (or at once, on the
    // calling thread, for an empty user name or password).
    using ResponseBlock = std::function<void(const std::optional<TULOAccount> &account, const TULOError &error)>;

    TULOTwitterAuthenticationRequest(const QString &username, const QString &password);
    ~TULOTwitterAuthenticationRequest();

    QString username() const { return m_username; }

    // Throws TULOInternalInconsistencyException ("Response has already started") when called
    // a second time.
    void startWithResponseBlock(ResponseBlock block);

    // The signed access-token request: its URL, form fields and Authorization header. Public
    // so that the signature can be checked against a verifier.
    struct SignedRequest
    {
        QUrl url;
        QList<QPair<QString, QString>> formFields;
        QByteArray authorizationHeader;
    };
    static SignedRequest signedRequest(const QUrl &url, const QString &consumerKey, const QString &consumerSecret,
                                       const QList<QPair<QString, QString>> &formFields, const QByteArray &nonce,
                                       qint64 timestamp);

    // The answer for a reply: what the xAuth exchange turns (body, status, transport error)
    // into. The transport error is null when the exchange succeeded.
    static std::pair<std::optional<TULOAccount>, TULOError> resultForReply(const QByteArray &body, int httpStatus,
                                                                           const TULOError &transportError,
                                                                           const QString &password);

    // The application credentials in clear, from the deployment configuration.
    static QString consumerKey();
    static QString consumerSecret();

private:
    struct Attempt;
    void authenticate(std::shared_ptr<Attempt> attempt);

    const QString m_username;
    const QString m_password;
    std::shared_ptr<Attempt> m_attempt;
};

#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QMap>
#include <QString>

#include <functional>
#include <mutex>

namespace httplib {
struct Request;
struct Response;
}
class TULOSandboxDatabase;
class TULOSandboxStorePrivate;

// The social side of the sandbox: the store's linked-account endpoints ("musicForum" and the
// Facebook authorization), and stand-ins for Twitter's xAuth access-token endpoint and
// Facebook's OAuth dialog. What is linked, and the tokens and codes the stand-ins issued, live
// in the store's database, so they outlast the process (the command line links in one run and
// posts in the next).
class TULOSandboxSocial
{
public:
    explicit TULOSandboxSocial(TULOSandboxDatabase &database);

    // The demo identities of the stand-ins.
    static QString twitterUserName();             // signs in, screen name "quillondemo"
    static QString twitterVerificationUserName(); // right password, but needs its login verified
    static QString twitterPassword();
    static QString facebookEmail();
    static QString facebookPassword();
    static QString facebookUserName();
    // Pages of the demo Facebook user, as {"id", "name"} objects.
    static QJsonArray facebookPages();

    // The secret that Twitter signatures are checked with; by default the deployment default's.
    QString consumerSecret() const;
    void setConsumerSecret(const QString &secret);

    // What the account-info endpoint answers as "accountInfo" for an author (its query key and
    // identifier) and a service: an empty object when nothing is linked. Tests may set any
    // value, of any type; an undefined value unlinks.
    QJsonValue accountInfo(const QString &authorKey, const QString &authorIdentifier, const QString &service) const;
    void setAccountInfo(const QString &authorKey, const QString &authorIdentifier, const QString &service, const QJsonValue &info);
    // The tokens last registered for an author's service (the token-register query items).
    QJsonObject registeredTokens(const QString &authorKey, const QString &authorIdentifier, const QString &service) const;

    // Makes the social endpoint at `path` answer exactly this, until cleared: for replies of
    // shapes the real endpoints never give (a failing status with a good body, HTML, ...).
    void setCannedReply(const QString &path, int status, const QByteArray &body,
                        const QByteArray &contentType = QByteArrayLiteral("application/json"));
    void clearCannedReplies();

    void installRoutes(TULOSandboxStorePrivate &store);

private:
    struct CannedReply
    {
        int status;
        QByteArray body;
        QByteArray contentType;
    };

    // One file per service: the store's own endpoints here, the stand-ins beside.
    void installStoreRoutes(TULOSandboxStorePrivate &store);
    void installTwitterRoutes(TULOSandboxStorePrivate &store);
    void installFacebookRoutes(TULOSandboxStorePrivate &store);
    // Wraps a handler so that a canned reply for its path wins.
    std::function<void(const httplib::Request &, httplib::Response &)>
    withCannedReplies(std::function<void(const httplib::Request &, httplib::Response &)> handler);

    // Issued by the stand-ins, consumed by the store's endpoints.
    void rememberTwitterToken(const QString &token, const QString &screenName);
    QString twitterScreenNameForToken(const QString &token) const;
    void rememberFacebookCode(const QString &code, const QString &userName);
    QString takeFacebookCode(const QString &code);

    void setRegisteredTokens(const QString &authorKey, const QString &authorIdentifier, const QString &service,
                             const QJsonObject &tokens);

    TULOSandboxDatabase &m_database;
    mutable std::mutex m_mutex; // guards the members below
    QString m_consumerSecret;
    QMap<QString, CannedReply> m_cannedReplies; // path -> reply

    friend class TULOSandboxSocialStoreRoutes;
};

// Helpers the per-service files share.
QString TULOSandboxRandomToken(int bytes);
// The deployment default's values, kept scrambled as everywhere.
QString TULOSandboxDefaultConsumerSecret();
QString TULOSandboxDefaultFacebookAppId();

#pragma once

#include <QJsonObject>
#include <QJsonValue>
#include <QMap>
#include <QString>

#include <mutex>

class TULOSandboxStorePrivate;

// The social side of the sandbox: the store's linked-account endpoints ("musicForum" and the
// Facebook authorization), and stand-ins for Twitter's xAuth access-token endpoint and
// Facebook's OAuth dialog. Linked accounts are kept in memory, per author.
class TULOSandboxSocial
{
public:
    TULOSandboxSocial();

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
    struct Author
    {
        QString key;
        QString identifier;
        QString id() const { return key + QLatin1Char(':') + identifier; }
    };

    mutable std::mutex m_mutex;
    QString m_consumerSecret;
    QMap<QString, QJsonValue> m_accountInfo;     // "<key>:<id>/<service>"
    QMap<QString, QJsonObject> m_registered;     // same keys
    QMap<QString, QString> m_twitterTokens;      // access token -> screen name
    QMap<QString, QString> m_facebookCodes;      // unused authorization codes -> user name
    struct CannedReply
    {
        int status;
        QByteArray body;
        QByteArray contentType;
    };
    QMap<QString, CannedReply> m_cannedReplies;  // path -> reply

    friend class TULOSandboxSocialRoutes;
};

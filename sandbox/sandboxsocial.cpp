// The store's linked-account endpoints of docs/store-protocol.md, and the state they share
// with the Twitter and Facebook stand-ins (sandboxtwitter.cpp, sandboxfacebook.cpp).
#include "sandboxsocial.h"

#include "sandboxstore_p.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>

namespace {

// Kinds of the database's social values.
const QString kAccountInfo = QStringLiteral("accountInfo");
const QString kRegisteredTokens = QStringLiteral("registeredTokens");
const QString kTwitterToken = QStringLiteral("twitterToken");
const QString kFacebookCode = QStringLiteral("facebookCode");

// The deployment default's consumer secret, scrambled as it is kept everywhere: each
// character at an even position is one code unit higher than the clear text's.
const char TULOSandboxScrambledConsumerSecret[] = "RujlmooSbnebpxDoosvmfrTedrftGosLpoqbbclTfsusPnmy11";
const char TULOSandboxScrambledFacebookAppId[] = "243867243867243";

QString unscrambled(const char *scrambled)
{
    QString clear = QString::fromLatin1(scrambled);
    for (qsizetype i = 0; i < clear.size(); i += 2)
        clear[i] = QChar(char16_t(clear.at(i).unicode() - 1));
    return clear;
}

QString authorServiceKey(const QString &authorKey, const QString &authorIdentifier, const QString &service)
{
    return authorKey + QLatin1Char(':') + authorIdentifier + QLatin1Char('/') + service;
}

// Any JSON value (tests store values of wrong shapes too) as text, and back.
QString jsonText(const QJsonValue &value)
{
    return QString::fromUtf8(QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact));
}

QJsonValue jsonValue(const QString &text, const QJsonValue &fallback)
{
    if (text.isNull())
        return fallback;
    const QJsonArray wrapped = QJsonDocument::fromJson(text.toUtf8()).array();
    return wrapped.isEmpty() ? fallback : wrapped.first();
}

} // namespace

QString TULOSandboxRandomToken(int bytes)
{
    QByteArray data(bytes, Qt::Uninitialized);
    for (char &c : data)
        c = char(QRandomGenerator::global()->bounded(256));
    return QString::fromLatin1(data.toHex());
}

QString TULOSandboxDefaultConsumerSecret()
{
    return unscrambled(TULOSandboxScrambledConsumerSecret);
}

QString TULOSandboxDefaultFacebookAppId()
{
    return unscrambled(TULOSandboxScrambledFacebookAppId);
}

TULOSandboxSocial::TULOSandboxSocial(TULOSandboxDatabase &database)
    : m_database(database), m_consumerSecret(TULOSandboxDefaultConsumerSecret())
{
}

QString TULOSandboxSocial::twitterUserName() { return QStringLiteral("quillondemo"); }
QString TULOSandboxSocial::twitterVerificationUserName() { return QStringLiteral("guardeddemo"); }
QString TULOSandboxSocial::twitterPassword() { return QStringLiteral("tweet-demo-pass"); }
QString TULOSandboxSocial::facebookEmail() { return QStringLiteral("casey@facebook.quillon.test"); }
QString TULOSandboxSocial::facebookPassword() { return QStringLiteral("facebook-demo-pass"); }
QString TULOSandboxSocial::facebookUserName() { return QStringLiteral("Casey Demo"); }

QJsonArray TULOSandboxSocial::facebookPages()
{
    return {QJsonObject{{QStringLiteral("id"), QStringLiteral("5501")}, {QStringLiteral("name"), QStringLiteral("Casey Demo Music")}},
            QJsonObject{{QStringLiteral("id"), QStringLiteral("5502")}, {QStringLiteral("name"), QStringLiteral("Northern Lights Fans")}}};
}

QString TULOSandboxSocial::consumerSecret() const
{
    std::lock_guard lock(m_mutex);
    return m_consumerSecret;
}

void TULOSandboxSocial::setConsumerSecret(const QString &secret)
{
    std::lock_guard lock(m_mutex);
    m_consumerSecret = secret;
}

QJsonValue TULOSandboxSocial::accountInfo(const QString &authorKey, const QString &authorIdentifier, const QString &service) const
{
    return jsonValue(m_database.socialValue(kAccountInfo, authorServiceKey(authorKey, authorIdentifier, service)), QJsonObject());
}

void TULOSandboxSocial::setAccountInfo(const QString &authorKey, const QString &authorIdentifier, const QString &service,
                                       const QJsonValue &info)
{
    const QString key = authorServiceKey(authorKey, authorIdentifier, service);
    if (info.isUndefined()) {
        m_database.setSocialValue(kAccountInfo, key, QString());
        m_database.setSocialValue(kRegisteredTokens, key, QString());
    } else {
        m_database.setSocialValue(kAccountInfo, key, jsonText(info));
    }
}

QJsonObject TULOSandboxSocial::registeredTokens(const QString &authorKey, const QString &authorIdentifier, const QString &service) const
{
    return jsonValue(m_database.socialValue(kRegisteredTokens, authorServiceKey(authorKey, authorIdentifier, service)), QJsonObject())
        .toObject();
}

void TULOSandboxSocial::setRegisteredTokens(const QString &authorKey, const QString &authorIdentifier, const QString &service,
                                            const QJsonObject &tokens)
{
    m_database.setSocialValue(kRegisteredTokens, authorServiceKey(authorKey, authorIdentifier, service), jsonText(tokens));
}

void TULOSandboxSocial::rememberTwitterToken(const QString &token, const QString &screenName)
{
    m_database.setSocialValue(kTwitterToken, token, screenName);
}

QString TULOSandboxSocial::twitterScreenNameForToken(const QString &token) const
{
    return token.isEmpty() ? QString() : m_database.socialValue(kTwitterToken, token);
}

void TULOSandboxSocial::rememberFacebookCode(const QString &code, const QString &userName)
{
    m_database.setSocialValue(kFacebookCode, code, userName);
}

QString TULOSandboxSocial::takeFacebookCode(const QString &code)
{
    return code.isEmpty() ? QString() : m_database.takeSocialValue(kFacebookCode, code);
}

void TULOSandboxSocial::setCannedReply(const QString &path, int status, const QByteArray &body, const QByteArray &contentType)
{
    std::lock_guard lock(m_mutex);
    m_cannedReplies.insert(path, {status, body, contentType});
}

void TULOSandboxSocial::clearCannedReplies()
{
    std::lock_guard lock(m_mutex);
    m_cannedReplies.clear();
}

std::function<void(const httplib::Request &, httplib::Response &)>
TULOSandboxSocial::withCannedReplies(std::function<void(const httplib::Request &, httplib::Response &)> handler)
{
    return [this, handler = std::move(handler)](const httplib::Request &request, httplib::Response &response) {
        {
            std::lock_guard lock(m_mutex);
            const auto it = m_cannedReplies.constFind(QString::fromStdString(request.path));
            if (it != m_cannedReplies.cend()) {
                response.status = it->status;
                response.set_content(it->body.toStdString(), it->contentType.toStdString());
                return;
            }
        }
        handler(request, response);
    };
}

void TULOSandboxSocial::installRoutes(TULOSandboxStorePrivate &store)
{
    installStoreRoutes(store);
    installTwitterRoutes(store);
    installFacebookRoutes(store);
}

// The store's endpoints, kept apart from the class's interface.
class TULOSandboxSocialStoreRoutes
{
public:
    struct Author
    {
        QString key;
        QString identifier;
    };

    TULOSandboxSocialStoreRoutes(TULOSandboxSocial &social, TULOSandboxStorePrivate &store) : s(social), store(store) {}

    // The author named by the request's author item; answers 400 itself when there is none.
    static std::optional<Author> author(const httplib::Request &request, httplib::Response &response)
    {
        for (const char *key : {"artist", "brand", "SorvelBrand", "activityCurator", "user"}) {
            const QString identifier = TULOSandboxStorePrivate::param(request, key);
            if (!identifier.isEmpty())
                return Author{QString::fromLatin1(key), identifier};
        }
        TULOSandboxStorePrivate::failure(response, 400, "missingIdentifiers", QStringLiteral("The request names no author."));
        return std::nullopt;
    }

    std::optional<Author> signedAuthor(const httplib::Request &request, httplib::Response &response)
    {
        if (!store.signedAccount(request, response))
            return std::nullopt;
        return author(request, response);
    }

    static std::optional<QString> service(const httplib::Request &request, httplib::Response &response)
    {
        const QString type = TULOSandboxStorePrivate::param(request, "accountType");
        if (type == QLatin1String("facebook") || type == QLatin1String("twitter"))
            return type;
        TULOSandboxStorePrivate::failure(response, 400, "malformedRequest", QStringLiteral("Unknown account type \"%1\".").arg(type));
        return std::nullopt;
    }

    static void success(httplib::Response &response)
    {
        TULOSandboxStorePrivate::reply(response, 200, {{QStringLiteral("status"), QStringLiteral("success")}});
    }

    void accountInfo(const httplib::Request &request, httplib::Response &response)
    {
        const auto who = signedAuthor(request, response);
        if (!who)
            return;
        const auto type = service(request, response);
        if (!type)
            return;
        TULOSandboxStorePrivate::reply(response, 200, {{QStringLiteral("accountInfo"), s.accountInfo(who->key, who->identifier, *type)}});
    }

    void unlink(const httplib::Request &request, httplib::Response &response)
    {
        const auto who = signedAuthor(request, response);
        if (!who)
            return;
        const auto type = service(request, response);
        if (!type)
            return;
        s.setAccountInfo(who->key, who->identifier, *type, QJsonValue(QJsonValue::Undefined));
        success(response);
    }

    // Page choice (only "pageId") or token register (tokens, perhaps a page).
    void updateAccount(const httplib::Request &request, httplib::Response &response, const QString &type)
    {
        const auto who = signedAuthor(request, response);
        if (!who)
            return;
        QJsonObject info = s.accountInfo(who->key, who->identifier, type).toObject();
        if (request.has_param("accessToken")) {
            QJsonObject tokens;
            for (const char *name : {"accessToken", "accessTokenSecret", "userId", "pageAccessToken", "pageId"}) {
                if (request.has_param(name))
                    tokens.insert(QString::fromLatin1(name), TULOSandboxStorePrivate::param(request, name));
            }
            if (type == QLatin1String("twitter")) {
                const QString screenName = s.twitterScreenNameForToken(TULOSandboxStorePrivate::param(request, "accessToken"));
                if (screenName.isEmpty()) {
                    TULOSandboxStorePrivate::failure(response, 401, "badToken", QStringLiteral("Twitter does not know this access token."));
                    return;
                }
                info = {{QStringLiteral("handle"), screenName}, {QStringLiteral("accountId"), TULOSandboxStorePrivate::param(request, "userId")}};
            } else if (info.isEmpty()) {
                TULOSandboxStorePrivate::failure(response, 404, "notLinked", QStringLiteral("No Facebook account is linked."));
                return;
            }
            s.setAccountInfo(who->key, who->identifier, type, info);
            s.setRegisteredTokens(who->key, who->identifier, type, tokens);
            success(response);
            return;
        }
        if (type != QLatin1String("facebook") || !request.has_param("pageId")) {
            TULOSandboxStorePrivate::failure(response, 400, "malformedRequest", QStringLiteral("Neither tokens nor a page were given."));
            return;
        }
        if (info.isEmpty()) {
            TULOSandboxStorePrivate::failure(response, 404, "notLinked", QStringLiteral("No Facebook account is linked."));
            return;
        }
        info.insert(QStringLiteral("pageId"), TULOSandboxStorePrivate::param(request, "pageId"));
        s.setAccountInfo(who->key, who->identifier, type, info);
        success(response);
    }

    // Links the demo Facebook user with a code the dialog issued; each code works once.
    void facebookAuthorization(const httplib::Request &request, httplib::Response &response)
    {
        const auto who = signedAuthor(request, response);
        if (!who)
            return;
        const QString user = s.takeFacebookCode(TULOSandboxStorePrivate::param(request, "code"));
        if (user.isEmpty()) {
            TULOSandboxStorePrivate::failure(response, 400, "badCode", QStringLiteral("The authorization code is not valid."));
            return;
        }
        s.setAccountInfo(who->key, who->identifier, QStringLiteral("facebook"),
                         QJsonObject{{QStringLiteral("handle"), user},
                                     {QStringLiteral("accountId"), QStringLiteral("100000000000042")},
                                     {QStringLiteral("facebookPages"), TULOSandboxSocial::facebookPages()}});
        success(response);
    }

    TULOSandboxSocial &s;
    TULOSandboxStorePrivate &store;
};

void TULOSandboxSocial::installStoreRoutes(TULOSandboxStorePrivate &store)
{
    auto routes = std::make_shared<TULOSandboxSocialStoreRoutes>(*this, store);
    using Member = void (TULOSandboxSocialStoreRoutes::*)(const httplib::Request &, httplib::Response &);
    const auto bind = [this, routes](Member member) {
        return withCannedReplies([routes, member](const httplib::Request &request, httplib::Response &response) {
            ((*routes).*member)(request, response);
        });
    };
    const auto update = [this, routes](const QString &type) {
        return withCannedReplies([routes, type](const httplib::Request &request, httplib::Response &response) {
            routes->updateAccount(request, response, type);
        });
    };
    store.route("GET", "/social/accountInfo", bind(&TULOSandboxSocialStoreRoutes::accountInfo));
    store.route("GET", "/social/unlink", bind(&TULOSandboxSocialStoreRoutes::unlink));
    store.route("GET", "/social/facebook/update", update(QStringLiteral("facebook")));
    store.route("GET", "/social/twitter/update", update(QStringLiteral("twitter")));
    store.route("GET", "/social/facebookAuth", bind(&TULOSandboxSocialStoreRoutes::facebookAuthorization));
}

// The social endpoints of docs/store-protocol.md and the stand-ins for the social services.
#include "sandboxsocial.h"

#include "sandboxoauth1.h"
#include "sandboxstore_p.h"

#include <QJsonArray>
#include <QRandomGenerator>
#include <QUrlQuery>

namespace {

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

QString param(const httplib::Request &request, const char *name)
{
    return request.has_param(name) ? QString::fromStdString(request.get_param_value(name)) : QString();
}

QString randomToken(int bytes)
{
    QByteArray data(bytes, Qt::Uninitialized);
    for (char &c : data)
        c = char(QRandomGenerator::global()->bounded(256));
    return QString::fromLatin1(data.toHex());
}

QString htmlEscaped(const QString &text)
{
    return text.toHtmlEscaped();
}

void twitterErrors(httplib::Response &response, int code, const QString &message)
{
    TULOSandboxStorePrivate::reply(response, 401,
                                   {{QStringLiteral("errors"), QJsonArray{QJsonObject{{QStringLiteral("code"), code},
                                                                                      {QStringLiteral("message"), message}}}}});
}

void html(httplib::Response &response, int status, const QString &body)
{
    response.status = status;
    response.set_content(body.toStdString(), "text/html; charset=utf-8");
}

QString dialogPage(const QString &clientId, const QString &redirect, const QString &scope, const QString &message)
{
    QString page = QStringLiteral(
        "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>Log in</title>"
        "<style>body{font-family:sans-serif;margin:2em}label{display:block;margin-top:1em}"
        ".error{color:#b00}</style></head><body><h1>Log in to continue</h1>");
    if (!message.isEmpty())
        page += QStringLiteral("<p class=\"error\" id=\"error\">%1</p>").arg(htmlEscaped(message));
    page += QStringLiteral(
        "<p>The application asks for: <span id=\"scope\">%3</span></p>"
        "<form id=\"login\" method=\"post\" action=\"oauth\">"
        "<input type=\"hidden\" name=\"client_id\" value=\"%1\">"
        "<input type=\"hidden\" name=\"redirect_uri\" value=\"%2\">"
        "<input type=\"hidden\" name=\"scope\" value=\"%3\">"
        "<label>Email <input id=\"email\" name=\"email\" type=\"email\"></label>"
        "<label>Password <input id=\"pass\" name=\"pass\" type=\"password\"></label>"
        "<p><button id=\"login_button\" name=\"action\" value=\"login\" type=\"submit\">Log in</button> "
        "<button id=\"cancel_button\" name=\"action\" value=\"cancel\" type=\"submit\">Not now</button></p>"
        "</form></body></html>")
                .arg(htmlEscaped(clientId), htmlEscaped(redirect), htmlEscaped(scope));
    return page;
}

QString withQueryItem(const QString &address, const QString &name, const QString &value)
{
    QUrl url(address);
    QUrlQuery query(url);
    query.addQueryItem(name, QString::fromLatin1(QUrl::toPercentEncoding(value)));
    url.setQuery(query);
    return url.toString(QUrl::FullyEncoded);
}

} // namespace

TULOSandboxSocial::TULOSandboxSocial()
    : m_consumerSecret(unscrambled(TULOSandboxScrambledConsumerSecret))
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
    std::lock_guard lock(m_mutex);
    return m_accountInfo.value(authorKey + QLatin1Char(':') + authorIdentifier + QLatin1Char('/') + service, QJsonObject());
}

void TULOSandboxSocial::setAccountInfo(const QString &authorKey, const QString &authorIdentifier, const QString &service,
                                       const QJsonValue &info)
{
    const QString key = authorKey + QLatin1Char(':') + authorIdentifier + QLatin1Char('/') + service;
    std::lock_guard lock(m_mutex);
    if (info.isUndefined()) {
        m_accountInfo.remove(key);
        m_registered.remove(key);
    } else {
        m_accountInfo.insert(key, info);
    }
}

QJsonObject TULOSandboxSocial::registeredTokens(const QString &authorKey, const QString &authorIdentifier, const QString &service) const
{
    std::lock_guard lock(m_mutex);
    return m_registered.value(authorKey + QLatin1Char(':') + authorIdentifier + QLatin1Char('/') + service);
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

// The handlers, kept apart from the class's interface.
class TULOSandboxSocialRoutes
{
public:
    TULOSandboxSocialRoutes(TULOSandboxSocial &social, TULOSandboxStorePrivate &store) : s(social), store(store) {}

    // The author named by the request's author item; answers 400 itself when there is none.
    std::optional<TULOSandboxSocial::Author> author(const httplib::Request &request, httplib::Response &response)
    {
        for (const char *key : {"artist", "brand", "SorvelBrand", "activityCurator", "user"}) {
            const QString identifier = param(request, key);
            if (!identifier.isEmpty())
                return TULOSandboxSocial::Author{QString::fromLatin1(key), identifier};
        }
        TULOSandboxStorePrivate::failure(response, 400, "missingIdentifiers", QStringLiteral("The request names no author."));
        return std::nullopt;
    }

    std::optional<TULOSandboxSocial::Author> signedAuthor(const httplib::Request &request, httplib::Response &response)
    {
        if (!store.signedAccount(request, response))
            return std::nullopt;
        return author(request, response);
    }

    std::optional<QString> service(const httplib::Request &request, httplib::Response &response)
    {
        const QString type = param(request, "accountType");
        if (type == QLatin1String("facebook") || type == QLatin1String("twitter"))
            return type;
        TULOSandboxStorePrivate::failure(response, 400, "malformedRequest", QStringLiteral("Unknown account type \"%1\".").arg(type));
        return std::nullopt;
    }

    bool canned(const httplib::Request &request, httplib::Response &response)
    {
        std::lock_guard lock(s.m_mutex);
        const auto it = s.m_cannedReplies.constFind(QString::fromStdString(request.path));
        if (it == s.m_cannedReplies.cend())
            return false;
        response.status = it->status;
        response.set_content(it->body.toStdString(), it->contentType.toStdString());
        return true;
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

    QJsonObject linked(const TULOSandboxSocial::Author &who, const QString &type)
    {
        return s.accountInfo(who.key, who.identifier, type).toObject();
    }

    // Page choice (only "pageId") or token register (tokens, perhaps a page).
    void updateAccount(const httplib::Request &request, httplib::Response &response, const QString &type)
    {
        const auto who = signedAuthor(request, response);
        if (!who)
            return;
        QJsonObject info = linked(*who, type);
        const bool tokenRegister = request.has_param("accessToken");
        if (tokenRegister) {
            QJsonObject tokens;
            for (const char *name : {"accessToken", "accessTokenSecret", "userId", "pageAccessToken", "pageId"}) {
                if (request.has_param(name))
                    tokens.insert(QString::fromLatin1(name), param(request, name));
            }
            QString screenName;
            {
                std::lock_guard lock(s.m_mutex);
                screenName = s.m_twitterTokens.value(param(request, "accessToken"));
            }
            if (type == QLatin1String("twitter")) {
                if (screenName.isEmpty()) {
                    TULOSandboxStorePrivate::failure(response, 401, "badToken", QStringLiteral("Twitter does not know this access token."));
                    return;
                }
                info = {{QStringLiteral("handle"), screenName}, {QStringLiteral("accountId"), param(request, "userId")}};
            } else if (info.isEmpty()) {
                TULOSandboxStorePrivate::failure(response, 404, "notLinked", QStringLiteral("No Facebook account is linked."));
                return;
            }
            s.setAccountInfo(who->key, who->identifier, type, info);
            std::lock_guard lock(s.m_mutex);
            s.m_registered.insert(who->id() + QLatin1Char('/') + type, tokens);
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
        info.insert(QStringLiteral("pageId"), param(request, "pageId"));
        s.setAccountInfo(who->key, who->identifier, type, info);
        success(response);
    }

    void facebookAuthorization(const httplib::Request &request, httplib::Response &response)
    {
        const auto who = signedAuthor(request, response);
        if (!who)
            return;
        const QString code = param(request, "code");
        QString user;
        {
            std::lock_guard lock(s.m_mutex);
            user = s.m_facebookCodes.take(code);
        }
        if (code.isEmpty() || user.isEmpty()) {
            TULOSandboxStorePrivate::failure(response, 400, "badCode", QStringLiteral("The authorization code is not valid."));
            return;
        }
        s.setAccountInfo(who->key, who->identifier, QStringLiteral("facebook"),
                         QJsonObject{{QStringLiteral("handle"), user},
                                     {QStringLiteral("accountId"), QStringLiteral("100000000000042")},
                                     {QStringLiteral("facebookPages"), TULOSandboxSocial::facebookPages()}});
        success(response);
    }

    void twitterAccessToken(const httplib::Request &request, httplib::Response &response)
    {
        const TULOSandboxOAuth1::Parameters header =
            TULOSandboxOAuth1::authorizationParameters(QByteArray::fromStdString(request.get_header_value("Authorization")));
        QString signature;
        TULOSandboxOAuth1::Parameters parameters;
        for (const auto &item : header) {
            if (item.first == QLatin1String("oauth_signature"))
                signature = item.second;
            else
                parameters.append(item);
        }
        // Query and form parameters are signed too.
        for (const auto &[name, value] : request.params)
            parameters.append({QString::fromStdString(name), QString::fromStdString(value)});
        const QUrl url(QStringLiteral("%1://%2%3").arg(QString::fromLatin1(store.secure ? "https" : "http"), QString::fromStdString(request.get_header_value("Host")),
                                                         QString::fromStdString(request.path)));
        const QByteArray expected = TULOSandboxOAuth1::hmacSha1Signature(
            TULOSandboxOAuth1::signatureBaseString(QByteArray::fromStdString(request.method), url, parameters), s.consumerSecret(), QString());
        if (signature.isEmpty() || signature.toLatin1() != expected) {
            twitterErrors(response, 32, QStringLiteral("Could not authenticate you."));
            return;
        }
        // A screen name may come with its "@".
        QString name = param(request, "x_auth_username");
        if (name.startsWith(QLatin1Char('@')))
            name.remove(0, 1);
        const QString password = param(request, "x_auth_password");
        if (param(request, "x_auth_mode") != QLatin1String("client_auth") || password != TULOSandboxSocial::twitterPassword()
            || (name != TULOSandboxSocial::twitterUserName() && name != TULOSandboxSocial::twitterVerificationUserName())) {
            twitterErrors(response, 32, QStringLiteral("Could not authenticate you."));
            return;
        }
        if (name == TULOSandboxSocial::twitterVerificationUserName()) {
            twitterErrors(response, 231, QStringLiteral("User must verify login"));
            return;
        }
        const QString token = QStringLiteral("4242-") + randomToken(16);
        const QString secret = randomToken(20);
        {
            std::lock_guard lock(s.m_mutex);
            s.m_twitterTokens.insert(token, name);
        }
        QUrlQuery body;
        body.addQueryItem(QStringLiteral("oauth_token"), token);
        body.addQueryItem(QStringLiteral("oauth_token_secret"), secret);
        body.addQueryItem(QStringLiteral("user_id"), QStringLiteral("4242"));
        body.addQueryItem(QStringLiteral("screen_name"), name);
        response.status = 200;
        response.set_content(body.query(QUrl::FullyEncoded).toStdString(), "application/x-www-form-urlencoded");
    }

    // GET shows the sign-in form; POST signs in (or declines) and redirects.
    void facebookDialog(const httplib::Request &request, httplib::Response &response)
    {
        const QString clientId = param(request, "client_id");
        const QString redirect = param(request, "redirect_uri");
        const QString scope = param(request, "scope");
        if (clientId != unscrambled(TULOSandboxScrambledFacebookAppId) || !QUrl(redirect).isValid() || redirect.isEmpty()) {
            html(response, 400, QStringLiteral("<!DOCTYPE html><html><body><h1>Invalid application</h1></body></html>"));
            return;
        }
        if (request.method == "GET") {
            html(response, 200, dialogPage(clientId, redirect, scope, QString()));
            return;
        }
        if (param(request, "action") == QLatin1String("cancel")) {
            response.set_redirect(withQueryItem(redirect, QStringLiteral("error"), QStringLiteral("access_denied")).toStdString(), 302);
            return;
        }
        if (param(request, "email").compare(TULOSandboxSocial::facebookEmail(), Qt::CaseInsensitive) != 0
            || param(request, "pass") != TULOSandboxSocial::facebookPassword()) {
            html(response, 200, dialogPage(clientId, redirect, scope, QStringLiteral("The email or password is not right.")));
            return;
        }
        const QString code = randomToken(24);
        {
            std::lock_guard lock(s.m_mutex);
            s.m_facebookCodes.insert(code, TULOSandboxSocial::facebookUserName());
        }
        response.set_redirect(withQueryItem(redirect, QStringLiteral("code"), code).toStdString(), 302);
    }

    TULOSandboxSocial &s;
    TULOSandboxStorePrivate &store;
};

void TULOSandboxSocial::installRoutes(TULOSandboxStorePrivate &store)
{
    auto routes = std::make_shared<TULOSandboxSocialRoutes>(*this, store);
    const auto bind = [routes](void (TULOSandboxSocialRoutes::*member)(const httplib::Request &, httplib::Response &)) {
        return [routes, member](const httplib::Request &request, httplib::Response &response) {
            if (!routes->canned(request, response))
                ((*routes).*member)(request, response);
        };
    };
    store.route("GET", "/social/accountInfo", bind(&TULOSandboxSocialRoutes::accountInfo));
    store.route("GET", "/social/unlink", bind(&TULOSandboxSocialRoutes::unlink));
    store.route("GET", "/social/facebook/update", [routes](const httplib::Request &request, httplib::Response &response) {
        if (!routes->canned(request, response))
            routes->updateAccount(request, response, QStringLiteral("facebook"));
    });
    store.route("GET", "/social/twitter/update", [routes](const httplib::Request &request, httplib::Response &response) {
        if (!routes->canned(request, response))
            routes->updateAccount(request, response, QStringLiteral("twitter"));
    });
    store.route("GET", "/social/facebookAuth", bind(&TULOSandboxSocialRoutes::facebookAuthorization));
    store.route("POST", "/twitter/oauth/access_token", bind(&TULOSandboxSocialRoutes::twitterAccessToken));
    store.route("GET", "/facebook/dialog/oauth", bind(&TULOSandboxSocialRoutes::facebookDialog));
    store.route("POST", "/facebook/dialog/oauth", bind(&TULOSandboxSocialRoutes::facebookDialog));
    store.route("GET", "/facebook/authorization/", [](const httplib::Request &, httplib::Response &response) {
        html(response, 200, QStringLiteral("<!DOCTYPE html><html><body><p>You may close this window.</p></body></html>"));
    });
}

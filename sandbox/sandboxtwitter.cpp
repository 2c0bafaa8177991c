// The stand-in for Twitter's xAuth access-token endpoint: checks the OAuth 1.0a signature and
// the demo user's password, and issues a token the store's update endpoint then accepts.
#include "sandboxsocial.h"

#include "sandboxoauth1.h"
#include "sandboxstore_p.h"

#include <QJsonArray>
#include <QUrlQuery>

namespace {

void twitterErrors(httplib::Response &response, int code, const QString &message)
{
    TULOSandboxStorePrivate::reply(response, 401,
                                   {{QStringLiteral("errors"), QJsonArray{QJsonObject{{QStringLiteral("code"), code},
                                                                                      {QStringLiteral("message"), message}}}}});
}

bool signatureIsValid(const httplib::Request &request, const QString &consumerSecret, bool secure)
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
    const QUrl url(QStringLiteral("%1://%2%3").arg(QString::fromLatin1(secure ? "https" : "http"),
                                                     QString::fromStdString(request.get_header_value("Host")),
                                                     QString::fromStdString(request.path)));
    const QByteArray expected = TULOSandboxOAuth1::hmacSha1Signature(
        TULOSandboxOAuth1::signatureBaseString(QByteArray::fromStdString(request.method), url, parameters), consumerSecret, QString());
    return !signature.isEmpty() && signature.toLatin1() == expected;
}

} // namespace

void TULOSandboxSocial::installTwitterRoutes(TULOSandboxStorePrivate &store)
{
    store.route("POST", "/twitter/oauth/access_token", withCannedReplies([this, &store](const httplib::Request &request, httplib::Response &response) {
        if (!signatureIsValid(request, consumerSecret(), store.secure)) {
            twitterErrors(response, 32, QStringLiteral("Could not authenticate you."));
            return;
        }
        // A screen name may come with its "@".
        QString name = TULOSandboxStorePrivate::param(request, "x_auth_username");
        if (name.startsWith(QLatin1Char('@')))
            name.remove(0, 1);
        const QString password = TULOSandboxStorePrivate::param(request, "x_auth_password");
        if (TULOSandboxStorePrivate::param(request, "x_auth_mode") != QLatin1String("client_auth") || password != twitterPassword()
            || (name != twitterUserName() && name != twitterVerificationUserName())) {
            twitterErrors(response, 32, QStringLiteral("Could not authenticate you."));
            return;
        }
        if (name == twitterVerificationUserName()) {
            twitterErrors(response, 231, QStringLiteral("User must verify login"));
            return;
        }
        const QString token = QStringLiteral("4242-") + TULOSandboxRandomToken(16);
        rememberTwitterToken(token, name);
        QUrlQuery body;
        body.addQueryItem(QStringLiteral("oauth_token"), token);
        body.addQueryItem(QStringLiteral("oauth_token_secret"), TULOSandboxRandomToken(20));
        body.addQueryItem(QStringLiteral("user_id"), QStringLiteral("4242"));
        body.addQueryItem(QStringLiteral("screen_name"), name);
        response.status = 200;
        response.set_content(body.query(QUrl::FullyEncoded).toStdString(), "application/x-www-form-urlencoded");
    }));
}

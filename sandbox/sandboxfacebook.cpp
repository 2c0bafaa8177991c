// The stand-in for Facebook's OAuth dialog: a sign-in page whose form redirects with a code
// (or a refusal), and the plain page the redirect lands on.
#include "sandboxsocial.h"

#include "sandboxstore_p.h"

#include <QUrlQuery>

namespace {

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
        page += QStringLiteral("<p class=\"error\" id=\"error\">%1</p>").arg(message.toHtmlEscaped());
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
                .arg(clientId.toHtmlEscaped(), redirect.toHtmlEscaped(), scope.toHtmlEscaped());
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

void TULOSandboxSocial::installFacebookRoutes(TULOSandboxStorePrivate &store)
{
    // GET shows the sign-in form; POST signs in (or declines) and redirects.
    const auto dialog = withCannedReplies([this](const httplib::Request &request, httplib::Response &response) {
        const QString clientId = TULOSandboxStorePrivate::param(request, "client_id");
        const QString redirect = TULOSandboxStorePrivate::param(request, "redirect_uri");
        const QString scope = TULOSandboxStorePrivate::param(request, "scope");
        if (clientId != TULOSandboxDefaultFacebookAppId() || !QUrl(redirect).isValid() || redirect.isEmpty()) {
            html(response, 400, QStringLiteral("<!DOCTYPE html><html><body><h1>Invalid application</h1></body></html>"));
            return;
        }
        if (request.method == "GET") {
            html(response, 200, dialogPage(clientId, redirect, scope, QString()));
            return;
        }
        if (TULOSandboxStorePrivate::param(request, "action") == QLatin1String("cancel")) {
            response.set_redirect(withQueryItem(redirect, QStringLiteral("error"), QStringLiteral("access_denied")).toStdString(), 302);
            return;
        }
        if (TULOSandboxStorePrivate::param(request, "email").compare(facebookEmail(), Qt::CaseInsensitive) != 0
            || TULOSandboxStorePrivate::param(request, "pass") != facebookPassword()) {
            html(response, 200, dialogPage(clientId, redirect, scope, QStringLiteral("The email or password is not right.")));
            return;
        }
        const QString code = TULOSandboxRandomToken(24);
        rememberFacebookCode(code, facebookUserName());
        response.set_redirect(withQueryItem(redirect, QStringLiteral("code"), code).toStdString(), 302);
    });
    store.route("GET", "/facebook/dialog/oauth", dialog);
    store.route("POST", "/facebook/dialog/oauth", dialog);
    store.route("GET", "/facebook/authorization/", [](const httplib::Request &, httplib::Response &response) {
        html(response, 200, QStringLiteral("<!DOCTYPE html><html><body><p>You may close this window.</p></body></html>"));
    });
}

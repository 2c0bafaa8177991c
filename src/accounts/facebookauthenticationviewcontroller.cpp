#include <Quillon/accounts/facebookauthenticationviewcontroller.h>

#include <Quillon/platform/deploymentconfiguration.h>
#include <Quillon/platform/optionalmodules.h>

#include <QUrlQuery>


TULOFacebookAuthenticationViewController::TULOFacebookAuthenticationViewController(const QString &clientID,
                                                                                   const QStringList &writePermissions,
                                                                                   QObject *parent)
    : TULOViewController(parent)
    , m_clientID(clientID)
    , m_writePermissions(writePermissions)
{
}

TULOFacebookAuthenticationViewController *TULOFacebookAuthenticationViewController::create(
    const QString &clientID, const QStringList &writePermissions, QObject *parent, TULOError *error)
{
    void *library = TULOOptionalModules::handle(TULOOptionalModules::WebSignIn);
    const auto make = reinterpret_cast<TULOCreateFacebookAuthenticationViewControllerFunction>(
        TULOOptionalModules::symbolNamed(TULO_CREATE_FACEBOOK_AUTHENTICATION_SYMBOL, library));
    if (!make) {
        if (error) {
            *error = TULOError::withDescription(
                TULOFacebookAuthenticationErrorDomain, TULOFacebookAuthenticationErrorUnavailable,
                QStringLiteral("Facebook sign-in is not available: %1 is not installed or does not load.")
                    .arg(TULOOptionalModules::fileName(TULOOptionalModules::WebSignIn)));
        }
        return nullptr;
    }
    return make(clientID, writePermissions, parent);
}

QUrl TULOFacebookAuthenticationViewController::redirectURL()
{
    return TULODeploymentConfiguration::current().facebookAuthorizationRedirectURL();
}

QUrl TULOFacebookAuthenticationViewController::authenticationURLWithClientID(const QString &clientID, const QStringList &permissions)
{
    QUrl url = TULODeploymentConfiguration::current().facebookDialogURL();
    QUrlQuery query;
    query.addQueryItem(QStringLiteral("client_id"), QString::fromLatin1(QUrl::toPercentEncoding(clientID)));
    query.addQueryItem(QStringLiteral("redirect_uri"), QString::fromLatin1(QUrl::toPercentEncoding(redirectURL().toString())));
    if (!permissions.isEmpty())
        query.addQueryItem(QStringLiteral("scope"), QString::fromLatin1(QUrl::toPercentEncoding(permissions.join(QLatin1Char(',')))));
    url.setQuery(query.query(QUrl::FullyEncoded), QUrl::StrictMode);
    return url;
}

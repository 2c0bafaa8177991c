#include <Quillon/accounts/facebookauthenticationwebviewcontroller.h>

#include <Quillon/platform/deploymentconfiguration.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/ui/activityindicatorview.h>
#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationitem.h>

#include <QCoreApplication>
#include <QGridLayout>
#include <QTimer>
#include <QUrlQuery>
#include <QWebEngineCookieStore>
#include <QWebEngineHttpRequest>
#include <QWebEngineLoadingInfo>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineView>

const char *const TULOFacebookAuthenticationErrorDomain = "com.vantor.Quillon";

namespace {

// Asks the controller about every navigation, redirects included.
class TULOFacebookAuthenticationPage : public QWebEnginePage
{
public:
    TULOFacebookAuthenticationPage(TULOFacebookAuthenticationWebViewController *controller, QObject *parent)
        : QWebEnginePage(parent), m_controller(controller) {}

protected:
    bool acceptNavigationRequest(const QUrl &url, NavigationType type, bool isMainFrame) override
    {
        if (isMainFrame && m_controller && !m_controller->webViewShouldStartLoadWithRequest(url))
            return false;
        return QWebEnginePage::acceptNavigationRequest(url, type, isMainFrame);
    }

private:
    QPointer<TULOFacebookAuthenticationWebViewController> m_controller;
};

// Facebook's site-wide cookie domain: the dialog host without "www.", with a leading dot.
QString siteCookieDomain()
{
    QString host = TULODeploymentConfiguration::current().facebookDialogURL().host().toLower();
    if (host.startsWith(QLatin1String("www.")))
        host.remove(0, 4);
    return QLatin1Char('.') + host;
}

} // namespace

TULOFacebookAuthenticationWebViewController::TULOFacebookAuthenticationWebViewController(const QString &clientID,
                                                                                         const QStringList &writePermissions,
                                                                                         QObject *parent)
    : TULOViewController(parent)
    , m_clientID(clientID)
    , m_writePermissions(writePermissions)
{
}

TULOFacebookAuthenticationWebViewController::~TULOFacebookAuthenticationWebViewController() = default;

QUrl TULOFacebookAuthenticationWebViewController::redirectURL()
{
    return TULODeploymentConfiguration::current().facebookAuthorizationRedirectURL();
}

QUrl TULOFacebookAuthenticationWebViewController::authenticationURLWithClientID(const QString &clientID, const QStringList &permissions)
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

void TULOFacebookAuthenticationWebViewController::loadView()
{
    auto *view = new QWidget;
    view->setAutoFillBackground(true);
    QPalette palette = view->palette();
    palette.setColor(QPalette::Window, Qt::white);
    view->setPalette(palette);
    auto *layout = new QGridLayout(view);
    layout->setContentsMargins(0, 0, 0, 0);

    m_webView = new QWebEngineView(view);
    m_webView->setPage(new TULOFacebookAuthenticationPage(this, m_webView));
    m_webView->setAccessibleName(QCoreApplication::translate("TULOFacebookAuthenticationWebViewController", "Facebook sign-in"));
    layout->addWidget(m_webView, 0, 0);

    m_activityIndicator = new TULOActivityIndicatorView(TULOActivityIndicatorViewStyleLarge, view);
    m_activityIndicator->setColor(Qt::gray);
    m_activityIndicator->setHidesWhenStopped(true);
    m_activityIndicator->setAccessibleName(QCoreApplication::translate("TULOFacebookAuthenticationWebViewController", "Loading"));
    layout->addWidget(m_activityIndicator, 0, 0, Qt::AlignCenter);
    m_activityIndicator->raise();
    setView(view);
}

void TULOFacebookAuthenticationWebViewController::viewDidLoad()
{
    auto *cancel = new TULOBarButtonItem(QCoreApplication::translate("TULOFacebookAuthenticationWebViewController", "Cancel"),
                                         TULOBarButtonItemStylePlain, this,
                                         [this](TULOBarButtonItem *) { cancelAuthenticationProcess(); }, this);
    navigationItem()->setLeftBarButtonItem(cancel);

    m_loadTimer = new QTimer(this);
    m_loadTimer->setSingleShot(true);
    connect(m_loadTimer, &QTimer::timeout, this, [this] {
        if (!m_authenticating)
            return;
        m_webView->stop();
        webViewDidFailLoadWithError(TULONetworkError(QNetworkReply::TimeoutError,
                                                     QStringLiteral("The sign-in page did not load in time."),
                                                     authenticationURLWithClientID(m_clientID, m_writePermissions)));
    });

    QWebEnginePage *page = m_webView->page();
    connect(page, &QWebEnginePage::loadStarted, m_activityIndicator, &TULOActivityIndicatorView::startAnimating);
    connect(page, &QWebEnginePage::loadingChanged, this, [this](const QWebEngineLoadingInfo &info) {
        if (info.status() == QWebEngineLoadingInfo::LoadStartedStatus)
            return;
        m_activityIndicator->stopAnimating();
        if (info.status() == QWebEngineLoadingInfo::LoadSucceededStatus) {
            m_loadTimer->stop();
            return;
        }
        QString description = info.errorString();
        if (description.isEmpty())
            description = QStringLiteral("The sign-in page could not be loaded.");
        webViewDidFailLoadWithError(TULOError(QString::fromLatin1(TULONetworkErrorDomain), info.errorCode(),
                                              {{QString::fromLatin1(TULOLocalizedDescriptionKey), description},
                                               {QString::fromLatin1(TULOURLErrorKey), info.url()}}));
    });

    QWebEngineCookieStore *cookies = page->profile()->cookieStore();
    connect(cookies, &QWebEngineCookieStore::cookieAdded, this, [this](const QNetworkCookie &cookie) {
        m_cookies.removeAll(cookie);
        m_cookies.append(cookie);
    });
    connect(cookies, &QWebEngineCookieStore::cookieRemoved, this,
            [this](const QNetworkCookie &cookie) { m_cookies.removeAll(cookie); });
    cookies->loadAllCookies();
}

void TULOFacebookAuthenticationWebViewController::deleteSiteCookies()
{
    QWebEngineCookieStore *store = m_webView->page()->profile()->cookieStore();
    const QString domain = siteCookieDomain();
    const QList<QNetworkCookie> cookies = m_cookies;
    for (const QNetworkCookie &cookie : cookies) {
        if (cookie.domain() == domain)
            store->deleteCookie(cookie);
    }
}

void TULOFacebookAuthenticationWebViewController::startAuthenticationProcess()
{
    if (m_authenticating)
        return;
    view();
    // Always sign in afresh, never with a remembered session.
    deleteSiteCookies();
    m_token.clear();
    m_didInterruptRedirect = false;
    QWebEngineHttpRequest request(authenticationURLWithClientID(m_clientID, m_writePermissions));
    request.setHeader(QByteArrayLiteral("Cache-Control"), QByteArrayLiteral("no-cache"));
    request.setHeader(QByteArrayLiteral("Pragma"), QByteArrayLiteral("no-cache"));
    m_authenticating = true;
    m_loadTimer->start(m_loadTimeout);
    m_webView->load(request);
}

bool TULOFacebookAuthenticationWebViewController::webViewShouldStartLoadWithRequest(const QUrl &url)
{
    const QUrl redirect = redirectURL();
    if (url.host().toLower() != redirect.host().toLower() || url.path().toLower() != redirect.path().toLower())
        return true;
    m_didInterruptRedirect = true;
    if (m_loadTimer)
        m_loadTimer->stop();
    const QList<QPair<QString, QString>> items = QUrlQuery(url).queryItems(QUrl::FullyDecoded);
    for (const auto &item : items) {
        if (item.first.toLower() == QLatin1String("code") && !item.second.isNull()) {
            m_token = item.second;
            // Ended after the refusal has been answered, so that the page is left alone.
            QMetaObject::invokeMethod(this, [this] { endAuthenticationProcessWithError(TULOError()); }, Qt::QueuedConnection);
            return false;
        }
    }
    QMetaObject::invokeMethod(this, [this] {
        endAuthenticationProcessWithError(TULOError::withDescription(QString::fromLatin1(TULOFacebookAuthenticationErrorDomain),
                                                                     TULOFacebookAuthenticationErrorNoCode,
                                                                     QStringLiteral("Facebook sent no authorization code.")));
    }, Qt::QueuedConnection);
    return false;
}

void TULOFacebookAuthenticationWebViewController::webViewDidFailLoadWithError(const TULOError &error)
{
    // The refused redirect reports a failure of its own, which is expected; so does a load
    // stopped after the attempt has ended.
    if (m_didInterruptRedirect || !m_authenticating)
        return;
    endAuthenticationProcessWithError(error);
}

void TULOFacebookAuthenticationWebViewController::cancelAuthenticationProcess()
{
    if (m_webView)
        m_webView->stop();
    endAuthenticationProcessWithError(TULOError::withDescription(QString::fromLatin1(TULOFacebookAuthenticationErrorDomain),
                                                                 TULOFacebookAuthenticationErrorCancelled,
                                                                 QStringLiteral("Facebook sign-in was cancelled.")));
}

void TULOFacebookAuthenticationWebViewController::endAuthenticationProcessWithError(const TULOError &error)
{
    if (m_loadTimer)
        m_loadTimer->stop();
    m_authenticating = false;
    if (m_completion)
        m_completion(error, m_token.isNull() ? QString() : QString(m_token));
}

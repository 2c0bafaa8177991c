#include <Quillon/accounts/websignin/facebookauthenticationwebviewcontroller.h>

#include <Quillon/platform/deploymentconfiguration.h>
#include <Quillon/platform/store/storeerror.h>
#include <Quillon/platform/ui/activityindicatorview.h>
#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationitem.h>

#include <QCoreApplication>
#include <QGridLayout>
#include <QNetworkCookie>
#include <QPointer>
#include <QTimer>
#include <QUrlQuery>
#include <QWebEngineCookieStore>
#include <QWebEngineHttpRequest>
#include <QWebEngineLoadingInfo>
#include <QWebEnginePage>
#include <QWebEngineProfile>
#include <QWebEngineView>

#include <algorithm>
#include <functional>

namespace {

// Asks the controller about every navigation, redirects included.
class TULOFacebookAuthenticationPage : public QWebEnginePage
{
public:
    TULOFacebookAuthenticationPage(TULOFacebookAuthenticationWebViewController *controller, QWebEngineProfile *profile,
                                   QObject *parent)
        : QWebEnginePage(profile, parent), m_controller(controller) {}

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

// The sign-in's own web profile, for the whole process, and every cookie in it. Being ours
// from its first moment, it has seen each of its cookies arrive, so those of a site can be
// deleted for certain (QWebEngineCookieStore::loadAllCookies() reports nothing dependable).
class TULOSignInCookieJar : public QObject
{
public:
    static TULOSignInCookieJar *shared()
    {
        static TULOSignInCookieJar *jar = nullptr;
        if (!jar) {
            jar = new TULOSignInCookieJar;
            // Before WebEngine's own clean-up, which was registered earlier and so runs later.
            qAddPostRoutine([] {
                delete jar;
                jar = nullptr;
            });
        }
        return jar;
    }

    QWebEngineProfile *profile() const { return m_profile; }

    // Deletes every cookie whose domain is `domain`, cookies still on their way into the store
    // included, and then calls `then` on `context`'s thread, unless `context` is gone.
    void deleteCookiesOfDomain(const QString &domain, QObject *context, std::function<void()> then)
    {
        // Cookie changes reach us in the order they were made: once this one has arrived, so
        // has every cookie set before it.
        QNetworkCookie barrier(QByteArrayLiteral("quillon-barrier-") + QByteArray::number(++m_barriers), QByteArrayLiteral("1"));
        barrier.setPath(QStringLiteral("/"));
        m_deletions.append({barrier.name(), domain.toLower(), context, std::move(then), {}, false});
        m_profile->cookieStore()->setCookie(barrier, barrierOrigin());
    }

private:
    struct Deletion
    {
        QByteArray barrier;
        QString domain;
        QPointer<QObject> context;
        std::function<void()> then;
        QList<QNetworkCookie> waiting;
        bool barrierArrived;
    };

    static QUrl barrierOrigin() { return QUrl(QStringLiteral("http://localhost/")); }

    TULOSignInCookieJar()
        : m_profile(new QWebEngineProfile)
    {
        QWebEngineCookieStore *store = m_profile->cookieStore();
        connect(store, &QWebEngineCookieStore::cookieAdded, this, &TULOSignInCookieJar::cookieAdded);
        connect(store, &QWebEngineCookieStore::cookieRemoved, this, &TULOSignInCookieJar::cookieRemoved);
        // The profile applies cookie changes only once a page of it has loaded something.
        m_starter = new QWebEnginePage(m_profile);
        m_starter->load(QUrl(QStringLiteral("about:blank")));
    }

    ~TULOSignInCookieJar() override
    {
        delete m_starter;
        delete m_profile; // after its last page
    }

    void cookieAdded(const QNetworkCookie &cookie)
    {
        m_cookies.removeIf([&](const QNetworkCookie &known) { return known.hasSameIdentifier(cookie); });
        m_cookies.append(cookie);
        for (Deletion &deletion : m_deletions) {
            if (deletion.barrierArrived || cookie.name() != deletion.barrier)
                continue;
            deletion.barrierArrived = true;
            for (const QNetworkCookie &known : std::as_const(m_cookies)) {
                if (known.domain().toLower() == deletion.domain || known.hasSameIdentifier(cookie))
                    deletion.waiting.append(known);
            }
            for (const QNetworkCookie &doomed : std::as_const(deletion.waiting)) {
                const bool asked = std::any_of(m_deleting.cbegin(), m_deleting.cend(),
                                               [&](const QNetworkCookie &other) { return other.hasSameIdentifier(doomed); });
                if (!asked) {
                    m_deleting.append(doomed);
                    m_profile->cookieStore()->deleteCookie(doomed);
                }
            }
        }
    }

    void cookieRemoved(const QNetworkCookie &cookie)
    {
        const auto same = [&](const QNetworkCookie &known) { return known.hasSameIdentifier(cookie); };
        m_cookies.removeIf(same);
        m_deleting.removeIf(same);
        for (Deletion &deletion : m_deletions)
            deletion.waiting.removeIf(same);
        QList<Deletion> done;
        for (qsizetype i = m_deletions.size() - 1; i >= 0; --i) {
            if (m_deletions.at(i).barrierArrived && m_deletions.at(i).waiting.isEmpty())
                done.prepend(m_deletions.takeAt(i));
        }
        for (const Deletion &deletion : std::as_const(done)) {
            if (deletion.context)
                QMetaObject::invokeMethod(deletion.context, deletion.then, Qt::QueuedConnection);
        }
    }

    QWebEngineProfile *m_profile;
    QWebEnginePage *m_starter = nullptr;
    QList<QNetworkCookie> m_cookies;
    QList<QNetworkCookie> m_deleting;
    QList<Deletion> m_deletions;
    quint64 m_barriers = 0;
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
    : TULOFacebookAuthenticationViewController(clientID, writePermissions, parent)
{
}

TULOFacebookAuthenticationWebViewController::~TULOFacebookAuthenticationWebViewController() = default;

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
    m_webView->setPage(new TULOFacebookAuthenticationPage(this, TULOSignInCookieJar::shared()->profile(), m_webView));
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
                                                     authenticationURLWithClientID(clientID(), writePermissions())));
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
        webViewDidFailLoadWithError(TULOError(TULONetworkErrorDomain, info.errorCode(),
                                              {{QString::fromLatin1(TULOLocalizedDescriptionKey), description},
                                               {QString::fromLatin1(TULOURLErrorKey), info.url()}}));
    });
}

void TULOFacebookAuthenticationWebViewController::startAuthenticationProcess()
{
    if (m_authenticating)
        return;
    view();
    m_token.clear();
    m_didInterruptRedirect = false;
    m_authenticating = true;
    m_loadTimer->start(loadTimeout()); // the cookies' deletion counts towards the time-out
    // Always sign in afresh, never with a remembered session: the dialog loads once the site's
    // cookies are gone.
    const quint64 attempt = ++m_attempts;
    TULOSignInCookieJar::shared()->deleteCookiesOfDomain(siteCookieDomain(), this, [this, attempt] {
        if (m_authenticating && attempt == m_attempts)
            loadDialog();
    });
}

void TULOFacebookAuthenticationWebViewController::loadDialog()
{
    QWebEngineHttpRequest request(authenticationURLWithClientID(clientID(), writePermissions()));
    request.setHeader(QByteArrayLiteral("Cache-Control"), QByteArrayLiteral("no-cache"));
    request.setHeader(QByteArrayLiteral("Pragma"), QByteArrayLiteral("no-cache"));
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
        endAuthenticationProcessWithError(TULOError::withDescription(TULOFacebookAuthenticationErrorDomain,
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
    endAuthenticationProcessWithError(TULOError::withDescription(TULOFacebookAuthenticationErrorDomain,
                                                                 TULOFacebookAuthenticationErrorCancelled,
                                                                 QStringLiteral("Facebook sign-in was cancelled.")));
}

void TULOFacebookAuthenticationWebViewController::endAuthenticationProcessWithError(const TULOError &error)
{
    if (m_loadTimer)
        m_loadTimer->stop();
    m_authenticating = false;
    if (const AuthenticationCompletionBlock completion = authenticationCompletionBlock())
        completion(error, m_token.isNull() ? QString() : QString(m_token));
}

// The library's entry point, looked up by name when a Facebook sign-in starts.
extern "C" Q_DECL_EXPORT TULOFacebookAuthenticationViewController *TULOCreateFacebookAuthenticationViewController(
    const QString &clientID, const QStringList &writePermissions, QObject *parent)
{
    return new TULOFacebookAuthenticationWebViewController(clientID, writePermissions, parent);
}

#pragma once

#include <Quillon/accounts/facebookauthenticationviewcontroller.h>
#include <Quillon/platform/ui/activityindicatorview.h>

#include <QPointer>
#include <QWebEngineView>

class QTimer;

// Shows Facebook's sign-in dialog in a web page and catches the redirect to the store's
// Facebook-authorization address, whose "code" query item is the authorization code. Built
// into the web sign-in library; the framework makes it through
// TULOFacebookAuthenticationViewController::create().
class TULOFacebookAuthenticationWebViewController : public TULOFacebookAuthenticationViewController
{
    Q_OBJECT

public:
    TULOFacebookAuthenticationWebViewController(const QString &clientID, const QStringList &writePermissions,
                                                QObject *parent = nullptr);
    ~TULOFacebookAuthenticationWebViewController() override;

    bool isAuthenticating() const override { return m_authenticating; }

    QWebEngineView *webView() const { return m_webView; }
    TULOActivityIndicatorView *activityIndicator() const { return m_activityIndicator; }

    void startAuthenticationProcess() override;
    void cancelAuthenticationProcess() override;
    void endAuthenticationProcessWithError(const TULOError &error) override;

    // The web page's questions, public for the page that asks them.
    // Whether a navigation to `url` may go on; false for the caught redirect.
    bool webViewShouldStartLoadWithRequest(const QUrl &url);
    void webViewDidFailLoadWithError(const TULOError &error);

protected:
    void loadView() override;
    void viewDidLoad() override;

private:
    void loadDialog();

    bool m_authenticating = false;
    QPointer<QWebEngineView> m_webView;
    QPointer<TULOActivityIndicatorView> m_activityIndicator;
    QTimer *m_loadTimer = nullptr;
    quint64 m_attempts = 0;
    QString m_token;
    bool m_didInterruptRedirect = false;
};

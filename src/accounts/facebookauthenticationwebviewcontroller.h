#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>
#include <Quillon/platform/ui/activityindicatorview.h>
#include <Quillon/platform/ui/viewcontroller.h>

#include <QPointer>
#include <QStringList>
#include <QUrl>
#include <QWebEngineView>

#include <functional>

class QTimer;

// Error domain of the sign-in screen's own errors: the component's bundle identifier.
extern QUILLON_EXPORT const char *const TULOFacebookAuthenticationErrorDomain;
enum TULOFacebookAuthenticationErrorCode : qint64 {
    TULOFacebookAuthenticationErrorCancelled = 0,
    TULOFacebookAuthenticationErrorNoCode = 1,
};

// Shows Facebook's sign-in dialog in a web page and catches the redirect to the store's
// Facebook-authorization address, whose "code" query item is the authorization code.
class QUILLON_EXPORT TULOFacebookAuthenticationWebViewController : public TULOViewController
{
    Q_OBJECT

public:
    // (error, code): one of them is null. Called on the main thread.
    using AuthenticationCompletionBlock = std::function<void(const TULOError &error, const QString &code)>;

    static constexpr int DefaultLoadTimeout = 60000; // milliseconds

    TULOFacebookAuthenticationWebViewController(const QString &clientID, const QStringList &writePermissions,
                                                QObject *parent = nullptr);
    ~TULOFacebookAuthenticationWebViewController() override;

    // The dialog's address: the deployment's dialog endpoint with "client_id", "redirect_uri"
    // and, for a non-empty list, "scope".
    static QUrl authenticationURLWithClientID(const QString &clientID, const QStringList &permissions);
    // Where the dialog sends the browser back to; its host and path identify the redirect.
    static QUrl redirectURL();

    QString clientID() const { return m_clientID; }
    QStringList writePermissions() const { return m_writePermissions; }
    bool isAuthenticating() const { return m_authenticating; }

    AuthenticationCompletionBlock authenticationCompletionBlock() const { return m_completion; }
    void setAuthenticationCompletionBlock(AuthenticationCompletionBlock block) { m_completion = std::move(block); }

    QWebEngineView *webView() const { return m_webView; }
    TULOActivityIndicatorView *activityIndicator() const { return m_activityIndicator; }

    // A dialog that has not finished loading by then fails with a time-out.
    int loadTimeout() const { return m_loadTimeout; }
    void setLoadTimeout(int milliseconds) { m_loadTimeout = milliseconds; }

    void startAuthenticationProcess();
    void cancelAuthenticationProcess();
    void endAuthenticationProcessWithError(const TULOError &error);

    // The web page's questions, public for the page that asks them.
    // Whether a navigation to `url` may go on; false for the caught redirect.
    bool webViewShouldStartLoadWithRequest(const QUrl &url);
    void webViewDidFailLoadWithError(const TULOError &error);

protected:
    void loadView() override;
    void viewDidLoad() override;

private:
    void loadDialog();

    const QString m_clientID;
    const QStringList m_writePermissions;
    bool m_authenticating = false;
    AuthenticationCompletionBlock m_completion;
    QPointer<QWebEngineView> m_webView;
    QPointer<TULOActivityIndicatorView> m_activityIndicator;
    QTimer *m_loadTimer = nullptr;
    int m_loadTimeout = DefaultLoadTimeout;
    quint64 m_attempts = 0;
    QString m_token;
    bool m_didInterruptRedirect = false;
};

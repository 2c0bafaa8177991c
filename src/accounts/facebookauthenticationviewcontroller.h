#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/platform/ui/viewcontroller.h>
#include <Quillon/quillon_export.h>

#include <QStringList>
#include <QUrl>

#include <functional>

// Error domain of the sign-in screen's own errors: the component's bundle identifier.
inline constexpr TULOErrorDomainName TULOFacebookAuthenticationErrorDomain{"com.vantor.Quillon"};
enum TULOFacebookAuthenticationErrorCode : qint64 {
    TULOFacebookAuthenticationErrorCancelled = 0,
    TULOFacebookAuthenticationErrorNoCode = 1,
    // The web sign-in library is not installed or does not load.
    TULOFacebookAuthenticationErrorUnavailable = 2,
};

// The Facebook sign-in screen. Its web page needs a browser engine, which only a Facebook
// sign-in uses; the screen therefore lives in the web sign-in library ("libquillon-websignin.so"),
// opened when the first sign-in starts, so that nothing else maps the engine.
class QUILLON_EXPORT TULOFacebookAuthenticationViewController : public TULOViewController
{
    Q_OBJECT

public:
    // (error, code): one of them is null. Called on the main thread.
    using AuthenticationCompletionBlock = std::function<void(const TULOError &error, const QString &code)>;

    static constexpr int DefaultLoadTimeout = 60000; // milliseconds

    // A sign-in screen from the web sign-in library (an optional module, found as
    // TULOOptionalModules finds them); null, with `error` set, when the library is missing or
    // does not load.
    static TULOFacebookAuthenticationViewController *create(const QString &clientID, const QStringList &writePermissions,
                                                            QObject *parent = nullptr, TULOError *error = nullptr);

    // The dialog's address: the deployment's dialog endpoint with "client_id", "redirect_uri"
    // and, for a non-empty list, "scope".
    static QUrl authenticationURLWithClientID(const QString &clientID, const QStringList &permissions);
    // Where the dialog sends the browser back to; its host and path identify the redirect.
    static QUrl redirectURL();

    QString clientID() const { return m_clientID; }
    QStringList writePermissions() const { return m_writePermissions; }

    AuthenticationCompletionBlock authenticationCompletionBlock() const { return m_completion; }
    void setAuthenticationCompletionBlock(AuthenticationCompletionBlock block) { m_completion = std::move(block); }

    // A dialog that has not finished loading by then fails with a time-out.
    int loadTimeout() const { return m_loadTimeout; }
    void setLoadTimeout(int milliseconds) { m_loadTimeout = milliseconds; }

    virtual bool isAuthenticating() const = 0;
    virtual void startAuthenticationProcess() = 0;
    virtual void cancelAuthenticationProcess() = 0;
    virtual void endAuthenticationProcessWithError(const TULOError &error) = 0;

protected:
    TULOFacebookAuthenticationViewController(const QString &clientID, const QStringList &writePermissions,
                                             QObject *parent);

private:
    const QString m_clientID;
    const QStringList m_writePermissions;
    AuthenticationCompletionBlock m_completion;
    int m_loadTimeout = DefaultLoadTimeout;
};

// The web sign-in library's entry point, with C linkage.
extern "C" {
using TULOCreateFacebookAuthenticationViewControllerFunction = TULOFacebookAuthenticationViewController *(*)(
    const QString &clientID, const QStringList &writePermissions, QObject *parent);
}
#define TULO_CREATE_FACEBOOK_AUTHENTICATION_SYMBOL "TULOCreateFacebookAuthenticationViewController"

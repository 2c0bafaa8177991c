// quillon accounts link facebook: the web sign-in needs a window, so this part of the command
// shows a small one and presents the sign-in screen from it.

#include "command.h"

#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/facebookpermissions.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/ui/viewcontroller.h>
#include <Quillon/platform/ui/window.h>

#include <QApplication>
#include <QEvent>
#include <QLabel>
#include <QTextStream>
#include <QVBoxLayout>

// Reports a closed window as a cancelled sign-in, so the command never waits for nothing.
class TULOAccountsWindowCloseWatcher : public QObject
{
public:
    explicit TULOAccountsWindowCloseWatcher(bool *closed) : m_closed(closed) {}

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Close)
            *m_closed = true;
        return QObject::eventFilter(watched, event);
    }

private:
    bool *m_closed;
};

int TULOAccountsLinkFacebook(TULOAccountStore &store)
{
    const QString platform = QGuiApplication::platformName();
    if (platform == QLatin1String("offscreen") || platform == QLatin1String("minimal"))
        return TULOCommandFail(QStringLiteral("accounts"),
            QStringLiteral("link facebook opens a sign-in window and needs a display (DISPLAY or WAYLAND_DISPLAY)"));

    const QString facebook = QString::fromLatin1(TULOServiceIdentifierFacebook);
    QApplication::setQuitOnLastWindowClosed(false);
    TULOViewController root;
    QWidget *view = root.view();
    auto *layout = new QVBoxLayout(view);
    auto *label = new QLabel(QStringLiteral("Linking a Facebook account for %1…").arg(store.author().name()), view);
    label->setAlignment(Qt::AlignCenter);
    layout->addWidget(label);
    TULOWindow window;
    window.setWindowTitle(QStringLiteral("quillon accounts"));
    window.setRootViewController(&root);
    window.resize(560, 680);
    bool closed = false;
    TULOAccountsWindowCloseWatcher watcher(&closed);
    window.installEventFilter(&watcher);
    window.show();

    bool done = false;
    bool granted = false;
    TULOError failure;
    bool enabledAfter = false;
    store.requestAccessToAccountForServiceIdentifier(facebook, TULOFacebookWritePermissions(), &root,
        [&](bool success, const TULOError &error) {
            granted = success;
            failure = error;
            done = true;
        });
    while (!done && !closed)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents);
    if (!done)
        return TULOCommandFail(QStringLiteral("accounts"), QStringLiteral("sign-in window closed; nothing was linked"));
    if (!granted) {
        return TULOCommandFail(QStringLiteral("accounts"),
            QStringLiteral("Facebook sign-in failed: %1").arg(failure.localizedDescription()));
    }
    // The account itself arrives with the account information the store asks for next.
    bool infoDone = false;
    QObject::connect(&store, &TULOAccountStore::accountInfoRequestDidFinish, &store, [&](const QString &service) {
        if (service == facebook) {
            enabledAfter = store.isAccountEnabledForServiceIdentifier(facebook);
            infoDone = true;
        }
    });
    while (!infoDone && !closed)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents);
    const std::optional<TULOAccount> account = store.accountForServiceIdentifier(facebook);
    QTextStream(stdout) << "facebook: linked " << (account ? account->userName() : QStringLiteral("an account"))
                        << ", autoposting " << (enabledAfter ? "on" : "off") << '\n';
    return 0;
}

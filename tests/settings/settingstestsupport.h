#pragma once

#include "../accounts/accountrequeststestsupport.h"

#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/accounts/socialservice.h>
#include <Quillon/core/configuration.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/preferences.h>
#include <Quillon/platform/ui/alertcontroller.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/window.h>
#include "sandboxsocial.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QUuid>

#include <memory>

inline const QString TULOTestTwitter = QString::fromLatin1(TULOServiceIdentifierTwitter);
inline const QString TULOTestFacebook = QString::fromLatin1(TULOServiceIdentifierFacebook);

// A configuration that allows the given services, in order.
inline TULOConfiguration TULOConfigurationWithServices(const QStringList &identifiers)
{
    QVariantList services;
    for (const QString &identifier : identifiers) {
        TULOSocialService service;
        service.setIdentifier(identifier);
        service.setMaximumNumberOfCharacters(identifier == TULOTestTwitter ? 140 : 5000);
        services.append(QVariant::fromValue(service));
    }
    TULOConfiguration configuration;
    configuration.setAllowedExternalServices(services);
    return configuration;
}

// A Facebook account as the sandbox reports it: two pages, the second preferred.
inline QJsonObject TULOLinkedFacebookInfo(const QString &preferredPage = QStringLiteral("p2"), bool withPages = true)
{
    QJsonObject info{
        {QStringLiteral("handle"), QStringLiteral("Ann Page")},
        {QStringLiteral("accountId"), QStringLiteral("5501")},
    };
    if (withPages) {
        info.insert(QStringLiteral("facebookPages"),
                    QJsonArray{QJsonObject{{QStringLiteral("id"), QStringLiteral("p1")}, {QStringLiteral("name"), QStringLiteral("Ann Live")}},
                               QJsonObject{{QStringLiteral("id"), QStringLiteral("p2")}, {QStringLiteral("name"), QStringLiteral("Ann Records")}}});
    }
    if (!preferredPage.isNull())
        info.insert(QStringLiteral("pageId"), preferredPage);
    return info;
}

// A home of temporary files (accounts database, credentials, preferences), the sandbox store
// signed in, and a window whose root is a navigation controller, as the compose screen shows
// the settings.
class TULOSettingsTestFixture
{
public:
    QTemporaryDir home;
    TULOSandboxStore sandbox;
    std::unique_ptr<TULOWindow> window;
    QPointer<TULONavigationController> navigation;

    bool start()
    {
        if (!home.isValid())
            return false;
        qputenv("XDG_DATA_HOME", QFile::encodeName(home.filePath(QStringLiteral("data"))));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.filePath(QStringLiteral("config"))));
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/quillon-test-bus");
        if (!sandbox.start())
            return false;
        TULOClientContext::setDefaultContext(TULOSandboxContext(sandbox));
        return TULOSignInDemoAccount(sandbox);
    }

    void stop()
    {
        closeWindow();
        sandbox.stop();
    }

    static TULOPostAuthor newAuthor()
    {
        return TULOPostAuthor(QUuid::createUuid().toString(QUuid::Id128).left(12), QStringLiteral("Ann Artist"),
                              QStringLiteral("artist"));
    }

    void link(const TULOPostAuthor &author, const QString &service, const QJsonValue &info)
    {
        sandbox.social()->setAccountInfo(TULOPostAuthor::queryKeyForAuthorType(author.authorType()), author.identifier(),
                                         service, info);
    }

    // A store whose first account-information answer has arrived.
    std::unique_ptr<TULOAccountStore> makeStore(const TULOPostAuthor &author, int timeout = 5000)
    {
        auto store = std::make_unique<TULOAccountStore>(author, TULOSandboxContext(sandbox, timeout));
        QSignalSpy finished(store.get(), &TULOAccountStore::accountInfoRequestDidFinish);
        if (!finished.wait(TULOStoreTestWait))
            qWarning("no account information answer");
        return store;
    }

    static TULOAccount twitterAccount(const QString &userName = QStringLiteral("@quillondemo"),
                                      const QString &password = TULOSandboxSocial::twitterPassword())
    {
        TULOAccount account(TULOTestTwitter);
        account.setUserName(userName);
        account.setPassword(password);
        account.setAuthenticationToken(QStringLiteral("4242-token"));
        account.setAuthenticationSecret(QStringLiteral("secret"));
        return account;
    }

    // Shows `root` as the bottom of a navigation stack in a window.
    void show(TULOViewController *root, const QSize &size = QSize(480, 640))
    {
        closeWindow();
        navigation = new TULONavigationController(root);
        window = std::make_unique<TULOWindow>();
        window->setRootViewController(navigation);
        window->resize(size);
        window->show();
    }

    void closeWindow()
    {
        if (navigation) {
            if (navigation->presentedViewController())
                navigation->dismissViewController(false);
        }
        window.reset();
        delete navigation.data();
    }

    // The alert or sheet presented above `presenter`, if any.
    static TULOAlertController *presentedAlert(TULOViewController *presenter)
    {
        return presenter ? qobject_cast<TULOAlertController *>(presenter->presentedViewController()) : nullptr;
    }
};

// The text a key has in the PostComposition table under the default (sandbox) context.
inline QString TULOSettingsTestText(const QString &key)
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(
        key, QString::fromLatin1(TULOStringsTablePostComposition), TULOClientContext::defaultContext());
}

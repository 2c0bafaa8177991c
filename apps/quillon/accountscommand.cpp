// quillon accounts: lists, links, switches and unlinks the social accounts of one author,
// through the same account store, database and credential store the screens use.

#include "accountspassword.h"
#include "accountssession.h"
#include "command.h"

#include <Quillon/accounts/accountdatabase_p.h>
#include <Quillon/accounts/accounterroralertcontroller.h>
#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/authenticaterequest.h>
#include <Quillon/platform/store/authorpermissionsoperation.h>
#include <Quillon/platform/credentials/credentialstore.h>
#include "sandboxstore.h"

#include <QCommandLineParser>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTextStream>

#include <memory>

static const QString TULOAccountsCommandName = QStringLiteral("accounts");

static int TULOAccountsFail(const QString &message, int exitCode = 1)
{
    return TULOCommandFail(TULOAccountsCommandName, message, exitCode);
}

static QString TULOAccountsServiceArgument(const QString &argument, QString *error)
{
    const QString service = argument.toLower();
    if (service == QLatin1String(TULOServiceIdentifierFacebook) || service == QLatin1String(TULOServiceIdentifierTwitter))
        return service;
    *error = argument.isEmpty() ? QStringLiteral("name a service: facebook or twitter")
                                : QStringLiteral("unknown service '%1' (facebook or twitter)").arg(argument);
    return QString();
}

static QJsonObject TULOAccountsJson(const TULOAccountStore &store, const QString &service)
{
    QJsonObject entry{{QStringLiteral("service"), service}};
    const std::optional<TULOAccount> account = store.accountForServiceIdentifier(service);
    entry.insert(QStringLiteral("linked"), account.has_value());
    entry.insert(QStringLiteral("enabled"), store.isAccountEnabledForServiceIdentifier(service));
    if (!account)
        return entry;
    entry.insert(QStringLiteral("userName"), account->userName());
    entry.insert(QStringLiteral("fullName"), account->fullName());
    const QString userId = account->valueForProperty(QString::fromLatin1(TULOAccountPropertyUserId)).toString();
    if (!userId.isNull())
        entry.insert(QStringLiteral("userId"), userId);
    if (service == QLatin1String(TULOServiceIdentifierFacebook)) {
        QJsonArray pages;
        for (const TULOFacebookPage &page : account->pages())
            pages.append(QJsonObject{{QStringLiteral("id"), page.identifier()}, {QStringLiteral("name"), page.name()}});
        entry.insert(QStringLiteral("pages"), pages);
        if (!account->preferredPageIdentifier().isNull())
            entry.insert(QStringLiteral("preferredPageIdentifier"), account->preferredPageIdentifier());
        entry.insert(QStringLiteral("destination"),
            store.preferredFacebookAutopostingDestination() == TULOFacebookAutopostingDestinationPreferredPage
                ? QStringLiteral("page")
                : QStringLiteral("profile"));
    }
    return entry;
}

static int TULOAccountsList(TULOAccountStore &store, const TULOError &facebookError, bool json)
{
    const QStringList services{QString::fromLatin1(TULOServiceIdentifierFacebook),
                               QString::fromLatin1(TULOServiceIdentifierTwitter)};
    QTextStream out(stdout);
    const TULOPostAuthor author = store.author();
    if (json) {
        QJsonArray accounts;
        for (const QString &service : services)
            accounts.append(TULOAccountsJson(store, service));
        QJsonObject document{
            {QStringLiteral("author"), QJsonObject{{QStringLiteral("id"), author.identifier()},
                                                  {QStringLiteral("name"), author.name()},
                                                  {QStringLiteral("type"), author.authorType()}}},
            {QStringLiteral("accounts"), accounts}};
        if (!facebookError.isNull())
            document.insert(QStringLiteral("facebookError"), facebookError.localizedDescription());
        document.insert(QStringLiteral("credentialStore"),
                        QJsonObject{{QStringLiteral("backend"), TULOCredentialStore::sharedStore()->backendName()},
                                    {QStringLiteral("location"), TULOCredentialStore::sharedStore()->locationDescription()}});
        out << QJsonDocument(document).toJson(QJsonDocument::Indented);
        return 0;
    }
    out << "Accounts of " << author.name() << " (" << author.authorType() << ' ' << author.identifier() << ")\n";
    for (const QString &service : services) {
        const QJsonObject entry = TULOAccountsJson(store, service);
        out << "  " << service.leftJustified(9);
        if (!entry.value(QStringLiteral("linked")).toBool()) {
            out << "not linked\n";
            continue;
        }
        out << entry.value(QStringLiteral("userName")).toString();
        const QString fullName = entry.value(QStringLiteral("fullName")).toString();
        if (fullName != entry.value(QStringLiteral("userName")).toString())
            out << " (" << fullName << ')';
        out << ", autoposting " << (entry.value(QStringLiteral("enabled")).toBool() ? "on" : "off");
        if (entry.contains(QStringLiteral("destination")))
            out << ", posts to the " << entry.value(QStringLiteral("destination")).toString();
        out << '\n';
        const QString preferred = entry.value(QStringLiteral("preferredPageIdentifier")).toString();
        for (const QJsonValue page : entry.value(QStringLiteral("pages")).toArray()) {
            const QString id = page.toObject().value(QStringLiteral("id")).toString();
            out << "           page " << id << ' ' << page.toObject().value(QStringLiteral("name")).toString()
                << (id == preferred ? " (preferred)\n" : "\n");
        }
    }
    if (!facebookError.isNull())
        out << "  (the store did not answer for facebook: " << facebookError.localizedDescription() << ")\n";
    out << "Credentials are kept in " << TULOCredentialStore::sharedStore()->locationDescription() << ".\n";
    return 0;
}

static int TULOAccountsSwitch(TULOAccountStore &store, const QString &service, bool enabled)
{
    if (enabled && !store.accountForServiceIdentifier(service))
        return TULOAccountsFail(QStringLiteral("no %1 account is linked for %2; link one first").arg(service, store.author().name()));
    store.setAccountEnabled(enabled, service);
    QTextStream(stdout) << service << ": autoposting " << (store.isAccountEnabledForServiceIdentifier(service) ? "on" : "off") << '\n';
    return 0;
}

static int TULOAccountsLinkTwitter(TULOAccountStore &store, const QString &userName)
{
    if (userName.isEmpty())
        return TULOAccountsFail(QStringLiteral("link twitter needs --user NAME"), 2);
    const std::optional<QString> password = TULOAccountsReadSecret(QStringLiteral("Twitter password for %1: ").arg(userName));
    if (!password || password->isEmpty())
        return TULOAccountsFail(QStringLiteral("no password given"));
    bool done = false;
    std::optional<TULOAccount> verified;
    TULOError failure;
    store.verifyUserName(userName, *password, QString::fromLatin1(TULOServiceIdentifierTwitter),
        [&](const std::optional<TULOAccount> &account, const TULOError &error) {
            TULODispatchMain([&, account, error] {
                verified = account;
                failure = error;
                done = true;
            });
        });
    TULOStoreSession::waitFor(done);
    if (!verified) {
        // The sign-in screen's own words for the failure (bad credentials, verification, network).
        const QString message = TULOAccountErrorAlertController::titleKeyAndMessageForError(failure, TULOClientContext::defaultContext()).second;
        return TULOAccountsFail(QStringLiteral("Twitter refused %1: %2").arg(userName, message.isEmpty() ? failure.localizedDescription() : message));
    }
    TULOError saveError;
    if (!store.saveAccount(*verified, &saveError))
        return TULOAccountsFail(QStringLiteral("could not keep the account: %1").arg(saveError.localizedDescription()));
    store.setAccountEnabled(true, verified->serviceIdentifier());
    QTextStream(stdout) << "twitter: linked " << verified->userName() << ", autoposting on\n";
    return 0;
}

static int TULOAccountsUnlink(TULOAccountStore &store, const QString &service)
{
    const std::optional<TULOAccount> account = store.accountForServiceIdentifier(service);
    if (!account)
        return TULOAccountsFail(QStringLiteral("no %1 account is linked for %2").arg(service, store.author().name()));
    bool done = false;
    bool unlinked = false;
    TULOError failure;
    store.unlinkAccount(*account, [&](bool success, const TULOError &error) {
        unlinked = success;
        failure = error;
        done = true;
    });
    TULOStoreSession::waitFor(done);
    if (!unlinked) {
        return TULOAccountsFail(QStringLiteral("the store did not unlink %1 (%2); the account is kept")
                                    .arg(account->userName(), failure.isNull() ? QStringLiteral("refused") : failure.localizedDescription()));
    }
    QTextStream(stdout) << service << ": unlinked " << account->userName() << '\n';
    return 0;
}

int TULOAccountsLinkFacebook(TULOAccountStore &store);

static int TULOAccountsRun(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Lists and changes the linked social accounts of an author.\n\n"
        "  list [--json]             the accounts, their autoposting switches and Facebook pages\n"
        "  link twitter --user NAME  signs in; the password is read from the terminal, or from\n"
        "                            the first line of standard input when that is not a terminal\n"
        "  link facebook             opens the Facebook sign-in screen (needs a display)\n"
        "  enable SERVICE            turns autoposting on (SERVICE: facebook or twitter)\n"
        "  disable SERVICE           turns autoposting off\n"
        "  unlink SERVICE            asks the store to unlink the account, then forgets it\n\n"
        "Without --store the embedded sandbox store is used, the same one as quillon post's (its\n"
        "data in QUILLON_SANDBOX_DATA when set, else in the application's data folder)."));
    parser.addHelpOption();
    parser.addOptions({
        {QStringLiteral("as"), QStringLiteral("The author to work for (default: the store account itself)."), QStringLiteral("AUTHOR_ID")},
        {QStringLiteral("store"), QStringLiteral("The store's URL bag (default: the embedded sandbox store)."), QStringLiteral("BAG_URL")},
        {QStringLiteral("store-account"), QStringLiteral("Store account to sign in with (QUILLON_STORE_PASSWORD or a prompt gives its password)."), QStringLiteral("NAME")},
        {QStringLiteral("user"), QStringLiteral("Twitter user name for 'link twitter'."), QStringLiteral("NAME")},
        {QStringLiteral("json"), QStringLiteral("'list' prints JSON.")},
    });
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("list, link, enable, disable or unlink"));
    if (!parser.parse(QStringList{QStringLiteral("quillon accounts")} + arguments))
        return TULOAccountsFail(parser.errorText(), 2);
    if (parser.isSet(QStringLiteral("help"))) {
        // The parser names the executable's path; people type the subcommand.
        QString help = parser.helpText();
        help.replace(QRegularExpression(QStringLiteral("^Usage: \\S+")), QStringLiteral("Usage: quillon accounts"));
        QTextStream(stdout) << help;
        return 0;
    }
    const QStringList positional = parser.positionalArguments();
    const QString verb = positional.value(0, QStringLiteral("list"));
    const QStringList known{QStringLiteral("list"), QStringLiteral("link"), QStringLiteral("enable"),
                            QStringLiteral("disable"), QStringLiteral("unlink")};
    if (!known.contains(verb))
        return TULOAccountsFail(QStringLiteral("unknown command '%1' (%2)").arg(verb, known.join(QStringLiteral(", "))), 2);
    QString service;
    if (verb != QLatin1String("list")) {
        QString problem;
        service = TULOAccountsServiceArgument(positional.value(1), &problem);
        if (service.isEmpty())
            return TULOAccountsFail(problem, 2);
    }
    if (positional.size() > (verb == QLatin1String("list") ? 1 : 2))
        return TULOAccountsFail(QStringLiteral("unexpected argument '%1'").arg(positional.last()), 2);

    TULOAccountsSession session;
    QString problem;
    if (!session.open(parser, &problem))
        return TULOAccountsFail(problem);

    // An accounts file that cannot be opened would read as "nothing linked"; one that can only
    // be read still lists, but nothing may pretend to change it.
    TULOAccountDatabase *database = TULOAccountDatabase::sharedDatabase();
    if (!database->isOpen())
        return TULOAccountsFail(database->openError().isNull() ? QStringLiteral("the accounts database %1 is not open").arg(database->path())
                                                               : QStringLiteral("cannot open the accounts database %1: %2")
                                                                     .arg(database->path(), database->openError().localizedDescription()));
    if (verb != QLatin1String("list") && database->isReadOnly())
        return TULOAccountsFail(QStringLiteral("the accounts database %1 can only be read (%2); nothing was changed")
                                    .arg(database->path(), database->readOnlyReason()));

    TULOAccountStore store(session.author(), session.context());
    // The Facebook account arrives from the store shortly after the account store is made.
    bool infoDone = false;
    TULOError facebookError;
    QObject::connect(&store, &TULOAccountStore::accountInfoRequestDidFinish, &store,
                     [&](const QString &, const TULOError &error) {
                         facebookError = error;
                         infoDone = true;
                     });
    TULOStoreSession::waitFor(infoDone);

    if (verb == QLatin1String("list"))
        return TULOAccountsList(store, facebookError, parser.isSet(QStringLiteral("json")));
    if (verb == QLatin1String("enable") || verb == QLatin1String("disable"))
        return TULOAccountsSwitch(store, service, verb == QLatin1String("enable"));
    if (verb == QLatin1String("unlink"))
        return TULOAccountsUnlink(store, service);
    if (service == QLatin1String(TULOServiceIdentifierTwitter))
        return TULOAccountsLinkTwitter(store, parser.value(QStringLiteral("user")));
    return TULOAccountsLinkFacebook(store);
}

static TULOCommandRegistration registration({TULOAccountsCommandName,
    QStringLiteral("list, link, switch and unlink an author's Facebook and Twitter accounts"), TULOAccountsRun,
    /*opensWindows=*/true});

#include "postsession.h"

#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/compose/tagdataconsumer.h>
#include <Quillon/core/quillon.h>
#include <Quillon/platform/operation.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/authenticaterequest.h>
#include <Quillon/platform/store/platformcontext.h>
#include <Quillon/platform/store/platformrequestoperation.h>
#include <Quillon/platform/store/urlloadoperation.h>

#include "sandboxstore.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QStandardPaths>
#include <QTextStream>

#include <termios.h>
#include <unistd.h>

#include <Quillon/accounts/accountstore.h>
#include <Quillon/core/loadconfigurationoperation.h>
#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/postrequest.h>

namespace {

TULOError sessionError(const QString &description)
{
    return TULOError::withDescription(QString::fromLatin1(TULOErrorDomain), 1, description);
}

QString sandboxDataDirectory()
{
    const QString configured = qEnvironmentVariable("QUILLON_SANDBOX_DATA");
    if (!configured.isEmpty())
        return configured;
    return QDir(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)).filePath(QStringLiteral("sandbox"));
}

// Reads one line from the terminal, without echo for passwords; nothing when there is no
// terminal (a script without the environment variables) or the user ended the input.
std::optional<QString> readFromTerminal(const QString &prompt, bool secret)
{
    QFile tty(QStringLiteral("/dev/tty"));
    if (!tty.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
        return std::nullopt;
    tty.write(prompt.toLocal8Bit());
    termios saved{};
    const bool restore = secret && tcgetattr(tty.handle(), &saved) == 0;
    if (restore) {
        termios quiet = saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(tty.handle(), TCSAFLUSH, &quiet);
    }
    QByteArray line;
    char c = 0;
    while (tty.read(&c, 1) == 1 && c != '\n')
        line.append(c);
    if (restore) {
        tcsetattr(tty.handle(), TCSAFLUSH, &saved);
        tty.write("\n");
    }
    if (line.isEmpty())
        return std::nullopt;
    return QString::fromLocal8Bit(line);
}

} // namespace

TULOPostSession::TULOPostSession()
    : m_queue(std::make_unique<TULOOperationQueue>(QStringLiteral("com.vantor.Quillon.post")))
{
}

TULOPostSession::~TULOPostSession()
{
    m_accountStore.reset();
    m_queue.reset();
    if (m_sandbox)
        m_sandbox->stop();
}

void TULOPostSession::runAndWait(const std::shared_ptr<TULOOperation> &operation)
{
    QEventLoop loop;
    operation->setCompletionCallback([&loop] { QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection); });
    m_queue->addOperation(operation);
    if (!operation->isFinished())
        loop.exec();
    operation->waitUntilFinished();
}

bool TULOPostSession::open(const QUrl &bagURL, TULOError *error)
{
    QUrl bag = bagURL;
    if (bag.isEmpty()) {
        m_sandbox = std::make_unique<TULOSandboxStore>();
        QString failure;
        if (!m_sandbox->start(sandboxDataDirectory(), 0, &failure)) {
            TULOSetError(error, sessionError(QStringLiteral("could not start the sandbox store: %1").arg(failure)));
            return false;
        }
        bag = m_sandbox->bagUrl();
        // The sandbox's demo account signs in without asking.
        TULOAuthenticationContext::setDefaultPromptHandler([](const QString &, const TULOError &previous)
                                                               -> std::optional<TULOAuthenticationPromptReply> {
            if (previous)
                return std::nullopt; // the demo password was refused: do not loop
            return TULOAuthenticationPromptReply{TULOSandboxStore::demoAccountName(), TULOSandboxStore::demoPassword(), false};
        });
    } else {
        TULOAuthenticationContext::setDefaultPromptHandler([](const QString &offered, const TULOError &previous)
                                                               -> std::optional<TULOAuthenticationPromptReply> {
            const QString envAccount = qEnvironmentVariable("QUILLON_STORE_ACCOUNT");
            const QString envPassword = qEnvironmentVariable("QUILLON_STORE_PASSWORD");
            if (!envPassword.isEmpty()) {
                if (previous)
                    return std::nullopt; // the same password would be refused again
                return TULOAuthenticationPromptReply{envAccount.isEmpty() ? offered : envAccount, envPassword, false};
            }
            if (previous)
                QTextStream(stderr) << "quillon post: " << previous.localizedDescription() << '\n';
            QString account = envAccount.isEmpty() ? offered : envAccount;
            if (account.isEmpty()) {
                const auto typed = readFromTerminal(QStringLiteral("Store account: "), false);
                if (!typed)
                    return std::nullopt;
                account = *typed;
            }
            const auto password = readFromTerminal(QStringLiteral("Password for %1: ").arg(account), true);
            if (!password)
                return std::nullopt;
            return TULOAuthenticationPromptReply{account, *password, false};
        });
    }
    m_context = TULOClientContext(bag);
    TULOClientContext::setDefaultContext(m_context);

    std::optional<TULOConfiguration> configuration;
    TULOError loadError;
    auto load = std::make_shared<TULOLoadConfigurationOperation>();
    load->setClientContext(m_context);
    load->setConfigurationBlock([&](const std::optional<TULOConfiguration> &c, const TULOClientContext &context, const TULOError &e) {
        configuration = c;
        if (!context.bagURL().isEmpty())
            m_context = context;
        loadError = e;
    });
    runAndWait(load);
    if (!configuration) {
        TULOSetError(error, sessionError(QStringLiteral("could not load the store's configuration: %1")
                                             .arg(loadError ? loadError.localizedDescription() : QStringLiteral("no answer"))));
        return false;
    }
    m_configuration = *configuration;
    return true;
}

std::optional<TULOPostAuthor> TULOPostSession::authorWithIdentifier(const QString &identifier, bool attributed, TULOError *error) const
{
    const QList<TULOPostAuthor> authors = m_configuration.authorsForSharing();
    if (authors.isEmpty()) {
        TULOSetError(error, sessionError(QStringLiteral("this store account may not post as anyone")));
        return std::nullopt;
    }
    std::optional<TULOPostAuthor> author;
    if (identifier.isEmpty()) {
        author = m_configuration.authorForActiveAccount();
        if (!author || !authors.contains(*author))
            author = authors.first();
    } else {
        for (const TULOPostAuthor &candidate : authors) {
            if (candidate.identifier() == identifier)
                author = candidate;
        }
        if (!author) {
            QStringList allowed;
            for (const TULOPostAuthor &candidate : authors)
                allowed << QStringLiteral("%1 (%2)").arg(candidate.identifier(), candidate.name());
            TULOSetError(error, sessionError(QStringLiteral("this account may not post as author %1; it may post as %2")
                                                 .arg(identifier, allowed.join(QStringLiteral(", ")))));
            return std::nullopt;
        }
    }
    if (attributed && !author->hasPermission(TULOAuthorPermissionShareWithAttribution)) {
        TULOSetError(error, sessionError(QStringLiteral("author %1 may not post with attribution").arg(author->identifier())));
        return std::nullopt;
    }
    return author;
}

std::optional<QList<TULOTag>> TULOPostSession::lookUpTags(const QString &query, TULOError *error)
{
    const QUrl url = m_configuration.tagLookupURLWithTag(query);
    if (!url.isValid()) {
        TULOSetError(error, sessionError(QStringLiteral("the store offers no tag lookup")));
        return std::nullopt;
    }
    auto load = std::make_shared<TULOUrlLoadOperation>(url);
    load->setClientContext(m_context);
    runAndWait(load);
    const TULOError failure = load->error();
    if (!failure.isNull() || !load->response().isSuccess()) {
        TULOSetError(error, !failure.isNull() ? failure
                                              : TULOError::withDescription(QString::fromLatin1(TULOStoreErrorDomain), 100,
                                                                           load->networkError().localizedDescription()));
        return std::nullopt;
    }
    return TULOTagDataConsumer().tagsForData(load->data(), error);
}

std::optional<QVariantMap> TULOPostSession::lookUpItem(const QString &identifier, TULOError *error)
{
    const auto bag = m_context.loadedURLBag();
    if (!bag) {
        TULOSetError(error, sessionError(QStringLiteral("the store's bag is not loaded")));
        return std::nullopt;
    }
    auto lookup = std::make_shared<TULOPlatformRequestOperation>(TULOPlatformContext(*bag, m_context));
    lookup->setItemIdentifiers({identifier});
    lookup->setKeyProfile(QString::fromLatin1(TULOLookupKeyProfileLockup));
    runAndWait(lookup);
    const auto response = lookup->response();
    if (!response) {
        TULOSetError(error, lookup->error());
        return std::nullopt;
    }
    const auto item = response->itemForKey(identifier);
    if (!item) {
        TULOSetError(error, sessionError(QStringLiteral("the store has no item %1").arg(identifier)));
        return std::nullopt;
    }
    return item->lookupDictionary();
}

std::optional<TULOTag> TULOPostSession::tagWithIdentifier(const QString &identifier, TULOError *error)
{
    TULOError lookupError;
    const auto dictionary = lookUpItem(identifier, &lookupError);
    if (!dictionary) {
        TULOSetError(error, sessionError(QStringLiteral("unknown tag %1: %2").arg(identifier, lookupError.localizedDescription())));
        return std::nullopt;
    }
    TULOTag tag;
    tag.setEntityType(dictionary->value(QStringLiteral("kind")).toString());
    tag.setIdentifier(identifier);
    tag.setName(dictionary->value(QStringLiteral("name")).toString());
    if (tag.name().isEmpty()) {
        TULOSetError(error, sessionError(QStringLiteral("unknown tag %1: the store gives it no name").arg(identifier)));
        return std::nullopt;
    }
    return tag;
}

std::optional<TULOStoreItem> TULOPostSession::storeItemWithIdentifier(const QString &identifier, TULOError *error)
{
    TULOError lookupError;
    const auto dictionary = lookUpItem(identifier, &lookupError);
    if (!dictionary) {
        TULOSetError(error, sessionError(QStringLiteral("unknown store item %1: %2").arg(identifier, lookupError.localizedDescription())));
        return std::nullopt;
    }
    return TULOStoreItem::withItemDictionary(*dictionary);
}

std::shared_ptr<TULOAccountStore> TULOPostSession::accountStoreForAuthor(const TULOPostAuthor &author)
{
    if (!m_accountStore || m_accountStore->author() != author)
        m_accountStore = std::make_shared<TULOAccountStore>(author);
    return m_accountStore;
}

qint64 TULOPostSession::facebookDestination(const TULOPostAuthor &author)
{
    return accountStoreForAuthor(author)->preferredFacebookAutopostingDestination();
}

std::optional<QList<TULOSocialService>> TULOPostSession::externalServices(const TULOPostAuthor &author, const QStringList &identifiers,
                                                                          TULOError *error)
{
    QList<TULOSocialService> services;
    if (identifiers.isEmpty())
        return services;
    const QVariantList allowed = m_configuration.allowedExternalServices().value_or(QVariantList());
    for (const QString &identifier : identifiers) {
        std::optional<TULOSocialService> found;
        for (const QVariant &value : allowed) {
            const auto service = value.value<TULOSocialService>();
            if (service.identifier() == identifier)
                found = service;
        }
        if (!found) {
            TULOSetError(error, sessionError(QStringLiteral("the store does not offer sharing to %1").arg(identifier)));
            return std::nullopt;
        }
        // Facebook's account lives with the store; a Twitter account must be linked here.
        if (identifier != QLatin1String(TULOServiceIdentifierFacebook) && !accountStoreForAuthor(author)->accountForServiceIdentifier(identifier)) {
            TULOSetError(error, sessionError(QStringLiteral("no %1 account is linked for author %2 (link one with quillon accounts)")
                                                 .arg(identifier, author.identifier())));
            return std::nullopt;
        }
        services << *found;
    }
    return services;
}

QUrl TULOPostSession::publish(const TULOPostDescription &description, TULOError *error)
{
    QUrl feed;
    TULOError uploadError;
    QEventLoop loop;
    auto *request = new TULOPostRequest(description);
    request->setClientContext(m_context);
    request->startWithCompletionBlock([&](const QUrl &url, const TULOError &e) {
        feed = url;
        uploadError = e;
        loop.quit();
    });
    loop.exec();
    if (feed.isEmpty())
        TULOSetError(error, uploadError ? uploadError : sessionError(QStringLiteral("the store gave no feed address")));
    return feed;
}

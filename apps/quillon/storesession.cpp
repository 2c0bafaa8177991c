#include "storesession.h"

#include <Quillon/accounts/accountdatabase_p.h>
#include <Quillon/platform/operation.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/privatefiles.h>
#include <Quillon/platform/store/authenticaterequest.h>

#include "sandboxstore.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QStandardPaths>
#include <QTextStream>

#include <termios.h>
#include <unistd.h>

namespace {

TULOError sessionError(const QString &description)
{
    return TULOError::withDescription(TULOErrorDomain, TULOErrorOperationFailed, description);
}

// Reads one line from the terminal, without echo for passwords; nothing when there is no
// terminal (a script without the environment variables) or the user ended the input. The
// terminal, not standard input, which may carry other input (a Twitter password).
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

TULOStoreSession::TULOStoreSession(const QString &commandName)
    : m_command(commandName)
    , m_queue(std::make_unique<TULOOperationQueue>(QStringLiteral("com.vantor.Quillon.") + commandName))
{
}

TULOStoreSession::~TULOStoreSession()
{
    if (m_watchesAccounts) {
        for (const QString &path : TULOAccountDatabase::sharedDatabase()->setAsidePaths()) {
            QTextStream(stderr) << "quillon " << m_command << ": the accounts database " << TULOAccountDatabase::databasePath()
                                << " was damaged; it was moved to " << path << " and a new one was started\n";
        }
    }
    m_queue.reset();
    if (m_sandbox)
        m_sandbox->stop();
}

QString TULOStoreSession::sandboxDataDirectory()
{
    const QString configured = qEnvironmentVariable("QUILLON_SANDBOX_DATA");
    if (!configured.isEmpty())
        return configured;
    return QDir(QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation)).filePath(QStringLiteral("sandbox"));
}

bool TULOStoreSession::open(const QUrl &bagURL, const QString &accountName, TULOError *error)
{
    QUrl bag = bagURL;
    if (bag.isEmpty()) {
        m_sandbox = std::make_unique<TULOSandboxStore>();
        // The port it had last time when it is free, so posts still in the outbox find it again.
        const QString data = sandboxDataDirectory();
        QFile portFile(QDir(data).filePath(QStringLiteral("embedded-port")));
        const uint previous = portFile.open(QIODevice::ReadOnly) ? portFile.readAll().trimmed().toUInt() : 0;
        portFile.close();
        QString failure;
        const bool started = (previous > 0 && previous <= 65535 && m_sandbox->start(data, quint16(previous), &failure))
            || m_sandbox->start(data, 0, &failure);
        if (started && m_sandbox->port() != previous)
            TULOPrivateFiles::writeFile(portFile.fileName(), [port = m_sandbox->port()](QIODevice *file, TULOError *) {
                return file->write(QByteArray::number(port)) > 0;
            });
        if (!started) {
            TULOSetError(error, sessionError(QStringLiteral("could not start the sandbox store: %1").arg(failure)));
            return false;
        }
        bag = m_sandbox->bagUrl();
        m_accountName = accountName.isEmpty() ? TULOSandboxStore::demoAccountName() : accountName;
        TULOAuthenticationContext::setDefaultPromptHandler([account = m_accountName](const QString &, const TULOError &previous)
                                                               -> std::optional<TULOAuthenticationPromptReply> {
            if (previous)
                return std::nullopt; // the demo password was refused: do not loop
            return TULOAuthenticationPromptReply{account, TULOSandboxStore::demoPassword(), false};
        });
    } else {
        m_accountName = accountName.isEmpty() ? qEnvironmentVariable("QUILLON_STORE_ACCOUNT") : accountName;
        TULOAuthenticationContext::setDefaultPromptHandler([command = m_command, account = m_accountName](
                                                               const QString &offered, const TULOError &previous)
                                                               -> std::optional<TULOAuthenticationPromptReply> {
            const QString envPassword = qEnvironmentVariable("QUILLON_STORE_PASSWORD");
            if (!envPassword.isEmpty()) {
                if (previous)
                    return std::nullopt; // the same password would be refused again
                return TULOAuthenticationPromptReply{account.isEmpty() ? offered : account, envPassword, false};
            }
            if (previous)
                QTextStream(stderr) << "quillon " << command << ": " << previous.localizedDescription() << '\n';
            QString name = account.isEmpty() ? offered : account;
            if (name.isEmpty()) {
                const auto typed = readFromTerminal(QStringLiteral("Store account: "), false);
                if (!typed)
                    return std::nullopt;
                name = *typed;
            }
            const auto password = readFromTerminal(QStringLiteral("Password for %1: ").arg(name), true);
            if (!password)
                return std::nullopt;
            return TULOAuthenticationPromptReply{name, *password, false};
        });
    }
    m_context = TULOClientContext(bag);
    TULOClientContext::setDefaultContext(m_context);
    return true;
}

void TULOStoreSession::runAndWait(const std::shared_ptr<TULOOperation> &operation)
{
    QEventLoop loop;
    operation->setCompletionCallback([&loop] { QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection); });
    m_queue->addOperation(operation);
    if (!operation->isFinished())
        loop.exec();
    operation->waitUntilFinished();
}

void TULOStoreSession::waitFor(const bool &done)
{
    while (!done)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents);
}

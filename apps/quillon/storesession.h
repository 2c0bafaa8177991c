#pragma once

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>

#include <QString>
#include <QStringList>
#include <QUrl>

#include <memory>

class TULOOperation;
class TULOOperationQueue;
class TULOSandboxStore;

// The command line's connection to a store, one for every subcommand, so that `accounts` and
// `post` see the same store with the same data: the embedded sandbox store (its data in
// sandboxDataDirectory()) or a store by its bag address, and the sign-in prompt that goes with
// it. Main thread; work runs on the session's queue while the main thread keeps its event loop
// turning, because sign-in prompts and replies arrive there.
class TULOStoreSession
{
public:
    explicit TULOStoreSession(const QString &commandName);
    ~TULOStoreSession();
    TULOStoreSession(const TULOStoreSession &) = delete;
    TULOStoreSession &operator=(const TULOStoreSession &) = delete;

    // QUILLON_SANDBOX_DATA when set, else the application's data folder.
    static QString sandboxDataDirectory();

    // An empty bag URL starts the sandbox store embedded, whose demo account signs in by
    // itself. Against another store the account is `accountName`, else QUILLON_STORE_ACCOUNT,
    // else asked on the terminal; the password is QUILLON_STORE_PASSWORD, else asked.
    bool open(const QUrl &bagURL, const QString &accountName, TULOError *error);

    bool isSandbox() const { return m_sandbox != nullptr; }
    TULOClientContext clientContext() const { return m_context; }
    void setClientContext(const TULOClientContext &context) { m_context = context; }
    // The account the session signs in as; empty when it is left to the prompt.
    QString accountName() const { return m_accountName; }

    // Runs `operation` on the session's queue and returns once it has finished.
    void runAndWait(const std::shared_ptr<TULOOperation> &operation);
    // Keeps the main thread's event loop turning until `done` is set from a callback there.
    static void waitFor(const bool &done);

    // The command uses the linked accounts: when the session ends it says, one line on stderr
    // each, which damaged accounts database was set aside and where it went. (Commands that
    // never touch the accounts do not open their database just to look.)
    void watchAccountsDatabase() { m_watchesAccounts = true; }

private:
    QString m_command;
    QString m_accountName;
    std::unique_ptr<TULOSandboxStore> m_sandbox;
    std::unique_ptr<TULOOperationQueue> m_queue;
    TULOClientContext m_context;
    bool m_watchesAccounts = false;
};

#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/platform/sqlite/sqlitestatement_p.h>

#include <QMutex>
#include <QString>
#include <QStringList>
#include <QVariantList>
#include <functional>
#include <optional>

struct sqlite3;

// How long a connection waits for another connection (or process) holding the file's lock.
extern const int TULOSQLiteBusyTimeoutMilliseconds;

// One connection to an SQLite file. The file's folder is created on open; file and folder are
// owner-only (0600 / 0700). A file SQLite finds to be no database or malformed is moved aside
// under a timestamped name (never deleted) and a fresh file takes its place. A file that exists
// but cannot be written is opened read-only, so what it holds can still be read.
//
// All operations are serialised: a transaction holds the connection for its whole block, so
// another thread waits until it ends. Rows are only ever reached through bound parameters.
class TULOSQLiteDatabase
{
public:
    // Runs whenever the connection is (re)opened, with the connection ready for statements.
    using TULOSetupBlock = std::function<void(TULOSQLiteDatabase &database)>;
    using TULORowBlock = std::function<void(const TULOSQLiteStatement &row, bool *stop)>;

    explicit TULOSQLiteDatabase(const QString &path);
    virtual ~TULOSQLiteDatabase();
    TULOSQLiteDatabase(const TULOSQLiteDatabase &) = delete;
    TULOSQLiteDatabase &operator=(const TULOSQLiteDatabase &) = delete;

    QString path() const { return m_path; }
    bool isOpen() const;
    // Why the last open failed; null while the connection is open.
    TULOError openError() const;
    // Open, but only for reading; the reason says why the file cannot be written.
    bool isReadOnly() const;
    QString readOnlyReason() const;

    // Installing the block does not run it; it runs on the next reopen or recovery.
    void setSetupBlock(TULOSetupBlock block);
    bool reopen(TULOError *error = nullptr);
    void close();

    std::optional<qint64> userVersion(TULOError *error = nullptr);
    bool setUserVersion(qint64 version, TULOError *error = nullptr);

    // Runs every statement of `sql` in turn; for schema work and other SQL that carries no values.
    bool executeSQL(const QString &sql, TULOError *error = nullptr);
    // Runs one statement with `values` bound to its parameters.
    bool executeSQL(const QString &sql, const QVariantList &values, TULOError *error = nullptr);
    // Runs one INSERT and answers the rowid of the new row.
    std::optional<qint64> executeInsertSQL(
        const QString &sql, const QVariantList &values, TULOError *error = nullptr);
    // Runs one UPDATE or DELETE and answers how many rows it changed.
    std::optional<qint64> executeChangeSQL(
        const QString &sql, const QVariantList &values, TULOError *error = nullptr);
    // Hands each result row to `block` until it sets *stop. The row is valid during the call only.
    bool enumerateRowsForSQL(const QString &sql, const QVariantList &values, const TULORowBlock &block,
        TULOError *error = nullptr);

    // Runs `block` inside one transaction (a savepoint when nested). A true result commits; false,
    // an early return of false, or an exception rolls everything back. An exception is passed on
    // to the caller after the rollback. Answers whether the work was committed.
    bool performTransactionWithBlock(const std::function<bool()> &block, TULOError *error = nullptr);
    bool isInTransaction() const;

    // Files this connection moved aside because SQLite found them damaged, oldest first.
    QStringList setAsidePaths() const;

private:
    class TULOOperationScope;
    friend class TULOOperationScope;

    bool openConnection(TULOError *error);
    void closeConnection();
    bool prepareLocation(TULOError *error);
    bool setAside();
    void noteResult(int resultCode);
    void endOperation();
    void recover();
    void runSetupBlock();
    TULOSQLiteStatement prepare(const QString &sql, const QVariantList &values, TULOError *error);
    bool runControlStatement(const QString &sql, TULOError *error);

    const QString m_path;
    mutable QRecursiveMutex m_mutex;
    sqlite3 *m_connection = nullptr;
    TULOError m_openError;
    QString m_readOnlyReason; // empty: the file can be written
    TULOSetupBlock m_setupBlock;
    QStringList m_setAsidePaths;
    int m_operationDepth = 0;
    int m_transactionDepth = 0;
    bool m_recoveryPending = false;
    bool m_recovering = false;
};

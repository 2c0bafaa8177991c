#include <Quillon/platform/sqlite/sqlitedatabase_p.h>

#include <Quillon/platform/privatefiles.h>

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

const int TULOSQLiteBusyTimeoutMilliseconds = 15000;

static bool TULOIsDamage(int resultCode)
{
    const int primary = resultCode & 0xff;
    return primary == SQLITE_CORRUPT || primary == SQLITE_NOTADB;
}

static bool TULOIsInMemory(const QString &path)
{
    return path.isEmpty() || path == QLatin1String(":memory:");
}

static TULOError TULONotOpenError(const QString &path, const TULOError &openError)
{
    // Names the file and why it could not be opened: "not open" alone leaves the user nowhere.
    const QString description = openError.isNull()
        ? QStringLiteral("The database %1 is not open.").arg(path)
        : QStringLiteral("The database %1 is not open: %2").arg(path, openError.localizedDescription());
    QVariantMap userInfo {{QString::fromLatin1(TULOLocalizedDescriptionKey), description},
        {QString::fromLatin1(TULOFilePathErrorKey), path}};
    if (!openError.isNull())
        userInfo.insert(QString::fromLatin1(TULOUnderlyingErrorKey), QVariant::fromValue(openError));
    return TULOError(TULOSQLiteErrorDomain, SQLITE_CANTOPEN, userInfo);
}

static TULOError TULOFileError(const QString &description, const QString &path)
{
    return TULOError(TULOFileErrorDomain, errno,
        {{QString::fromLatin1(TULOLocalizedDescriptionKey), description},
            {QString::fromLatin1(TULOFilePathErrorKey), path}});
}

// Serialises one public operation; damage found during it is repaired once the outermost ends.
class TULOSQLiteDatabase::TULOOperationScope
{
public:
    explicit TULOOperationScope(TULOSQLiteDatabase *database)
        : m_database(database)
        , m_locker(&database->m_mutex)
    {
        ++m_database->m_operationDepth;
    }
    ~TULOOperationScope() { m_database->endOperation(); }
    TULOOperationScope(const TULOOperationScope &) = delete;
    TULOOperationScope &operator=(const TULOOperationScope &) = delete;

private:
    TULOSQLiteDatabase *m_database;
    QMutexLocker<QRecursiveMutex> m_locker;
};

TULOSQLiteDatabase::TULOSQLiteDatabase(const QString &path)
    : m_path(path)
{
    TULOOperationScope scope(this);
    openConnection(nullptr);
}

TULOSQLiteDatabase::~TULOSQLiteDatabase()
{
    closeConnection();
}

bool TULOSQLiteDatabase::isOpen() const
{
    QMutexLocker locker(&m_mutex);
    return m_connection != nullptr;
}

TULOError TULOSQLiteDatabase::openError() const
{
    QMutexLocker locker(&m_mutex);
    return m_openError;
}

bool TULOSQLiteDatabase::isReadOnly() const
{
    QMutexLocker locker(&m_mutex);
    return m_connection && !m_readOnlyReason.isEmpty();
}

QString TULOSQLiteDatabase::readOnlyReason() const
{
    QMutexLocker locker(&m_mutex);
    return m_readOnlyReason;
}

QStringList TULOSQLiteDatabase::setAsidePaths() const
{
    QMutexLocker locker(&m_mutex);
    return m_setAsidePaths;
}

bool TULOSQLiteDatabase::isInTransaction() const
{
    QMutexLocker locker(&m_mutex);
    return m_transactionDepth > 0;
}

void TULOSQLiteDatabase::setSetupBlock(TULOSetupBlock block)
{
    QMutexLocker locker(&m_mutex);
    m_setupBlock = std::move(block);
}

bool TULOSQLiteDatabase::reopen(TULOError *error)
{
    TULOOperationScope scope(this);
    if (m_transactionDepth > 0) {
        TULOSetError(error,
            TULOError::withDescription(TULOSQLiteErrorDomain, SQLITE_MISUSE,
                QStringLiteral("The database cannot reopen inside a transaction.")));
        return false;
    }
    closeConnection();
    if (!openConnection(error))
        return false;
    runSetupBlock();
    return true;
}

void TULOSQLiteDatabase::close()
{
    QMutexLocker locker(&m_mutex);
    if (m_transactionDepth == 0)
        closeConnection();
}

bool TULOSQLiteDatabase::prepareLocation(TULOError *error)
{
    if (TULOIsInMemory(m_path))
        return true;
    const QFileInfo info(m_path);
    const QString folder = info.absolutePath();
    // Owner-only, also when an older version left the folder or file readable by others.
    if (!TULOPrivateFiles::makeFolder(folder)) {
        TULOSetError(
            error, TULOFileError(QStringLiteral("The folder %1 of the database could not be created.").arg(folder), folder));
        return false;
    }
    const QByteArray file = QFile::encodeName(info.absoluteFilePath());
    m_readOnlyReason.clear();
    const int fd = ::open(file.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd < 0) {
        const int reason = errno;
        // An existing file that may only be read is opened for reading.
        if ((reason == EACCES || reason == EROFS || reason == EPERM) && ::access(file.constData(), R_OK) == 0) {
            m_readOnlyReason = QString::fromLocal8Bit(std::strerror(reason));
            return true;
        }
        TULOSetError(error, TULOFileError(QStringLiteral("The database file %1 could not be created: %2")
                                              .arg(m_path, QString::fromLocal8Bit(std::strerror(reason))), m_path));
        return false;
    }
    ::fchmod(fd, S_IRUSR | S_IWUSR);
    ::close(fd);
    return true;
}

bool TULOSQLiteDatabase::openConnection(TULOError *error)
{
    closeConnection();
    for (int attempt = 0; attempt < 2; ++attempt) {
        TULOError locationError;
        if (!prepareLocation(&locationError)) {
            m_openError = locationError;
            TULOSetError(error, locationError);
            return false;
        }
        sqlite3 *connection = nullptr;
        const QByteArray file = TULOIsInMemory(m_path) ? QByteArray(":memory:") : QFile::encodeName(m_path);
        const int access = m_readOnlyReason.isEmpty() ? SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE : SQLITE_OPEN_READONLY;
        int rc = sqlite3_open_v2(file.constData(), &connection, access | SQLITE_OPEN_FULLMUTEX, nullptr);
        if (rc == SQLITE_OK) {
            sqlite3_extended_result_codes(connection, 1);
            // A quoted identifier naming no column must fail, not turn into a string literal.
            sqlite3_db_config(connection, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
            // Another process writing the same file makes us wait for it instead of failing.
            sqlite3_busy_timeout(connection, TULOSQLiteBusyTimeoutMilliseconds);
            // Opening reads nothing; reading the schema is what reveals a file that is no database.
            rc = sqlite3_exec(connection, "SELECT count(*) FROM sqlite_schema", nullptr, nullptr, nullptr);
            if (rc == SQLITE_OK) {
                m_connection = connection;
                m_openError = TULOError();
                return true;
            }
            rc = sqlite3_extended_errcode(connection);
        }
        const TULOError failure = TULOSQLiteMakeError(connection, rc);
        sqlite3_close_v2(connection);
        if (attempt == 0 && TULOIsDamage(rc) && !TULOIsInMemory(m_path) && setAside())
            continue;
        m_openError = failure;
        TULOSetError(error, failure);
        return false;
    }
    return false;
}

void TULOSQLiteDatabase::closeConnection()
{
    if (!m_connection)
        return;
    // close_v2 defers the close until the last statement is finalised instead of failing.
    sqlite3_close_v2(m_connection);
    m_connection = nullptr;
}

bool TULOSQLiteDatabase::setAside()
{
    const QString base = m_path + QStringLiteral(".corrupt-")
        + QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd'T'HHmmss'Z'"));
    QString target = base;
    for (int n = 1; QFileInfo::exists(target); ++n)
        target = base + QLatin1Char('-') + QString::number(n);
    if (std::rename(QFile::encodeName(m_path).constData(), QFile::encodeName(target).constData()) != 0)
        return false;
    // A journal travels with its file: it may hold what the damaged file still needs.
    for (const char *suffix : {"-journal", "-wal", "-shm"}) {
        const QString companion = m_path + QLatin1String(suffix);
        if (QFileInfo::exists(companion))
            std::rename(QFile::encodeName(companion).constData(),
                QFile::encodeName(target + QLatin1String(suffix)).constData());
    }
    m_setAsidePaths.append(target);
    return true;
}

void TULOSQLiteDatabase::noteResult(int resultCode)
{
    if (TULOIsDamage(resultCode))
        m_recoveryPending = true;
}

void TULOSQLiteDatabase::endOperation()
{
    --m_operationDepth;
    if (m_operationDepth == 0 && m_recoveryPending && !m_recovering)
        recover();
}

void TULOSQLiteDatabase::recover()
{
    m_recovering = true;
    // A second round covers a setup block that finds the fresh file damaged too; no more.
    for (int round = 0; round < 2 && m_recoveryPending; ++round) {
        m_recoveryPending = false;
        closeConnection();
        if (!TULOIsInMemory(m_path))
            setAside();
        if (!openConnection(nullptr))
            break;
        ++m_operationDepth;
        runSetupBlock();
        --m_operationDepth;
    }
    m_recoveryPending = false;
    m_recovering = false;
}

void TULOSQLiteDatabase::runSetupBlock()
{
    if (!m_setupBlock || !m_connection)
        return;
    const TULOSetupBlock block = m_setupBlock;
    block(*this);
}

TULOSQLiteStatement TULOSQLiteDatabase::prepare(
    const QString &sql, const QVariantList &values, TULOError *error)
{
    if (!m_connection) {
        TULOSetError(error, TULONotOpenError(m_path, m_openError));
        return TULOSQLiteStatement();
    }
    TULOSQLiteStatement statement(m_connection, sql, error);
    if (!statement.isValid()) {
        noteResult(statement.lastResultCode());
        return statement;
    }
    if (!statement.bindValues(values, error))
        return TULOSQLiteStatement();
    return statement;
}

bool TULOSQLiteDatabase::runControlStatement(const QString &sql, TULOError *error)
{
    TULOSQLiteStatement statement = prepare(sql, {}, error);
    if (!statement.isValid())
        return false;
    const bool ok = statement.execute(error);
    if (!ok)
        noteResult(statement.lastResultCode());
    return ok;
}

std::optional<qint64> TULOSQLiteDatabase::userVersion(TULOError *error)
{
    std::optional<qint64> version;
    const bool ok = enumerateRowsForSQL(
        QStringLiteral("PRAGMA user_version"), {},
        [&](const TULOSQLiteStatement &row, bool *stop) {
            version = row.columnInt64(0);
            *stop = true;
        },
        error);
    return ok ? version : std::nullopt;
}

bool TULOSQLiteDatabase::setUserVersion(qint64 version, TULOError *error)
{
    if (version < std::numeric_limits<qint32>::min() || version > std::numeric_limits<qint32>::max()) {
        TULOSetError(error,
            TULOError::withDescription(TULOSQLiteErrorDomain, SQLITE_RANGE,
                QStringLiteral("A user version must fit in 32 bits.")));
        return false;
    }
    // PRAGMA takes no bound parameters; a formatted integer cannot carry anything but a number.
    return executeSQL(QStringLiteral("PRAGMA user_version = %1").arg(version), error);
}

bool TULOSQLiteDatabase::executeSQL(const QString &sql, TULOError *error)
{
    TULOOperationScope scope(this);
    if (!m_connection) {
        TULOSetError(error, TULONotOpenError(m_path, m_openError));
        return false;
    }
    const QByteArray text = sql.toUtf8();
    const char *next = text.constData();
    const char *const end = next + text.size();
    while (next < end) {
        sqlite3_stmt *raw = nullptr;
        const char *tail = nullptr;
        const int rc = sqlite3_prepare_v2(m_connection, next, int(end - next), &raw, &tail);
        const QString statementText
            = QString::fromUtf8(next, tail ? int(tail - next) : int(end - next)).trimmed();
        if (rc != SQLITE_OK) {
            const int code = sqlite3_extended_errcode(m_connection);
            noteResult(code);
            TULOSetError(error, TULOSQLiteMakeError(m_connection, code, statementText));
            return false;
        }
        next = tail ? tail : end;
        if (!raw)
            continue; // whitespace or a comment
        int step;
        while ((step = sqlite3_step(raw)) == SQLITE_ROW) { }
        if (step != SQLITE_DONE) {
            const int code = sqlite3_extended_errcode(m_connection);
            const TULOError failure = TULOSQLiteMakeError(m_connection, code, statementText);
            sqlite3_finalize(raw);
            noteResult(code);
            TULOSetError(error, failure);
            return false;
        }
        sqlite3_finalize(raw);
    }
    return true;
}

bool TULOSQLiteDatabase::executeSQL(const QString &sql, const QVariantList &values, TULOError *error)
{
    return executeChangeSQL(sql, values, error).has_value();
}

std::optional<qint64> TULOSQLiteDatabase::executeInsertSQL(
    const QString &sql, const QVariantList &values, TULOError *error)
{
    TULOOperationScope scope(this);
    TULOSQLiteStatement statement = prepare(sql, values, error);
    if (!statement.isValid())
        return std::nullopt;
    if (!statement.execute(error)) {
        noteResult(statement.lastResultCode());
        return std::nullopt;
    }
    return sqlite3_last_insert_rowid(m_connection);
}

std::optional<qint64> TULOSQLiteDatabase::executeChangeSQL(
    const QString &sql, const QVariantList &values, TULOError *error)
{
    TULOOperationScope scope(this);
    TULOSQLiteStatement statement = prepare(sql, values, error);
    if (!statement.isValid())
        return statement.lastResultCode() == SQLITE_DONE ? std::optional<qint64>(0) : std::nullopt;
    if (!statement.execute(error)) {
        noteResult(statement.lastResultCode());
        return std::nullopt;
    }
    return sqlite3_changes64(m_connection);
}

bool TULOSQLiteDatabase::enumerateRowsForSQL(
    const QString &sql, const QVariantList &values, const TULORowBlock &block, TULOError *error)
{
    TULOOperationScope scope(this);
    TULOSQLiteStatement statement = prepare(sql, values, error);
    if (!statement.isValid())
        return false;
    for (;;) {
        switch (statement.step(error)) {
        case TULOSQLiteStatement::TULOStepResult::Row: {
            bool stop = false;
            if (block)
                block(statement, &stop);
            if (stop)
                return true;
            break;
        }
        case TULOSQLiteStatement::TULOStepResult::Done:
            return true;
        case TULOSQLiteStatement::TULOStepResult::Error:
            noteResult(statement.lastResultCode());
            return false;
        }
    }
}

bool TULOSQLiteDatabase::performTransactionWithBlock(const std::function<bool()> &block, TULOError *error)
{
    TULOOperationScope scope(this);
    const bool outermost = m_transactionDepth == 0;
    const QString savepoint = QStringLiteral("tulo_savepoint_%1").arg(m_transactionDepth);
    // IMMEDIATE takes the write lock up front, so two writers wait for each other instead of
    // failing when both try to upgrade a read lock.
    if (!runControlStatement(
            outermost ? QStringLiteral("BEGIN IMMEDIATE") : QStringLiteral("SAVEPOINT ") + savepoint, error))
        return false;

    const auto rollBack = [&] {
        if (!m_connection)
            return;
        if (outermost) {
            // SQLite ends the transaction itself after some errors; nothing is left to undo then.
            if (!sqlite3_get_autocommit(m_connection))
                runControlStatement(QStringLiteral("ROLLBACK"), nullptr);
        } else {
            runControlStatement(QStringLiteral("ROLLBACK TO ") + savepoint, nullptr);
            runControlStatement(QStringLiteral("RELEASE ") + savepoint, nullptr);
        }
    };

    ++m_transactionDepth;
    bool commit = false;
    try {
        commit = block && block();
    } catch (...) {
        --m_transactionDepth;
        rollBack();
        throw;
    }
    --m_transactionDepth;

    if (commit) {
        TULOError commitError;
        if (m_connection && (!outermost || !sqlite3_get_autocommit(m_connection))
            && runControlStatement(
                outermost ? QStringLiteral("COMMIT") : QStringLiteral("RELEASE ") + savepoint, &commitError))
            return true;
        rollBack();
        if (commitError.isNull())
            commitError = TULOError::withDescription(TULOSQLiteErrorDomain, SQLITE_ABORT,
                QStringLiteral("The transaction ended before it could commit."));
        TULOSetError(error, commitError);
        return false;
    }
    rollBack();
    TULOSetError(error,
        TULOError::withDescription(TULOSQLiteErrorDomain, SQLITE_ABORT,
            QStringLiteral("The transaction was rolled back.")));
    return false;
}

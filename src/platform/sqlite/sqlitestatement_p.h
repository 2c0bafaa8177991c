#pragma once

#include <Quillon/platform/error.h>

#include <QString>
#include <QVariant>
#include <QVariantList>

struct sqlite3;
struct sqlite3_stmt;

// The domain of errors that SQLite reports; the code is SQLite's extended result code.
inline constexpr TULOErrorDomainName TULOSQLiteErrorDomain{"TULOSQLiteErrorDomain"};
// User-info key of the SQL text a failed statement ran (never its bound values).
extern const char *const TULOSQLiteStatementErrorKey;

// An error in TULOSQLiteErrorDomain for `resultCode`, described by the connection's message.
TULOError TULOSQLiteMakeError(sqlite3 *connection, int resultCode, const QString &sql = QString());

// One prepared statement, finalised when it goes out of scope. Values are only ever bound,
// never spliced into the SQL text.
class TULOSQLiteStatement
{
public:
    enum class TULOStepResult { Row, Done, Error };

    TULOSQLiteStatement() = default;
    TULOSQLiteStatement(sqlite3 *connection, const QString &sql, TULOError *error = nullptr);
    ~TULOSQLiteStatement();
    TULOSQLiteStatement(TULOSQLiteStatement &&other) noexcept;
    TULOSQLiteStatement &operator=(TULOSQLiteStatement &&other) noexcept;
    TULOSQLiteStatement(const TULOSQLiteStatement &) = delete;
    TULOSQLiteStatement &operator=(const TULOSQLiteStatement &) = delete;

    bool isValid() const { return m_statement != nullptr; }
    QString sql() const { return m_sql; }

    // Binds `value` to the 1-based parameter `index`. A null QVariant binds NULL; integers and
    // booleans bind as INTEGER, floating point as REAL, QByteArray as BLOB, strings (and
    // anything convertible to a string) as TEXT.
    bool bindValue(int index, const QVariant &value, TULOError *error = nullptr);
    bool bindValues(const QVariantList &values, TULOError *error = nullptr);

    // Advances to the next row; the result code of the last step is kept in lastResultCode().
    TULOStepResult step(TULOError *error = nullptr);
    // Steps until the statement is done; false on the first error.
    bool execute(TULOError *error = nullptr);
    bool reset();

    int columnCount() const;
    QString columnName(int column) const;
    // INTEGER -> qlonglong, REAL -> double, TEXT -> QString, BLOB -> QByteArray, NULL -> QVariant().
    QVariant columnValue(int column) const;
    qint64 columnInt64(int column) const;

    int lastResultCode() const { return m_lastResultCode; }

private:
    sqlite3 *m_connection = nullptr;
    sqlite3_stmt *m_statement = nullptr;
    QString m_sql;
    int m_lastResultCode = 0;
};

// `name` as a quoted SQL identifier (table or column), safe whatever characters it holds.
QString TULOSQLiteQuotedIdentifier(const QString &name);

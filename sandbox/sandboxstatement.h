#pragma once

#include <QByteArray>
#include <QString>

#include <sqlite3.h>

// RAII over one prepared statement of the sandbox's SQLite files.
class TULOSandboxStatement
{
public:
    TULOSandboxStatement(sqlite3 *db, const char *sql)
    {
        if (sqlite3_prepare_v2(db, sql, -1, &m_stmt, nullptr) != SQLITE_OK)
            m_stmt = nullptr;
    }
    ~TULOSandboxStatement() { sqlite3_finalize(m_stmt); }
    TULOSandboxStatement(const TULOSandboxStatement &) = delete;
    TULOSandboxStatement &operator=(const TULOSandboxStatement &) = delete;

    bool isValid() const { return m_stmt != nullptr; }
    void bind(int index, qint64 value) { sqlite3_bind_int64(m_stmt, index, value); }
    void bindDouble(int index, double value) { sqlite3_bind_double(m_stmt, index, value); }
    // Text, a null string as empty text.
    void bind(int index, const QString &value)
    {
        const QByteArray utf8 = value.toUtf8();
        sqlite3_bind_text(m_stmt, index, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT);
    }
    // Text, a null string as NULL.
    void bindNullable(int index, const QString &value)
    {
        if (value.isNull())
            sqlite3_bind_null(m_stmt, index);
        else
            bind(index, value);
    }
    void bindBlob(int index, const QByteArray &value)
    {
        sqlite3_bind_blob(m_stmt, index, value.constData(), int(value.size()), SQLITE_TRANSIENT);
    }
    bool step() { return m_stmt && sqlite3_step(m_stmt) == SQLITE_ROW; }
    bool run() { return m_stmt && sqlite3_step(m_stmt) == SQLITE_DONE; }
    qint64 integer(int column) const { return sqlite3_column_int64(m_stmt, column); }
    double real(int column) const { return sqlite3_column_double(m_stmt, column); }
    // A null string for NULL.
    QString text(int column) const
    {
        if (sqlite3_column_type(m_stmt, column) == SQLITE_NULL)
            return QString();
        const auto *data = reinterpret_cast<const char *>(sqlite3_column_text(m_stmt, column));
        return QString::fromUtf8(data, sqlite3_column_bytes(m_stmt, column));
    }
    QByteArray blob(int column) const
    {
        const auto *data = static_cast<const char *>(sqlite3_column_blob(m_stmt, column));
        return data ? QByteArray(data, sqlite3_column_bytes(m_stmt, column)) : QByteArray();
    }

private:
    sqlite3_stmt *m_stmt = nullptr;
};

// Runs `sql` (one or more statements without parameters); false with SQLite's message otherwise.
inline bool TULOSandboxExec(sqlite3 *db, const char *sql, QString *error)
{
    char *message = nullptr;
    if (sqlite3_exec(db, sql, nullptr, nullptr, &message) == SQLITE_OK)
        return true;
    if (error)
        *error = QString::fromUtf8(message ? message : "unknown SQLite error");
    sqlite3_free(message);
    return false;
}

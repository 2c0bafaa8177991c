#include <Quillon/platform/sqlite/sqlitestatement_p.h>

#include <limits>
#include <sqlite3.h>
#include <utility>

const char *const TULOSQLiteStatementErrorKey = "sqlStatement";

TULOError TULOSQLiteMakeError(sqlite3 *connection, int resultCode, const QString &sql)
{
    QString message;
    // The connection's message belongs to its last call; only trust it when the codes agree.
    if (connection && sqlite3_extended_errcode(connection) == resultCode)
        message = QString::fromUtf8(sqlite3_errmsg(connection));
    else
        message = QString::fromUtf8(sqlite3_errstr(resultCode));
    QVariantMap userInfo {{QString::fromLatin1(TULOLocalizedDescriptionKey), message}};
    if (!sql.isEmpty())
        userInfo.insert(QString::fromLatin1(TULOSQLiteStatementErrorKey), sql);
    return TULOError(TULOSQLiteErrorDomain, resultCode, userInfo);
}

TULOSQLiteStatement::TULOSQLiteStatement(sqlite3 *connection, const QString &sql, TULOError *error)
    : m_connection(connection)
    , m_sql(sql)
{
    if (!connection) {
        m_lastResultCode = SQLITE_MISUSE;
        TULOSetError(error,
            TULOError::withDescription(TULOSQLiteErrorDomain, SQLITE_MISUSE,
                QStringLiteral("The database is not open.")));
        return;
    }
    const QByteArray text = sql.toUtf8();
    m_lastResultCode
        = sqlite3_prepare_v2(connection, text.constData(), int(text.size()), &m_statement, nullptr);
    if (m_lastResultCode != SQLITE_OK) {
        m_lastResultCode = sqlite3_extended_errcode(connection);
        TULOSetError(error, TULOSQLiteMakeError(connection, m_lastResultCode, sql));
        sqlite3_finalize(m_statement);
        m_statement = nullptr;
    } else if (!m_statement) {
        // Only whitespace or a comment: nothing to run, which is not a failure.
        m_lastResultCode = SQLITE_DONE;
    }
}

TULOSQLiteStatement::~TULOSQLiteStatement()
{
    sqlite3_finalize(m_statement);
}

TULOSQLiteStatement::TULOSQLiteStatement(TULOSQLiteStatement &&other) noexcept
    : m_connection(std::exchange(other.m_connection, nullptr))
    , m_statement(std::exchange(other.m_statement, nullptr))
    , m_sql(std::move(other.m_sql))
    , m_lastResultCode(other.m_lastResultCode)
{
}

TULOSQLiteStatement &TULOSQLiteStatement::operator=(TULOSQLiteStatement &&other) noexcept
{
    if (this != &other) {
        sqlite3_finalize(m_statement);
        m_connection = std::exchange(other.m_connection, nullptr);
        m_statement = std::exchange(other.m_statement, nullptr);
        m_sql = std::move(other.m_sql);
        m_lastResultCode = other.m_lastResultCode;
    }
    return *this;
}

bool TULOSQLiteStatement::bindValue(int index, const QVariant &value, TULOError *error)
{
    if (!m_statement) {
        TULOSetError(error,
            TULOError::withDescription(TULOSQLiteErrorDomain, SQLITE_MISUSE,
                QStringLiteral("The statement is not prepared.")));
        return false;
    }
    int rc = SQLITE_OK;
    // Qt 6 no longer reports a variant holding a null string or byte array as null; both mean NULL here.
    const bool isNull = value.isNull() || (value.typeId() == QMetaType::QString && value.toString().isNull())
        || (value.typeId() == QMetaType::QByteArray && value.toByteArray().isNull());
    if (isNull) {
        rc = sqlite3_bind_null(m_statement, index);
    } else {
        switch (value.typeId()) {
        case QMetaType::Bool:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::Long:
        case QMetaType::LongLong:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::Char:
        case QMetaType::SChar:
        case QMetaType::UChar:
            rc = sqlite3_bind_int64(m_statement, index, value.toLongLong());
            break;
        case QMetaType::ULong:
        case QMetaType::ULongLong: {
            bool fits = value.toULongLong() <= quint64(std::numeric_limits<qint64>::max());
            if (!fits) {
                TULOSetError(error,
                    TULOError::withDescription(TULOSQLiteErrorDomain, SQLITE_RANGE,
                        QStringLiteral("An unsigned value is too large for an SQLite integer.")));
                m_lastResultCode = SQLITE_RANGE;
                return false;
            }
            rc = sqlite3_bind_int64(m_statement, index, qint64(value.toULongLong()));
            break;
        }
        case QMetaType::Double:
        case QMetaType::Float:
            rc = sqlite3_bind_double(m_statement, index, value.toDouble());
            break;
        case QMetaType::QByteArray: {
            const QByteArray bytes = value.toByteArray();
            rc = sqlite3_bind_blob64(
                m_statement, index, bytes.constData(), sqlite3_uint64(bytes.size()), SQLITE_TRANSIENT);
            break;
        }
        default: {
            if (value.typeId() != QMetaType::QString && !value.canConvert<QString>()) {
                TULOSetError(error,
                    TULOError::withDescription(TULOSQLiteErrorDomain, SQLITE_MISMATCH,
                        QStringLiteral("A value of type %1 cannot be stored in SQLite.")
                            .arg(QString::fromLatin1(value.typeName()))));
                m_lastResultCode = SQLITE_MISMATCH;
                return false;
            }
            const QByteArray text = value.toString().toUtf8();
            rc = sqlite3_bind_text64(m_statement, index, text.constData(), sqlite3_uint64(text.size()),
                SQLITE_TRANSIENT, SQLITE_UTF8);
            break;
        }
        }
    }
    m_lastResultCode = rc;
    if (rc != SQLITE_OK) {
        TULOSetError(error, TULOSQLiteMakeError(m_connection, rc, m_sql));
        return false;
    }
    return true;
}

bool TULOSQLiteStatement::bindValues(const QVariantList &values, TULOError *error)
{
    if (m_statement && values.size() != sqlite3_bind_parameter_count(m_statement)) {
        m_lastResultCode = SQLITE_RANGE;
        TULOSetError(error,
            TULOError::withDescription(TULOSQLiteErrorDomain, SQLITE_RANGE,
                QStringLiteral("The statement takes %1 values, %2 were given.")
                    .arg(sqlite3_bind_parameter_count(m_statement))
                    .arg(values.size())));
        return false;
    }
    for (int i = 0; i < values.size(); ++i) {
        if (!bindValue(i + 1, values.at(i), error))
            return false;
    }
    return true;
}

TULOSQLiteStatement::TULOStepResult TULOSQLiteStatement::step(TULOError *error)
{
    if (!m_statement) {
        if (m_lastResultCode == SQLITE_DONE)
            return TULOStepResult::Done;
        TULOSetError(error,
            TULOError::withDescription(TULOSQLiteErrorDomain, SQLITE_MISUSE,
                QStringLiteral("The statement is not prepared.")));
        return TULOStepResult::Error;
    }
    const int rc = sqlite3_step(m_statement);
    if (rc == SQLITE_ROW) {
        m_lastResultCode = rc;
        return TULOStepResult::Row;
    }
    if (rc == SQLITE_DONE) {
        m_lastResultCode = rc;
        return TULOStepResult::Done;
    }
    m_lastResultCode = sqlite3_extended_errcode(m_connection);
    TULOSetError(error, TULOSQLiteMakeError(m_connection, m_lastResultCode, m_sql));
    return TULOStepResult::Error;
}

bool TULOSQLiteStatement::execute(TULOError *error)
{
    for (;;) {
        switch (step(error)) {
        case TULOStepResult::Row:
            continue;
        case TULOStepResult::Done:
            return true;
        case TULOStepResult::Error:
            return false;
        }
    }
}

bool TULOSQLiteStatement::reset()
{
    if (!m_statement)
        return false;
    sqlite3_reset(m_statement);
    return sqlite3_clear_bindings(m_statement) == SQLITE_OK;
}

int TULOSQLiteStatement::columnCount() const
{
    return m_statement ? sqlite3_column_count(m_statement) : 0;
}

QString TULOSQLiteStatement::columnName(int column) const
{
    return m_statement ? QString::fromUtf8(sqlite3_column_name(m_statement, column)) : QString();
}

QVariant TULOSQLiteStatement::columnValue(int column) const
{
    if (!m_statement)
        return QVariant();
    switch (sqlite3_column_type(m_statement, column)) {
    case SQLITE_INTEGER:
        return QVariant(qlonglong(sqlite3_column_int64(m_statement, column)));
    case SQLITE_FLOAT:
        return QVariant(sqlite3_column_double(m_statement, column));
    case SQLITE_TEXT: {
        const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(m_statement, column));
        return QVariant(QString::fromUtf8(text, sqlite3_column_bytes(m_statement, column)));
    }
    case SQLITE_BLOB: {
        const auto *data = static_cast<const char *>(sqlite3_column_blob(m_statement, column));
        // An empty blob comes back as a null pointer; it is still an empty value, not NULL.
        return QVariant(data ? QByteArray(data, sqlite3_column_bytes(m_statement, column)) : QByteArray(""));
    }
    default:
        return QVariant();
    }
}

qint64 TULOSQLiteStatement::columnInt64(int column) const
{
    return m_statement ? sqlite3_column_int64(m_statement, column) : 0;
}

QString TULOSQLiteQuotedIdentifier(const QString &name)
{
    QString quoted = name;
    quoted.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

#include "sandboxdatabase.h"

#include "sandboxstatement.h"

#include <QCryptographicHash>
#include <QPasswordDigestor>
#include <QRandomGenerator>

#include <sqlite3.h>

static constexpr int TULOSandboxSchemaVersion = 1;
static constexpr int TULOSandboxHashIterations = 20000;

static const char *const TULOSandboxSchema = R"SQL(
CREATE TABLE items(
    id INTEGER PRIMARY KEY,
    kind TEXT NOT NULL CHECK(kind IN ('artist', 'album', 'song')),
    name TEXT NOT NULL,
    artist_id INTEGER REFERENCES items(id),
    album_id INTEGER REFERENCES items(id),
    genre TEXT NOT NULL DEFAULT '',
    year INTEGER NOT NULL DEFAULT 0,
    track INTEGER NOT NULL DEFAULT 0,
    duration_ms INTEGER NOT NULL DEFAULT 0,
    described INTEGER NOT NULL DEFAULT 1,
    is_group INTEGER NOT NULL DEFAULT 0);
CREATE INDEX items_artist ON items(artist_id);
CREATE INDEX items_album ON items(album_id);
CREATE TABLE accounts(
    id INTEGER PRIMARY KEY,
    name TEXT NOT NULL UNIQUE COLLATE NOCASE,
    display_name TEXT NOT NULL,
    profile_type TEXT NOT NULL,
    salt BLOB NOT NULL,
    hash BLOB NOT NULL);
CREATE TABLE authors(
    account_id INTEGER NOT NULL REFERENCES accounts(id),
    position INTEGER NOT NULL,
    author_id TEXT NOT NULL,
    name TEXT NOT NULL,
    type TEXT NOT NULL,
    permissions TEXT NOT NULL,
    PRIMARY KEY(account_id, position));
CREATE TABLE sessions(
    token TEXT PRIMARY KEY,
    account_id INTEGER NOT NULL REFERENCES accounts(id),
    created INTEGER NOT NULL);
)SQL";


// Added after the first files were made, so it is created in older files too.
static const char *const TULOSandboxSocialSchema = R"SQL(
CREATE TABLE IF NOT EXISTS social(
    kind TEXT NOT NULL,
    key TEXT NOT NULL,
    value TEXT NOT NULL,
    PRIMARY KEY(kind, key));
)SQL";

static const char *const TULOSandboxItemColumns =
    "SELECT i.id, i.kind, i.name, i.artist_id, COALESCE(a.name, ''), i.album_id, COALESCE(b.name, ''),"
    " i.genre, i.year, i.track, i.duration_ms, i.described, i.is_group"
    " FROM items i LEFT JOIN items a ON a.id = i.artist_id LEFT JOIN items b ON b.id = i.album_id ";

static TULOSandboxItem itemFromRow(const TULOSandboxStatement &row)
{
    TULOSandboxItem item;
    item.identifier = row.integer(0);
    item.kind = row.text(1);
    item.name = row.text(2);
    item.artistIdentifier = row.integer(3);
    item.artistName = row.text(4);
    item.albumIdentifier = row.integer(5);
    item.albumName = row.text(6);
    item.genre = row.text(7);
    item.year = int(row.integer(8));
    item.trackNumber = int(row.integer(9));
    item.durationMilliseconds = int(row.integer(10));
    item.described = row.integer(11) != 0;
    item.group = row.integer(12) != 0;
    return item;
}

TULOSandboxDatabase::~TULOSandboxDatabase()
{
    close();
}

bool TULOSandboxDatabase::open(const QString &path, QString *error)
{
    std::lock_guard lock(m_mutex);
    close();
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
    if (sqlite3_open_v2(path.toUtf8().constData(), &m_db, flags, nullptr) != SQLITE_OK) {
        if (error)
            *error = QStringLiteral("cannot open %1: %2").arg(path, QString::fromUtf8(sqlite3_errmsg(m_db)));
        close();
        return false;
    }
    sqlite3_busy_timeout(m_db, 5000);
    // A corrupt or foreign file fails here rather than on the first request.
    qint64 userVersion = -1;
    qint64 tableCount = -1;
    {
        // Statements finish before the schema is touched; an open read blocks journal changes.
        TULOSandboxStatement version(m_db, "PRAGMA user_version");
        if (version.step())
            userVersion = version.integer(0);
        TULOSandboxStatement tables(m_db, "SELECT count(*) FROM sqlite_master");
        if (tables.step())
            tableCount = tables.integer(0);
    }
    if (userVersion < 0 || tableCount < 0) {
        if (error)
            *error = QStringLiteral("%1 is not a store database: %2").arg(path, QString::fromUtf8(sqlite3_errmsg(m_db)));
        close();
        return false;
    }
    if (userVersion == TULOSandboxSchemaVersion)
        return exec(TULOSandboxSocialSchema, error) && exec("PRAGMA foreign_keys = ON", error);
    if (userVersion != 0) {
        if (error)
            *error = QStringLiteral("%1 has store schema %2, this store knows %3").arg(path).arg(userVersion).arg(TULOSandboxSchemaVersion);
        close();
        return false;
    }
    if (tableCount != 0) {
        if (error)
            *error = QStringLiteral("%1 holds other data; refusing to turn it into a store").arg(path);
        close();
        return false;
    }
    if (!exec("PRAGMA journal_mode = WAL", error) || !exec("BEGIN", error) || !exec(TULOSandboxSchema, error)
        || !exec(TULOSandboxSocialSchema, error)
        || !TULOSandboxSeed(*this)
        || !exec(QByteArray("PRAGMA user_version = " + QByteArray::number(TULOSandboxSchemaVersion)).constData(), error)
        || !exec("COMMIT", error)) {
        if (error && error->isEmpty())
            *error = QStringLiteral("cannot seed %1: %2").arg(path, QString::fromUtf8(sqlite3_errmsg(m_db)));
        exec("ROLLBACK");
        close();
        return false;
    }
    return exec("PRAGMA foreign_keys = ON", error);
}

void TULOSandboxDatabase::close()
{
    std::lock_guard lock(m_mutex);
    if (m_db) {
        sqlite3_close_v2(m_db);
        m_db = nullptr;
    }
}

bool TULOSandboxDatabase::exec(const char *sql, QString *error)
{
    return TULOSandboxExec(m_db, sql, error);
}

QList<TULOSandboxItem> TULOSandboxDatabase::items(const char *sql, qint64 parameter, const QString &text)
{
    std::lock_guard lock(m_mutex);
    QList<TULOSandboxItem> result;
    if (!m_db)
        return result;
    TULOSandboxStatement statement(m_db, (QByteArray(TULOSandboxItemColumns) + sql).constData());
    if (text.isNull())
        statement.bind(1, parameter);
    else
        statement.bind(1, text);
    while (statement.step())
        result.append(itemFromRow(statement));
    return result;
}

std::optional<TULOSandboxItem> TULOSandboxDatabase::item(qint64 identifier)
{
    const QList<TULOSandboxItem> found = items("WHERE i.id = ?1", identifier);
    if (found.isEmpty())
        return std::nullopt;
    return found.first();
}

QList<TULOSandboxItem> TULOSandboxDatabase::albumsOfArtist(qint64 artistIdentifier)
{
    return items("WHERE i.kind = 'album' AND i.artist_id = ?1 ORDER BY i.year, i.id", artistIdentifier);
}

QList<TULOSandboxItem> TULOSandboxDatabase::songsOfAlbum(qint64 albumIdentifier)
{
    return items("WHERE i.kind = 'song' AND i.album_id = ?1 ORDER BY i.track", albumIdentifier);
}

QList<TULOSandboxItem> TULOSandboxDatabase::itemsOfKind(const QString &kind)
{
    return items("WHERE i.kind = ?1 ORDER BY i.id", 0, kind);
}

QByteArray TULOSandboxDatabase::passwordHash(const QString &password, const QByteArray &salt)
{
    return QPasswordDigestor::deriveKeyPbkdf2(QCryptographicHash::Sha256, password.toUtf8(), salt,
                                              TULOSandboxHashIterations, 32);
}

std::optional<TULOSandboxAccount> TULOSandboxDatabase::accountWithPassword(const QString &name, const QString &password)
{
    std::lock_guard lock(m_mutex);
    if (!m_db)
        return std::nullopt;
    TULOSandboxStatement statement(m_db, "SELECT id, name, display_name, profile_type, salt, hash FROM accounts WHERE name = ?1");
    statement.bind(1, name);
    if (!statement.step())
        return std::nullopt;
    const QByteArray expected = statement.blob(5);
    const QByteArray actual = passwordHash(password, statement.blob(4));
    // Compare without an early exit so a wrong password takes as long as a right one.
    if (expected.size() != actual.size())
        return std::nullopt;
    unsigned char difference = 0;
    for (qsizetype i = 0; i < expected.size(); ++i)
        difference |= static_cast<unsigned char>(expected[i] ^ actual[i]);
    if (difference != 0)
        return std::nullopt;
    return TULOSandboxAccount{statement.integer(0), statement.text(1), statement.text(2), statement.text(3)};
}

std::optional<TULOSandboxAccount> TULOSandboxDatabase::accountForToken(const QString &token)
{
    std::lock_guard lock(m_mutex);
    if (!m_db || token.isEmpty())
        return std::nullopt;
    TULOSandboxStatement statement(m_db, "SELECT a.id, a.name, a.display_name, a.profile_type FROM sessions s"
                              " JOIN accounts a ON a.id = s.account_id WHERE s.token = ?1");
    statement.bind(1, token);
    if (!statement.step())
        return std::nullopt;
    return TULOSandboxAccount{statement.integer(0), statement.text(1), statement.text(2), statement.text(3)};
}

QString TULOSandboxDatabase::createSession(qint64 accountIdentifier)
{
    QByteArray random(32, Qt::Uninitialized);
    QRandomGenerator::system()->generate(reinterpret_cast<quint32 *>(random.data()),
                                         reinterpret_cast<quint32 *>(random.data() + random.size()));
    const QString token = QString::fromLatin1(random.toHex());
    std::lock_guard lock(m_mutex);
    if (!m_db)
        return QString();
    TULOSandboxStatement statement(m_db, "INSERT INTO sessions(token, account_id, created) VALUES(?1, ?2, strftime('%s', 'now'))");
    statement.bind(1, token);
    statement.bind(2, accountIdentifier);
    return statement.run() ? token : QString();
}

QString TULOSandboxDatabase::socialValue(const QString &kind, const QString &key)
{
    std::lock_guard lock(m_mutex);
    if (!m_db)
        return QString();
    TULOSandboxStatement statement(m_db, "SELECT value FROM social WHERE kind = ?1 AND key = ?2");
    statement.bind(1, kind);
    statement.bind(2, key);
    return statement.step() ? statement.text(0) : QString();
}

bool TULOSandboxDatabase::setSocialValue(const QString &kind, const QString &key, const QString &value)
{
    std::lock_guard lock(m_mutex);
    if (!m_db)
        return false;
    TULOSandboxStatement statement(m_db, value.isNull() ? "DELETE FROM social WHERE kind = ?1 AND key = ?2"
                                                        : "INSERT OR REPLACE INTO social(kind, key, value) VALUES(?1, ?2, ?3)");
    statement.bind(1, kind);
    statement.bind(2, key);
    if (!value.isNull())
        statement.bind(3, value);
    return statement.run();
}

QString TULOSandboxDatabase::takeSocialValue(const QString &kind, const QString &key)
{
    std::lock_guard lock(m_mutex); // recursive: no other request sees the value in between
    const QString value = socialValue(kind, key);
    if (!value.isNull())
        setSocialValue(kind, key, QString());
    return value;
}

QList<TULOSandboxAuthor> TULOSandboxDatabase::authorsOfAccount(qint64 accountIdentifier)
{
    std::lock_guard lock(m_mutex);
    QList<TULOSandboxAuthor> result;
    if (!m_db)
        return result;
    TULOSandboxStatement statement(m_db, "SELECT author_id, name, type, permissions FROM authors WHERE account_id = ?1 ORDER BY position");
    statement.bind(1, accountIdentifier);
    while (statement.step())
        result.append({statement.text(0), statement.text(1), statement.text(2),
                       statement.text(3).split(QLatin1Char(','), Qt::SkipEmptyParts)});
    return result;
}

bool TULOSandboxDatabase::insertItem(const TULOSandboxItem &item)
{
    std::lock_guard lock(m_mutex);
    TULOSandboxStatement statement(m_db, "INSERT INTO items(id, kind, name, artist_id, album_id, genre, year, track, duration_ms,"
                              " described, is_group) VALUES(?1, ?2, ?3, NULLIF(?4, 0), NULLIF(?5, 0), ?6, ?7, ?8, ?9, ?10, ?11)");
    statement.bind(1, item.identifier);
    statement.bind(2, item.kind);
    statement.bind(3, item.name);
    statement.bind(4, item.artistIdentifier);
    statement.bind(5, item.albumIdentifier);
    statement.bind(6, item.genre.isNull() ? QStringLiteral("") : item.genre);
    statement.bind(7, item.year);
    statement.bind(8, item.trackNumber);
    statement.bind(9, item.durationMilliseconds);
    statement.bind(10, item.described ? 1 : 0);
    statement.bind(11, item.group ? 1 : 0);
    return statement.run();
}

bool TULOSandboxDatabase::insertAccount(const TULOSandboxAccount &account, const QString &password)
{
    QByteArray salt(16, Qt::Uninitialized);
    QRandomGenerator::system()->generate(reinterpret_cast<quint32 *>(salt.data()),
                                         reinterpret_cast<quint32 *>(salt.data() + salt.size()));
    std::lock_guard lock(m_mutex);
    TULOSandboxStatement statement(m_db, "INSERT INTO accounts(id, name, display_name, profile_type, salt, hash) VALUES(?1, ?2, ?3, ?4, ?5, ?6)");
    statement.bind(1, account.identifier);
    statement.bind(2, account.name);
    statement.bind(3, account.displayName);
    statement.bind(4, account.profileType);
    statement.bindBlob(5, salt);
    statement.bindBlob(6, passwordHash(password, salt));
    return statement.run();
}

bool TULOSandboxDatabase::insertAuthor(qint64 accountIdentifier, int position, const TULOSandboxAuthor &author)
{
    std::lock_guard lock(m_mutex);
    TULOSandboxStatement statement(m_db, "INSERT INTO authors(account_id, position, author_id, name, type, permissions) VALUES(?1, ?2, ?3, ?4, ?5, ?6)");
    statement.bind(1, accountIdentifier);
    statement.bind(2, position);
    statement.bind(3, author.identifier);
    statement.bind(4, author.name);
    statement.bind(5, author.type);
    statement.bind(6, author.permissions.join(QLatin1Char(',')));
    return statement.run();
}

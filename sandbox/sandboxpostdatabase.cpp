#include "sandboxpostdatabase.h"

#include "sandboxstatement.h"

#include <QJsonDocument>
#include <sqlite3.h>

namespace {

const char *const TULOSandboxPostSchema = R"SQL(
CREATE TABLE IF NOT EXISTS posts(
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    post_id TEXT NOT NULL UNIQUE,
    idempotency_key TEXT NOT NULL UNIQUE,
    account_id INTEGER NOT NULL,
    author_id TEXT NOT NULL,
    author_type TEXT NOT NULL,
    author_name TEXT NOT NULL,
    attributed INTEGER NOT NULL,
    attribution_name TEXT,
    text TEXT NOT NULL,
    item_id TEXT,
    item_type TEXT,
    created TEXT NOT NULL);
CREATE TABLE IF NOT EXISTS attachments(
    post INTEGER NOT NULL REFERENCES posts(id),
    position INTEGER NOT NULL,
    parent INTEGER NOT NULL,
    type INTEGER NOT NULL,
    uti TEXT NOT NULL,
    title TEXT,
    subtitle TEXT,
    description TEXT,
    artists TEXT NOT NULL,
    album_id TEXT,
    album_name TEXT,
    category TEXT,
    explicit INTEGER NOT NULL,
    preview_frame_time REAL NOT NULL,
    file TEXT NOT NULL,
    original_name TEXT,
    size INTEGER NOT NULL,
    PRIMARY KEY(post, position));
CREATE TABLE IF NOT EXISTS destinations(
    post INTEGER NOT NULL REFERENCES posts(id),
    position INTEGER NOT NULL,
    service TEXT NOT NULL,
    page_id TEXT,
    PRIMARY KEY(post, position));
)SQL";

// The post database stores a null string as NULL.
class Statement : public TULOSandboxStatement
{
public:
    using TULOSandboxStatement::TULOSandboxStatement;
    using TULOSandboxStatement::bind;
    void bind(int index, const QString &value) { bindNullable(index, value); }
};

const char *const TULOSandboxPostColumns
    = "SELECT id, post_id, idempotency_key, account_id, author_id, author_type, author_name, attributed, "
      "attribution_name, text, item_id, item_type, created FROM posts ";

TULOSandboxPost postFromRow(const Statement &row)
{
    TULOSandboxPost post;
    post.postIdentifier = row.text(1);
    post.idempotencyKey = row.text(2);
    post.accountIdentifier = row.integer(3);
    post.authorIdentifier = row.text(4);
    post.authorType = row.text(5);
    post.authorName = row.text(6);
    post.attributed = row.integer(7) != 0;
    post.attributionName = row.text(8);
    post.text = row.text(9);
    post.itemIdentifier = row.text(10);
    post.itemType = row.text(11);
    post.created = row.text(12);
    return post;
}

} // namespace

TULOSandboxPostDatabase::~TULOSandboxPostDatabase()
{
    close();
}

bool TULOSandboxPostDatabase::open(const QString &path, QString *error)
{
    std::lock_guard lock(m_mutex);
    close();
    if (sqlite3_open_v2(path.toUtf8().constData(), &m_db,
            SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr)
        != SQLITE_OK) {
        if (error)
            *error = QStringLiteral("cannot open %1: %2").arg(path, QString::fromUtf8(sqlite3_errmsg(m_db)));
        close();
        return false;
    }
    sqlite3_busy_timeout(m_db, 5000);
    if (!exec("PRAGMA journal_mode=WAL", error) || !exec(TULOSandboxPostSchema, error)) {
        if (error)
            *error = QStringLiteral("%1 is not a post store: %2").arg(path, *error);
        close();
        return false;
    }
    return true;
}

void TULOSandboxPostDatabase::close()
{
    std::lock_guard lock(m_mutex);
    if (m_db)
        sqlite3_close_v2(m_db);
    m_db = nullptr;
}

bool TULOSandboxPostDatabase::exec(const char *sql, QString *error)
{
    return TULOSandboxExec(m_db, sql, error);
}

bool TULOSandboxPostDatabase::insertAttachment(
    qint64 rowid, int position, int parent, const TULOSandboxPostAttachment &a)
{
    Statement insert(m_db,
        "INSERT INTO attachments(post, position, parent, type, uti, title, subtitle, description, "
        "artists, album_id, album_name, category, explicit, preview_frame_time, file, original_name, "
        "size) VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    insert.bind(1, rowid);
    insert.bind(2, position);
    insert.bind(3, parent);
    insert.bind(4, a.type);
    insert.bind(5, a.uti);
    insert.bind(6, a.title);
    insert.bind(7, a.subtitle);
    insert.bind(8, a.description);
    insert.bind(9, QString::fromUtf8(QJsonDocument(a.artists).toJson(QJsonDocument::Compact)));
    insert.bind(10, a.albumIdentifier);
    insert.bind(11, a.albumName);
    insert.bind(12, a.categoryName);
    insert.bind(13, a.explicitContent ? 1 : 0);
    insert.bindDouble(14, a.previewFrameTime);
    insert.bind(15, a.fileName);
    insert.bind(16, a.originalFileName);
    insert.bind(17, a.size);
    return insert.run();
}

bool TULOSandboxPostDatabase::insert(const TULOSandboxPost &post, QString *error)
{
    std::lock_guard lock(m_mutex);
    if (!m_db) {
        if (error)
            *error = QStringLiteral("the post store is closed");
        return false;
    }
    if (!exec("BEGIN IMMEDIATE", error))
        return false;
    Statement insert(m_db,
        "INSERT OR IGNORE INTO posts(post_id, idempotency_key, account_id, author_id, author_type, "
        "author_name, attributed, attribution_name, text, item_id, item_type, created) "
        "VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    insert.bind(1, post.postIdentifier);
    insert.bind(2, post.idempotencyKey);
    insert.bind(3, post.accountIdentifier);
    insert.bind(4, post.authorIdentifier);
    insert.bind(5, post.authorType);
    insert.bind(6, post.authorName);
    insert.bind(7, post.attributed ? 1 : 0);
    insert.bind(8, post.attributionName);
    insert.bind(9, post.text);
    insert.bind(10, post.itemIdentifier);
    insert.bind(11, post.itemType);
    insert.bind(12, post.created);
    bool ok = insert.run();
    if (ok && sqlite3_changes(m_db) == 0) {
        exec("ROLLBACK");
        return false; // the key was taken
    }
    const qint64 rowid = sqlite3_last_insert_rowid(m_db);
    int position = 0;
    for (const TULOSandboxPostAttachment &attachment : post.attachments) {
        const int parent = position;
        ok = ok && insertAttachment(rowid, position++, -1, attachment);
        for (const TULOSandboxPostAttachment &child : attachment.children)
            ok = ok && insertAttachment(rowid, position++, parent, child);
    }
    position = 0;
    for (const TULOSandboxPostDestination &destination : post.destinations) {
        Statement d(m_db, "INSERT INTO destinations(post, position, service, page_id) VALUES(?, ?, ?, ?)");
        d.bind(1, rowid);
        d.bind(2, position++);
        d.bind(3, destination.service);
        d.bind(4, destination.pageIdentifier);
        ok = ok && d.run();
    }
    if (!ok) {
        if (error)
            *error = QString::fromUtf8(sqlite3_errmsg(m_db));
        exec("ROLLBACK");
        return false;
    }
    return exec("COMMIT", error);
}

void TULOSandboxPostDatabase::fill(TULOSandboxPost &post, qint64 rowid)
{
    Statement a(m_db,
        "SELECT position, parent, type, uti, title, subtitle, description, artists, album_id, album_name, "
        "category, explicit, preview_frame_time, file, original_name, size FROM attachments "
        "WHERE post = ? ORDER BY position");
    a.bind(1, rowid);
    QMap<int, int> topIndex; // position -> index in post.attachments
    while (a.step()) {
        TULOSandboxPostAttachment attachment;
        attachment.type = int(a.integer(2));
        attachment.uti = a.text(3);
        attachment.title = a.text(4);
        attachment.subtitle = a.text(5);
        attachment.description = a.text(6);
        attachment.artists = QJsonDocument::fromJson(a.text(7).toUtf8()).array();
        attachment.albumIdentifier = a.text(8);
        attachment.albumName = a.text(9);
        attachment.categoryName = a.text(10);
        attachment.explicitContent = a.integer(11) != 0;
        attachment.previewFrameTime = a.real(12);
        attachment.fileName = a.text(13);
        attachment.originalFileName = a.text(14);
        attachment.size = a.integer(15);
        const int parent = int(a.integer(1));
        if (parent >= 0 && topIndex.contains(parent)) {
            post.attachments[topIndex.value(parent)].children.append(attachment);
        } else {
            topIndex.insert(int(a.integer(0)), int(post.attachments.size()));
            post.attachments.append(attachment);
        }
    }
    Statement d(m_db, "SELECT service, page_id FROM destinations WHERE post = ? ORDER BY position");
    d.bind(1, rowid);
    while (d.step())
        post.destinations.append({d.text(0), d.text(1)});
}

std::optional<TULOSandboxPost> TULOSandboxPostDatabase::postForIdempotencyKey(const QString &key)
{
    std::lock_guard lock(m_mutex);
    if (!m_db)
        return std::nullopt;
    Statement s(m_db, (QByteArray(TULOSandboxPostColumns) + "WHERE idempotency_key = ?").constData());
    s.bind(1, key);
    if (!s.step())
        return std::nullopt;
    TULOSandboxPost post = postFromRow(s);
    fill(post, s.integer(0));
    return post;
}

std::optional<TULOSandboxPost> TULOSandboxPostDatabase::post(const QString &postIdentifier)
{
    std::lock_guard lock(m_mutex);
    if (!m_db)
        return std::nullopt;
    Statement s(m_db, (QByteArray(TULOSandboxPostColumns) + "WHERE post_id = ?").constData());
    s.bind(1, postIdentifier);
    if (!s.step())
        return std::nullopt;
    TULOSandboxPost post = postFromRow(s);
    fill(post, s.integer(0));
    return post;
}

QList<TULOSandboxPost> TULOSandboxPostDatabase::posts(const QString &authorIdentifier)
{
    std::lock_guard lock(m_mutex);
    QList<TULOSandboxPost> result;
    if (!m_db)
        return result;
    Statement s(m_db,
        (QByteArray(TULOSandboxPostColumns) + "WHERE ?1 IS NULL OR author_id = ?1 ORDER BY id DESC")
            .constData());
    s.bind(1, authorIdentifier.isEmpty() ? QString() : authorIdentifier);
    while (s.step()) {
        TULOSandboxPost post = postFromRow(s);
        fill(post, s.integer(0));
        result.append(post);
    }
    return result;
}

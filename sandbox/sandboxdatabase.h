#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <mutex>
#include <optional>

struct sqlite3;

// A catalogue entry: an artist, an album or a song.
struct TULOSandboxItem
{
    qint64 identifier = 0;
    QString kind; // "artist", "album", "song"
    QString name;
    qint64 artistIdentifier = 0;
    QString artistName;
    qint64 albumIdentifier = 0;
    QString albumName;
    QString genre;
    int year = 0;
    int trackNumber = 0;
    int durationMilliseconds = 0;
    bool described = true; // albums: described inline in their artist's "children"
    bool group = false;    // artists: a band rather than a person
};

struct TULOSandboxAccount
{
    qint64 identifier = 0;
    QString name;
    QString displayName;
    QString profileType;
};

struct TULOSandboxAuthor
{
    QString identifier;
    QString name;
    QString type;
    QStringList permissions;
};

// The sandbox store's SQLite file: catalogue, store accounts, their authors and sessions.
// One connection, serialised by a mutex: the HTTP server calls in from its worker threads.
class TULOSandboxDatabase
{
public:
    TULOSandboxDatabase() = default;
    ~TULOSandboxDatabase();
    TULOSandboxDatabase(const TULOSandboxDatabase &) = delete;
    TULOSandboxDatabase &operator=(const TULOSandboxDatabase &) = delete;

    // Opens the file, creating and seeding it when new. False with a reason on failure
    // (unreadable, corrupt or not a store file).
    bool open(const QString &path, QString *error);
    void close();

    std::optional<TULOSandboxItem> item(qint64 identifier);
    QList<TULOSandboxItem> albumsOfArtist(qint64 artistIdentifier);
    QList<TULOSandboxItem> songsOfAlbum(qint64 albumIdentifier);
    QList<TULOSandboxItem> itemsOfKind(const QString &kind);

    // The account when the name exists and the password matches its stored hash.
    std::optional<TULOSandboxAccount> accountWithPassword(const QString &name, const QString &password);
    std::optional<TULOSandboxAccount> accountForToken(const QString &token);
    QString createSession(qint64 accountIdentifier);
    QList<TULOSandboxAuthor> authorsOfAccount(qint64 accountIdentifier);

    // The social stand-ins' state (linked accounts, issued tokens, authorization codes), kept
    // across restarts so that what one process linked the next one can use. One text per
    // (kind, key); a null text when there is none.
    QString socialValue(const QString &kind, const QString &key);
    bool setSocialValue(const QString &kind, const QString &key, const QString &value); // null removes
    // Reads and removes in one step, for values that work once.
    QString takeSocialValue(const QString &kind, const QString &key);

    // Seeding helpers, used once when the file is new.
    bool insertItem(const TULOSandboxItem &item);
    bool insertAccount(const TULOSandboxAccount &account, const QString &password);
    bool insertAuthor(qint64 accountIdentifier, int position, const TULOSandboxAuthor &author);

    static QByteArray passwordHash(const QString &password, const QByteArray &salt);

private:
    bool exec(const char *sql, QString *error = nullptr);
    QList<TULOSandboxItem> items(const char *sql, qint64 parameter, const QString &text = QString());

    sqlite3 *m_db = nullptr;
    std::recursive_mutex m_mutex;
};

// Fills a new store with the demo catalogue and accounts.
bool TULOSandboxSeed(TULOSandboxDatabase &database);

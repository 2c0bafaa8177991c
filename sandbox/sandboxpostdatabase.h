#pragma once

#include <QJsonArray>
#include <QList>
#include <QString>
#include <mutex>
#include <optional>

struct sqlite3;

// One stored attachment of a post; cover images are children of the attachment they belong to.
struct TULOSandboxPostAttachment
{
    int type = 0; // 1 audio, 2 image, 3 sound bite, 4 video
    QString uti;
    QString title;
    QString subtitle;
    QString description;
    QJsonArray artists; // [{"id", "name"}]
    QString albumIdentifier;
    QString albumName;
    QString categoryName;
    bool explicitContent = false;
    double previewFrameTime = -1; // milliseconds; negative: none
    QString fileName; // relative to the post's folder
    QString originalFileName;
    qint64 size = 0;
    QList<TULOSandboxPostAttachment> children; // cover images
};

struct TULOSandboxPostDestination
{
    QString service;
    QString pageIdentifier; // null: none
};

struct TULOSandboxPost
{
    QString postIdentifier;
    QString idempotencyKey;
    qint64 accountIdentifier = 0;
    QString authorIdentifier;
    QString authorType;
    QString authorName;
    bool attributed = false;
    QString attributionName; // the signed-in account's name when attributed
    QString text; // with tag tokens
    QString itemIdentifier;
    QString itemType;
    QString created; // ISO 8601, UTC
    QList<TULOSandboxPostAttachment> attachments;
    QList<TULOSandboxPostDestination> destinations;
};

// The sandbox store's posts, in their own SQLite file beside the catalogue. Thread-safe.
class TULOSandboxPostDatabase
{
public:
    TULOSandboxPostDatabase() = default;
    ~TULOSandboxPostDatabase();
    TULOSandboxPostDatabase(const TULOSandboxPostDatabase &) = delete;
    TULOSandboxPostDatabase &operator=(const TULOSandboxPostDatabase &) = delete;

    bool open(const QString &path, QString *error);
    void close();

    // Stores the post in one transaction. False when its idempotency key is taken already
    // (the caller then answers with the stored post) or the write fails (`error` set).
    bool insert(const TULOSandboxPost &post, QString *error);
    std::optional<TULOSandboxPost> postForIdempotencyKey(const QString &key);
    std::optional<TULOSandboxPost> post(const QString &postIdentifier);
    // Newest first; an empty author lists everyone's.
    QList<TULOSandboxPost> posts(const QString &authorIdentifier = QString());

private:
    bool exec(const char *sql, QString *error = nullptr);
    bool insertAttachment(
        qint64 rowid, int position, int parent, const TULOSandboxPostAttachment &attachment);
    void fill(TULOSandboxPost &post, qint64 rowid);

    sqlite3 *m_db = nullptr;
    std::recursive_mutex m_mutex;
};

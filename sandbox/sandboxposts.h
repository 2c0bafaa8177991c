#pragma once

#include "sandboxpostdatabase.h"

#include <QJsonObject>
#include <QSet>
#include <condition_variable>
#include <memory>
#include <mutex>

class TULOSandboxStorePrivate;

namespace httplib {
class Server;
struct Request;
struct Response;
class ContentReader;
} // namespace httplib

// The store's post endpoints: the streamed multipart upload, the JSON post list, the posts'
// files and the HTML feed page (sandboxfeed.cpp). Posts live in posts.sqlite, their files
// in posts/<post id>/ of the data folder.
class TULOSandboxPosts
{
public:
    explicit TULOSandboxPosts(TULOSandboxStorePrivate *store);

    // Opens the post store and registers the endpoints; made anew each time the store starts.
    static std::shared_ptr<TULOSandboxPosts> install(TULOSandboxStorePrivate *store);

    // Largest file part the store accepts.
    static constexpr qint64 maximumFileSize = qint64(4) << 30;

    QJsonObject postDictionary(const TULOSandboxPost &post) const;
    // The feed page: every post as a reader sees it, newest first.
    QByteArray feedPage(const QList<TULOSandboxPost> &posts) const;

private:
    void handleUpload(const httplib::Request &, httplib::Response &, const httplib::ContentReader &);
    void handleList(const httplib::Request &, httplib::Response &);
    void handleFile(const httplib::Request &, httplib::Response &);
    void handleFeed(const httplib::Request &, httplib::Response &);

    QString postsFolder() const;
    QString fileURL(const TULOSandboxPost &post, const TULOSandboxPostAttachment &attachment) const;
    // One upload per idempotency key at a time: a resend waits for the first to finish.
    void lockKey(const QString &key);
    void unlockKey(const QString &key);

    TULOSandboxStorePrivate *m_store;
    TULOSandboxPostDatabase m_database;
    bool m_open = false;
    QString m_openError;
    std::mutex m_keyMutex;
    std::condition_variable m_keyReleased;
    QSet<QString> m_keysInFlight;
};

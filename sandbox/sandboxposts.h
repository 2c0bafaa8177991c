#pragma once

#include "sandboxdatabase.h"
#include "sandboxpostdatabase.h"
#include "sandboxupload.h"

#include <QJsonObject>
#include <QMap>
#include <QSet>
#include <optional>
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

    // Staging folders untouched for this long belong to no upload and are removed at start.
    static constexpr qint64 staleStagingSeconds = 10 * 60;

    // Largest file part the store accepts.
    static constexpr qint64 maximumFileSize = qint64(4) << 30;

    QJsonObject postDictionary(const TULOSandboxPost &post) const;
    // The feed page: every post as a reader sees it, newest first.
    QByteArray feedPage(const QList<TULOSandboxPost> &posts) const;

private:
    void handleUpload(const httplib::Request &, httplib::Response &, const httplib::ContentReader &);
    // The upload's account once its headers pass; otherwise the refusal is answered (and the
    // body read) and nothing is returned.
    std::optional<TULOSandboxAccount> acceptedSender(const httplib::Request &, httplib::Response &,
                                                     const httplib::ContentReader &);
    // The post the description part describes, checked against the account and the parts
    // that arrived; nothing (with the refusal answered) when it does not hold.
    std::optional<TULOSandboxPost> describedPost(const QByteArray &description,
                                                 const QMap<QString, TULOSandboxReceivedPart> &parts,
                                                 const TULOSandboxAccount &account, httplib::Response &response) const;
    bool readAttachments(const QJsonObject &description, const QMap<QString, TULOSandboxReceivedPart> &parts,
                         TULOSandboxPost &post, httplib::Response &response) const;
    // Moves the staged files to the post's folder and records the post.
    void keepPost(const TULOSandboxPost &post, const QString &staging, httplib::Response &response);
    void answerPost(httplib::Response &response, int status, const TULOSandboxPost &post) const;
    void handleList(const httplib::Request &, httplib::Response &);
    void handleFile(const httplib::Request &, httplib::Response &);
    void handleFeed(const httplib::Request &, httplib::Response &);

    QString postsFolder() const;
    void sweepStaleStaging();
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

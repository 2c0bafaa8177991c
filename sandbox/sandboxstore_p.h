#pragma once

#include "sandboxdatabase.h"
#include "sandboxfault.h"
#include "sandboxsocial.h"

#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QTemporaryDir>
#include <QUrl>

#include <httplib.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

class TULOSandboxPosts;
class TULOSandboxDownloads;

class TULOSandboxStorePrivate
{
public:
    using Handler = std::function<void(const httplib::Request &, httplib::Response &)>;

    struct FaultEntry
    {
        QString pathPrefix;
        TULOSandboxFault fault;
        int remaining; // negative: unlimited
    };

    // Registers a handler wrapped in fault injection.
    void route(const char *method, const std::string &pattern, Handler handler);
    void installRoutes();

    std::optional<TULOSandboxFault> takeFault(const QString &path);
    // Waits up to `milliseconds`, ending early when the store stops. False when stopping.
    bool waitUnlessStopping(int milliseconds);

    QString base() const;
    QJsonObject bag() const;
    // The account behind the request's bearer token; answers 401 itself when there is none.
    std::optional<TULOSandboxAccount> signedAccount(const httplib::Request &request, httplib::Response &response);
    QJsonObject lookupDictionary(const TULOSandboxItem &item, bool artistContent);
    QJsonObject artworkTemplate(qint64 identifier) const;

    void handleBag(const httplib::Request &, httplib::Response &);
    void handleSignIn(const httplib::Request &, httplib::Response &);
    void handleSession(const httplib::Request &, httplib::Response &);
    void handleAuthors(const httplib::Request &, httplib::Response &);
    void handleProfile(const httplib::Request &, httplib::Response &);
    void handleLookup(const httplib::Request &, httplib::Response &);
    void handleTagSearch(const httplib::Request &, httplib::Response &);
    void handleArtwork(const httplib::Request &, httplib::Response &);

    // A query or form value; a null string when the request has none.
    static QString param(const httplib::Request &request, const char *name);
    static void reply(httplib::Response &response, int status, const QJsonObject &body);
    static void failure(httplib::Response &response, int status, const char *errorCode, const QString &message);

    std::unique_ptr<httplib::Server> server;
    std::shared_ptr<TULOSandboxPosts> posts;
    std::shared_ptr<TULOSandboxDownloads> downloads;
    std::thread thread;
    TULOSandboxDatabase database;
    TULOSandboxSocial social{database};
    std::unique_ptr<QTemporaryDir> temporaryDirectory;
    QString dataDirectory;
    quint16 port = 0;
    std::optional<std::pair<QString, QString>> tlsFiles; // certificate, key; nullopt: from the environment
    bool secure = false;

    mutable std::mutex mutex; // guards everything below
    std::condition_variable stopping;
    bool isStopping = false;
    bool running = false;
    QList<FaultEntry> faults;
    QMap<QString, QJsonValue> bagOverrides;
    QList<QString> servedPaths;
    QMap<QString, int> inFlight, peakInFlight; // by path, for peakConcurrentRequests
};

// Counts a request as being answered for as long as it lives.
class TULOSandboxInFlight
{
public:
    TULOSandboxInFlight(TULOSandboxStorePrivate &store, const QString &path);
    ~TULOSandboxInFlight();
    TULOSandboxInFlight(const TULOSandboxInFlight &) = delete;
    TULOSandboxInFlight &operator=(const TULOSandboxInFlight &) = delete;

private:
    TULOSandboxStorePrivate &m_store;
    QString m_path;
};

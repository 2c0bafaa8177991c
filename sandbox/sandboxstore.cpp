#include "sandboxstore.h"
#include "sandboxstore_p.h"
#include "sandboxconnectionpool.h"
#include "sandboxdownloads.h"
#include "sandboxposts.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <chrono>
#include <cstdlib>

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace {
// Enough for the demo, a test suite's clients and a few stuck ones at once.
constexpr size_t TULOSandboxMaximumConnections = 512;
// A client that sends nothing for this long is dropped (headers or body); long enough for an
// upload from a loaded machine, short enough that stuck clients do not pile up.
constexpr time_t TULOSandboxReadTimeoutSeconds = 10;
constexpr time_t TULOSandboxWriteTimeoutSeconds = 10;
// Clients keep their connections between requests; an idle one is closed after this.
constexpr time_t TULOSandboxKeepAliveSeconds = 5;
} // namespace

// Turns every top-level value of a JSON object into a value of another type.
static QByteArray wrongTypes(const std::string &body)
{
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray::fromStdString(body));
    if (!document.isObject())
        return QByteArrayLiteral("[\"not\", \"an\", \"object\"]");
    QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        switch (it.value().type()) {
        case QJsonValue::String: *it = 42; break;
        case QJsonValue::Double: *it = QStringLiteral("forty-two"); break;
        case QJsonValue::Bool: *it = QStringLiteral("true"); break;
        case QJsonValue::Array: *it = QJsonObject{{QStringLiteral("0"), QStringLiteral("wrong")}}; break;
        case QJsonValue::Object: *it = QJsonArray{QStringLiteral("wrong")}; break;
        default: *it = 0; break;
        }
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

// --- private ---------------------------------------------------------------

void TULOSandboxStorePrivate::reply(httplib::Response &response, int status, const QJsonObject &body)
{
    response.status = status;
    response.set_content(QJsonDocument(body).toJson(QJsonDocument::Compact).toStdString(), "application/json; charset=utf-8");
}

void TULOSandboxStorePrivate::failure(httplib::Response &response, int status, const char *errorCode, const QString &message)
{
    reply(response, status, {{QStringLiteral("status"), QStringLiteral("failure")},
                             {QStringLiteral("errorCode"), QString::fromLatin1(errorCode)},
                             {QStringLiteral("message"), message}});
}

std::optional<TULOSandboxFault> TULOSandboxStorePrivate::takeFault(const QString &path)
{
    std::lock_guard lock(mutex);
    for (auto it = faults.begin(); it != faults.end(); ++it) {
        if (!path.startsWith(it->pathPrefix))
            continue;
        const TULOSandboxFault fault = it->fault;
        if (it->remaining > 0 && --it->remaining == 0)
            faults.erase(it);
        return fault;
    }
    return std::nullopt;
}

bool TULOSandboxStorePrivate::waitUnlessStopping(int milliseconds)
{
    std::unique_lock lock(mutex);
    return !stopping.wait_for(lock, std::chrono::milliseconds(milliseconds), [this] { return isStopping; });
}

TULOSandboxInFlight::TULOSandboxInFlight(TULOSandboxStorePrivate &store, const QString &path) : m_store(store), m_path(path)
{
    std::lock_guard lock(m_store.mutex);
    int &peak = m_store.peakInFlight[m_path];
    peak = std::max(peak, ++m_store.inFlight[m_path]);
}

TULOSandboxInFlight::~TULOSandboxInFlight()
{
    std::lock_guard lock(m_store.mutex);
    --m_store.inFlight[m_path];
}

void TULOSandboxStorePrivate::route(const char *method, const std::string &pattern, Handler handler)
{
    Handler wrapped = [this, handler](const httplib::Request &request, httplib::Response &response) {
        const TULOSandboxInFlight inFlight(*this, QString::fromStdString(request.path));
        const std::optional<TULOSandboxFault> fault = takeFault(QString::fromStdString(request.path));
        if (fault) {
            switch (fault->kind()) {
            case TULOSandboxFault::Kind::Delay:
                if (!waitUnlessStopping(fault->milliseconds())) {
                    failure(response, 503, "stopping", QStringLiteral("The store is shutting down."));
                    return;
                }
                break;
            case TULOSandboxFault::Kind::Status:
                failure(response, fault->httpStatus(), "injected", QStringLiteral("Injected failure."));
                return;
            case TULOSandboxFault::Kind::DropConnection:
                // Promise a body, send a piece of it, then give up: the server closes the socket.
                response.status = 200;
                response.set_content_provider(4096, "application/json",
                                              [](size_t offset, size_t, httplib::DataSink &sink) {
                                                  if (offset > 0)
                                                      return false;
                                                  static const char piece[] = "{\"status\": \"succ";
                                                  sink.write(piece, sizeof piece - 1);
                                                  return true;
                                              });
                return;
            default:
                break;
            }
        }
        handler(request, response);
        if (fault && fault->kind() == TULOSandboxFault::Kind::MalformedBody) {
            const bool image = response.get_header_value("Content-Type").rfind("image/", 0) == 0;
            response.status = 200;
            if (image)
                response.set_content(response.body.substr(0, std::min<size_t>(24, response.body.size())) + "garbage",
                                     response.get_header_value("Content-Type").c_str());
            else
                response.set_content("{\"status\": \"success\", \"data\": [1, 2,", "application/json");
        } else if (fault && fault->kind() == TULOSandboxFault::Kind::WrongTypes) {
            response.status = 200;
            response.set_content(wrongTypes(response.body).toStdString(), "application/json");
        }
    };
    const std::string verb(method);
    if (verb == "GET")
        server->Get(pattern, wrapped);
    else if (verb == "POST")
        server->Post(pattern, wrapped);
}

void TULOSandboxStorePrivate::installRoutes()
{
    server->set_pre_routing_handler([this](const httplib::Request &request, httplib::Response &) {
        std::lock_guard lock(mutex);
        servedPaths.append(QString::fromStdString(request.path));
        return httplib::Server::HandlerResponse::Unhandled;
    });
    server->set_error_handler([](const httplib::Request &, httplib::Response &response) {
        if (response.body.empty())
            failure(response, response.status, response.status == 404 ? "notFound" : "error",
                    QStringLiteral("No such endpoint."));
    });
    using Self = TULOSandboxStorePrivate;
    const auto bind = [this](void (Self::*member)(const httplib::Request &, httplib::Response &)) {
        return [this, member](const httplib::Request &request, httplib::Response &response) {
            (this->*member)(request, response);
        };
    };
    route("GET", "/bag", bind(&Self::handleBag));
    route("POST", "/account/signin", bind(&Self::handleSignIn));
    route("GET", "/account/session", bind(&Self::handleSession));
    route("GET", "/account/authors", bind(&Self::handleAuthors));
    route("GET", "/account/profile", bind(&Self::handleProfile));
    route("GET", "/catalog/lookup", bind(&Self::handleLookup));
    route("GET", "/search/tags", bind(&Self::handleTagSearch));
    route("GET", R"(/artwork/([A-Za-z0-9_-]{1,64})/(\d{1,6})x(\d{1,6})\.(png|jpg))", bind(&Self::handleArtwork));
    posts = TULOSandboxPosts::install(this);
    downloads = TULOSandboxDownloads::install(this);
    social.installRoutes(*this);
}

QString TULOSandboxStorePrivate::base() const
{
    return QStringLiteral("%1://127.0.0.1:%2").arg(secure ? QStringLiteral("https") : QStringLiteral("http")).arg(port);
}

// The server's stop() closes only its listening socket: a connection a client keeps alive
// holds its thread, and stop() with it, until its idle time has passed (seconds). Shutting
// down the store's end of each open connection ends those waits at once. They are the sockets
// of this process whose own port is the store's and that have a peer.
static void shutDownConnections(quint16 port)
{
    DIR *folder = opendir("/proc/self/fd");
    if (!folder)
        return;
    const int own = dirfd(folder);
    while (const dirent *entry = readdir(folder)) {
        char *end = nullptr;
        const long fd = std::strtol(entry->d_name, &end, 10);
        if (end == entry->d_name || *end != '\0' || fd == own)
            continue;
        sockaddr_in local {};
        socklen_t length = sizeof local;
        if (getsockname(int(fd), reinterpret_cast<sockaddr *>(&local), &length) != 0 || local.sin_family != AF_INET
            || ntohs(local.sin_port) != port)
            continue;
        sockaddr_in peer {};
        length = sizeof peer;
        if (getpeername(int(fd), reinterpret_cast<sockaddr *>(&peer), &length) == 0)
            ::shutdown(int(fd), SHUT_RDWR);
    }
    closedir(folder);
}

// --- public ----------------------------------------------------------------

TULOSandboxStore::TULOSandboxStore()
    : d(std::make_unique<TULOSandboxStorePrivate>())
{
}

TULOSandboxStore::~TULOSandboxStore()
{
    stop();
}

bool TULOSandboxStore::start(const QString &dataDirectory, quint16 port, QString *error)
{
    if (isRunning())
        stop();
    QString directory = dataDirectory;
    if (directory.isEmpty()) {
        d->temporaryDirectory = std::make_unique<QTemporaryDir>();
        if (!d->temporaryDirectory->isValid()) {
            if (error)
                *error = QStringLiteral("cannot make a temporary folder: %1").arg(d->temporaryDirectory->errorString());
            return false;
        }
        directory = d->temporaryDirectory->path();
    }
    if (!QDir().mkpath(directory)) {
        if (error)
            *error = QStringLiteral("cannot create the data folder %1").arg(directory);
        return false;
    }
    d->dataDirectory = QDir(directory).absolutePath();
    if (!d->database.open(d->dataDirectory + QStringLiteral("/store.sqlite"), error))
        return false;

    const auto [certificate, key] = d->tlsFiles.value_or(std::pair(qEnvironmentVariable("QUILLON_SANDBOX_TLS_CERT"),
                                                                   qEnvironmentVariable("QUILLON_SANDBOX_TLS_KEY")));
    d->secure = !certificate.isEmpty();
    if (d->secure) {
        auto server = std::make_unique<httplib::SSLServer>(QFile::encodeName(certificate).constData(),
                                                           QFile::encodeName(key).constData());
        if (!server->is_valid()) {
            if (error)
                *error = QStringLiteral("cannot serve TLS with the certificate %1 and the key %2").arg(certificate, key);
            d->database.close();
            return false;
        }
        d->server = std::move(server);
    } else {
        d->server = std::make_unique<httplib::Server>();
    }
    // Every connection gets a thread of its own, so idle and slow clients cannot hold the
    // others up; the time-outs only bound what such clients cost.
    d->server->new_task_queue = [] { return new TULOSandboxConnectionPool(TULOSandboxMaximumConnections); };
    d->server->set_read_timeout(TULOSandboxReadTimeoutSeconds);
    d->server->set_write_timeout(TULOSandboxWriteTimeoutSeconds);
    d->server->set_keep_alive_timeout(TULOSandboxKeepAliveSeconds);
    d->installRoutes();
    int bound = -1;
    if (port == 0)
        bound = d->server->bind_to_any_port("127.0.0.1");
    else if (d->server->bind_to_port("127.0.0.1", port))
        bound = port;
    if (bound <= 0) {
        if (error)
            *error = QStringLiteral("cannot listen on 127.0.0.1:%1").arg(port);
        d->server.reset();
        d->database.close();
        return false;
    }
    d->port = quint16(bound);
    {
        std::lock_guard lock(d->mutex);
        d->isStopping = false;
        d->running = true;
    }
    httplib::Server *server = d->server.get();
    d->thread = std::thread([server] { server->listen_after_bind(); });
    // stop() is only heard once the loop runs, so do not return before it does.
    while (!server->is_running())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return true;
}

void TULOSandboxStore::stop()
{
    {
        std::lock_guard lock(d->mutex);
        if (!d->running)
            return;
        d->isStopping = true;
        d->running = false;
    }
    d->stopping.notify_all();
    d->server->stop();
    shutDownConnections(d->port);
    if (d->thread.joinable())
        d->thread.join();
    d->server.reset();
    d->database.close();
}

bool TULOSandboxStore::isRunning() const
{
    std::lock_guard lock(d->mutex);
    return d->running;
}

void TULOSandboxStore::setTlsCertificate(const QString &certificatePath, const QString &privateKeyPath)
{
    d->tlsFiles = std::pair(certificatePath, privateKeyPath);
}

bool TULOSandboxStore::isSecure() const
{
    return d->secure;
}

quint16 TULOSandboxStore::port() const
{
    return d->port;
}

QUrl TULOSandboxStore::baseUrl() const
{
    return QUrl(d->base());
}

QUrl TULOSandboxStore::bagUrl() const
{
    return QUrl(d->base() + QStringLiteral("/bag"));
}

QString TULOSandboxStore::dataDirectory() const
{
    return d->dataDirectory;
}

void TULOSandboxStore::setBagValue(const QString &key, const QJsonValue &value)
{
    std::lock_guard lock(d->mutex);
    d->bagOverrides.insert(key, value);
}

void TULOSandboxStore::clearBagOverrides()
{
    std::lock_guard lock(d->mutex);
    d->bagOverrides.clear();
}

void TULOSandboxStore::addFault(const QString &pathPrefix, const TULOSandboxFault &fault, int times)
{
    if (times == 0)
        return;
    std::lock_guard lock(d->mutex);
    d->faults.append({pathPrefix, fault, times});
}

void TULOSandboxStore::clearFaults()
{
    std::lock_guard lock(d->mutex);
    d->faults.clear();
}

int TULOSandboxStore::peakConcurrentRequests(const QString &path) const
{
    std::lock_guard lock(d->mutex);
    return d->peakInFlight.value(path);
}

int TULOSandboxStore::requestCount(const QString &pathPrefix) const
{
    std::lock_guard lock(d->mutex);
    return int(std::count_if(d->servedPaths.cbegin(), d->servedPaths.cend(),
                             [&pathPrefix](const QString &path) { return path.startsWith(pathPrefix); }));
}

QString TULOSandboxStore::demoAccountName()
{
    return QStringLiteral("casey@demo.quillon.test");
}

QString TULOSandboxStore::demoPassword()
{
    return QStringLiteral("quillon-demo");
}

QString TULOSandboxStore::soloAccountName()
{
    return QStringLiteral("sam@demo.quillon.test");
}

QString TULOSandboxStore::listenerAccountName()
{
    return QStringLiteral("lee@demo.quillon.test");
}

QString TULOSandboxStore::demoArtistIdentifier()
{
    return QStringLiteral("1001");
}

TULOSandboxSocial *TULOSandboxStore::social() const
{
    return &d->social;
}

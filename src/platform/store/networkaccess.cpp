#include <Quillon/platform/store/networkaccess_p.h>

#include <Quillon/platform/deploymentconfiguration.h>

#include <QNetworkAccessManager>
#include <QNetworkProxyFactory>
#include <QSslCertificate>
#include <QThreadStorage>

#include <atomic>
#include <memory>

#include <mutex>

namespace {

// Bumped whenever the trusted authorities change: a manager keeps its connections, and with
// them the TLS settings they were opened with.
std::atomic_int trustGeneration{0};

class TULOProxyFactory : public QNetworkProxyFactory
{
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery &query) override
    {
        return TULONetworkAccess::proxiesForQuery(query);
    }
};

struct ThreadManager
{
    std::unique_ptr<QNetworkAccessManager> manager;
    int sslGeneration = 0;
};

} // namespace

QNetworkAccessManager *TULONetworkAccess::managerForCurrentThread()
{
    // Never destroyed: worker threads of static queues end after static destructors have run.
    static auto *storage = new QThreadStorage<ThreadManager *>;
    QThreadStorage<ThreadManager *> &managers = *storage;
    if (!managers.hasLocalData()) {
        auto *local = new ThreadManager{std::make_unique<QNetworkAccessManager>(), trustGeneration.load()};
        // Callers own their replies: a reply read after the loop ends must still exist.
        local->manager->setAutoDeleteReplies(false);
        local->manager->setProxyFactory(new TULOProxyFactory);
        managers.setLocalData(local);
    }
    ThreadManager *local = managers.localData();
    if (local->sslGeneration != trustGeneration.load()) {
        local->manager->clearConnectionCache();
        local->sslGeneration = trustGeneration.load();
    }
    return local->manager.get();
}

QList<QNetworkProxy> TULONetworkAccess::proxiesForQuery(const QNetworkProxyQuery &query)
{
    // Qt asks the system only when told to, application-wide; a library must not change that
    // for its host, so it asks itself when the host has not chosen.
    const QList<QNetworkProxy> chosen = QNetworkProxyFactory::proxyForQuery(query);
    if (chosen.size() != 1 || chosen.first().type() != QNetworkProxy::NoProxy)
        return chosen;
    return QNetworkProxyFactory::systemProxyForQuery(query);
}

QNetworkProxy TULONetworkAccess::proxyForUrl(const QUrl &url)
{
    for (const QNetworkProxy &proxy : proxiesForQuery(QNetworkProxyQuery(url))) {
        // Caching proxies speak only for the manager's own protocol handlers; a socket tunnels.
        if (proxy.type() == QNetworkProxy::NoProxy || proxy.type() == QNetworkProxy::HttpProxy
            || proxy.type() == QNetworkProxy::Socks5Proxy)
            return proxy;
    }
    return QNetworkProxy(QNetworkProxy::NoProxy);
}

QSslConfiguration TULONetworkAccess::sslConfiguration()
{
    QStringList files = TULODeploymentConfiguration::current()
                            .value(QString::fromLatin1(TULODeploymentTrustedCertificatesKey))
                            .split(QLatin1Char(':'), Qt::SkipEmptyParts);
    files += qEnvironmentVariable("QUILLON_TRUSTED_CERTIFICATES").split(QLatin1Char(':'), Qt::SkipEmptyParts);
    static std::mutex mutex;
    static QStringList loadedFiles;
    static QSslConfiguration configuration;
    std::lock_guard lock(mutex);
    if (files.isEmpty()) {
        if (!loadedFiles.isEmpty()) {
            loadedFiles.clear();
            ++trustGeneration;
        }
        return QSslConfiguration::defaultConfiguration();
    }
    if (files != loadedFiles) {
        configuration = QSslConfiguration::defaultConfiguration();
        // Setting authorities ends the on-demand loading of the system's, so name them too.
        QList<QSslCertificate> authorities = QSslConfiguration::systemCaCertificates();
        for (const QString &path : std::as_const(files)) {
            const QList<QSslCertificate> added = QSslCertificate::fromPath(path, QSsl::Pem);
            if (added.isEmpty())
                qWarning("Quillon: no certificate could be read from %s", qPrintable(path));
            authorities += added;
        }
        configuration.setCaCertificates(authorities);
        loadedFiles = files;
        ++trustGeneration;
    }
    return configuration;
}

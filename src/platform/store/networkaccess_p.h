#pragma once

#include <QList>
#include <QNetworkProxy>
#include <QSslConfiguration>
#include <QUrl>

class QNetworkAccessManager;

// The one network path every store request takes: a network access manager per thread, the
// proxy the desktop (or the host) chose for an address, and the TLS settings that trust the
// certificates a deployer added besides the system's.
class TULONetworkAccess
{
public:
    // The calling thread's manager, made on first use and deleted when the thread ends.
    static QNetworkAccessManager *managerForCurrentThread();

    // The proxies for a request, as the thread's manager uses them: the host's application
    // proxy or proxy factory when it set one, else the system's settings (http_proxy, ...).
    static QList<QNetworkProxy> proxiesForQuery(const QNetworkProxyQuery &query);
    // The one proxy a socket of our own reaches `url` through; NoProxy for a direct connection.
    static QNetworkProxy proxyForUrl(const QUrl &url);

    // The default TLS configuration plus the deployment's extra certificate authorities
    // (deployment key "trustedCertificates", or QUILLON_TRUSTED_CERTIFICATES: PEM files,
    // separated by ':'). Verification always stays on.
    static QSslConfiguration sslConfiguration();
};

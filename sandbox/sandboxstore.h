#pragma once

#include "sandboxfault.h"

#include <QJsonValue>
#include <QString>
#include <QUrl>

#include <memory>

class TULOSandboxSocial;
class TULOSandboxStorePrivate;

// The sandbox store: plays the store's HTTP protocol (docs/store-protocol.md) on 127.0.0.1.
// Tests and the demo embed one per process or per test; each instance has its own port, its
// own SQLite catalogue and its own fault list. All members are thread-safe.
class TULOSandboxStore
{
public:
    TULOSandboxStore();
    ~TULOSandboxStore(); // stops the server
    TULOSandboxStore(const TULOSandboxStore &) = delete;
    TULOSandboxStore &operator=(const TULOSandboxStore &) = delete;

    // Opens (or creates and seeds) the store in `dataDirectory`, or in a private temporary folder
    // when it is empty, and starts serving on 127.0.0.1:`port` (0 = a random free port).
    // Returns false with a reason in `error` when the data or the port cannot be had.
    bool start(const QString &dataDirectory = QString(), quint16 port = 0, QString *error = nullptr);
    // Serves HTTPS with this certificate chain and private key (PEM files) from the next start();
    // empty paths go back to plain HTTP. Without a call, the environment variables
    // QUILLON_SANDBOX_TLS_CERT and QUILLON_SANDBOX_TLS_KEY choose.
    void setTlsCertificate(const QString &certificatePath, const QString &privateKeyPath);
    bool isSecure() const;
    // Stops serving; requests held by an injected delay are released first. Idempotent.
    void stop();
    bool isRunning() const;

    quint16 port() const;
    QUrl baseUrl() const; // http://127.0.0.1:<port>, or https:// when serving TLS
    QUrl bagUrl() const;  // the one address a client needs
    QString dataDirectory() const;

    // Bag overrides, for tests of bad bags: a key set to an undefined QJsonValue is removed.
    void setBagValue(const QString &key, const QJsonValue &value);
    void clearBagOverrides();

    // Fault injection. A fault applies to requests whose path begins with `pathPrefix` (empty
    // prefix: every request), for `times` requests (negative: until cleared). Faults are checked
    // in the order added; the first that matches is used.
    void addFault(const QString &pathPrefix, const TULOSandboxFault &fault, int times = -1);
    void clearFaults();

    // Requests served so far whose path begins with `pathPrefix` (faulted ones included).
    int requestCount(const QString &pathPrefix = QString()) const;
    // Most requests of one path (the query aside) that were being answered at the same time.
    int peakConcurrentRequests(const QString &path) const;

    // Demo store accounts seeded into every new store.
    static QString demoAccountName();     // posts as itself, an artist and a group
    static QString demoPassword();
    static QString soloAccountName();     // posts only as itself, without attribution
    static QString listenerAccountName(); // may not post at all
    static QString demoArtistIdentifier(); // catalogue artist the demo account may post as

    // Linked social accounts and the social-service stand-ins.
    TULOSandboxSocial *social() const;

private:
    std::unique_ptr<TULOSandboxStorePrivate> d;
};

#pragma once

#include <QByteArrayList>
#include <QString>

#include <memory>
#include <mutex>

class QThread;
class TULOTestProxyServer;

// A small HTTP proxy on 127.0.0.1 for tests of proxy support: it tunnels CONNECT requests and
// forwards requests in absolute form (http://host:port/path) to their origin, and remembers
// each request line it was asked. It serves from a thread of its own.
class TULOTestProxy
{
public:
    TULOTestProxy();
    ~TULOTestProxy();

    quint16 port() const;
    // "CONNECT 127.0.0.1:1234" or "POST http://127.0.0.1:1234/posts", in order.
    QByteArrayList requests() const;

private:
    friend class TULOTestProxyServer;
    void record(const QByteArray &line);

    mutable std::mutex m_mutex;
    QByteArrayList m_requests;
    quint16 m_port = 0;
    QThread *m_thread = nullptr;
};

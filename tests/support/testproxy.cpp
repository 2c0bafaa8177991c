#include "testproxy.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QUrl>

#include <future>

// Lives on the proxy's thread.
class TULOTestProxyServer : public QTcpServer
{
public:
    explicit TULOTestProxyServer(TULOTestProxy *owner) : m_owner(owner)
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *client = nextPendingConnection())
                serve(client);
        });
    }

private:
    void serve(QTcpSocket *client)
    {
        auto head = std::make_shared<QByteArray>();
        connect(client, &QTcpSocket::disconnected, client, &QObject::deleteLater);
        connect(client, &QTcpSocket::readyRead, client, [this, client, head] {
            if (client->property("piped").toBool())
                return;
            *head += client->readAll();
            const qsizetype end = head->indexOf("\r\n\r\n");
            if (end < 0)
                return;
            const QByteArray line = head->left(head->indexOf("\r\n"));
            const QList<QByteArray> fields = line.split(' ');
            if (fields.size() != 3) {
                client->abort();
                return;
            }
            m_owner->record(fields.at(0) + ' ' + fields.at(1));
            auto *origin = new QTcpSocket(client);
            client->setProperty("piped", true);
            QByteArray forward;
            QString host;
            quint16 port = 0;
            if (fields.at(0) == "CONNECT") {
                const QUrl authority(QStringLiteral("//") + QString::fromLatin1(fields.at(1)));
                host = authority.host();
                port = quint16(authority.port(443));
                connect(origin, &QTcpSocket::connected, client, [client] {
                    client->write("HTTP/1.1 200 Connection established\r\n\r\n");
                });
                forward = head->mid(end + 4);
            } else {
                const QUrl target(QString::fromLatin1(fields.at(1)));
                host = target.host();
                port = quint16(target.port(80));
                forward = fields.at(0) + ' ' + target.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority) + ' '
                    + fields.at(2) + head->mid(line.size());
            }
            connect(origin, &QTcpSocket::connected, origin, [origin, forward] {
                if (!forward.isEmpty())
                    origin->write(forward);
            });
            connect(client, &QTcpSocket::readyRead, origin, [client, origin] {
                if (origin->state() == QAbstractSocket::ConnectedState)
                    origin->write(client->readAll());
            });
            connect(origin, &QTcpSocket::connected, origin, [client, origin] { origin->write(client->readAll()); });
            connect(origin, &QTcpSocket::readyRead, client, [client, origin] { client->write(origin->readAll()); });
            connect(origin, &QTcpSocket::disconnected, client, [client] { client->disconnectFromHost(); });
            connect(client, &QTcpSocket::disconnected, origin, [origin] { origin->disconnectFromHost(); });
            origin->connectToHost(host, port);
        });
    }

    TULOTestProxy *m_owner;
};

namespace {
class ProxyThread : public QThread
{
public:
    ProxyThread(TULOTestProxy *owner, std::promise<quint16> *listening) : m_owner(owner), m_listening(listening) {}

protected:
    void run() override
    {
        TULOTestProxyServer server(m_owner);
        m_listening->set_value(server.listen(QHostAddress::LocalHost) ? server.serverPort() : 0);
        exec(); // quit() before this starts still ends it
    }

private:
    TULOTestProxy *m_owner;
    std::promise<quint16> *m_listening;
};
} // namespace

TULOTestProxy::TULOTestProxy()
{
    std::promise<quint16> listening;
    std::future<quint16> port = listening.get_future();
    m_thread = new ProxyThread(this, &listening);
    m_thread->start();
    m_port = port.get();
}

TULOTestProxy::~TULOTestProxy()
{
    m_thread->quit();
    m_thread->wait();
    delete m_thread;
}

quint16 TULOTestProxy::port() const
{
    return m_port;
}

QByteArrayList TULOTestProxy::requests() const
{
    std::lock_guard lock(m_mutex);
    return m_requests;
}

void TULOTestProxy::record(const QByteArray &line)
{
    std::lock_guard lock(m_mutex);
    m_requests.append(line);
}

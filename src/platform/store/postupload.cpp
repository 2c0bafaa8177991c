#include <Quillon/platform/store/postupload_p.h>
#include <Quillon/platform/store/networkaccess_p.h>

#include <QFile>
#include <QNetworkProxy>
#include <QRandomGenerator>
#include <QSslSocket>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

#include <functional>

namespace {

// A GiB in a couple of thousand writes, while the upload holds about a MiB.
constexpr qint64 TULOUploadBlockSize = qint64(512) << 10;
// The socket's own buffer is kept under this; it bounds the memory an upload holds.
constexpr qint64 TULOUploadSocketBacklog = TULOUploadBlockSize;
constexpr qsizetype TULOUploadMaximumHead = 64 << 10;
constexpr qsizetype TULOUploadMaximumAnswer = 16 << 20;
constexpr int TULOUploadDefaultTimeout = 60000;

using Outcome = TULOPostUploadOutcome;

QNetworkReply::NetworkError networkErrorFor(QAbstractSocket::SocketError error)
{
    switch (error) {
    case QAbstractSocket::ConnectionRefusedError:
        return QNetworkReply::ConnectionRefusedError;
    case QAbstractSocket::RemoteHostClosedError:
        return QNetworkReply::RemoteHostClosedError;
    case QAbstractSocket::HostNotFoundError:
        return QNetworkReply::HostNotFoundError;
    case QAbstractSocket::SocketTimeoutError:
        return QNetworkReply::TimeoutError;
    case QAbstractSocket::SslHandshakeFailedError:
        return QNetworkReply::SslHandshakeFailedError;
    case QAbstractSocket::ProxyAuthenticationRequiredError:
        return QNetworkReply::ProxyAuthenticationRequiredError;
    case QAbstractSocket::ProxyNotFoundError:
        return QNetworkReply::ProxyNotFoundError;
    case QAbstractSocket::ProxyConnectionTimeoutError:
        return QNetworkReply::ProxyTimeoutError;
    case QAbstractSocket::ProxyConnectionClosedError:
        return QNetworkReply::ProxyConnectionClosedError;
    case QAbstractSocket::ProxyConnectionRefusedError:
    case QAbstractSocket::ProxyProtocolError:
        return QNetworkReply::ProxyConnectionRefusedError;
    default:
        return QNetworkReply::UnknownNetworkError;
    }
}

// The request as bytes: the head, then each part between boundaries, read from disk on demand.
class MultipartBody
{
public:
    MultipartBody(const QByteArray &head, const QList<TULOPostUpload::Part> &parts, const QByteArray &boundary)
        : m_parts(parts)
        , m_tail("--" + boundary + "--\r\n")
    {
        m_pieces.append(head);
        for (const TULOPostUpload::Part &part : parts) {
            m_heads.append("--" + boundary + "\r\n" + part.headers + "\r\n\r\n");
            m_contentLength += m_heads.last().size() + part.size + 2;
        }
        m_contentLength += m_tail.size();
    }

    qint64 contentLength() const { return m_contentLength; }
    bool atEnd() const { return m_part > m_parts.size() && m_pieces.isEmpty(); }

    // Appends the next bytes to `block`, up to `capacity` in all. False when a file cannot be read.
    bool fill(QByteArray &block, qint64 capacity, QString *error)
    {
        while (block.size() < capacity && !atEnd()) {
            if (!m_pieces.isEmpty()) {
                block += m_pieces.takeFirst();
                continue;
            }
            if (m_part == m_parts.size()) {
                m_pieces.append(m_tail);
                ++m_part;
                continue;
            }
            const TULOPostUpload::Part &part = m_parts.at(m_part);
            if (!m_inPart) {
                block += m_heads.at(m_part);
                m_inPart = true;
                m_left = part.file ? part.size : 0;
                if (!part.file)
                    block += part.body;
                continue;
            }
            if (m_left == 0) {
                block += "\r\n";
                m_inPart = false;
                ++m_part;
                continue;
            }
            const qsizetype at = block.size();
            block.resize(at + qsizetype(qMin(capacity - at, m_left)));
            const qint64 read = part.file->read(block.data() + at, block.size() - at);
            if (read <= 0) {
                *error = QStringLiteral("The file \"%1\" changed while it was sent.").arg(part.file->fileName());
                return false;
            }
            block.resize(at + qsizetype(read));
            m_left -= read;
        }
        return true;
    }

private:
    QList<TULOPostUpload::Part> m_parts;
    QByteArray m_tail;
    QList<QByteArray> m_heads;
    QList<QByteArray> m_pieces; // ready bytes that go before the current part
    qint64 m_contentLength = 0;
    qsizetype m_part = 0;
    bool m_inPart = false;
    qint64 m_left = 0;
};

// The socket side of one upload; lives and dies on the upload's thread, driven by its events.
class Connection : public QObject
{
public:
    using Progress = std::function<void(qint64 sent, qint64 total)>;
    using Done = std::function<void(const Outcome &)>;

    Connection(const QNetworkRequest &request, const QList<TULOPostUpload::Part> &parts, int timeout, Progress progress,
        Done done)
        : m_request(request)
        , m_parts(parts)
        , m_timeout(timeout > 0 ? timeout : TULOUploadDefaultTimeout)
        , m_progress(std::move(progress))
        , m_done(std::move(done))
    {
    }

    ~Connection() override
    {
        // The socket goes before this object's members; it must not call back into them.
        if (m_socket)
            m_socket->disconnect(this);
    }

    void start();

private:
    QByteArray requestHead(const QByteArray &boundary, qint64 contentLength, bool viaProxy) const;
    void connectSocket(const QNetworkProxy &proxy);
    void writeMore();
    void onBytesWritten(qint64 bytes);
    void onReadyRead();
    void onSocketError();
    void finishWith(QNetworkReply::NetworkError error, const QString &message);
    void finish();
    void markActivity() { m_idle.start(m_timeout); }

    QNetworkRequest m_request;
    QList<TULOPostUpload::Part> m_parts;
    int m_timeout;
    Progress m_progress;
    Done m_done;
    std::unique_ptr<MultipartBody> m_body;
    std::unique_ptr<QTcpSocket> m_socket;
    QTimer m_idle;
    QByteArray m_received;
    qint64 m_headSize = 0;
    qint64 m_queued = 0; // bytes handed to the socket
    qint64 m_written = 0; // bytes the socket has sent on
    qint64 m_reported = 0;
    bool m_bodyQueued = false;
    bool m_finished = false;
    Outcome m_outcome;
};

QByteArray Connection::requestHead(const QByteArray &boundary, qint64 contentLength, bool viaProxy) const
{
    const QUrl url = m_request.url();
    const bool secure = url.scheme() == QLatin1String("https");
    // A forwarding proxy takes the whole address; everyone else just the path.
    QByteArray target = viaProxy ? url.toEncoded(QUrl::RemoveFragment | QUrl::RemoveUserInfo)
                                 : url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::RemoveFragment);
    if (url.path().isEmpty())
        target += '/';
    QByteArray head = "POST " + target + " HTTP/1.1\r\nHost: " + url.host(QUrl::FullyEncoded).toLatin1();
    if (url.port() != -1)
        head += ':' + QByteArray::number(url.port(secure ? 443 : 80));
    head += "\r\n";
    for (const QByteArray &name : m_request.rawHeaderList()) {
        const QByteArray lower = name.toLower();
        if (lower == "host" || lower == "content-length" || lower == "content-type" || lower == "connection"
            || lower == "transfer-encoding" || lower == "expect")
            continue;
        head += name + ": " + m_request.rawHeader(name) + "\r\n";
    }
    head += "Content-Type: multipart/form-data; boundary=\"" + boundary + "\"\r\nContent-Length: "
        + QByteArray::number(contentLength) + "\r\nConnection: close\r\n";
    return head;
}

void Connection::start()
{
    const QUrl url = m_request.url();
    const bool secure = url.scheme() == QLatin1String("https");
    if (!secure && url.scheme() != QLatin1String("http")) {
        finishWith(QNetworkReply::ProtocolUnknownError, QStringLiteral("Posts are sent over HTTP."));
        return;
    }
    const QNetworkProxy proxy = TULONetworkAccess::proxyForUrl(url);
    const bool forwarding = !secure && proxy.type() == QNetworkProxy::HttpProxy;
    const QByteArray boundary = "----quillon" + QByteArray::number(QRandomGenerator::global()->generate64(), 16);
    // The head's length does not depend on the body's, so measure it with a zero length first.
    MultipartBody measure(QByteArray(), m_parts, boundary);
    QByteArray head = requestHead(boundary, measure.contentLength(), forwarding);
    if (forwarding && !proxy.user().isEmpty())
        head += "Proxy-Authorization: Basic " + (proxy.user() + QLatin1Char(':') + proxy.password()).toUtf8().toBase64()
            + "\r\n";
    head += "\r\n";
    m_headSize = head.size();
    m_body = std::make_unique<MultipartBody>(head, m_parts, boundary);

    m_idle.setSingleShot(true);
    connect(&m_idle, &QTimer::timeout, this,
        [this] { finishWith(QNetworkReply::TimeoutError, QStringLiteral("The store stopped answering.")); });
    markActivity();
    connectSocket(proxy);
}

void Connection::connectSocket(const QNetworkProxy &proxy)
{
    const QUrl url = m_request.url();
    const bool secure = url.scheme() == QLatin1String("https");
    const quint16 port = quint16(url.port(secure ? 443 : 80));
    if (secure) {
        auto *ssl = new QSslSocket;
        m_socket.reset(ssl);
        ssl->setSslConfiguration(m_request.sslConfiguration());
        // An HTTP proxy tunnels TLS with CONNECT; a SOCKS proxy carries it as it is.
        ssl->setProxy(proxy);
        connect(ssl, &QSslSocket::encrypted, this, [this] {
            markActivity();
            writeMore();
        });
        ssl->connectToHostEncrypted(url.host(), port);
    } else {
        m_socket = std::make_unique<QTcpSocket>();
        const bool forwarding = proxy.type() == QNetworkProxy::HttpProxy;
        m_socket->setProxy(forwarding ? QNetworkProxy(QNetworkProxy::NoProxy) : proxy);
        connect(m_socket.get(), &QTcpSocket::connected, this, [this] {
            markActivity();
            writeMore();
        });
        if (forwarding)
            m_socket->connectToHost(proxy.hostName(), proxy.port());
        else
            m_socket->connectToHost(url.host(), port);
    }
    connect(m_socket.get(), &QTcpSocket::bytesWritten, this, &Connection::onBytesWritten);
    connect(m_socket.get(), &QTcpSocket::readyRead, this, &Connection::onReadyRead);
    connect(m_socket.get(), &QTcpSocket::errorOccurred, this, &Connection::onSocketError);
    connect(m_socket.get(), &QTcpSocket::disconnected, this, &Connection::onSocketError);
}

void Connection::writeMore()
{
    while (!m_finished && !m_bodyQueued && m_socket->bytesToWrite() < TULOUploadSocketBacklog) {
        QByteArray block;
        block.reserve(TULOUploadBlockSize + m_headSize);
        QString error;
        if (!m_body->fill(block, TULOUploadBlockSize, &error)) {
            finishWith(QNetworkReply::UnknownContentError, error);
            return;
        }
        if (!block.isEmpty() && m_socket->write(block) != block.size()) {
            onSocketError();
            return;
        }
        m_queued += block.size();
        m_bodyQueued = m_body->atEnd();
    }
}

void Connection::onBytesWritten(qint64 bytes)
{
    markActivity();
    m_written += bytes;
    const qint64 total = m_body->contentLength();
    const qint64 sent = qBound<qint64>(0, m_written - m_headSize, total);
    // Reported per block: finer steps cost more than they tell.
    if (sent - m_reported >= TULOUploadBlockSize || (sent == total && m_reported != total)) {
        m_reported = sent;
        m_progress(sent, total);
    }
    writeMore();
}

void Connection::onReadyRead()
{
    markActivity();
    m_received += m_socket->readAll();
    Outcome answer;
    if (TULOHttpAnswerReader().read(m_received, false, &answer) != TULOHttpAnswerReader::State::NeedMore) {
        m_outcome = answer;
        finish();
    }
}

void Connection::onSocketError()
{
    if (m_finished)
        return;
    m_received += m_socket->readAll();
    // A store that refuses early may have answered before it closed; its answer counts.
    Outcome answer;
    if (!m_received.isEmpty() && TULOHttpAnswerReader().read(m_received, true, &answer) == TULOHttpAnswerReader::State::Complete) {
        m_outcome = answer;
        finish();
        return;
    }
    if (m_socket->error() == QAbstractSocket::RemoteHostClosedError || m_socket->error() == QAbstractSocket::UnknownSocketError) {
        if (m_received.isEmpty()) {
            finishWith(QNetworkReply::RemoteHostClosedError, QStringLiteral("The store closed the connection without an answer."));
        } else {
            m_outcome = answer; // what the reader found wrong with the partial answer
            finish();
        }
        return;
    }
    finishWith(networkErrorFor(m_socket->error()), m_socket->errorString());
}

void Connection::finishWith(QNetworkReply::NetworkError error, const QString &message)
{
    m_outcome = Outcome();
    m_outcome.error = error;
    m_outcome.errorString = message;
    finish();
}

void Connection::finish()
{
    if (m_finished)
        return;
    m_finished = true;
    m_idle.stop();
    if (m_socket) {
        m_socket->disconnect(this);
        m_socket->abort();
    }
    m_done(m_outcome);
}

// The upload's thread: its event loop drives the connection until the answer or a cancel.
class UploadThread : public QThread
{
public:
    UploadThread(std::function<std::unique_ptr<Connection>()> makeConnection)
        : m_makeConnection(std::move(makeConnection))
    {
    }

protected:
    void run() override
    {
        const std::unique_ptr<Connection> connection = m_makeConnection();
        connection->start();
        exec();
    }

private:
    std::function<std::unique_ptr<Connection>()> m_makeConnection;
};

} // namespace

TULOHttpAnswerReader::State TULOHttpAnswerReader::read(const QByteArray &received, bool closed, Outcome *outcome) const
{
    const auto failed = [outcome](const QString &message) {
        *outcome = Outcome();
        outcome->error = QNetworkReply::ProtocolFailure;
        outcome->errorString = message;
        return State::Failed;
    };
    qsizetype at = 0;
    qsizetype headEnd = -1;
    int status = 0;
    for (;;) {
        headEnd = received.indexOf("\r\n\r\n", at);
        if (headEnd < 0) {
            if (received.size() - at > TULOUploadMaximumHead)
                return failed(QStringLiteral("The store's answer is malformed."));
            return closed ? failed(QStringLiteral("The store sent no answer.")) : State::NeedMore;
        }
        const QList<QByteArray> fields = received.mid(at, received.indexOf("\r\n", at) - at).split(' ');
        bool ok = false;
        status = fields.size() >= 2 && fields.first().startsWith("HTTP/") ? fields.at(1).toInt(&ok) : 0;
        if (!ok || status < 100)
            return failed(QStringLiteral("The store's answer is not HTTP."));
        if (status >= 200)
            break;
        at = headEnd + 4; // an interim answer (100 Continue) comes before the real one
    }
    qint64 length = -1;
    bool chunked = false;
    for (const QByteArray &line : received.mid(at, headEnd - at).split('\n').mid(1)) {
        const qsizetype colon = line.indexOf(':');
        if (colon < 0)
            continue;
        const QByteArray name = line.left(colon).trimmed().toLower();
        const QByteArray value = line.mid(colon + 1).trimmed();
        if (name == "content-length")
            length = value.toLongLong();
        else if (name == "transfer-encoding" && value.toLower().contains("chunked"))
            chunked = true;
    }
    const QByteArray data = received.mid(headEnd + 4);
    QByteArray body;
    if (chunked) {
        qsizetype position = 0;
        for (;;) {
            const qsizetype lineEnd = data.indexOf("\r\n", position);
            if (lineEnd < 0)
                return closed ? failed(QStringLiteral("The store's answer was cut short.")) : State::NeedMore;
            bool ok = false;
            const qint64 size = data.mid(position, lineEnd - position).split(';').first().trimmed().toLongLong(&ok, 16);
            if (!ok || size < 0 || body.size() + size > TULOUploadMaximumAnswer)
                return failed(QStringLiteral("The store's answer is malformed."));
            if (size == 0)
                break;
            if (data.size() < lineEnd + 2 + size + 2)
                return closed ? failed(QStringLiteral("The store's answer was cut short.")) : State::NeedMore;
            body += data.mid(lineEnd + 2, size);
            position = lineEnd + 2 + size + 2;
        }
    } else if (length > TULOUploadMaximumAnswer) {
        return failed(QStringLiteral("The store's answer is too large."));
    } else if (length >= 0) {
        if (data.size() < length)
            return closed ? failed(QStringLiteral("The store's answer was cut short.")) : State::NeedMore;
        body = data.left(length);
    } else {
        // Without a length the answer runs until the store closes the connection.
        if (!closed && data.size() <= TULOUploadMaximumAnswer)
            return State::NeedMore;
        body = data.left(TULOUploadMaximumAnswer);
    }
    *outcome = Outcome();
    outcome->status = status;
    outcome->body = body;
    return State::Complete;
}

TULOPostUpload::TULOPostUpload(
    const QNetworkRequest &request, QList<Part> parts, int inactivityTimeout, QObject *parent)
    : QObject(parent)
    , m_request(request)
    , m_parts(std::move(parts))
    , m_timeout(inactivityTimeout)
{
}

TULOPostUpload::~TULOPostUpload()
{
    if (m_thread) {
        // Ends the thread's loop, which drops the connection: the socket closes at once.
        m_thread->quit();
        m_thread->wait();
        delete m_thread;
    }
}

void TULOPostUpload::start()
{
    // Results hop to the main thread; the destructor waits for the thread, so `this` outlives
    // it, and events still queued for a deleted upload are dropped with it.
    auto *thread = new UploadThread([this] {
        return std::make_unique<Connection>(
            m_request, m_parts, m_timeout,
            [this](qint64 sent, qint64 total) {
                QMetaObject::invokeMethod(
                    this, [this, sent, total] { Q_EMIT uploadProgress(sent, total); }, Qt::QueuedConnection);
            },
            [this](const Outcome &outcome) {
                QMetaObject::invokeMethod(
                    this,
                    [this, outcome] {
                        m_status = outcome.status;
                        m_body = outcome.body;
                        m_error = outcome.error;
                        m_errorString = outcome.errorString;
                        Q_EMIT finished();
                    },
                    Qt::QueuedConnection);
                QThread::currentThread()->quit();
            });
    });
    m_thread = thread;
    m_thread->setObjectName(QStringLiteral("Quillon post upload"));
    m_thread->start();
}

#include <Quillon/platform/store/postupload_p.h>

#include <QDeadlineTimer>
#include <QFile>
#include <QPointer>
#include <QRandomGenerator>
#include <QSslSocket>
#include <QTcpSocket>
#include <QThread>

namespace {

// A GiB in a couple of thousand writes, while the upload holds about a MiB.
constexpr qint64 TULOUploadBlockSize = qint64(512) << 10;
// The socket's own buffer is kept under this; it bounds the memory an upload holds.
constexpr qint64 TULOUploadSocketBacklog = TULOUploadBlockSize;
// Waits are sliced so a cancelled upload stops promptly.
constexpr int TULOUploadWaitSlice = 100;
constexpr qsizetype TULOUploadMaximumHead = 64 << 10;
constexpr qsizetype TULOUploadMaximumAnswer = 16 << 20;

struct Outcome
{
    int status = 0;
    QByteArray body;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QString errorString;
};

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
    case QAbstractSocket::ProxyConnectionRefusedError:
    case QAbstractSocket::ProxyConnectionClosedError:
    case QAbstractSocket::ProxyConnectionTimeoutError:
    case QAbstractSocket::ProxyNotFoundError:
    case QAbstractSocket::ProxyProtocolError:
    case QAbstractSocket::ProxyAuthenticationRequiredError:
        return QNetworkReply::ProxyConnectionRefusedError;
    default:
        return QNetworkReply::UnknownNetworkError;
    }
}

// The blocking side of one upload; runs on the upload's thread.
class Sender
{
public:
    Sender(const QNetworkRequest &request, const QList<TULOPostUpload::Part> &parts, int timeout,
        const std::atomic_bool &cancelled)
        : m_request(request)
        , m_parts(parts)
        , m_timeout(timeout > 0 ? timeout : 60000)
        , m_cancelled(cancelled)
    {
    }

    Outcome send(const std::function<void(qint64, qint64)> &progress);

private:
    bool fail(QNetworkReply::NetworkError error, const QString &message)
    {
        if (m_outcome.error == QNetworkReply::NoError) {
            m_outcome.error = error;
            m_outcome.errorString = message;
        }
        return false;
    }
    bool socketFailed()
    {
        return fail(networkErrorFor(m_socket->error()), m_socket->errorString());
    }
    // Waits until `done` holds, failing after the inactivity limit without progress.
    bool waitUntil(const std::function<bool()> &done, const std::function<bool(int)> &wait);
    bool writeBlock(const QByteArray &block);
    bool readAnswer();

    QNetworkRequest m_request;
    QList<TULOPostUpload::Part> m_parts;
    int m_timeout;
    const std::atomic_bool &m_cancelled;
    std::unique_ptr<QTcpSocket> m_socket;
    Outcome m_outcome;
};

bool Sender::waitUntil(const std::function<bool()> &done, const std::function<bool(int)> &wait)
{
    QDeadlineTimer idle(m_timeout);
    while (!done()) {
        if (m_cancelled)
            return fail(QNetworkReply::OperationCanceledError, QStringLiteral("The upload was cancelled."));
        if (idle.hasExpired())
            return fail(QNetworkReply::TimeoutError, QStringLiteral("The store stopped answering."));
        if (wait(TULOUploadWaitSlice)) {
            idle.setRemainingTime(m_timeout);
            continue;
        }
        if (done())
            return true;
        if (m_socket->state() == QAbstractSocket::UnconnectedState
            || (m_socket->error() != QAbstractSocket::SocketTimeoutError
                && m_socket->error() != QAbstractSocket::UnknownSocketError))
            return socketFailed();
    }
    return true;
}

bool Sender::writeBlock(const QByteArray &block)
{
    if (m_socket->write(block) != block.size())
        return socketFailed();
    return waitUntil([this] { return m_socket->bytesToWrite() < TULOUploadSocketBacklog; },
        [this](int ms) { return m_socket->waitForBytesWritten(ms); });
}

bool Sender::readAnswer()
{
    QByteArray data;
    const auto readMore = [&](int ms) {
        if (m_socket->bytesAvailable() == 0 && !m_socket->waitForReadyRead(ms))
            return false;
        data += m_socket->readAll();
        return true;
    };
    const auto closed = [&] { return m_socket->state() != QAbstractSocket::ConnectedState; };
    qsizetype headEnd = -1;
    for (;;) {
        // Interim answers (100 Continue) come before the real one.
        const bool gotHead = waitUntil(
            [&] {
                headEnd = data.indexOf("\r\n\r\n");
                return headEnd >= 0 || data.size() > TULOUploadMaximumHead
                    || (closed() && m_socket->bytesAvailable() == 0);
            },
            readMore);
        if (!gotHead)
            return false;
        if (headEnd < 0)
            return fail(QNetworkReply::ProtocolFailure, QStringLiteral("The store sent no answer."));
        const QByteArray statusLine = data.left(data.indexOf("\r\n"));
        const QList<QByteArray> fields = statusLine.split(' ');
        bool ok = false;
        const int status = fields.size() >= 2 && fields.first().startsWith("HTTP/") ? fields.at(1).toInt(&ok) : 0;
        if (!ok || status < 100)
            return fail(QNetworkReply::ProtocolFailure, QStringLiteral("The store's answer is not HTTP."));
        if (status >= 200) {
            m_outcome.status = status;
            break;
        }
        data.remove(0, headEnd + 4);
    }
    qint64 length = -1;
    bool chunked = false;
    for (const QByteArray &line : data.left(headEnd).split('\n').mid(1)) {
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
    data.remove(0, headEnd + 4);
    if (chunked) {
        QByteArray body;
        for (;;) {
            qsizetype lineEnd = -1;
            if (!waitUntil([&] { return (lineEnd = data.indexOf("\r\n")) >= 0 || closed(); }, readMore)
                || lineEnd < 0)
                return fail(QNetworkReply::ProtocolFailure, QStringLiteral("The store's answer was cut short."));
            bool ok = false;
            const qint64 size = data.left(lineEnd).split(';').first().trimmed().toLongLong(&ok, 16);
            if (!ok || size < 0 || body.size() + size > TULOUploadMaximumAnswer)
                return fail(QNetworkReply::ProtocolFailure, QStringLiteral("The store's answer is malformed."));
            if (size == 0)
                break;
            if (!waitUntil([&] { return data.size() >= lineEnd + 2 + size + 2 || closed(); }, readMore)
                || data.size() < lineEnd + 2 + size + 2)
                return fail(QNetworkReply::ProtocolFailure, QStringLiteral("The store's answer was cut short."));
            body += data.mid(lineEnd + 2, size);
            data.remove(0, lineEnd + 2 + size + 2);
        }
        m_outcome.body = body;
        return true;
    }
    if (length > TULOUploadMaximumAnswer)
        return fail(QNetworkReply::ProtocolFailure, QStringLiteral("The store's answer is too large."));
    // Without a length the answer runs until the store closes the connection.
    waitUntil(
        [&] {
            return (length >= 0 && data.size() >= length) || data.size() > TULOUploadMaximumAnswer
                || (closed() && m_socket->bytesAvailable() == 0);
        },
        readMore);
    if (length >= 0 && data.size() < length)
        return fail(QNetworkReply::ProtocolFailure, QStringLiteral("The store's answer was cut short."));
    m_outcome.body = length >= 0 ? data.left(length) : data;
    return true;
}

Outcome Sender::send(const std::function<void(qint64, qint64)> &progress)
{
    const QUrl url = m_request.url();
    const bool secure = url.scheme() == QLatin1String("https");
    if (!secure && url.scheme() != QLatin1String("http")) {
        fail(QNetworkReply::ProtocolUnknownError, QStringLiteral("Posts are sent over HTTP."));
        return m_outcome;
    }
    const QByteArray boundary
        = "----quillon" + QByteArray::number(QRandomGenerator::global()->generate64(), 16);
    QList<QByteArray> heads;
    qint64 total = 0;
    for (const TULOPostUpload::Part &part : std::as_const(m_parts)) {
        heads.append("--" + boundary + "\r\n" + part.headers + "\r\n\r\n");
        total += heads.last().size() + part.size + 2;
    }
    const QByteArray tail = "--" + boundary + "--\r\n";
    total += tail.size();

    const quint16 port = quint16(url.port(secure ? 443 : 80));
    QByteArray head = "POST " + url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::RemoveFragment);
    if (url.path().isEmpty())
        head += '/';
    head += " HTTP/1.1\r\nHost: " + url.host(QUrl::FullyEncoded).toLatin1();
    if (url.port() != -1)
        head += ':' + QByteArray::number(port);
    head += "\r\n";
    for (const QByteArray &name : m_request.rawHeaderList()) {
        const QByteArray lower = name.toLower();
        if (lower == "host" || lower == "content-length" || lower == "content-type" || lower == "connection"
            || lower == "transfer-encoding" || lower == "expect")
            continue;
        head += name + ": " + m_request.rawHeader(name) + "\r\n";
    }
    head += "Content-Type: multipart/form-data; boundary=\"" + boundary + "\"\r\nContent-Length: "
        + QByteArray::number(total) + "\r\nConnection: close\r\n\r\n";

    if (secure) {
        auto *ssl = new QSslSocket;
        m_socket.reset(ssl);
        ssl->setSslConfiguration(m_request.sslConfiguration());
        ssl->connectToHostEncrypted(url.host(), port);
    } else {
        m_socket = std::make_unique<QTcpSocket>();
        m_socket->connectToHost(url.host(), port);
    }
    // One wait: a timed-out connection attempt is abandoned, so it cannot be sliced.
    const bool connected = secure ? static_cast<QSslSocket *>(m_socket.get())->waitForEncrypted(m_timeout)
                                  : m_socket->waitForConnected(m_timeout);
    if (!connected) {
        if (m_cancelled)
            fail(QNetworkReply::OperationCanceledError, QStringLiteral("The upload was cancelled."));
        socketFailed();
        return m_outcome;
    }

    // Whole blocks: the head and small parts share the first with the start of the file.
    QByteArray block = head;
    block.reserve(TULOUploadBlockSize + head.size());
    qint64 sent = 0;
    qint64 reported = 0;
    qint64 headLeft = head.size();
    const auto flush = [&]() -> bool {
        if (block.isEmpty())
            return true;
        if (!writeBlock(block))
            return false;
        sent += block.size() - headLeft;
        headLeft = 0;
        block.resize(0);
        // Reported per block: finer steps cost more than they tell.
        const qint64 onTheWay = qMax<qint64>(0, sent - m_socket->bytesToWrite());
        if (onTheWay - reported >= TULOUploadBlockSize) {
            reported = onTheWay;
            progress(onTheWay, total);
        }
        return true;
    };
    bool written = true;
    for (int i = 0; written && i < m_parts.size(); ++i) {
        const TULOPostUpload::Part &part = m_parts.at(i);
        block += heads.at(i);
        if (!part.file) {
            block += part.body;
        } else {
            for (qint64 left = part.size; written && left > 0;) {
                const qint64 room = TULOUploadBlockSize - block.size();
                if (room <= 0) {
                    written = flush();
                    continue;
                }
                const qsizetype at = block.size();
                block.resize(at + qsizetype(qMin(room, left)));
                const qint64 read = part.file->read(block.data() + at, block.size() - at);
                if (read <= 0) {
                    fail(QNetworkReply::UnknownContentError,
                        QStringLiteral("The file \"%1\" changed while it was sent.").arg(part.file->fileName()));
                    written = false;
                    break;
                }
                block.resize(at + qsizetype(read));
                left -= read;
            }
        }
        block += "\r\n";
        if (written && block.size() >= TULOUploadBlockSize)
            written = flush();
    }
    if (written) {
        block += tail;
        written = flush()
            && waitUntil([this] { return m_socket->bytesToWrite() == 0; },
                [this](int ms) { return m_socket->waitForBytesWritten(ms); });
    }
    if (written)
        progress(total, total);
    // A store that refuses early may have answered before it closed; its answer counts.
    const QNetworkReply::NetworkError writeError = m_outcome.error;
    if (written || m_socket->bytesAvailable() > 0) {
        m_outcome.error = QNetworkReply::NoError;
        if (!readAnswer() && !written && writeError != QNetworkReply::NoError && m_outcome.status == 0)
            m_outcome.error = writeError;
    }
    m_socket->abort();
    return m_outcome;
}

} // namespace

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
    m_cancelled = true;
    if (m_thread) {
        m_thread->wait();
        delete m_thread;
    }
}

void TULOPostUpload::start()
{
    m_thread = QThread::create([this] { run(); });
    m_thread->setObjectName(QStringLiteral("Quillon post upload"));
    m_thread->start();
}

void TULOPostUpload::run()
{
    // Results hop to the main thread; the destructor waits for this thread, so `this` outlives it,
    // and events still queued for a deleted upload are dropped with it.
    Sender sender(m_request, m_parts, m_timeout, m_cancelled);
    const Outcome outcome = sender.send([this](qint64 sent, qint64 total) {
        QMetaObject::invokeMethod(
            this, [this, sent, total] { Q_EMIT uploadProgress(sent, total); }, Qt::QueuedConnection);
    });
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
}

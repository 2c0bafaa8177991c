#pragma once

#include <QByteArray>
#include <QList>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QObject>
#include <QString>
#include <memory>

class QFile;
class QThread;

// The outcome of one exchange as TULOPostUpload reports it.
struct TULOPostUploadOutcome
{
    int status = 0;
    QByteArray body;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QString errorString;
};

// Reads an HTTP/1.1 answer from the bytes received so far. Interim answers (1xx) are skipped;
// the body is delimited by Content-Length, chunked coding, or the end of the connection.
class TULOHttpAnswerReader
{
public:
    enum class State { NeedMore, Complete, Failed };
    // `closed`: nothing more will arrive.
    State read(const QByteArray &received, bool closed, TULOPostUploadOutcome *outcome) const;
};

// One multipart/form-data POST, written to its socket from a thread of its own in large blocks.
// Going through the network access manager moved the body in 16 KiB pieces with two thread
// hops each, which cost several times the CPU of the bytes themselves. Files stream from disk:
// a few MiB are in memory whatever their size. HTTP/1.1 (TLS for https) through the proxy the
// network access manager would use, one connection per upload, closed afterwards. Lives on
// the main thread; deleting it cancels the upload at once.
class TULOPostUpload : public QObject
{
    Q_OBJECT

public:
    struct Part
    {
        QByteArray headers; // Content-Disposition and Content-Type lines, without the blank line
        QByteArray body; // used when file is null
        std::shared_ptr<QFile> file; // open, read from its start
        qint64 size = 0;
    };

    TULOPostUpload(const QNetworkRequest &request, QList<Part> parts, int inactivityTimeout,
        QObject *parent = nullptr);
    ~TULOPostUpload() override;

    void start();

    QUrl url() const { return m_request.url(); }
    // After finished(): the HTTP status (0 when no answer came), its body and the transport error.
    int status() const { return m_status; }
    QByteArray body() const { return m_body; }
    QNetworkReply::NetworkError error() const { return m_error; }
    QString errorString() const { return m_errorString; }

Q_SIGNALS:
    void uploadProgress(qint64 bytesSent, qint64 bytesTotal);
    void finished();

private:
    QNetworkRequest m_request;
    QList<Part> m_parts;
    int m_timeout;
    QThread *m_thread = nullptr;
    int m_status = 0;
    QByteArray m_body;
    QNetworkReply::NetworkError m_error = QNetworkReply::NoError;
    QString m_errorString;
};

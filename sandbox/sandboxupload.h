#pragma once

#include <QByteArray>
#include <QFile>
#include <QMap>
#include <QString>

#include <memory>

namespace httplib {
class ContentReader;
} // namespace httplib

// A failure found while a post's body streams in; answered once the body has been read, so
// the client hears it. The first failure found is the one answered.
struct TULOSandboxUploadFailure
{
    int status = 0;
    const char *code = nullptr;
    QString message;

    void set(int s, const char *c, const QString &m)
    {
        if (!status) {
            status = s;
            code = c;
            message = m;
        }
    }
};

// A file part as it arrived.
struct TULOSandboxReceivedPart
{
    QString fileName;
    QString contentType;
    QString storedName; // its file in the staging folder
    qint64 size = 0;
};

// The media type without its parameters, in lower case.
QString TULOSandboxMimeWithoutParameters(const QString &type);

// Streams one multipart post body into a staging folder: the description part into memory
// (1 MiB at most), each file part (file0, file1, ...) into a file of its own, written in
// large blocks. It keeps reading after a failure so the client can be answered.
class TULOSandboxUploadReceiver
{
public:
    TULOSandboxUploadReceiver(const QString &stagingFolder, qint64 maximumFileSize);

    // False when the sender went away before the body was complete.
    bool receive(const httplib::ContentReader &reader);

    const TULOSandboxUploadFailure &failure() const { return m_failure; }
    QByteArray description() const { return m_description; }
    const QMap<QString, TULOSandboxReceivedPart> &parts() const { return m_parts; }

private:
    void beginPart(const QString &name, const QString &fileName, const QString &contentType);
    void appendData(const char *data, size_t length);
    void flushPending();

    QString m_staging;
    qint64 m_maximumFileSize;
    TULOSandboxUploadFailure m_failure;
    QByteArray m_description;
    bool m_inDescription = false;
    QMap<QString, TULOSandboxReceivedPart> m_parts;
    QString m_currentPart;
    std::unique_ptr<QFile> m_file;
    // The reader hands over a few KiB at a time; the disk gets them in large blocks.
    QByteArray m_pending;
};

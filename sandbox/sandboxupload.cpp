#include "sandboxupload.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <httplib.h>

namespace {
constexpr qsizetype TULOSandboxMaximumDescription = 1 << 20;
constexpr qsizetype TULOSandboxWriteBlock = 1 << 20;
} // namespace

QString TULOSandboxMimeWithoutParameters(const QString &type)
{
    return type.section(QLatin1Char(';'), 0, 0).trimmed().toLower();
}

TULOSandboxUploadReceiver::TULOSandboxUploadReceiver(const QString &stagingFolder, qint64 maximumFileSize)
    : m_staging(stagingFolder)
    , m_maximumFileSize(maximumFileSize)
{
}

bool TULOSandboxUploadReceiver::receive(const httplib::ContentReader &reader)
{
    const bool complete = reader(
        [this](const httplib::MultipartFormData &header) {
            beginPart(QString::fromStdString(header.name), QString::fromStdString(header.filename),
                      QString::fromStdString(header.content_type));
            return true;
        },
        [this](const char *data, size_t length) {
            appendData(data, length);
            return true;
        });
    flushPending();
    m_file.reset();
    return complete;
}

void TULOSandboxUploadReceiver::beginPart(const QString &name, const QString &fileName, const QString &contentType)
{
    flushPending();
    m_file.reset();
    m_inDescription = false;
    m_currentPart.clear();
    if (name == QLatin1String("description")) {
        m_inDescription = true;
        return;
    }
    static const QRegularExpression partPattern(QStringLiteral("^file[0-9]{1,4}$"));
    if (!partPattern.match(name).hasMatch() || m_parts.contains(name)) {
        m_failure.set(400, "malformedRequest", QStringLiteral("Unexpected or repeated part \"%1\".").arg(name));
        return;
    }
    TULOSandboxReceivedPart part;
    part.fileName = fileName;
    part.contentType = TULOSandboxMimeWithoutParameters(contentType);
    if (!part.contentType.startsWith(QLatin1String("image/")) && !part.contentType.startsWith(QLatin1String("audio/"))
        && !part.contentType.startsWith(QLatin1String("video/"))) {
        m_failure.set(415, "unsupportedType",
                      QStringLiteral("Part \"%1\" is %2, not an image, audio or video.").arg(name, part.contentType));
        return;
    }
    const QString suffix = QFileInfo(part.fileName).suffix().toLower();
    static const QRegularExpression suffixPattern(QStringLiteral("^[a-z0-9]{1,8}$"));
    part.storedName = name + (suffixPattern.match(suffix).hasMatch() ? QLatin1Char('.') + suffix : QString());
    m_file = std::make_unique<QFile>(m_staging + QLatin1Char('/') + part.storedName);
    if (!m_file->open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        m_failure.set(500, "storeFailure", m_file->errorString());
        m_file.reset();
        return;
    }
    m_parts.insert(name, part);
    m_currentPart = name;
}

void TULOSandboxUploadReceiver::appendData(const char *data, size_t length)
{
    if (m_inDescription) {
        if (m_description.size() + qsizetype(length) > TULOSandboxMaximumDescription)
            m_failure.set(413, "tooLarge", QStringLiteral("The description is larger than 1 MiB."));
        else
            m_description.append(data, qsizetype(length));
        return;
    }
    if (!m_file || m_failure.status)
        return; // keep reading so the client hears the answer
    TULOSandboxReceivedPart &part = m_parts[m_currentPart];
    part.size += qint64(length);
    if (part.size > m_maximumFileSize) {
        m_failure.set(413, "tooLarge", QStringLiteral("Part \"%1\" is larger than the store accepts.").arg(m_currentPart));
        m_file.reset();
        return;
    }
    if (m_pending.isEmpty())
        m_pending.reserve(TULOSandboxWriteBlock);
    m_pending.append(data, qsizetype(length));
    if (m_pending.size() >= TULOSandboxWriteBlock)
        flushPending();
}

void TULOSandboxUploadReceiver::flushPending()
{
    if (m_file && !m_pending.isEmpty() && m_file->write(m_pending) != m_pending.size()) {
        m_failure.set(507, "storeFailure", m_file->errorString());
        m_file.reset();
    }
    m_pending.resize(0);
}

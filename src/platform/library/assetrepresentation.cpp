#include <Quillon/platform/library/assetrepresentation.h>

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

namespace {

TULOError readError(const QFile &file)
{
    const bool missing = !QFileInfo::exists(file.fileName());
    // The file-error codes of the platform: 260 no such file, 257 no permission, 256 other.
    const qint64 code = missing ? 260 : (file.error() == QFileDevice::PermissionsError ? 257 : 256);
    QVariantMap info;
    info.insert(QString::fromLatin1(TULOFilePathErrorKey), file.fileName());
    info.insert(QString::fromLatin1(TULOLocalizedDescriptionKey),
        missing ? QCoreApplication::translate("TULOAssetRepresentation",
            "The photo “%1” is no longer in the "
            "pictures folder.")
                      .arg(QFileInfo(file.fileName()).fileName())
                : QCoreApplication::translate("TULOAssetRepresentation", "The photo “%1” cannot be read: %2")
                      .arg(QFileInfo(file.fileName()).fileName(), file.errorString()));
    return TULOError(TULOFileErrorDomain, code, info);
}

} // namespace

TULOAssetRepresentation::TULOAssetRepresentation(
    const QString &filePath, const QUrl &url, const QString &UTI, qint64 size)
    : m_filePath(filePath)
    , m_url(url)
    , m_UTI(UTI)
    , m_size(size)
{
}

QString TULOAssetRepresentation::filename() const
{
    return QFileInfo(m_filePath).fileName();
}

qint64 TULOAssetRepresentation::getBytes(char *buffer, qint64 offset, qint64 length, TULOError *error) const
{
    QFile file(m_filePath);
    if (m_filePath.isEmpty() || !file.open(QIODevice::ReadOnly)) {
        TULOSetError(error, readError(file));
        return 0;
    }
    if (offset < 0 || length <= 0 || offset >= file.size())
        return 0;
    if (!file.seek(offset)) {
        TULOSetError(error, readError(file));
        return 0;
    }
    const qint64 read = file.read(buffer, length);
    if (read < 0) {
        TULOSetError(error, readError(file));
        return 0;
    }
    return read;
}

QByteArray TULOAssetRepresentation::data(TULOError *error) const
{
    QFile file(m_filePath);
    if (m_filePath.isEmpty() || !file.open(QIODevice::ReadOnly)) {
        TULOSetError(error, readError(file));
        return QByteArray();
    }
    QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        TULOSetError(error, readError(file));
        return QByteArray();
    }
    return bytes.isNull() ? QByteArray("") : bytes;
}

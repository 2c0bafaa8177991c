#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>

#include <QByteArray>
#include <QString>
#include <QUrl>

// One stored form of a photo-library asset: for this library, the file itself. A value; the
// bytes are read from the file on demand, so a representation of a file that vanishes later
// fails its reads with a file error instead of serving stale data.
class QUILLON_EXPORT TULOAssetRepresentation
{
public:
    TULOAssetRepresentation() = default;
    TULOAssetRepresentation(const QString &filePath, const QUrl &url, const QString &UTI, qint64 size);

    bool isNull() const { return m_filePath.isEmpty(); }

    QString filename() const;
    QString filePath() const { return m_filePath; }
    // The asset URL of the asset this represents.
    QUrl url() const { return m_url; }
    // The type identifier of the bytes, taken from their content (not only the file name).
    QString UTI() const { return m_UTI; }
    // Size in bytes when the asset was looked up.
    qint64 size() const { return m_size; }

    // Copies up to `length` bytes from `offset` into `buffer`; returns how many were copied.
    // Returns 0 and sets `error` when the file cannot be read. Reading at or past the end
    // copies nothing and is not an error.
    qint64 getBytes(char *buffer, qint64 offset, qint64 length, TULOError *error = nullptr) const;

    // The whole file; a null array with `error` when it cannot be read.
    QByteArray data(TULOError *error = nullptr) const;

private:
    QString m_filePath;
    QUrl m_url;
    QString m_UTI;
    qint64 m_size = 0;
};

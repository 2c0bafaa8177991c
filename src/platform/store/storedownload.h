#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>
#include <Quillon/platform/library/medialibraryitem.h>

#include <QVariantMap>
#include <memory>

enum class TULOStoreDownloadState {
    Waiting, // added, not yet under way
    Downloading,
    Finished, // the file is in the media library
    Failed,
    Cancelled,
};

// One download of a store library item into the media library. Compared by identity; the
// download manager changes its state on the main thread.
class QUILLON_EXPORT TULOStoreDownload
{
public:
    explicit TULOStoreDownload(
        const TULOMediaLibraryItemPtr &mediaItem, int downloadType = 1, const QVariantMap &attributes = {})
        : m_mediaItem(mediaItem)
        , m_downloadType(downloadType)
        , m_attributes(attributes)
    {
    }

    TULOMediaLibraryItemPtr mediaItem() const { return m_mediaItem; }
    int downloadType() const { return m_downloadType; }
    QVariantMap attributes() const { return m_attributes; }

    TULOStoreDownloadState state() const { return m_state; }
    bool isFinished() const { return m_state == TULOStoreDownloadState::Finished; }
    // Ended one way or another: finished, failed or cancelled.
    bool hasEnded() const { return m_state >= TULOStoreDownloadState::Finished; }
    // 0 to 1; 0 while the size is not known yet.
    double progress() const
    {
        return m_bytesExpected > 0 ? double(m_bytesReceived) / double(m_bytesExpected) : 0.0;
    }
    qint64 bytesReceived() const { return m_bytesReceived; }
    qint64 bytesExpected() const { return m_bytesExpected; }
    TULOError error() const { return m_error; }
    // Where the file landed; null until finished.
    QString filePath() const { return m_filePath; }

private:
    friend class TULOStoreDownloadManager;

    TULOMediaLibraryItemPtr m_mediaItem;
    int m_downloadType = 1;
    QVariantMap m_attributes;
    TULOStoreDownloadState m_state = TULOStoreDownloadState::Waiting;
    qint64 m_bytesReceived = 0;
    qint64 m_bytesExpected = -1;
    TULOError m_error;
    QString m_filePath;
};

using TULOStoreDownloadPtr = std::shared_ptr<TULOStoreDownload>;

#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/core/attachment.h>
#include <Quillon/platform/operation.h>
#include <Quillon/platform/store/storedownloadmanager.h>

#include <QPointer>

#include <atomic>
#include <mutex>

// Downloads the media item of an attachment that is only in the user's store library, so that
// post preparation finds a local file. Asynchronous: it stays executing until the download
// manager reports the download ended. It reports no error of its own; a failed download leaves
// the item without a file, which the preparation then reports.
class QUILLON_EXPORT TULOAttachmentDownloadOperation : public TULOOperation, public TULOStoreDownloadManagerObserver
{
public:
    // Keeps a copy of the attachment (the copy shares the media item, which receives the file).
    explicit TULOAttachmentDownloadOperation(const TULOAttachmentPtr &attachment);
    ~TULOAttachmentDownloadOperation() override;

    TULOAttachmentPtr attachment() const { return m_attachment; }
    // The download in flight; null before and after.
    TULOStoreDownloadPtr download() const;
    // The last progress the manager reported, 0 to 1.
    double downloadProgress() const { return m_downloadProgress.load(); }

    // The manager to use; the shared one unless set (before the operation starts).
    void setDownloadManager(TULOStoreDownloadManager *manager) { m_manager = manager; }

    bool isAsynchronous() const override { return true; }

    void downloadManagerDownloadDidFinish(TULOStoreDownloadManager *manager, const TULOStoreDownloadPtr &download) override;
    void downloadManagerDownloadDidProgress(TULOStoreDownloadManager *manager, const TULOStoreDownloadPtr &download) override;

protected:
    void main() override;

private:
    void finishDownload();

    TULOAttachmentPtr m_attachment;
    QPointer<TULOStoreDownloadManager> m_manager;
    mutable std::mutex m_mutex;
    TULOStoreDownloadPtr m_download;
    std::atomic<double> m_downloadProgress {0.0};
    // Keeps the operation alive while the manager may still call it.
    std::shared_ptr<TULOOperation> m_self;
};

#include <Quillon/core/attachmentdownloadoperation.h>

#include <Quillon/platform/dispatch.h>

TULOAttachmentDownloadOperation::TULOAttachmentDownloadOperation(const TULOAttachmentPtr &attachment)
    : m_attachment(attachment ? attachment->copy() : nullptr)
{
    setName(QStringLiteral("com.vantor.Quillon.attachmentDownload"));
}

TULOAttachmentDownloadOperation::~TULOAttachmentDownloadOperation() = default;

TULOStoreDownloadPtr TULOAttachmentDownloadOperation::download() const
{
    std::lock_guard lock(m_mutex);
    return m_download;
}

void TULOAttachmentDownloadOperation::main()
{
    if (!m_attachment || !m_attachment->isDownloadable() || isCancelled()) {
        finish();
        return;
    }
    auto download = std::make_shared<TULOStoreDownload>(m_attachment->mediaItem(), 1, QVariantMap());
    {
        std::lock_guard lock(m_mutex);
        m_download = download;
    }
    m_self = shared_from_this();
    // The manager lives on the main thread and calls its observers there.
    TULODispatchMain([this, download] {
        TULOStoreDownloadManager *manager = m_manager ? m_manager.data() : TULOStoreDownloadManager::sharedManager();
        m_manager = manager;
        manager->addObserver(this, download);
        manager->addDownloads({download});
    });
}

void TULOAttachmentDownloadOperation::downloadManagerDownloadDidProgress(TULOStoreDownloadManager *,
                                                                         const TULOStoreDownloadPtr &download)
{
    m_downloadProgress.store(download->progress());
}

void TULOAttachmentDownloadOperation::downloadManagerDownloadDidFinish(TULOStoreDownloadManager *,
                                                                       const TULOStoreDownloadPtr &)
{
    finishDownload();
}

void TULOAttachmentDownloadOperation::finishDownload()
{
    TULOStoreDownloadPtr download;
    {
        std::lock_guard lock(m_mutex);
        download.swap(m_download);
    }
    if (download && m_manager) {
        m_manager->removeObserver(this, download);
        // Reported ended without its file: make sure nothing keeps writing.
        if (!download->isFinished())
            m_manager->cancelDownloads({download});
    }
    // Released last: finishing may drop the queue's reference too.
    std::shared_ptr<TULOOperation> self = std::move(m_self);
    finish();
}

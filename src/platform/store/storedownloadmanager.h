#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/store/storedownload.h>

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <functional>

class QNetworkAccessManager;
class QNetworkReply;
class QFile;
class TULOMediaLibrary;
class TULOStoreDownloadManager;

// Told about the downloads it observes; every method may be left alone.
class QUILLON_EXPORT TULOStoreDownloadManagerObserver
{
public:
    virtual ~TULOStoreDownloadManagerObserver() = default;
    virtual void downloadManagerDownloadDidProgress(TULOStoreDownloadManager *, const TULOStoreDownloadPtr &)
    {
    }
    // Sent once when the download ends: finished, failed or cancelled (see its state).
    virtual void downloadManagerDownloadDidFinish(TULOStoreDownloadManager *, const TULOStoreDownloadPtr &) {
    }
};

// Downloads store library items (songs, music videos) into the media library: the file is
// streamed to disk under the music folder and handed to the library, so the item has a local
// file afterwards. Main thread.
class QUILLON_EXPORT TULOStoreDownloadManager : public QObject
{
    Q_OBJECT

public:
    explicit TULOStoreDownloadManager(QObject *parent = nullptr);
    ~TULOStoreDownloadManager() override;

    static TULOStoreDownloadManager *sharedManager();

    // The store to download from; by default the application's client context and the active
    // store account's session.
    void setClientContext(const TULOClientContext &context) { m_context = context; }

    // Starts the downloads; one already added, or without a store identifier, is not added
    // again (the latter ends at once as failed).
    void addDownloads(const QList<TULOStoreDownloadPtr> &downloads);
    // Stops them; each ends as cancelled, its partial file removed.
    void cancelDownloads(const QList<TULOStoreDownloadPtr> &downloads);
    QList<TULOStoreDownloadPtr> downloads() const;

    // An observer of one download; it must be removed before it is destroyed.
    void addObserver(TULOStoreDownloadManagerObserver *observer, const TULOStoreDownloadPtr &download);
    void removeObserver(TULOStoreDownloadManagerObserver *observer, const TULOStoreDownloadPtr &download);

    // Adds the items of the signed-in account's store library that this computer lacks to
    // `library` as store-only (downloadable) items. Completion on the main thread with the
    // number added.
    using CloudLibraryCompletion = std::function<void(int added, const TULOError &error)>;
    void loadCloudLibrary(TULOMediaLibrary *library, CloudLibraryCompletion completion);

Q_SIGNALS:
    void downloadDidProgress(const TULOStoreDownloadPtr &download);
    void downloadDidFinish(const TULOStoreDownloadPtr &download);

private:
    struct Transfer
    {
        TULOStoreDownloadPtr download;
        QPointer<QNetworkReply> reply;
        QFile *file = nullptr;
    };

    void begin(const TULOStoreDownloadPtr &download, const QUrl &downloadsURL);
    void end(const TULOStoreDownloadPtr &download, TULOStoreDownloadState state, const TULOError &error);
    void finishTransfer(const TULOStoreDownloadPtr &download);
    void notifyProgress(const TULOStoreDownloadPtr &download);
    TULOClientContext context() const;
    QString token() const;

    TULOClientContext m_context;
    QNetworkAccessManager *m_network;
    QHash<TULOStoreDownload *, Transfer> m_active;
    QHash<TULOStoreDownload *, QList<TULOStoreDownloadManagerObserver *>> m_observers;
};

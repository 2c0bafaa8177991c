#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/quillon_export.h>

#include <QList>
#include <QObject>
#include <QPointer>
#include <QStringList>

#include <functional>
#include <memory>

class QMimeData;
class QWidget;
class TULOPhotoLibrary;

// Turns files dropped on a widget, and an image or files pasted into it, into attachments,
// with the checks of the pickers: photos, videos and audio only, and no more than the post
// may carry. Install it on the compose area; it leaves text drops and pastes alone.
class QUILLON_EXPORT TULOAttachmentDropHandler : public QObject
{
    Q_OBJECT

public:
    struct Result {
        QList<TULOAttachmentPtr> attachments;
        // One sentence per file that was not taken, and one for what exceeded the limit.
        QStringList messages;
    };

    // `maximumNumberOfAttachments` of 0 or less means no limit.
    explicit TULOAttachmentDropHandler(qint64 maximumNumberOfAttachments,
        const TULOClientContext &clientContext = TULOClientContext(), QObject *parent = nullptr);
    ~TULOAttachmentDropHandler() override;

    // How many attachments the post has now; they count against the limit. None by default.
    void setAttachmentCountProvider(std::function<qint64()> provider) { m_countProvider = std::move(provider); }
    // Where library files are recognised as photo-library assets and media-library songs;
    // by default the photo library module's and the default media library. Not owned.
    void setPhotoLibrary(TULOPhotoLibrary *library);
    void setMediaLibrary(TULOMediaLibrary *library) { m_mediaLibrary = library; }

    // True when the data holds local files or an image, which this handler takes.
    bool canHandleMimeData(const QMimeData *data) const;
    Result attachmentsFromMimeData(const QMimeData *data) const;
    // The same checks for files chosen in a file dialog.
    Result attachmentsFromFiles(const QStringList &filePaths) const;

    // Accepts drops on `widget` (and its viewport) and Paste with an image or files in the
    // clipboard; what they bring arrives through the signals.
    void installOnWidget(QWidget *widget);

Q_SIGNALS:
    void attachmentsReceived(const QList<TULOAttachmentPtr> &attachments);
    // Files that were not taken, in sentences that name them; shown to the user.
    void attachmentsRejected(const QStringList &messages);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    TULOAttachmentPtr attachmentForFile(const QString &path, QString *message) const;
    Result limited(QList<TULOAttachmentPtr> accepted, QStringList messages) const;
    QString localizedString(const char *key) const;
    void deliver(const QMimeData *data);

    qint64 m_maximumNumberOfAttachments;
    TULOClientContext m_clientContext;
    std::function<qint64()> m_countProvider;
    std::shared_ptr<TULOPhotoLibrary> m_photoLibrary;
    bool m_photoLibraryLookedUp = false;
    QPointer<TULOMediaLibrary> m_mediaLibrary;
};

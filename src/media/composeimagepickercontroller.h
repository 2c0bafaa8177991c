#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/image/thumbnailcache.h>
#include <Quillon/platform/ui/viewcontroller.h>
#include <Quillon/platform/weakdelegate.h>
#include <Quillon/quillon_export.h>

#include <QList>
#include <QStringList>

#include <memory>

class QComboBox;
class QLabel;
class QListView;
class QPushButton;
class QSortFilterProxyModel;
class TULOAttachmentDropHandler;
class TULOCameraCapture;
class TULOComposeImagePickerController;
class TULOPhotoAssetModel;
class TULOPhotoLibrary;

enum TULOImagePickerControllerSourceType {
    TULOImagePickerControllerSourceTypePhotoLibrary = 0,
    TULOImagePickerControllerSourceTypeCamera = 1,
};

class TULOComposeImagePickerDelegate
{
public:
    virtual ~TULOComposeImagePickerDelegate() = default;
    // Photos and videos (attachment types 2 and 4), in the order chosen.
    virtual void TULOComposeImagePickerDidFinishWithAttachments(TULOComposeImagePickerController *picker,
        const QList<TULOAttachmentPtr> &attachments)
    {
        Q_UNUSED(picker)
        Q_UNUSED(attachments)
    }
    virtual void TULOComposeImagePickerDidCancel(TULOComposeImagePickerController *picker) { Q_UNUSED(picker) }
    // The screen the picker presents its own dialogs from (the file dialog).
    virtual TULOViewController *parentViewControllerForTULOComposeImagePicker(TULOComposeImagePickerController *picker)
    {
        Q_UNUSED(picker)
        return nullptr;
    }
    // Files that were not taken, in sentences that name them.
    virtual void TULOComposeImagePickerDidRejectFiles(TULOComposeImagePickerController *picker, const QStringList &messages)
    {
        Q_UNUSED(picker)
        Q_UNUSED(messages)
    }
};

// Chooses photos and videos: from a grid over the photo library with its folders as albums
// (and "Choose Files…" for anything elsewhere), or from the camera.
class QUILLON_EXPORT TULOComposeImagePickerController : public TULOViewController
{
    Q_OBJECT

public:
    explicit TULOComposeImagePickerController(int sourceType, QObject *parent = nullptr);
    // An injected library must outlive the picker; null means the photo library module's.
    TULOComposeImagePickerController(int sourceType, TULOPhotoLibrary *library, const TULOThumbnailCache &cache,
        QObject *parent = nullptr);
    ~TULOComposeImagePickerController() override;

    // The photo library needs its module and the camera a camera.
    static bool isSourceTypeAvailable(int sourceType);
    int sourceType() const { return m_sourceType; }

    TULOComposeImagePickerDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(TULOComposeImagePickerDelegate *delegate) { m_delegate.set(delegate); }

    // 0 or less: no limit. Selection stops at the limit.
    qint64 maximumNumberOfAttachments() const { return m_maximumNumberOfAttachments; }
    void setMaximumNumberOfAttachments(qint64 maximum) { m_maximumNumberOfAttachments = maximum; }
    void setClientContext(const TULOClientContext &context) { m_clientContext = context; }

    // Photo library: the assets are read on a worker thread; assetsDidLoad follows.
    void reloadAssets();
    bool hasLoadedAssets() const { return m_loaded; }
    TULOError libraryError() const { return m_libraryError; }
    // The library's folders that hold assets ("" is its top folder).
    QStringList albums() const;
    // Shows only the assets of `album`; a null string shows them all.
    void setAlbum(const QString &album);
    int visibleAssetCount() const;

    void setVisibleRowSelected(int row, bool selected);
    QList<TULOAttachmentPtr> selectedAttachments() const;

    // Ends the picker with the selection, or with the files (checked as drops are).
    void finish();
    void finishWithFiles(const QStringList &filePaths);
    void cancel();
    // Opens the platform's file dialog.
    void chooseFiles();

    QListView *collectionView();
    TULOPhotoAssetModel *model() const { return m_model; }
    TULOCameraCapture *camera() const { return m_camera; }

    QSize preferredContentSize() const override;
    bool performCancelAction() override;
    bool performDefaultAction() override;

Q_SIGNALS:
    void assetsDidLoad();

protected:
    void loadView() override;
    void viewDidAppear(bool animated) override;
    void viewDidDisappear(bool animated) override;

private:
    QWidget *makeLibraryView();
    QWidget *makeCameraView();
    void selectionChanged();
    void updateAlbums();
    QString localizedString(const char *key) const;
    void finishWithAttachments(const QList<TULOAttachmentPtr> &attachments);
    // Ends the picker once; false when it has ended already.
    bool end();
    TULOAttachmentDropHandler *fileChecker();

    int m_sourceType;
    TULOClientContext m_clientContext;
    std::shared_ptr<TULOPhotoLibrary> m_library;
    TULOPhotoAssetModel *m_model = nullptr;
    QSortFilterProxyModel *m_albumFilter = nullptr;
    TULOCameraCapture *m_camera = nullptr;
    TULOAttachmentDropHandler *m_fileChecker = nullptr;
    TULOWeakDelegate<TULOComposeImagePickerDelegate> m_delegate;
    TULOError m_libraryError;
    QList<int> m_selectionOrder; // source rows
    qint64 m_maximumNumberOfAttachments = 0;
    bool m_loaded = false;
    bool m_finished = false;

    QListView *m_listView = nullptr;
    QComboBox *m_albumBox = nullptr;
    QLabel *m_messageLabel = nullptr;
    QLabel *m_preview = nullptr;
    QPushButton *m_attachButton = nullptr;
};

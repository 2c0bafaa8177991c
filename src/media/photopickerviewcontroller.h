#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/image/thumbnailcache.h>
#include <Quillon/platform/ui/viewcontroller.h>
#include <Quillon/platform/weakdelegate.h>
#include <Quillon/quillon_export.h>

#include <QList>

#include <memory>

class QListView;
class TULOPhotoAssetModel;
class TULOPhotoLibrary;
class TULOPhotoPickerViewController;

class TULOPhotoPickerViewControllerDelegate
{
public:
    virtual ~TULOPhotoPickerViewControllerDelegate() = default;
    // The selection of the shelf changed.
    virtual void TULOPhotoPickerSelectedAttachmentsDidChange(TULOPhotoPickerViewController *picker) { Q_UNUSED(picker) }
};

// The shelf of the attachment menu: a horizontal strip of the newest photos and videos of the
// photo library, any number of which can be checked (click or Space; arrows move).
class QUILLON_EXPORT TULOPhotoPickerViewController : public TULOViewController
{
    Q_OBJECT

public:
    // The newest assets shown.
    static constexpr int defaultMaximumAssetCount = 30;
    static constexpr int cellSize = 76;

    // A null `library` means the photo library module's own; without the module the shelf
    // stays empty. An injected library must outlive the shelf.
    explicit TULOPhotoPickerViewController(TULOPhotoLibrary *library = nullptr,
        const TULOThumbnailCache &cache = TULOThumbnailCache(), QObject *parent = nullptr);
    ~TULOPhotoPickerViewController() override;

    TULOPhotoPickerViewControllerDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(TULOPhotoPickerViewControllerDelegate *delegate) { m_delegate.set(delegate); }

    // False without a photo library (its module is absent).
    bool hasLibrary() const { return bool(m_library); }

    int maximumAssetCount() const { return m_maximumAssetCount; }
    void setMaximumAssetCount(int count) { m_maximumAssetCount = count; }

    // Looks the newest assets up on a worker thread; assetsDidLoad follows.
    void reloadAssets();
    bool hasLoadedAssets() const { return m_loaded; }
    // Why the library could not be read; null when it could (or has not been read yet).
    TULOError libraryError() const { return m_libraryError; }
    int assetCount() const;

    // The checked photos and videos as attachments, in the order they were checked.
    QList<TULOAttachmentPtr> selectedAttachments() const;
    void setRowSelected(int row, bool selected);
    void clearSelection();

    QListView *collectionView();
    TULOPhotoAssetModel *model() const { return m_model; }

Q_SIGNALS:
    void assetsDidLoad();

protected:
    void loadView() override;

private:
    void selectionChanged();

    std::shared_ptr<TULOPhotoLibrary> m_library;
    TULOPhotoAssetModel *m_model = nullptr;
    QListView *m_listView = nullptr;
    QList<int> m_selectionOrder;
    TULOWeakDelegate<TULOPhotoPickerViewControllerDelegate> m_delegate;
    TULOError m_libraryError;
    int m_maximumAssetCount = defaultMaximumAssetCount;
    bool m_loaded = false;
};

// The photo library the module provides, or null when the module is absent.
std::shared_ptr<TULOPhotoLibrary> TULOModulePhotoLibrary();

#include <Quillon/media/photopickerviewcontroller.h>

#include <Quillon/core/quillon.h>
#include <Quillon/media/photoassetmodel_p.h>
#include <Quillon/platform/library/photolibrary.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/localization.h>

#include <QCoreApplication>
#include <QItemSelectionModel>
#include <QListView>
#include <QMetaObject>
#include <QPointer>
#include <QStyle>
#include <QThreadPool>

#include <algorithm>

std::shared_ptr<TULOPhotoLibrary> TULOModulePhotoLibrary()
{
    const QMetaObject *libraryClass = TULOWeakLinkedClassForString("TULOPhotoLibrary", TULOPhotoLibraryModuleHandle());
    QObject *object = libraryClass ? libraryClass->newInstance() : nullptr;
    auto *library = qobject_cast<TULOPhotoLibrary *>(object);
    if (!library) {
        delete object;
        return nullptr;
    }
    return std::shared_ptr<TULOPhotoLibrary>(library);
}

TULOPhotoPickerViewController::TULOPhotoPickerViewController(TULOPhotoLibrary *library,
    const TULOThumbnailCache &cache, QObject *parent)
    : TULOViewController(parent)
    , m_library(library ? std::shared_ptr<TULOPhotoLibrary>(library, [](TULOPhotoLibrary *) {})
                        : TULOModulePhotoLibrary())
    , m_model(new TULOPhotoAssetModel(cache, this))
{
    TULOFollowPhotoLibraryChanges(m_library.get(), this, [this] { reloadAssets(); });
}

TULOPhotoPickerViewController::~TULOPhotoPickerViewController() = default;

void TULOPhotoPickerViewController::reloadAssets()
{
    if (!m_library) {
        m_loaded = true;
        Q_EMIT assetsDidLoad();
        return;
    }
    const QString libraryPath = m_library->libraryPath();
    TULOLoadPhotoAssets(m_library, m_maximumAssetCount, this,
        [this, libraryPath](const QList<TULOPhotoAsset> &assets, const TULOError &error) {
            const TULOError libraryError = assets.isEmpty() ? error : TULOError();
            if (m_loaded && assets == m_model->assets() && libraryError == m_libraryError)
                return;
            m_libraryError = libraryError;
            // What was checked stays checked when the newest assets change under it.
            const QStringList selected = m_model->filePathsForRows(m_selectionOrder);
            m_model->setAssets(assets, libraryPath);
            m_selectionOrder.clear();
            if (m_listView) {
                for (const int row : m_model->rowsForFilePaths(selected))
                    m_listView->selectionModel()->select(m_model->index(row), QItemSelectionModel::Select);
            }
            m_loaded = true;
            if (m_listView)
                m_listView->setVisible(!assets.isEmpty());
            Q_EMIT assetsDidLoad();
        });
}

int TULOPhotoPickerViewController::assetCount() const
{
    return m_model->rowCount();
}

QListView *TULOPhotoPickerViewController::collectionView()
{
    view();
    return m_listView;
}

void TULOPhotoPickerViewController::loadView()
{
    m_listView = new QListView;
    m_listView->setAccessibleName(TULOLocalization::defaultLocalization()->localizedStringForKey(
        QStringLiteral("PHOTO_PICKER_SHELF_NAME"), QString::fromLatin1(TULOStringsTablePostComposition),
        TULOClientContext()));
    m_listView->setViewMode(QListView::IconMode);
    m_listView->setFlow(QListView::LeftToRight);
    m_listView->setWrapping(false);
    m_listView->setMovement(QListView::Static);
    m_listView->setUniformItemSizes(true);
    m_listView->setSpacing(0);
    m_listView->setSelectionMode(QAbstractItemView::MultiSelection);
    m_listView->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_listView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_listView->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    m_listView->setFrameShape(QFrame::NoFrame);
    m_listView->setItemDelegate(new TULOPhotoAssetItemDelegate(cellSize, m_listView));
    m_listView->setModel(m_model);
    new TULOPhotoAssetPrefetcher(m_listView, m_model);
    m_listView->setFixedHeight(cellSize + 4 + m_listView->style()->pixelMetric(QStyle::PM_ScrollBarExtent));
    m_listView->setVisible(m_model->rowCount() > 0);
    connect(m_listView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
        &TULOPhotoPickerViewController::selectionChanged);
    connect(m_model, &QAbstractItemModel::modelReset, this, &TULOPhotoPickerViewController::selectionChanged);
    setView(m_listView);
}

void TULOPhotoPickerViewController::setRowSelected(int row, bool selected)
{
    QListView *list = collectionView();
    list->selectionModel()->select(m_model->index(row), selected ? QItemSelectionModel::Select : QItemSelectionModel::Deselect);
}

void TULOPhotoPickerViewController::clearSelection()
{
    collectionView()->selectionModel()->clearSelection();
}

QList<TULOAttachmentPtr> TULOPhotoPickerViewController::selectedAttachments() const
{
    QList<TULOAttachmentPtr> attachments;
    for (const int row : m_selectionOrder) {
        if (TULOAttachmentPtr attachment = m_model->attachmentForRow(row))
            attachments << attachment;
    }
    return attachments;
}

void TULOPhotoPickerViewController::selectionChanged()
{
    // Kept in the order of checking, which is the order the user means to attach them.
    QList<int> rows;
    if (m_listView) {
        for (const QModelIndex &index : m_listView->selectionModel()->selectedIndexes())
            rows << index.row();
    }
    const QList<int> order = TULOSelectionOrder(m_selectionOrder, rows);
    if (order == m_selectionOrder)
        return;
    m_selectionOrder = order;
    if (TULOPhotoPickerViewControllerDelegate *delegate = m_delegate.get())
        delegate->TULOPhotoPickerSelectedAttachmentsDidChange(this);
}

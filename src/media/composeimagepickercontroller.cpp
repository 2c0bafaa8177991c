#include <Quillon/media/composeimagepickercontroller.h>

#include <Quillon/core/quillon.h>
#include <Quillon/media/attachmentdrophandler.h>
#include <Quillon/media/photoassetmodel_p.h>
#include <Quillon/media/photopickerviewcontroller.h>
#include <Quillon/platform/camera/cameracapture.h>
#include <Quillon/platform/library/photolibrary.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/typeidentifiers.h>

#include <QBuffer>
#include <QComboBox>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QCoreApplication>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QLabel>
#include <QListView>
#include <QPointer>
#include <QPushButton>
#include <QScrollBar>
#include <QStyle>
#include <QSortFilterProxyModel>
#include <QThreadPool>
#include <QVBoxLayout>

#include <algorithm>

namespace {

// The smallest a grid cell gets; cells grow to share out the width.
constexpr int gridCellSize = 104;

// A grid whose cells share out its width: as many columns as fit at the smallest cell size, all
// as wide as the width allows, so that no column is cut off at the edge. The width counts the
// vertical scroll bar as if it were shown, so its coming and going does not re-wrap the grid.
class TULOPhotoGridView : public QListView
{
public:
    TULOPhotoGridView(TULOPhotoAssetItemDelegate *delegate, int minimumCellSize)
        : m_delegate(delegate), m_minimumCellSize(minimumCellSize)
    {
        delegate->setParent(this);
        setItemDelegate(delegate);
        setVerticalScrollBar(new TULOBandedScrollBar(Qt::Vertical));
    }

    void updateCellSize()
    {
        // As the list view lays out: a row wraps once it would reach the last pixel.
        int width = viewport()->width() - 1;
        if (!verticalScrollBar()->isVisible())
            width -= style()->pixelMetric(QStyle::PM_ScrollBarExtent, nullptr, verticalScrollBar());
        const int columns = std::max(1, width / m_minimumCellSize);
        const int cell = std::max(m_minimumCellSize / 2, width / columns);
        if (cell == m_delegate->cellSize() && gridSize() == QSize(cell, cell))
            return;
        m_delegate->setCellSize(cell);
        setGridSize(QSize(cell, cell));
    }

protected:
    void resizeEvent(QResizeEvent *event) override
    {
        updateCellSize();
        QListView::resizeEvent(event);
    }

private:
    TULOPhotoAssetItemDelegate *m_delegate;
    int m_minimumCellSize;
};

// Shows the assets of one folder, or all of them.
class TULOAlbumFilterModel : public QSortFilterProxyModel
{
public:
    using QSortFilterProxyModel::QSortFilterProxyModel;

    void setAlbum(const QString &album)
    {
        m_album = album;
        invalidateFilter();
    }

protected:
    bool filterAcceptsRow(int row, const QModelIndex &parent) const override
    {
        return m_album.isNull()
            || sourceModel()->index(row, 0, parent).data(TULOPhotoAssetModel::FolderRole).toString() == m_album;
    }

private:
    QString m_album;
};

} // namespace

TULOComposeImagePickerController::TULOComposeImagePickerController(int sourceType, QObject *parent)
    : TULOComposeImagePickerController(sourceType, nullptr, TULOThumbnailCache(), parent)
{
}

TULOComposeImagePickerController::TULOComposeImagePickerController(int sourceType, TULOPhotoLibrary *library,
    const TULOThumbnailCache &cache, QObject *parent)
    : TULOViewController(parent)
    , m_sourceType(sourceType)
    , m_model(new TULOPhotoAssetModel(cache, this))
    , m_albumFilter(new TULOAlbumFilterModel(this))
{
    m_albumFilter->setSourceModel(m_model);
    setModalPresentationStyle(TULOModalPresentationStyleFormSheet);
    if (sourceType == TULOImagePickerControllerSourceTypeCamera) {
        setTitle(localizedString("CAMERA_TITLE"));
        m_camera = new TULOCameraCapture(this);
    } else {
        setTitle(localizedString("PHOTO_PICKER_TITLE"));
        m_library = library ? std::shared_ptr<TULOPhotoLibrary>(library, [](TULOPhotoLibrary *) {}) : TULOModulePhotoLibrary();
        TULOFollowPhotoLibraryChanges(m_library.get(), this, [this] { reloadAssets(); });
    }
}

TULOComposeImagePickerController::~TULOComposeImagePickerController()
{
    if (m_camera)
        m_camera->stop();
}

bool TULOComposeImagePickerController::isSourceTypeAvailable(int sourceType)
{
    if (sourceType == TULOImagePickerControllerSourceTypeCamera)
        return TULOCameraCapture::isAvailable();
    return sourceType == TULOImagePickerControllerSourceTypePhotoLibrary
        && TULOWeakLinkedClassForString("TULOPhotoLibrary", TULOPhotoLibraryModuleHandle()) != nullptr;
}

QString TULOComposeImagePickerController::localizedString(const char *key) const
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(
        QString::fromLatin1(key), QString::fromLatin1(TULOStringsTablePostComposition), m_clientContext);
}

QSize TULOComposeImagePickerController::preferredContentSize() const
{
    return m_sourceType == TULOImagePickerControllerSourceTypeCamera ? QSize(560, 460) : QSize(600, 520);
}

void TULOComposeImagePickerController::reloadAssets()
{
    if (!m_library) {
        m_loaded = true;
        Q_EMIT assetsDidLoad();
        return;
    }
    const QString libraryPath = m_library->libraryPath();
    TULOLoadPhotoAssets(m_library, -1, this, [this, libraryPath](const QList<TULOPhotoAsset> &assets, const TULOError &error) {
        if (m_loaded && assets == m_model->assets() && error == m_libraryError)
            return;
        m_libraryError = error;
        // What was checked stays checked, in its order, when the library changes under it.
        const QStringList selected = m_model->filePathsForRows(m_selectionOrder);
        m_selectionOrder.clear();
        m_model->setAssets(assets, libraryPath);
        if (m_listView) {
            for (const int row : m_model->rowsForFilePaths(selected))
                m_listView->selectionModel()->select(m_albumFilter->mapFromSource(m_model->index(row)), QItemSelectionModel::Select);
        }
        m_loaded = true;
        updateAlbums();
        Q_EMIT assetsDidLoad();
    });
}

QStringList TULOComposeImagePickerController::albums() const
{
    return m_model->folders();
}

void TULOComposeImagePickerController::setAlbum(const QString &album)
{
    static_cast<TULOAlbumFilterModel *>(m_albumFilter)->setAlbum(album);
}

int TULOComposeImagePickerController::visibleAssetCount() const
{
    return m_albumFilter->rowCount();
}

void TULOComposeImagePickerController::updateAlbums()
{
    if (m_messageLabel) {
        QString message;
        if (m_libraryError)
            message = TULOStringWithFormat(localizedString("PHOTO_PICKER_LIBRARY_UNAVAILABLE_%@"),
                {m_library ? m_library->libraryPath() : QString()});
        else if (m_model->rowCount() == 0)
            message = localizedString("PHOTO_PICKER_EMPTY");
        m_messageLabel->setText(message);
        m_messageLabel->setVisible(!message.isEmpty());
    }
    if (!m_albumBox)
        return;
    m_albumBox->clear();
    m_albumBox->addItem(localizedString("PHOTO_PICKER_ALL_PHOTOS"), QString());
    const QString top = m_library ? QFileInfo(m_library->libraryPath()).fileName() : QString();
    for (const QString &album : albums())
        m_albumBox->addItem(album.isEmpty() ? top : album, album.isEmpty() ? QStringLiteral("") : album);
    m_albumBox->setEnabled(m_albumBox->count() > 1);
}

void TULOComposeImagePickerController::setVisibleRowSelected(int row, bool selected)
{
    collectionView();
    if (!m_listView)
        return;
    m_listView->selectionModel()->select(
        m_albumFilter->index(row, 0), selected ? QItemSelectionModel::Select : QItemSelectionModel::Deselect);
}

QList<TULOAttachmentPtr> TULOComposeImagePickerController::selectedAttachments() const
{
    QList<TULOAttachmentPtr> attachments;
    for (const int row : m_selectionOrder) {
        if (TULOAttachmentPtr attachment = m_model->attachmentForRow(row))
            attachments << attachment;
    }
    return attachments;
}

void TULOComposeImagePickerController::selectionChanged()
{
    QList<int> rows;
    for (const QModelIndex &index : m_listView->selectionModel()->selectedIndexes())
        rows << m_albumFilter->mapToSource(index).row();
    QList<int> order = TULOSelectionOrder(m_selectionOrder, rows);
    // Checks beyond the limit are taken back, newest first.
    if (m_maximumNumberOfAttachments > 0 && order.size() > m_maximumNumberOfAttachments) {
        const QList<int> extra = order.mid(m_maximumNumberOfAttachments);
        order = order.mid(0, m_maximumNumberOfAttachments);
        m_selectionOrder = order;
        const QSignalBlocker blocker(m_listView->selectionModel());
        for (const int row : extra)
            m_listView->selectionModel()->select(m_albumFilter->mapFromSource(m_model->index(row)), QItemSelectionModel::Deselect);
        m_listView->viewport()->update();
    }
    m_selectionOrder = order;
    if (m_attachButton)
        m_attachButton->setEnabled(!m_selectionOrder.isEmpty());
}

TULOAttachmentDropHandler *TULOComposeImagePickerController::fileChecker()
{
    if (!m_fileChecker)
        m_fileChecker = new TULOAttachmentDropHandler(m_maximumNumberOfAttachments, m_clientContext, this);
    if (m_library)
        m_fileChecker->setPhotoLibrary(m_library.get());
    return m_fileChecker;
}

bool TULOComposeImagePickerController::end()
{
    if (m_finished)
        return false;
    m_finished = true;
    if (m_camera)
        m_camera->stop();
    return true;
}

void TULOComposeImagePickerController::finishWithAttachments(const QList<TULOAttachmentPtr> &attachments)
{
    if (!end())
        return;
    if (TULOComposeImagePickerDelegate *delegate = m_delegate.get())
        delegate->TULOComposeImagePickerDidFinishWithAttachments(this, attachments);
}

void TULOComposeImagePickerController::finish()
{
    if (!m_selectionOrder.isEmpty())
        finishWithAttachments(selectedAttachments());
}

void TULOComposeImagePickerController::finishWithFiles(const QStringList &filePaths)
{
    const TULOAttachmentDropHandler::Result result = fileChecker()->attachmentsFromFiles(filePaths);
    // Songs belong to the audio picker.
    QList<TULOAttachmentPtr> visual;
    QStringList messages = result.messages;
    for (const TULOAttachmentPtr &attachment : result.attachments) {
        const TULOAttachmentType type = attachment->attachmentType();
        if (type == TULOAttachmentTypeImage || type == TULOAttachmentTypeVideo)
            visual << attachment;
        else
            messages << TULOStringWithFormat(localizedString("ATTACHMENT_UNSUPPORTED_FILE_%@"),
                {QFileInfo(attachment->assetURL().toLocalFile()).fileName()});
    }
    if (!messages.isEmpty()) {
        if (TULOComposeImagePickerDelegate *delegate = m_delegate.get())
            delegate->TULOComposeImagePickerDidRejectFiles(this, messages);
        if (m_messageLabel) {
            m_messageLabel->setText(messages.join(QLatin1Char('\n')));
            m_messageLabel->setVisible(true);
        }
    }
    if (!visual.isEmpty())
        finishWithAttachments(visual);
}

void TULOComposeImagePickerController::cancel()
{
    if (!end())
        return;
    if (TULOComposeImagePickerDelegate *delegate = m_delegate.get())
        delegate->TULOComposeImagePickerDidCancel(this);
}

void TULOComposeImagePickerController::chooseFiles()
{
    TULOViewController *parentController = nullptr;
    if (TULOComposeImagePickerDelegate *delegate = m_delegate.get())
        parentController = delegate->parentViewControllerForTULOComposeImagePicker(this);
    QWidget *parentWidget = isViewLoaded() ? view() : (parentController ? parentController->view() : nullptr);
    const QString filter = localizedString("PHOTO_PICKER_FILE_DIALOG_FILTER")
        + QStringLiteral(" (*.jpg *.jpeg *.png *.gif *.webp *.heic *.heif *.tif *.tiff *.bmp *.mp4 *.m4v *.mov *.webm *.mkv *.avi)");
    const QString start = m_library ? m_library->libraryPath() : QString();
    const QStringList files = QFileDialog::getOpenFileNames(parentWidget,
        localizedString("PHOTO_PICKER_FILE_DIALOG_TITLE"), start, filter);
    if (!files.isEmpty())
        finishWithFiles(files);
}

QListView *TULOComposeImagePickerController::collectionView()
{
    view();
    return m_listView;
}

bool TULOComposeImagePickerController::performCancelAction()
{
    cancel();
    return true;
}

bool TULOComposeImagePickerController::performDefaultAction()
{
    if (m_camera) {
        m_camera->takePhoto();
        return true;
    }
    if (m_selectionOrder.isEmpty())
        return false;
    finish();
    return true;
}

void TULOComposeImagePickerController::loadView()
{
    setView(m_sourceType == TULOImagePickerControllerSourceTypeCamera ? makeCameraView() : makeLibraryView());
}

QWidget *TULOComposeImagePickerController::makeLibraryView()
{
    auto *root = new QWidget;
    root->setAccessibleName(title());
    auto *layout = new QVBoxLayout(root);
    layout->setContentsMargins(12, 12, 12, 12);
    layout->setSpacing(8);

    auto *top = new QHBoxLayout;
    auto *albumLabel = new QLabel(localizedString("PHOTO_PICKER_ALBUM_LABEL"));
    m_albumBox = new QComboBox;
    m_albumBox->setAccessibleName(albumLabel->text());
    m_albumBox->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    albumLabel->setBuddy(m_albumBox);
    connect(m_albumBox, &QComboBox::currentIndexChanged, this, [this](int index) {
        // The first entry, all assets, carries a null album.
        if (index >= 0)
            setAlbum(index == 0 ? QString() : m_albumBox->itemData(index).toString());
    });
    top->addWidget(albumLabel);
    top->addWidget(m_albumBox);
    top->addStretch(1);
    layout->addLayout(top);

    auto *grid = new TULOPhotoGridView(new TULOPhotoAssetItemDelegate(gridCellSize), gridCellSize);
    m_listView = grid;
    m_listView->setAccessibleName(title());
    m_listView->setViewMode(QListView::IconMode);
    m_listView->setResizeMode(QListView::Adjust);
    m_listView->setMovement(QListView::Static);
    m_listView->setUniformItemSizes(true);
    m_listView->setSelectionMode(QAbstractItemView::MultiSelection);
    m_listView->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    m_listView->setSpacing(0);
    m_listView->setModel(m_albumFilter);
    new TULOPhotoAssetPrefetcher(m_listView, m_model);
    grid->updateCellSize();
    connect(m_listView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
        &TULOComposeImagePickerController::selectionChanged);
    connect(m_listView, &QListView::doubleClicked, this, [this] { finish(); });
    layout->addWidget(m_listView, 1);

    m_messageLabel = new QLabel;
    m_messageLabel->setWordWrap(true);
    m_messageLabel->setVisible(false);
    layout->addWidget(m_messageLabel);

    auto *buttons = new QHBoxLayout;
    auto *chooseButton = new QPushButton(localizedString("PHOTO_PICKER_CHOOSE_FILES_BUTTON"));
    connect(chooseButton, &QPushButton::clicked, this, &TULOComposeImagePickerController::chooseFiles);
    auto *cancelButton = new QPushButton(localizedString("ATTACHMENT_CANCEL_BUTTON"));
    connect(cancelButton, &QPushButton::clicked, this, &TULOComposeImagePickerController::cancel);
    m_attachButton = new QPushButton(localizedString("PHOTO_PICKER_ATTACH_BUTTON"));
    m_attachButton->setDefault(true);
    m_attachButton->setEnabled(false);
    connect(m_attachButton, &QPushButton::clicked, this, &TULOComposeImagePickerController::finish);
    buttons->addWidget(chooseButton);
    buttons->addStretch(1);
    buttons->addWidget(cancelButton);
    buttons->addWidget(m_attachButton);
    layout->addLayout(buttons);

    QWidget::setTabOrder(m_albumBox, m_listView);
    QWidget::setTabOrder(m_listView, chooseButton);
    QWidget::setTabOrder(chooseButton, cancelButton);
    QWidget::setTabOrder(cancelButton, m_attachButton);
    if (m_loaded)
        updateAlbums();
    else
        reloadAssets();
    return root;
}

QWidget *TULOComposeImagePickerController::makeCameraView()
{
    auto *root = new QWidget;
    root->setAccessibleName(title());
    auto *layout = new QVBoxLayout(root);
    layout->setContentsMargins(12, 12, 12, 12);
    m_preview = new QLabel;
    m_preview->setAlignment(Qt::AlignCenter);
    m_preview->setMinimumSize(320, 240);
    m_preview->setAutoFillBackground(true);
    QPalette palette = m_preview->palette();
    palette.setColor(QPalette::Window, Qt::black);
    palette.setColor(QPalette::WindowText, Qt::white);
    m_preview->setPalette(palette);
    m_preview->setAccessibleName(title());
    layout->addWidget(m_preview, 1);

    auto *buttons = new QHBoxLayout;
    auto *cancelButton = new QPushButton(localizedString("ATTACHMENT_CANCEL_BUTTON"));
    connect(cancelButton, &QPushButton::clicked, this, &TULOComposeImagePickerController::cancel);
    auto *recordButton = new QPushButton(localizedString("CAMERA_RECORD_BUTTON"));
    recordButton->setVisible(m_camera->canRecordVideo());
    connect(recordButton, &QPushButton::clicked, this, [this, recordButton] {
        if (m_camera->isRecording()) {
            m_camera->stopRecording();
            recordButton->setText(localizedString("CAMERA_RECORD_BUTTON"));
        } else {
            m_camera->startRecording(QDir(QDir::tempPath()).filePath(
                QStringLiteral("quillon-camera-%1.mp4").arg(QDateTime::currentMSecsSinceEpoch())));
            recordButton->setText(localizedString("CAMERA_STOP_BUTTON"));
        }
    });
    auto *shootButton = new QPushButton(localizedString("CAMERA_TAKE_PHOTO_BUTTON"));
    shootButton->setDefault(true);
    connect(shootButton, &QPushButton::clicked, m_camera, &TULOCameraCapture::takePhoto);
    buttons->addWidget(cancelButton);
    buttons->addStretch(1);
    buttons->addWidget(recordButton);
    buttons->addWidget(shootButton);
    layout->addLayout(buttons);

    connect(m_camera, &TULOCameraCapture::previewFrameChanged, m_preview, [this](const QImage &frame) {
        m_preview->setPixmap(QPixmap::fromImage(
            frame.scaled(m_preview->size() * m_preview->devicePixelRatioF(), Qt::KeepAspectRatio, Qt::SmoothTransformation)));
    });
    connect(m_camera, &TULOCameraCapture::photoCaptured, this, [this](const QImage &photo) {
        // A shot travels as JPEG bytes, like any photo, so the post preparation treats it alike.
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        photo.save(&buffer, "JPEG", 92);
        auto attachment = std::make_shared<TULOAttachment>(bytes, QString::fromLatin1(TULOTypeIdentifierJPEG));
        attachment->setPixelSize(photo.size());
        attachment->setThumbnailImage(photo.scaled(256, 256, Qt::KeepAspectRatio, Qt::SmoothTransformation));
        finishWithAttachments({attachment});
    });
    connect(m_camera, &TULOCameraCapture::videoRecorded, this, [this](const QString &path) {
        finishWithAttachments(fileChecker()->attachmentsFromFiles({path}).attachments);
    });
    connect(m_camera, &TULOCameraCapture::captureFailed, this,
        [this](const TULOError &error) { m_preview->setText(error.localizedDescription()); });
    TULOError error;
    if (!m_camera->start(&error))
        m_preview->setText(localizedString("CAMERA_UNAVAILABLE"));
    QWidget::setTabOrder(cancelButton, recordButton);
    QWidget::setTabOrder(recordButton, shootButton);
    return root;
}

void TULOComposeImagePickerController::viewDidAppear(bool animated)
{
    TULOViewController::viewDidAppear(animated);
    if (m_listView)
        m_listView->setFocus();
}

void TULOComposeImagePickerController::viewDidDisappear(bool animated)
{
    TULOViewController::viewDidDisappear(animated);
    // The camera light goes off with the picker.
    if (m_camera)
        m_camera->stop();
}

#include <Quillon/compose/attachmentpropertiesviewcontroller.h>

#include <Quillon/compose/tokentextview.h>
#include <Quillon/compose/tokentextviewtableassistant.h>
#include <Quillon/core/loadauthoralbumsoperation.h>
#include <Quillon/media/albumselectionviewcontroller.h>
#include <Quillon/media/valuetableviewcontroller.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/notificationcenter.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/ui/alertaction.h>
#include <Quillon/platform/ui/alertcontroller.h>
#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/keyboardnotifier.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/navigationitem.h>
#include <Quillon/platform/ui/tableviewcell.h>

#include <QApplication>
#include <QFileDialog>
#include <QImageReader>
#include <QLineEdit>

#include <algorithm>

TULOAttachmentPropertiesViewController::TULOAttachmentPropertiesViewController(const TULOAttachmentPtr &attachment,
                                                                               const TULOConfiguration &configuration,
                                                                               QObject *parent)
    : TULOStoreViewController(parent)
    , m_attachment(attachment ? attachment->copy() : std::make_shared<TULOAttachment>())
    , m_configuration(configuration)
    , m_tokenAssistant(new TULOTokenTextViewTableAssistant(configuration, this))
{
    m_tokenAssistant->setParentViewController(this);
    setEdgesForExtendedLayout(TULORectEdgeNone);
    setTitle(localizedString(m_attachment->attachmentType() == TULOAttachmentTypeVideo ? QStringLiteral("VIDEO_WORKFLOW_TITLE")
                                                                                       : QStringLiteral("AUDIO_WORKFLOW_TITLE")));
    m_doneButton = new TULOBarButtonItem(localizedString(QStringLiteral("ATTACHMENT_WORKFLOW_DONE_BUTTON")),
                                         TULOBarButtonItemStyleDone, this,
                                         [this](TULOBarButtonItem *) { doneButtonAction(); }, this);
    navigationItem()->setRightBarButtonItem(m_doneButton);

    TULONotificationCenter *center = TULONotificationCenter::defaultCenter();
    for (const char *name : {TULOKeyboardWillChangeFrameNotification, TULOKeyboardWillHideNotification,
                             TULOKeyboardWillShowNotification})
        center->addObserver(this, QString::fromLatin1(name), nullptr,
                            [this](const TULONotification &notification) { keyboardChangeNotification(notification); });

    m_titleLength = m_attachment->title().trimmed().size();
    qint64 artistLength = 0;
    for (const TULOPostArtist &artist : m_attachment->artists())
        artistLength += artist.name().size();
    m_artistNameLength = artistLength;

    if (m_attachment->attachmentType() == TULOAttachmentTypeVideo) {
        m_sections = {makeSection(TULOAttachmentPropertiesSectionTypeVideo), makeSection(TULOAttachmentPropertiesSectionTypeExplicit)};
    } else {
        m_sections = {makeSection(TULOAttachmentPropertiesSectionTypeCoverArt),
                      makeSection(TULOAttachmentPropertiesSectionTypeTitleAndArtist),
                      makeSection(TULOAttachmentPropertiesSectionTypeSongType),
                      makeSection(TULOAttachmentPropertiesSectionTypeExplicit)};
    }
    updateDoneButton();
}

TULOAttachmentPropertiesViewController::~TULOAttachmentPropertiesViewController()
{
    TULONotificationCenter::defaultCenter()->removeObservers(this);
    if (m_authorAlbumsOperation) {
        m_authorAlbumsOperation->setOutputBlock({});
        m_authorAlbumsOperation->cancel();
    }
    if (m_tableView) {
        m_tableView->setDataSource(nullptr);
        m_tableView->setDelegate(nullptr);
    }
}

QString TULOAttachmentPropertiesViewController::localizedString(const QString &key) const
{
    const TULOClientContext context = clientContext() ? *clientContext() : TULOClientContext();
    return TULOLocalization::defaultLocalization()->localizedStringForKey(key, QStringLiteral("PostComposition"), context);
}

TULOAttachmentPropertiesTableViewSection *TULOAttachmentPropertiesViewController::makeSection(TULOAttachmentPropertiesSectionType type)
{
    auto *section = new TULOAttachmentPropertiesTableViewSection(type, clientContext() ? *clientContext() : TULOClientContext(), this);
    section->setSectionDelegate(this);
    section->setTableCellsWithAttachment(*m_attachment, m_configuration);
    for (int row = 0; row < section->numberOfRowsInTableView(nullptr); ++row)
        m_tokenAssistant->addTextView(section->tokenTextViewForRowAtIndexPath(TULOIndexPath(0, row)));
    return section;
}

QList<TULOAttachmentPropertiesTableViewSection *> TULOAttachmentPropertiesViewController::sections() const
{
    return m_sections;
}

int TULOAttachmentPropertiesViewController::indexOfSectionWithType(TULOAttachmentPropertiesSectionType type) const
{
    for (int i = 0; i < m_sections.size(); ++i)
        if (m_sections.at(i)->sectionType() == type)
            return i;
    return -1;
}

bool TULOAttachmentPropertiesViewController::isAudioOrVideo() const
{
    const TULOAttachmentType type = m_attachment->attachmentType();
    return type == TULOAttachmentTypeAudio || type == TULOAttachmentTypeVideo;
}

TULOTableView *TULOAttachmentPropertiesViewController::tableView()
{
    view();
    return m_tableView;
}

void TULOAttachmentPropertiesViewController::loadView()
{
    m_tableView = new TULOTableView(TULOTableViewStyleGrouped);
    m_tableView->setDataSource(this);
    m_tableView->setDelegate(this);
    m_tableView->reloadData();
    m_tokenAssistant->setTableView(m_tableView);
    setView(m_tableView);
}

void TULOAttachmentPropertiesViewController::viewWillAppear(bool animated)
{
    TULOStoreViewController::viewWillAppear(animated);
    if (!m_albumsLoaded && !m_authorAlbumsOperation && isAudioOrVideo())
        startLoadingAlbums();
    if (m_tableView)
        if (const std::optional<TULOIndexPath> selected = m_tableView->indexPathForSelectedRow())
            m_tableView->deselectRowAtIndexPath(*selected, animated);
}

void TULOAttachmentPropertiesViewController::startLoadingAlbums()
{
    if (!m_author || m_author->identifier().isEmpty())
        return;
    auto operation = std::make_shared<TULOLoadAuthorAlbumsOperation>(m_author->identifier(),
                                                                     clientContext() ? *clientContext() : TULOClientContext());
    QPointer<TULOAttachmentPropertiesViewController> weakSelf(this);
    operation->setOutputBlock([weakSelf](const std::optional<QList<TULOStoreItem>> &albums, const TULOError &) {
        const QList<TULOStoreItem> items = albums.value_or(QList<TULOStoreItem>());
        TULODispatchMain([weakSelf, items] {
            if (!weakSelf)
                return;
            weakSelf->m_authorAlbumsOperation.reset();
            weakSelf->setAuthorAlbumItems(items);
        });
    });
    m_authorAlbumsOperation = operation;
    operationQueue()->addOperation(operation);
}

void TULOAttachmentPropertiesViewController::setAuthorAlbumItems(const QList<TULOStoreItem> &items)
{
    m_albumsLoaded = true;
    m_authorAlbumItems = items;
    std::stable_sort(m_authorAlbumItems.begin(), m_authorAlbumItems.end(),
                     [](const TULOStoreItem &a, const TULOStoreItem &b) { return a.displayName() < b.displayName(); });
    if (m_albumSelectionController) {
        m_albumSelectionController->setAlbumItems(m_authorAlbumItems);
        m_albumSelectionController->setLoading(false);
    }
    const int albumSection = indexOfSectionWithType(TULOAttachmentPropertiesSectionTypeAlbum);
    if (m_authorAlbumItems.isEmpty()) {
        if (albumSection >= 0) {
            delete m_sections.takeAt(albumSection);
            if (m_tableView)
                m_tableView->deleteSections({albumSection}, true);
        }
    } else if (albumSection < 0) {
        // In place of the explicit section, which stays last.
        int position = indexOfSectionWithType(TULOAttachmentPropertiesSectionTypeExplicit);
        if (position < 0)
            position = int(m_sections.size());
        m_sections.insert(position, makeSection(TULOAttachmentPropertiesSectionTypeAlbum));
        if (m_tableView)
            m_tableView->insertSections({position}, true);
    }
}

void TULOAttachmentPropertiesViewController::reloadSectionWithType(TULOAttachmentPropertiesSectionType type)
{
    const int index = indexOfSectionWithType(type);
    if (index < 0)
        return;
    m_sections.at(index)->setTableCellsWithAttachment(*m_attachment, m_configuration);
    if (m_tableView)
        m_tableView->reloadSections({index}, false);
}

int TULOAttachmentPropertiesViewController::numberOfSectionsInTableView(TULOTableView *)
{
    return int(m_sections.size());
}

int TULOAttachmentPropertiesViewController::tableViewNumberOfRowsInSection(TULOTableView *tableView, int section)
{
    return section >= 0 && section < m_sections.size() ? m_sections.at(section)->numberOfRowsInTableView(tableView) : 0;
}

TULOTableViewCell *TULOAttachmentPropertiesViewController::tableViewCellForRowAtIndexPath(TULOTableView *tableView,
                                                                                         const TULOIndexPath &indexPath)
{
    TULOAttachmentPropertiesTableViewSection *section = m_sections.value(indexPath.section());
    if (!section)
        return nullptr;
    TULOTableViewCell *cell = section->tableViewCellForRowAtIndexPath(tableView, indexPath);
    if (cell)
        section->tableViewWillDisplayCellForRowAtIndexPath(tableView, cell, indexPath);
    return cell;
}

std::optional<bool> TULOAttachmentPropertiesViewController::tableViewShouldHighlightRowAtIndexPath(TULOTableView *,
                                                                                                 const TULOIndexPath &indexPath)
{
    const TULOAttachmentPropertiesTableViewSection *section = m_sections.value(indexPath.section());
    if (!section)
        return false;
    switch (section->sectionType()) {
    case TULOAttachmentPropertiesSectionTypeCoverArt:
    case TULOAttachmentPropertiesSectionTypeSongType:
    case TULOAttachmentPropertiesSectionTypeAlbum:
        return true;
    default:
        return false;
    }
}

void TULOAttachmentPropertiesViewController::tableViewDidSelectRowAtIndexPath(TULOTableView *tableView,
                                                                             const TULOIndexPath &indexPath)
{
    const TULOAttachmentPropertiesTableViewSection *section = m_sections.value(indexPath.section());
    if (!section)
        return;
    switch (section->sectionType()) {
    case TULOAttachmentPropertiesSectionTypeCoverArt:
        if (section->selectedCoverImage().isNull())
            presentCoverImagePickerControllerForIndexPath(indexPath);
        else
            presentCoverImageEditingOptionsForIndexPath(indexPath);
        break;
    case TULOAttachmentPropertiesSectionTypeSongType:
        pushCategorySelectionViewController();
        break;
    case TULOAttachmentPropertiesSectionTypeAlbum:
        pushAlbumSelectionViewController();
        break;
    default:
        return;
    }
    tableView->deselectRowAtIndexPath(indexPath, true);
}

void TULOAttachmentPropertiesViewController::tableViewSectionTitleLengthChanged(TULOAttachmentPropertiesTableViewSection *,
                                                                               qint64 length)
{
    m_titleLength = length;
    updateDoneButton();
}

void TULOAttachmentPropertiesViewController::tableViewSectionArtistLengthChanged(TULOAttachmentPropertiesTableViewSection *,
                                                                                qint64 length)
{
    m_artistNameLength = length;
    updateDoneButton();
}

void TULOAttachmentPropertiesViewController::updateDoneButton()
{
    bool enabled = m_titleLength > 0;
    if (isAudioOrVideo())
        enabled = enabled && m_artistNameLength >= 1;
    if (m_doneButton)
        m_doneButton->setEnabled(enabled);
}

bool TULOAttachmentPropertiesViewController::performDefaultAction()
{
    if (!m_doneButton || !m_doneButton->isEnabled())
        return false;
    return m_doneButton->trigger();
}

void TULOAttachmentPropertiesViewController::doneButtonAction()
{
    TULOAttachmentPtr edited = m_attachment->copy();
    for (TULOAttachmentPropertiesTableViewSection *section : std::as_const(m_sections)) {
        section->resignFirstResponder();
        section->commitValuesToAttachment(*edited);
    }
    const QStringList categories = m_configuration.audioCategoryNames().value_or(QStringList());
    if (edited->attachmentType() == TULOAttachmentTypeAudio && edited->categoryName().isEmpty() && !categories.isEmpty())
        edited->setCategoryName(categories.first());
    if (m_delegate)
        m_delegate->attachmentPropertiesControllerDidEditAttachment(this, edited);
}

void TULOAttachmentPropertiesViewController::setCoverImage(const QImage &image)
{
    for (TULOAttachmentPropertiesTableViewSection *section : std::as_const(m_sections))
        section->setCoverImage(image);
}

void TULOAttachmentPropertiesViewController::presentCoverImageEditingOptionsForIndexPath(const TULOIndexPath &indexPath)
{
    auto *sheet = TULOAlertController::alertControllerWithTitle(QString(), QString(), TULOAlertControllerStyleActionSheet);
    QPointer<TULOAttachmentPropertiesViewController> weakSelf(this);
    sheet->addAction(TULOAlertAction::actionWithTitle(localizedString(QStringLiteral("AUDIO_WORKFLOW_COVER_ART_EDIT_BUTTON")),
                                                      TULOAlertActionStyleDefault, [weakSelf, indexPath](TULOAlertAction *) {
                                                          if (weakSelf)
                                                              weakSelf->presentCoverImagePickerControllerForIndexPath(indexPath);
                                                      }));
    sheet->addAction(TULOAlertAction::actionWithTitle(localizedString(QStringLiteral("AUDIO_WORKFLOW_COVER_ART_REMOVE_BUTTON")),
                                                      TULOAlertActionStyleDestructive, [weakSelf](TULOAlertAction *) {
                                                          if (weakSelf)
                                                              weakSelf->setCoverImage(QImage());
                                                      }));
    sheet->addAction(TULOAlertAction::actionWithTitle(localizedString(QStringLiteral("AUDIO_WORKFLOW_COVER_ART_CANCEL_BUTTON")),
                                                      TULOAlertActionStyleCancel));
    if (m_tableView)
        if (TULOTableViewCell *cell = m_tableView->cellForRowAtIndexPath(indexPath)) {
            sheet->setPopoverSourceView(cell);
            sheet->setPopoverSourceRect(cell->rect());
        }
    presentViewController(sheet, true);
}

void TULOAttachmentPropertiesViewController::presentCoverImagePickerControllerForIndexPath(const TULOIndexPath &)
{
    // The desktop's photo source is its files: an image file dialog, opened window-modal.
    QStringList patterns;
    for (const QByteArray &format : QImageReader::supportedImageFormats())
        patterns.append(QStringLiteral("*.") + QString::fromLatin1(format));
    auto *dialog = new QFileDialog(m_tableView ? m_tableView->window() : nullptr);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setNameFilter(QStringLiteral("%1 (%2)").arg(localizedString(QStringLiteral("AUDIO_WORKFLOW_COVER_ART_PROMPT")),
                                                        patterns.join(QLatin1Char(' '))));
    QPointer<TULOAttachmentPropertiesViewController> weakSelf(this);
    connect(dialog, &QFileDialog::fileSelected, this, [weakSelf](const QString &path) {
        QImageReader reader(path);
        reader.setAutoTransform(true);
        const QImage image = reader.read();
        if (weakSelf && !image.isNull())
            weakSelf->setCoverImage(image);
    });
    dialog->open();
}

TULOValueTableViewController *TULOAttachmentPropertiesViewController::pushCategorySelectionViewController()
{
    const QStringList names = m_configuration.audioCategoryNames().value_or(QStringList());
    const TULOClientContext context = clientContext() ? *clientContext() : TULOClientContext();
    QStringList values;
    for (const QString &name : names)
        values.append(TULOLocalization::defaultLocalization()->localizedStringForCategoryName(name, context));
    std::optional<qint64> selected;
    if (!m_attachment->categoryName().isEmpty() && names.contains(m_attachment->categoryName()))
        selected = names.indexOf(m_attachment->categoryName());
    auto *list = new TULOValueTableViewController(values, selected);
    list->setTitle(localizedString(QStringLiteral("AUDIO_WORKFLOW_SONG_TYPE_LABEL")));
    QPointer<TULOAttachmentPropertiesViewController> weakSelf(this);
    list->setSelectionBlock([weakSelf, names](qint64 index) {
        if (!weakSelf || index < 0 || index >= names.size())
            return;
        weakSelf->m_attachment->setCategoryName(names.at(index));
        weakSelf->reloadSectionWithType(TULOAttachmentPropertiesSectionTypeSongType);
        if (TULONavigationController *navigation = weakSelf->navigationController())
            navigation->popViewController(true);
    });
    if (TULONavigationController *navigation = navigationController())
        navigation->pushViewController(list, true);
    else
        list->setParent(this);
    return list;
}

TULOAlbumSelectionViewController *TULOAttachmentPropertiesViewController::pushAlbumSelectionViewController()
{
    auto *list = new TULOAlbumSelectionViewController;
    list->setAlbumItems(m_authorAlbumItems);
    if (clientContext())
        list->setClientContext(*clientContext());
    list->setLoading(isLoadingAlbums());
    list->setOperationQueue(operationQueue());
    list->setTitle(localizedString(QStringLiteral("AUDIO_WORKFLOW_ATTACH_TO_ALBUM")));
    list->setHeaderText(localizedString(m_attachment->attachmentType() == TULOAttachmentTypeVideo
                                            ? QStringLiteral("VIDEO_WORKFLOW_ATTACH_TO_ALBUM_PROMPT")
                                            : QStringLiteral("AUDIO_WORKFLOW_ATTACH_TO_ALBUM_PROMPT")));
    if (const std::optional<TULOStoreItem> album = m_attachment->album())
        list->setSelectedAlbumIdentifier(album->itemIdentifier());
    QPointer<TULOAttachmentPropertiesViewController> weakSelf(this);
    list->setSelectionBlock([weakSelf](const TULOStoreItem &album) {
        if (!weakSelf)
            return;
        weakSelf->m_attachment->setAlbum(album);
        weakSelf->reloadSectionWithType(TULOAttachmentPropertiesSectionTypeAlbum);
    });
    m_albumSelectionController = list;
    if (TULONavigationController *navigation = navigationController())
        navigation->pushViewController(list, true);
    else
        list->setParent(this);
    return list;
}

void TULOAttachmentPropertiesViewController::keyboardChangeNotification(const TULONotification &notification)
{
    const QVariantMap userInfo = notification.userInfo();
    TULODispatchMain([weakSelf = QPointer<TULOAttachmentPropertiesViewController>(this), userInfo] {
        if (!weakSelf || !weakSelf->m_tableView)
            return;
        weakSelf->m_keyboardInset = TULOKeyboardOverlapInWidget(userInfo, weakSelf->m_tableView).height();
        weakSelf->m_tokenAssistant->setKeyboardFrame(userInfo.value(QString::fromLatin1(TULOKeyboardFrameEndUserInfoKey)).toRect());
        weakSelf->m_tokenAssistant->layoutTagCompletionView();
        weakSelf->layoutTableView();
    });
}

void TULOAttachmentPropertiesViewController::layoutTableView()
{
    if (!m_tableView)
        return;
    m_tableView->setBottomContentInset(m_keyboardInset);
    // Keep the field being edited in sight above the keyboard.
    for (int s = 0; s < m_sections.size(); ++s)
        for (int row = 0; row < m_sections.at(s)->numberOfRowsInTableView(m_tableView); ++row) {
            TULOTableViewCell *cell = m_sections.at(s)->tableViewCellForRowAtIndexPath(m_tableView, TULOIndexPath(s, row));
            if (cell && cell->isAncestorOf(QApplication::focusWidget()))
                m_tableView->scrollToRowAtIndexPath(TULOIndexPath(s, row));
        }
}

#include <Quillon/compose/composepostviewcontroller.h>

#include <Quillon/accounts/accountstore.h>
#include <Quillon/accounts/serviceidentifier.h>
#include <Quillon/compose/attachmentpreviewview.h>
#include <Quillon/compose/attributionselectionviewcontroller.h>
#include <Quillon/compose/authorselectionalertcontroller.h>
#include <Quillon/compose/authorview.h>
#include <Quillon/compose/composelabelvaluebutton.h>
#include <Quillon/compose/lockupview.h>
#include <Quillon/compose/tokentextview.h>
#include <Quillon/core/attachmentdownloadoperation.h>
#include <Quillon/core/storeitemartworkrequest.h>
#include <Quillon/media/attachmentdrophandler.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/library/medialibrary.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/notificationcenter.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/preferences.h>
#include <Quillon/platform/store/resourceloader.h>
#include <Quillon/platform/ui/alertaction.h>
#include <Quillon/platform/ui/alertcontroller.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/transitioncoordinator.h>
#include <Quillon/settings/socialservicesetupviewcontroller.h>

#include <QAbstractButton>
#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

TULOComposePostViewController::TULOComposePostViewController(const TULOConfiguration &configuration, QObject *parent)
    : TULOStoreViewController(parent)
    , m_configuration(configuration)
{
    chooseInitialAuthor();
    // Any account store may change the linked accounts this author shares to.
    m_accountStoreObserver = TULONotificationCenter::defaultCenter()->addObserver(
        this, QLatin1String(TULOAccountStoreDidChangeNotification), nullptr,
        [self = QPointer(this)](const TULONotification &) {
            TULODispatchMain([self] {
                if (self)
                    self->socialAccountStoreDidChange();
            });
        });
}

TULOComposePostViewController::~TULOComposePostViewController()
{
    TULONotificationCenter::defaultCenter()->removeObservers(this);
    if (m_composeView)
        m_composeView->setDelegate(nullptr);
    if (m_audioPickerController)
        m_audioPickerController->setAudioPickerDelegate(nullptr);
    if (m_imagePickerController)
        m_imagePickerController->setDelegate(nullptr);
    if (m_tagCompletionViewController)
        m_tagCompletionViewController->setDelegate(nullptr);
    if (m_propertiesEditor)
        m_propertiesEditor->setDelegate(nullptr);
    for (QObject *sender : {static_cast<QObject *>(m_attributionButton.data()),
                            static_cast<QObject *>(m_externalServicesButton.data())})
        if (sender)
            sender->disconnect(this);
    if (m_authorSelectionView)
        m_authorSelectionView->authorNameButton()->disconnect(this);
    if (m_composeView)
        m_composeView->attachmentButton()->disconnect(this);
}

TULOClientContext TULOComposePostViewController::contextValue() const
{
    return clientContext() ? *clientContext() : TULOClientContext::defaultContext();
}

QString TULOComposePostViewController::localizedString(const QString &key) const
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(
        key, QLatin1String(TULOStringsTablePostComposition), contextValue());
}

TULOResourceLoader *TULOComposePostViewController::resourceLoader()
{
    if (!m_resourceLoader)
        m_resourceLoader = std::make_unique<TULOResourceLoader>(contextValue());
    return m_resourceLoader.get();
}

QList<TULOSoundBiteViewController *> TULOComposePostViewController::soundBiteViewControllers() const
{
    QList<TULOSoundBiteViewController *> controllers;
    for (const auto &controller : m_soundBiteViewControllers)
        if (controller)
            controllers.append(controller);
    return controllers;
}

TULOComposePostView *TULOComposePostViewController::composeView()
{
    view();
    return m_composeView;
}

bool TULOComposePostViewController::isContentComplete() const
{
    return m_contentComplete;
}

// Content

bool TULOComposePostViewController::hasSoundBite() const
{
    return !m_soundBiteViewControllers.isEmpty() && m_soundBiteViewControllers.first()
        && m_soundBiteViewControllers.first()->attachment();
}

TULOAttachmentPtr TULOComposePostViewController::getSoundBite() const
{
    return hasSoundBite() ? m_soundBiteViewControllers.first()->attachment() : nullptr;
}

void TULOComposePostViewController::updatePostButton()
{
    bool complete = hasSoundBite();
    if (!complete && m_composeView)
        complete = !m_composeView->text().isEmpty();
    if (!complete)
        complete = !m_attachments.isEmpty();
    m_contentComplete = complete;
    if (auto *delegate = m_delegate.get())
        delegate->composePostViewControllerContentDidChange(this, complete);
    Q_EMIT compositionDidChange();
}

qint64 TULOComposePostViewController::attachmentCount() const
{
    // A recorder slot holds a place until its take is done.
    qint64 count = m_attachments.size();
    for (const auto &controller : m_soundBiteViewControllers)
        if (controller && !controller->attachment())
            ++count;
    return count;
}

void TULOComposePostViewController::reloadAttachmentUI()
{
    if (m_composeView) {
        if (m_configuration.item()) {
            m_composeView->setAttachmentViews({});
            m_composeView->setShowsAttachmentButton(false);
        } else {
            m_composeView->setAttachmentViews(attachmentViews());
            m_composeView->setShowsAttachmentButton(attachmentCount() < m_configuration.maximumNumberOfAttachments());
        }
    }
    updatePostButton();
}

QList<QWidget *> TULOComposePostViewController::attachmentViews()
{
    // Previews are made once per attachment and kept while it stays in the list.
    QList<QWidget *> views;
    const QList<QWidget *> current = m_composeView ? m_composeView->attachmentViews() : QList<QWidget *>();
    for (const TULOAttachmentPtr &attachment : std::as_const(m_attachments)) {
        TULOAttachmentPreviewView *preview = nullptr;
        for (QWidget *view : current) {
            auto *existing = qobject_cast<TULOAttachmentPreviewView *>(view);
            if (existing && existing->attachment() == attachment)
                preview = existing;
        }
        if (!preview)
            preview = TULOAttachmentPreviewView::withAttachment(attachment, contextValue());
        if (preview)
            views.append(preview);
    }
    for (const auto &controller : std::as_const(m_soundBiteViewControllers))
        if (controller)
            views.append(controller->view());
    return views;
}

void TULOComposePostViewController::addAttachmentsToList(const QList<TULOAttachmentPtr> &attachments)
{
    m_attachments.append(attachments);
    reloadAttachmentUI();
    updatePostButton();
}

void TULOComposePostViewController::addAttachments(const QList<TULOAttachmentPtr> &attachments, bool animated)
{
    bool editorOpened = false;
    for (const TULOAttachmentPtr &attachment : attachments) {
        if (!attachment)
            continue;
        if (!editorOpened && canShowEditorForAttachment(attachment)) {
            editorOpened = true;
            editPropertiesForAttachment(attachment, animated);
            continue;
        }
        m_attachments.append(attachment);
    }
    reloadAttachmentUI();
}

bool TULOComposePostViewController::canShowEditorForAttachment(const TULOAttachmentPtr &attachment) const
{
    const TULOAttachmentType type = attachment ? attachment->attachmentType() : TULOAttachmentTypeUnknown;
    return type == TULOAttachmentTypeAudio || type == TULOAttachmentTypeVideo;
}

void TULOComposePostViewController::ingestAttachment(const TULOAttachmentPtr &attachment, bool animated)
{
    if (!attachment)
        return;
    if (canShowEditorForAttachment(attachment))
        editPropertiesForAttachment(attachment, animated);
    else
        addAttachmentsToList({attachment});
}

void TULOComposePostViewController::editPropertiesForAttachment(const TULOAttachmentPtr &attachment, bool animated)
{
    // Without a navigation stack there is no screen to edit on; the attachment joins as it is.
    if (!navigationController()) {
        didEditAttachment(attachment);
        return;
    }
    auto *editor = new TULOAttachmentPropertiesViewController(attachment, m_configuration);
    editor->setAuthor(m_selectedAuthor);
    editor->setClientContext(clientContext());
    editor->setDelegate(this);
    editor->setOperationQueue(operationQueue());
    m_propertiesEditor = editor;
    navigationController()->pushViewController(editor, animated);
}

void TULOComposePostViewController::attachmentPropertiesControllerDidEditAttachment(
    TULOAttachmentPropertiesViewController *controller, const TULOAttachmentPtr &attachment)
{
    controller->setDelegate(nullptr);
    TULONavigationController *navigation = navigationController();
    if (navigation && controller->navigationController() == navigation)
        navigation->popToViewController(this, true);
    else
        dismissViewController(true);
    if (attachment)
        didEditAttachment(attachment);
}

void TULOComposePostViewController::didEditAttachment(const TULOAttachmentPtr &edited)
{
    if (m_editingAttachment) {
        const TULOAttachmentPtr editing = std::exchange(m_editingAttachment, nullptr);
        const qsizetype index = m_attachments.indexOf(editing);
        if (index >= 0) {
            m_attachments[index] = edited;
            reloadAttachmentUI();
            return;
        }
    }
    if (edited->isDownloadable()) {
        m_attachmentDownloadOperation = std::make_shared<TULOAttachmentDownloadOperation>(edited);
        operationQueue()->addOperation(m_attachmentDownloadOperation);
        m_attachmentWasDownloadedAndNeedsRemoval = true;
    }
    addAttachmentsToList({edited});
}

void TULOComposePostViewController::removeDownloadedMediaItem(const TULOAttachmentPtr &attachment)
{
    if (attachment->mediaItem())
        TULOMediaLibrary::defaultMediaLibrary()->removeItems({attachment->mediaItem()});
}

// Compose view and recorder delegates

void TULOComposePostViewController::composePostViewTextDidChange(TULOComposePostView *view)
{
    Q_UNUSED(view)
    updatePostButton();
    reloadTagCompletionViewController();
}

void TULOComposePostViewController::composePostViewTextSelectionDidChange(TULOComposePostView *view)
{
    Q_UNUSED(view)
    reloadTagCompletionViewController();
}

void TULOComposePostViewController::composePostViewDidSelectAttachmentAtIndex(TULOComposePostView *view,
                                                                             const TULOAttachmentPtr &attachment,
                                                                             int index)
{
    Q_UNUSED(view) Q_UNUSED(index)
    if (!canShowEditorForAttachment(attachment))
        return;
    m_editingAttachment = attachment;
    editPropertiesForAttachment(attachment, true);
}

void TULOComposePostViewController::composePostViewDidRemoveAttachmentViewAtIndex(TULOComposePostView *view,
                                                                                 QWidget *attachmentView,
                                                                                 int index)
{
    Q_UNUSED(view) Q_UNUSED(index)
    for (qsizetype i = 0; i < m_soundBiteViewControllers.size(); ++i) {
        TULOSoundBiteViewController *controller = m_soundBiteViewControllers.at(i);
        if (controller && controller->viewIfLoaded() == attachmentView) {
            controller->removeFromParentViewController();
            controller->stopPlayback();
            m_soundBiteViewControllers.removeAt(i);
            controller->deleteLater();
            break;
        }
    }
    if (auto *preview = qobject_cast<TULOAttachmentPreviewView *>(attachmentView)) {
        const TULOAttachmentPtr attachment = preview->attachment();
        m_attachments.removeAll(attachment);
        if (attachment->isDownloadable() && m_attachmentDownloadOperation) {
            m_attachmentDownloadOperation->cancel();
            m_attachmentDownloadOperation.reset();
        }
        // The flag stays set: an earlier download of this post may still need removing.
        if (m_attachmentWasDownloadedAndNeedsRemoval)
            removeDownloadedMediaItem(attachment);
        preview->deleteLater();
    }
    reloadAttachmentUI();
    updatePostButton();
}

std::optional<TULOTag> TULOComposePostViewController::composePostViewTagForString(TULOComposePostView *view,
                                                                                  const QString &string)
{
    Q_UNUSED(view)
    if (!m_tagCompletionViewController)
        return std::nullopt;
    return m_tagCompletionViewController->existingTagForString(string);
}

void TULOComposePostViewController::tagListDidSelectTag(TULOTagListViewController *tagList, const TULOTag &tag)
{
    Q_UNUSED(tagList)
    if (m_composeView)
        m_composeView->insertTag(tag);
    dismissTagCompletionViewController();
}

void TULOComposePostViewController::viewControllerDidCompleteRecording(TULOSoundBiteViewController *controller)
{
    Q_UNUSED(controller)
    // A finished take no longer counts as an open slot.
    reloadAttachmentUI();
}

// Post description

void TULOComposePostViewController::getPostDescriptionUsingBlock(PostDescriptionBlock block)
{
    auto operation = std::make_shared<TULOPreparePostDescriptionOperation>();
    if (hasSoundBite()) {
        if (TULOAttachmentPtr soundBite = getSoundBite())
            operation->setAttachments({soundBite});
    } else {
        operation->setAttachments(m_attachments);
    }
    operation->setAccountStore(m_accountStore);
    operation->setAttributed(m_attributionAuthor && m_attributionAuthor != m_selectedAuthor);
    if (m_selectedAuthor)
        operation->setAuthor(*m_selectedAuthor);
    operation->setClientContext(contextValue());
    operation->setContentItem(m_configuration.item());
    operation->setEnabledExternalServices(enabledExternalServices());
    if (m_accountStore)
        operation->setFacebookDestination(m_accountStore->preferredFacebookAutopostingDestination());
    operation->setText(m_composeView ? m_composeView->text() : QString());
    if (m_attachmentDownloadOperation)
        operation->addDependency(m_attachmentDownloadOperation);
    operation->setAttachmentWasDownloadedAndNeedsRemoval(m_attachmentWasDownloadedAndNeedsRemoval);
    // The queue travels with the result, so a host that drops the editor right after Post
    // neither cancels the preparation nor waits for it on the GUI thread.
    std::shared_ptr<TULOOperationQueue> queue = operationQueue();
    operation->setOutputBlock([block = std::move(block), queue](const std::optional<TULOPostDescription> &description,
                                                                const TULOError &error) mutable {
        TULODispatchMain([block, description, error, queue]() mutable {
            if (block)
                block(description, error);
            // The last holder releases the queue later, off this operation's own output.
            QTimer::singleShot(0, [queue = std::move(queue)] {});
        });
    });
    queue->addOperation(operation);
}

// Actions

void TULOComposePostViewController::attachmentButtonAction(QWidget *sender)
{
    if (m_composeView)
        m_composeView->resignFirstResponder();
    TULOAttachmentAlertController *menu = makeAttachmentMenu();
    menu->setTULODelegate(this);
    menu->setPopoverPermittedArrowDirections(TULOPopoverArrowDirectionDown);
    if (sender) {
        menu->setPopoverSourceView(sender);
        menu->setPopoverSourceRect(sender->rect());
    }
    presentViewController(menu, true);
}

void TULOComposePostViewController::reloadTagCompletionViewController()
{
    if (!m_composeView)
        return;
    const QString tagString = m_composeView->tagForSelectedRange();
    if (tagString.isEmpty()) {
        dismissTagCompletionViewController();
        return;
    }
    if (!m_tagCompletionViewController) {
        // Parented here, so the list is kept for reuse while hidden.
        auto *list = new TULOTagListViewController(m_configuration, this);
        list->setClientContext(clientContext());
        list->setDelegate(this);
        list->setOperationQueue(operationQueue());
        m_tagCompletionViewController = list;
    }
    m_tagCompletionViewController->reloadWithTagString(tagString);
    m_composeView->showTextCompletionViewController(m_tagCompletionViewController, true);
}

void TULOComposePostViewController::dismissTagCompletionViewController()
{
    if (!m_composeView || !m_tagCompletionViewController
        || m_composeView->textCompletionViewController() != m_tagCompletionViewController)
        return;
    QPointer<TULOTagListViewController> list = m_tagCompletionViewController;
    m_composeView->hideTextCompletionViewControllerAnimated(true, [list] {
        if (list && list->parentViewController())
            list->removeFromParentViewController();
    });
}

// Life cycle

void TULOComposePostViewController::loadView()
{
    auto *composeView = new TULOComposePostView;
    m_composeView = composeView;
    connect(composeView->attachmentButton(), &QAbstractButton::clicked, this,
            [this] { attachmentButtonAction(m_composeView->attachmentButton()); });
    composeView->setAllowedCharacterCount(allowedCharacterCount());
    composeView->setAutoFillBackground(true);
    composeView->setDelegate(this);
    composeView->setFooterViews(footerViews());
    composeView->setHeaderViews(headerViews());
    composeView->setScrollableHeaderViews(scrollableHeaderViews());
    if (!m_configuration.item()) {
        // Files dropped on the editor or pasted into it join the post as picked ones do.
        auto *dropHandler = new TULOAttachmentDropHandler(m_configuration.maximumNumberOfAttachments(), contextValue(), this);
        dropHandler->setAttachmentCountProvider([this] { return attachmentCount(); });
        connect(dropHandler, &TULOAttachmentDropHandler::attachmentsReceived, this,
                [this](const QList<TULOAttachmentPtr> &attachments) { addAttachments(attachments, true); });
        connect(dropHandler, &TULOAttachmentDropHandler::attachmentsRejected, this,
                [this](const QStringList &messages) { showRejectedFiles(messages); });
        // The text view takes drops and pastes itself, so it gets the handler too.
        dropHandler->installOnWidget(composeView);
        dropHandler->installOnWidget(composeView->textView());
        m_dropHandler = dropHandler;
    }
    setView(composeView);
    reloadAttachmentUI();
}

void TULOComposePostViewController::viewWillAppear(bool animated)
{
    TULOStoreViewController::viewWillAppear(animated);
    deselectRows(animated);
}

void TULOComposePostViewController::deselectRows(bool animated)
{
    // A row stays highlighted while the screen it opened is shown.
    for (TULOComposeLabelValueButton *row : {m_attributionButton.data(), m_externalServicesButton.data()})
        if (row)
            row->deselectAnimated(animated);
}

void TULOComposePostViewController::viewDidAppear(bool animated)
{
    TULOStoreViewController::viewDidAppear(animated);
    deselectRows(false);
    m_editingAttachment.reset();
    if (!m_didAppear) {
        m_didAppear = true;
        // Once the screen is drawn, the keyboard goes to the text.
        QTimer::singleShot(0, this, [this] {
            if (m_composeView)
                m_composeView->becomeFirstResponder();
        });
    }
}

#include <Quillon/composition/compositioncontainerviewcontroller.h>

#include <Quillon/core/loadconfigurationoperation.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/backgroundtask.h>
#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/postrequest.h>
#include <Quillon/platform/ui/alertaction.h>
#include <Quillon/platform/ui/alertcontroller.h>
#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/navigationitem.h>

#include <QVBoxLayout>
#include <QWidget>

static const char *const TULOShareBackgroundTaskName = "com.vantor.Quillon.share";

void TULOComposePostDelegate::composePostViewControllerDidFinishWithResult(TULOCompositionContainerViewController *controller,
                                                                          TULOComposePostResult result)
{
    Q_UNUSED(controller) Q_UNUSED(result)
    m_didNotAnswer = true;
}

std::optional<bool> TULOComposePostDelegate::composePostViewControllerShouldAllowRecordingAttachments(
    TULOCompositionContainerViewController *controller)
{
    Q_UNUSED(controller)
    return std::nullopt;
}

void TULOComposePostDelegate::composePostViewControllerConfigurationDidFailLoadWithError(
    TULOCompositionContainerViewController *controller, const TULOError &error)
{
    Q_UNUSED(controller) Q_UNUSED(error)
    m_didNotAnswer = true;
}

TULOCompositionContainerViewController::TULOCompositionContainerViewController(QObject *parent)
    : TULOStoreViewController(parent)
{
    setUp();
}

TULOCompositionContainerViewController::TULOCompositionContainerViewController(
    const std::optional<TULOConfiguration> &configuration, QObject *parent)
    : TULOStoreViewController(parent)
    , m_configuration(configuration)
{
    setUp();
}

TULOCompositionContainerViewController::TULOCompositionContainerViewController(const TULOStoreItem &item, QObject *parent)
    : TULOCompositionContainerViewController(std::optional<TULOConfiguration>(), parent)
{
    m_item = item;
}

TULOCompositionContainerViewController::~TULOCompositionContainerViewController()
{
    // Closed without Cancel or Post (the host let it go): what was written stays a draft.
    saveDraftNow();
    for (TULOBarButtonItem *button : {m_cancelButtonItem.data(), m_shareButtonItem.data()})
        if (button)
            button->setTarget(nullptr);
}

void TULOCompositionContainerViewController::setUp()
{
    setEdgesForExtendedLayout(TULORectEdgeNone);
    setModalPresentationStyle(TULOModalPresentationStyleFormSheet);
    m_uploadStatus = std::make_shared<TULOUploadStatus>();
}

QSize TULOCompositionContainerViewController::preferredContentSize() const
{
    const QSize size = TULOStoreViewController::preferredContentSize();
    return size.isEmpty() ? QSize(540, 620) : size;
}

QString TULOCompositionContainerViewController::localizedString(const QString &key) const
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(
        key, QLatin1String(TULOStringsTablePostComposition),
        clientContext() ? *clientContext() : TULOClientContext::defaultContext());
}

void TULOCompositionContainerViewController::addAttachments(const QList<TULOAttachmentPtr> &attachments)
{
    if (m_composePostViewController) {
        m_composePostViewController->addAttachments(attachments, true);
        return;
    }
    if (!m_pendingAttachments)
        m_pendingAttachments.emplace();
    m_pendingAttachments->append(attachments);
}

void TULOCompositionContainerViewController::loadView()
{
    auto *view = new QWidget;
    if (!m_navigationController) {
        TULOViewController *root = m_configuration ? static_cast<TULOViewController *>(editor()) : newLoadingViewController();
        reloadNavigationItemForViewController(root, false);
        m_navigationController = new TULONavigationController(root);
        addChildViewController(m_navigationController);
        if (root == m_composePostViewController) {
            restoreDraft();
            addPendingAttachments();
        }
    }
    QWidget *navigationView = m_navigationController->view();
    navigationView->setParent(view);
    navigationView->setGeometry(view->rect());
    // The navigation view follows the container's size (flexible width and height).
    auto *layout = new QVBoxLayout(view);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(navigationView);
    setView(view);
}

void TULOCompositionContainerViewController::viewWillAppear(bool animated)
{
    if (!m_configuration && !m_loadConfigurationOperation) {
        m_loadConfigurationOperation = newLoadConfigurationOperation();
        if (clientContext())
            m_loadConfigurationOperation->setClientContext(*clientContext());
        QPointer<TULOCompositionContainerViewController> self(this);
        m_loadConfigurationOperation->setConfigurationBlock(
            [self](const std::optional<TULOConfiguration> &configuration, const TULOClientContext &context,
                   const TULOError &error) {
                TULODispatchMain([self, configuration, context, error] {
                    if (self)
                        self->finishLoadWithConfiguration(configuration, context, error);
                });
            });
        operationQueue()->addOperation(m_loadConfigurationOperation);
    }
    TULOStoreViewController::viewWillAppear(animated);
}

void TULOCompositionContainerViewController::viewDidDisappear(bool animated)
{
    TULOStoreViewController::viewDidDisappear(animated);
    saveDraftNow();
}

std::shared_ptr<TULOLoadConfigurationOperation> TULOCompositionContainerViewController::newLoadConfigurationOperation()
{
    return std::make_shared<TULOLoadConfigurationOperation>();
}

void TULOCompositionContainerViewController::finishLoadWithConfiguration(
    const std::optional<TULOConfiguration> &configuration, const TULOClientContext &clientContext, const TULOError &error)
{
    m_loadConfigurationOperation.reset();
    if (!configuration) {
        sendLoadDidFailWithError(error);
        return;
    }
    m_configuration = configuration;
    if (TULOComposePostDelegate *delegate = m_delegate.get()) {
        if (const std::optional<bool> allows = delegate->composePostViewControllerShouldAllowRecordingAttachments(this)) {
            m_configuration->setAllowsMicrophone(*allows);
            m_configuration->setAllowsCamera(*allows);
        }
    }
    if (m_item && !m_configuration->item()) {
        m_configuration->setItem(m_item);
        m_item.reset();
    }
    if (!this->clientContext() || !(*this->clientContext() == clientContext))
        setClientContext(std::make_shared<TULOClientContext>(clientContext));
    if (isViewLoaded()) {
        TULOComposePostViewController *composer = editor();
        reloadNavigationItemForViewController(composer, false);
        m_navigationController->setViewControllers({composer}, false);
        restoreDraft();
        addPendingAttachments();
    }
}

TULOComposePostViewController *TULOCompositionContainerViewController::editor()
{
    if (!m_composePostViewController && m_configuration) {
        auto *composer = new TULOComposePostViewController(*m_configuration);
        composer->setEdgesForExtendedLayout(TULORectEdgeNone);
        composer->setOperationQueue(operationQueue());
        composer->setClientContext(clientContext());
        composer->setTitle(localizedString(QStringLiteral("COMPOSE_TITLE")));
        composer->setDelegate(this);
        m_composePostViewController = composer;
    }
    return m_composePostViewController;
}

TULOStoreViewController *TULOCompositionContainerViewController::newLoadingViewController()
{
    auto *loading = new TULOStoreViewController;
    loading->setClientContext(clientContext());
    loading->setTitle(localizedString(QStringLiteral("COMPOSE_TITLE")));
    return loading;
}

TULOBarButtonItem *TULOCompositionContainerViewController::cancelButtonItem()
{
    if (!m_cancelButtonItem)
        m_cancelButtonItem = new TULOBarButtonItem(localizedString(QStringLiteral("COMPOSE_CANCEL_BUTTON")),
                                                   TULOBarButtonItemStylePlain, this,
                                                   [this](TULOBarButtonItem *) { cancelButtonAction(); }, this);
    return m_cancelButtonItem;
}

TULOBarButtonItem *TULOCompositionContainerViewController::shareButtonItem()
{
    if (!m_shareButtonItem)
        m_shareButtonItem = new TULOBarButtonItem(localizedString(QStringLiteral("COMPOSE_POST_BUTTON")),
                                                  TULOBarButtonItemStyleDone, this,
                                                  [this](TULOBarButtonItem *) { shareButtonAction(); }, this);
    return m_shareButtonItem;
}

void TULOCompositionContainerViewController::reloadNavigationItemForViewController(TULOViewController *controller,
                                                                                  bool animated)
{
    controller->navigationItem()->setLeftBarButtonItem(cancelButtonItem(), animated);
    // Only the editor's report enables Post again.
    shareButtonItem()->setEnabled(false);
    controller->navigationItem()->setRightBarButtonItem(shareButtonItem(), animated);
}

void TULOCompositionContainerViewController::addPendingAttachments()
{
    if (!m_composePostViewController || !m_pendingAttachments || m_pendingAttachments->isEmpty())
        return;
    const QList<TULOAttachmentPtr> attachments = *m_pendingAttachments;
    m_pendingAttachments.reset();
    m_composePostViewController->addAttachments(attachments, true);
}

TULODraftStore *TULOCompositionContainerViewController::draftStore() const
{
    return m_draftStore ? m_draftStore.data() : TULODraftStore::defaultStore();
}

void TULOCompositionContainerViewController::restoreDraft()
{
    TULOComposePostViewController *composer = m_composePostViewController;
    if (!composer || m_draftState != DraftNotOpened)
        return;
    // Keyed by who writes (the signed-in account's author), not by the author posted as, which
    // is part of the draft and may change while writing.
    const std::optional<TULOPostAuthor> writer = m_configuration->authorForActiveAccount();
    const std::optional<TULOPostAuthor> selected = composer->selectedAuthor();
    const std::optional<TULOStoreItem> item = m_configuration->item();
    m_draftKey = TULODraftKey{writer ? writer->identifier() : selected ? selected->identifier() : QString(),
                              item ? item->itemIdentifier() : QString()};
    TULOError error;
    const std::optional<TULOCompositionDraft> draft = draftStore()->load(*m_draftKey, &error);
    if (!error.isNull()) {
        m_draftState = DraftUnreadable;
        return;
    }
    if (draft)
        composer->restoreCompositionDraft(*draft);
    m_draftState = DraftOpen;
    connect(composer, &TULOComposePostViewController::compositionDidChange, this,
            &TULOCompositionContainerViewController::saveDraftLater);
}

void TULOCompositionContainerViewController::saveDraftLater()
{
    if (m_draftState == DraftOpen && m_composePostViewController)
        draftStore()->scheduleSave(*m_draftKey, m_composePostViewController->compositionDraft());
}

void TULOCompositionContainerViewController::saveDraftNow()
{
    if (m_draftState == DraftOpen && m_composePostViewController)
        draftStore()->save(*m_draftKey, m_composePostViewController->compositionDraft());
}

void TULOCompositionContainerViewController::closeDraft(bool keep)
{
    if (m_draftState != DraftOpen)
        return;
    if (keep)
        saveDraftNow();
    else
        draftStore()->discard(*m_draftKey);
    m_draftState = DraftClosed;
}

void TULOCompositionContainerViewController::askToKeepDraft()
{
    auto *alert = new TULOAlertController(localizedString(QStringLiteral("COMPOSE_DRAFT_ALERT_TITLE")),
                                          localizedString(QStringLiteral("COMPOSE_DRAFT_ALERT_MESSAGE")),
                                          TULOAlertControllerStyleAlert);
    QPointer<TULOCompositionContainerViewController> self(this);
    const auto closing = [self](bool keep) {
        return [self, keep](TULOAlertAction *) {
            if (!self)
                return;
            self->closeDraft(keep);
            self->dismissWithResult(TULOComposePostResultCancelled);
        };
    };
    auto *keep = TULOAlertAction::actionWithTitle(localizedString(QStringLiteral("COMPOSE_DRAFT_KEEP_BUTTON")),
                                                  TULOAlertActionStyleDefault, closing(true));
    alert->addAction(keep);
    alert->addAction(TULOAlertAction::actionWithTitle(localizedString(QStringLiteral("COMPOSE_DRAFT_DISCARD_BUTTON")),
                                                      TULOAlertActionStyleDestructive, closing(false)));
    // Escape on the question goes back to writing.
    alert->addAction(TULOAlertAction::actionWithTitle(localizedString(QStringLiteral("COMPOSE_DRAFT_CONTINUE_BUTTON")),
                                                      TULOAlertActionStyleCancel));
    alert->setPreferredAction(keep);
    presentViewController(alert, true);
}

void TULOCompositionContainerViewController::composePostViewControllerContentDidChange(
    TULOComposePostViewController *controller, bool canPost)
{
    Q_UNUSED(controller)
    if (m_shareButtonItem)
        m_shareButtonItem->setEnabled(canPost);
}

void TULOCompositionContainerViewController::cancelButtonAction()
{
    if (m_draftState == DraftOpen && m_composePostViewController
        && !m_composePostViewController->compositionDraft().isEmpty()) {
        askToKeepDraft();
        return;
    }
    // Nothing written: nothing to keep.
    closeDraft(false);
    dismissWithResult(TULOComposePostResultCancelled);
}

void TULOCompositionContainerViewController::shareButtonAction()
{
    std::shared_ptr<TULOUploadStatus> status = m_uploadStatus;
    const auto statusError = [](const QString &description) {
        return TULOError(TULOUploadStatusErrorDomain, TULOUploadStatusErrorPreparationFailed,
                         {{QLatin1String(TULOLocalizedDescriptionKey), description}});
    };
    // The process must stop before the post reached the outbox: the draft still holds it.
    const TULOError stopped = statusError(localizedString(QStringLiteral("UPLOAD_STATUS_STOPPED_WHILE_PREPARING")));
    const TULOBackgroundTask::Identifier task = TULOBackgroundTask::begin(
        QLatin1String(TULOShareBackgroundTaskName), [follower = QPointer<TULOUploadStatus>(status.get()), stopped] {
            // Ends the invalid task, not the one begun: the preparation's block ends that one.
            TULOBackgroundTask::end(TULOBackgroundTask::Invalid);
            if (follower && follower->state() == TULOUploadStatus::Preparing)
                follower->failPreparing(stopped);
        });
    QPointer<TULOPostOutbox> outbox = m_outbox ? m_outbox.data() : TULOPostOutbox::defaultOutbox();
    const TULOClientContext context = clientContext() ? *clientContext() : TULOClientContext::defaultContext();
    const TULOError unprepared = statusError(localizedString(QStringLiteral("UPLOAD_STATUS_NOT_PREPARED")));
    // The draft is written as it stands and goes only once the outbox holds the post.
    QPointer<TULODraftStore> drafts;
    std::optional<TULODraftKey> draftKey;
    if (m_draftState == DraftOpen) {
        saveDraftNow();
        drafts = draftStore();
        draftKey = m_draftKey;
        m_draftState = DraftClosed;
    }
    status->beginPreparing();
    if (TULOComposePostViewController *composer = editor()) {
        composer->getPostDescriptionUsingBlock(
            [task, status, outbox, context, unprepared, drafts, draftKey](const std::optional<TULOPostDescription> &description,
                                                                        const TULOError &error) {
                if (description && outbox) {
                    auto *request = new TULOPostRequest(*description);
                    request->setOutbox(outbox);
                    if (!context.isNull())
                        request->setClientContext(context);
                    // The status, not the container, follows the upload: the container is gone by now.
                    QPointer<TULOUploadStatus> follower(status.get());
                    request->startWithCompletionBlock([follower](const QUrl &postURL, const TULOError &uploadError) {
                        if (follower)
                            follower->finishUpload(postURL, uploadError);
                    });
                    status->startUpload(request, outbox);
                    if (drafts && draftKey)
                        drafts->discardPosted(*draftKey, outbox, request->idempotencyKey());
                } else {
                    status->failPreparing(error.isNull() ? unprepared : error);
                }
                TULOBackgroundTask::end(task);
            });
    }
    dismissWithResult(TULOComposePostResultPosted);
}

void TULOCompositionContainerViewController::dismissWithResult(TULOComposePostResult result)
{
    endWithDelegateMessage([this, result](TULOComposePostDelegate *delegate) {
        delegate->composePostViewControllerDidFinishWithResult(this, result);
    });
}

void TULOCompositionContainerViewController::sendLoadDidFailWithError(const TULOError &error)
{
    endWithDelegateMessage([this, error](TULOComposePostDelegate *delegate) {
        delegate->composePostViewControllerConfigurationDidFailLoadWithError(this, error);
    });
}

void TULOCompositionContainerViewController::endWithDelegateMessage(
    const std::function<void(TULOComposePostDelegate *delegate)> &send)
{
    QPointer<TULOCompositionContainerViewController> self(this);
    bool answered = false;
    if (TULOComposePostDelegate *delegate = m_delegate.get()) {
        delegate->m_didNotAnswer = false;
        send(delegate);
        answered = !delegate->m_didNotAnswer;
    }
    // The host may have released the container from its answer.
    if (!self)
        return;
    if (!answered)
        dismissViewController(true);
    if (TULOModalDocumentController *documents = m_modalDocumentController.get())
        documents->unloadDocumentForViewController(this);
}

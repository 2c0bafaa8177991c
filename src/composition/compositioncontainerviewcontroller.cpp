#include <Quillon/composition/compositioncontainerviewcontroller.h>

#include <Quillon/core/loadconfigurationoperation.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/operationqueue.h>
#include <Quillon/platform/store/backgroundtask.h>
#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/store/postrequest.h>
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
        if (root == m_composePostViewController)
            addPendingAttachments();
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

void TULOCompositionContainerViewController::composePostViewControllerContentDidChange(
    TULOComposePostViewController *controller, bool canPost)
{
    Q_UNUSED(controller)
    if (m_shareButtonItem)
        m_shareButtonItem->setEnabled(canPost);
}

void TULOCompositionContainerViewController::cancelButtonAction()
{
    dismissWithResult(TULOComposePostResultCancelled);
}

void TULOCompositionContainerViewController::shareButtonAction()
{
    const TULOBackgroundTask::Identifier task = TULOBackgroundTask::begin(QLatin1String(TULOShareBackgroundTaskName));
    std::shared_ptr<TULOUploadStatus> status = m_uploadStatus;
    QPointer<TULOPostOutbox> outbox = m_outbox ? m_outbox.data() : TULOPostOutbox::defaultOutbox();
    const TULOClientContext context = clientContext() ? *clientContext() : TULOClientContext::defaultContext();
    status->beginPreparing();
    if (TULOComposePostViewController *composer = editor()) {
        composer->getPostDescriptionUsingBlock(
            [task, status, outbox, context](const std::optional<TULOPostDescription> &description, const TULOError &error) {
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
                } else {
                    status->failPreparing(error.isNull()
                                              ? TULOError(TULOUploadStatusErrorDomain, TULOUploadStatusErrorPreparationFailed,
                                                          {{QLatin1String(TULOLocalizedDescriptionKey),
                                                            TULOUploadStatus::tr("The post could not be prepared.")}})
                                              : error);
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

#pragma once

#include <Quillon/compose/composepostviewcontroller.h>
#include <Quillon/composition/composepostdelegate.h>
#include <Quillon/composition/uploadstatus.h>
#include <Quillon/core/attachment.h>
#include <Quillon/core/configuration.h>
#include <Quillon/core/storeitem.h>
#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/storeviewcontroller.h>
#include <Quillon/platform/weakdelegate.h>
#include <Quillon/quillon_export.h>

#include <QList>
#include <QPointer>

#include <functional>
#include <memory>
#include <optional>

class TULOBarButtonItem;
class TULOLoadConfigurationOperation;

// The screen a host presents to let the user write one post. With a configuration it shows the
// editor at once; with a store item it loads the configuration from the store first (showing
// an empty placeholder), then shows the editor with the item. Cancel and Post sit in its bar;
// Post hands the prepared post to the outbox and tells the delegate at once, without waiting
// for the upload, which the host may follow through uploadStatus().
//
// The composition is kept as a draft (see TULODraftStore) under the signed-in account's author
// and the item: written within a second of every change and when the container closes, put back
// when a container opens again for the same author and item. Cancel asks whether to keep a
// non-empty draft; Post removes it once the outbox holds the post.
//
// Presented as a window-modal form sheet; Escape cancels and Ctrl+Return posts when Post is
// enabled. GUI thread only.
class QUILLON_EXPORT TULOCompositionContainerViewController : public TULOStoreViewController,
                                                              public TULOComposePostViewControllerDelegate
{
    Q_OBJECT

public:
    explicit TULOCompositionContainerViewController(QObject *parent = nullptr);
    // With a configuration the editor shows at once; std::nullopt loads one when shown.
    explicit TULOCompositionContainerViewController(const std::optional<TULOConfiguration> &configuration,
                                                    QObject *parent = nullptr);
    explicit TULOCompositionContainerViewController(const TULOStoreItem &item, QObject *parent = nullptr);
    ~TULOCompositionContainerViewController() override;

    // Weak: a delegate that is a QObject is forgotten when destroyed; others clear themselves.
    TULOComposePostDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(TULOComposePostDelegate *delegate) { m_delegate.set(delegate); }
    TULOModalDocumentController *modalDocumentController() const { return m_modalDocumentController.get(); }
    void setModalDocumentController(TULOModalDocumentController *controller) { m_modalDocumentController.set(controller); }
    std::optional<TULOStoreItem> item() const { return m_item; }
    void setItem(const std::optional<TULOStoreItem> &item) { m_item = item; }
    std::optional<TULOConfiguration> configuration() const { return m_configuration; }

    // Attachments for the editor; kept in order until it exists.
    void addAttachments(const QList<TULOAttachmentPtr> &attachments);

    bool needsNavigationDocument() const { return false; }
    int preferredStatusBarStyle() const { return 0; }

    // The upload of this composition's post; shared so that it outlives the container.
    std::shared_ptr<TULOUploadStatus> uploadStatus() const { return m_uploadStatus; }
    // The outbox posts go to; by default the application's.
    void setOutbox(TULOPostOutbox *outbox) { m_outbox = outbox; }
    // Where the composition is kept as a draft; by default the application's. Set it before the
    // editor exists.
    TULODraftStore *draftStore() const;
    void setDraftStore(TULODraftStore *store) { m_draftStore = store; }
    // The draft this composition is kept under; nullopt until the editor exists.
    std::optional<TULODraftKey> draftKey() const { return m_draftKey; }

    // The editor, once a configuration exists; null before.
    TULOComposePostViewController *composePostViewController() { return editor(); }
    TULONavigationController *childNavigationController() const { return m_navigationController; }
    TULOBarButtonItem *cancelButtonItem();
    TULOBarButtonItem *shareButtonItem();
    // Attachments waiting for the editor; nullopt before the first addAttachments().
    std::optional<QList<TULOAttachmentPtr>> pendingAttachments() const { return m_pendingAttachments; }
    bool isLoadingConfiguration() const { return m_loadConfigurationOperation != nullptr; }

    // TULOComposePostViewControllerDelegate
    void composePostViewControllerContentDidChange(TULOComposePostViewController *controller, bool canPost) override;

protected:
    void loadView() override;
    void viewWillAppear(bool animated) override;
    void viewDidDisappear(bool animated) override;
    QSize preferredContentSize() const override;

    // Makes the configuration load; the tests give one of their own.
    virtual std::shared_ptr<TULOLoadConfigurationOperation> newLoadConfigurationOperation();
    void finishLoadWithConfiguration(const std::optional<TULOConfiguration> &configuration,
                                     const TULOClientContext &clientContext, const TULOError &error);
    void cancelButtonAction();
    void shareButtonAction();

private:
    void setUp();
    TULOComposePostViewController *editor();
    TULOStoreViewController *newLoadingViewController();
    void reloadNavigationItemForViewController(TULOViewController *controller, bool animated);
    void addPendingAttachments();
    // Drafts: put back once the editor shows, written as it changes, closed by Cancel or Post.
    void restoreDraft();
    void saveDraftLater();
    void saveDraftNow();
    void closeDraft(bool keep);
    void askToKeepDraft();
    void dismissWithResult(TULOComposePostResult result);
    void sendLoadDidFailWithError(const TULOError &error);
    // Sends a finishing message; a delegate that does not answer it leaves the container to
    // dismiss itself. Then the document presenter is told.
    void endWithDelegateMessage(const std::function<void(TULOComposePostDelegate *delegate)> &send);
    QString localizedString(const QString &key) const;

    QPointer<TULOBarButtonItem> m_cancelButtonItem;
    QPointer<TULOComposePostViewController> m_composePostViewController;
    std::optional<TULOConfiguration> m_configuration;
    TULOWeakDelegate<TULOComposePostDelegate> m_delegate;
    std::shared_ptr<TULOLoadConfigurationOperation> m_loadConfigurationOperation;
    TULOWeakDelegate<TULOModalDocumentController> m_modalDocumentController;
    QPointer<TULONavigationController> m_navigationController;
    std::optional<QList<TULOAttachmentPtr>> m_pendingAttachments;
    QPointer<TULOBarButtonItem> m_shareButtonItem;
    std::optional<TULOStoreItem> m_item;
    std::shared_ptr<TULOUploadStatus> m_uploadStatus;
    QPointer<TULOPostOutbox> m_outbox;
    enum DraftState {
        DraftNotOpened,
        DraftOpen,
        DraftUnreadable, // an earlier draft that cannot be read is left as it is
        DraftClosed,
    };
    DraftState m_draftState = DraftNotOpened;
    QPointer<TULODraftStore> m_draftStore;
    std::optional<TULODraftKey> m_draftKey;
};

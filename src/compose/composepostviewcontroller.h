#pragma once

#include <Quillon/accounts/socialservice.h>
#include <Quillon/compose/attachmentpropertiesviewcontroller.h>
#include <Quillon/compose/authorview.h>
#include <Quillon/compose/composelabelvaluebutton.h>
#include <Quillon/compose/composepostview.h>
#include <Quillon/compose/draftstore.h>
#include <Quillon/compose/taglistviewcontroller.h>
#include <Quillon/core/attachment.h>
#include <Quillon/core/configuration.h>
#include <Quillon/core/preparepostdescriptionoperation.h>
#include <Quillon/media/attachmentalertcontroller.h>
#include <Quillon/media/attachmentdrophandler.h>
#include <Quillon/media/audiopickercontroller.h>
#include <Quillon/media/composeimagepickercontroller.h>
#include <Quillon/media/soundbiteviewcontroller.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/records/postauthor.h>
#include <Quillon/platform/ui/storeviewcontroller.h>
#include <Quillon/platform/weakdelegate.h>
#include <Quillon/quillon_export.h>

#include <QList>
#include <QPointer>

#include <memory>
#include <optional>

class TULOAccountStore;
class TULOAttachmentDownloadOperation;
class TULOTransitionCoordinator;
class TULOComposePostViewController;
class TULOResourceLoader;

// Key of the last chosen author's identifier in the framework's preferences.
QUILLON_EXPORT extern const char *const TULOPreferredAuthorIDKey;

class QUILLON_EXPORT TULOComposePostViewControllerDelegate
{
public:
    virtual ~TULOComposePostViewControllerDelegate() = default;
    // Whether the post has content and may be sent now.
    virtual void composePostViewControllerContentDidChange(TULOComposePostViewController *controller, bool canPost)
    {
        Q_UNUSED(controller) Q_UNUSED(canPost)
    }
};

// The editor screen of one post. Owns the composition (the text in its compose post view, the
// attachments, the sound bite slots, the author and the attribution, the account store of the
// author that says which services the post is shared to), decides the rows, the attachment
// button, the character limit and whether the post is complete, and turns the composition into
// a post description on request.
class QUILLON_EXPORT TULOComposePostViewController : public TULOStoreViewController,
                                                     public TULOComposePostViewDelegate,
                                                     public TULOSoundBiteViewControllerDelegate,
                                                     public TULOAttachmentAlertDelegate,
                                                     public TULOAudioPickerDelegate,
                                                     public TULOComposeImagePickerDelegate,
                                                     public TULOTagListViewControllerDelegate,
                                                     public TULOAttachmentPropertiesDelegate
{
    Q_OBJECT

public:
    // The post description or nil, and an error that may accompany either; on the GUI thread.
    using PostDescriptionBlock = TULOPreparePostDescriptionOperation::OutputBlock;

    // Attachment menu results, as the menu reports them.
    enum AttachmentMenuResult : qint64 {
        AttachmentMenuResultShelf = TULOAttachmentAlertResultSelectedPhotos,
        AttachmentMenuResultAudio = TULOAttachmentAlertResultUploadAudio,
        AttachmentMenuResultCamera = TULOAttachmentAlertResultCamera,
        AttachmentMenuResultPhotoLibrary = TULOAttachmentAlertResultPhotoLibrary,
        AttachmentMenuResultSoundBite = TULOAttachmentAlertResultRecordAudio,
    };

    explicit TULOComposePostViewController(const TULOConfiguration &configuration, QObject *parent = nullptr);
    ~TULOComposePostViewController() override;

    TULOConfiguration configuration() const { return m_configuration; }
    TULOComposePostViewControllerDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(TULOComposePostViewControllerDelegate *delegate) { m_delegate.set(delegate); }
    std::shared_ptr<TULOAttachmentDownloadOperation> attachmentDownloadOperation() const
    {
        return m_attachmentDownloadOperation;
    }
    void setAttachmentDownloadOperation(const std::shared_ptr<TULOAttachmentDownloadOperation> &operation)
    {
        m_attachmentDownloadOperation = operation;
    }
    bool attachmentWasDownloadedAndNeedsRemoval() const { return m_attachmentWasDownloadedAndNeedsRemoval; }
    void setAttachmentWasDownloadedAndNeedsRemoval(bool value) { m_attachmentWasDownloadedAndNeedsRemoval = value; }

    // Attachments handed in by the host: the first audio or video one opens in the properties
    // editor (and joins the post when the editor reports it); the others are added in order.
    void addAttachments(const QList<TULOAttachmentPtr> &attachments, bool animated);
    // Prepares the post on the operation queue; `block` runs once, on the GUI thread, even when
    // this controller is gone by then.
    void getPostDescriptionUsingBlock(PostDescriptionBlock block);

    // The state of the composition.
    QList<TULOAttachmentPtr> attachments() const { return m_attachments; }
    std::optional<TULOPostAuthor> selectedAuthor() const { return m_selectedAuthor; }
    std::optional<TULOPostAuthor> attributionAuthor() const { return m_attributionAuthor; }
    std::shared_ptr<TULOAccountStore> accountStore() const { return m_accountStore; }
    QList<TULOSoundBiteViewController *> soundBiteViewControllers() const;
    TULOComposePostView *composeView();
    // Whether the post may be sent now (as last told to the delegate).
    bool isContentComplete() const;

    // The composition as a value, to keep as a draft: the text with its tokens written out, the
    // attachments (a finished sound bite last), the author, the attribution and the services.
    TULOCompositionDraft compositionDraft() const;
    // Takes a draft back: author, attribution and services as far as the configuration still
    // offers them, the text with its tokens, the attachments in order after any already here
    // (no properties editor opens). compositionDidChange() follows.
    void restoreCompositionDraft(const TULOCompositionDraft &draft);

    // TULOComposePostViewDelegate
    void composePostViewTextDidChange(TULOComposePostView *view) override;
    void composePostViewTextSelectionDidChange(TULOComposePostView *view) override;
    void composePostViewDidSelectAttachmentAtIndex(TULOComposePostView *view, const TULOAttachmentPtr &attachment,
                                                   int index) override;
    void composePostViewDidRemoveAttachmentViewAtIndex(TULOComposePostView *view, QWidget *attachmentView,
                                                       int index) override;
    std::optional<TULOTag> composePostViewTagForString(TULOComposePostView *view, const QString &string) override;
    // TULOSoundBiteViewControllerDelegate
    void viewControllerDidCompleteRecording(TULOSoundBiteViewController *controller) override;
    // TULOAttachmentAlertDelegate
    void attachmentAlertControllerDidFinishWithResult(TULOAttachmentAlertController *controller, qint64 result) override;
    // TULOAudioPickerDelegate
    void audioPickerDidFinishWithAttachment(TULOAudioPickerController *picker, const TULOAttachmentPtr &attachment) override;
    void audioPickerDidCancel(TULOAudioPickerController *picker) override;
    // TULOComposeImagePickerDelegate
    void TULOComposeImagePickerDidFinishWithAttachments(TULOComposeImagePickerController *picker,
                                                        const QList<TULOAttachmentPtr> &attachments) override;
    void TULOComposeImagePickerDidCancel(TULOComposeImagePickerController *picker) override;
    TULOViewController *parentViewControllerForTULOComposeImagePicker(TULOComposeImagePickerController *picker) override;
    void TULOComposeImagePickerDidRejectFiles(TULOComposeImagePickerController *picker, const QStringList &messages) override;
    // TULOAttachmentPropertiesDelegate
    void attachmentPropertiesControllerDidEditAttachment(TULOAttachmentPropertiesViewController *controller,
                                                         const TULOAttachmentPtr &attachment) override;
    // TULOTagListViewControllerDelegate
    void tagListDidSelectTag(TULOTagListViewController *tagList, const TULOTag &tag) override;

Q_SIGNALS:
    // Anything compositionDraft() holds changed: text, attachments, author, attribution, services.
    void compositionDidChange();

protected:
    void loadView() override;
    void viewWillAppear(bool animated) override;
    void viewDidAppear(bool animated) override;

    // Reached by the tests through a subclass.
    void setSelectedAuthor(const TULOPostAuthor &author);
    void setAttributionAuthor(const std::optional<TULOPostAuthor> &author);
    std::optional<TULOPostAuthor> defaultAttributionAuthorForDestinationAuthor(const TULOPostAuthor &author) const;
    QList<TULOSocialService> enabledExternalServices() const;
    qint64 allowedCharacterCount() const;
    bool hasSoundBite() const;
    TULOAttachmentPtr getSoundBite() const;
    bool canShowEditorForAttachment(const TULOAttachmentPtr &attachment) const;
    void ingestAttachment(const TULOAttachmentPtr &attachment, bool animated);
    virtual void editPropertiesForAttachment(const TULOAttachmentPtr &attachment, bool animated);
    // Takes the properties editor's result `edited` into the post: in place of the attachment
    // being edited, or as a new one.
    void didEditAttachment(const TULOAttachmentPtr &edited);
    // `coordinator` is the menu's dismissal, if it still runs: pickers are presented once it ends.
    void handleAttachmentMenuResult(qint64 result, const QList<TULOAttachmentPtr> &selectedAttachments,
                                    TULOTransitionCoordinator *coordinator = nullptr);
    // The pickers and the menu the results open; virtual so that tests can give them their libraries.
    virtual TULOAudioPickerController *makeAudioPicker();
    virtual TULOComposeImagePickerController *makeImagePicker(int sourceType);
    virtual TULOAttachmentAlertController *makeAttachmentMenu();
    TULOAudioPickerController *audioPickerController() const { return m_audioPickerController; }
    TULOComposeImagePickerController *imagePickerController() const { return m_imagePickerController; }
    TULOTagListViewController *tagCompletionViewController() const { return m_tagCompletionViewController; }
    TULOAttachmentDropHandler *dropHandler() const { return m_dropHandler; }
    void attachmentButtonAction(QWidget *sender);
    void pickAuthorAction(QWidget *sender);
    void attributionButtonAction();
    // Removes a song downloaded for this post from the media library; virtual for the tests.
    virtual void removeDownloadedMediaItem(const TULOAttachmentPtr &attachment);
    TULOComposeLabelValueButton *attributionButton() const { return m_attributionButton; }
    TULOComposeLabelValueButton *externalServicesButton() const { return m_externalServicesButton; }
    TULOAuthorView *authorSelectionView() const { return m_authorSelectionView; }

private:
    void chooseInitialAuthor();
    TULOClientContext contextValue() const;
    QString localizedString(const QString &key) const;
    void addAttachmentsToList(const QList<TULOAttachmentPtr> &attachments);
    qint64 attachmentCount() const;
    void reloadAttachmentUI();
    QList<QWidget *> attachmentViews();
    void updatePostButton();
    QList<QWidget *> headerViews();
    QList<QWidget *> scrollableHeaderViews();
    QList<QWidget *> footerViews();
    void reloadExternalServicesButton();
    void socialAccountStoreDidChange();
    void externalServicesButtonAction();
    void reloadTagCompletionViewController();
    void dismissTagCompletionViewController();
    void deselectRows(bool animated);
    void showRejectedFiles(const QStringList &messages);
    TULOResourceLoader *resourceLoader();

    std::shared_ptr<TULOAccountStore> m_accountStore;
    QList<TULOAttachmentPtr> m_attachments;
    std::optional<TULOPostAuthor> m_attributionAuthor;
    QPointer<TULOComposeLabelValueButton> m_attributionButton;
    QPointer<TULOAudioPickerController> m_audioPickerController;
    QPointer<TULOAuthorView> m_authorSelectionView;
    QPointer<TULOComposePostView> m_composeView;
    TULOConfiguration m_configuration;
    bool m_didAppear = false;
    TULOAttachmentPtr m_editingAttachment;
    QPointer<TULOComposeLabelValueButton> m_externalServicesButton;
    QPointer<TULOComposeImagePickerController> m_imagePickerController;
    // The editor holds its delegate as a plain pointer, so this one is let go of on teardown.
    QPointer<TULOAttachmentPropertiesViewController> m_propertiesEditor;
    std::unique_ptr<TULOResourceLoader> m_resourceLoader;
    std::optional<TULOPostAuthor> m_selectedAuthor;
    QList<QPointer<TULOSoundBiteViewController>> m_soundBiteViewControllers;
    // Owned here; shown as a child of the compose view's completion area while a tag is typed.
    QPointer<TULOTagListViewController> m_tagCompletionViewController;
    QPointer<TULOAttachmentDropHandler> m_dropHandler;
    bool m_attachmentWasDownloadedAndNeedsRemoval = false;
    TULOWeakDelegate<TULOComposePostViewControllerDelegate> m_delegate;
    std::shared_ptr<TULOAttachmentDownloadOperation> m_attachmentDownloadOperation;
    bool m_contentComplete = false;
    quint64 m_accountStoreObserver = 0;
};

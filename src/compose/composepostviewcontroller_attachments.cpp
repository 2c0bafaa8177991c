#include <Quillon/compose/composepostviewcontroller.h>

// The attachment menu, the pickers it opens and what they hand back: the editor's ways of
// taking attachments in, apart from its text and rows.

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

TULOAttachmentAlertController *TULOComposePostViewController::makeAttachmentMenu()
{
    return new TULOAttachmentAlertController(m_configuration, contextValue());
}

TULOAudioPickerController *TULOComposePostViewController::makeAudioPicker()
{
    return new TULOAudioPickerController(contextValue());
}

TULOComposeImagePickerController *TULOComposePostViewController::makeImagePicker(int sourceType)
{
    if (!TULOComposeImagePickerController::isSourceTypeAvailable(sourceType))
        return nullptr;
    return new TULOComposeImagePickerController(sourceType);
}

void TULOComposePostViewController::handleAttachmentMenuResult(qint64 result,
                                                               const QList<TULOAttachmentPtr> &selectedAttachments,
                                                               TULOTransitionCoordinator *coordinator)
{
    QPointer<TULOComposePostViewController> self(this);
    // Pickers come up once the menu has gone, or at once when it has gone already.
    const auto presentAlongside = [self, coordinator](QPointer<TULOViewController> controller) {
        const auto present = [self, controller] {
            if (self && controller && !controller->presentingViewController())
                self->presentViewController(controller, true);
        };
        if (!coordinator || !coordinator->animateAlongsideTransition({}, present))
            present();
    };
    switch (result) {
    case AttachmentMenuResultShelf:
        if (!selectedAttachments.isEmpty())
            ingestAttachment(selectedAttachments.first(), true);
        break;
    case AttachmentMenuResultAudio: {
        TULOAudioPickerController *picker = makeAudioPicker();
        // A picker still reading the library comes up at once and fills as it reads.
        if (!picker->hasLoadedItems() || picker->hasSourceItems()) {
            m_audioPickerController = picker;
            picker->setAudioPickerDelegate(this);
            picker->setModalPresentationStyle(TULOModalPresentationStyleFormSheet);
            presentAlongside(picker);
        } else {
            delete picker;
            presentAlongside(TULOAudioPickerController::emptyAudioPickerAlertControllerWithClientContext(contextValue()));
        }
        break;
    }
    case AttachmentMenuResultCamera:
    case AttachmentMenuResultPhotoLibrary: {
        TULOComposeImagePickerController *picker = makeImagePicker(
            result == AttachmentMenuResultCamera ? TULOImagePickerControllerSourceTypeCamera
                                                 : TULOImagePickerControllerSourceTypePhotoLibrary);
        if (!picker)
            break;
        if (m_imagePickerController)
            m_imagePickerController->setDelegate(nullptr);
        m_imagePickerController = picker;
        picker->setDelegate(this);
        picker->setClientContext(contextValue());
        // Only the first choice joins the post, so the picker stops at one.
        picker->setMaximumNumberOfAttachments(1);
        QWidget *anchor = m_composeView ? m_composeView->attachmentButton() : nullptr;
        picker->setModalPresentationStyle(TULOModalPresentationStyleFormSheet);
        picker->setPopoverSourceView(anchor);
        if (anchor)
            picker->setPopoverSourceRect(anchor->rect());
        presentAlongside(picker);
        break;
    }
    case AttachmentMenuResultSoundBite: {
        auto *recorder = new TULOSoundBiteViewController;
        recorder->setClientContext(contextValue());
        recorder->setConfiguration(m_configuration);
        recorder->setDelegate(this);
        addChildViewController(recorder);
        m_soundBiteViewControllers.append(recorder);
        reloadAttachmentUI();
        break;
    }
    default:
        break;
    }
}

void TULOComposePostViewController::attachmentAlertControllerDidFinishWithResult(TULOAttachmentAlertController *controller,
                                                                                 qint64 result)
{
    handleAttachmentMenuResult(result, controller->selectedAttachments(), controller->transitionCoordinator());
    controller->setTULODelegate(nullptr);
}

void TULOComposePostViewController::audioPickerDidFinishWithAttachment(TULOAudioPickerController *picker,
                                                                       const TULOAttachmentPtr &attachment)
{
    if (picker && picker == m_audioPickerController) {
        picker->setAudioPickerDelegate(nullptr);
        QPointer<TULOComposePostViewController> self(this);
        picker->dismissViewController(true, [self, attachment] {
            if (!self)
                return;
            self->ingestAttachment(attachment, true);
            self->m_audioPickerController = nullptr;
        });
    }
    updatePostButton();
}

void TULOComposePostViewController::audioPickerDidCancel(TULOAudioPickerController *picker)
{
    if (!picker || picker != m_audioPickerController)
        return;
    picker->setAudioPickerDelegate(nullptr);
    picker->dismissViewController(true);
    m_audioPickerController = nullptr;
}

void TULOComposePostViewController::TULOComposeImagePickerDidFinishWithAttachments(TULOComposeImagePickerController *picker,
                                                                                   const QList<TULOAttachmentPtr> &attachments)
{
    if (!picker || picker != m_imagePickerController)
        return;
    if (!attachments.isEmpty())
        ingestAttachment(attachments.first(), true);
    picker->setDelegate(nullptr);
    // The picker ends but does not take itself down.
    if (picker->presentingViewController())
        picker->dismissViewController(true);
    m_imagePickerController = nullptr;
}

void TULOComposePostViewController::TULOComposeImagePickerDidCancel(TULOComposeImagePickerController *picker)
{
    if (!picker || picker != m_imagePickerController)
        return;
    picker->setDelegate(nullptr);
    // The picker ends but does not take itself down.
    if (picker->presentingViewController())
        picker->dismissViewController(true);
    m_imagePickerController = nullptr;
}

TULOViewController *
TULOComposePostViewController::parentViewControllerForTULOComposeImagePicker(TULOComposeImagePickerController *picker)
{
    Q_UNUSED(picker)
    return this;
}

void TULOComposePostViewController::TULOComposeImagePickerDidRejectFiles(TULOComposeImagePickerController *picker,
                                                                         const QStringList &messages)
{
    Q_UNUSED(picker)
    showRejectedFiles(messages);
}

void TULOComposePostViewController::showRejectedFiles(const QStringList &messages)
{
    if (messages.isEmpty())
        return;
    auto *alert = new TULOAlertController(localizedString(QStringLiteral("ATTACHMENT_NOT_ADDED_TITLE")),
                                          messages.join(QLatin1Char('\n')), TULOAlertControllerStyleAlert);
    alert->addAction(TULOAlertAction::actionWithTitle(localizedString(QStringLiteral("ATTACHMENT_NOT_ADDED_OK_BUTTON")),
                                                      TULOAlertActionStyleCancel));
    // Over a picker that is still up, the alert goes on top of it.
    TULOViewController *presenter = this;
    while (presenter->presentedViewController())
        presenter = presenter->presentedViewController();
    presenter->presentViewController(alert, true);
}

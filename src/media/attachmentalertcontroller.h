#pragma once

#include <Quillon/core/attachment.h>
#include <Quillon/core/configuration.h>
#include <Quillon/media/photopickerviewcontroller.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/ui/alertcontroller.h>
#include <Quillon/platform/weakdelegate.h>
#include <Quillon/quillon_export.h>

#include <QPointer>

class TULOAttachmentAlertController;

// What the user chose in the attachment menu.
enum TULOAttachmentAlertResult : qint64 {
    TULOAttachmentAlertResultCancel = 0,
    TULOAttachmentAlertResultSelectedPhotos = 1, // attach the shelf's selectedAttachments
    TULOAttachmentAlertResultUploadAudio = 2,
    TULOAttachmentAlertResultCamera = 3,
    TULOAttachmentAlertResultPhotoLibrary = 4,
    TULOAttachmentAlertResultRecordAudio = 5,
};

class TULOAttachmentAlertDelegate
{
public:
    virtual ~TULOAttachmentAlertDelegate() = default;
    virtual void attachmentAlertControllerDidFinishWithResult(TULOAttachmentAlertController *controller, qint64 result)
    {
        Q_UNUSED(controller)
        Q_UNUSED(result)
    }
};

// The attachment menu: an action sheet of the sources of a new attachment, with the shelf of
// recent photos above them. It picks nothing itself; its delegate learns the chosen source.
class QUILLON_EXPORT TULOAttachmentAlertController : public TULOAlertController,
                                                     public TULOPhotoPickerViewControllerDelegate
{
    Q_OBJECT

public:
    // `photoPicker` is the shelf to show (the menu takes it over); by default one over the photo
    // library module's library, none when the module is absent.
    TULOAttachmentAlertController(const TULOConfiguration &configuration, const TULOClientContext &clientContext,
        QObject *parent = nullptr);
    TULOAttachmentAlertController(const TULOConfiguration &configuration, const TULOClientContext &clientContext,
        TULOPhotoPickerViewController *photoPicker, QObject *parent = nullptr);
    ~TULOAttachmentAlertController() override;

    TULOConfiguration configuration() const { return m_configuration; }
    TULOClientContext clientContext() const { return m_clientContext; }

    TULOAttachmentAlertDelegate *TULODelegate() const { return m_delegate.get(); }
    void setTULODelegate(TULOAttachmentAlertDelegate *delegate) { m_delegate.set(delegate); }

    bool allowsCameraAndMicrophonePicker() const { return m_allowsCameraAndMicrophonePicker; }
    void setAllowsCameraAndMicrophonePicker(bool allows) { m_allowsCameraAndMicrophonePicker = allows; }

    TULOPhotoPickerViewController *photoPickerViewController() const { return m_photoPickerViewController; }
    QList<TULOAttachmentPtr> selectedAttachments() const;

    void TULOPhotoPickerSelectedAttachmentsDidChange(TULOPhotoPickerViewController *picker) override;

protected:
    void loadView() override;

private:
    static TULOPhotoPickerViewController *defaultShelf();
    void finishWithAttachmentResult(qint64 result);
    void photoLibraryButtonAction();
    QString photoLibraryButtonTitle() const;
    QString cameraButtonTitle() const;
    QString uploadAudioTitle() const;
    QString recordAudioTitle() const;
    QString cancelButtonTitle() const;
    QString chooseSongButtonTitle() const;
    void addSectionDelimiter();
    QString localizedString(const char *key) const;
    TULOAlertAction *addResultAction(const QString &title, TULOAlertActionStyle style, qint64 result);

    TULOConfiguration m_configuration;
    TULOClientContext m_clientContext;
    TULOWeakDelegate<TULOAttachmentAlertDelegate> m_delegate;
    QPointer<TULOAlertAction> m_firstAction;
    QPointer<TULOPhotoPickerViewController> m_photoPickerViewController;
    bool m_allowsCameraAndMicrophonePicker = false;
};

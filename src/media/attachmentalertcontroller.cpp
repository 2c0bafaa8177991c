#include <Quillon/media/attachmentalertcontroller.h>

#include <Quillon/core/numberformatter.h>
#include <Quillon/platform/audio/captureavailability.h>
#include <Quillon/platform/localization.h>

#include <QBoxLayout>
#include <QListView>

TULOAttachmentAlertController::TULOAttachmentAlertController(const TULOConfiguration &configuration,
    const TULOClientContext &clientContext, QObject *parent)
    : TULOAttachmentAlertController(configuration, clientContext, defaultShelf(), parent)
{
}

TULOPhotoPickerViewController *TULOAttachmentAlertController::defaultShelf()
{
    // Without a photo library there is no shelf at all.
    auto shelf = std::make_unique<TULOPhotoPickerViewController>();
    return shelf->hasLibrary() ? shelf.release() : nullptr;
}

TULOAttachmentAlertController::TULOAttachmentAlertController(const TULOConfiguration &configuration,
    const TULOClientContext &clientContext, TULOPhotoPickerViewController *photoPicker, QObject *parent)
    : TULOAlertController(QString(), QString(), TULOAlertControllerStyleActionSheet, parent)
    , m_configuration(configuration)
    , m_clientContext(clientContext)
    , m_photoPickerViewController(photoPicker)
{
    if (photoPicker) {
        addChildViewController(photoPicker);
        photoPicker->setDelegate(this);
        photoPicker->reloadAssets();
    }

    addSectionDelimiter();
    m_firstAction = TULOAlertAction::actionWithTitle(photoLibraryButtonTitle(), TULOAlertActionStyleDefault,
        [self = QPointer<TULOAttachmentAlertController>(this)](TULOAlertAction *) {
            if (self)
                self->photoLibraryButtonAction();
        });
    addAction(m_firstAction);
    // The camera action needs a camera as well as the store's permission.
    if (m_configuration.allowsCamera() && TULODeviceCapabilities::hasCamera())
        addResultAction(cameraButtonTitle(), TULOAlertActionStyleDefault, TULOAttachmentAlertResultCamera);

    addSectionDelimiter();
    addResultAction(uploadAudioTitle(), TULOAlertActionStyleDefault, TULOAttachmentAlertResultUploadAudio);

    addSectionDelimiter();
    if (m_configuration.allowsMicrophone()
        && TULODeviceCapabilities::hasCapability(QLatin1String(TULODeviceCapabilityMicrophone)))
        addResultAction(recordAudioTitle(), TULOAlertActionStyleDefault, TULOAttachmentAlertResultRecordAudio);

    addSectionDelimiter();
    addResultAction(cancelButtonTitle(), TULOAlertActionStyleCancel, TULOAttachmentAlertResultCancel);
}

TULOAttachmentAlertController::~TULOAttachmentAlertController()
{
    if (m_photoPickerViewController)
        m_photoPickerViewController->setDelegate(nullptr);
}

TULOAlertAction *TULOAttachmentAlertController::addResultAction(const QString &title, TULOAlertActionStyle style,
    qint64 result)
{
    auto *action = TULOAlertAction::actionWithTitle(title, style,
        [self = QPointer<TULOAttachmentAlertController>(this), result](TULOAlertAction *) {
            if (self)
                self->finishWithAttachmentResult(result);
        });
    addAction(action);
    return action;
}

void TULOAttachmentAlertController::loadView()
{
    TULOAlertController::loadView();
    if (!m_photoPickerViewController)
        return;
    // The shelf sits above the actions, as wide as the sheet.
    if (auto *layout = qobject_cast<QBoxLayout *>(view()->layout()))
        layout->insertWidget(0, m_photoPickerViewController->view());
}

QList<TULOAttachmentPtr> TULOAttachmentAlertController::selectedAttachments() const
{
    return m_photoPickerViewController ? m_photoPickerViewController->selectedAttachments()
                                       : QList<TULOAttachmentPtr>();
}

void TULOAttachmentAlertController::TULOPhotoPickerSelectedAttachmentsDidChange(TULOPhotoPickerViewController *picker)
{
    Q_UNUSED(picker)
    if (!m_firstAction)
        return;
    const qsizetype count = selectedAttachments().size();
    if (count == 1) {
        m_firstAction->setTitle(localizedString("ATTACH_PHOTO_BUTTON"));
    } else if (count > 1) {
        const QString number = TULONumberFormatter(m_clientContext, 1).stringFromNumber(count);
        m_firstAction->setTitle(TULOStringWithFormat(localizedString("ATTACH_PHOTOS_BUTTON_%@"), {number}));
    } else {
        m_firstAction->setTitle(photoLibraryButtonTitle());
    }
}

void TULOAttachmentAlertController::finishWithAttachmentResult(qint64 result)
{
    if (TULOAttachmentAlertDelegate *delegate = m_delegate.get())
        delegate->attachmentAlertControllerDidFinishWithResult(this, result);
}

void TULOAttachmentAlertController::photoLibraryButtonAction()
{
    finishWithAttachmentResult(selectedAttachments().isEmpty() ? TULOAttachmentAlertResultPhotoLibrary
                                                               : TULOAttachmentAlertResultSelectedPhotos);
}

QString TULOAttachmentAlertController::localizedString(const char *key) const
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(
        QString::fromLatin1(key), QString::fromLatin1(TULOStringsTablePostComposition), m_clientContext);
}

QString TULOAttachmentAlertController::photoLibraryButtonTitle() const
{
    return localizedString("UPLOAD_PHOTO_OR_VIDEO_BUTTON");
}

QString TULOAttachmentAlertController::cameraButtonTitle() const
{
    return localizedString(TULODeviceCapabilities::hasCapability(QLatin1String(TULODeviceCapabilityVideoCamera))
            ? "TAKE_PHOTO_OR_VIDEO_BUTTON"
            : "TAKE_PHOTO_BUTTON");
}

QString TULOAttachmentAlertController::uploadAudioTitle() const
{
    return localizedString("ATTACH_AUDIO_BUTTON");
}

QString TULOAttachmentAlertController::recordAudioTitle() const
{
    return localizedString("RECORD_AUDIO_BUTTON");
}

QString TULOAttachmentAlertController::cancelButtonTitle() const
{
    return localizedString("ATTACHMENT_CANCEL_BUTTON");
}

QString TULOAttachmentAlertController::chooseSongButtonTitle() const
{
    return localizedString("CHOOSE_SONG_BUTTON");
}

void TULOAttachmentAlertController::addSectionDelimiter()
{
    startNewActionGroup();
}

#include "postrecording.h"

#include <Quillon/media/voicerecorder.h>
#include <Quillon/platform/audio/voicecapture.h>
#include <Quillon/platform/typeidentifiers.h>

#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QUuid>

namespace {

class Waiter : public TULOVoiceRecorderDelegate
{
public:
    void voiceRecorderDidFinishWithSuccess(TULOVoiceRecorder *, bool success) override
    {
        finished = true;
        succeeded = success;
        loop.quit();
    }

    QEventLoop loop;
    bool finished = false;
    bool succeeded = false;
};

TULOError recordingError(const QString &description, const TULOError &cause = TULOError())
{
    QVariantMap info{{QString::fromLatin1(TULOLocalizedDescriptionKey), description}};
    if (cause)
        info.insert(QString::fromLatin1(TULOUnderlyingErrorKey), QVariant::fromValue(cause));
    return TULOError(TULOErrorDomain, TULOErrorOperationFailed, info);
}

} // namespace

TULOAttachmentPtr TULOPostRecordSoundBite(double seconds, const QString &captureFromPath, TULOError *error)
{
    if (!captureFromPath.isEmpty()) {
        TULOError unusable;
        if (!TULOVoiceCapture::checkCaptureSourceFile(captureFromPath, &unusable)) {
            TULOSetError(error, recordingError(unusable.localizedDescription(), unusable));
            return nullptr;
        }
        TULOVoiceCapture::setCaptureSourceFile(QFileInfo(captureFromPath).absoluteFilePath());
    }

    const QString path = QDir(QDir::tempPath()).filePath(QUuid::createUuid().toString(QUuid::WithoutBraces)
                                                         + QStringLiteral(".caf"));
    auto recorder = std::make_shared<TULOVoiceRecorder>(path);
    recorder->setMaximumRecordingDuration(seconds);
    Waiter waiter;
    recorder->setDelegate(&waiter);
    TULOError failure;
    if (!recorder->startRecordingUsingActivationMode(TULOVoiceCaptureActivationModeHold, &failure)) {
        recorder->setDelegate(nullptr);
        QFile::remove(path);
        TULOSetError(error, recordingError(QStringLiteral("Could not start recording: %1").arg(failure.localizedDescription()), failure));
        return nullptr;
    }
    // The recorder stops itself at its limit; a file source that ends earlier stops it too.
    if (!waiter.finished)
        waiter.loop.exec();
    recorder->setDelegate(nullptr);
    const qint64 packets = recorder->totalRecordedPacketCount();
    if (!waiter.succeeded || packets == 0) {
        QFile::remove(path);
        TULOSetError(error, recordingError(QStringLiteral("the recording failed or captured no sound")));
        return nullptr;
    }
    auto attachment = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(path), QString::fromLatin1(TULOTypeIdentifierCAF));
    attachment->setDuration(double(packets) / 44100.0);
    return attachment;
}

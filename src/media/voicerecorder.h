#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/audio/voicecapture.h>
#include <Quillon/platform/error.h>
#include <Quillon/platform/weakdelegate.h>

#include <QElapsedTimer>
#include <QList>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class QTimer;
class TULOAudioFile;
class TULOVoiceRecorder;

// All sent on the main thread.
class QUILLON_EXPORT TULOVoiceRecorderDelegate
{
public:
    virtual ~TULOVoiceRecorderDelegate() = default;
    virtual void voiceRecorderDidStartRecording(TULOVoiceRecorder *recorder) { Q_UNUSED(recorder); }
    virtual void voiceRecorderDidFinishWithSuccess(TULOVoiceRecorder *recorder, bool success)
    {
        Q_UNUSED(recorder);
        Q_UNUSED(success);
    }
    virtual void voiceRecorderDidUpdateAveragePower(TULOVoiceRecorder *recorder, float averagePower)
    {
        Q_UNUSED(recorder);
        Q_UNUSED(averagePower);
    }
};

// A take shorter than this (seconds) makes no attachment: the recorder screen asks for a new
// take, and the command line refuses it.
constexpr double TULOVoiceRecorderMinimumAttachmentDuration = 0.5;

// Records one take from the voice-capture facility into a CAF file (44.1 kHz mono 16-bit
// PCM), meters the input fifteen times a second and stops itself after
// maximumRecordingDuration(). Lives on the main thread. Own it through a std::shared_ptr:
// from the first stop request until the capture has finished it keeps itself alive, so an
// owner may drop it right after asking it to stop.
class QUILLON_EXPORT TULOVoiceRecorder : public TULOVoiceCaptureDelegate, public std::enable_shared_from_this<TULOVoiceRecorder>
{
public:
    using CompletionHandler = std::function<void(bool success)>;

    TULOVoiceRecorder();
    explicit TULOVoiceRecorder(const QString &assetPath);
    ~TULOVoiceRecorder() override;

    TULOVoiceRecorder(const TULOVoiceRecorder &) = delete;
    TULOVoiceRecorder &operator=(const TULOVoiceRecorder &) = delete;

    QString assetPath() const { return m_assetPath; }

    // Seconds; a value not above the double epsilon means no limit. Default 10.
    double maximumRecordingDuration() const { return m_maximumRecordingDuration; }
    void setMaximumRecordingDuration(double seconds) { m_maximumRecordingDuration = seconds; }

    TULOVoiceRecorderDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(TULOVoiceRecorderDelegate *delegate) { m_delegate.set(delegate); }

    bool startRecordingUsingActivationMode(qint64 activationMode, TULOError *error = nullptr);
    void stopRecordingWithCompletionHandler(CompletionHandler handler = {});

    // Packets written so far: the index at which the next packets go.
    qint64 totalRecordedPacketCount() const { return m_totalRecordedPacketCount; }
    bool isCapturing() const { return m_voiceController != nullptr; }

    // Facility callbacks, from any thread: each only posts its work to the main queue.
    void voiceControllerDidStartRecording(TULOVoiceCapture *capture, bool successfully) override;
    void voiceControllerDidStopRecording(TULOVoiceCapture *capture, qint64 reason) override;
    void voiceControllerRecordBufferAvailable(TULOVoiceCapture *capture, TULOVoiceCaptureBufferRef buffer) override;

private:
    void postToMain(std::function<void()> work);
    void didStart(bool successfully);
    void writeBuffer(const TULOVoiceCaptureBufferRef &buffer);
    void finishRecordingWithReason(qint64 reason);
    void startPowerMeterTimer();
    void stopPowerMeterTimer();
    void powerMeterTick();
    void startRecordingTimeoutTimer();
    void stopRecordingTimeoutTimer();
    void tearDownCapture();

    QString m_assetPath;
    double m_maximumRecordingDuration = 10.0;
    TULOWeakDelegate<TULOVoiceRecorderDelegate> m_delegate;
    std::unique_ptr<TULOAudioFile> m_fileID;
    std::unique_ptr<TULOVoiceCapture> m_voiceController;
    qint64 m_totalRecordedPacketCount = 0;
    std::optional<QList<CompletionHandler>> m_stopBlocks;
    std::shared_ptr<TULOVoiceRecorder> m_capturedSelf;
    // Owned by the recorder, so a released recorder is no longer metered or timed out.
    std::unique_ptr<QTimer> m_powerMeterTimer;
    std::unique_ptr<QTimer> m_recordingTimeoutTimer;
    QElapsedTimer m_powerMeterClock;
    qint64 m_powerMeterTicks = 0;
    // Work posted to the main queue runs only while this token lives.
    std::shared_ptr<int> m_alive = std::make_shared<int>(0);
};

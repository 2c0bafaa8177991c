#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/error.h>

#include <QByteArray>
#include <QString>
#include <QVector>

#include <functional>
#include <memory>
#include <mutex>

// Four-character codes of the capture facility, passed through unchanged.
constexpr quint32 TULOAudioFormatLinearPCM = 0x6C70636D;          // "lpcm"
constexpr qint64 TULOVoiceCaptureActivationModeHold = 0x686F6C64;      // "hold"
constexpr qint64 TULOVoiceCaptureActivationModeProximity = 0x70726F78; // "prox"

// Stop reason of a capture that was asked to start and did not.
constexpr qint64 TULOVoiceCaptureStartFailedReason = -11799;
// Stop reason of a capture whose device went away mid-take (unplugged, or its source file gone).
constexpr qint64 TULOVoiceCaptureDeviceLostReason = -2;

// Errors of the audio services (file creation, capture devices) carry the service's status
// as their code in this domain.
inline constexpr TULOErrorDomainName TULOOSStatusErrorDomain{"TULOOSStatusErrorDomain"};
enum TULOOSStatusErrorCode : qint64 {
    TULOOSStatusErrorUnknown = -1,
    TULOOSStatusErrorCannotOpen = -11828,
    // A playback failure: this minus the player's own error number.
    TULOOSStatusErrorPlaybackBase = -11800,
    TULOOSStatusErrorFormatUnsupported = 1718449215, // the four characters "fmt?"
};

// Metering range, in decibels relative to full scale.
constexpr float TULOVoiceCaptureMinimumPower = -160.0f;
constexpr float TULOVoiceCaptureMaximumPower = 0.0f;

enum class TULOSampleRateConverterQuality { Min, Low, Medium, High, Max, Mastering };

// The five capture settings a capture is prepared with.
struct QUILLON_EXPORT TULOVoiceCaptureSettings
{
    quint32 formatID = TULOAudioFormatLinearPCM;
    int linearPCMBitDepth = 16;
    double sampleRate = 44100.0;
    int numberOfChannels = 1;
    TULOSampleRateConverterQuality sampleRateConverterQuality = TULOSampleRateConverterQuality::Mastering;

    bool operator==(const TULOVoiceCaptureSettings &) const = default;
};

struct QUILLON_EXPORT TULOVoiceCaptureContext
{
    qint64 activationMode = 0;
    bool operator==(const TULOVoiceCaptureContext &) const = default;
};

struct QUILLON_EXPORT TULOAudioPacketDescription
{
    qint64 startOffset = 0;
    quint32 variableFramesInPacket = 0;
    quint32 dataByteSize = 0;
};

// One block of captured audio. Immutable once delivered; shared so that it stays alive until
// the main-queue work that consumes it has run.
struct QUILLON_EXPORT TULOVoiceCaptureBuffer
{
    QByteArray data;
    quint32 dataByteSize = 0;
    QVector<TULOAudioPacketDescription> packetDescriptions;

    // 16-bit mono samples as one packet each, the way the capture devices deliver them.
    static std::shared_ptr<const TULOVoiceCaptureBuffer> withSamples(const qint16 *samples, qsizetype count);
};
using TULOVoiceCaptureBufferRef = std::shared_ptr<const TULOVoiceCaptureBuffer>;

class TULOVoiceCapture;

// Callbacks of a capture. They may come on any thread.
class QUILLON_EXPORT TULOVoiceCaptureDelegate
{
public:
    virtual ~TULOVoiceCaptureDelegate() = default;
    virtual void voiceControllerDidStartRecording(TULOVoiceCapture *capture, bool successfully)
    {
        Q_UNUSED(capture);
        Q_UNUSED(successfully);
    }
    virtual void voiceControllerDidStopRecording(TULOVoiceCapture *capture, qint64 reason)
    {
        Q_UNUSED(capture);
        Q_UNUSED(reason);
    }
    virtual void voiceControllerRecordBufferAvailable(TULOVoiceCapture *capture, TULOVoiceCaptureBufferRef buffer)
    {
        Q_UNUSED(capture);
        Q_UNUSED(buffer);
    }
};

// The voice-capture facility: one capture from one source. Prepare, start, stop; metering of
// the most recent input; buffers and the started/stopped callbacks go to the record delegate.
class QUILLON_EXPORT TULOVoiceCapture
{
public:
    using Factory = std::function<std::unique_ptr<TULOVoiceCapture>(const TULOVoiceCaptureContext &, TULOError *)>;

    // The capture the deployment asks for: a factory installed with setFactory(), else the
    // file-fed device when a capture source file is configured (setCaptureSourceFile() or the
    // environment variable QUILLON_CAPTURE_FILE), else the default microphone.
    static std::unique_ptr<TULOVoiceCapture> create(const TULOVoiceCaptureContext &context, TULOError *error = nullptr);
    // The same choice without the installed factory.
    static std::unique_ptr<TULOVoiceCapture> createDefault(const TULOVoiceCaptureContext &context, TULOError *error = nullptr);
    // Whether `path` can feed a file-fed device: a readable audio file with at least one frame.
    // The error names the file and says what is wrong with it (missing, not audio, no sound).
    static bool checkCaptureSourceFile(const QString &path, TULOError *error = nullptr);
    // A device that plays `path` (any format libsndfile reads) into the capture in real time.
    static std::unique_ptr<TULOVoiceCapture> createFileFed(const QString &path, const TULOVoiceCaptureContext &context,
                                                          TULOError *error = nullptr);
    // The microphone; an empty id means the system's default input.
    static std::unique_ptr<TULOVoiceCapture> createMicrophone(const QByteArray &deviceId, const TULOVoiceCaptureContext &context,
                                                             TULOError *error = nullptr);

    static void setFactory(Factory factory);
    static void setCaptureSourceFile(const QString &path);
    static QString captureSourceFile();
    // True when create() does not need a microphone: a factory or a source file is configured.
    static bool hasConfiguredCapture();

    // The activation context of the shared audio session: set by a capture when it is created.
    static TULOVoiceCaptureContext sharedSessionActivationContext();
    static void setSharedSessionActivationContext(const TULOVoiceCaptureContext &context);

    virtual ~TULOVoiceCapture();

    TULOVoiceCaptureContext context() const { return m_context; }

    // After this returns no callback of the old delegate is running or will start.
    void setRecordDelegate(TULOVoiceCaptureDelegate *delegate);

    void setMeteringEnabled(bool enabled) { m_meteringEnabled = enabled; }
    bool isMeteringEnabled() const { return m_meteringEnabled; }
    void setEndpointMode(qint64 mode) { m_endpointMode = mode; }
    qint64 endpointMode() const { return m_endpointMode; }
    void setRecordEndWaitTime(double seconds) { m_recordEndWaitTime = seconds; }
    void setRecordStartWaitTime(double seconds) { m_recordStartWaitTime = seconds; }

    virtual bool prepareRecordWithSettings(const TULOVoiceCaptureSettings &settings, TULOError *error = nullptr) = 0;
    // True when the capture is on its way; the started callback tells whether it really began.
    virtual bool startRecording(TULOError *error = nullptr) = 0;
    virtual void stopRecording() = 0;
    virtual void updateMeters() = 0;
    // Average power in decibels (-160 to 0) at the last updateMeters().
    virtual float averagePowerForChannel(int channel) const = 0;
    virtual void releaseAudioSession(bool notifyOthers) { Q_UNUSED(notifyOthers); }

    // Average power of 16-bit samples in decibels, clamped to the metering range.
    static float averagePowerOfSamples(const qint16 *samples, qsizetype count);

protected:
    explicit TULOVoiceCapture(const TULOVoiceCaptureContext &context);

    static bool checkSettings(const TULOVoiceCaptureSettings &settings, TULOError *error);

    void notifyStarted(bool successfully);
    void notifyStopped(qint64 reason);
    void notifyBuffer(const TULOVoiceCaptureBufferRef &buffer);

private:
    TULOVoiceCaptureContext m_context;
    std::mutex m_delegateMutex;
    TULOVoiceCaptureDelegate *m_delegate = nullptr;
    bool m_meteringEnabled = false;
    qint64 m_endpointMode = 0;
    double m_recordEndWaitTime = 0.0;
    double m_recordStartWaitTime = 0.0;
};

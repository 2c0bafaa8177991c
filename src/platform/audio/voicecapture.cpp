#include <Quillon/platform/audio/voicecapture.h>

#include <Quillon/platform/audio/captureavailability.h>
#include <Quillon/platform/audio/voicecapture_sndfile_p.h>
#include <Quillon/platform/multimediamodule_p.h>

#include <QCoreApplication>

#include <algorithm>
#include <cmath>


namespace {

struct CaptureConfiguration
{
    std::mutex mutex;
    TULOVoiceCapture::Factory factory;
    QString sourceFile;
    TULOVoiceCaptureContext sessionContext;
};

CaptureConfiguration &configuration()
{
    static CaptureConfiguration config;
    return config;
}

} // namespace

std::shared_ptr<const TULOVoiceCaptureBuffer> TULOVoiceCaptureBuffer::withSamples(const qint16 *samples, qsizetype count)
{
    auto buffer = std::make_shared<TULOVoiceCaptureBuffer>();
    buffer->data = QByteArray(reinterpret_cast<const char *>(samples), count * qsizetype(sizeof(qint16)));
    buffer->dataByteSize = quint32(buffer->data.size());
    buffer->packetDescriptions.resize(count);
    for (qsizetype i = 0; i < count; ++i)
        buffer->packetDescriptions[i] = {qint64(i) * qint64(sizeof(qint16)), 0, quint32(sizeof(qint16))};
    return buffer;
}

std::unique_ptr<TULOVoiceCapture> TULOVoiceCapture::create(const TULOVoiceCaptureContext &context, TULOError *error)
{
    Factory factory;
    {
        std::lock_guard lock(configuration().mutex);
        factory = configuration().factory;
    }
    if (factory)
        return factory(context, error);
    return createDefault(context, error);
}

std::unique_ptr<TULOVoiceCapture> TULOVoiceCapture::createDefault(const TULOVoiceCaptureContext &context, TULOError *error)
{
    const QString file = captureSourceFile();
    if (!file.isEmpty())
        return createFileFed(file, context, error);
    return createMicrophone(QByteArray(), context, error);
}

std::unique_ptr<TULOVoiceCapture> TULOVoiceCapture::createFileFed(const QString &path, const TULOVoiceCaptureContext &context,
                                                                 TULOError *error)
{
    if (path.isEmpty()) {
        TULOSetError(error, TULOError::withDescription(TULOOSStatusErrorDomain, TULOOSStatusErrorUnknown,
                                                       QStringLiteral("No capture source file was given.")));
        return nullptr;
    }
    setSharedSessionActivationContext(context);
    return std::make_unique<TULOVoiceCaptureSndfile>(path, context);
}

std::unique_ptr<TULOVoiceCapture> TULOVoiceCapture::createMicrophone(const QByteArray &deviceId, const TULOVoiceCaptureContext &context,
                                                                    TULOError *error)
{
    TULOMultimediaModule *multimedia = TULOMultimediaModule::shared();
    if (!multimedia) {
        TULOSetError(error, TULOError::withDescription(TULOOSStatusErrorDomain, TULOOSStatusErrorUnknown,
                                                       QStringLiteral("This system cannot record: the multimedia module is not installed.")));
        return nullptr;
    }
    auto capture = multimedia->makeMicrophoneCapture(deviceId, context, error);
    if (capture)
        setSharedSessionActivationContext(context);
    return capture;
}

void TULOVoiceCapture::setFactory(Factory factory)
{
    {
        std::lock_guard lock(configuration().mutex);
        configuration().factory = std::move(factory);
    }
    TULOVoiceCaptureAvailability::notifyConfigurationChanged();
}

void TULOVoiceCapture::setCaptureSourceFile(const QString &path)
{
    {
        std::lock_guard lock(configuration().mutex);
        configuration().sourceFile = path;
    }
    TULOVoiceCaptureAvailability::notifyConfigurationChanged();
}

bool TULOVoiceCapture::hasConfiguredCapture()
{
    {
        std::lock_guard lock(configuration().mutex);
        if (configuration().factory)
            return true;
    }
    return !captureSourceFile().isEmpty();
}

QString TULOVoiceCapture::captureSourceFile()
{
    {
        std::lock_guard lock(configuration().mutex);
        if (!configuration().sourceFile.isEmpty())
            return configuration().sourceFile;
    }
    return qEnvironmentVariable("QUILLON_CAPTURE_FILE");
}

TULOVoiceCaptureContext TULOVoiceCapture::sharedSessionActivationContext()
{
    std::lock_guard lock(configuration().mutex);
    return configuration().sessionContext;
}

void TULOVoiceCapture::setSharedSessionActivationContext(const TULOVoiceCaptureContext &context)
{
    std::lock_guard lock(configuration().mutex);
    configuration().sessionContext = context;
}

TULOVoiceCapture::TULOVoiceCapture(const TULOVoiceCaptureContext &context)
    : m_context(context)
{
}

TULOVoiceCapture::~TULOVoiceCapture() = default;

void TULOVoiceCapture::setRecordDelegate(TULOVoiceCaptureDelegate *delegate)
{
    std::lock_guard lock(m_delegateMutex);
    m_delegate = delegate;
}

bool TULOVoiceCapture::checkSettings(const TULOVoiceCaptureSettings &settings, TULOError *error)
{
    // Both devices deliver exactly the one format recordings are written in.
    if (settings.formatID == TULOAudioFormatLinearPCM && settings.linearPCMBitDepth == 16
        && settings.sampleRate == 44100.0 && settings.numberOfChannels == 1)
        return true;
    TULOSetError(error, TULOError::withDescription(TULOOSStatusErrorDomain, TULOOSStatusErrorFormatUnsupported,
                                                   QStringLiteral("The capture device records 44.1 kHz mono 16-bit linear PCM only.")));
    return false;
}

void TULOVoiceCapture::notifyStarted(bool successfully)
{
    std::lock_guard lock(m_delegateMutex);
    if (m_delegate)
        m_delegate->voiceControllerDidStartRecording(this, successfully);
}

void TULOVoiceCapture::notifyStopped(qint64 reason)
{
    std::lock_guard lock(m_delegateMutex);
    if (m_delegate)
        m_delegate->voiceControllerDidStopRecording(this, reason);
}

void TULOVoiceCapture::notifyBuffer(const TULOVoiceCaptureBufferRef &buffer)
{
    std::lock_guard lock(m_delegateMutex);
    if (m_delegate)
        m_delegate->voiceControllerRecordBufferAvailable(this, buffer);
}

float TULOVoiceCapture::averagePowerOfSamples(const qint16 *samples, qsizetype count)
{
    if (count <= 0)
        return TULOVoiceCaptureMinimumPower;
    double sum = 0.0;
    for (qsizetype i = 0; i < count; ++i) {
        const double v = samples[i] / 32768.0;
        sum += v * v;
    }
    const double rms = std::sqrt(sum / double(count));
    if (rms <= 0.0)
        return TULOVoiceCaptureMinimumPower;
    const double db = 20.0 * std::log10(rms);
    return float(std::clamp(db, double(TULOVoiceCaptureMinimumPower), double(TULOVoiceCaptureMaximumPower)));
}

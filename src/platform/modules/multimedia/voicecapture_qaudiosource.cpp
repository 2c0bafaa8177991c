#include "voicecapture_qaudiosource.h"

#include <QAudioFormat>
#include <QAudioSource>
#include <QMediaDevices>

#include <algorithm>

namespace {

QAudioFormat captureFormat()
{
    QAudioFormat format;
    format.setSampleRate(44100);
    format.setChannelCount(1);
    format.setSampleFormat(QAudioFormat::Int16);
    return format;
}

TULOError captureError(qint64 code, const QString &text)
{
    return TULOError::withDescription(TULOOSStatusErrorDomain, code, text);
}

} // namespace

std::unique_ptr<TULOVoiceCapture> TULOVoiceCaptureQAudioSource::create(const QByteArray &deviceId,
                                                                      const TULOVoiceCaptureContext &context, TULOError *error)
{
    QAudioDevice device;
    if (deviceId.isEmpty()) {
        device = QMediaDevices::defaultAudioInput();
    } else {
        const auto inputs = QMediaDevices::audioInputs();
        for (const QAudioDevice &input : inputs) {
            if (input.id() == deviceId)
                device = input;
        }
    }
    if (device.isNull()) {
        TULOSetError(error, captureError(TULOOSStatusErrorUnknown, deviceId.isEmpty()
                                                 ? QStringLiteral("No audio input device is available.")
                                                 : QStringLiteral("The audio input device %1 is not available.")
                                                       .arg(QString::fromUtf8(deviceId))));
        return nullptr;
    }
    return std::make_unique<TULOVoiceCaptureQAudioSource>(device, context);
}

TULOVoiceCaptureQAudioSource::TULOVoiceCaptureQAudioSource(const QAudioDevice &device, const TULOVoiceCaptureContext &context)
    : TULOVoiceCapture(context), m_device(device), m_devices(new QMediaDevices(this))
{
    connect(m_devices, &QMediaDevices::audioInputsChanged, this, &TULOVoiceCaptureQAudioSource::audioInputsChanged);
}

TULOVoiceCaptureQAudioSource::~TULOVoiceCaptureQAudioSource()
{
    setRecordDelegate(nullptr);
    if (m_source) {
        m_source->disconnect(this);
        m_source->stop();
        delete m_source;
    }
}

bool TULOVoiceCaptureQAudioSource::prepareRecordWithSettings(const TULOVoiceCaptureSettings &settings, TULOError *error)
{
    if (!checkSettings(settings, error))
        return false;
    if (!m_device.isFormatSupported(captureFormat())) {
        TULOSetError(error, captureError(TULOOSStatusErrorFormatUnsupported, QStringLiteral("The audio input device %1 cannot record 44.1 kHz mono 16-bit audio.")
                                                         .arg(m_device.description())));
        return false;
    }
    if (!m_source) {
        m_source = new QAudioSource(m_device, captureFormat());
        connect(m_source, &QAudioSource::stateChanged, this, &TULOVoiceCaptureQAudioSource::sourceStateChanged);
    }
    return true;
}

bool TULOVoiceCaptureQAudioSource::startRecording(TULOError *error)
{
    if (!m_source || m_running) {
        TULOSetError(error, captureError(TULOOSStatusErrorUnknown, m_running ? QStringLiteral("The capture is already running.")
                                                       : QStringLiteral("The capture was not prepared.")));
        return false;
    }
    m_input = m_source->start();
    const bool started = m_input && m_source->error() == QAudio::NoError;
    if (started) {
        m_running = true;
        connect(m_input, &QIODevice::readyRead, this, &TULOVoiceCaptureQAudioSource::readAvailable);
    }
    // The facility reports the outcome through the callback, as devices that start
    // asynchronously do.
    notifyStarted(started);
    return true;
}

void TULOVoiceCaptureQAudioSource::stopRecording()
{
    if (!m_running || m_stopping)
        return;
    m_stopping = true;
    readAvailable();
    m_source->stop();
    m_running = false;
    m_latestPower = TULOVoiceCaptureMinimumPower;
    notifyStopped(0);
}

void TULOVoiceCaptureQAudioSource::updateMeters()
{
    m_meteredPower = isMeteringEnabled() ? m_latestPower : TULOVoiceCaptureMinimumPower;
}

float TULOVoiceCaptureQAudioSource::averagePowerForChannel(int channel) const
{
    return channel == 0 ? m_meteredPower : TULOVoiceCaptureMinimumPower;
}

void TULOVoiceCaptureQAudioSource::readAvailable()
{
    if (!m_input)
        return;
    QByteArray bytes = m_pending + m_input->readAll();
    const qsizetype whole = bytes.size() / qsizetype(sizeof(qint16)) * qsizetype(sizeof(qint16));
    m_pending = bytes.mid(whole);
    bytes.truncate(whole);
    if (bytes.isEmpty())
        return;
    const auto *samples = reinterpret_cast<const qint16 *>(bytes.constData());
    const qsizetype count = bytes.size() / qsizetype(sizeof(qint16));
    m_latestPower = averagePowerOfSamples(samples, count);
    notifyBuffer(TULOVoiceCaptureBuffer::withSamples(samples, count));
}

void TULOVoiceCaptureQAudioSource::sourceStateChanged()
{
    // A device that goes away or fails ends the capture with its error as the reason.
    if (!m_running || m_stopping || m_source->state() != QAudio::StoppedState)
        return;
    const QAudio::Error failure = m_source->error();
    m_running = false;
    notifyStopped(failure == QAudio::NoError ? 0 : -qint64(failure));
}

void TULOVoiceCaptureQAudioSource::audioInputsChanged()
{
    // Some backends keep an unplugged device's stream open in silence; the device list tells.
    if (!m_running || m_stopping)
        return;
    const auto inputs = QMediaDevices::audioInputs();
    const bool present = std::any_of(inputs.cbegin(), inputs.cend(),
                                     [this](const QAudioDevice &input) { return input.id() == m_device.id(); });
    if (present)
        return;
    readAvailable();
    m_running = false;
    m_source->disconnect(this);
    m_source->stop();
    m_latestPower = TULOVoiceCaptureMinimumPower;
    notifyStopped(TULOVoiceCaptureDeviceLostReason);
}

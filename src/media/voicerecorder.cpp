#include <Quillon/media/voicerecorder.h>

#include <Quillon/platform/audio/audiofile.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/privatefiles.h>

#include <QDir>
#include <QFileInfo>
#include <QObject>
#include <QTimer>

#include <chrono>
#include <cmath>
#include <limits>

namespace {

constexpr qint64 PowerMeterIntervalNanoseconds = 66'666'666; // fifteen times a second

} // namespace

TULOVoiceRecorder::TULOVoiceRecorder()
    : TULOVoiceRecorder(QString())
{
}

TULOVoiceRecorder::TULOVoiceRecorder(const QString &assetPath)
    : m_assetPath(assetPath)
{
}

TULOVoiceRecorder::~TULOVoiceRecorder()
{
    // Tearing down closes the file, cancels both timers and clears the facility's delegate
    // before anything posted for this recorder could run.
    m_alive.reset();
    tearDownCapture();
    m_fileID.reset();
    m_powerMeterTimer.reset();
    m_recordingTimeoutTimer.reset();
}

void TULOVoiceRecorder::postToMain(std::function<void()> work)
{
    // Called on the capture's thread while the recorder is alive: the capture clears its
    // delegate (and waits for running callbacks) before the recorder goes.
    TULODispatchMain([alive = std::weak_ptr<int>(m_alive), work = std::move(work)] {
        if (!alive.expired())
            work();
    });
}

bool TULOVoiceRecorder::startRecordingUsingActivationMode(qint64 activationMode, TULOError *error)
{
    if (m_voiceController) {
        TULOSetError(error, TULOError::withDescription(TULOOSStatusErrorDomain, TULOOSStatusErrorUnknown,
                                                       QStringLiteral("This recorder is already recording.")));
        return false;
    }
    TULOPrivateFiles::makeFolder(QFileInfo(m_assetPath).absolutePath()); // a failure shows when the file is created

    TULOError failure;
    m_fileID = TULOAudioFile::create(m_assetPath, TULOAudioFileCAFType, TULOSoundBiteStreamFormat(), &failure);
    if (!m_fileID) {
        TULOSetError(error, failure);
        return false;
    }
    TULOPrivateFiles::makeFile(m_assetPath);

    TULOVoiceCaptureContext context;
    context.activationMode = activationMode;
    m_voiceController = TULOVoiceCapture::create(context, &failure);
    if (!m_voiceController) {
        m_fileID.reset(); // leaves an empty, valid file
        TULOSetError(error, failure);
        return false;
    }
    m_voiceController->setMeteringEnabled(true);
    m_voiceController->setRecordDelegate(this);
    m_voiceController->setEndpointMode(2);
    m_voiceController->setRecordEndWaitTime(0.0);
    m_voiceController->setRecordStartWaitTime(0.0);

    if (!m_voiceController->prepareRecordWithSettings(TULOVoiceCaptureSettings(), &failure)) {
        tearDownCapture();
        m_fileID.reset();
        TULOSetError(error, failure);
        return false;
    }

    m_totalRecordedPacketCount = 0;
    if (!m_voiceController->startRecording(&failure)) {
        tearDownCapture();
        m_fileID.reset();
        TULOSetError(error, failure);
        return false;
    }
    return true;
}

void TULOVoiceRecorder::stopRecordingWithCompletionHandler(CompletionHandler handler)
{
    if (!m_voiceController) {
        if (handler)
            handler(false);
        return;
    }
    const bool firstRequest = !m_stopBlocks.has_value();
    if (firstRequest)
        m_stopBlocks.emplace();
    if (handler)
        m_stopBlocks->append(std::move(handler));
    if (!firstRequest)
        return; // later requests only wait for the same finish
    m_capturedSelf = weak_from_this().lock();
    m_voiceController->stopRecording();
    stopRecordingTimeoutTimer();
}

void TULOVoiceRecorder::voiceControllerDidStartRecording(TULOVoiceCapture *capture, bool successfully)
{
    Q_UNUSED(capture);
    postToMain([this, successfully] { didStart(successfully); });
}

void TULOVoiceRecorder::voiceControllerDidStopRecording(TULOVoiceCapture *capture, qint64 reason)
{
    Q_UNUSED(capture);
    postToMain([this, reason] {
        if (m_voiceController)
            finishRecordingWithReason(reason);
    });
}

void TULOVoiceRecorder::voiceControllerRecordBufferAvailable(TULOVoiceCapture *capture, TULOVoiceCaptureBufferRef buffer)
{
    Q_UNUSED(capture);
    postToMain([this, buffer] { writeBuffer(buffer); });
}

void TULOVoiceRecorder::didStart(bool successfully)
{
    if (!m_voiceController)
        return; // finished already
    if (!successfully) {
        finishRecordingWithReason(TULOVoiceCaptureStartFailedReason);
        return;
    }
    startPowerMeterTimer();
    startRecordingTimeoutTimer();
    if (TULOVoiceRecorderDelegate *delegate = m_delegate.get())
        delegate->voiceRecorderDidStartRecording(this);
}

void TULOVoiceRecorder::writeBuffer(const TULOVoiceCaptureBufferRef &buffer)
{
    if (!buffer || !m_fileID)
        return;
    const auto descriptionCount = quint32(buffer->packetDescriptions.size());
    const quint32 byteSize = buffer->dataByteSize;
    if (descriptionCount == 0 || byteSize == 0)
        return;
    // Only the leading run of sound descriptions is written; the first bad one ends it.
    quint32 valid = 0;
    for (const TULOAudioPacketDescription &description : buffer->packetDescriptions) {
        if (description.startOffset < 0 || description.dataByteSize > byteSize)
            break;
        ++valid;
    }
    if (valid == 0)
        return;
    // The byte size is as the buffer gives it, but never more than the bytes it holds.
    const quint32 available = std::min<quint32>(byteSize, quint32(buffer->data.size()));
    quint32 packets = valid;
    m_fileID->writePackets(false, available, buffer->packetDescriptions.constData(), m_totalRecordedPacketCount, &packets,
                           buffer->data.constData());
    m_totalRecordedPacketCount += packets;
}

void TULOVoiceRecorder::startPowerMeterTimer()
{
    stopPowerMeterTimer();
    if (!m_powerMeterTimer) {
        m_powerMeterTimer = std::make_unique<QTimer>();
        m_powerMeterTimer->setSingleShot(true);
        m_powerMeterTimer->setTimerType(Qt::PreciseTimer);
        QObject::connect(m_powerMeterTimer.get(), &QTimer::timeout, m_powerMeterTimer.get(), [this] { powerMeterTick(); });
    }
    m_powerMeterClock.start();
    m_powerMeterTicks = 0;
    m_powerMeterTimer->start(0); // the first reading comes at once
}

void TULOVoiceRecorder::stopPowerMeterTimer()
{
    if (m_powerMeterTimer)
        m_powerMeterTimer->stop();
}

void TULOVoiceRecorder::powerMeterTick()
{
    // A delegate may drop the last owner; stay alive until the tick is done.
    const auto keep = weak_from_this().lock();
    // Readings are due on a fixed grid from the start, so the rate holds at fifteen a second.
    ++m_powerMeterTicks;
    const qint64 due = m_powerMeterTicks * PowerMeterIntervalNanoseconds;
    const qint64 waitMs = std::max<qint64>(0, (due - m_powerMeterClock.nsecsElapsed() + 999'999) / 1'000'000);
    m_powerMeterTimer->start(int(waitMs));

    if (!m_voiceController)
        return;
    m_voiceController->updateMeters();
    if (TULOVoiceRecorderDelegate *delegate = m_delegate.get())
        delegate->voiceRecorderDidUpdateAveragePower(this, m_voiceController->averagePowerForChannel(0));
}

void TULOVoiceRecorder::startRecordingTimeoutTimer()
{
    stopRecordingTimeoutTimer();
    if (!(m_maximumRecordingDuration > std::numeric_limits<double>::epsilon()))
        return;
    if (!m_recordingTimeoutTimer) {
        m_recordingTimeoutTimer = std::make_unique<QTimer>();
        m_recordingTimeoutTimer->setSingleShot(true);
        m_recordingTimeoutTimer->setTimerType(Qt::PreciseTimer);
        QObject::connect(m_recordingTimeoutTimer.get(), &QTimer::timeout, m_recordingTimeoutTimer.get(),
                         [this] { stopRecordingWithCompletionHandler(); });
    }
    const double nanoseconds = std::trunc(m_maximumRecordingDuration * 1e9);
    // Never early: round the wait up to whole milliseconds.
    const double ms = std::ceil(nanoseconds / 1e6);
    m_recordingTimeoutTimer->start(int(std::min(ms, double(std::numeric_limits<int>::max()))));
}

void TULOVoiceRecorder::stopRecordingTimeoutTimer()
{
    if (m_recordingTimeoutTimer)
        m_recordingTimeoutTimer->stop();
}

void TULOVoiceRecorder::tearDownCapture()
{
    if (!m_voiceController)
        return;
    TULOVoiceCapture::setSharedSessionActivationContext({});
    m_voiceController->releaseAudioSession(true);
    m_voiceController->setRecordDelegate(nullptr);
    m_voiceController.reset();
}

void TULOVoiceRecorder::finishRecordingWithReason(qint64 reason)
{
    // The completion handlers and the delegate may drop the last outside reference; the
    // recorder lives until this function is done with its members.
    const std::shared_ptr<TULOVoiceRecorder> keepAlive = weak_from_this().lock();
    const bool success = reason == 0;
    stopPowerMeterTimer();
    stopRecordingTimeoutTimer();
    tearDownCapture();
    if (m_fileID) {
        m_fileID->close();
        m_fileID.reset();
    }
    const QList<CompletionHandler> handlers = m_stopBlocks.value_or(QList<CompletionHandler>());
    m_stopBlocks.reset();
    for (const CompletionHandler &handler : handlers)
        handler(success);
    if (TULOVoiceRecorderDelegate *delegate = m_delegate.get())
        delegate->voiceRecorderDidFinishWithSuccess(this, success);
    // Last: this may release the recorder.
    const auto release = std::move(m_capturedSelf);
    m_capturedSelf.reset();
}

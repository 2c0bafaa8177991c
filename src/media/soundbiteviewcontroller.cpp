#include <Quillon/media/soundbiteviewcontroller.h>

#include <Quillon/platform/localization.h>
#include <Quillon/core/quillon.h>
#include <Quillon/media/linearvaluefordecibels.h>
#include <Quillon/media/waveformimageproducer.h>
#include <Quillon/platform/audio/captureavailability.h>
#include <Quillon/platform/audio/voicecapture.h>
#include <Quillon/platform/typeidentifiers.h>

#include <QDir>
#include <QLoggingCategory>
#include <QUuid>

#include <chrono>
#include <cmath>
#include <limits>

Q_LOGGING_CATEGORY(lcTULOSoundBite, "quillon.media.soundbite")

namespace {

constexpr double DefaultMaximumRecordingDuration = 10.0;
constexpr double CaptureSampleRate = 44100.0; // one packet per frame

double absoluteTime()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The slot that used the audio last.
QPointer<TULOSoundBiteViewController> &audioOwner()
{
    static QPointer<TULOSoundBiteViewController> owner;
    return owner;
}

} // namespace

TULOSoundBiteViewController::TULOSoundBiteViewController(QObject *parent)
    : TULOViewController(parent)
{
    const QString extension = TULOTypeIdentifiers::preferredFilenameExtension(QString::fromLatin1(TULOTypeIdentifierCAF));
    QString name = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    if (!extension.isEmpty())
        name += QLatin1Char('.') + extension;
    m_recordingFilePath = QDir(QDir::tempPath()).filePath(name);
}

TULOSoundBiteViewController::~TULOSoundBiteViewController()
{
    // The view outlives this part of the controller (the base deletes it).
    if (m_soundBiteView)
        m_soundBiteView->setDelegate(nullptr);
    if (m_voiceRecorder)
        m_voiceRecorder->setDelegate(nullptr);
    if (m_audioPlayer) {
        m_audioPlayer->setDelegate(nullptr);
        m_audioPlayer->stop();
    }
}

void TULOSoundBiteViewController::setClientContext(const TULOClientContext &context)
{
    m_clientContext = context;
    m_leadingZeroFormatter = TULONumberFormatter(context, 2);
    m_numberFormatter = TULONumberFormatter(context, 1);
}

void TULOSoundBiteViewController::setConfiguration(const std::optional<TULOConfiguration> &configuration)
{
    m_configuration = configuration;
}

QString TULOSoundBiteViewController::localizedString(const char *key) const
{
    return TULOLocalization::defaultLocalization()->localizedStringForKey(
        QString::fromLatin1(key), QString::fromLatin1(TULOStringsTablePostComposition), m_clientContext);
}

TULOSoundBiteView *TULOSoundBiteViewController::soundBiteView()
{
    view();
    return m_soundBiteView;
}

void TULOSoundBiteViewController::loadView()
{
    // The sound bite view is the root view; the compose screen frames it like its other
    // attachments.
    auto *soundBiteView = new TULOSoundBiteView;
    soundBiteView->setDelegate(this);
    soundBiteView->setExplictButtonTitle(localizedString("NO"));
    soundBiteView->setExplictPromptString(localizedString("RECORD_SOUND_BITE_EXPLICIT"));
    soundBiteView->setPromptString(localizedString("RECORD_SOUND_BITE_PROMPT"));
    soundBiteView->reserveSpaceForRecordingTimes(qint64(maximumRecordingDuration()),
                                                 localizedString("RECORDING_COUNT_DOWN_FORMAT_%@"));
    soundBiteView->setRecordButtonAccessibleTexts(localizedString("RECORD_AUDIO_BUTTON"),
                                                  localizedString("RECORD_SOUND_BITE_HOW_TO"));
    soundBiteView->setStopRecordingAccessibleName(localizedString("STOP_RECORDING_BUTTON"));
    soundBiteView->setPlayButtonAccessibleNames(localizedString("PLAY_SOUND_BITE_BUTTON"),
                                                localizedString("PAUSE_SOUND_BITE_BUTTON"));
    m_soundBiteView = soundBiteView;
    setView(soundBiteView);

    connect(TULOVoiceCaptureAvailability::shared(), &TULOVoiceCaptureAvailability::availabilityChanged, soundBiteView,
            [this] { updateRecordingAvailability(); });
    updateRecordingAvailability();
}

void TULOSoundBiteViewController::updateRecordingAvailability()
{
    if (!m_soundBiteView)
        return;
    const bool available = TULOVoiceCaptureAvailability::shared()->isAvailable();
    const QString reason = available ? QString() : localizedString("RECORD_SOUND_BITE_NO_MICROPHONE");
    const bool changed = reason != m_soundBiteView->recordingUnavailableReason()
        || reason.isNull() != m_soundBiteView->recordingUnavailableReason().isNull();
    m_soundBiteView->setRecordingUnavailableReason(reason);
    // The prompt says why nothing can be recorded, and asks again once a microphone is there.
    if (changed && m_soundBiteView->mode() == TULOSoundBiteViewModePrompt)
        m_soundBiteView->setPromptString(available ? localizedString("RECORD_SOUND_BITE_PROMPT") : reason);
}

double TULOSoundBiteViewController::maximumRecordingDuration() const
{
    return m_configuration ? m_configuration->maximumSoundBiteDuration() : DefaultMaximumRecordingDuration;
}

void TULOSoundBiteViewController::claimAudio()
{
    QPointer<TULOSoundBiteViewController> &owner = audioOwner();
    if (owner && owner != this)
        owner->interruptAudio();
    owner = this;
}

void TULOSoundBiteViewController::interruptAudio()
{
    if (m_voiceRecorder)
        m_voiceRecorder->stopRecordingWithCompletionHandler();
    stopPlayback();
}

void TULOSoundBiteViewController::viewWillDisappear(bool animated)
{
    TULOViewController::viewWillDisappear(animated);
    // A closing window ends the take (kept if long enough) and the playback.
    interruptAudio();
}

void TULOSoundBiteViewController::startRecordingWithActivationMode(qint64 activationMode)
{
    claimAudio();
    stopPlayback(); // the take overwrites the file being played

    if (m_voiceRecorder)
        m_voiceRecorder->setDelegate(nullptr);
    m_voiceRecorder = std::make_shared<TULOVoiceRecorder>(m_recordingFilePath);
    m_voiceRecorder->setDelegate(this);
    m_voiceRecorder->setMaximumRecordingDuration(maximumRecordingDuration());

    if (m_waveformImageProducer)
        m_waveformImageProducer->setPowerLevels({});
    // A new take always discards the previous result, even if it proves too short.
    const bool hadAttachment = m_attachment != nullptr;
    m_attachment.reset();

    TULOError error;
    if (m_voiceRecorder->startRecordingUsingActivationMode(activationMode, &error)) {
        m_recordingError = TULOError();
        m_recordingActivationMode = activationMode;
        m_recordingStartTime = absoluteTime();
        reloadSoundBiteRecordingUI();
        return;
    }
    qCWarning(lcTULOSoundBite).noquote() << QStringLiteral("Could not start recording: %1").arg(error.localizedDescription());
    m_voiceRecorder->setDelegate(nullptr);
    m_voiceRecorder.reset();
    // The slot says what went wrong and stays ready for the next try.
    m_recordingError = error;
    showPrompt(TULOStringWithFormat(localizedString("RECORD_SOUND_BITE_FAILED_%@"), {error.localizedDescription()}));
    if (hadAttachment)
        notifyDidCompleteRecording();
}

void TULOSoundBiteViewController::showPrompt(const QString &text)
{
    if (!m_soundBiteView)
        return;
    m_soundBiteView->setPromptString(text);
    m_soundBiteView->setMode(TULOSoundBiteViewModePrompt);
}

void TULOSoundBiteViewController::soundBiteViewDidHoldRecordButton(TULOSoundBiteView *view)
{
    Q_UNUSED(view);
    startRecordingWithActivationMode(TULOVoiceCaptureActivationModeHold);
}

void TULOSoundBiteViewController::soundBiteViewDidReleaseRecordButton(TULOSoundBiteView *view)
{
    Q_UNUSED(view);
    if (m_voiceRecorder)
        m_voiceRecorder->stopRecordingWithCompletionHandler();
}

void TULOSoundBiteViewController::soundBiteViewFaceProximityDidBegin(TULOSoundBiteView *view)
{
    Q_UNUSED(view);
    if (!m_voiceRecorder)
        startRecordingWithActivationMode(TULOVoiceCaptureActivationModeProximity);
}

void TULOSoundBiteViewController::soundBiteViewFaceProximityDidEnd(TULOSoundBiteView *view)
{
    Q_UNUSED(view);
    // A take held by the button is not ended by moving the device away.
    if (m_voiceRecorder && m_recordingActivationMode == TULOVoiceCaptureActivationModeProximity)
        m_voiceRecorder->stopRecordingWithCompletionHandler();
}

void TULOSoundBiteViewController::voiceRecorderDidUpdateAveragePower(TULOVoiceRecorder *recorder, float averagePower)
{
    Q_UNUSED(recorder);
    if (!m_waveformImageProducer)
        m_waveformImageProducer = std::make_shared<TULOWaveformImageProducer>();
    m_waveformImageProducer->appendPowerLevel(TULOLinearValueForDecibels(averagePower));
    reloadSoundBiteRecordingUI();
}

void TULOSoundBiteViewController::reloadSoundBiteRecordingUI()
{
    const double elapsed = absoluteTime() - m_recordingStartTime;
    const auto remaining = std::max<qint64>(0, qint64(std::ceil(maximumRecordingDuration() - elapsed)));
    if (!m_soundBiteView)
        return;
    m_soundBiteView->setTimeString(
        TULOStringWithFormat(localizedString("RECORDING_COUNT_DOWN_FORMAT_%@"), {m_numberFormatter.stringFromNumber(remaining)}));
    m_soundBiteView->setMode(TULOSoundBiteViewModeRecording);
    m_soundBiteView->setWaveformImageUsingProducer(m_waveformImageProducer);
}

void TULOSoundBiteViewController::voiceRecorderDidFinishWithSuccess(TULOVoiceRecorder *recorder, bool success)
{
    if (!recorder || recorder != m_voiceRecorder.get())
        return;
    const double limit = maximumRecordingDuration();
    double duration = 0.0;
    if (success) {
        duration = std::min(limit, absoluteTime() - m_recordingStartTime);
    } else {
        // The device went away mid-take: what reached the file is still a recording.
        duration = double(recorder->totalRecordedPacketCount()) / CaptureSampleRate;
        if (limit > std::numeric_limits<double>::epsilon())
            duration = std::min(limit, duration);
    }
    if (duration < TULOVoiceRecorderMinimumAttachmentDuration) {
        showPrompt(localizedString("RECORD_SOUND_BITE_RETRY_PROMPT"));
    } else {
        makeAttachment(duration);
        reloadSoundBiteRecordedUI();
    }
    recorder->setDelegate(nullptr);
    m_voiceRecorder.reset();
    notifyDidCompleteRecording();
}

void TULOSoundBiteViewController::makeAttachment(double duration)
{
    m_attachment = std::make_shared<TULOAttachment>(QUrl::fromLocalFile(m_recordingFilePath),
                                                    QString::fromLatin1(TULOTypeIdentifierCAF));
    m_attachment->setDuration(duration);
    m_attachment->setExplicitContent(m_isExplicit);
}

void TULOSoundBiteViewController::notifyDidCompleteRecording()
{
    if (TULOSoundBiteViewControllerDelegate *delegate = m_delegate.get())
        delegate->viewControllerDidCompleteRecording(this);
}

void TULOSoundBiteViewController::reloadSoundBiteRecordedUI()
{
    if (!m_soundBiteView)
        return;
    m_soundBiteView->setMode(TULOSoundBiteViewModeRecorded);
    m_soundBiteView->setTimeString(timeStringWithSeconds(m_attachment ? m_attachment->duration() : 0.0));
    m_soundBiteView->setWaveformImageUsingProducer(m_waveformImageProducer);
}

QString TULOSoundBiteViewController::timeStringWithSeconds(double seconds) const
{
    // Minutes are always zero and the seconds are not reduced modulo 60: a sound bite is short.
    const qint64 whole = std::isfinite(seconds) ? qint64(seconds) : 0;
    return TULOStringWithFormat(localizedString("RECORDING_DURATION_FORMAT_%@_%@"),
                                {m_numberFormatter.stringFromNumber(0), m_leadingZeroFormatter.stringFromNumber(whole)});
}

void TULOSoundBiteViewController::soundBiteViewDidTogglePlayback(TULOSoundBiteView *view)
{
    Q_UNUSED(view);
    if (!m_audioPlayer) {
        claimAudio();
        m_audioPlayer.reset(new TULOAudioPlayer(QUrl::fromLocalFile(m_recordingFilePath)));
        m_audioPlayer->setDelegate(this);
        m_audioPlayer->setUsesDisplayRefresh(true);
        m_audioPlayer->play();
    } else {
        m_audioPlayer->togglePlayback();
    }
    reloadSoundBitePlaybackUI();
}

void TULOSoundBiteViewController::reloadSoundBitePlaybackUI()
{
    if (!m_audioPlayer || !m_soundBiteView)
        return;
    const TULOAudioPlayerStatus status = m_audioPlayer->status();
    m_soundBiteView->setMode(status.state() == TULOAudioPlayerStatus::Paused ? TULOSoundBiteViewModePaused
                                                                             : TULOSoundBiteViewModePlaying);
    m_soundBiteView->setPlaybackProgress(
        status.duration() > std::numeric_limits<double>::epsilon() ? float(status.currentTime() / status.duration()) : 0.0f);
    m_soundBiteView->setTimeString(timeStringWithSeconds(status.currentTime()));
}

void TULOSoundBiteViewController::audioPlayerDidChangeStatus(TULOAudioPlayer *player, const TULOAudioPlayerStatus &status)
{
    if (player != m_audioPlayer.get())
        return;
    switch (status.state()) {
    case TULOAudioPlayerStatus::Playing:
    case TULOAudioPlayerStatus::Paused:
        reloadSoundBitePlaybackUI();
        break;
    case TULOAudioPlayerStatus::Ended:
    case TULOAudioPlayerStatus::PlayedToEnd:
        endAudioPlayback();
        break;
    default:
        break;
    }
}

void TULOSoundBiteViewController::audioPlayerDidFailWithError(TULOAudioPlayer *player, const TULOError &error)
{
    Q_UNUSED(error);
    if (player == m_audioPlayer.get())
        endAudioPlayback(); // nothing to tell the user: the take is still there
}

void TULOSoundBiteViewController::stopPlayback()
{
    if (!m_audioPlayer)
        return;
    m_audioPlayer->stop();
    endAudioPlayback();
}

void TULOSoundBiteViewController::endAudioPlayback()
{
    reloadSoundBiteRecordedUI();
    if (m_audioPlayer) {
        m_audioPlayer->setDelegate(nullptr);
        m_audioPlayer.reset();
    }
}

void TULOSoundBiteViewController::soundBiteViewDidToggleExplicit(TULOSoundBiteView *view)
{
    const bool isExplicit = view->isExplicit();
    view->setExplictButtonTitle(localizedString(isExplicit ? "YES" : "NO"));
    m_isExplicit = isExplicit;
    if (m_attachment)
        m_attachment->setExplicitContent(isExplicit);
}

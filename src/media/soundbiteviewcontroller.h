#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/core/attachment.h>
#include <Quillon/core/configuration.h>
#include <Quillon/core/numberformatter.h>
#include <Quillon/media/audioplayer.h>
#include <Quillon/media/soundbiteview.h>
#include <Quillon/media/voicerecorder.h>
#include <Quillon/platform/clientcontext.h>
#include <Quillon/platform/ui/viewcontroller.h>
#include <Quillon/platform/weakdelegate.h>

#include <memory>
#include <optional>

class TULOSoundBiteViewController;
class TULOWaveformImageProducer;

class QUILLON_EXPORT TULOSoundBiteViewControllerDelegate
{
public:
    virtual ~TULOSoundBiteViewControllerDelegate() = default;
    // A take has ended, with or without an attachment; attachment() tells which.
    virtual void viewControllerDidCompleteRecording(TULOSoundBiteViewController *controller) { Q_UNUSED(controller); }
};

// The controller of one sound bite slot: records while the record button is held (or Space
// toggles it, or the device is raised to the face), shows the live waveform and countdown,
// plays the take back and makes it an attachment once it lasts at least half a second.
//
// One slot at a time uses the audio: a slot that starts recording or playing ends the take
// and the playback of the slot that had it. Every take overwrites the same file in the
// temporary directory, fixed when the controller is made.
class QUILLON_EXPORT TULOSoundBiteViewController : public TULOViewController,
                                    public TULOSoundBiteViewDelegate,
                                    public TULOVoiceRecorderDelegate,
                                    public TULOAudioPlayerDelegate
{
    Q_OBJECT

public:
    explicit TULOSoundBiteViewController(QObject *parent = nullptr);
    ~TULOSoundBiteViewController() override;

    // The attachment of the last good take, or nullptr.
    TULOAttachmentPtr attachment() const { return m_attachment; }

    TULOClientContext clientContext() const { return m_clientContext; }
    void setClientContext(const TULOClientContext &context);
    std::optional<TULOConfiguration> configuration() const { return m_configuration; }
    void setConfiguration(const std::optional<TULOConfiguration> &configuration);
    TULOSoundBiteViewControllerDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(TULOSoundBiteViewControllerDelegate *delegate) { m_delegate.set(delegate); }

    void stopPlayback();

    TULOSoundBiteView *soundBiteView();
    QString recordingFilePath() const { return m_recordingFilePath; }
    bool isExplicit() const { return m_isExplicit; }
    qint64 recordingActivationMode() const { return m_recordingActivationMode; }
    TULOVoiceRecorder *voiceRecorder() const { return m_voiceRecorder.get(); }
    TULOAudioPlayer *audioPlayer() const { return m_audioPlayer.get(); }
    std::shared_ptr<TULOWaveformImageProducer> waveformImageProducer() const { return m_waveformImageProducer; }
    // Why the last take could not start (shown in the slot), or a null error.
    TULOError recordingError() const { return m_recordingError; }

    // TULOSoundBiteViewDelegate
    void soundBiteViewDidHoldRecordButton(TULOSoundBiteView *view) override;
    void soundBiteViewDidReleaseRecordButton(TULOSoundBiteView *view) override;
    void soundBiteViewFaceProximityDidBegin(TULOSoundBiteView *view) override;
    void soundBiteViewFaceProximityDidEnd(TULOSoundBiteView *view) override;
    void soundBiteViewDidTogglePlayback(TULOSoundBiteView *view) override;
    void soundBiteViewDidToggleExplicit(TULOSoundBiteView *view) override;

    // TULOVoiceRecorderDelegate
    void voiceRecorderDidFinishWithSuccess(TULOVoiceRecorder *recorder, bool success) override;
    void voiceRecorderDidUpdateAveragePower(TULOVoiceRecorder *recorder, float averagePower) override;

    // TULOAudioPlayerDelegate
    void audioPlayerDidChangeStatus(TULOAudioPlayer *player, const TULOAudioPlayerStatus &status) override;
    void audioPlayerDidFailWithError(TULOAudioPlayer *player, const TULOError &error) override;

protected:
    void loadView() override;
    void viewWillDisappear(bool animated) override;

private:
    void startRecordingWithActivationMode(qint64 activationMode);
    double maximumRecordingDuration() const;
    void reloadSoundBiteRecordingUI();
    void reloadSoundBiteRecordedUI();
    void reloadSoundBitePlaybackUI();
    void showPrompt(const QString &text);
    void endAudioPlayback();
    QString timeStringWithSeconds(double seconds) const;
    QString localizedString(const char *key) const;
    void updateRecordingAvailability();
    void makeAttachment(double duration);
    void notifyDidCompleteRecording();
    // One slot at a time: ends the take and playback of the slot that used the audio last.
    void claimAudio();
    void interruptAudio();

    TULOAttachmentPtr m_attachment;
    TULOClientContext m_clientContext;
    std::optional<TULOConfiguration> m_configuration;
    TULOWeakDelegate<TULOSoundBiteViewControllerDelegate> m_delegate;
    std::unique_ptr<TULOAudioPlayer, TULODeleteLater> m_audioPlayer;
    bool m_isExplicit = false;
    TULONumberFormatter m_leadingZeroFormatter{2};
    TULONumberFormatter m_numberFormatter{1};
    qint64 m_recordingActivationMode = 0;
    QString m_recordingFilePath;
    double m_recordingStartTime = 0.0;
    QPointer<TULOSoundBiteView> m_soundBiteView;
    std::shared_ptr<TULOVoiceRecorder> m_voiceRecorder;
    std::shared_ptr<TULOWaveformImageProducer> m_waveformImageProducer;
    TULOError m_recordingError;
};

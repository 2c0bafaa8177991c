#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/media/proximitycoordinator.h>
#include <Quillon/platform/weakdelegate.h>

#include <QImage>
#include <QPointer>
#include <QWidget>

#include <memory>

class QLabel;
class TULOSoundBiteView;
class TULOSoundBiteViewButton;
class TULOWaveformImageProducer;

enum TULOSoundBiteViewMode : qint64 {
    TULOSoundBiteViewModePrompt = 0,
    TULOSoundBiteViewModePlaying = 1,
    TULOSoundBiteViewModePaused = 2,
    TULOSoundBiteViewModeRecording = 3,
    TULOSoundBiteViewModeRecorded = 4,
};

class QUILLON_EXPORT TULOSoundBiteViewDelegate
{
public:
    virtual ~TULOSoundBiteViewDelegate() = default;
    virtual void soundBiteViewDidHoldRecordButton(TULOSoundBiteView *view) { Q_UNUSED(view); }
    virtual void soundBiteViewDidReleaseRecordButton(TULOSoundBiteView *view) { Q_UNUSED(view); }
    virtual void soundBiteViewDidTogglePlayback(TULOSoundBiteView *view) { Q_UNUSED(view); }
    // Sent after the view has flipped its own isExplicit().
    virtual void soundBiteViewDidToggleExplicit(TULOSoundBiteView *view) { Q_UNUSED(view); }
    virtual void soundBiteViewFaceProximityDidBegin(TULOSoundBiteView *view) { Q_UNUSED(view); }
    virtual void soundBiteViewFaceProximityDidEnd(TULOSoundBiteView *view) { Q_UNUSED(view); }
};

// The view of one sound bite slot: a prompt, the record button (pressed and held to record;
// Space toggles), a stop-recording indicator, a play button, the waveform with the played
// part laid over it, a time label and the explicit-content toggle. Its mode says which of
// them show; only its controller sets it.
class QUILLON_EXPORT TULOSoundBiteView : public QWidget, public TULOProximityCoordinatorObserver
{
    Q_OBJECT

public:
    explicit TULOSoundBiteView(QWidget *parent = nullptr);
    ~TULOSoundBiteView() override;

    TULOSoundBiteViewDelegate *delegate() const { return m_delegate.get(); }
    void setDelegate(TULOSoundBiteViewDelegate *delegate) { m_delegate.set(delegate); }

    qint64 mode() const { return m_mode; }
    // Asks for layout only when the mode changes.
    void setMode(qint64 mode);

    float playbackProgress() const { return m_playbackProgress; }
    void setPlaybackProgress(float progress);

    QString promptString() const;
    void setPromptString(const QString &text);
    QString timeString() const;
    void setTimeString(const QString &text);
    bool isExplicit() const;
    void setExplicit(bool isExplicit);

    void setExplictButtonTitle(const QString &title);
    void setExplictPromptString(const QString &text);
    // The producer draws the waveform at every layout; the view shares it with its controller.
    void setWaveformImageUsingProducer(const std::shared_ptr<TULOWaveformImageProducer> &producer);

    // Makes the time label wide enough for every countdown text from 1 to `count` seconds in
    // `timeFormat` (one "%@"), so that it never changes width while recording.
    void reserveSpaceForRecordingTimes(qint64 count, const QString &timeFormat);
    double recordingTimeLabelWidth() const { return m_recordingTimeLabelWidth; }

    // Accessible texts of the controls; the record button's description says how to record.
    void setRecordButtonAccessibleTexts(const QString &name, const QString &description);
    void setStopRecordingAccessibleName(const QString &name);
    void setPlayButtonAccessibleNames(const QString &play, const QString &pause);
    // A null reason enables recording; otherwise the record button is disabled and says why.
    void setRecordingUnavailableReason(const QString &reason);
    QString recordingUnavailableReason() const { return m_unavailableReason; }

    // Layout: asked for by the setters and run from the event loop, or at once here.
    bool needsLayout() const { return m_needsLayout; }
    void layoutIfNeeded();
    void layoutSubviews();
    QSize sizeThatFits(const QSize &size) const;
    QSize sizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

    void tintColorDidChange();
    void proximityCoordinatorStateDidChange(TULOProximityCoordinator *coordinator) override;
    bool detectedFaceProximity() const { return m_detectedFaceProximity; }
    bool isObservingProximity() const { return m_isObservingProximity; }

    // The parts, for the controller's keyboard handling and for tests.
    QLabel *promptLabel() const { return m_promptLabel; }
    QLabel *explicitPromptLabel() const { return m_explicitPromptLabel; }
    QLabel *timeLabel() const { return m_timeLabel; }
    TULOSoundBiteViewButton *recordButton() const { return m_recordButton; }
    TULOSoundBiteViewButton *stopRecordingIndicator() const { return m_stopRecordingIndicator; }
    TULOSoundBiteViewButton *playButton() const { return m_playButton; }
    TULOSoundBiteViewButton *explicitToggleButton() const { return m_explicitButton; }
    QWidget *waveformBackgroundView() const { return m_waveformBackgroundView; }
    QWidget *waveformImageView() const;
    QWidget *playbackProgressView() const;
    // The template image drawn at the last layout (alpha only; the image views tint it).
    QImage waveformImage() const { return m_waveformImage; }
    QRect waveformFrame() const;

protected:
    bool event(QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void changeEvent(QEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;

private:
    class ImageView;

    void setNeedsLayout();
    void applyVisibility();
    QImage waveformImageAtScale(qreal scale);
    void holdRecord();
    void releaseRecord();
    void recordButtonActivated();
    void startObservingProximity();
    void stopObservingProximity();
    void updateRecordButtonAccessibility();
    void updatePlayButtonAccessibility();
    TULOSoundBiteViewButton *buttonForTouchAt(const QPoint &point) const;
    int mainRowHeight(int width) const;

    TULOWeakDelegate<TULOSoundBiteViewDelegate> m_delegate;
    qint64 m_mode = TULOSoundBiteViewModePrompt;
    float m_playbackProgress = 0.0f;

    QLabel *m_promptLabel = nullptr;
    QLabel *m_explicitPromptLabel = nullptr;
    TULOSoundBiteViewButton *m_explicitButton = nullptr;
    TULOSoundBiteViewButton *m_recordButton = nullptr;
    TULOSoundBiteViewButton *m_stopRecordingIndicator = nullptr;
    TULOSoundBiteViewButton *m_playButton = nullptr;
    QLabel *m_timeLabel = nullptr;
    QWidget *m_waveformBackgroundView = nullptr;
    ImageView *m_waveformImageView = nullptr;
    ImageView *m_playbackProgressView = nullptr;

    std::shared_ptr<TULOWaveformImageProducer> m_producer;
    QImage m_waveformImage;
    double m_recordingTimeLabelWidth = 0.0;
    bool m_detectedFaceProximity = false;
    bool m_isObservingProximity = false;
    std::shared_ptr<TULOProximityCoordinator> m_coordinator;

    bool m_needsLayout = false;
    bool m_layoutPosted = false;
    bool m_recordHeld = false;
    QPointer<TULOSoundBiteViewButton> m_touchTarget;

    QString m_recordName;
    QString m_recordDescription;
    QString m_playName;
    QString m_pauseName;
    QString m_unavailableReason;
};

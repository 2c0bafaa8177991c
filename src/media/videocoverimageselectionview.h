#pragma once

#include <Quillon/platform/clientcontext.h>
#include <Quillon/quillon_export.h>

#include <QImage>
#include <QPointer>
#include <QUrl>
#include <QWidget>

class QLabel;
class TULOVideoScrubberControl;
class TULOVideoSurface;

// The video paused on one frame, a prompt over its lower edge and a scrubber under it: the
// user drags the scrubber to the frame that becomes the video's cover. It opens on the
// initial time when one is set, else on the middle frame.
class QUILLON_EXPORT TULOVideoCoverImageSelectionView : public QWidget
{
    Q_OBJECT

public:
    TULOVideoCoverImageSelectionView(const QUrl &assetURL, const TULOClientContext &clientContext,
                                     QWidget *parent = nullptr);
    ~TULOVideoCoverImageSelectionView() override;

    // The frame at the current time at full size. It is made off the main thread once the
    // thumb rests (coverImageChanged() says when); null until then, after every move, and
    // when the video cannot be decoded.
    QImage coverImage() const;
    // Seconds; 0 before the video is ready.
    double coverImageTime() const;

    double initialPlayerTime() const { return m_initialPlayerTime; }
    void setInitialPlayerTime(double seconds);

    double duration() const { return m_duration; }
    TULOVideoScrubberControl *scrubber() const { return m_scrubber; }
    QLabel *promptLabel() const { return m_promptLabel; }
    TULOVideoSurface *playerLayer() const { return m_playerLayer; }
    QUrl assetURL() const { return m_assetURL; }

    QSize sizeHint() const override;

Q_SIGNALS:
    // coverImage() holds the frame at coverImageTime().
    void coverImageChanged();

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void layoutSubviews();
    void playerStatusChanged(qint64 status);
    void scrubberBeginScrubAction();
    void scrubberEndScrubAction();
    void scrubberValueChangeAction();
    void reloadPlayerCurrentTime();
    QString detailScrubbingExplanationString() const;
    QString localizedString(const QString &key) const;

    QUrl m_assetURL;
    TULOClientContext m_clientContext;
    QWidget *m_backgroundView = nullptr;
    TULOVideoSurface *m_playerLayer = nullptr;
    QWidget *m_gradientOverlayLayer = nullptr;
    QLabel *m_promptLabel = nullptr;
    TULOVideoScrubberControl *m_scrubber = nullptr;
    double m_duration = 0.0;
    double m_initialPlayerTime = 0.0;
};

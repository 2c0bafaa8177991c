#pragma once

#include <Quillon/platform/ui/detailscrubcontroller.h>
#include <Quillon/quillon_export.h>

#include <QAbstractSlider>
#include <QImage>

#include <memory>

// Control events a scrubber sends, numbered as a control's.
enum TULOControlEvent : qint64 {
    TULOControlEventTouchDown = 1 << 0,
    TULOControlEventTouchUpInside = 1 << 6,
    TULOControlEventTouchCancel = 1 << 8,
    TULOControlEventValueChanged = 1 << 12,
};

// The scrubber under a paused video: a thin bar at the top with a thumb hanging from it. Its
// value (0 to 1) is the position in the video; dragging away from the bar vertically slows
// the scrubbing down. Arrow keys move it by a hundredth, Page keys by a tenth.
class QUILLON_EXPORT TULOVideoScrubberControl : public QAbstractSlider, public TULODetailScrubControllerDelegate
{
    Q_OBJECT

public:
    static constexpr double TULOTrackHeight = 4.0;
    static constexpr double TULOThumbWidth = 8.0;
    static constexpr double TULOThumbHeight = 24.0;

    explicit TULOVideoScrubberControl(QWidget *parent = nullptr);
    ~TULOVideoScrubberControl() override;

    TULODetailScrubController *detailScrubController() const { return m_detailScrubController.get(); }

    float scrubValue() const;
    void setScrubValue(float value, bool animated = false);

    qint64 currentScrubSpeed() const;
    double duration() const;
    void setDuration(double duration);
    bool usesDetailedScrubbing() const;
    bool isTracking() const { return m_isTracking; }

    QRectF thumbHitRect() const;
    QRectF trackRectForBounds(const QRectF &bounds) const;
    QRectF thumbRectForBounds(const QRectF &bounds, const QRectF &trackRect, float value) const;
    bool pointInside(const QPointF &point) const;

    bool beginTracking(const QPointF &point);
    bool continueTracking(const QPointF &point);
    void endTracking(const QPointF &point);
    void cancelTracking();

    void detailScrubControllerDidChangeScrubSpeed(TULODetailScrubController *controller, qint64 speed) override;
    void detailScrubControllerDidChangeValue(TULODetailScrubController *controller, double value) override;

    static QImage trackImageWithColor(const QColor &color, qreal devicePixelRatio);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

    void sendActionsForControlEvents(qint64 events);

Q_SIGNALS:
    void controlEventsSent(qint64 events);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void reloadAppearance();

    std::unique_ptr<TULODetailScrubController> m_detailScrubController;
    bool m_isTracking = false;
    QImage m_trackImage;
};

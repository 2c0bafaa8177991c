#pragma once

#include <Quillon/platform/weakdelegate.h>
#include <Quillon/quillon_export.h>

#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QWidget>

class TULODetailScrubController;

// Scrub speeds, slowest last. The vertical distance of the pointer from the bar picks one.
enum TULOScrubSpeed : qint64 {
    TULOScrubSpeedNormal = 0,
    TULOScrubSpeedHalf = 1,
    TULOScrubSpeedQuarter = 2,
    TULOScrubSpeedFine = 3,
};

class QUILLON_EXPORT TULODetailScrubControllerDelegate
{
public:
    virtual ~TULODetailScrubControllerDelegate() = default;
    virtual void detailScrubControllerDidChangeScrubSpeed(TULODetailScrubController *controller, qint64 speed)
    {
        Q_UNUSED(controller);
        Q_UNUSED(speed);
    }
    // `value` is a time in seconds, within 0 and the duration.
    virtual void detailScrubControllerDidChangeValue(TULODetailScrubController *controller, double value)
    {
        Q_UNUSED(controller);
        Q_UNUSED(value);
    }
};

// Turns a drag along a bar into a time, slower the further the pointer moves away from the
// bar vertically: a drag across the whole bar covers the duration at normal speed, half of it
// at half speed, and so on. Movement is relative, so a change of speed never makes the time jump.
class QUILLON_EXPORT TULODetailScrubController
{
public:
    // Pointer distances (logical pixels from the bar's centre line) at which the speed drops.
    static constexpr double TULOHalfSpeedDistance = 60.0;
    static constexpr double TULOQuarterSpeedDistance = 120.0;
    static constexpr double TULOFineSpeedDistance = 180.0;
    // Shorter videos fit a bar well enough at normal speed.
    static constexpr double TULOMinimumDetailedScrubbingDuration = 2.0;

    TULODetailScrubController(QWidget *scrubbingControl, TULODetailScrubControllerDelegate *delegate);

    QWidget *scrubbingControl() const { return m_control; }

    bool isDetailedScrubbingEnabled() const { return m_detailedScrubbingEnabled; }
    void setDetailedScrubbingEnabled(bool enabled) { m_detailedScrubbingEnabled = enabled; }

    double duration() const { return m_duration; }
    void setDuration(double duration);
    bool usesDetailedScrubbing() const;

    qint64 currentScrubSpeed() const { return m_speed; }
    double value() const { return m_value; }
    void setValue(double value);

    // `trackRect` is the bar in the control's coordinates. Returns whether tracking began.
    bool beginTracking(const QPointF &point, const QRectF &trackRect);
    bool continueTracking(const QPointF &point);
    void endTracking(const QPointF &point);
    void cancelTracking();
    bool isTracking() const { return m_tracking; }

    // The speed for a pointer `distance` logical pixels away from the bar.
    static qint64 scrubSpeedForDistance(double distance);
    static double rateForScrubSpeed(qint64 speed);

private:
    void setSpeed(qint64 speed);

    QPointer<QWidget> m_control;
    TULOWeakDelegate<TULODetailScrubControllerDelegate> m_delegate;
    bool m_detailedScrubbingEnabled = false;
    bool m_tracking = false;
    double m_duration = 0.0;
    double m_value = 0.0;
    qint64 m_speed = TULOScrubSpeedNormal;
    QRectF m_trackRect;
    QPointF m_lastPoint;
};

#include <Quillon/platform/ui/detailscrubcontroller.h>

#include <algorithm>
#include <cmath>

TULODetailScrubController::TULODetailScrubController(QWidget *scrubbingControl,
                                                     TULODetailScrubControllerDelegate *delegate)
    : m_control(scrubbingControl)
{
    m_delegate.set(delegate);
}

void TULODetailScrubController::setDuration(double duration)
{
    m_duration = std::isfinite(duration) && duration > 0.0 ? duration : 0.0;
    m_value = std::clamp(m_value, 0.0, m_duration);
}

bool TULODetailScrubController::usesDetailedScrubbing() const
{
    return m_detailedScrubbingEnabled && m_duration >= TULOMinimumDetailedScrubbingDuration;
}

void TULODetailScrubController::setValue(double value)
{
    m_value = std::isfinite(value) ? std::clamp(value, 0.0, m_duration) : 0.0;
}

qint64 TULODetailScrubController::scrubSpeedForDistance(double distance)
{
    distance = std::abs(distance);
    if (distance >= TULOFineSpeedDistance)
        return TULOScrubSpeedFine;
    if (distance >= TULOQuarterSpeedDistance)
        return TULOScrubSpeedQuarter;
    if (distance >= TULOHalfSpeedDistance)
        return TULOScrubSpeedHalf;
    return TULOScrubSpeedNormal;
}

double TULODetailScrubController::rateForScrubSpeed(qint64 speed)
{
    switch (speed) {
    case TULOScrubSpeedHalf:
        return 0.5;
    case TULOScrubSpeedQuarter:
        return 0.25;
    case TULOScrubSpeedFine:
        return 0.1;
    default:
        return 1.0;
    }
}

bool TULODetailScrubController::beginTracking(const QPointF &point, const QRectF &trackRect)
{
    if (trackRect.width() <= 0.0)
        return false;
    m_tracking = true;
    m_trackRect = trackRect;
    m_lastPoint = point;
    setSpeed(TULOScrubSpeedNormal);
    return true;
}

bool TULODetailScrubController::continueTracking(const QPointF &point)
{
    if (!m_tracking)
        return false;
    if (usesDetailedScrubbing())
        setSpeed(scrubSpeedForDistance(point.y() - m_trackRect.center().y()));
    const double dx = point.x() - m_lastPoint.x();
    m_lastPoint = point;
    if (dx == 0.0 || m_duration <= 0.0)
        return true;
    const double value = std::clamp(m_value + dx / m_trackRect.width() * m_duration * rateForScrubSpeed(m_speed),
                                    0.0, m_duration);
    if (value != m_value) {
        m_value = value;
        if (auto *delegate = m_delegate.get())
            delegate->detailScrubControllerDidChangeValue(this, m_value);
    }
    return true;
}

void TULODetailScrubController::endTracking(const QPointF &point)
{
    if (!m_tracking)
        return;
    continueTracking(point);
    cancelTracking();
}

void TULODetailScrubController::cancelTracking()
{
    m_tracking = false;
    setSpeed(TULOScrubSpeedNormal);
}

void TULODetailScrubController::setSpeed(qint64 speed)
{
    if (speed == m_speed)
        return;
    m_speed = speed;
    if (auto *delegate = m_delegate.get())
        delegate->detailScrubControllerDidChangeScrubSpeed(this, speed);
}

#include <Quillon/media/videoscrubbercontrol.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <qdrawutil.h>

#include <algorithm>
#include <limits>

namespace {
constexpr int TULOSliderSteps = 1000000;
constexpr double TULOTouchMarginVertical = 20.0;
constexpr double TULOTouchMarginNearEnds = 44.0;
constexpr double TULOTouchMarginMiddle = 30.0;
} // namespace

TULOVideoScrubberControl::TULOVideoScrubberControl(QWidget *parent)
    : QAbstractSlider(parent)
    , m_detailScrubController(std::make_unique<TULODetailScrubController>(this, this))
{
    setOrientation(Qt::Horizontal);
    setRange(0, TULOSliderSteps);
    setSingleStep(TULOSliderSteps / 100);
    setPageStep(TULOSliderSteps / 10);
    setFocusPolicy(Qt::StrongFocus);
    // A playback control: time runs left to right in every language.
    setLayoutDirection(Qt::LeftToRight);
    setAttribute(Qt::WA_TranslucentBackground);
    m_detailScrubController->setDetailedScrubbingEnabled(true);
    reloadAppearance();
}

TULOVideoScrubberControl::~TULOVideoScrubberControl() = default;

float TULOVideoScrubberControl::scrubValue() const
{
    return float(value()) / TULOSliderSteps;
}

void TULOVideoScrubberControl::setScrubValue(float newValue, bool animated)
{
    Q_UNUSED(animated); // the thumb is never far from where it is drawn next
    newValue = std::clamp(newValue, 0.0f, 1.0f);
    setValue(int(std::lround(double(newValue) * TULOSliderSteps)));
    if (!m_isTracking)
        m_detailScrubController->setValue(double(newValue) * duration());
    update();
}

qint64 TULOVideoScrubberControl::currentScrubSpeed() const
{
    return m_detailScrubController->currentScrubSpeed();
}

double TULOVideoScrubberControl::duration() const
{
    return m_detailScrubController->duration();
}

void TULOVideoScrubberControl::setDuration(double duration)
{
    m_detailScrubController->setDuration(duration);
    m_detailScrubController->setValue(double(scrubValue()) * m_detailScrubController->duration());
}

bool TULOVideoScrubberControl::usesDetailedScrubbing() const
{
    return m_detailScrubController->usesDetailedScrubbing();
}

QRectF TULOVideoScrubberControl::trackRectForBounds(const QRectF &bounds) const
{
    return QRectF(bounds.x(), bounds.y(), bounds.width(), TULOTrackHeight);
}

QRectF TULOVideoScrubberControl::thumbRectForBounds(const QRectF &bounds, const QRectF &trackRect, float value) const
{
    const QRectF inner = trackRect.adjusted(2.0, 0.0, -2.0, 0.0);
    const double x = inner.x() + double(std::clamp(value, 0.0f, 1.0f)) * std::max(0.0, inner.width() - TULOThumbWidth);
    return QRectF(x, bounds.y(), TULOThumbWidth, TULOThumbHeight);
}

QRectF TULOVideoScrubberControl::thumbHitRect() const
{
    const QRectF bounds(rect());
    const QRectF thumb = thumbRectForBounds(bounds, trackRectForBounds(bounds), scrubValue());
    const bool nearEnd = thumb.x() < TULOTouchMarginNearEnds || thumb.x() >= bounds.width() - TULOTouchMarginNearEnds;
    const double margin = nearEnd ? TULOTouchMarginNearEnds : TULOTouchMarginMiddle;
    return thumb.adjusted(-margin, -TULOTouchMarginVertical, margin, TULOTouchMarginVertical);
}

bool TULOVideoScrubberControl::pointInside(const QPointF &point) const
{
    return QRectF(rect()).contains(point) || thumbHitRect().contains(point);
}

bool TULOVideoScrubberControl::beginTracking(const QPointF &point)
{
    if (!thumbHitRect().contains(point))
        return false;
    m_detailScrubController->setValue(double(scrubValue()) * duration());
    m_isTracking = m_detailScrubController->beginTracking(point, trackRectForBounds(QRectF(rect())));
    setSliderDown(m_isTracking);
    return m_isTracking;
}

bool TULOVideoScrubberControl::continueTracking(const QPointF &point)
{
    if (!m_isTracking)
        return false;
    return m_detailScrubController->continueTracking(point);
}

void TULOVideoScrubberControl::endTracking(const QPointF &point)
{
    if (!m_isTracking)
        return;
    m_isTracking = false;
    m_detailScrubController->endTracking(point);
    setSliderDown(false);
}

void TULOVideoScrubberControl::cancelTracking()
{
    if (!m_isTracking)
        return;
    m_isTracking = false;
    m_detailScrubController->cancelTracking();
    setSliderDown(false);
}

void TULOVideoScrubberControl::detailScrubControllerDidChangeScrubSpeed(TULODetailScrubController *, qint64)
{
    // The host shows the speed in its explanation line.
    sendActionsForControlEvents(TULOControlEventValueChanged);
}

void TULOVideoScrubberControl::detailScrubControllerDidChangeValue(TULODetailScrubController *, double time)
{
    const double length = duration();
    const double newValue = length > std::numeric_limits<double>::epsilon() ? std::max(0.0, time / length) : 0.0;
    setScrubValue(float(newValue));
    sendActionsForControlEvents(TULOControlEventValueChanged);
}

void TULOVideoScrubberControl::sendActionsForControlEvents(qint64 events)
{
    Q_EMIT controlEventsSent(events);
}

QImage TULOVideoScrubberControl::trackImageWithColor(const QColor &color, qreal devicePixelRatio)
{
    // Rounded ends, stretched in the middle: 4 wide caps around one stretchable column.
    const QSizeF logical(2.0 * TULOTrackHeight + 1.0, TULOTrackHeight);
    QImage image((logical * devicePixelRatio).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(devicePixelRatio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(QPointF(), logical), TULOTrackHeight / 2.0, TULOTrackHeight / 2.0);
    return image;
}

void TULOVideoScrubberControl::reloadAppearance()
{
    // The scrubber sits on the black backdrop of the video in light and dark themes alike.
    m_trackImage = trackImageWithColor(QColor(255, 255, 255, 150), devicePixelRatioF());
    update();
}

void TULOVideoScrubberControl::changeEvent(QEvent *event)
{
    QAbstractSlider::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange
        || event->type() == QEvent::ScreenChangeInternal)
        reloadAppearance();
}

QSize TULOVideoScrubberControl::sizeHint() const
{
    return QSize(240, int(TULOThumbHeight));
}

QSize TULOVideoScrubberControl::minimumSizeHint() const
{
    return QSize(int(4 * TULOThumbWidth), int(TULOThumbHeight));
}

void TULOVideoScrubberControl::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bounds(rect());
    const QRectF track = trackRectForBounds(bounds);
    const int cap = int(TULOTrackHeight);
    qDrawBorderPixmap(&painter, track.toRect(), QMargins(cap, 0, cap, 0), QPixmap::fromImage(m_trackImage));

    const QRectF thumb = thumbRectForBounds(bounds, track, scrubValue());
    painter.setPen(QPen(QColor(0, 0, 0, 140), 1.0));
    painter.setBrush(isEnabled() ? QColor(Qt::white) : QColor(160, 160, 160));
    painter.drawRoundedRect(thumb.adjusted(0.5, 0.5, -0.5, -0.5), 2.5, 2.5);
    if (hasFocus()) {
        painter.setPen(QPen(palette().color(QPalette::Highlight), 2.0));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(thumb.adjusted(-2.0, -1.0, 2.0, 1.0), 4.0, 4.0);
    }
}

void TULOVideoScrubberControl::mousePressEvent(QMouseEvent *event)
{
    if (event->button() == Qt::LeftButton && beginTracking(event->position())) {
        sendActionsForControlEvents(TULOControlEventTouchDown);
        event->accept();
        return;
    }
    event->ignore();
}

void TULOVideoScrubberControl::mouseMoveEvent(QMouseEvent *event)
{
    if (continueTracking(event->position()))
        event->accept();
    else
        event->ignore();
}

void TULOVideoScrubberControl::mouseReleaseEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton || !m_isTracking) {
        event->ignore();
        return;
    }
    endTracking(event->position());
    sendActionsForControlEvents(TULOControlEventTouchUpInside);
}

void TULOVideoScrubberControl::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape && m_isTracking) {
        cancelTracking();
        sendActionsForControlEvents(TULOControlEventTouchCancel);
        return;
    }
    float step = 0.0f;
    switch (event->key()) {
    case Qt::Key_Left: step = -0.01f; break;
    case Qt::Key_Right: step = 0.01f; break;
    case Qt::Key_PageDown: step = -0.1f; break;
    case Qt::Key_PageUp: step = 0.1f; break;
    case Qt::Key_Home: step = -1.0f; break;
    case Qt::Key_End: step = 1.0f; break;
    default:
        QWidget::keyPressEvent(event);
        return;
    }
    setScrubValue(scrubValue() + step);
    sendActionsForControlEvents(TULOControlEventValueChanged);
}

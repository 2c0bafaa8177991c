#include <Quillon/media/soundbiteviewbutton.h>

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

namespace {

const QColor RecordRed(0xE5, 0x48, 0x4D);

} // namespace

TULOSoundBiteViewButton::TULOSoundBiteViewButton(Kind kind, QWidget *parent)
    : QAbstractButton(parent), m_kind(kind)
{
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
}

void TULOSoundBiteViewButton::setShowsPause(bool shows)
{
    if (m_showsPause == shows)
        return;
    m_showsPause = shows;
    update();
}

QRectF TULOSoundBiteViewButton::hitRect() const
{
    const QRectF own(QPointF(0, 0), QSizeF(size()));
    return QRectF(own.x() - 25.0, own.y() - 10.0, own.width() + 35.0, own.height() + 35.0);
}

QSize TULOSoundBiteViewButton::sizeHint() const
{
    switch (m_kind) {
    case Record:
    case StopRecording:
        return QSize(36, 36);
    case Play:
        return QSize(28, 28);
    case Explicit:
        break;
    }
    const QFontMetrics metrics(font());
    return QSize(metrics.horizontalAdvance(text()) + 12, metrics.height() + 8);
}

void TULOSoundBiteViewButton::continueHold()
{
    m_holding = true;
    grabMouse();
}

void TULOSoundBiteViewButton::endHold(bool notify)
{
    if (!m_holding)
        return;
    m_holding = false;
    if (mouseGrabber() == this)
        releaseMouse();
    setDown(false);
    if (notify)
        Q_EMIT holdEnded();
}

void TULOSoundBiteViewButton::mousePressEvent(QMouseEvent *event)
{
    if (!m_holdButton) {
        QAbstractButton::mousePressEvent(event);
        return;
    }
    if (event->button() != Qt::LeftButton || !hitButton(event->position().toPoint())) {
        event->ignore();
        return;
    }
    event->accept();
    m_holding = true;
    setDown(true);
    Q_EMIT holdBegan();
}

void TULOSoundBiteViewButton::mouseReleaseEvent(QMouseEvent *event)
{
    if (m_holding && event->button() == Qt::LeftButton) {
        event->accept();
        endHold(true);
        return;
    }
    if (m_holdButton) {
        event->ignore();
        return;
    }
    QAbstractButton::mouseReleaseEvent(event);
}

void TULOSoundBiteViewButton::mouseMoveEvent(QMouseEvent *event)
{
    // A hold lasts until the button is let go, wherever the pointer wanders.
    if (m_holding) {
        event->accept();
        return;
    }
    QAbstractButton::mouseMoveEvent(event);
}

void TULOSoundBiteViewButton::keyPressEvent(QKeyEvent *event)
{
    // Space toggles: a keyboard cannot be asked to hold a key for the whole take.
    if (m_holdButton && event->key() == Qt::Key_Space) {
        event->accept();
        if (!event->isAutoRepeat())
            Q_EMIT clicked();
        return;
    }
    QAbstractButton::keyPressEvent(event);
}

void TULOSoundBiteViewButton::keyReleaseEvent(QKeyEvent *event)
{
    if (m_holdButton && event->key() == Qt::Key_Space) {
        event->accept();
        return;
    }
    QAbstractButton::keyReleaseEvent(event);
}

void TULOSoundBiteViewButton::hideEvent(QHideEvent *event)
{
    // The view decides what a hidden button's hold means; the button only lets go.
    endHold(false);
    QAbstractButton::hideEvent(event);
}

void TULOSoundBiteViewButton::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette &colors = palette();
    const QRectF bounds = QRectF(rect()).adjusted(1, 1, -1, -1);
    const bool focused = hasFocus();

    if (m_kind == Explicit) {
        QColor ink = colors.color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::Highlight);
        if (isDown())
            ink.setAlphaF(0.6f);
        if (focused) {
            painter.setPen(QPen(colors.color(QPalette::Highlight), 2));
            painter.setBrush(Qt::NoBrush);
            painter.drawRoundedRect(bounds, 5, 5);
        }
        painter.setPen(ink);
        painter.drawText(rect(), Qt::AlignCenter, text());
        return;
    }

    const qreal side = std::min(bounds.width(), bounds.height());
    const QRectF circle(bounds.center() - QPointF(side / 2, side / 2), QSizeF(side, side));
    if (focused) {
        painter.setPen(QPen(colors.color(QPalette::Highlight), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(circle.adjusted(0.5, 0.5, -0.5, -0.5));
    }
    const QRectF face = circle.adjusted(3, 3, -3, -3);
    const qreal downShade = isDown() ? 0.7 : 1.0;

    if (m_kind == Play) {
        QColor fill = colors.color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::Highlight);
        fill.setAlphaF(fill.alphaF() * float(downShade));
        painter.setPen(Qt::NoPen);
        painter.setBrush(fill);
        painter.drawEllipse(face);
        painter.setBrush(colors.color(QPalette::HighlightedText));
        const QPointF c = face.center();
        const qreal g = face.width() * 0.2;
        if (m_showsPause) {
            painter.drawRect(QRectF(c.x() - g * 0.95, c.y() - g, g * 0.7, g * 2));
            painter.drawRect(QRectF(c.x() + g * 0.25, c.y() - g, g * 0.7, g * 2));
        } else {
            QPainterPath triangle;
            triangle.moveTo(c.x() - g * 0.7, c.y() - g * 1.1);
            triangle.lineTo(c.x() + g * 1.2, c.y());
            triangle.lineTo(c.x() - g * 0.7, c.y() + g * 1.1);
            triangle.closeSubpath();
            painter.drawPath(triangle);
        }
        return;
    }

    // Record and stop: a ring around a red dot or a red square.
    QColor ring = colors.color(QPalette::WindowText);
    ring.setAlphaF(isEnabled() ? 0.35f : 0.15f);
    painter.setPen(QPen(ring, 2));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(face.adjusted(1, 1, -1, -1));
    QColor dot = isEnabled() ? RecordRed : colors.color(QPalette::Disabled, QPalette::WindowText);
    if (!isEnabled())
        dot.setAlphaF(0.35f);
    dot.setAlphaF(dot.alphaF() * float(downShade));
    painter.setPen(Qt::NoPen);
    painter.setBrush(dot);
    if (m_kind == Record) {
        painter.drawEllipse(face.adjusted(6, 6, -6, -6));
    } else {
        const qreal s = face.width() * 0.36;
        painter.drawRoundedRect(QRectF(face.center() - QPointF(s / 2, s / 2), QSizeF(s, s)), 3, 3);
    }
}

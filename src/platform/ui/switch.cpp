#include <Quillon/platform/ui/switch.h>

#include <Quillon/platform/ui/tableviewcell.h>

#include <QPainter>
#include <QPainterPath>
#include <QVariantAnimation>

TULOSwitch::TULOSwitch(QWidget *parent)
    : QAbstractButton(parent)
{
    setCheckable(true);
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::PointingHandCursor);
}

void TULOSwitch::setOn(bool on, bool animated)
{
    const QSignalBlocker blocker(this); // programmatic changes are not the user's toggles
    setChecked(on);
    animateTo(on, animated);
}

void TULOSwitch::checkStateSet()
{
    QAbstractButton::checkStateSet();
    animateTo(isChecked(), false);
}

void TULOSwitch::nextCheckState()
{
    QAbstractButton::nextCheckState();
    animateTo(isChecked(), true);
}

void TULOSwitch::animateTo(bool on, bool animated)
{
    const double target = on ? 1.0 : 0.0;
    if (m_animation) {
        m_animation->stop();
        delete m_animation;
        m_animation = nullptr;
    }
    if (!animated) {
        m_position = target;
        update();
        return;
    }
    m_animation = new QVariantAnimation(this);
    m_animation->setStartValue(m_position);
    m_animation->setEndValue(target);
    m_animation->setDuration(150);
    connect(m_animation, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        m_position = value.toDouble();
        update();
    });
    m_animation->start();
}

QSize TULOSwitch::sizeHint() const
{
    return QSize(46, 28);
}

void TULOSwitch::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track = QRectF(0, 0, 44, 26).translated((width() - 44) / 2.0, (height() - 26) / 2.0);
    const QColor off = palette().color(QPalette::Midlight);
    const QColor on = TULOTableViewCell::tintColor(palette());
    QColor fill;
    fill.setRgbF(off.redF() + (on.redF() - off.redF()) * float(m_position),
                 off.greenF() + (on.greenF() - off.greenF()) * float(m_position),
                 off.blueF() + (on.blueF() - off.blueF()) * float(m_position));
    if (!isEnabled())
        fill.setAlphaF(0.5f);
    QPainterPath path;
    path.addRoundedRect(track, track.height() / 2, track.height() / 2);
    painter.fillPath(path, fill);
    const qreal knob = track.height() - 4;
    const QRectF knobRect(track.left() + 2 + (track.width() - knob - 4) * m_position, track.top() + 2, knob, knob);
    painter.setPen(QPen(QColor(0, 0, 0, 40), 0.5));
    painter.setBrush(Qt::white);
    painter.drawEllipse(knobRect);
    if (hasFocus()) {
        painter.setPen(QPen(on, 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRoundedRect(track.adjusted(-1, -1, 1, 1), track.height() / 2 + 1, track.height() / 2 + 1);
    }
}

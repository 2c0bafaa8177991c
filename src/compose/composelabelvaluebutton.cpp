#include <Quillon/compose/composelabelvaluebutton.h>

#include <Quillon/platform/ui/tableviewcell.h>

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVariantAnimation>

TULOComposeLabelValueButton::TULOComposeLabelValueButton(QWidget *parent)
    : QAbstractButton(parent)
    , m_animation(new QVariantAnimation(this))
{
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_animation->setDuration(250);
    connect(m_animation, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        m_highlight = value.toReal();
        update();
    });
    connect(this, &QAbstractButton::pressed, this, [this] {
        m_animation->stop();
        m_highlight = 1;
        update();
    });
    updateAccessibility();
}

TULOComposeLabelValueButton::~TULOComposeLabelValueButton() = default;

void TULOComposeLabelValueButton::mouseReleaseEvent(QMouseEvent *event)
{
    // A click keeps the row highlighted until its screen comes back; a press dragged away
    // lets go of it.
    const bool inside = hitButton(event->position().toPoint());
    QAbstractButton::mouseReleaseEvent(event);
    if (!inside)
        deselectAnimated(true);
}

void TULOComposeLabelValueButton::setLabelText(const QString &text)
{
    m_labelText = text;
    updateAccessibility();
    updateGeometry();
    update();
}

void TULOComposeLabelValueButton::setValueText(const QString &text)
{
    m_valueText = text;
    updateAccessibility();
    update();
}

void TULOComposeLabelValueButton::setCharge(qreal charge)
{
    m_charge = charge;
    update();
}

void TULOComposeLabelValueButton::deselectAnimated(bool animated)
{
    m_animation->stop();
    if (!animated || m_highlight <= 0) {
        m_highlight = 0;
        update();
        return;
    }
    m_animation->setStartValue(m_highlight);
    m_animation->setEndValue(0.0);
    m_animation->start();
}

void TULOComposeLabelValueButton::updateAccessibility()
{
    setText(m_labelText);
    setAccessibleName(m_labelText);
    setAccessibleDescription(m_valueText);
    setToolTip(m_valueText.isEmpty() ? QString() : m_labelText + QStringLiteral(": ") + m_valueText);
}

QSize TULOComposeLabelValueButton::sizeHint() const
{
    const int text = fontMetrics().horizontalAdvance(m_labelText) + fontMetrics().horizontalAdvance(m_valueText);
    return QSize(text + 3 * TULOTableViewCell::TULOHorizontalMargin + 24, TULOTableViewCell::TULORowHeight);
}

void TULOComposeLabelValueButton::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPalette pal = palette();
    const int margin = TULOTableViewCell::TULOHorizontalMargin;
    const qreal hairline = 1.0 / devicePixelRatioF();

    // The strength of the press highlight follows the charge (-1 full, 0 none).
    const qreal strength = std::clamp(-m_charge, 0.15, 1.0);
    if (m_highlight > 0) {
        QColor highlight = pal.color(QPalette::WindowText);
        highlight.setAlphaF(float(0.12 * strength * m_highlight));
        painter.fillRect(rect(), highlight);
    }
    QColor line = pal.color(QPalette::WindowText);
    line.setAlphaF(0.15f);
    painter.fillRect(QRectF(margin, 0, width() - margin, hairline), line);

    const QRect content = rect().adjusted(margin, 0, -margin, 0);
    const int chevronWidth = 8;
    const QRect textRect = content.adjusted(0, 0, -(chevronWidth + 10), 0);
    painter.setPen(pal.color(QPalette::WindowText));
    const int labelWidth = std::min(textRect.width(), fontMetrics().horizontalAdvance(m_labelText));
    painter.drawText(QRect(textRect.left(), textRect.top(), labelWidth, textRect.height()), Qt::AlignVCenter | Qt::AlignLeft,
                     m_labelText);
    if (!m_valueText.isEmpty()) {
        const QRect valueRect = textRect.adjusted(labelWidth + 12, 0, 0, 0);
        painter.setPen(pal.color(QPalette::PlaceholderText));
        painter.drawText(valueRect, Qt::AlignVCenter | Qt::AlignRight,
                         fontMetrics().elidedText(m_valueText, Qt::ElideRight, valueRect.width()));
    }
    // Disclosure chevron.
    QPainterPath chevron;
    const QPointF tip(content.right() - 1, content.center().y() + 0.5);
    chevron.moveTo(tip + QPointF(-5, -5));
    chevron.lineTo(tip);
    chevron.lineTo(tip + QPointF(-5, 5));
    painter.setPen(QPen(pal.color(QPalette::PlaceholderText), 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    painter.drawPath(chevron);
    if (hasFocus()) {
        painter.setPen(QPen(pal.color(QPalette::Highlight), 2));
        painter.drawRect(QRectF(rect()).adjusted(1, 1, -1, -1));
    }
}

#include <Quillon/platform/ui/tableviewcell.h>

#include <QCoreApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>
#include <QVariantAnimation>

namespace {

constexpr int TULOAccessoryWidth = 22;
constexpr int TULOImageSpacing = 12;

} // namespace

TULOTableViewCell::TULOTableViewCell(QWidget *parent)
    : QWidget(parent)
    , m_textLabel(new QLabel(this))
    , m_detailTextLabel(new QLabel(this))
    , m_layout(new QHBoxLayout(this))
    , m_trailing(new QHBoxLayout)
{
    setAttribute(Qt::WA_Hover);
    setFocusPolicy(Qt::NoFocus);
    m_textLabel->setTextFormat(Qt::PlainText);
    m_detailTextLabel->setTextFormat(Qt::PlainText);
    QPalette detailPalette = m_detailTextLabel->palette();
    detailPalette.setColor(QPalette::WindowText, palette().color(QPalette::PlaceholderText));
    m_detailTextLabel->setPalette(detailPalette);
    QFont detailFont = m_detailTextLabel->font();
    detailFont.setPointSizeF(detailFont.pointSizeF() * 0.85);
    m_detailTextLabel->setFont(detailFont);
    m_detailTextLabel->hide();

    auto *titles = new QVBoxLayout;
    titles->setSpacing(1);
    titles->addWidget(m_textLabel);
    titles->addWidget(m_detailTextLabel);
    m_layout->addLayout(titles, 1);
    m_trailing->setSpacing(8);
    m_layout->addLayout(m_trailing);
    m_layout->setSpacing(8);
    updateMargins();
}

TULOTableViewCell::~TULOTableViewCell() = default;

void TULOTableViewCell::hideTitleColumn()
{
    m_textLabel->hide();
    m_detailTextLabel->hide();
    m_layout->setStretch(0, 0);
    m_layout->setStretch(1, 1);
}

void TULOTableViewCell::setText(const QString &text)
{
    m_textLabel->setText(text);
    updateAccessibility();
}

QString TULOTableViewCell::text() const
{
    return m_textLabel->text();
}

void TULOTableViewCell::setDetailText(const QString &text)
{
    m_detailTextLabel->setText(text);
    m_detailTextLabel->setVisible(!text.isEmpty());
    updateAccessibility();
}

void TULOTableViewCell::setImage(const QImage &image)
{
    m_image = image;
    updateMargins();
    update();
}

void TULOTableViewCell::setImageSize(const QSize &size)
{
    m_imageSize = size;
    updateMargins();
    updateGeometry();
    update();
}

void TULOTableViewCell::setAccessoryType(TULOTableViewCellAccessoryType type)
{
    if (m_accessoryType == type)
        return;
    m_accessoryType = type;
    updateMargins();
    updateAccessibility();
    update();
}

void TULOTableViewCell::updateMargins()
{
    const int leading = TULOHorizontalMargin + (m_image.isNull() ? 0 : m_imageSize.width() + TULOImageSpacing);
    const int trailing = TULOHorizontalMargin + (m_accessoryType == TULOTableViewCellAccessoryNone ? 0 : TULOAccessoryWidth);
    m_layout->setContentsMargins(leading, 6, trailing, 6);
}

void TULOTableViewCell::updateAccessibility()
{
    QString name = m_textLabel->text();
    if (!m_detailTextLabel->text().isEmpty())
        name += QStringLiteral(", ") + m_detailTextLabel->text();
    setAccessibleName(name);
    switch (m_accessoryType) {
    case TULOTableViewCellAccessoryCheckmark:
        setAccessibleDescription(QCoreApplication::translate("TULOTableViewCell", "Selected"));
        break;
    case TULOTableViewCellAccessoryDisclosureIndicator:
    case TULOTableViewCellAccessoryDetailDisclosureButton:
        setAccessibleDescription(QCoreApplication::translate("TULOTableViewCell", "Opens more"));
        break;
    default:
        setAccessibleDescription(QString());
        break;
    }
}

void TULOTableViewCell::setHighlighted(bool highlighted, bool animated)
{
    m_highlighted = highlighted;
    animateHighlight(m_highlighted || m_selected ? 1.0 : 0.0, animated);
}

void TULOTableViewCell::setSelected(bool selected, bool animated)
{
    m_selected = selected;
    if (!selected)
        m_highlighted = false;
    animateHighlight(m_highlighted || m_selected ? 1.0 : 0.0, animated);
}

void TULOTableViewCell::setFocusIndicated(bool indicated)
{
    if (m_focusIndicated == indicated)
        return;
    m_focusIndicated = indicated;
    update();
}

void TULOTableViewCell::animateHighlight(double target, bool animated)
{
    if (m_highlightAnimation) {
        m_highlightAnimation->stop();
        delete m_highlightAnimation;
        m_highlightAnimation = nullptr;
    }
    if (!animated || qFuzzyCompare(m_highlightLevel + 1.0, target + 1.0)) {
        m_highlightLevel = target;
        update();
        return;
    }
    m_highlightAnimation = new QVariantAnimation(this);
    m_highlightAnimation->setStartValue(m_highlightLevel);
    m_highlightAnimation->setEndValue(target);
    m_highlightAnimation->setDuration(300);
    connect(m_highlightAnimation, &QVariantAnimation::valueChanged, this, [this](const QVariant &value) {
        m_highlightLevel = value.toDouble();
        update();
    });
    m_highlightAnimation->start();
}

void TULOTableViewCell::prepareForReuse()
{
    setSelected(false);
    setHighlighted(false);
    setFocusIndicated(false);
    setEnabled(true);
}

QColor TULOTableViewCell::tintColor(const QPalette &palette)
{
    return palette.color(QPalette::Active, QPalette::Highlight);
}

QSize TULOTableViewCell::sizeHint() const
{
    QSize hint = QWidget::sizeHint();
    hint.setHeight(qMax(hint.height(), qMax(int(TULORowHeight), m_imageSize.height() + 12)));
    return hint;
}

QSize TULOTableViewCell::minimumSizeHint() const
{
    QSize hint = QWidget::minimumSizeHint();
    hint.setHeight(qMax(hint.height(), int(TULORowHeight)));
    return hint;
}

void TULOTableViewCell::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event)
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (m_highlightLevel > 0.0 && m_selectionStyle != TULOTableViewCellSelectionStyleNone) {
        QColor highlight = palette().color(QPalette::Mid);
        highlight.setAlphaF(float(0.45 * m_highlightLevel));
        painter.fillRect(rect(), highlight);
    }
    if (m_focusIndicated) {
        QPen pen(tintColor(palette()), 2);
        painter.setPen(pen);
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(QRectF(rect()).adjusted(1, 1, -1, -1));
    }
    if (!m_image.isNull()) {
        // Drawn into a rectangle in points; the image's own pixel ratio keeps it sharp on HiDPI.
        const QRectF target(TULOHorizontalMargin, (height() - m_imageSize.height()) / 2.0, m_imageSize.width(),
                            m_imageSize.height());
        painter.drawImage(target, m_image);
    }
    const qreal cx = width() - TULOHorizontalMargin - TULOAccessoryWidth / 2.0;
    const qreal cy = height() / 2.0;
    switch (m_accessoryType) {
    case TULOTableViewCellAccessoryDisclosureIndicator:
    case TULOTableViewCellAccessoryDetailDisclosureButton: {
        QPen pen(palette().color(isEnabled() ? QPalette::Active : QPalette::Disabled, QPalette::PlaceholderText), 2);
        pen.setCapStyle(Qt::RoundCap);
        pen.setJoinStyle(Qt::RoundJoin);
        painter.setPen(pen);
        QPainterPath chevron;
        chevron.moveTo(cx - 2, cy - 6);
        chevron.lineTo(cx + 4, cy);
        chevron.lineTo(cx - 2, cy + 6);
        painter.drawPath(chevron);
        break;
    }
    case TULOTableViewCellAccessoryCheckmark: {
        QPen pen(tintColor(palette()), 2.4);
        pen.setCapStyle(Qt::RoundCap);
        pen.setJoinStyle(Qt::RoundJoin);
        painter.setPen(pen);
        QPainterPath check;
        check.moveTo(cx - 6, cy);
        check.lineTo(cx - 1.5, cy + 5);
        check.lineTo(cx + 7, cy - 6);
        painter.drawPath(check);
        break;
    }
    default:
        break;
    }
}

void TULOTableViewCell::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    m_pressed = true;
    event->accept();
    Q_EMIT pressed();
}

void TULOTableViewCell::mouseReleaseEvent(QMouseEvent *event)
{
    if (!m_pressed || event->button() != Qt::LeftButton) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    m_pressed = false;
    event->accept();
    Q_EMIT released(rect().contains(event->position().toPoint()));
}

void TULOTableViewCell::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::EnabledChange || event->type() == QEvent::PaletteChange)
        update();
}

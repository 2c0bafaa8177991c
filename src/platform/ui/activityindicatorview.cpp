#include <Quillon/platform/ui/activityindicatorview.h>

#include <QCoreApplication>
#include <QPainter>
#include <QTimer>

namespace {

constexpr int TULOSpokeCount = 12;

} // namespace

TULOActivityIndicatorView::TULOActivityIndicatorView(TULOActivityIndicatorViewStyle style, QWidget *parent)
    : QWidget(parent)
    , m_style(style)
    , m_timer(new QTimer(this))
{
    setAccessibleName(QCoreApplication::translate("TULOActivityIndicatorView", "In progress"));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    m_timer->setInterval(1000 / TULOSpokeCount);
    connect(m_timer, &QTimer::timeout, this, [this] {
        m_phase = (m_phase + 1) % TULOSpokeCount;
        update();
    });
    setVisible(!m_hidesWhenStopped);
}

void TULOActivityIndicatorView::setStyle(TULOActivityIndicatorViewStyle style)
{
    m_style = style;
    updateGeometry();
    update();
}

void TULOActivityIndicatorView::startAnimating()
{
    if (!m_timer->isActive())
        m_timer->start();
    show();
}

void TULOActivityIndicatorView::stopAnimating()
{
    m_timer->stop();
    if (m_hidesWhenStopped)
        hide();
    update();
}

bool TULOActivityIndicatorView::isAnimating() const
{
    return m_timer->isActive();
}

void TULOActivityIndicatorView::setHidesWhenStopped(bool hides)
{
    m_hidesWhenStopped = hides;
    if (!isAnimating())
        setVisible(!hides);
}

void TULOActivityIndicatorView::setColor(const QColor &color)
{
    m_color = color;
    update();
}

QSize TULOActivityIndicatorView::sizeHint() const
{
    const int side = m_style == TULOActivityIndicatorViewStyleLarge ? 37 : 20;
    return QSize(side, side);
}

void TULOActivityIndicatorView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const qreal side = qMin(width(), height());
    const qreal outer = side / 2.0;
    const qreal inner = outer * 0.45;
    QColor base = m_color.isValid() ? m_color : palette().color(QPalette::PlaceholderText);
    QPen pen(base, qMax<qreal>(1.5, side / 10.0));
    pen.setCapStyle(Qt::RoundCap);
    painter.translate(width() / 2.0, height() / 2.0);
    for (int i = 0; i < TULOSpokeCount; ++i) {
        // The newest spoke is darkest; a stopped indicator shows them all faint.
        const int age = (m_phase - i + TULOSpokeCount) % TULOSpokeCount;
        QColor color = base;
        color.setAlphaF(isAnimating() ? float(1.0 - age * 0.07) : 0.35f);
        pen.setColor(color);
        painter.setPen(pen);
        painter.save();
        painter.rotate(i * 360.0 / TULOSpokeCount);
        painter.drawLine(QPointF(0, -inner), QPointF(0, -outer + pen.widthF() / 2));
        painter.restore();
    }
}

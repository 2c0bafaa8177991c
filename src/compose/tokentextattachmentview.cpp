#include <Quillon/compose/tokentextattachmentview.h>

#include <QEvent>
#include <QPainter>

#include <atomic>

namespace {

// Views live on the main thread, but an attachment may be asked for its size from another.
std::atomic<quint64> TULOTokenSizeHintGeneration{1};

} // namespace

TULOTokenTextAttachmentView::TULOTokenTextAttachmentView(QWidget *parent)
    : QWidget(parent)
{
    // Clicks place the caret in the text; the view is only a picture of the token.
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    sizeHintMayHaveChanged();
}

TULOTokenTextAttachmentView::~TULOTokenTextAttachmentView()
{
    sizeHintMayHaveChanged();
}

quint64 TULOTokenTextAttachmentView::sizeHintGeneration()
{
    return TULOTokenSizeHintGeneration.load(std::memory_order_relaxed);
}

void TULOTokenTextAttachmentView::sizeHintMayHaveChanged()
{
    TULOTokenSizeHintGeneration.fetch_add(1, std::memory_order_relaxed);
}

void TULOTokenTextAttachmentView::setSelected(bool selected)
{
    if (m_selected == selected)
        return;
    m_selected = selected;
    m_label = QPixmap();
    selectedDidChange();
    update();
}

void TULOTokenTextAttachmentView::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange)
        m_label = QPixmap();
    if (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange)
        sizeHintMayHaveChanged();
}

void TULOTokenTextAttachmentView::paintEvent(QPaintEvent *)
{
    if (width() <= 0 || height() <= 0)
        return;
    const qreal scale = devicePixelRatioF();
    const QSize pixels = (QSizeF(size()) * scale).toSize();
    if (m_label.isNull() || m_label.size() != pixels || m_label.devicePixelRatio() != scale) {
        m_label = QPixmap(pixels);
        m_label.setDevicePixelRatio(scale);
        m_label.fill(Qt::transparent);
        QPainter label(&m_label);
        drawLabel(label);
    }
    QPainter painter(this);
    painter.drawPixmap(0, 0, m_label);
    drawContents(painter);
}

void TULOTokenTextAttachmentView::drawContents(QPainter &)
{
}

void TULOTokenTextAttachmentView::drawLabel(QPainter &painter) const
{
    painter.setRenderHint(QPainter::Antialiasing);
    QColor fill = palette().color(QPalette::Highlight);
    if (!m_selected)
        fill.setAlphaF(0.22f);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    const qreal radius = qMin(height(), 8) / 2.0;
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}

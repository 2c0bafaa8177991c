#include <Quillon/compose/tokentextattachmentview.h>

#include <QPainter>

TULOTokenTextAttachmentView::TULOTokenTextAttachmentView(QWidget *parent)
    : QWidget(parent)
{
    // Clicks place the caret in the text; the view is only a picture of the token.
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
}

void TULOTokenTextAttachmentView::setSelected(bool selected)
{
    if (m_selected == selected)
        return;
    m_selected = selected;
    selectedDidChange();
    update();
}

void TULOTokenTextAttachmentView::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor fill = palette().color(QPalette::Highlight);
    if (!m_selected)
        fill.setAlphaF(0.22f);
    painter.setPen(Qt::NoPen);
    painter.setBrush(fill);
    const qreal radius = qMin(height(), 8) / 2.0;
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), radius, radius);
}

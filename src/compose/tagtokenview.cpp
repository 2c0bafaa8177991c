#include <Quillon/compose/tagtokenview.h>

#include <QApplication>
#include <QLabel>
#include <QEvent>
#include <QPainter>

#include <cmath>

namespace {

// Room left and right of the name inside the rounded label.
constexpr int TULOTagTokenHorizontalPadding = 4;

} // namespace

TULOTagTokenView::TULOTagTokenView(QWidget *parent)
    : TULOTokenTextAttachmentView(parent)
    , m_label(new QLabel(this))
{
    QFont font = QApplication::font();
    font.setBold(true);
    m_label->setFont(font);
    m_label->setAlignment(Qt::AlignCenter);
    m_label->setContentsMargins(TULOTagTokenHorizontalPadding, 0, TULOTagTokenHorizontalPadding, 0);
    m_label->setTextFormat(Qt::PlainText);
    m_label->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_label->hide(); // painted by this view; it still holds the text, font, colour and place
    m_name.setTextFormat(Qt::PlainText);
    m_name.setPerformanceHint(QStaticText::AggressiveCaching);
    // The label's font and style make this view's size hint.
    m_label->installEventFilter(this);
    updateTextColor();
}

bool TULOTagTokenView::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_label && (event->type() == QEvent::FontChange || event->type() == QEvent::StyleChange))
        sizeHintMayHaveChanged();
    return TULOTokenTextAttachmentView::eventFilter(watched, event);
}

void TULOTagTokenView::drawContents(QPainter &painter)
{
    // The label may be given another name or font from outside.
    const QFont font = m_label->font();
    if (m_name.text() != m_label->text() || m_nameFont != font) {
        if (!m_name.text().isEmpty())
            sizeHintMayHaveChanged(); // renamed from outside: the next layout measures again
        m_name.setText(m_label->text());
        m_name.prepare(QTransform(), font);
        m_nameFont = font;
    }
    painter.setFont(font);
    painter.setPen(m_label->palette().color(QPalette::WindowText));
    // As the label aligns it: centred in its contents.
    const QRectF area = QRectF(m_label->contentsRect()).translated(m_label->pos());
    const QSizeF size = m_name.size();
    painter.drawStaticText(QPointF(area.x() + (area.width() - size.width()) / 2, area.y() + (area.height() - size.height()) / 2), m_name);
}

QSize TULOTagTokenView::sizeHint() const
{
    return m_label->sizeHint();
}

void TULOTagTokenView::resizeEvent(QResizeEvent *event)
{
    TULOTokenTextAttachmentView::resizeEvent(event);
    const int fittedHeight = qMin(m_label->sizeHint().height(), height());
    const int y = int(std::floor((height() - fittedHeight) / 2.0));
    m_label->setGeometry(0, y, width(), fittedHeight);
}

void TULOTagTokenView::selectedDidChange()
{
    updateTextColor();
}

void TULOTagTokenView::changeEvent(QEvent *event)
{
    TULOTokenTextAttachmentView::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        updateTextColor();
}

void TULOTagTokenView::updateTextColor()
{
    // The text's own colour (black in a light theme), so that the name stays readable on the
    // tinted token in a dark theme too.
    QPalette palette = m_label->palette();
    palette.setColor(QPalette::WindowText, this->palette().color(isSelected() ? QPalette::HighlightedText : QPalette::Text));
    m_label->setPalette(palette);
}

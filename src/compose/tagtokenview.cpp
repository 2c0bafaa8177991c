#include <Quillon/compose/tagtokenview.h>

#include <QApplication>
#include <QLabel>

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
    updateTextColor();
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

void TULOTagTokenView::updateTextColor()
{
    QPalette palette = m_label->palette();
    palette.setColor(QPalette::WindowText, isSelected() ? palette.color(QPalette::HighlightedText) : QColor(Qt::black));
    m_label->setPalette(palette);
}

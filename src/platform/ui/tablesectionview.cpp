#include <Quillon/platform/ui/tablesectionview_p.h>

#include <Quillon/platform/ui/tableviewcell.h>

#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QVBoxLayout>

namespace {

constexpr int TULOGroupInset = 16;
constexpr int TULOGroupRadius = 10;

} // namespace

class TULOTableSectionView::Group : public QWidget
{
public:
    explicit Group(TULOTableSectionView *section)
        : QWidget(section)
        , m_section(section)
    {
    }

protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath card;
        const qreal radius = m_section->m_style == TULOTableViewStyleGrouped ? TULOGroupRadius : 0;
        card.addRoundedRect(QRectF(rect()), radius, radius);
        painter.fillPath(card, palette().color(QPalette::Base));
        // Separators of one device pixel, inset to the text column.
        QPen pen(palette().color(QPalette::Midlight));
        pen.setCosmetic(true);
        pen.setWidth(0);
        painter.setPen(pen);
        painter.setRenderHint(QPainter::Antialiasing, false);
        const QVBoxLayout *rows = m_section->m_groupLayout;
        for (int i = 0; i + 1 < rows->count(); ++i) {
            const QWidget *row = rows->itemAt(i)->widget();
            if (!row || !row->isVisible())
                continue;
            const int y = row->geometry().bottom();
            // Inset to where the row's text begins (past an image, if any).
            const int inset = row->layout() ? row->layout()->contentsMargins().left()
                                            : int(TULOTableViewCell::TULOHorizontalMargin);
            painter.drawLine(QPointF(inset, y), QPointF(width(), y));
        }
    }

private:
    TULOTableSectionView *m_section;
};

TULOTableSectionView::TULOTableSectionView(TULOTableViewStyle style, const QString &header, const QString &footer)
    : m_style(style)
    , m_header(makeLabel(header, true))
    , m_footer(makeLabel(footer, false))
    , m_group(new Group(this))
{
    auto *layout = new QVBoxLayout(this);
    const int inset = style == TULOTableViewStyleGrouped ? TULOGroupInset : 0;
    layout->setContentsMargins(inset, style == TULOTableViewStyleGrouped ? 12 : 0, inset, 4);
    layout->setSpacing(6);
    layout->addWidget(m_header);
    layout->addWidget(m_group);
    layout->addWidget(m_footer);
    m_groupLayout = new QVBoxLayout(m_group);
    m_groupLayout->setContentsMargins(0, 0, 0, 0);
    m_groupLayout->setSpacing(0);
}

void TULOTableSectionView::relayout()
{
    m_group->update();
}

QLabel *TULOTableSectionView::makeLabel(const QString &text, bool header)
{
    auto *label = new QLabel(header ? text.toUpper() : text);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setContentsMargins(TULOTableViewCell::TULOHorizontalMargin, 0, TULOTableViewCell::TULOHorizontalMargin, 0);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * (header ? 0.85 : 0.8));
    label->setFont(font);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    label->setPalette(palette);
    label->setVisible(!text.isEmpty());
    label->setAccessibleName(text);
    label->setProperty("tuloTitle", text);
    return label;
}

#include <Quillon/compose/authorview.h>

#include <Quillon/platform/ui/tableviewcell.h>

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>

TULOAuthorView::TULOAuthorView(QWidget *parent)
    : QWidget(parent)
    , m_label(new QLabel(this))
    , m_authorNameButton(new QPushButton(this))
{
    auto *layout = new QHBoxLayout(this);
    layout->setContentsMargins(TULOTableViewCell::TULOHorizontalMargin, 0, TULOTableViewCell::TULOHorizontalMargin, 0);
    layout->setSpacing(6);
    m_label->setForegroundRole(QPalette::PlaceholderText);
    m_authorNameButton->setFlat(true);
    m_authorNameButton->setCursor(Qt::PointingHandCursor);
    m_authorNameButton->setAutoDefault(false);
    // The name reads as a menu: it opens one.
    m_authorNameButton->setStyleSheet(QStringLiteral("QPushButton { text-align: left; padding: 4px 6px; font-weight: bold; }"));
    layout->addWidget(m_label);
    layout->addWidget(m_authorNameButton);
    layout->addStretch(1);
    setFocusProxy(m_authorNameButton);
    updateAccessibility();
}

TULOAuthorView::~TULOAuthorView() = default;

QString TULOAuthorView::labelText() const
{
    return m_label->text();
}

void TULOAuthorView::setLabelText(const QString &text)
{
    m_label->setText(text);
    updateAccessibility();
}

void TULOAuthorView::setAuthorName(const QString &name)
{
    m_authorName = name;
    m_authorNameButton->setText(name + QStringLiteral("  \u25BE"));
    updateAccessibility();
}

void TULOAuthorView::updateAccessibility()
{
    m_authorNameButton->setAccessibleName(QStringList({m_label->text(), m_authorName}).join(QLatin1Char(' ')).trimmed());
}

QSize TULOAuthorView::sizeHint() const
{
    return QSize(QWidget::sizeHint().width(), TULOTableViewCell::TULORowHeight);
}

void TULOAuthorView::paintEvent(QPaintEvent *)
{
    // A hairline under the row sets it apart from the text.
    QPainter painter(this);
    QColor line = palette().color(QPalette::WindowText);
    line.setAlphaF(0.15f);
    painter.fillRect(QRectF(TULOTableViewCell::TULOHorizontalMargin, height() - 1.0 / devicePixelRatioF(),
                            width() - TULOTableViewCell::TULOHorizontalMargin, 1.0 / devicePixelRatioF()),
                     line);
}

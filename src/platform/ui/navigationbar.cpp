#include <Quillon/platform/ui/navigationbar.h>

#include <Quillon/platform/ui/activityindicatorview.h>
#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationitem.h>
#include <Quillon/platform/ui/networkactivityindicator.h>

#include <QCoreApplication>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QStyle>

namespace {

constexpr int TULOBarHeight = 44;
constexpr int TULOBarMargin = 8;

QString backArrowText(const QString &title)
{
    return QStringLiteral("\u2039 ") + title;
}

} // namespace

TULONavigationBar::TULONavigationBar(QWidget *parent)
    : QWidget(parent)
    , m_title(new QLabel(this))
    , m_backButton(new QPushButton(this))
    , m_leftButton(new QPushButton(this))
    , m_rightButton(new QPushButton(this))
    , m_activity(new TULOActivityIndicatorView(TULOActivityIndicatorViewStyleMedium, this))
{
    TULONetworkActivityIndicator *network = TULONetworkActivityIndicator::shared();
    connect(network, &TULONetworkActivityIndicator::activeChanged, this, [this](bool active) {
        if (active)
            m_activity->startAnimating();
        else
            m_activity->stopAnimating();
        layoutContents();
    });
    if (network->isActive())
        m_activity->startAnimating();
    setAccessibleName(QCoreApplication::translate("TULONavigationBar", "Navigation bar"));
    setAutoFillBackground(false);
    QFont titleFont = m_title->font();
    titleFont.setBold(true);
    m_title->setFont(titleFont);
    m_title->setAlignment(Qt::AlignCenter);
    m_title->setTextFormat(Qt::PlainText);
    for (QPushButton *button : {m_backButton, m_leftButton, m_rightButton}) {
        button->setFlat(true);
        button->setAutoDefault(false);
        button->setFocusPolicy(Qt::StrongFocus);
        button->hide();
    }
    m_backButton->setAccessibleDescription(QCoreApplication::translate("TULONavigationBar", "Back"));
    connect(m_backButton, &QPushButton::clicked, this, &TULONavigationBar::backRequested);
    connect(m_leftButton, &QPushButton::clicked, this, [this] {
        if (m_leftItem)
            m_leftItem->trigger();
    });
    connect(m_rightButton, &QPushButton::clicked, this, [this] {
        if (m_rightItem)
            m_rightItem->trigger();
    });
    setTabOrder(m_backButton, m_leftButton);
    setTabOrder(m_leftButton, m_rightButton);
}

void TULONavigationBar::setItems(const QList<TULONavigationItem *> &items, bool animated)
{
    Q_UNUSED(animated)
    for (const QPointer<TULONavigationItem> &item : std::as_const(m_items)) {
        if (item)
            disconnect(item, nullptr, this, nullptr);
    }
    m_items.clear();
    for (TULONavigationItem *item : items) {
        m_items.append(item);
        // Titles of the item below feed the back button, so every item is watched.
        connect(item, &TULONavigationItem::changed, this, &TULONavigationBar::reload);
        connect(item, &QObject::destroyed, this, &TULONavigationBar::reload);
    }
    reload();
}

QList<TULONavigationItem *> TULONavigationBar::items() const
{
    QList<TULONavigationItem *> items;
    for (const QPointer<TULONavigationItem> &item : m_items) {
        if (item)
            items.append(item);
    }
    return items;
}

TULONavigationItem *TULONavigationBar::topItem() const
{
    const QList<TULONavigationItem *> all = items();
    return all.isEmpty() ? nullptr : all.last();
}

QString TULONavigationBar::titleText() const
{
    return m_title->text();
}

QString TULONavigationBar::backTitleForItem(const TULONavigationItem *item)
{
    if (item && !item->backButtonTitle().isNull())
        return item->backButtonTitle();
    if (item && !item->title().isEmpty())
        return item->title();
    return QCoreApplication::translate("TULONavigationBar", "Back");
}

void TULONavigationBar::configure(QPushButton *button, TULOBarButtonItem *item)
{
    if (!item) {
        button->hide();
        return;
    }
    button->setText(item->title());
    button->setAccessibleName(item->title());
    button->setEnabled(item->isEnabled());
    QFont font = this->font();
    font.setBold(item->style() == TULOBarButtonItemStyleDone);
    button->setFont(font);
    button->show();
}

void TULONavigationBar::reload()
{
    const QList<TULONavigationItem *> all = items();
    TULONavigationItem *top = all.isEmpty() ? nullptr : all.last();
    const QString title = top ? top->title() : QString();
    m_title->setText(title);
    m_title->setAccessibleName(title);

    m_leftItem = top ? top->leftBarButtonItem() : nullptr;
    m_rightItem = top ? top->rightBarButtonItem() : nullptr;
    configure(m_leftButton, m_leftItem);
    configure(m_rightButton, m_rightItem);

    // A left item replaces the back button.
    const bool showsBack = all.size() > 1 && !m_leftItem && top && !top->hidesBackButton();
    if (showsBack) {
        const QString back = backTitleForItem(all.at(all.size() - 2));
        m_backButton->setText(backArrowText(back));
        m_backButton->setAccessibleName(back);
        m_backButton->show();
    } else {
        m_backButton->hide();
    }
    layoutContents();
    update();
}

QSize TULONavigationBar::sizeHint() const
{
    return QSize(320, TULOBarHeight);
}

QSize TULONavigationBar::minimumSizeHint() const
{
    return QSize(120, TULOBarHeight);
}

void TULONavigationBar::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    layoutContents();
}

void TULONavigationBar::layoutContents()
{
    const int h = height();
    int leftEdge = TULOBarMargin;
    int rightEdge = width() - TULOBarMargin;
    auto place = [h](QPushButton *button, int x) {
        const QSize hint = button->sizeHint();
        button->setGeometry(x, (h - hint.height()) / 2, hint.width(), hint.height());
    };
    for (QPushButton *button : {m_backButton, m_leftButton}) {
        if (button->isVisibleTo(this)) {
            place(button, leftEdge);
            leftEdge += button->width() + TULOBarMargin;
        }
    }
    if (m_rightButton->isVisibleTo(this)) {
        const int w = m_rightButton->sizeHint().width();
        place(m_rightButton, rightEdge - w);
        rightEdge -= w + TULOBarMargin;
    }
    // The title is centred on the bar, and gives way to the buttons when they need the room.
    const int titleWidth = m_title->sizeHint().width();
    int x = (width() - titleWidth) / 2;
    x = qMax(x, leftEdge);
    const int available = qMax(0, rightEdge - x);
    if (x + titleWidth > rightEdge)
        x = qMax(leftEdge, rightEdge - titleWidth);
    m_title->setGeometry(x, 0, qMin(titleWidth, qMax(available, rightEdge - x)), h);
    const QSize spinner = m_activity->sizeHint();
    m_activity->setGeometry(m_title->geometry().right() + 8, (h - spinner.height()) / 2, spinner.width(), spinner.height());
}

void TULONavigationBar::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event)
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Window));
    // A hairline of one device pixel, whatever the scale.
    QPen pen(palette().color(QPalette::Mid));
    pen.setCosmetic(true);
    pen.setWidth(0);
    painter.setPen(pen);
    const qreal y = height() - 1.0 / devicePixelRatioF() / 2;
    painter.drawLine(QPointF(0, y), QPointF(width(), y));
}

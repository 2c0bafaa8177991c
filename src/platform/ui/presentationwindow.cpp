#include <Quillon/platform/ui/presentationwindow_p.h>

#include <Quillon/platform/ui/viewcontroller.h>

#include <QCloseEvent>
#include <QGraphicsOpacityEffect>
#include <QGuiApplication>
#include <QKeySequence>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>
#include <QShortcut>
#include <QVBoxLayout>

namespace {

constexpr int TULOFormSheetWidth = 540;
constexpr int TULOFormSheetHeight = 620;
constexpr int TULOPopoverRadius = 10;

QRect availableScreenRect(const QWidget *widget)
{
    QScreen *screen = widget ? widget->screen() : QGuiApplication::primaryScreen();
    return screen ? screen->availableGeometry() : QRect(0, 0, 1920, 1080);
}

} // namespace

TULOPresentationWindow::TULOPresentationWindow(TULOViewController *controller, QWidget *host)
    : QDialog(host)
    , m_controller(controller)
    , m_host(host)
{
    m_popover = controller->modalPresentationStyle() == TULOModalPresentationStylePopover
        && controller->popoverSourceView() != nullptr;
    setWindowTitle(controller->title());
    connect(controller, &TULOViewController::titleChanged, this, &QWidget::setWindowTitle);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    QWidget *view = controller->view();
    layout->addWidget(view);
    view->show();

    if (m_popover) {
        setWindowFlags(Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
        setAttribute(Qt::WA_TranslucentBackground);
    } else {
        setWindowModality(host ? Qt::WindowModal : Qt::ApplicationModal);
    }

    // Ctrl+Return performs the screen's default action (Post, Done) wherever the focus is.
    for (const QKeySequence &keys : {QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter)}) {
        auto *shortcut = new QShortcut(keys, this);
        connect(shortcut, &QShortcut::activated, this, [this] {
            if (m_controller)
                m_controller->performDefaultAction();
        });
    }
}

void TULOPresentationWindow::showPresentation()
{
    QSize size = m_controller ? m_controller->preferredContentSize() : QSize();
    if (m_popover) {
        placePopover();
    } else {
        const TULOModalPresentationStyle style = m_controller ? m_controller->modalPresentationStyle()
                                                              : TULOModalPresentationStyleFormSheet;
        if (size.isEmpty()) {
            if (style == TULOModalPresentationStyleFullScreen && m_host)
                size = m_host->size();
            else if (style == TULOModalPresentationStyleFormSheet || style == TULOModalPresentationStylePageSheet)
                size = QSize(TULOFormSheetWidth, TULOFormSheetHeight).expandedTo(minimumSizeHint());
            else
                size = sizeHint();
        }
        if (layout())
            layout()->activate();
        resize(size.expandedTo(minimumSizeHint()).expandedTo(minimumSize()));
    }
    show();
    if (!m_popover && m_host && m_host->isVisible()) {
        // Centre the client area (the frame may add margins) once the real size is known.
        const QRect hostRect(m_host->mapToGlobal(QPoint(0, 0)), m_host->size());
        move(pos() + hostRect.center() - QRect(mapToGlobal(QPoint(0, 0)), this->size()).center());
    }
}

void TULOPresentationWindow::setRevealProgress(double progress)
{
    if (progress >= 1.0) {
        if (m_fade) {
            setGraphicsEffect(nullptr); // deletes the effect
            m_fade = nullptr;
        }
        return;
    }
    if (!m_fade) {
        m_fade = new QGraphicsOpacityEffect(this);
        setGraphicsEffect(m_fade);
    }
    m_fade->setOpacity(qBound(0.0, progress, 1.0));
}

QRect TULOPresentationWindow::popoverGeometry(const QRect &anchor, const QSize &contentSize, int permittedDirections,
                                               const QRect &screen, int *arrowDirection)
{
    const int w = contentSize.width();
    const int h = contentSize.height();
    const int centerX = anchor.left() + anchor.width() / 2;
    const int centerY = anchor.top() + anchor.height() / 2;
    auto placed = [&](int direction) {
        switch (direction) {
        case TULOPopoverArrowDirectionUp: // below the anchor, arrow pointing up at it
            return QRect(centerX - w / 2, anchor.bottom() + 1, w, h + TULOArrowSize);
        case TULOPopoverArrowDirectionDown:
            return QRect(centerX - w / 2, anchor.top() - h - TULOArrowSize, w, h + TULOArrowSize);
        case TULOPopoverArrowDirectionLeft:
            return QRect(anchor.right() + 1, centerY - h / 2, w + TULOArrowSize, h);
        default:
            return QRect(anchor.left() - w - TULOArrowSize, centerY - h / 2, w + TULOArrowSize, h);
        }
    };
    auto hasRoom = [&](int direction, const QRect &rect) {
        switch (direction) {
        case TULOPopoverArrowDirectionUp:
            return rect.bottom() <= screen.bottom();
        case TULOPopoverArrowDirectionDown:
            return rect.top() >= screen.top();
        case TULOPopoverArrowDirectionLeft:
            return rect.right() <= screen.right();
        default:
            return rect.left() >= screen.left();
        }
    };
    int chosen = 0;
    const int order[] = {TULOPopoverArrowDirectionUp, TULOPopoverArrowDirectionDown, TULOPopoverArrowDirectionLeft,
                         TULOPopoverArrowDirectionRight};
    for (int direction : order) {
        if (!(permittedDirections & direction))
            continue;
        if (!chosen)
            chosen = direction;
        if (hasRoom(direction, placed(direction))) {
            chosen = direction;
            break;
        }
    }
    if (!chosen)
        chosen = TULOPopoverArrowDirectionUp;
    QRect rect = placed(chosen);
    // Slide along the anchor's edge to stay on screen; the arrow keeps pointing at the anchor.
    if (chosen == TULOPopoverArrowDirectionUp || chosen == TULOPopoverArrowDirectionDown) {
        if (rect.right() > screen.right())
            rect.moveRight(screen.right());
        if (rect.left() < screen.left())
            rect.moveLeft(screen.left());
    } else {
        if (rect.bottom() > screen.bottom())
            rect.moveBottom(screen.bottom());
        if (rect.top() < screen.top())
            rect.moveTop(screen.top());
    }
    if (arrowDirection)
        *arrowDirection = chosen;
    return rect;
}

void TULOPresentationWindow::placePopover()
{
    QWidget *source = m_controller ? m_controller->popoverSourceView() : nullptr;
    if (!source)
        return;
    QRect local = m_controller->popoverSourceRect();
    if (local.isNull())
        local = source->rect();
    const QRect anchor(source->mapToGlobal(local.topLeft()), local.size());
    // The bubble's body: the controller's size plus room for the rounded corners; the arrow
    // is added on the side it points from.
    QSize content = m_controller->preferredContentSize();
    if (content.isEmpty())
        content = m_controller->view()->sizeHint().expandedTo(m_controller->view()->minimumSizeHint());
    content += QSize(0, TULOPopoverRadius);
    // Stay inside the presenter's window when the popover fits there, else inside the screen.
    QRect bounds = availableScreenRect(source);
    QWidget *host = source->window();
    const QRect hostRect(host->mapToGlobal(QPoint(0, 0)), host->size());
    if (hostRect.width() >= content.width() + TULOArrowSize && hostRect.height() >= content.height() + TULOArrowSize)
        bounds = hostRect.intersected(bounds);
    const QRect rect = popoverGeometry(anchor, content, m_controller->popoverPermittedArrowDirections(), bounds,
                                       &m_arrowDirection);
    int left = 0, top = 0, right = 0, bottom = 0;
    switch (m_arrowDirection) {
    case TULOPopoverArrowDirectionUp: top = TULOArrowSize; break;
    case TULOPopoverArrowDirectionDown: bottom = TULOArrowSize; break;
    case TULOPopoverArrowDirectionLeft: left = TULOArrowSize; break;
    default: right = TULOArrowSize; break;
    }
    layout()->setContentsMargins(left, top + TULOPopoverRadius / 2, right, bottom + TULOPopoverRadius / 2);
    setGeometry(rect);
    const QPoint anchorCenter = QPoint(anchor.left() + anchor.width() / 2, anchor.top() + anchor.height() / 2)
        - rect.topLeft();
    switch (m_arrowDirection) {
    case TULOPopoverArrowDirectionUp: m_arrowTip = QPoint(anchorCenter.x(), 0); break;
    case TULOPopoverArrowDirectionDown: m_arrowTip = QPoint(anchorCenter.x(), rect.height()); break;
    case TULOPopoverArrowDirectionLeft: m_arrowTip = QPoint(0, anchorCenter.y()); break;
    default: m_arrowTip = QPoint(rect.width(), anchorCenter.y()); break;
    }
}

void TULOPresentationWindow::paintEvent(QPaintEvent *event)
{
    if (!m_popover) {
        QDialog::paintEvent(event);
        return;
    }
    // A rounded bubble with an arrow towards the anchor.
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QRectF body = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
    const qreal a = TULOArrowSize;
    QPolygonF arrow;
    const QPointF tip(m_arrowTip);
    switch (m_arrowDirection) {
    case TULOPopoverArrowDirectionUp:
        body.setTop(body.top() + a);
        arrow << tip << QPointF(tip.x() - a, body.top()) << QPointF(tip.x() + a, body.top());
        break;
    case TULOPopoverArrowDirectionDown:
        body.setBottom(body.bottom() - a);
        arrow << tip << QPointF(tip.x() - a, body.bottom()) << QPointF(tip.x() + a, body.bottom());
        break;
    case TULOPopoverArrowDirectionLeft:
        body.setLeft(body.left() + a);
        arrow << tip << QPointF(body.left(), tip.y() - a) << QPointF(body.left(), tip.y() + a);
        break;
    default:
        body.setRight(body.right() - a);
        arrow << tip << QPointF(body.right(), tip.y() - a) << QPointF(body.right(), tip.y() + a);
        break;
    }
    QPainterPath path;
    path.addRoundedRect(body, TULOPopoverRadius, TULOPopoverRadius);
    QPainterPath arrowPath;
    arrowPath.addPolygon(arrow);
    arrowPath.closeSubpath();
    path = path.united(arrowPath);
    painter.setPen(QPen(palette().color(QPalette::Mid), 1));
    painter.setBrush(palette().color(QPalette::Window));
    painter.drawPath(path);
}

void TULOPresentationWindow::cancel()
{
    if (!m_controller || m_controller->isBeingDismissed())
        return;
    // Escape or a click outside is the screen's Cancel; a screen without one is simply closed.
    if (!m_controller->performCancelAction() && m_controller && m_controller->presentingViewController()
        && !m_controller->isBeingDismissed())
        m_controller->dismissViewController(true);
}

void TULOPresentationWindow::reject()
{
    cancel();
}

void TULOPresentationWindow::closeEvent(QCloseEvent *event)
{
    if (!m_controller || m_controller->isBeingDismissed() || !m_controller->presentingViewController()) {
        event->accept();
        return;
    }
    if (m_popover) {
        // A popup closes on a click outside whatever we do; treat it as Cancel.
        event->accept();
        cancel();
        if (m_controller && m_controller->presentingViewController() && !m_controller->isBeingDismissed())
            m_controller->dismissViewController(false);
        return;
    }
    event->ignore();
    cancel();
}

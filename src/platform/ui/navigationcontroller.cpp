#include <Quillon/platform/ui/navigationcontroller.h>

#include <Quillon/platform/ui/navigationbar.h>
#include <Quillon/platform/ui/navigationitem.h>
#include <Quillon/platform/ui/transitioncoordinator.h>

#include <QLoggingCategory>
#include <QResizeEvent>

Q_LOGGING_CATEGORY(lcTULONavigation, "quillon.ui.navigation")

// The navigation controller's root view: lays out the bar and the content area itself, so a
// controller that extends under the top edge can run beneath the bar.
class TULONavigationView : public QWidget
{
public:
    explicit TULONavigationView(TULONavigationController *controller)
        : m_controller(controller)
    {
    }

protected:
    void resizeEvent(QResizeEvent *event) override
    {
        QWidget::resizeEvent(event);
        if (m_controller)
            m_controller->layoutContent();
    }

private:
    QPointer<TULONavigationController> m_controller;
};

TULONavigationController::TULONavigationController(TULOViewController *rootViewController, QObject *parent)
    : TULOViewController(parent)
{
    if (rootViewController)
        setViewControllers({rootViewController}, false);
}

TULONavigationController::~TULONavigationController() = default;

QList<TULOViewController *> TULONavigationController::stack() const
{
    QList<TULOViewController *> controllers;
    for (const QPointer<TULOViewController> &controller : m_stack) {
        if (controller)
            controllers.append(controller);
    }
    return controllers;
}

QList<TULOViewController *> TULONavigationController::viewControllers() const
{
    return stack();
}

TULOViewController *TULONavigationController::topViewController() const
{
    const QList<TULOViewController *> controllers = stack();
    return controllers.isEmpty() ? nullptr : controllers.last();
}

TULONavigationBar *TULONavigationController::navigationBar()
{
    view();
    return m_bar;
}

void TULONavigationController::loadView()
{
    auto *root = new TULONavigationView(this);
    m_content = new QWidget(root);
    m_content->setObjectName(QStringLiteral("TULONavigationContent"));
    // The bar is created after the content so that it stacks above a view extending beneath it.
    m_bar = new TULONavigationBar(root);
    connect(m_bar, &TULONavigationBar::backRequested, this, [this] { popViewController(true); });
    setView(root);
    // Tab order: bar buttons, then the screen.
    QWidget::setTabOrder(m_bar, m_content);
    QList<TULONavigationItem *> items;
    for (TULOViewController *controller : stack())
        items.append(controller->navigationItem());
    m_bar->setItems(items);
    if (TULOViewController *top = topViewController()) {
        QWidget *topView = top->view();
        topView->setParent(m_content);
        topView->show();
    }
    root->resize(375, 600);
    layoutContent();
}

void TULONavigationController::layoutContent()
{
    QWidget *root = viewIfLoaded();
    if (!root || !m_bar)
        return;
    const int barHeight = m_bar->sizeHint().height();
    m_bar->setGeometry(0, 0, root->width(), barHeight);
    m_content->setGeometry(0, 0, root->width(), root->height());
    m_bar->raise();
    const int w = root->width();
    auto frameFor = [&](TULOViewController *controller) {
        const bool underBar = controller->edgesForExtendedLayout() & TULORectEdgeTop;
        const int top = underBar ? 0 : barHeight;
        return QRect(0, top, w, root->height() - top);
    };
    // Push: the incoming view slides in from the right over the outgoing one, which drifts a
    // third as far left. Pop: the outgoing view slides off to the right, uncovering the other.
    const double p = m_progress;
    TULOViewController *top = topViewController();
    if (top && top->isViewLoaded()) {
        QRect frame = frameFor(top);
        if (m_transitioning)
            frame.translate(int(m_forward ? (1.0 - p) * w : -(1.0 - p) * w / 3.0), 0);
        top->viewIfLoaded()->setGeometry(frame);
    }
    if (m_transitioning && m_outgoing && m_outgoing->isViewLoaded()) {
        QRect frame = frameFor(m_outgoing);
        frame.translate(int(m_forward ? -p * w / 3.0 : p * w), 0);
        m_outgoing->viewIfLoaded()->setGeometry(frame);
        if (!m_forward)
            m_outgoing->viewIfLoaded()->raise();
    }
}

QList<TULOViewController *> TULONavigationController::childViewControllersForAppearance() const
{
    TULOViewController *top = topViewController();
    if (!top)
        return {};
    return {top};
}

void TULONavigationController::pushViewController(TULOViewController *controller, bool animated)
{
    if (!controller)
        return;
    if (stack().contains(controller)) {
        qCWarning(lcTULONavigation, "%s is already on the navigation stack", controller->metaObject()->className());
        return;
    }
    QList<TULOViewController *> controllers = stack();
    controllers.append(controller);
    transitionTo(controllers, animated, true);
}

TULOViewController *TULONavigationController::popViewController(bool animated)
{
    QList<TULOViewController *> controllers = stack();
    if (controllers.size() < 2)
        return nullptr;
    TULOViewController *popped = controllers.takeLast();
    transitionTo(controllers, animated, false);
    return popped;
}

QList<TULOViewController *> TULONavigationController::popToViewController(TULOViewController *controller, bool animated)
{
    QList<TULOViewController *> controllers = stack();
    const qsizetype index = controllers.indexOf(controller);
    if (index < 0)
        return {};
    const QList<TULOViewController *> popped = controllers.mid(index + 1);
    if (popped.isEmpty())
        return {};
    transitionTo(controllers.mid(0, index + 1), animated, false);
    return popped;
}

QList<TULOViewController *> TULONavigationController::popToRootViewController(bool animated)
{
    const QList<TULOViewController *> controllers = stack();
    if (controllers.isEmpty())
        return {};
    return popToViewController(controllers.first(), animated);
}

void TULONavigationController::setViewControllers(const QList<TULOViewController *> &controllers, bool animated)
{
    // Pushing is the direction unless the new top was already in the stack below the old top.
    const QList<TULOViewController *> old = stack();
    TULOViewController *newTop = controllers.isEmpty() ? nullptr : controllers.last();
    const bool forward = !newTop || !old.contains(newTop);
    transitionTo(controllers, animated, forward);
}

void TULONavigationController::transitionTo(const QList<TULOViewController *> &requested, bool animated, bool forward)
{
    QList<TULOViewController *> controllers;
    for (TULOViewController *controller : requested) {
        if (controller && !controllers.contains(controller))
            controllers.append(controller);
    }
    // A change during a running transition ends that transition first.
    if (m_coordinator)
        m_coordinator->finishNow();
    const QList<TULOViewController *> old = stack();
    TULOViewController *oldTop = old.isEmpty() ? nullptr : old.last();
    TULOViewController *newTop = controllers.isEmpty() ? nullptr : controllers.last();

    QList<TULOViewController *> removed;
    for (TULOViewController *controller : old) {
        if (!controllers.contains(controller))
            removed.append(controller);
    }
    for (TULOViewController *controller : controllers) {
        if (controller->parentViewController() != this)
            addChildViewController(controller);
    }
    m_stack.clear();
    for (TULOViewController *controller : controllers)
        m_stack.append(controller);

    const bool loaded = isViewLoaded();
    if (loaded) {
        QList<TULONavigationItem *> items;
        for (TULOViewController *controller : controllers)
            items.append(controller->navigationItem());
        m_bar->setItems(items, animated);
    }

    auto finishRemoval = [this, removed] {
        for (TULOViewController *controller : removed) {
            if (controller->isViewLoaded() && controller->viewIfLoaded()->parentWidget() == m_content) {
                controller->viewIfLoaded()->hide();
                controller->viewIfLoaded()->setParent(nullptr);
            }
            controller->removeFromParentViewController();
            releaseIfAdopted(controller);
        }
    };

    if (oldTop == newTop) {
        finishRemoval();
        return;
    }

    const TULOAppearanceState appearance = appearanceState();
    const bool onScreen = appearance == TULOAppearanceStateAppeared;
    const bool animate = animated && onScreen && loaded;
    auto *coordinator = new TULOTransitionCoordinator(animate, this);
    setTransitionCoordinator(coordinator);
    if (oldTop)
        oldTop->setTransitionCoordinator(coordinator);
    if (newTop)
        newTop->setTransitionCoordinator(coordinator);

    if (onScreen) {
        if (oldTop)
            oldTop->beginAppearanceTransition(false, animate);
        if (newTop)
            newTop->beginAppearanceTransition(true, animate);
    } else if (appearance == TULOAppearanceStateAppearing) {
        // Replaced while this stack comes on screen (a screen loaded in the meantime): the old
        // top, already told it appears, goes; the new one appears with this controller, whose
        // end of the transition reaches only the top.
        if (oldTop) {
            oldTop->beginAppearanceTransition(false, false);
            oldTop->endAppearanceTransition();
        }
        if (newTop)
            newTop->beginAppearanceTransition(true, false);
    } else if (appearance == TULOAppearanceStateDisappearing && oldTop) {
        // The old top went with this controller; the end of its transition would reach only the new top.
        oldTop->endAppearanceTransition();
    }
    if (loaded && newTop) {
        QWidget *incoming = newTop->view();
        incoming->setParent(m_content);
        incoming->show();
        incoming->raise();
    }
    m_transitioning = animate;
    m_outgoing = oldTop;
    m_forward = forward;

    const QPointer<TULOViewController> outgoing(oldTop);
    const QPointer<TULOViewController> incoming(newTop);
    m_coordinator = coordinator;
    coordinator->start(
        [this](double progress) {
            m_progress = progress;
            layoutContent();
        },
        [this, outgoing, incoming, onScreen, finishRemoval] {
            m_transitioning = false;
            m_progress = 1.0;
            m_outgoing = nullptr;
            if (outgoing && outgoing->isViewLoaded() && outgoing != topViewController())
                outgoing->viewIfLoaded()->hide();
            layoutContent();
            if (onScreen) {
                if (outgoing)
                    outgoing->endAppearanceTransition();
                if (incoming)
                    incoming->endAppearanceTransition();
            }
            finishRemoval();
        });
}

bool TULONavigationController::performCancelAction()
{
    TULOViewController *top = topViewController();
    return top && top->performCancelAction();
}

bool TULONavigationController::performDefaultAction()
{
    TULOViewController *top = topViewController();
    return top && top->performDefaultAction();
}

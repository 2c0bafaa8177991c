#include <Quillon/platform/ui/viewcontroller.h>

#include <Quillon/platform/ui/barbuttonitem.h>
#include <Quillon/platform/ui/navigationcontroller.h>
#include <Quillon/platform/ui/navigationitem.h>
#include <Quillon/platform/ui/presentationwindow_p.h>
#include <Quillon/platform/ui/transitioncoordinator.h>

#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcTULOViewController, "quillon.ui.viewcontroller")

TULOViewController::TULOViewController(QObject *parent)
    : QObject(parent)
{
}

TULOViewController::~TULOViewController()
{
    // A presentation still on screen goes with its presenter.
    if (m_presented && m_presented->m_presentationWindow) {
        if (QWidget *view = m_presented->viewIfLoaded())
            view->setParent(nullptr);
        delete m_presented->m_presentationWindow;
    }
    if (m_presentationWindow) {
        if (m_view)
            m_view->setParent(nullptr);
        delete m_presentationWindow;
    }
    if (m_presenting)
        m_presenting->m_presented = nullptr;
    if (m_parentController)
        m_parentController->m_children.removeAll(this);
    // Children's views live inside ours; detach the children first so each deletes its own.
    for (const QPointer<TULOViewController> &child : std::as_const(m_children)) {
        if (child)
            child->m_parentController = nullptr;
    }
    delete m_view;
}

QWidget *TULOViewController::view()
{
    if (!m_view && !m_loadingView) {
        m_loadingView = true;
        loadView();
        if (!m_view)
            setView(new QWidget);
        m_loadingView = false;
        viewDidLoad();
    }
    return m_view;
}

void TULOViewController::setView(QWidget *view)
{
    if (m_view == view)
        return;
    delete m_view;
    m_view = view;
}

void TULOViewController::loadView()
{
    setView(new QWidget);
}

void TULOViewController::setTitle(const QString &title)
{
    if (m_title == title && m_title.isNull() == title.isNull())
        return;
    m_title = title;
    // The bar shows the navigation item's title, which follows the controller's title.
    navigationItem()->setTitle(title);
    Q_EMIT titleChanged(title);
}

TULONavigationItem *TULOViewController::navigationItem()
{
    if (!m_navigationItem) {
        m_navigationItem = new TULONavigationItem(this);
        m_navigationItem->setTitle(m_title);
    }
    return m_navigationItem;
}

QList<TULOViewController *> TULOViewController::childViewControllers() const
{
    QList<TULOViewController *> children;
    for (const QPointer<TULOViewController> &child : m_children) {
        if (child)
            children.append(child);
    }
    return children;
}

void TULOViewController::addChildViewController(TULOViewController *child)
{
    if (!child || child == this || child->m_parentController == this)
        return;
    if (child->m_parentController)
        child->removeFromParentViewController();
    child->willMoveToParentViewController(this);
    adoptIfOrphan(child);
    m_children.append(child);
    child->m_parentController = this;
}

void TULOViewController::removeFromParentViewController()
{
    TULOViewController *parent = m_parentController;
    if (!parent)
        return;
    parent->m_children.removeAll(this);
    m_parentController = nullptr;
    didMoveToParentViewController(nullptr);
}

TULONavigationController *TULOViewController::navigationController() const
{
    for (TULOViewController *ancestor = m_parentController; ancestor; ancestor = ancestor->m_parentController) {
        if (auto *navigation = qobject_cast<TULONavigationController *>(ancestor))
            return navigation;
    }
    return nullptr;
}

bool TULOViewController::adoptIfOrphan(TULOViewController *controller)
{
    if (controller->parent())
        return false;
    controller->setParent(this);
    m_adopted.append(controller);
    return true;
}

void TULOViewController::releaseIfAdopted(TULOViewController *controller)
{
    if (!controller || !m_adopted.removeAll(controller))
        return;
    // Still ours, and not taken back into use meanwhile (pushed again, presented again).
    if (controller->parent() == this && !controller->m_parentController && !controller->m_presenting)
        controller->deleteLater();
}

TULOViewController *TULOViewController::presentingViewController() const
{
    for (const TULOViewController *controller = this; controller; controller = controller->m_parentController) {
        if (controller->m_presenting)
            return controller->m_presenting;
    }
    return nullptr;
}

TULOTransitionCoordinator *TULOViewController::transitionCoordinator() const
{
    for (const TULOViewController *controller = this; controller; controller = controller->m_parentController) {
        if (controller->m_transitionCoordinator && !controller->m_transitionCoordinator->isFinished())
            return controller->m_transitionCoordinator;
    }
    return nullptr;
}

void TULOViewController::setTransitionCoordinator(TULOTransitionCoordinator *coordinator)
{
    m_transitionCoordinator = coordinator;
}

QWidget *TULOViewController::hostWidgetForPresentation()
{
    // Present over the window that shows this controller; a controller inside a container has
    // no window of its own, its ancestors' view is the one on screen.
    TULOViewController *root = this;
    while (root->m_parentController)
        root = root->m_parentController;
    QWidget *view = isViewLoaded() ? m_view.data() : root->view();
    return view ? view->window() : nullptr;
}

void TULOViewController::presentViewController(TULOViewController *controller, bool animated, Completion completion)
{
    if (!controller || controller == this)
        return;
    if (m_presented) {
        qCWarning(lcTULOViewController, "%s is already presenting %s; presentation of %s refused",
                  metaObject()->className(), m_presented->metaObject()->className(),
                  controller->metaObject()->className());
        return;
    }
    if (controller->m_presenting || controller->m_parentController) {
        qCWarning(lcTULOViewController, "%s is already on screen; it cannot be presented",
                  controller->metaObject()->className());
        return;
    }
    adoptIfOrphan(controller);
    m_presented = controller;
    controller->m_presenting = this;
    controller->m_beingPresented = true;

    const bool coversPresenter = controller->modalPresentationStyle() == TULOModalPresentationStyleFullScreen;
    auto *window = new TULOPresentationWindow(controller, hostWidgetForPresentation());
    controller->m_presentationWindow = window;

    auto *coordinator = new TULOTransitionCoordinator(animated, controller);
    controller->m_transitionCoordinator = coordinator;
    m_transitionCoordinator = coordinator;

    // The same order as a push: the covered screen hears first, then the arriving one.
    if (coversPresenter)
        beginAppearanceTransition(false, animated);
    controller->beginAppearanceTransition(true, animated);
    if (completion)
        coordinator->animateAlongsideTransition({}, std::move(completion));

    window->showPresentation();
    const QPointer<TULOViewController> presenter(this);
    const QPointer<TULOViewController> presented(controller);
    const QPointer<TULOPresentationWindow> presentationWindow(window);
    coordinator->start(
        [presentationWindow](double progress) {
            if (presentationWindow)
                presentationWindow->setRevealProgress(progress);
        },
        [presenter, presented, coversPresenter] {
            if (presenter && coversPresenter)
                presenter->endAppearanceTransition();
            if (presented) {
                presented->m_beingPresented = false;
                presented->endAppearanceTransition();
            }
        });
}

void TULOViewController::dismissViewController(bool animated, Completion completion)
{
    if (m_presented) {
        dismissPresented(animated, std::move(completion));
        return;
    }
    for (TULOViewController *controller = this; controller; controller = controller->m_parentController) {
        if (controller->m_presenting) {
            controller->m_presenting->dismissPresented(animated, std::move(completion));
            return;
        }
    }
    // Nothing is presented: the requested state already holds, so the caller's follow-up runs.
    qCWarning(lcTULOViewController, "%s has nothing to dismiss", metaObject()->className());
    if (completion)
        completion();
}

void TULOViewController::dismissPresented(bool animated, Completion completion)
{
    TULOViewController *controller = m_presented;
    if (!controller)
        return;
    if (controller->m_beingDismissed) {
        // Already on its way out: the caller's completion runs when that dismissal ends.
        TULOTransitionCoordinator *running = controller->m_transitionCoordinator;
        if (completion && !(running && running->animateAlongsideTransition({}, completion)))
            completion();
        return;
    }
    // Whatever the presented controller presents goes first, without animation.
    if (controller->m_presented)
        controller->dismissPresented(false, {});
    controller->m_beingDismissed = true;

    const bool coversPresenter = controller->modalPresentationStyle() == TULOModalPresentationStyleFullScreen;
    auto *coordinator = new TULOTransitionCoordinator(animated, controller);
    controller->m_transitionCoordinator = coordinator;
    m_transitionCoordinator = coordinator;

    controller->beginAppearanceTransition(false, animated);
    if (coversPresenter)
        beginAppearanceTransition(true, animated);

    const QPointer<TULOViewController> presenter(this);
    const QPointer<TULOViewController> presented(controller);
    const QPointer<TULOPresentationWindow> presentationWindow(controller->m_presentationWindow);
    coordinator->start(
        [presentationWindow](double progress) {
            if (presentationWindow)
                presentationWindow->setRevealProgress(1.0 - progress);
        },
        [presenter, presented, presentationWindow, coversPresenter] {
            if (presentationWindow) {
                presentationWindow->hide();
                if (presented && presented->viewIfLoaded())
                    presented->viewIfLoaded()->setParent(nullptr);
                presentationWindow->deleteLater();
            }
            if (presented) {
                presented->endAppearanceTransition();
                presented->m_beingDismissed = false;
                presented->m_presenting = nullptr;
            }
            if (presenter) {
                if (coversPresenter)
                    presenter->endAppearanceTransition();
                presenter->m_presented = nullptr;
            }
        });
    // Registered after start() so the user's completion sees the presentation fully gone; for a
    // non-animated dismissal the coordinator has already ended, so run it directly.
    if (completion && !coordinator->animateAlongsideTransition({}, completion))
        completion();
    if (presenter && presented && !animated)
        presenter->releaseIfAdopted(presented);
    else if (animated) {
        // The coordinator deletes itself after its completions; release the controller then.
        connect(coordinator, &QObject::destroyed, this, [presenter, presented] {
            if (presenter && presented)
                presenter->releaseIfAdopted(presented);
        });
    }
}

QList<TULOViewController *> TULOViewController::childViewControllersForAppearance() const
{
    return childViewControllers();
}

void TULOViewController::beginAppearanceTransition(bool appearing, bool animated)
{
    if (appearing) {
        if (m_appearance == TULOAppearanceStateAppeared || m_appearance == TULOAppearanceStateAppearing)
            return;
        view();
        m_appearance = TULOAppearanceStateAppearing;
        m_appearanceAnimated = animated;
        viewWillAppear(animated);
    } else {
        if (m_appearance == TULOAppearanceStateDisappeared || m_appearance == TULOAppearanceStateDisappearing)
            return;
        m_appearance = TULOAppearanceStateDisappearing;
        m_appearanceAnimated = animated;
        viewWillDisappear(animated);
    }
    const QList<TULOViewController *> children = childViewControllersForAppearance();
    for (TULOViewController *child : children)
        child->beginAppearanceTransition(appearing, animated);
}

void TULOViewController::endAppearanceTransition()
{
    if (m_appearance == TULOAppearanceStateAppearing) {
        m_appearance = TULOAppearanceStateAppeared;
        viewDidAppear(m_appearanceAnimated);
    } else if (m_appearance == TULOAppearanceStateDisappearing) {
        m_appearance = TULOAppearanceStateDisappeared;
        viewDidDisappear(m_appearanceAnimated);
    } else {
        return;
    }
    const QList<TULOViewController *> children = childViewControllersForAppearance();
    for (TULOViewController *child : children)
        child->endAppearanceTransition();
}

bool TULOViewController::performCancelAction()
{
    if (m_navigationItem && m_navigationItem->leftBarButtonItem()
        && m_navigationItem->leftBarButtonItem()->trigger())
        return true;
    const QList<TULOViewController *> children = childViewControllersForAppearance();
    for (TULOViewController *child : children) {
        if (child->performCancelAction())
            return true;
    }
    return false;
}

bool TULOViewController::performDefaultAction()
{
    if (m_navigationItem) {
        TULOBarButtonItem *right = m_navigationItem->rightBarButtonItem();
        if (right && right->style() == TULOBarButtonItemStyleDone && right->trigger())
            return true;
    }
    const QList<TULOViewController *> children = childViewControllersForAppearance();
    for (TULOViewController *child : children) {
        if (child->performDefaultAction())
            return true;
    }
    return false;
}

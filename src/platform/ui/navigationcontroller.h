#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/ui/viewcontroller.h>

class TULONavigationBar;

// A stack of controllers under a navigation bar. Only the top controller's view is shown and only
// it receives appearance calls; push, pop and stack replacement send will/did-disappear to the
// old top and will/did-appear to the new one while the navigation controller is on screen.
class QUILLON_EXPORT TULONavigationController : public TULOViewController
{
    Q_OBJECT

public:
    explicit TULONavigationController(TULOViewController *rootViewController = nullptr, QObject *parent = nullptr);
    ~TULONavigationController() override;

    QList<TULOViewController *> viewControllers() const;
    void setViewControllers(const QList<TULOViewController *> &controllers, bool animated = false);
    TULOViewController *topViewController() const;

    void pushViewController(TULOViewController *controller, bool animated);
    // Returns the controller taken off, or null when only the root is left.
    TULOViewController *popViewController(bool animated);
    // Pops everything above `controller`; returns the controllers taken off, bottom first.
    QList<TULOViewController *> popToViewController(TULOViewController *controller, bool animated);
    QList<TULOViewController *> popToRootViewController(bool animated);

    TULONavigationBar *navigationBar();
    // Whether a transition of the stack is running.
    bool isTransitioning() const { return m_transitioning; }

    bool performCancelAction() override;
    bool performDefaultAction() override;

protected:
    void loadView() override;
    QList<TULOViewController *> childViewControllersForAppearance() const override;

private:
    void transitionTo(const QList<TULOViewController *> &stack, bool animated, bool forward);
    void layoutContent();
    QList<TULOViewController *> stack() const;

    friend class TULONavigationView;
    QList<QPointer<TULOViewController>> m_stack;
    TULONavigationBar *m_bar = nullptr;
    QWidget *m_content = nullptr;
    bool m_transitioning = false;
    // Progress of the running slide, 0 to 1.
    double m_progress = 1.0;
    QPointer<TULOTransitionCoordinator> m_coordinator;
    QPointer<TULOViewController> m_outgoing;
    bool m_forward = true;
};

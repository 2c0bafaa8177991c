#pragma once

#include <Quillon/quillon_export.h>

#include <QList>
#include <QObject>
#include <QPointer>
#include <QRect>
#include <QSize>
#include <QString>
#include <QWidget>

#include <functional>

class TULONavigationController;
class TULONavigationItem;
class TULOPresentationWindow;
#include <Quillon/platform/ui/transitioncoordinator.h>
#include <Quillon/quillon_export.h>

enum TULOModalPresentationStyle {
    TULOModalPresentationStyleFullScreen = 0, // covers the presenter's window
    TULOModalPresentationStylePageSheet = 1,
    TULOModalPresentationStyleFormSheet = 2, // a window-modal dialog over the presenter
    TULOModalPresentationStylePopover = 7,    // a popup anchored at a source view
};

enum TULORectEdge {
    TULORectEdgeNone = 0,
    TULORectEdgeTop = 1,
    TULORectEdgeLeft = 2,
    TULORectEdgeBottom = 4,
    TULORectEdgeRight = 8,
    TULORectEdgeAll = 15,
};

// Where a popover's arrow may point; the popover sits on the other side of its anchor.
enum TULOPopoverArrowDirection {
    TULOPopoverArrowDirectionUp = 1,
    TULOPopoverArrowDirectionDown = 2,
    TULOPopoverArrowDirectionLeft = 4,
    TULOPopoverArrowDirectionRight = 8,
    TULOPopoverArrowDirectionAny = 15,
};

enum TULOAppearanceState {
    TULOAppearanceStateDisappeared,
    TULOAppearanceStateAppearing,
    TULOAppearanceStateAppeared,
    TULOAppearanceStateDisappearing,
};

// A screen: owns a lazily built view and receives appearance callbacks as it is shown and hidden
// by its container, its presenter or its window.
//
// Ownership: a controller without a QObject parent that is added as a child, pushed or presented
// is adopted by its container or presenter, which deletes it (deleteLater) once it leaves again.
// A controller with a parent stays with that owner. The view belongs to the controller.
class QUILLON_EXPORT TULOViewController : public QObject
{
    Q_OBJECT

public:
    using Completion = std::function<void()>;

    explicit TULOViewController(QObject *parent = nullptr);
    ~TULOViewController() override;

    // The root view, built by loadView() on first use (and again if it was destroyed).
    QWidget *view();
    QWidget *viewIfLoaded() const { return m_view; }
    bool isViewLoaded() const { return !m_view.isNull(); }
    // Installs `view` as the root view; meant for loadView().
    void setView(QWidget *view);

    QString title() const { return m_title; }
    void setTitle(const QString &title);
    TULONavigationItem *navigationItem();

    // Containment.
    TULOViewController *parentViewController() const { return m_parentController; }
    QList<TULOViewController *> childViewControllers() const;
    void addChildViewController(TULOViewController *child);
    void removeFromParentViewController();
    // The nearest navigation controller among this controller and its ancestors' parents.
    TULONavigationController *navigationController() const;

    // Presentation. Presenting while this controller already presents another one is refused.
    void presentViewController(TULOViewController *controller, bool animated, Completion completion = {});
    // Dismisses what this controller presents, or, when it presents nothing, the presented
    // controller it belongs to (itself or an ancestor). Completion runs after the dismissal ends.
    void dismissViewController(bool animated, Completion completion = {});
    TULOViewController *presentedViewController() const { return m_presented; }
    TULOViewController *presentingViewController() const;
    bool isBeingPresented() const { return m_beingPresented; }
    bool isBeingDismissed() const { return m_beingDismissed; }

    TULOModalPresentationStyle modalPresentationStyle() const { return m_modalPresentationStyle; }
    void setModalPresentationStyle(TULOModalPresentationStyle style) { m_modalPresentationStyle = style; }
    // Size of a form sheet or popover; an empty size lets the view's size hint decide.
    virtual QSize preferredContentSize() const { return m_preferredContentSize; }
    void setPreferredContentSize(const QSize &size) { m_preferredContentSize = size; }

    // Popover anchor: the rectangle `sourceRect` in `sourceView`'s coordinates.
    QWidget *popoverSourceView() const { return m_popoverSourceView; }
    void setPopoverSourceView(QWidget *view) { m_popoverSourceView = view; }
    QRect popoverSourceRect() const { return m_popoverSourceRect; }
    void setPopoverSourceRect(const QRect &rect) { m_popoverSourceRect = rect; }
    int popoverPermittedArrowDirections() const { return m_popoverArrowDirections; }
    void setPopoverPermittedArrowDirections(int directions) { m_popoverArrowDirections = directions; }

    // Which edges the view may extend under (TULORectEdge flags); a navigation controller lets a
    // controller with the top edge run under its bar.
    int edgesForExtendedLayout() const { return m_edgesForExtendedLayout; }
    void setEdgesForExtendedLayout(int edges) { m_edgesForExtendedLayout = edges; }

    // The coordinator of the transition this controller takes part in now, else null.
    TULOTransitionCoordinator *transitionCoordinator() const;

    // Appearance, driven by containers, presenters and windows. Unbalanced or repeated calls
    // are ignored, so every controller sees will/did pairs in order.
    TULOAppearanceState appearanceState() const { return m_appearance; }
    bool isVisible() const { return m_appearance == TULOAppearanceStateAppeared; }
    void beginAppearanceTransition(bool appearing, bool animated);
    void endAppearanceTransition();

    // Keyboard: Escape asks the screen to cancel, Ctrl+Return to perform its default action.
    // The default triggers the enabled left (cancel) or done-style right bar button of this
    // controller or of its visible children; returns whether anything ran.
    virtual bool performCancelAction();
    virtual bool performDefaultAction();

    // Internal: the transition coordinator of a container's transition.
    void setTransitionCoordinator(TULOTransitionCoordinator *coordinator);

Q_SIGNALS:
    void titleChanged(const QString &title);

protected:
    // Builds the root view; the default is a plain, empty widget.
    virtual void loadView();
    virtual void viewDidLoad() {}
    virtual void viewWillAppear(bool animated) { Q_UNUSED(animated) }
    virtual void viewDidAppear(bool animated) { Q_UNUSED(animated) }
    virtual void viewWillDisappear(bool animated) { Q_UNUSED(animated) }
    virtual void viewDidDisappear(bool animated) { Q_UNUSED(animated) }
    virtual void willMoveToParentViewController(TULOViewController *parent) { Q_UNUSED(parent) }
    virtual void didMoveToParentViewController(TULOViewController *parent) { Q_UNUSED(parent) }
    // Children that receive this controller's appearance calls; all children by default.
    virtual QList<TULOViewController *> childViewControllersForAppearance() const;
    // Adopts an orphan controller (see the class comment); returns whether it did.
    bool adoptIfOrphan(TULOViewController *controller);
    // Deletes `controller` later when it was adopted by this controller.
    void releaseIfAdopted(TULOViewController *controller);

private:
    void dismissPresented(bool animated, Completion completion);
    QWidget *hostWidgetForPresentation();

    QPointer<QWidget> m_view;
    bool m_loadingView = false;
    QString m_title;
    TULONavigationItem *m_navigationItem = nullptr;

    QPointer<TULOViewController> m_parentController;
    QList<QPointer<TULOViewController>> m_children;
    QList<QPointer<TULOViewController>> m_adopted;

    QPointer<TULOViewController> m_presented;
    QPointer<TULOViewController> m_presenting;
    QPointer<TULOPresentationWindow> m_presentationWindow;
    bool m_beingPresented = false;
    bool m_beingDismissed = false;
    TULOModalPresentationStyle m_modalPresentationStyle = TULOModalPresentationStyleFullScreen;
    QSize m_preferredContentSize;
    QPointer<QWidget> m_popoverSourceView;
    QRect m_popoverSourceRect;
    int m_popoverArrowDirections = TULOPopoverArrowDirectionAny;
    int m_edgesForExtendedLayout = TULORectEdgeAll;

    QPointer<TULOTransitionCoordinator> m_transitionCoordinator;
    TULOAppearanceState m_appearance = TULOAppearanceStateDisappeared;
    bool m_appearanceAnimated = false;
};

#pragma once

#include <QDialog>
#include <QPointer>

class QGraphicsOpacityEffect;
class TULOViewController;

// The window a presented controller lives in: a window-modal dialog over the presenter's window,
// or, for a popover with a source view, a popup anchored at that view.
class TULOPresentationWindow : public QDialog
{
    Q_OBJECT

public:
    TULOPresentationWindow(TULOViewController *controller, QWidget *host);

    bool isPopover() const { return m_popover; }
    // Direction the arrow points (TULOPopoverArrowDirection), 0 for a dialog.
    int arrowDirection() const { return m_arrowDirection; }

    void showPresentation();
    void setRevealProgress(double progress);

    // Where a popover of `contentSize` goes for an anchor rectangle (global coordinates) within
    // `screen`: the first permitted direction, in the order up, down, left, right, whose side
    // has room; the first permitted one when none has. Writes the chosen arrow direction.
    static QRect popoverGeometry(const QRect &anchor, const QSize &contentSize, int permittedDirections,
                                 const QRect &screen, int *arrowDirection);

    static constexpr int TULOArrowSize = 10;

protected:
    void reject() override;
    void closeEvent(QCloseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void cancel();
    void placePopover();

    QPointer<TULOViewController> m_controller;
    QPointer<QWidget> m_host;
    bool m_popover = false;
    int m_arrowDirection = 0;
    QPoint m_arrowTip; // in this window's coordinates
    QGraphicsOpacityEffect *m_fade = nullptr;
};

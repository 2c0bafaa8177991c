#pragma once

#include <Quillon/quillon_export.h>

#include <QPointer>
#include <QWidget>

#include <Quillon/platform/ui/viewcontroller.h>

// A top-level window showing one root controller; showing and hiding the window makes the
// controller appear and disappear.
class QUILLON_EXPORT TULOWindow : public QWidget
{
    Q_OBJECT

public:
    explicit TULOWindow(QWidget *parent = nullptr);
    ~TULOWindow() override;

    TULOViewController *rootViewController() const { return m_root; }
    // The window does not take ownership of the controller.
    void setRootViewController(TULOViewController *controller);

protected:
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    QPointer<TULOViewController> m_root;
};

#include <Quillon/platform/ui/window.h>

#include <Quillon/platform/ui/viewcontroller.h>

#include <QKeySequence>
#include <QShowEvent>
#include <QHideEvent>
#include <QShortcut>
#include <QVBoxLayout>

TULOWindow::TULOWindow(QWidget *parent)
    : QWidget(parent, Qt::Window)
{
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    for (const QKeySequence &keys : {QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter)}) {
        auto *shortcut = new QShortcut(keys, this);
        connect(shortcut, &QShortcut::activated, this, [this] {
            if (m_root)
                m_root->performDefaultAction();
        });
    }
}

TULOWindow::~TULOWindow()
{
    // The controller outlives the window; take its view back before the window deletes it.
    setRootViewController(nullptr);
}

void TULOWindow::setRootViewController(TULOViewController *controller)
{
    if (m_root == controller)
        return;
    if (m_root) {
        if (isVisible()) {
            m_root->beginAppearanceTransition(false, false);
            m_root->endAppearanceTransition();
        }
        if (QWidget *view = m_root->viewIfLoaded()) {
            layout()->removeWidget(view);
            view->setParent(nullptr);
        }
    }
    m_root = controller;
    if (!controller)
        return;
    setWindowTitle(controller->title());
    connect(controller, &TULOViewController::titleChanged, this, &QWidget::setWindowTitle);
    layout()->addWidget(controller->view());
    controller->view()->show();
    if (isVisible()) {
        controller->beginAppearanceTransition(true, false);
        controller->endAppearanceTransition();
    }
}

void TULOWindow::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (m_root && !event->spontaneous()) {
        m_root->beginAppearanceTransition(true, false);
        m_root->endAppearanceTransition();
    }
}

void TULOWindow::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    if (m_root && !event->spontaneous()) {
        m_root->beginAppearanceTransition(false, false);
        m_root->endAppearanceTransition();
    }
}

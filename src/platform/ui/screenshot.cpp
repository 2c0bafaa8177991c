#include <Quillon/platform/ui/screenshot.h>

#include <Quillon/platform/ui/viewcontroller.h>
#include <Quillon/platform/ui/window.h>

#include <QApplication>
#include <QPainter>
#include <QWidget>

#include <memory>

namespace {

void settle()
{
    // Layouts and polish requests are posted events; let them run before drawing.
    for (int i = 0; i < 3; ++i) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
}

void renderWidget(QWidget *widget, QPainter *painter, const QPoint &origin)
{
    widget->render(painter, origin, QRegion(), QWidget::DrawWindowBackground | QWidget::DrawChildren);
}

} // namespace

QImage TULORenderViewController(TULOViewController *controller, const QSize &size, qreal devicePixelRatio)
{
    if (!controller || size.isEmpty() || devicePixelRatio <= 0)
        return {};
    QWidget *view = controller->view();
    std::unique_ptr<TULOWindow> temporary;
    QWidget *window = view->window();
    if (window == view) {
        temporary = std::make_unique<TULOWindow>();
        temporary->setRootViewController(controller);
        window = temporary.get();
        window->resize(size);
        window->show();
    } else if (window->size() != size) {
        window->resize(size);
    }
    settle();

    QImage image((QSizeF(size) * devicePixelRatio).toSize(), QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(devicePixelRatio);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        renderWidget(window, &painter, QPoint(0, 0));
        // Presentations are windows of their own; draw each where it sits relative to ours.
        const QPoint origin = window->mapToGlobal(QPoint(0, 0));
        for (TULOViewController *presented = controller->presentedViewController(); presented;
             presented = presented->presentedViewController()) {
            QWidget *presentedView = presented->viewIfLoaded();
            QWidget *presentationWindow = presentedView ? presentedView->window() : nullptr;
            if (!presentationWindow || presentationWindow == window || !presentationWindow->isVisible())
                continue;
            if (!presentationWindow->testAttribute(Qt::WA_TranslucentBackground)) {
                // Dim what lies beneath a dialog, as a sheet does.
                painter.fillRect(QRect(QPoint(0, 0), size), QColor(0, 0, 0, 60));
            }
            renderWidget(presentationWindow, &painter, presentationWindow->mapToGlobal(QPoint(0, 0)) - origin);
        }
    }
    if (temporary)
        temporary->setRootViewController(nullptr);
    return image;
}

#include <Quillon/platform/dispatch.h>

#include <QCoreApplication>
#include <QThread>

#include <latch>

bool TULOIsMainThread()
{
    const QCoreApplication *app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

void TULODispatchMain(std::function<void()> work)
{
    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return; // no event loop to run it: the application is gone
    QMetaObject::invokeMethod(app, std::move(work), Qt::QueuedConnection);
}

void TULODispatchMainSync(const std::function<void()> &work)
{
    if (TULOIsMainThread()) {
        work();
        return;
    }
    QCoreApplication *app = QCoreApplication::instance();
    if (!app)
        return;
    std::latch done(1);
    QMetaObject::invokeMethod(app, [&] {
        work();
        done.count_down();
    }, Qt::QueuedConnection);
    done.wait();
}

#include <Quillon/platform/store/backgroundtask.h>

#include <QCoreApplication>
#include <QEvent>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QTimer>

namespace {

struct TULORunningTask
{
    QString name;
    TULOBackgroundTask::ExpirationHandler expirationHandler;
};

// Holds back QEvent::Quit (sent by quit() and by closing the last window) while tasks run.
class TULOQuitGuard : public QObject
{
public:
    TULOQuitGuard()
    {
        graceTimer.setSingleShot(true);
        QObject::connect(&graceTimer, &QTimer::timeout, this, [] { TULOBackgroundTask::expireRunningTasks(); });
    }

    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == QCoreApplication::instance() && event->type() == QEvent::Quit && !tasks.isEmpty()) {
            if (!quitDeferred && gracePeriod >= 0)
                graceTimer.start(gracePeriod);
            quitDeferred = true;
            return true;
        }
        return false;
    }

    QMap<TULOBackgroundTask::Identifier, TULORunningTask> tasks;
    TULOBackgroundTask::Identifier next = 1;
    bool quitDeferred = false;
    int gracePeriod = -1;
    QTimer graceTimer;
};

TULOQuitGuard *guard()
{
    static QPointer<TULOQuitGuard> instance;
    QCoreApplication *application = QCoreApplication::instance();
    if (!instance && application) {
        instance = new TULOQuitGuard;
        instance->setParent(application);
        application->installEventFilter(instance);
        // An event loop that ends without a quit event (exit()) still ends what runs.
        QObject::connect(application, &QCoreApplication::aboutToQuit, instance,
                         [] { TULOBackgroundTask::expireRunningTasks(); });
    }
    return instance;
}

} // namespace

TULOBackgroundTask::Identifier TULOBackgroundTask::begin(const QString &name, ExpirationHandler expirationHandler)
{
    TULOQuitGuard *g = guard();
    if (!g)
        return Invalid;
    const Identifier identifier = g->next++;
    g->tasks.insert(identifier, {name, std::move(expirationHandler)});
    return identifier;
}

void TULOBackgroundTask::end(Identifier identifier)
{
    TULOQuitGuard *g = guard();
    if (!g || !g->tasks.remove(identifier))
        return;
    if (g->tasks.isEmpty() && g->quitDeferred) {
        g->quitDeferred = false;
        g->graceTimer.stop();
        QCoreApplication::quit();
    }
}

QStringList TULOBackgroundTask::runningTaskNames()
{
    TULOQuitGuard *g = guard();
    QStringList names;
    if (g) {
        for (const TULORunningTask &task : std::as_const(g->tasks))
            names.append(task.name);
    }
    return names;
}

bool TULOBackgroundTask::isQuitDeferred()
{
    TULOQuitGuard *g = guard();
    return g && g->quitDeferred;
}

void TULOBackgroundTask::expireRunningTasks()
{
    TULOQuitGuard *g = guard();
    if (!g)
        return;
    // A handler may end its own task or begin another; those that ran are ended here in any case.
    const QList<Identifier> expiring = g->tasks.keys();
    for (const Identifier identifier : expiring) {
        const auto task = g->tasks.constFind(identifier);
        if (task == g->tasks.cend())
            continue;
        const ExpirationHandler handler = task->expirationHandler;
        if (handler)
            handler();
    }
    for (const Identifier identifier : expiring)
        end(identifier);
}

void TULOBackgroundTask::setQuitGracePeriod(int milliseconds)
{
    if (TULOQuitGuard *g = guard())
        g->gracePeriod = milliseconds;
}

int TULOBackgroundTask::quitGracePeriod()
{
    TULOQuitGuard *g = guard();
    return g ? g->gracePeriod : -1;
}

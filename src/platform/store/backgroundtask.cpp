#include <Quillon/platform/store/backgroundtask.h>

#include <QCoreApplication>
#include <QEvent>
#include <QMap>
#include <QObject>
#include <QPointer>

namespace {

// Holds back QEvent::Quit (sent by quit() and by closing the last window) while tasks run.
class TULOQuitGuard : public QObject
{
public:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (watched == QCoreApplication::instance() && event->type() == QEvent::Quit && !tasks.isEmpty()) {
            quitDeferred = true;
            return true;
        }
        return false;
    }

    QMap<TULOBackgroundTask::Identifier, QString> tasks;
    TULOBackgroundTask::Identifier next = 1;
    bool quitDeferred = false;
};

TULOQuitGuard *guard()
{
    static QPointer<TULOQuitGuard> instance;
    QCoreApplication *application = QCoreApplication::instance();
    if (!instance && application) {
        instance = new TULOQuitGuard;
        instance->setParent(application);
        application->installEventFilter(instance);
    }
    return instance;
}

} // namespace

TULOBackgroundTask::Identifier TULOBackgroundTask::begin(const QString &name)
{
    TULOQuitGuard *g = guard();
    if (!g)
        return Invalid;
    const Identifier identifier = g->next++;
    g->tasks.insert(identifier, name);
    return identifier;
}

void TULOBackgroundTask::end(Identifier identifier)
{
    TULOQuitGuard *g = guard();
    if (!g || !g->tasks.remove(identifier))
        return;
    if (g->tasks.isEmpty() && g->quitDeferred) {
        g->quitDeferred = false;
        QCoreApplication::quit();
    }
}

QStringList TULOBackgroundTask::runningTaskNames()
{
    TULOQuitGuard *g = guard();
    return g ? g->tasks.values() : QStringList();
}

bool TULOBackgroundTask::isQuitDeferred()
{
    TULOQuitGuard *g = guard();
    return g && g->quitDeferred;
}

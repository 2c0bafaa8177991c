#include <Quillon/platform/threadpriority_p.h>

#include <QThreadStorage>

#include <sys/resource.h>
#include <unistd.h>

void TULOYieldToForegroundWork(int niceness)
{
    // Qt's per-thread storage: see artworkcatalog.cpp on why not thread_local.
    static QThreadStorage<bool> lowered;
    if (!lowered.hasLocalData()) {
        // Linux sets a nice value per thread.
        ::setpriority(PRIO_PROCESS, ::gettid(), niceness);
        lowered.setLocalData(true);
    }
}

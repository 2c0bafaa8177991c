#pragma once

#include <Quillon/quillon_export.h>

#include <QString>
#include <QStringList>

#include <functional>

// Work the application must not be quit in the middle of (an upload). While a task runs, a
// request to quit the application is held back and carried out when the last task ends.
// When the application must stop anyway (the quit waited out its grace period, the event loop
// ends, or the host calls expireRunningTasks()), every running task expires: its expiration
// handler runs, on the main thread, and the task ends.
// Main thread only.
class QUILLON_EXPORT TULOBackgroundTask
{
public:
    using Identifier = quint64;
    using ExpirationHandler = std::function<void()>;
    static constexpr Identifier Invalid = 0;

    // Begins a named task ("com.vantor.Quillon.share"); needs a QCoreApplication.
    static Identifier begin(const QString &name, ExpirationHandler expirationHandler = {});
    // Ends it; ending an unknown or ended task does nothing.
    static void end(Identifier identifier);

    static QStringList runningTaskNames();
    // True when a quit arrived while tasks ran and waits for them.
    static bool isQuitDeferred();

    // The process must stop now: runs the expiration handler of every running task, in the
    // order they began, ends them all, and lets a held-back quit go ahead.
    static void expireRunningTasks();
    // How long a quit waits for running tasks before they expire; negative (the default) waits
    // for them to end.
    static void setQuitGracePeriod(int milliseconds);
    static int quitGracePeriod();
};

#pragma once

#include <Quillon/quillon_export.h>

#include <QString>
#include <QStringList>

// Work the application must not be quit in the middle of (an upload). While a task runs, a
// request to quit the application is held back and carried out when the last task ends.
// Main thread only.
class QUILLON_EXPORT TULOBackgroundTask
{
public:
    using Identifier = quint64;
    static constexpr Identifier Invalid = 0;

    // Begins a named task ("com.vantor.Quillon.share"); needs a QCoreApplication.
    static Identifier begin(const QString &name);
    // Ends it; ending an unknown or ended task does nothing.
    static void end(Identifier identifier);

    static QStringList runningTaskNames();
    // True when a quit arrived while tasks ran and waits for them.
    static bool isQuitDeferred();
};

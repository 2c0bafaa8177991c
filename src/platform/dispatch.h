#pragma once

#include <Quillon/quillon_export.h>

#include <functional>

// Posts `work` to Qt's GUI thread (the main queue) and returns at once. Safe from any thread;
// the work runs from the GUI thread's event loop, never inline.
QUILLON_EXPORT void TULODispatchMain(std::function<void()> work);

// Runs `work` on the GUI thread and waits for it to finish. On the GUI thread it runs inline.
QUILLON_EXPORT void TULODispatchMainSync(const std::function<void()> &work);

// True on Qt's GUI thread.
QUILLON_EXPORT bool TULOIsMainThread();

#pragma once

#include <functional>

// Posts `work` to Qt's GUI thread (the main queue) and returns at once. Safe from any thread;
// the work runs from the GUI thread's event loop, never inline.
void TULODispatchMain(std::function<void()> work);

// Runs `work` on the GUI thread and waits for it to finish. On the GUI thread it runs inline.
void TULODispatchMainSync(const std::function<void()> &work);

// True on Qt's GUI thread.
bool TULOIsMainThread();

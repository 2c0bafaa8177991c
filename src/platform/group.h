#pragma once

#include <Quillon/quillon_export.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

// Counts pieces of work in flight: enter() before each starts, leave() when each ends (on any
// thread); wait() blocks until the count is back at zero.
class QUILLON_EXPORT TULOGroup
{
public:
    TULOGroup() = default;
    TULOGroup(const TULOGroup &) = delete;
    TULOGroup &operator=(const TULOGroup &) = delete;

    void enter();
    // An unbalanced leave() is ignored with a warning rather than driving the count negative.
    void leave();

    void wait();
    // False when the time ran out before the count reached zero.
    bool waitFor(std::chrono::milliseconds timeout);

    // Runs `callback` once the count is zero: at once when it is, else on the thread that
    // leaves last.
    void notify(std::function<void()> callback);

private:
    std::mutex m_mutex;
    std::condition_variable m_condition;
    int m_count = 0;
    std::vector<std::function<void()>> m_callbacks;
};

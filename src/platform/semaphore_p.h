#pragma once

#include <chrono>
#include <climits>
#include <semaphore>

// A counting semaphore for handing a result from one thread to a thread that waits for it:
// the waiter calls wait(), the producer calls signal().
class TULOSemaphore
{
public:
    explicit TULOSemaphore(int initialValue = 0)
        : m_semaphore(initialValue)
    {
    }

    void signal() { m_semaphore.release(); }
    // Blocks with no time limit.
    void wait() { m_semaphore.acquire(); }
    // False when the time ran out first.
    template<class Rep, class Period>
    bool waitFor(std::chrono::duration<Rep, Period> timeout)
    {
        return m_semaphore.try_acquire_for(timeout);
    }

private:
    std::counting_semaphore<INT_MAX> m_semaphore;
};

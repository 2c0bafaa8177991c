#pragma once

#include <httplib.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

// The threads that serve the store's connections. A connection holds its thread for as long
// as it lives, idle keep-alive and slow clients included, so a fixed handful of threads lets
// a few such clients stall everyone. The pool starts a thread whenever no idle one can take a
// new connection, up to `maximumThreads`, and lets threads that stay idle go again.
class TULOSandboxConnectionPool : public httplib::TaskQueue
{
public:
    explicit TULOSandboxConnectionPool(size_t maximumThreads);
    ~TULOSandboxConnectionPool() override;

    void enqueue(std::function<void()> task) override;
    void shutdown() override;

private:
    void work();

    const size_t m_maximumThreads;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::deque<std::function<void()>> m_tasks;
    std::vector<std::thread> m_threads;
    std::vector<std::thread::id> m_ended; // threads that left work() and wait to be joined
    size_t m_idle = 0;
    size_t m_running = 0; // threads that have not ended
    bool m_shutdown = false;
};

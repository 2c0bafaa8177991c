#include "sandboxconnectionpool.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace {
// A thread idle this long ends; the next burst starts new ones.
constexpr auto TULOSandboxIdleThreadLifetime = std::chrono::seconds(10);
}

TULOSandboxConnectionPool::TULOSandboxConnectionPool(size_t maximumThreads)
    : m_maximumThreads(maximumThreads > 0 ? maximumThreads : 1)
{
}

TULOSandboxConnectionPool::~TULOSandboxConnectionPool()
{
    shutdown();
}

void TULOSandboxConnectionPool::enqueue(std::function<void()> task)
{
    std::vector<std::thread> ended;
    {
        std::lock_guard lock(m_mutex);
        if (m_shutdown)
            return;
        for (const std::thread::id id : std::exchange(m_ended, {})) {
            const auto it = std::find_if(m_threads.begin(), m_threads.end(),
                                         [id](const std::thread &thread) { return thread.get_id() == id; });
            if (it != m_threads.end()) {
                ended.push_back(std::move(*it));
                m_threads.erase(it);
            }
        }
        m_tasks.push_back(std::move(task));
        if (m_idle < m_tasks.size() && m_running < m_maximumThreads) {
            ++m_running;
            m_threads.emplace_back([this] { work(); });
        }
    }
    m_wake.notify_one();
    for (std::thread &thread : ended)
        thread.join();
}

void TULOSandboxConnectionPool::shutdown()
{
    std::vector<std::thread> threads;
    {
        std::lock_guard lock(m_mutex);
        m_shutdown = true;
    }
    m_wake.notify_all();
    {
        std::lock_guard lock(m_mutex);
        threads.swap(m_threads);
    }
    for (std::thread &thread : threads)
        thread.join();
}

void TULOSandboxConnectionPool::work()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        ++m_idle;
        const bool woke = m_wake.wait_for(lock, TULOSandboxIdleThreadLifetime,
                                          [this] { return m_shutdown || !m_tasks.empty(); });
        --m_idle;
        if (m_tasks.empty() && (m_shutdown || !woke))
            break;
        std::function<void()> task = std::move(m_tasks.front());
        m_tasks.pop_front();
        lock.unlock();
        task();
        lock.lock();
    }
    --m_running;
    m_ended.push_back(std::this_thread::get_id());
}

#include <Quillon/platform/group.h>

#include <QtGlobal>

void TULOGroup::enter()
{
    std::lock_guard lock(m_mutex);
    ++m_count;
}

void TULOGroup::leave()
{
    std::vector<std::function<void()>> callbacks;
    {
        std::lock_guard lock(m_mutex);
        if (m_count == 0) {
            qWarning("TULOGroup: leave() without a matching enter()");
            return;
        }
        if (--m_count > 0)
            return;
        callbacks.swap(m_callbacks);
    }
    m_condition.notify_all();
    for (const auto &callback : callbacks)
        callback();
}

void TULOGroup::wait()
{
    std::unique_lock lock(m_mutex);
    m_condition.wait(lock, [this] { return m_count == 0; });
}

bool TULOGroup::waitFor(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(m_mutex);
    return m_condition.wait_for(lock, timeout, [this] { return m_count == 0; });
}

void TULOGroup::notify(std::function<void()> callback)
{
    {
        std::lock_guard lock(m_mutex);
        if (m_count > 0) {
            m_callbacks.push_back(std::move(callback));
            return;
        }
    }
    callback();
}

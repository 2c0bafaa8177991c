#include <Quillon/platform/operation.h>

#include <QDebug>

#include <algorithm>

namespace {

class TULOFunctionOperation final : public TULOOperation
{
public:
    explicit TULOFunctionOperation(std::function<void()> work)
        : m_work(std::move(work))
    {
    }

protected:
    void main() override
    {
        if (m_work)
            m_work();
        m_work = nullptr; // release what the function captured as soon as it has run
    }

private:
    std::function<void()> m_work;
};

} // namespace

TULOOperation::TULOOperation() = default;
TULOOperation::~TULOOperation() = default;

std::shared_ptr<TULOOperation> TULOOperation::fromFunction(std::function<void()> work)
{
    return std::make_shared<TULOFunctionOperation>(std::move(work));
}

QString TULOOperation::name() const
{
    std::lock_guard lock(m_mutex);
    return m_name;
}

void TULOOperation::setName(const QString &name)
{
    std::lock_guard lock(m_mutex);
    m_name = name;
}

void TULOOperation::addDependency(const std::shared_ptr<TULOOperation> &operation)
{
    if (!operation || operation.get() == this)
        return;
    std::lock_guard lock(m_mutex);
    if (m_state != State::Pending) {
        qWarning("TULOOperation: a dependency added after the operation started is ignored");
        return;
    }
    if (std::find(m_dependencies.begin(), m_dependencies.end(), operation) == m_dependencies.end())
        m_dependencies.push_back(operation);
}

void TULOOperation::removeDependency(const std::shared_ptr<TULOOperation> &operation)
{
    std::lock_guard lock(m_mutex);
    std::erase(m_dependencies, operation);
}

std::vector<std::shared_ptr<TULOOperation>> TULOOperation::dependencies() const
{
    std::lock_guard lock(m_mutex);
    return m_dependencies;
}

void TULOOperation::cancel()
{
    std::function<void()> wakeQueue;
    {
        std::lock_guard lock(m_mutex);
        if (m_cancelled)
            return;
        m_cancelled = true;
        m_cancelCondition.notify_all(); // a waiting main() stops waiting
        if (m_state == State::Pending)
            wakeQueue = m_wakeQueue;
    }
    {
        std::lock_guard lock(m_cancellationMutex);
        for (const auto &entry : std::exchange(m_cancellationHandlers, {}))
            entry.second();
    }
    // A cancelled operation no longer waits for its dependencies: let its queue finish it.
    if (wakeQueue)
        wakeQueue();
}

int TULOOperation::addCancellationHandler(std::function<void()> handler) const
{
    if (!handler)
        return 0;
    std::lock_guard lock(m_cancellationMutex);
    // cancel() sets the flag before it takes this lock: either it will see the handler, or the
    // flag is already set here.
    if (isCancelled()) {
        handler();
        return 0;
    }
    const int key = m_nextCancellationKey++;
    m_cancellationHandlers.emplace_back(key, std::move(handler));
    return key;
}

void TULOOperation::removeCancellationHandler(int key) const
{
    if (key == 0)
        return;
    std::lock_guard lock(m_cancellationMutex);
    std::erase_if(m_cancellationHandlers, [key](const auto &entry) { return entry.first == key; });
}

bool TULOOperation::waitUnlessCancelled(std::chrono::milliseconds duration)
{
    std::unique_lock lock(m_mutex);
    return !m_cancelCondition.wait_for(lock, duration, [this] { return m_cancelled; });
}

bool TULOOperation::isCancelled() const
{
    std::lock_guard lock(m_mutex);
    return m_cancelled;
}

bool TULOOperation::isExecuting() const
{
    std::lock_guard lock(m_mutex);
    return m_state == State::Executing;
}

bool TULOOperation::isFinished() const
{
    std::lock_guard lock(m_mutex);
    return m_state == State::Finished;
}

bool TULOOperation::isReady() const
{
    // Copy first: a dependency's lock is never taken while this one is held.
    const auto dependencies = this->dependencies();
    return std::all_of(dependencies.begin(), dependencies.end(),
                       [](const auto &dependency) { return dependency->isSettled(); });
}

bool TULOOperation::isSettled() const
{
    std::lock_guard lock(m_mutex);
    return m_settled;
}

void TULOOperation::setCompletionCallback(std::function<void()> callback)
{
    std::lock_guard lock(m_mutex);
    m_completion = std::move(callback);
}

void TULOOperation::start()
{
    bool cancelled = false;
    {
        std::lock_guard lock(m_mutex);
        if (m_state != State::Pending)
            return;
        m_state = State::Executing;
        cancelled = m_cancelled;
    }
    // Keeps the operation alive while it runs, even if its queue and owner let go.
    const auto self = weak_from_this().lock();
    if (!cancelled) {
        main();
        if (isAsynchronous())
            return;
    }
    finish();
}

void TULOOperation::main()
{
}

void TULOOperation::finish()
{
    std::function<void()> completion;
    {
        std::lock_guard lock(m_mutex);
        if (m_state == State::Finished)
            return;
        m_state = State::Finished;
        completion = std::move(m_completion);
        m_completion = nullptr;
    }
    const auto self = weak_from_this().lock();
    if (completion)
        completion();
    std::vector<std::function<void()>> listeners;
    {
        std::lock_guard lock(m_mutex);
        m_settled = true;
        listeners.swap(m_listeners);
    }
    m_settledCondition.notify_all();
    for (const auto &listener : listeners)
        listener();
}

void TULOOperation::whenSettled(std::function<void()> listener)
{
    {
        std::lock_guard lock(m_mutex);
        if (!m_settled) {
            m_listeners.push_back(std::move(listener));
            return;
        }
    }
    listener();
}

bool TULOOperation::claimForQueue(std::function<void()> wakeQueue)
{
    std::lock_guard lock(m_mutex);
    if (m_queued || m_state != State::Pending)
        return false;
    m_queued = true;
    m_wakeQueue = std::move(wakeQueue);
    return true;
}

void TULOOperation::waitUntilFinished()
{
    std::unique_lock lock(m_mutex);
    m_settledCondition.wait(lock, [this] { return m_settled; });
}

TULOCancellationLink::TULOCancellationLink(const TULOOperation *owner, TULOOperation *follower)
    : m_owner(follower ? owner : nullptr)
{
    if (m_owner)
        m_key = m_owner->addCancellationHandler([follower] { follower->cancel(); });
}

TULOCancellationLink::~TULOCancellationLink()
{
    if (m_owner)
        m_owner->removeCancellationHandler(m_key);
}

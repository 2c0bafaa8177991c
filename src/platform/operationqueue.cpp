#include <Quillon/platform/operationqueue.h>

#include <Quillon/platform/dispatch.h>

#include <QDebug>
#include <QThreadPool>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <unordered_set>

namespace {
// Operations may block on one another (semaphores, synchronous requests), so a queue that
// picks its own width allows many at once rather than one per core.
constexpr int TULODefaultQueueWidth = 64;
}

class TULOOperationQueuePrivate : public std::enable_shared_from_this<TULOOperationQueuePrivate>
{
public:
    int effectiveWidth() const { return width > 0 ? width : TULODefaultQueueWidth; }

    void schedule()
    {
        std::lock_guard lock(mutex);
        if (suspended)
            return;
        for (auto it = pending.begin(); it != pending.end() && running < effectiveWidth();) {
            const std::shared_ptr<TULOOperation> operation = *it;
            if (!operation->isCancelled() && !operation->isReady()) {
                ++it;
                continue;
            }
            it = pending.erase(it);
            ++running;
            started.insert(operation.get());
            launch(operation);
        }
    }

    // Called with the lock held.
    void launch(const std::shared_ptr<TULOOperation> &operation)
    {
        if (isMain) {
            TULODispatchMain([operation] { operation->start(); });
        } else if (pool) {
            pool->start([operation] { operation->start(); });
        }
    }

    void settled(TULOOperation *operation)
    {
        {
            std::lock_guard lock(mutex);
            if (started.erase(operation))
                --running;
            else // started by someone else while waiting here
                std::erase_if(pending, [operation](const auto &candidate) { return candidate.get() == operation; });
            std::erase_if(all, [operation](const auto &candidate) { return candidate.get() == operation; });
        }
        idle.notify_all();
        schedule();
    }

    mutable std::mutex mutex;
    std::condition_variable idle;
    QString name;
    int width = TULOOperationQueue::DefaultMaxConcurrentOperationCount;
    bool suspended = false;
    bool isMain = false;
    int running = 0;
    std::deque<std::shared_ptr<TULOOperation>> pending;
    std::vector<std::shared_ptr<TULOOperation>> all;
    std::unordered_set<TULOOperation *> started;
    QThreadPool *pool = nullptr; // owned by the queue object, cleared under the lock when it goes
};

TULOOperationQueue::TULOOperationQueue(const QString &name)
    : d(std::make_shared<TULOOperationQueuePrivate>())
{
    d->name = name;
    d->pool = new QThreadPool;
    d->pool->setObjectName(name);
    d->pool->setMaxThreadCount(d->effectiveWidth());
}

TULOOperationQueue::TULOOperationQueue(MainQueueTag)
    : d(std::make_shared<TULOOperationQueuePrivate>())
{
    d->name = QStringLiteral("com.vantor.Quillon.main");
    d->isMain = true;
    d->width = 1;
}

TULOOperationQueue::~TULOOperationQueue()
{
    waitUntilAllOperationsAreFinished();
    QThreadPool *pool = nullptr;
    {
        std::lock_guard lock(d->mutex);
        std::swap(pool, d->pool);
    }
    delete pool; // waits for the threads to return from the operations that just finished
}

TULOOperationQueue *TULOOperationQueue::mainQueue()
{
    // Never destroyed: operations may still be posted to it while the application exits.
    static TULOOperationQueue *const queue = new TULOOperationQueue(MainQueueTag{});
    return queue;
}

QString TULOOperationQueue::name() const
{
    std::lock_guard lock(d->mutex);
    return d->name;
}

void TULOOperationQueue::setName(const QString &name)
{
    std::lock_guard lock(d->mutex);
    d->name = name;
    if (d->pool)
        d->pool->setObjectName(name);
}

int TULOOperationQueue::maxConcurrentOperationCount() const
{
    std::lock_guard lock(d->mutex);
    return d->width;
}

void TULOOperationQueue::setMaxConcurrentOperationCount(int count)
{
    {
        std::lock_guard lock(d->mutex);
        if (d->isMain)
            return; // the GUI thread is one thread
        d->width = count > 0 ? count : DefaultMaxConcurrentOperationCount;
        if (d->pool)
            d->pool->setMaxThreadCount(std::max(d->effectiveWidth(), d->pool->maxThreadCount()));
    }
    d->schedule();
}

bool TULOOperationQueue::isSuspended() const
{
    std::lock_guard lock(d->mutex);
    return d->suspended;
}

void TULOOperationQueue::setSuspended(bool suspended)
{
    {
        std::lock_guard lock(d->mutex);
        d->suspended = suspended;
    }
    d->schedule();
}

void TULOOperationQueue::addOperation(const std::shared_ptr<TULOOperation> &operation)
{
    if (!operation)
        return;
    const std::weak_ptr<TULOOperationQueuePrivate> weak = d;
    if (!operation->claimForQueue([weak] {
            if (const auto queue = weak.lock())
                queue->schedule();
        })) {
        qWarning() << "TULOOperationQueue: operation" << operation->name()
                   << "is already in a queue or has started; not added";
        return;
    }
    {
        std::lock_guard lock(d->mutex);
        d->pending.push_back(operation);
        d->all.push_back(operation);
    }
    TULOOperation *raw = operation.get();
    operation->whenSettled([weak, raw] {
        if (const auto queue = weak.lock())
            queue->settled(raw);
    });
    // Dependencies may live on other queues: each one that settles re-examines this queue.
    for (const auto &dependency : operation->dependencies()) {
        dependency->whenSettled([weak] {
            if (const auto queue = weak.lock())
                queue->schedule();
        });
    }
    d->schedule();
}

std::shared_ptr<TULOOperation> TULOOperationQueue::addOperation(std::function<void()> work)
{
    auto operation = TULOOperation::fromFunction(std::move(work));
    addOperation(operation);
    return operation;
}

void TULOOperationQueue::addOperations(const std::vector<std::shared_ptr<TULOOperation>> &operations,
                                       bool waitUntilFinished)
{
    for (const auto &operation : operations)
        addOperation(operation);
    if (waitUntilFinished) {
        for (const auto &operation : operations) {
            if (operation)
                operation->waitUntilFinished();
        }
    }
}

std::vector<std::shared_ptr<TULOOperation>> TULOOperationQueue::operations() const
{
    std::lock_guard lock(d->mutex);
    return d->all;
}

int TULOOperationQueue::operationCount() const
{
    std::lock_guard lock(d->mutex);
    return int(d->all.size());
}

void TULOOperationQueue::cancelAllOperations()
{
    for (const auto &operation : operations())
        operation->cancel();
}

void TULOOperationQueue::waitUntilAllOperationsAreFinished()
{
    std::unique_lock lock(d->mutex);
    d->idle.wait(lock, [this] { return d->all.empty(); });
}

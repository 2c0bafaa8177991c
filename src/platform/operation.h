#pragma once

#include <Quillon/quillon_export.h>

#include <QString>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

class TULOOperationQueue;

// A unit of work that a TULOOperationQueue runs on one of its threads.
//
// Subclass and override main(), or wrap a function with fromFunction(). An operation runs
// once: it is pending, then executing, then finished. It starts only when every operation it
// depends on has finished (on any queue). Cancelling does not interrupt a running main() by
// itself; work that can be stopped (a request in flight) registers a cancellation handler. An
// operation cancelled before it starts finishes without running main().
//
// Asynchronous operations answer true from isAsynchronous(): their main() only starts the
// work, and the operation stays executing until the work calls finish() from any thread.
class QUILLON_EXPORT TULOOperation : public std::enable_shared_from_this<TULOOperation>
{
public:
    TULOOperation();
    virtual ~TULOOperation();

    TULOOperation(const TULOOperation &) = delete;
    TULOOperation &operator=(const TULOOperation &) = delete;

    static std::shared_ptr<TULOOperation> fromFunction(std::function<void()> work);

    QString name() const;
    void setName(const QString &name);

    // `operation` must finish before this one starts. Add dependencies before the operation
    // is added to a queue. Cycles are the caller's fault and keep both operations waiting.
    void addDependency(const std::shared_ptr<TULOOperation> &operation);
    void removeDependency(const std::shared_ptr<TULOOperation> &operation);
    std::vector<std::shared_ptr<TULOOperation>> dependencies() const;

    void cancel();
    bool isCancelled() const;

    // Runs `handler` once, on the cancelling thread, when the operation is cancelled; at once,
    // on this thread, if it already is. Returns a key for removeCancellationHandler(), 0 when
    // the handler already ran. Handlers must be short and must not cancel this operation.
    int addCancellationHandler(std::function<void()> handler) const;
    // Once this returns the handler is not running and never will.
    void removeCancellationHandler(int key) const;
    bool isExecuting() const;
    bool isFinished() const;
    // True when every dependency has finished.
    bool isReady() const;
    virtual bool isAsynchronous() const { return false; }

    // Runs on the thread that finishes the operation, after it is finished and before anyone
    // waiting for it (waitUntilFinished, dependants, the queue) is released.
    void setCompletionCallback(std::function<void()> callback);

    // Runs the operation on the calling thread now: main() (unless cancelled), then finish()
    // for a synchronous operation. Does nothing if it has already started. Queues call this.
    void start();

    // Blocks the calling thread until the operation has finished. Never call it for an
    // operation that waits on the calling thread (for example from its own main()).
    void waitUntilFinished();

protected:
    // The work. The default does nothing.
    virtual void main();

    // Waits up to `duration`, ending early when the operation is cancelled; true unless it was.
    bool waitUnlessCancelled(std::chrono::milliseconds duration);

    // Marks the operation finished. Synchronous operations are finished by start(); an
    // asynchronous operation calls it once its work has ended (also when it was cancelled).
    // Later calls do nothing.
    void finish();

private:
    friend class TULOOperationQueue;
    friend class TULOOperationQueuePrivate;

    enum class State { Pending, Executing, Finished };

    // Calls `listener` once the operation has settled (finished and completion callback run);
    // at once if it already has.
    void whenSettled(std::function<void()> listener);
    bool isSettled() const;
    // Claims the operation for a queue, which `wakeQueue` tells about a cancellation; false if
    // it already belongs to a queue or has started.
    bool claimForQueue(std::function<void()> wakeQueue);

    mutable std::mutex m_mutex;
    // Held while handlers run, so removing one waits for a call in progress.
    mutable std::mutex m_cancellationMutex;
    mutable std::vector<std::pair<int, std::function<void()>>> m_cancellationHandlers;
    mutable int m_nextCancellationKey = 1;
    std::condition_variable m_settledCondition;
    std::condition_variable m_cancelCondition;
    QString m_name;
    std::vector<std::shared_ptr<TULOOperation>> m_dependencies;
    std::vector<std::function<void()>> m_listeners;
    std::function<void()> m_completion;
    std::function<void()> m_wakeQueue;
    State m_state = State::Pending;
    bool m_cancelled = false;
    bool m_settled = false;
    bool m_queued = false;
};

// While it lives, cancelling `owner` cancels `follower` too, so an operation run inside another
// one (synchronously, on the owner's thread) stops with it; a follower whose owner is already
// cancelled is cancelled at once. Either may be null.
class QUILLON_EXPORT TULOCancellationLink
{
public:
    TULOCancellationLink(const TULOOperation *owner, TULOOperation *follower);
    ~TULOCancellationLink();
    TULOCancellationLink(const TULOCancellationLink &) = delete;
    TULOCancellationLink &operator=(const TULOCancellationLink &) = delete;

private:
    const TULOOperation *m_owner;
    int m_key = 0;
};

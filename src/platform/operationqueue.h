#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/operation.h>

#include <QString>

#include <functional>
#include <memory>
#include <vector>

class TULOOperationQueuePrivate;

// Runs TULOOperations on worker threads of its own, at most maxConcurrentOperationCount at a
// time (1 makes a serial queue; -1, the default, lets the queue pick). Among the operations
// whose dependencies have finished, the one added first starts first.
//
// The queue's threads are QThreads, so an operation may run a local QEventLoop. Destroying
// the queue waits until every operation added to it has finished.
class QUILLON_EXPORT TULOOperationQueue
{
public:
    static constexpr int DefaultMaxConcurrentOperationCount = -1;

    explicit TULOOperationQueue(const QString &name = QString());
    ~TULOOperationQueue();

    TULOOperationQueue(const TULOOperationQueue &) = delete;
    TULOOperationQueue &operator=(const TULOOperationQueue &) = delete;

    // The queue whose operations run one at a time on Qt's GUI thread, from its event loop.
    static TULOOperationQueue *mainQueue();

    QString name() const;
    void setName(const QString &name);

    int maxConcurrentOperationCount() const;
    void setMaxConcurrentOperationCount(int count);

    // A suspended queue starts nothing new; running operations go on.
    bool isSuspended() const;
    void setSuspended(bool suspended);

    // Adds an operation that is not in any queue and has not started; anything else is
    // refused with a warning.
    void addOperation(const std::shared_ptr<TULOOperation> &operation);
    std::shared_ptr<TULOOperation> addOperation(std::function<void()> work);
    void addOperations(const std::vector<std::shared_ptr<TULOOperation>> &operations, bool waitUntilFinished);

    // The operations added and not yet finished, in the order they were added.
    std::vector<std::shared_ptr<TULOOperation>> operations() const;
    int operationCount() const;

    void cancelAllOperations();
    // Blocks until every operation added so far (and any added meanwhile) has finished.
    // Never call it from one of the queue's own operations, nor for the main queue from
    // the GUI thread.
    void waitUntilAllOperationsAreFinished();

private:
    struct MainQueueTag {};
    explicit TULOOperationQueue(MainQueueTag);

    std::shared_ptr<TULOOperationQueuePrivate> d;
};

#pragma once

#include <Quillon/quillon_export.h>

#include <Quillon/platform/records/postauthor.h>
#include <Quillon/platform/store/complexstoreoperation.h>

#include <QList>
#include <QPair>

#include <functional>
#include <mutex>

class TULOOperationQueue;

// Shared by the store's social-account requests: one GET of an endpoint with the author's
// query item first, signed with the store session when there is one.
class QUILLON_EXPORT TULOAccountRequestOperation : public TULOComplexStoreOperation
{
public:
    TULOAccountRequestOperation(const TULOPostAuthor &author, const TULOClientContext &context);

    TULOPostAuthor author() const { return m_author; }

    // The serial queue named `label` on which a class delivers its results; one per label,
    // alive for the whole process (results may still be delivered while it exits).
    static TULOOperationQueue *accessQueue(const char *label);

protected:
    // The endpoint under `key` in the bag's "musicForum" dictionary; empty when the bag cannot
    // be had, the entry is not a dictionary or the value is not a string.
    QUrl musicForumEndpoint(const QString &key);

    // Loads `url` with the author item and then `items`; returns the finished child.
    std::shared_ptr<TULOUrlLoadOperation> load(const QUrl &url, const QList<QPair<QString, QString>> &items,
                                              const QString &authorQueryKey);

    // Success and error of a reply judged by its "status" alone, with error 100 added for a
    // failing status that brought no error of its own.
    static std::pair<bool, TULOError> statusResult(const TULOUrlLoadOperation &child);

private:
    TULOPostAuthor m_author;
};

// A request whose reply is judged by its "status" alone; the result is delivered on the
// subclass's access queue.
class QUILLON_EXPORT TULOAccountStatusRequestOperation : public TULOAccountRequestOperation
{
public:
    // Runs on the access queue. Judge by `success`: an error may come with it.
    using OutputBlock = std::function<void(bool success, const TULOError &error)>;

    void setOutputBlock(OutputBlock block);
    OutputBlock outputBlock() const;

protected:
    TULOAccountStatusRequestOperation(const TULOPostAuthor &author, const TULOClientContext &context,
                                      const char *accessQueueLabel);

    void main() override;
    // Empty when the store does not offer the endpoint: the request then fails with error 100.
    virtual QUrl endpoint() = 0;
    // The items after the author's.
    virtual QList<QPair<QString, QString>> queryItems() const = 0;

private:
    const char *const m_accessQueueLabel;
    mutable std::mutex m_mutex;
    OutputBlock m_outputBlock;
};

#pragma once

#include "platform/records/postauthor.h"
#include "platform/store/complexstoreoperation.h"

#include <QList>
#include <QPair>

class TULOOperationQueue;

// Shared by the store's social-account requests: one GET of an endpoint with the author's
// query item first, signed with the store session when there is one.
class TULOAccountRequestOperation : public TULOComplexStoreOperation
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

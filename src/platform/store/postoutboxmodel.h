#pragma once

#include <Quillon/platform/store/postoutbox.h>
#include <Quillon/quillon_export.h>

#include <QAbstractListModel>
#include <QPointer>

// The outbox as a host shows it: one row per post waiting, oldest first, with its state,
// attempts, last error, size, age and the progress of its upload; rows come and go as posts
// are written, delivered or discarded, by this process or another (those the outbox finds at
// start come with one model reset, once it has read its folder). retry() and discard() act on
// a row's post. Main thread; every signal arrives there.
class QUILLON_EXPORT TULOPostOutboxModel : public QAbstractListModel
{
    Q_OBJECT

public:
    enum Role {
        KeyRole = Qt::UserRole + 1, // QString
        StateRole, // State
        AttemptsRole, // int
        LastErrorRole, // QString, the reason in words and the store's message; empty when none
        SizeRole, // qint64 bytes
        CreatedRole, // QDateTime, UTC
        NextAttemptRole, // QDateTime, UTC; null when not waiting for one
        TextRole, // QString, the post's text
        BytesSentRole, // qint64, while it is sent
        BytesTotalRole, // qint64, while it is sent
        StoreRole, // QUrl, the store's bag address
    };
    enum State { Pending, Sending, SendingElsewhere, Refused };
    Q_ENUM(State)

    // By default the application's outbox.
    explicit TULOPostOutboxModel(TULOPostOutbox *outbox = nullptr, QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    int rowForKey(const QString &idempotencyKey) const;
    bool retry(const QString &idempotencyKey, TULOError *error = nullptr);
    bool discard(const QString &idempotencyKey, TULOError *error = nullptr);

Q_SIGNALS:
    // Forwarded from the outbox, for a host that shows where a post landed or why it failed.
    void postDidFinish(const QString &idempotencyKey, const QUrl &postURL);
    void postDidFail(const QString &idempotencyKey, const TULOError &error, bool willRetry);

private:
    struct Row
    {
        TULOPostOutboxEntry entry;
        qint64 sent = 0;
        qint64 total = 0;
    };
    void update(const QString &key, const QList<int> &roles = {});

    QPointer<TULOPostOutbox> m_outbox;
    QList<Row> m_rows;
};

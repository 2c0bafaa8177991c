#pragma once

#include <QElapsedTimer>
#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QUrl>

class TULOError;
class TULOPostOutbox;
struct TULOPostOutboxEntry;

// The command line waiting for the outbox's work for one store: the posts it names (by
// default every post waiting for that store) are sent, one or two at a time, until each has
// landed or was refused for good, or the wait limit has passed. Says what happens: a queued
// post being sent, each retry with its reason and next try, each refusal in words; prints
// each post's address as it lands; on a terminal, one progress line per upload.
class TULOOutboxWait : public QObject
{
    Q_OBJECT

public:
    enum ExitStatus { Delivered = 0, Refused = 1, StillQueued = 3 };

    TULOOutboxWait(TULOPostOutbox *outbox, const QString &command, QObject *parent = nullptr);

    // Waits for these posts; an empty list: every post still pending for `bagURL`.
    void setPosts(const QStringList &keys) { m_requested = keys; }
    void setBagURL(const QUrl &bagURL) { m_bagURL = bagURL; }
    // The post this run wrote: it is "your post" in messages, the others are "queued".
    void setOwnPost(const QString &key) { m_own = key; }
    void setWaitLimit(int seconds) { m_waitLimit = seconds; }
    void setJSON(bool json) { m_json = json; }

    // Sends and waits; returns the exit status.
    int run();

    // Returns once `outbox` has read its folder, the event loop turning meanwhile.
    static void waitUntilReady(TULOPostOutbox *outbox);

    // How a post is named in messages: the start of its key, which the outbox command accepts.
    static QString shortKey(const QString &key);
    static QString describe(const TULOPostOutboxEntry &entry);

private:
    struct Progress
    {
        QString label;
        qint64 sent = 0;
        qint64 total = 0;
        QElapsedTimer clock;
    };

    QString label(const QString &key) const;
    void say(const QString &line);
    void printLanded(const QString &key, const QUrl &url);
    void finishOne(const QString &key);
    void drawProgress();
    void clearProgress();

    TULOPostOutbox *m_outbox;
    QString m_command;
    QStringList m_requested;
    QUrl m_bagURL;
    QString m_own;
    int m_waitLimit = 120;
    bool m_json = false;
    bool m_terminal = false;
    QSet<QString> m_waiting;
    QSet<QString> m_announced;
    QHash<QString, Progress> m_progress;
    QStringList m_progressOrder;
    int m_drawnLines = 0;
    QElapsedTimer m_drawn;
    int m_refused = 0;
};

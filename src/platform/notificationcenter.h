#pragma once

#include <Quillon/quillon_export.h>

#include <QString>
#include <QVariantMap>

#include <functional>
#include <memory>

class QObject;
class TULONotificationCenterPrivate;

// Something that happened: a name, the object that made it happen (compared by identity
// only), and details.
class QUILLON_EXPORT TULONotification
{
public:
    TULONotification() = default;
    explicit TULONotification(const QString &name, const void *sender = nullptr, const QVariantMap &userInfo = {})
        : m_name(name)
        , m_sender(sender)
        , m_userInfo(userInfo)
    {
    }

    QString name() const { return m_name; }
    const void *sender() const { return m_sender; }
    QVariantMap userInfo() const { return m_userInfo; }

private:
    QString m_name;
    const void *m_sender = nullptr;
    QVariantMap m_userInfo;
};

using TULONotificationObserverID = quint64;
using TULONotificationCallback = std::function<void(const TULONotification &)>;

// Delivers notifications to the callbacks that observe their name, optionally only from one
// sender. Posting, observing and removing are safe from any thread. A callback runs on the
// posting thread, inside postNotification(); callbacks that touch widgets hop to the main
// thread themselves (TULODispatchMain).
class QUILLON_EXPORT TULONotificationCenter
{
public:
    TULONotificationCenter();
    ~TULONotificationCenter();
    TULONotificationCenter(const TULONotificationCenter &) = delete;
    TULONotificationCenter &operator=(const TULONotificationCenter &) = delete;

    static TULONotificationCenter *defaultCenter();

    // A null or empty `name` observes every name; a null `sender` observes every sender.
    TULONotificationObserverID addObserver(const QString &name, const void *sender, TULONotificationCallback callback);
    // As above, and tied to `context`: the observation ends when `context` is destroyed, and
    // the callback is never called once it is gone.
    TULONotificationObserverID addObserver(QObject *context, const QString &name, const void *sender,
                                           TULONotificationCallback callback);

    // After this returns the callback is not called again; a call already running on another
    // thread completes. Unknown ids are ignored.
    void removeObserver(TULONotificationObserverID observer);
    // Ends every observation tied to `context`.
    void removeObservers(const QObject *context);

    void postNotification(const TULONotification &notification);
    void postNotification(const QString &name, const void *sender = nullptr, const QVariantMap &userInfo = {});

private:
    std::shared_ptr<TULONotificationCenterPrivate> d;
};

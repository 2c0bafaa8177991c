#include <Quillon/platform/notificationcenter.h>

#include <QObject>
#include <QPointer>

#include <atomic>
#include <mutex>
#include <vector>

namespace {

struct TULOObservation
{
    TULONotificationObserverID id = 0;
    QString name;
    const void *sender = nullptr;
    TULONotificationCallback callback;
    bool hasContext = false;
    const QObject *contextAddress = nullptr;
    QPointer<QObject> context;
    std::atomic<bool> removed = false;

    bool matches(const TULONotification &notification) const
    {
        return (name.isEmpty() || name == notification.name())
            && (!sender || sender == notification.sender());
    }
};

} // namespace

class TULONotificationCenterPrivate
{
public:
    void remove(const std::function<bool(const TULOObservation &)> &predicate)
    {
        std::lock_guard lock(mutex);
        std::erase_if(observations, [&](const std::shared_ptr<TULOObservation> &observation) {
            if (!predicate(*observation))
                return false;
            observation->removed = true;
            return true;
        });
    }

    std::mutex mutex;
    TULONotificationObserverID nextID = 1;
    std::vector<std::shared_ptr<TULOObservation>> observations;
};

TULONotificationCenter::TULONotificationCenter()
    : d(std::make_shared<TULONotificationCenterPrivate>())
{
}

TULONotificationCenter::~TULONotificationCenter() = default;

TULONotificationCenter *TULONotificationCenter::defaultCenter()
{
    // Never destroyed: objects may still remove their observations while the process exits.
    static TULONotificationCenter *const center = new TULONotificationCenter;
    return center;
}

TULONotificationObserverID TULONotificationCenter::addObserver(const QString &name, const void *sender,
                                                               TULONotificationCallback callback)
{
    auto observation = std::make_shared<TULOObservation>();
    observation->name = name;
    observation->sender = sender;
    observation->callback = std::move(callback);
    std::lock_guard lock(d->mutex);
    observation->id = d->nextID++;
    d->observations.push_back(observation);
    return observation->id;
}

TULONotificationObserverID TULONotificationCenter::addObserver(QObject *context, const QString &name,
                                                               const void *sender, TULONotificationCallback callback)
{
    if (!context)
        return addObserver(name, sender, std::move(callback));
    auto observation = std::make_shared<TULOObservation>();
    observation->name = name;
    observation->sender = sender;
    observation->callback = std::move(callback);
    observation->hasContext = true;
    observation->contextAddress = context;
    observation->context = context;
    TULONotificationObserverID id = 0;
    {
        std::lock_guard lock(d->mutex);
        id = observation->id = d->nextID++;
        d->observations.push_back(observation);
    }
    const std::weak_ptr<TULONotificationCenterPrivate> weak = d;
    QObject::connect(context, &QObject::destroyed, context, [weak, id] {
        if (const auto center = weak.lock())
            center->remove([id](const TULOObservation &candidate) { return candidate.id == id; });
    }, Qt::DirectConnection);
    return id;
}

void TULONotificationCenter::removeObserver(TULONotificationObserverID observer)
{
    d->remove([observer](const TULOObservation &candidate) { return candidate.id == observer; });
}

void TULONotificationCenter::removeObservers(const QObject *context)
{
    if (!context)
        return;
    d->remove([context](const TULOObservation &candidate) {
        return candidate.hasContext && candidate.contextAddress == context;
    });
}

void TULONotificationCenter::postNotification(const TULONotification &notification)
{
    std::vector<std::shared_ptr<TULOObservation>> targets;
    {
        std::lock_guard lock(d->mutex);
        for (const auto &observation : d->observations) {
            if (observation->matches(notification))
                targets.push_back(observation);
        }
    }
    // Called without the lock, so callbacks may observe, remove and post themselves.
    for (const auto &observation : targets) {
        if (observation->removed)
            continue;
        if (observation->hasContext && observation->context.isNull())
            continue;
        observation->callback(notification);
    }
}

void TULONotificationCenter::postNotification(const QString &name, const void *sender, const QVariantMap &userInfo)
{
    postNotification(TULONotification(name, sender, userInfo));
}

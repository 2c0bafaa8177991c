#include <Quillon/media/proximitycoordinator.h>

#include <Quillon/platform/audio/proximitysensor.h>

namespace {

std::shared_ptr<TULOProximityCoordinator> &sharedCoordinator()
{
    static std::shared_ptr<TULOProximityCoordinator> shared;
    return shared;
}

} // namespace

std::shared_ptr<TULOProximityCoordinator> TULOProximityCoordinator::coordinator()
{
    if (!sharedCoordinator())
        sharedCoordinator() = std::make_shared<TULOProximityCoordinator>();
    return sharedCoordinator();
}

TULOProximityCoordinator::TULOProximityCoordinator() = default;

TULOProximityCoordinator::~TULOProximityCoordinator()
{
    if (m_subscribedSensor)
        m_subscribedSensor->disconnect(this);
}

void TULOProximityCoordinator::pruneObservers()
{
    m_observers.removeIf([](const Entry &entry) { return !entry.alive(); });
}

qsizetype TULOProximityCoordinator::observerCount() const
{
    return std::count_if(m_observers.cbegin(), m_observers.cend(), [](const Entry &entry) { return entry.alive(); });
}

void TULOProximityCoordinator::addObserver(TULOProximityCoordinatorObserver *observer)
{
    if (!observer)
        return;
    pruneObservers();
    if (m_observers.isEmpty()) {
        if (TULOProximitySensor *sensor = TULOProximitySensor::device()) {
            m_priorProximityMonitoringState = sensor->isProximityMonitoringEnabled();
            m_subscribedSensor = sensor;
            connect(sensor, &TULOProximitySensor::proximityStateDidChange, this,
                    &TULOProximityCoordinator::proximityStateDidChange);
            sensor->setProximityMonitoringEnabled(true);
        }
    }
    for (const Entry &entry : std::as_const(m_observers)) {
        if (entry.isObserver(observer))
            return; // a set: once each
    }
    m_observers.append({observer, observer->m_lifetime});
}

void TULOProximityCoordinator::removeObserver(TULOProximityCoordinatorObserver *observer)
{
    pruneObservers();
    if (observer)
        m_observers.removeIf([observer](const Entry &entry) { return entry.isObserver(observer); });
    if (!m_observers.isEmpty())
        return;
    if (m_subscribedSensor) {
        m_subscribedSensor->disconnect(this);
        m_subscribedSensor->setProximityMonitoringEnabled(m_priorProximityMonitoringState);
        m_subscribedSensor.clear();
    }
    if (sharedCoordinator().get() == this)
        sharedCoordinator().reset(); // callers holding it keep it alive until they let go
}

void TULOProximityCoordinator::proximityStateDidChange()
{
    const QList<Entry> snapshot = m_observers;
    for (const Entry &entry : snapshot) {
        // Checked at each call: an earlier observer may have deleted this one.
        if (entry.alive())
            entry.observer->proximityCoordinatorStateDidChange(this);
    }
}

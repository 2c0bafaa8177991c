#include <Quillon/platform/audio/proximitysensor.h>

TULOSimulatedProximitySensor::TULOSimulatedProximitySensor(QObject *parent)
    : TULOProximitySensor(parent)
{
}

void TULOSimulatedProximitySensor::setProximityMonitoringEnabled(bool enabled)
{
    if (m_monitoring == enabled)
        return;
    const bool before = proximityState();
    m_monitoring = enabled;
    if (proximityState() != before)
        Q_EMIT proximityStateDidChange();
}

void TULOSimulatedProximitySensor::setNear(bool near)
{
    const bool before = proximityState();
    m_near = near;
    if (proximityState() != before)
        Q_EMIT proximityStateDidChange();
}

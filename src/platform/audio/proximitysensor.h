#pragma once

#include <Quillon/quillon_export.h>

#include <QObject>

// The device's proximity sensor: whether something (a face) is near. Monitoring must be on
// for the state to follow the sensor. Main thread only.
class QUILLON_EXPORT TULOProximitySensor : public QObject
{
    Q_OBJECT

public:
    // The device's sensor through Qt Sensors (the optional module libquillon-sensors.so), or
    // nullptr where the module or a backend is missing (the feature is then absent).
    // QUILLON_PROXIMITY=simulated picks the simulator instead.
    static TULOProximitySensor *device();
    // Replaces the device (a simulator, for machines without the sensor); nullptr restores
    // the detected one. The caller keeps ownership.
    static void setDevice(TULOProximitySensor *sensor);

    virtual bool isProximityMonitoringEnabled() const = 0;
    virtual void setProximityMonitoringEnabled(bool enabled) = 0;
    virtual bool proximityState() const = 0;

Q_SIGNALS:
    void proximityStateDidChange();

protected:
    explicit TULOProximitySensor(QObject *parent = nullptr)
        : QObject(parent)
    {
    }
};

// A sensor that reports what it is told, as the real one reports what it senses: changes
// are seen only while monitoring is on, and it reads far while off.
class QUILLON_EXPORT TULOSimulatedProximitySensor : public TULOProximitySensor
{
    Q_OBJECT

public:
    explicit TULOSimulatedProximitySensor(QObject *parent = nullptr);

    bool isProximityMonitoringEnabled() const override { return m_monitoring; }
    void setProximityMonitoringEnabled(bool enabled) override;
    bool proximityState() const override { return m_monitoring && m_near; }

    // Something comes near (true) or goes away (false).
    void setNear(bool near);

private:
    bool m_monitoring = false;
    bool m_near = false;
};

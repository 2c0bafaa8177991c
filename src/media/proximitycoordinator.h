#pragma once

#include <QList>
#include <QObject>
#include <QPointer>

#include <memory>

class TULOProximityCoordinator;
class TULOProximitySensor;

class TULOProximityCoordinatorObserver
{
public:
    virtual ~TULOProximityCoordinatorObserver() = default;
    // The device's proximity state changed; read it from TULOProximitySensor::device().
    virtual void proximityCoordinatorStateDidChange(TULOProximityCoordinator *coordinator) { Q_UNUSED(coordinator); }
};

// Turns the device's proximity monitoring on while anybody observes it, and tells the
// observers (held weakly) when the state changes. Main thread only.
class TULOProximityCoordinator : public QObject
{
    Q_OBJECT

public:
    // The shared instance, created on first use and dropped when its last observer leaves.
    static std::shared_ptr<TULOProximityCoordinator> coordinator();

    TULOProximityCoordinator();
    ~TULOProximityCoordinator() override;

    void addObserver(TULOProximityCoordinatorObserver *observer);
    void removeObserver(TULOProximityCoordinatorObserver *observer);
    qsizetype observerCount() const;

private:
    struct Entry
    {
        TULOProximityCoordinatorObserver *observer;
        QPointer<QObject> guard;
        bool tracked;
        bool alive() const { return !tracked || guard; }
    };

    void proximityStateDidChange();
    void pruneObservers();

    QList<Entry> m_observers;
    bool m_priorProximityMonitoringState = false;
    QPointer<TULOProximitySensor> m_subscribedSensor;
};

#pragma once

#include <Quillon/quillon_export.h>

#include <QList>
#include <QObject>
#include <QPointer>

#include <memory>

class TULOProximityCoordinator;
class TULOProximitySensor;

class QUILLON_EXPORT TULOProximityCoordinatorObserver
{
public:
    TULOProximityCoordinatorObserver() = default;
    // A copy is an observer of its own, with its own lifetime.
    TULOProximityCoordinatorObserver(const TULOProximityCoordinatorObserver &) {}
    TULOProximityCoordinatorObserver &operator=(const TULOProximityCoordinatorObserver &) { return *this; }
    virtual ~TULOProximityCoordinatorObserver() = default;
    // The device's proximity state changed; read it from TULOProximitySensor::device().
    virtual void proximityCoordinatorStateDidChange(TULOProximityCoordinator *coordinator) { Q_UNUSED(coordinator); }

private:
    friend class TULOProximityCoordinator;
    // Ends with the observer. The coordinator holds it weakly, so an observer that is gone
    // (QObject or not, removed or not) is never called.
    std::shared_ptr<const char> m_lifetime = std::make_shared<const char>('\0');
};

// Turns the device's proximity monitoring on while anybody observes it, and tells the
// observers (held weakly) when the state changes. Main thread only.
class QUILLON_EXPORT TULOProximityCoordinator : public QObject
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
        std::weak_ptr<const char> lifetime;
        bool alive() const { return !lifetime.expired(); }
        bool isObserver(const TULOProximityCoordinatorObserver *other) const { return lifetime.lock() == other->m_lifetime; }
    };

    void proximityStateDidChange();
    void pruneObservers();

    QList<Entry> m_observers;
    bool m_priorProximityMonitoringState = false;
    QPointer<TULOProximitySensor> m_subscribedSensor;
};

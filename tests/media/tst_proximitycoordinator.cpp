#include <Quillon/media/proximitycoordinator.h>
#include <Quillon/platform/audio/proximitysensor.h>

#include <QTest>

#include <memory>

namespace {

// The simulated sensor, counting how often monitoring is switched.
class Sensor : public TULOSimulatedProximitySensor
{
public:
    void setProximityMonitoringEnabled(bool enabled) override
    {
        (enabled ? turnedOn : turnedOff)++;
        TULOSimulatedProximitySensor::setProximityMonitoringEnabled(enabled);
    }
    int turnedOn = 0;
    int turnedOff = 0;
};

class Observer : public QObject, public TULOProximityCoordinatorObserver
{
public:
    void proximityCoordinatorStateDidChange(TULOProximityCoordinator *) override
    {
        states.append(TULOProximitySensor::device()->proximityState());
    }
    QList<bool> states;
};

// An observer that is not a QObject.
class PlainObserver : public TULOProximityCoordinatorObserver
{
public:
    explicit PlainObserver(int *calls) : m_calls(calls) {}
    void proximityCoordinatorStateDidChange(TULOProximityCoordinator *) override { ++*m_calls; }

private:
    int *m_calls;
};

} // namespace

class TestProximityCoordinator : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        m_sensor = std::make_unique<Sensor>();
        TULOProximitySensor::setDevice(m_sensor.get());
    }
    void cleanup()
    {
        TULOProximitySensor::setDevice(nullptr);
        m_sensor.reset();
    }

    void monitoringFollowsTheObservers_data()
    {
        QTest::addColumn<bool>("monitoringBefore");
        QTest::newRow("was off") << false;
        QTest::newRow("was on") << true;
    }
    void monitoringFollowsTheObservers()
    {
        QFETCH(bool, monitoringBefore);
        m_sensor->TULOSimulatedProximitySensor::setProximityMonitoringEnabled(monitoringBefore);
        Observer first;
        Observer second;
        auto coordinator = TULOProximityCoordinator::coordinator();
        coordinator->addObserver(&first);
        coordinator->addObserver(&second);
        coordinator->addObserver(&second); // a set: once each
        QCOMPARE(m_sensor->turnedOn, 1);
        QVERIFY(m_sensor->isProximityMonitoringEnabled());
        QCOMPARE(coordinator->observerCount(), 2);
        coordinator->removeObserver(&first);
        QVERIFY(m_sensor->isProximityMonitoringEnabled());
        coordinator->removeObserver(&second);
        QCOMPARE(m_sensor->isProximityMonitoringEnabled(), monitoringBefore);
        QCOMPARE(m_sensor->turnedOn + m_sensor->turnedOff, 2);
    }

    void changesReachEveryObserver()
    {
        Observer first;
        Observer second;
        auto coordinator = TULOProximityCoordinator::coordinator();
        coordinator->addObserver(&first);
        coordinator->addObserver(&second);
        m_sensor->setNear(true);
        m_sensor->setNear(true); // no change, no news
        m_sensor->setNear(false);
        QCOMPARE(first.states, (QList<bool>{true, false}));
        QCOMPARE(second.states, first.states);
        coordinator->removeObserver(&first);
        m_sensor->setNear(true);
        QCOMPARE(first.states.size(), 2);
        QCOMPARE(second.states.size(), 3);
        coordinator->removeObserver(&second);
        m_sensor->setNear(false);
        QCOMPARE(second.states.size(), 3); // nobody subscribed any more
    }

    // An observer deleted without leaving is never called, whether it is a QObject or not, even
    // when another object has taken its place in memory.
    void deletedObserversAreNeverCalled_data()
    {
        QTest::addColumn<bool>("qobject");
        QTest::newRow("QObject observer") << true;
        QTest::newRow("plain observer") << false;
    }
    void deletedObserversAreNeverCalled()
    {
        QFETCH(bool, qobject);
        Observer staying;
        auto coordinator = TULOProximityCoordinator::coordinator();
        coordinator->addObserver(&staying);

        alignas(Observer) alignas(PlainObserver) unsigned char storage[std::max(sizeof(Observer), sizeof(PlainObserver))];
        int leavingCalls = 0;
        TULOProximityCoordinatorObserver *leaving = qobject ? static_cast<TULOProximityCoordinatorObserver *>(new (storage) Observer)
                                                            : new (storage) PlainObserver(&leavingCalls);
        coordinator->addObserver(leaving);
        QCOMPARE(coordinator->observerCount(), 2);
        std::destroy_at(leaving);
        QCOMPARE(coordinator->observerCount(), 1);
        int impostorCalls = 0;
        auto *impostor = new (storage) PlainObserver(&impostorCalls);

        m_sensor->setNear(true);
        QCOMPARE(staying.states, QList<bool>{true});
        QCOMPARE(impostorCalls, 0);
        QCOMPARE(leavingCalls, 0);
        std::destroy_at(impostor);

        coordinator->removeObserver(&staying);
        QVERIFY(!m_sensor->isProximityMonitoringEnabled());
    }

    void aCopyIsAnotherObserver()
    {
        int calls = 0;
        PlainObserver original(&calls);
        auto coordinator = TULOProximityCoordinator::coordinator();
        coordinator->addObserver(&original);
        {
            PlainObserver copy(original);
            coordinator->addObserver(&copy); // not the original, so added
            QCOMPARE(coordinator->observerCount(), 2);
        }
        QCOMPARE(coordinator->observerCount(), 1); // the copy's end is not the original's
        m_sensor->setNear(true);
        QCOMPARE(calls, 1);
        coordinator->removeObserver(&original);
        QCOMPARE(coordinator->observerCount(), 0);
    }

    void sharedInstanceGoesWithItsLastObserver()
    {
        Observer observer;
        std::weak_ptr<TULOProximityCoordinator> first = TULOProximityCoordinator::coordinator();
        QVERIFY(!first.expired());
        QCOMPARE(TULOProximityCoordinator::coordinator(), first.lock()); // one shared instance
        TULOProximityCoordinator::coordinator()->addObserver(&observer);
        TULOProximityCoordinator::coordinator()->removeObserver(&observer);
        QVERIFY(first.expired());
        QVERIFY(TULOProximityCoordinator::coordinator());
    }

    void removingDuringANotificationIsSafe()
    {
        struct Leaver : Observer
        {
            void proximityCoordinatorStateDidChange(TULOProximityCoordinator *coordinator) override
            {
                Observer::proximityCoordinatorStateDidChange(coordinator);
                coordinator->removeObserver(this);
            }
        } leaver;
        Observer other;
        auto coordinator = TULOProximityCoordinator::coordinator();
        coordinator->addObserver(&leaver);
        coordinator->addObserver(&other);
        m_sensor->setNear(true);
        QCOMPARE(leaver.states.size(), 1);
        QCOMPARE(other.states.size(), 1); // the snapshot still reaches everybody
        m_sensor->setNear(false);
        QCOMPARE(leaver.states.size(), 1);
        QCOMPARE(other.states.size(), 2);
        coordinator->removeObserver(&other);
    }

    void simulatorReadsFarWhileNotMonitored()
    {
        Sensor sensor;
        int changes = 0;
        connect(&sensor, &TULOProximitySensor::proximityStateDidChange, this, [&] { ++changes; });
        sensor.setNear(true);
        QVERIFY(!sensor.proximityState());
        QCOMPARE(changes, 0);
        sensor.setProximityMonitoringEnabled(true);
        QVERIFY(sensor.proximityState());
        QCOMPARE(changes, 1);
    }

private:
    std::unique_ptr<Sensor> m_sensor;
};

QTEST_MAIN(TestProximityCoordinator)
#include "tst_proximitycoordinator.moc"

// The device's proximity sensor through Qt Sensors, opened when the sensor is first asked for
// (multimediamodule_p.h).

#include <Quillon/platform/audio/proximitysensor.h>

#include <QProximitySensor>

#include <memory>

namespace {

// The sensor through Qt Sensors. The backend reads only while started.
class QtSensorsProximitySensor : public TULOProximitySensor
{
public:
    QtSensorsProximitySensor()
    {
        connect(&m_sensor, &QSensor::readingChanged, this, [this] { readingChanged(); });
    }

    bool connect_() { return m_sensor.connectToBackend(); }

    bool isProximityMonitoringEnabled() const override { return m_monitoring; }
    void setProximityMonitoringEnabled(bool enabled) override
    {
        if (m_monitoring == enabled)
            return;
        m_monitoring = enabled;
        if (enabled) {
            m_sensor.start();
        } else {
            m_sensor.stop();
            if (m_near) {
                m_near = false;
                Q_EMIT proximityStateDidChange();
            }
        }
    }
    bool proximityState() const override { return m_near; }

private:
    void readingChanged()
    {
        const QProximityReading *reading = m_sensor.reading();
        const bool near = m_monitoring && reading && reading->close();
        if (near == m_near)
            return;
        m_near = near;
        Q_EMIT proximityStateDidChange();
    }

    QProximitySensor m_sensor;
    bool m_monitoring = false;
    bool m_near = false;
};

} // namespace

extern "C" Q_DECL_EXPORT TULOProximitySensor *TULOCreateProximitySensor()
{
    auto sensor = std::make_unique<QtSensorsProximitySensor>();
    return sensor->connect_() ? sensor.release() : nullptr;
}

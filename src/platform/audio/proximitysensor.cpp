#include <Quillon/platform/audio/proximitysensor.h>

#include <Quillon/platform/multimediamodule_p.h>

#include <QPointer>

#include <memory>

namespace {

QPointer<TULOProximitySensor> &installed()
{
    static QPointer<TULOProximitySensor> sensor;
    return sensor;
}

TULOProximitySensor *detected()
{
    // Looked for once; an absent sensor stays absent for the life of the process.
    static bool searched = false;
    static std::unique_ptr<TULOProximitySensor> sensor;
    if (!searched) {
        searched = true;
        if (qEnvironmentVariable("QUILLON_PROXIMITY") == QLatin1String("simulated"))
            sensor = std::make_unique<TULOSimulatedProximitySensor>();
        else
            sensor = TULOCreateDeviceProximitySensor();
    }
    return sensor.get();
}

} // namespace

TULOProximitySensor *TULOProximitySensor::device()
{
    if (installed())
        return installed();
    return detected();
}

void TULOProximitySensor::setDevice(TULOProximitySensor *sensor)
{
    installed() = sensor;
}

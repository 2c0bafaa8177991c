#include <Quillon/platform/multimediamodule_p.h>

#include <Quillon/platform/audio/proximitysensor.h>
#include <Quillon/platform/optionalmodules.h>

TULOMultimediaModule *TULOMultimediaModule::shared()
{
    static TULOMultimediaModule *const module
        = TULOOptionalModules::call<TULOMultimediaModule>(TULOOptionalModules::Multimedia, "TULOMultimediaModuleInstance");
    return module;
}

std::unique_ptr<TULOProximitySensor> TULOCreateDeviceProximitySensor()
{
    return std::unique_ptr<TULOProximitySensor>(
        TULOOptionalModules::call<TULOProximitySensor>(TULOOptionalModules::Sensors, "TULOCreateProximitySensor"));
}

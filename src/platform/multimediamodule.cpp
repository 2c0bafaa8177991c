#include <Quillon/platform/multimediamodule_p.h>

#include <Quillon/platform/audio/proximitysensor.h>
#include <Quillon/platform/optionalmodules.h>

TULOMultimediaModule *TULOMultimediaModule::shared()
{
    static TULOMultimediaModule *const module = [] {
        using Instance = TULOMultimediaModule *(*)();
        const auto instance = reinterpret_cast<Instance>(TULOOptionalModules::symbolNamed(
            "TULOMultimediaModuleInstance", TULOOptionalModules::handle(TULOOptionalModules::Multimedia)));
        return instance ? instance() : nullptr;
    }();
    return module;
}

std::unique_ptr<TULOProximitySensor> TULOCreateDeviceProximitySensor()
{
    using Create = TULOProximitySensor *(*)();
    const auto create = reinterpret_cast<Create>(TULOOptionalModules::symbolNamed(
        "TULOCreateProximitySensor", TULOOptionalModules::handle(TULOOptionalModules::Sensors)));
    return std::unique_ptr<TULOProximitySensor>(create ? create() : nullptr);
}

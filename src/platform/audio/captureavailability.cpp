#include <Quillon/platform/audio/captureavailability.h>

#include <Quillon/platform/audio/voicecapture.h>
#include <Quillon/platform/dispatch.h>
#include <Quillon/platform/multimediamodule_p.h>
#include <Quillon/platform/optionalmodules.h>

#include <QCoreApplication>
#include <QMetaObject>
#include <QMutex>
#include <memory>

namespace {

QPointer<TULOVoiceCaptureAvailability> &sharedInstance()
{
    static QPointer<TULOVoiceCaptureAvailability> instance;
    return instance;
}

} // namespace

TULOVoiceCaptureAvailability *TULOVoiceCaptureAvailability::shared()
{
    if (!sharedInstance())
        sharedInstance() = new TULOVoiceCaptureAvailability;
    return sharedInstance();
}

TULOVoiceCaptureAvailability::TULOVoiceCaptureAvailability()
    : QObject(QCoreApplication::instance())
{
    if (TULOMultimediaModule *multimedia = TULOMultimediaModule::shared()) {
        m_devices = multimedia->watchAudioInputs(this);
        connect(m_devices, SIGNAL(audioInputsChanged()), this, SIGNAL(availabilityChanged()));
    }
}

bool TULOVoiceCaptureAvailability::hasAudioInput() const
{
    TULOMultimediaModule *multimedia = TULOMultimediaModule::shared();
    return multimedia && multimedia->hasAudioInput();
}

bool TULOVoiceCaptureAvailability::isAvailable() const
{
    return TULOVoiceCapture::hasConfiguredCapture() || hasAudioInput();
}

void TULOVoiceCaptureAvailability::notifyConfigurationChanged()
{
    TULODispatchMain([] {
        if (sharedInstance())
            Q_EMIT sharedInstance()->availabilityChanged();
    });
}

const char *const TULODeviceCapabilityMicrophone = "microphone";
const char *const TULODeviceCapabilityStillCamera = "still-camera";
const char *const TULODeviceCapabilityVideoCamera = "video-camera";

namespace {

QMutex simulatedCameraMutex;
QString simulatedCameraFile;

// Asks the camera capture module; false when the module is absent.
bool cameraServiceAnswers(const char *method)
{
    const QMetaObject *type = TULOOptionalModules::classNamed(
        "TULOCameraCaptureService", TULOOptionalModules::handle(TULOOptionalModules::CameraCapture));
    if (!type)
        return false;
    std::unique_ptr<QObject> service(type->newInstance());
    bool answer = false;
    return service && QMetaObject::invokeMethod(service.get(), method, Qt::DirectConnection, Q_RETURN_ARG(bool, answer))
        && answer;
}

} // namespace

void TULODeviceCapabilities::setSimulatedCameraImageFile(const QString &imageFile)
{
    QMutexLocker lock(&simulatedCameraMutex);
    simulatedCameraFile = imageFile;
}

QString TULODeviceCapabilities::simulatedCameraImageFile()
{
    QMutexLocker lock(&simulatedCameraMutex);
    return simulatedCameraFile;
}

bool TULODeviceCapabilities::hasCamera()
{
    return !simulatedCameraImageFile().isEmpty() || cameraServiceAnswers("hasCamera");
}

bool TULODeviceCapabilities::hasCapability(const QString &name)
{
    const bool microphone = TULOVoiceCaptureAvailability::shared()->isAvailable();
    if (name == QLatin1String(TULODeviceCapabilityMicrophone))
        return microphone;
    if (name == QLatin1String(TULODeviceCapabilityStillCamera))
        return hasCamera();
    if (name == QLatin1String(TULODeviceCapabilityVideoCamera))
        return hasCamera() && microphone;
    return false;
}

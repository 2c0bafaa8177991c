#include <Quillon/platform/audio/captureavailability.h>

#include <Quillon/platform/audio/voicecapture.h>
#include <Quillon/platform/dispatch.h>

#include <QAudioDevice>
#include <QCoreApplication>
#include <QMediaDevices>

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
    : QObject(QCoreApplication::instance()), m_devices(new QMediaDevices(this))
{
    connect(m_devices, &QMediaDevices::audioInputsChanged, this, &TULOVoiceCaptureAvailability::availabilityChanged);
}

bool TULOVoiceCaptureAvailability::hasAudioInput() const
{
    return !QMediaDevices::audioInputs().isEmpty();
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

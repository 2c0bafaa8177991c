#pragma once

#include <Quillon/quillon_export.h>

#include <QObject>
#include <QPointer>

// Whether a voice capture can start now, following microphones as they come and go (through
// the multimedia module; without it there is no microphone) and the configured capture (an
// installed factory or a capture source file, which stand in for a microphone). Main thread
// only.
class QUILLON_EXPORT TULOVoiceCaptureAvailability : public QObject
{
    Q_OBJECT

public:
    static TULOVoiceCaptureAvailability *shared();

    bool isAvailable() const;
    // True when an audio input device is present, whatever the configuration.
    bool hasAudioInput() const;

    // Posts availabilityChanged() to the main thread; from any thread.
    static void notifyConfigurationChanged();

Q_SIGNALS:
    void availabilityChanged();

private:
    TULOVoiceCaptureAvailability();

    QObject *m_devices = nullptr; // the module's watch of the audio inputs
};

// The device capabilities the attachment sources depend on, by their platform names:
// "microphone" (a voice capture can start), "still-camera" (a camera can take a photo) and
// "video-camera" (a camera can record video, which needs a microphone for its sound). The camera
// is reached through the camera capture module, so a system without it has no camera.
// Main thread only.
extern const char *const TULODeviceCapabilityMicrophone;
extern const char *const TULODeviceCapabilityStillCamera;
extern const char *const TULODeviceCapabilityVideoCamera;

class TULODeviceCapabilities
{
public:
    // False for an unknown name.
    static bool hasCapability(const QString &name);
    static bool hasCamera();

    // A camera that delivers the photo in `imageFile` as every shot, standing in for camera
    // hardware the machine lacks (tests, the scripted demo); empty removes it.
    static void setSimulatedCameraImageFile(const QString &imageFile);
    static QString simulatedCameraImageFile();
};

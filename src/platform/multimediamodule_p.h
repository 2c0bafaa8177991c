#pragma once

#include <Quillon/platform/error.h>

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <memory>

class QObject;
class TULOCameraCapture;
class TULOMediaPlayer;
class TULOProximitySensor;
class TULOVoiceCapture;
struct TULOVoiceCaptureContext;

// A running camera of the multimedia module; it reports through the signals of the
// TULOCameraCapture it was started for.
class TULOCameraDevice
{
public:
    virtual ~TULOCameraDevice() = default;
    virtual void takePhoto() = 0;
    virtual void startRecording(const QString &filePath) = 0;
    virtual void stopRecording() = 0;
    virtual bool isRecording() const = 0;
};

// The Qt Multimedia backends (playback, microphone, camera), in the optional module
// libquillon-multimedia.so: a job that plays, records and films nothing then maps neither Qt
// Multimedia nor the sound server's client. The module exports, with C linkage,
// `TULOMultimediaModule *TULOMultimediaModuleInstance()`. Main thread only.
class TULOMultimediaModule
{
public:
    // The module's backends, opened on first use; null when the module is absent.
    static TULOMultimediaModule *shared();

    virtual bool hasAudioOutput() const = 0;
    virtual bool hasAudioInput() const = 0;
    // An object, owned by `parent`, whose signal audioInputsChanged() says a microphone came or went.
    virtual QObject *watchAudioInputs(QObject *parent) = 0;
    virtual std::unique_ptr<TULOMediaPlayer> makePlayer(const QUrl &url) = 0;
    // The microphone `deviceId` (the default one when empty); null with `error` when it is absent.
    virtual std::unique_ptr<TULOVoiceCapture> makeMicrophoneCapture(
        const QByteArray &deviceId, const TULOVoiceCaptureContext &context, TULOError *error) = 0;
    // The default camera, started, reporting to `capture`; null with `error` when there is none.
    virtual std::unique_ptr<TULOCameraDevice> startCamera(TULOCameraCapture *capture, TULOError *error) = 0;

protected:
    ~TULOMultimediaModule() = default;
};

// The proximity sensor of the Qt Sensors module libquillon-sensors.so, which exports, with C
// linkage, `TULOProximitySensor *TULOCreateProximitySensor()`: null when the module is absent
// or no backend offers the sensor. The caller owns it.
std::unique_ptr<TULOProximitySensor> TULOCreateDeviceProximitySensor();

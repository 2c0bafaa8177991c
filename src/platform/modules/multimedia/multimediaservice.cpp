// The Qt Multimedia backends of the framework, opened when playback, a microphone or the camera
// is first asked for (multimediamodule_p.h).

#include "cameradevice_qtmultimedia.h"
#include "mediaplayer_qmediaplayer.h"
#include "voicecapture_qaudiosource.h"

#include <QMediaDevices>

namespace {

class TULOQtMultimediaModule final : public TULOMultimediaModule
{
public:
    bool hasAudioOutput() const override { return !QMediaDevices::audioOutputs().isEmpty(); }
    bool hasAudioInput() const override { return !QMediaDevices::audioInputs().isEmpty(); }
    QObject *watchAudioInputs(QObject *parent) override { return new QMediaDevices(parent); }
    std::unique_ptr<TULOMediaPlayer> makePlayer(const QUrl &url) override
    {
        return std::make_unique<TULOMediaPlayerQMediaPlayer>(url);
    }
    std::unique_ptr<TULOVoiceCapture> makeMicrophoneCapture(
        const QByteArray &deviceId, const TULOVoiceCaptureContext &context, TULOError *error) override
    {
        return TULOVoiceCaptureQAudioSource::create(deviceId, context, error);
    }
    std::unique_ptr<TULOCameraDevice> startCamera(TULOCameraCapture *capture, TULOError *error) override
    {
        return TULOCameraDeviceQtMultimedia::start(capture, error);
    }
};

} // namespace

extern "C" Q_DECL_EXPORT TULOMultimediaModule *TULOMultimediaModuleInstance()
{
    static TULOQtMultimediaModule module;
    return &module;
}

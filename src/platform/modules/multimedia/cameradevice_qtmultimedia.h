#pragma once

#include <Quillon/platform/multimediamodule_p.h>

#include <QAudioInput>
#include <QCamera>
#include <QImageCapture>
#include <QMediaCaptureSession>
#include <QMediaRecorder>
#include <QVideoSink>

class QCameraDevice;

// A camera through Qt Multimedia: viewfinder frames, photos, and videos with the default
// microphone's sound when there is one.
class TULOCameraDeviceQtMultimedia : public TULOCameraDevice
{
public:
    static std::unique_ptr<TULOCameraDevice> start(TULOCameraCapture *capture, TULOError *error);
    TULOCameraDeviceQtMultimedia(const QCameraDevice &device, TULOCameraCapture *capture);
    ~TULOCameraDeviceQtMultimedia() override;

    void takePhoto() override;
    void startRecording(const QString &filePath) override;
    void stopRecording() override;
    bool isRecording() const override;

private:
    QMediaCaptureSession m_session;
    QCamera m_camera;
    std::unique_ptr<QAudioInput> m_audioInput;
    QImageCapture m_imageCapture;
    QMediaRecorder m_recorder;
    QVideoSink m_sink;
};

#include "cameradevice_qtmultimedia.h"

#include <Quillon/platform/camera/cameracapture.h>

#include <QAudioDevice>
#include <QCameraDevice>
#include <QCoreApplication>
#include <QMediaDevices>
#include <QUrl>
#include <QVideoFrame>

namespace {

TULOError captureError(TULOCameraCaptureErrorCode code, const QString &description)
{
    return TULOError::withDescription(TULOCameraCaptureErrorDomain, code, description);
}

} // namespace

std::unique_ptr<TULOCameraDevice> TULOCameraDeviceQtMultimedia::start(TULOCameraCapture *capture, TULOError *error)
{
    const QCameraDevice device = QMediaDevices::defaultVideoInput();
    if (device.isNull()) {
        TULOSetError(error, captureError(TULOCameraCaptureErrorNoCamera,
                                QCoreApplication::translate("TULOCameraCapture", "No camera is connected.")));
        return nullptr;
    }
    return std::make_unique<TULOCameraDeviceQtMultimedia>(device, capture);
}

TULOCameraDeviceQtMultimedia::TULOCameraDeviceQtMultimedia(const QCameraDevice &device, TULOCameraCapture *capture)
    : m_camera(device)
{
    m_session.setCamera(&m_camera);
    m_session.setImageCapture(&m_imageCapture);
    m_session.setRecorder(&m_recorder);
    m_session.setVideoSink(&m_sink);
    if (!QMediaDevices::audioInputs().isEmpty()) {
        m_audioInput = std::make_unique<QAudioInput>();
        m_session.setAudioInput(m_audioInput.get());
    }
    // The capture outlives its device, which it owns.
    QObject::connect(&m_sink, &QVideoSink::videoFrameChanged, capture,
        [capture](const QVideoFrame &frame) { Q_EMIT capture->previewFrameChanged(frame.toImage()); });
    QObject::connect(&m_imageCapture, &QImageCapture::imageCaptured, capture,
        [capture](int, const QImage &image) { Q_EMIT capture->photoCaptured(image); });
    QObject::connect(&m_imageCapture, &QImageCapture::errorOccurred, capture,
        [capture](int, QImageCapture::Error, const QString &message) {
            Q_EMIT capture->captureFailed(captureError(TULOCameraCaptureErrorCaptureFailed, message));
        });
    QObject::connect(&m_recorder, &QMediaRecorder::recorderStateChanged, capture,
        [this, capture](QMediaRecorder::RecorderState state) {
            if (state == QMediaRecorder::StoppedState && m_recorder.error() == QMediaRecorder::NoError)
                Q_EMIT capture->videoRecorded(m_recorder.actualLocation().toLocalFile());
        });
    QObject::connect(&m_recorder, &QMediaRecorder::errorOccurred, capture,
        [capture](QMediaRecorder::Error, const QString &message) {
            Q_EMIT capture->captureFailed(captureError(TULOCameraCaptureErrorCaptureFailed, message));
        });
    m_camera.start();
}

TULOCameraDeviceQtMultimedia::~TULOCameraDeviceQtMultimedia()
{
    m_camera.stop();
}

void TULOCameraDeviceQtMultimedia::takePhoto()
{
    m_imageCapture.capture();
}

void TULOCameraDeviceQtMultimedia::startRecording(const QString &filePath)
{
    m_recorder.setOutputLocation(QUrl::fromLocalFile(filePath));
    m_recorder.record();
}

void TULOCameraDeviceQtMultimedia::stopRecording()
{
    m_recorder.stop();
}

bool TULOCameraDeviceQtMultimedia::isRecording() const
{
    return m_recorder.recorderState() == QMediaRecorder::RecordingState;
}

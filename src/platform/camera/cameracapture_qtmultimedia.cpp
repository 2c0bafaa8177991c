#include <Quillon/platform/camera/cameracapture.h>

#include <Quillon/platform/audio/captureavailability.h>

#include <QAudioDevice>
#include <QAudioInput>
#include <QCamera>
#include <QCameraDevice>
#include <QCoreApplication>
#include <QImageCapture>
#include <QImageReader>
#include <QMediaCaptureSession>
#include <QMediaDevices>
#include <QMediaRecorder>
#include <QTimer>
#include <QUrl>
#include <QVideoFrame>
#include <QVideoSink>


namespace {

TULOError makeError(TULOCameraCaptureErrorCode code, const QString &description)
{
    QVariantMap info;
    info.insert(QString::fromLatin1(TULOLocalizedDescriptionKey), description);
    return TULOError(TULOCameraCaptureErrorDomain, code, info);
}

QString text(const char *source)
{
    return QCoreApplication::translate("TULOCameraCapture", source);
}

} // namespace

struct TULOCameraCapture::Backend {
    QMediaCaptureSession session;
    std::unique_ptr<QCamera> camera;
    std::unique_ptr<QAudioInput> audioInput;
    QImageCapture imageCapture;
    QMediaRecorder recorder;
    QVideoSink sink;
};

TULOCameraCapture::TULOCameraCapture(QObject *parent)
    : QObject(parent), m_simulatedImageFile(TULODeviceCapabilities::simulatedCameraImageFile())
{
}

TULOCameraCapture::~TULOCameraCapture() = default;

bool TULOCameraCapture::isAvailable()
{
    return TULODeviceCapabilities::hasCamera();
}

bool TULOCameraCapture::canRecordVideo() const
{
    // The simulated camera takes photos only.
    return m_simulatedImageFile.isEmpty()
        && TULODeviceCapabilities::hasCapability(QLatin1String(TULODeviceCapabilityVideoCamera));
}

bool TULOCameraCapture::start(TULOError *error)
{
    if (m_active)
        return true;
    if (!m_simulatedImageFile.isEmpty()) {
        m_active = true;
        const QImage frame = QImageReader(m_simulatedImageFile).read();
        QTimer::singleShot(0, this, [this, frame] { Q_EMIT previewFrameChanged(frame); });
        return true;
    }
    const QCameraDevice device = QMediaDevices::defaultVideoInput();
    if (device.isNull()) {
        TULOSetError(error, makeError(TULOCameraCaptureErrorNoCamera, text("No camera is connected.")));
        return false;
    }
    m_backend = std::make_unique<Backend>();
    m_backend->camera = std::make_unique<QCamera>(device);
    m_backend->session.setCamera(m_backend->camera.get());
    m_backend->session.setImageCapture(&m_backend->imageCapture);
    m_backend->session.setRecorder(&m_backend->recorder);
    m_backend->session.setVideoSink(&m_backend->sink);
    if (!QMediaDevices::audioInputs().isEmpty()) {
        m_backend->audioInput = std::make_unique<QAudioInput>();
        m_backend->session.setAudioInput(m_backend->audioInput.get());
    }
    connect(&m_backend->sink, &QVideoSink::videoFrameChanged, this,
        [this](const QVideoFrame &frame) { Q_EMIT previewFrameChanged(frame.toImage()); });
    connect(&m_backend->imageCapture, &QImageCapture::imageCaptured, this,
        [this](int, const QImage &image) { Q_EMIT photoCaptured(image); });
    connect(&m_backend->imageCapture, &QImageCapture::errorOccurred, this,
        [this](int, QImageCapture::Error, const QString &message) {
            Q_EMIT captureFailed(makeError(TULOCameraCaptureErrorCaptureFailed, message));
        });
    connect(&m_backend->recorder, &QMediaRecorder::recorderStateChanged, this, [this](QMediaRecorder::RecorderState state) {
        if (state == QMediaRecorder::StoppedState && m_backend->recorder.error() == QMediaRecorder::NoError)
            Q_EMIT videoRecorded(m_backend->recorder.actualLocation().toLocalFile());
    });
    connect(&m_backend->recorder, &QMediaRecorder::errorOccurred, this,
        [this](QMediaRecorder::Error, const QString &message) {
            Q_EMIT captureFailed(makeError(TULOCameraCaptureErrorCaptureFailed, message));
        });
    m_backend->camera->start();
    m_active = true;
    return true;
}

void TULOCameraCapture::stop()
{
    if (m_backend && m_backend->camera)
        m_backend->camera->stop();
    m_backend.reset();
    m_active = false;
}

void TULOCameraCapture::takePhoto()
{
    if (!m_active) {
        Q_EMIT captureFailed(makeError(TULOCameraCaptureErrorNoCamera, text("The camera is not on.")));
        return;
    }
    if (!m_simulatedImageFile.isEmpty()) {
        QImageReader reader(m_simulatedImageFile);
        reader.setAutoTransform(true);
        const QImage photo = reader.read();
        QTimer::singleShot(0, this, [this, photo, reason = reader.errorString()] {
            if (photo.isNull())
                Q_EMIT captureFailed(makeError(TULOCameraCaptureErrorCaptureFailed, reason));
            else
                Q_EMIT photoCaptured(photo);
        });
        return;
    }
    m_backend->imageCapture.capture();
}

void TULOCameraCapture::startRecording(const QString &filePath)
{
    if (!m_backend || !canRecordVideo()) {
        Q_EMIT captureFailed(makeError(TULOCameraCaptureErrorNoCamera, text("This camera cannot record video.")));
        return;
    }
    m_backend->recorder.setOutputLocation(QUrl::fromLocalFile(filePath));
    m_backend->recorder.record();
}

void TULOCameraCapture::stopRecording()
{
    if (m_backend)
        m_backend->recorder.stop();
}

bool TULOCameraCapture::isRecording() const
{
    return m_backend && m_backend->recorder.recorderState() == QMediaRecorder::RecordingState;
}

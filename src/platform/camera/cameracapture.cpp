#include <Quillon/platform/camera/cameracapture.h>

#include <Quillon/platform/audio/captureavailability.h>
#include <Quillon/platform/multimediamodule_p.h>

#include <QCoreApplication>
#include <QImageReader>
#include <QTimer>

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
    std::unique_ptr<TULOCameraDevice> device;
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
    TULOMultimediaModule *multimedia = TULOMultimediaModule::shared();
    if (!multimedia) {
        TULOSetError(error, makeError(TULOCameraCaptureErrorNoCamera, text("No camera is connected.")));
        return false;
    }
    std::unique_ptr<TULOCameraDevice> device = multimedia->startCamera(this, error);
    if (!device)
        return false;
    m_backend = std::make_unique<Backend>();
    m_backend->device = std::move(device);
    m_active = true;
    return true;
}

void TULOCameraCapture::stop()
{
    m_backend.reset(); // stops the camera
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
    m_backend->device->takePhoto();
}

void TULOCameraCapture::startRecording(const QString &filePath)
{
    if (!m_backend || !canRecordVideo()) {
        Q_EMIT captureFailed(makeError(TULOCameraCaptureErrorNoCamera, text("This camera cannot record video.")));
        return;
    }
    m_backend->device->startRecording(filePath);
}

void TULOCameraCapture::stopRecording()
{
    if (m_backend)
        m_backend->device->stopRecording();
}

bool TULOCameraCapture::isRecording() const
{
    return m_backend && m_backend->device->isRecording();
}

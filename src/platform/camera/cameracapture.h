#pragma once

#include <Quillon/platform/error.h>
#include <Quillon/quillon_export.h>

#include <QImage>
#include <QObject>
#include <QString>

#include <memory>

// Errors of camera capture.
inline constexpr TULOErrorDomainName TULOCameraCaptureErrorDomain{"TULOCameraCaptureErrorDomain"};

enum TULOCameraCaptureErrorCode {
    TULOCameraCaptureErrorNoCamera = 1,
    TULOCameraCaptureErrorCaptureFailed = 2,
};

// Photos and videos from the machine's camera (Qt Multimedia), or from the simulated camera
// of TULODeviceCapabilities where the machine has none. Main thread only.
class QUILLON_EXPORT TULOCameraCapture : public QObject
{
    Q_OBJECT

public:
    explicit TULOCameraCapture(QObject *parent = nullptr);
    ~TULOCameraCapture() override;

    static bool isAvailable();
    bool canRecordVideo() const;

    // Starts the viewfinder; false with an error when there is no camera.
    bool start(TULOError *error = nullptr);
    void stop();
    bool isActive() const { return m_active; }

    // photoCaptured or captureFailed follows.
    void takePhoto();
    // Records into `filePath` until stopRecording; videoRecorded or captureFailed follows.
    void startRecording(const QString &filePath);
    void stopRecording();
    bool isRecording() const;

Q_SIGNALS:
    void previewFrameChanged(const QImage &frame);
    void photoCaptured(const QImage &photo);
    void videoRecorded(const QString &filePath);
    void captureFailed(const TULOError &error);

private:
    struct Backend;
    std::unique_ptr<Backend> m_backend;
    QString m_simulatedImageFile;
    bool m_active = false;
};

#pragma once

#include <QObject>

// Entry point of the camera capture module: what the machine's cameras can do.
class TULOCameraCaptureService : public QObject
{
    Q_OBJECT

public:
    Q_INVOKABLE explicit TULOCameraCaptureService(QObject *parent = nullptr);

    Q_INVOKABLE bool hasCamera() const;
    // Video needs a camera and, for its sound, a microphone.
    Q_INVOKABLE bool canRecordVideo() const;
    Q_INVOKABLE QString defaultCameraName() const;
};

#include "cameracaptureservice.h"

#include <QAudioDevice>
#include <QCameraDevice>
#include <QMediaDevices>

#include <cstring>

TULOCameraCaptureService::TULOCameraCaptureService(QObject *parent)
    : QObject(parent)
{
}

bool TULOCameraCaptureService::hasCamera() const
{
    return !QMediaDevices::videoInputs().isEmpty();
}

bool TULOCameraCaptureService::canRecordVideo() const
{
    return hasCamera() && !QMediaDevices::audioInputs().isEmpty();
}

QString TULOCameraCaptureService::defaultCameraName() const
{
    const QCameraDevice camera = QMediaDevices::defaultVideoInput();
    return camera.isNull() ? QString() : camera.description();
}

extern "C" Q_DECL_EXPORT const QMetaObject *TULOModuleClassNamed(const char *name)
{
    if (name && std::strcmp(name, "TULOCameraCaptureService") == 0)
        return &TULOCameraCaptureService::staticMetaObject;
    return nullptr;
}

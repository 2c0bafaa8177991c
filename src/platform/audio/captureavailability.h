#pragma once

#include <Quillon/quillon_export.h>

#include <QObject>
#include <QPointer>

class QMediaDevices;

// Whether a voice capture can start now, following microphones as they come and go
// (QMediaDevices) and the configured capture (an installed factory or a capture source
// file, which stand in for a microphone). Main thread only.
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

    QMediaDevices *m_devices = nullptr;
};

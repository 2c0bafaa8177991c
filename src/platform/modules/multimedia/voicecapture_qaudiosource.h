#pragma once

#include <Quillon/platform/audio/voicecapture.h>

#include <QAudioDevice>
#include <QObject>
#include <QPointer>

#include <atomic>

class QAudioSource;
class QIODevice;
class QMediaDevices;

// The microphone through Qt Multimedia. Lives on the thread that created it, which must run
// an event loop (the main thread); buffers are read in push mode as they arrive.
class TULOVoiceCaptureQAudioSource : public QObject, public TULOVoiceCapture
{
    Q_OBJECT

public:
    static std::unique_ptr<TULOVoiceCapture> create(const QByteArray &deviceId, const TULOVoiceCaptureContext &context,
                                                   TULOError *error);
    TULOVoiceCaptureQAudioSource(const QAudioDevice &device, const TULOVoiceCaptureContext &context);
    ~TULOVoiceCaptureQAudioSource() override;

    bool prepareRecordWithSettings(const TULOVoiceCaptureSettings &settings, TULOError *error = nullptr) override;
    bool startRecording(TULOError *error = nullptr) override;
    void stopRecording() override;
    void updateMeters() override;
    float averagePowerForChannel(int channel) const override;

private:
    void readAvailable();
    void sourceStateChanged();
    void audioInputsChanged();

    QAudioDevice m_device;
    QAudioSource *m_source = nullptr;
    QMediaDevices *m_devices = nullptr;
    QPointer<QIODevice> m_input;
    bool m_running = false;
    bool m_stopping = false;
    QByteArray m_pending; // an odd trailing byte waits for its partner
    float m_latestPower = TULOVoiceCaptureMinimumPower;
    float m_meteredPower = TULOVoiceCaptureMinimumPower;
};

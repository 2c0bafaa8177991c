#pragma once

#include <Quillon/platform/audio/voicecapture.h>

#include <atomic>
#include <condition_variable>
#include <thread>

// A capture device for machines without a microphone: it decodes an audio file with
// libsndfile, turns it into 44.1 kHz mono 16-bit samples and delivers them as a microphone
// would, paced by the clock, from its own thread. The end of the file ends the capture;
// removing the file mid-take acts as unplugging the device (TULOVoiceCaptureDeviceLostReason).
class TULOVoiceCaptureSndfile : public TULOVoiceCapture
{
public:
    TULOVoiceCaptureSndfile(const QString &path, const TULOVoiceCaptureContext &context);
    ~TULOVoiceCaptureSndfile() override;

    bool prepareRecordWithSettings(const TULOVoiceCaptureSettings &settings, TULOError *error = nullptr) override;
    bool startRecording(TULOError *error = nullptr) override;
    void stopRecording() override;
    void updateMeters() override;
    float averagePowerForChannel(int channel) const override;

    // Frames delivered in each buffer: about 46 ms, like a microphone's period.
    static constexpr int BufferFrames = 2048;

private:
    void run();
    void finishThread();

    QString m_path;
    bool m_prepared = false;
    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_stopRequested = false;
    std::atomic<float> m_latestPower{TULOVoiceCaptureMinimumPower};
    float m_meteredPower = TULOVoiceCaptureMinimumPower;
};

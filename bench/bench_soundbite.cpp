// The work of one display refresh while a sound bite records: read the meter, hand the level
// to the slot's controller (waveform producer, countdown, layout) and repaint the slot. It must
// stay under a tenth of a 60 Hz frame. The reference, measured in the same run and interleaved
// with the work, is an empty repaint of the same widget: what drawing the slot costs anyway.
//
// Prints the medians, the ratio to the reference and the share of a frame; exits non-zero
// (TULOBenchVerdict) when the share reaches the target.
#include "benchsupport.h"

#include <Quillon/media/soundbiteview.h>
#include <Quillon/media/soundbiteviewcontroller.h>
#include <Quillon/media/waveformimageproducer.h>
#include <Quillon/platform/audio/voicecapture.h>
#include <Quillon/platform/ui/window.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

constexpr double FrameNanoseconds = 1e9 / 60.0;
constexpr double Target = 0.10;
constexpr int LevelsPerTake = 150; // ten seconds at fifteen readings a second

bool writeVoice(const QString &path)
{
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE *file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!file)
        return false;
    std::vector<short> samples(44100 * 30);
    for (size_t i = 0; i < samples.size(); ++i) {
        const double syllable = std::max(0.0, std::sin(double(i) / 44100.0 * 9.0));
        samples[i] = short(20000.0 * syllable * std::sin(double(i) * 0.05));
    }
    const bool ok = sf_writef_short(file, samples.data(), sf_count_t(samples.size())) == sf_count_t(samples.size());
    return sf_close(file) == 0 && ok;
}

double median(std::vector<qint64> values)
{
    std::sort(values.begin(), values.end());
    return double(values[values.size() / 2]);
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? QByteArray("offscreen") : qgetenv("QT_QPA_PLATFORM"));
    QApplication app(argc, argv);

    QTemporaryDir dir;
    const QString source = dir.filePath(QStringLiteral("voice.wav"));
    if (!dir.isValid() || !writeVoice(source)) {
        std::fprintf(stderr, "bench_soundbite: cannot write the capture source\n");
        return 2;
    }
    // The meter is read from a running capture, as while recording.
    TULOError error;
    auto capture = TULOVoiceCapture::createFileFed(source, {TULOVoiceCaptureActivationModeHold}, &error);
    capture->setMeteringEnabled(true);
    if (!capture->prepareRecordWithSettings(TULOVoiceCaptureSettings(), &error) || !capture->startRecording(&error)) {
        std::fprintf(stderr, "bench_soundbite: %s\n", qPrintable(error.localizedDescription()));
        return 2;
    }

    TULOSoundBiteViewController controller;
    TULOWindow window;
    window.setRootViewController(&controller);
    window.resize(420, 96);
    window.show();
    TULOSoundBiteView *view = controller.soundBiteView();
    QCoreApplication::processEvents();

    const int rounds = TULOBenchSize(900, 20);
    std::vector<qint64> work;
    std::vector<qint64> empty;
    work.reserve(rounds);
    empty.reserve(rounds);
    QElapsedTimer clock;
    for (int round = 0; round < rounds; ++round) {
        if (round % LevelsPerTake == 0 && controller.waveformImageProducer())
            controller.waveformImageProducer()->setPowerLevels({}); // a new take

        clock.start();
        capture->updateMeters();
        controller.voiceRecorderDidUpdateAveragePower(nullptr, capture->averagePowerForChannel(0));
        view->layoutIfNeeded();
        view->repaint();
        work.push_back(clock.nsecsElapsed());

        clock.start();
        view->repaint();
        empty.push_back(clock.nsecsElapsed());

        QCoreApplication::processEvents(); // posted events of the round, as the event loop would
    }
    capture->stopRecording();
    window.setRootViewController(nullptr);

    const double workNs = median(work);
    const double emptyNs = median(empty);
    const double share = workNs / FrameNanoseconds;
    std::printf("recording refresh (meter, waveform, layout, repaint): %.3f ms median of %d\n", workNs / 1e6, rounds);
    std::printf("empty repaint of the same view (reference):           %.3f ms\n", emptyNs / 1e6);
    std::printf("ratio to the reference:                               %.2f\n", workNs / emptyNs);
    std::printf("share of a 60 Hz frame:                               %.2f%% (target < %.0f%%)\n", share * 100.0,
                Target * 100.0);
    const bool met = share < Target;
    std::printf("%s\n", met ? "OK" : "MISS");
    return TULOBenchVerdict(met);
}

// Drawing a 30-second sound bite (450 levels, fifteen a second) into a waveform 600 points
// wide, in both modes, at the screen's scale. While recording the view redraws it fifteen
// times a second, so one image must take far less than a frame (16.7 ms at 60 Hz).
#include <Quillon/media/waveformimageproducer.h>
#include "benchsupport.h"

#include <QGuiApplication>
#include <QScreen>

#include <cmath>

namespace {

qreal g_scale = 1.0;

TULOWaveformImageProducer producerFor(qint64 mode)
{
    TULOWaveformImageProducer producer;
    for (int i = 0; i < 450; ++i)
        producer.appendPowerLevel(0.5 + 0.45 * std::sin(i * 0.37)); // a voice-like ripple
    producer.setWaveformMode(mode);
    return producer;
}

void drawWaveform(benchmark::State &state, qint64 mode, qreal scale)
{
    const TULOWaveformImageProducer producer = producerFor(mode);
    for (auto _ : state) {
        QImage image = producer.imageWithSize(QSizeF(600, 40), scale);
        benchmark::DoNotOptimize(image.constBits());
    }
    state.counters["scale"] = scale;
    // Share of one 60 Hz frame that one image takes: 60 × (time per image).
    state.counters["share_of_frame"] = benchmark::Counter(double(state.iterations()) / 60.0,
                                                          benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", qgetenv("QT_QPA_PLATFORM").isEmpty() ? QByteArray("offscreen") : qgetenv("QT_QPA_PLATFORM"));
    QGuiApplication app(argc, argv);
    if (const QScreen *screen = QGuiApplication::primaryScreen())
        g_scale = screen->devicePixelRatio();
    for (const qreal scale : {g_scale, qreal(2.0)}) {
        const QString suffix = QStringLiteral("/scale:%1").arg(scale);
        benchmark::RegisterBenchmark(("waveform_latest" + suffix).toStdString().c_str(),
                                     [scale](benchmark::State &s) { drawWaveform(s, TULOWaveformImageProducer::Latest, scale); });
        benchmark::RegisterBenchmark(("waveform_averaged" + suffix).toStdString().c_str(),
                                     [scale](benchmark::State &s) { drawWaveform(s, TULOWaveformImageProducer::Averaged, scale); });
        if (scale == 2.0 && g_scale == 2.0)
            break;
    }
    return TULOBenchRun(argc, argv) ? 0 : 1;
}

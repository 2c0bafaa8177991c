#include "../audio/testaudio.h"

#include <Quillon/media/voicerecorder.h>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>

#include <atomic>
#include <csignal>
#include <thread>

namespace {

struct CaptureLog
{
    std::atomic<int> created{0};
    std::atomic<int> stops{0};
    std::atomic<qint64> activationMode{0};
};

// The file-fed device, counting what the recorder asks of it.
class CountingCapture : public TULOVoiceCapture, public TULOVoiceCaptureDelegate
{
public:
    CountingCapture(std::unique_ptr<TULOVoiceCapture> device, CaptureLog *log)
        : TULOVoiceCapture(device->context()), m_device(std::move(device)), m_log(log)
    {
        m_device->setRecordDelegate(this);
        ++m_log->created;
        m_log->activationMode = context().activationMode;
    }
    ~CountingCapture() override
    {
        setRecordDelegate(nullptr);
        m_device.reset();
    }
    bool prepareRecordWithSettings(const TULOVoiceCaptureSettings &settings, TULOError *error) override
    {
        m_device->setMeteringEnabled(isMeteringEnabled());
        return m_device->prepareRecordWithSettings(settings, error);
    }
    bool startRecording(TULOError *error) override { return m_device->startRecording(error); }
    void stopRecording() override
    {
        ++m_log->stops;
        m_device->stopRecording();
    }
    void updateMeters() override { m_device->updateMeters(); }
    float averagePowerForChannel(int channel) const override { return m_device->averagePowerForChannel(channel); }

    void voiceControllerDidStartRecording(TULOVoiceCapture *, bool successfully) override { notifyStarted(successfully); }
    void voiceControllerDidStopRecording(TULOVoiceCapture *, qint64 reason) override { notifyStopped(reason); }
    void voiceControllerRecordBufferAvailable(TULOVoiceCapture *, TULOVoiceCaptureBufferRef buffer) override
    {
        notifyBuffer(buffer);
    }

private:
    std::unique_ptr<TULOVoiceCapture> m_device;
    CaptureLog *m_log;
};

class RecorderEvents : public QObject, public TULOVoiceRecorderDelegate
{
public:
    void voiceRecorderDidStartRecording(TULOVoiceRecorder *) override { events.append(QStringLiteral("start")); }
    void voiceRecorderDidFinishWithSuccess(TULOVoiceRecorder *recorder, bool success) override
    {
        events.append(success ? QStringLiteral("finish:yes") : QStringLiteral("finish:no"));
        packetsAtFinish = recorder->totalRecordedPacketCount();
        capturingAtFinish = recorder->isCapturing();
    }
    void voiceRecorderDidUpdateAveragePower(TULOVoiceRecorder *, float power) override
    {
        if (!events.contains(QStringLiteral("start")))
            earlyReadings++;
        readings.append(power);
    }
    bool finished() const { return events.contains(QStringLiteral("finish:yes")) || events.contains(QStringLiteral("finish:no")); }

    QStringList events;
    QList<float> readings;
    int earlyReadings = 0;
    qint64 packetsAtFinish = -1;
    bool capturingAtFinish = true;
};

float median(QList<float> values)
{
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0.0f : values[values.size() / 2];
}

} // namespace

class TestVoiceRecorder : public QObject
{
    Q_OBJECT

private:
    QString source(const QString &name, double seconds, double amplitude)
    {
        const QString path = m_dir.filePath(name);
        if (!QFile::exists(path))
            TULOTestWriteWav(path, TULOTestSineSamples(seconds, 440, amplitude));
        return path;
    }
    void feedFrom(const QString &path)
    {
        TULOVoiceCapture::setFactory([this, path](const TULOVoiceCaptureContext &context, TULOError *error) {
            std::unique_ptr<TULOVoiceCapture> capture;
            auto device = TULOVoiceCapture::createFileFed(path, context, error);
            if (device)
                capture = std::make_unique<CountingCapture>(std::move(device), &m_log);
            return capture;
        });
    }
    QString takePath() { return m_dir.filePath(QStringLiteral("takes/%1.caf").arg(++m_takes)); }

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }
    void init()
    {
        m_log.created = 0;
        m_log.stops = 0;
    }
    void cleanup() { TULOVoiceCapture::setFactory({}); }

    void defaults()
    {
        TULOVoiceRecorder recorder(QStringLiteral("/tmp/x.caf"));
        QCOMPARE(recorder.assetPath(), QStringLiteral("/tmp/x.caf"));
        QCOMPARE(recorder.maximumRecordingDuration(), 10.0);
        QVERIFY(TULOVoiceRecorder().assetPath().isNull());
    }

    // A take fed from a file, read back by ffmpeg: the format of the recording table and the
    // very samples that went in.
    void recordsWhatTheDeviceCaptured()
    {
        const std::vector<qint16> samples = TULOTestSineSamples(0.7, 440, 0.5);
        const QString input = m_dir.filePath(QStringLiteral("exact.wav"));
        QVERIFY(TULOTestWriteWav(input, samples));
        feedFrom(input);
        const QString path = takePath();
        auto recorder = std::make_shared<TULOVoiceRecorder>(path);
        recorder->setMaximumRecordingDuration(0.0); // the file's end ends the take
        RecorderEvents events;
        recorder->setDelegate(&events);
        TULOError error;
        QVERIFY2(recorder->startRecordingUsingActivationMode(TULOVoiceCaptureActivationModeHold, &error),
                 qPrintable(error.localizedDescription()));
        QCOMPARE(m_log.activationMode.load(), TULOVoiceCaptureActivationModeHold);
        QTRY_VERIFY_WITH_TIMEOUT(events.finished(), 30000);
        QCOMPARE(events.events, (QStringList{QStringLiteral("start"), QStringLiteral("finish:yes")}));
        QVERIFY(!events.capturingAtFinish);
        QCOMPARE(events.packetsAtFinish, qint64(samples.size()));
        QCOMPARE(m_log.stops.load(), 0);
        QCOMPARE(TULOVoiceCapture::sharedSessionActivationContext(), TULOVoiceCaptureContext());

        const TULOTestProbe probe = TULOTestProbeFile(path);
        QVERIFY2(probe.ok, qPrintable(probe.errorText));
        QCOMPARE(probe.formatName, QStringLiteral("caf"));
        QCOMPARE(probe.codecName, QStringLiteral("pcm_s16le"));
        QCOMPARE(probe.sampleRate, 44100);
        QCOMPARE(probe.channels, 1);
        QCOMPARE(probe.frames, qint64(samples.size()));
        QCOMPARE(TULOTestCAFDescFlags(path), 2);
        QCOMPARE(TULOTestDecodeSamples(path), samples);
    }

    void timeLimit_data()
    {
        QTest::addColumn<double>("sourceSeconds");
        QTest::addColumn<double>("limit");
        QTest::addColumn<bool>("stoppedByTimeout");
        QTest::newRow("limit inside the take") << 4.0 << 1.0 << true;
        QTest::newRow("limit beyond the take") << 0.6 << 3.0 << false;
        QTest::newRow("zero means no limit") << 0.6 << 0.0 << false;
        QTest::newRow("epsilon means no limit") << 0.6 << 2.220446049250313e-16 << false;
        QTest::newRow("negative means no limit") << 0.6 << -1.0 << false;
    }
    void timeLimit()
    {
        QFETCH(double, sourceSeconds);
        QFETCH(double, limit);
        QFETCH(bool, stoppedByTimeout);
        feedFrom(source(QStringLiteral("sine-%1.wav").arg(sourceSeconds), sourceSeconds, 0.5));
        const QString path = takePath();
        auto recorder = std::make_shared<TULOVoiceRecorder>(path);
        recorder->setMaximumRecordingDuration(limit);
        RecorderEvents events;
        recorder->setDelegate(&events);
        QVERIFY(recorder->startRecordingUsingActivationMode(TULOVoiceCaptureActivationModeHold));
        QTRY_VERIFY_WITH_TIMEOUT(events.finished(), 30000);
        QCOMPARE(events.events.constLast(), QStringLiteral("finish:yes"));
        const auto sourceFrames = qint64(std::llround(sourceSeconds * 44100));
        QCOMPARE(m_log.stops.load(), stoppedByTimeout ? 1 : 0);
        if (stoppedByTimeout) {
            // Cut at the limit: at least most of it, never the whole source.
            QVERIFY2(events.packetsAtFinish >= qint64(limit * 44100 * 0.75), qPrintable(QString::number(events.packetsAtFinish)));
            QVERIFY2(events.packetsAtFinish < sourceFrames, qPrintable(QString::number(events.packetsAtFinish)));
        } else {
            QCOMPARE(events.packetsAtFinish, sourceFrames);
        }
        QCOMPARE(TULOTestProbeFile(path).frames, events.packetsAtFinish);
    }

    // Readings of the input level, fifteen a second, in decibels from -160 to 0.
    void meter_data()
    {
        QTest::addColumn<double>("amplitude");
        QTest::addColumn<float>("expectedDecibels");
        QTest::newRow("half scale") << 0.5 << -9.03f;
        QTest::newRow("tenth scale") << 0.1 << -23.01f;
        QTest::newRow("silence") << 0.0 << -160.0f;
    }
    void meter()
    {
        QFETCH(double, amplitude);
        QFETCH(float, expectedDecibels);
        feedFrom(source(QStringLiteral("meter-%1.wav").arg(amplitude), 2.0, amplitude));
        auto recorder = std::make_shared<TULOVoiceRecorder>(takePath());
        recorder->setMaximumRecordingDuration(0.0);
        RecorderEvents events;
        recorder->setDelegate(&events);
        QVERIFY(recorder->startRecordingUsingActivationMode(TULOVoiceCaptureActivationModeProximity));
        QTRY_VERIFY_WITH_TIMEOUT(events.finished(), 30000);
        QCOMPARE(events.earlyReadings, 0); // metering begins with the capture
        for (float reading : std::as_const(events.readings))
            QVERIFY2(reading >= -160.0f && reading <= 0.0f, qPrintable(QString::number(reading)));
        QVERIFY2(std::abs(median(events.readings) - expectedDecibels) < 0.5f, qPrintable(QString::number(median(events.readings))));
        // Readings per recorded second: fifteen, not one or a hundred.
        const double rate = events.readings.size() / (double(events.packetsAtFinish) / 44100.0);
        QVERIFY2(rate > 10.0 && rate < 20.0, qPrintable(QString::number(rate)));
    }

    void twoStopRequestsStopTheDeviceOnce()
    {
        feedFrom(source(QStringLiteral("long.wav"), 6.0, 0.5));
        auto recorder = std::make_shared<TULOVoiceRecorder>(takePath());
        RecorderEvents events;
        recorder->setDelegate(&events);
        QVERIFY(recorder->startRecordingUsingActivationMode(TULOVoiceCaptureActivationModeHold));
        QTRY_VERIFY_WITH_TIMEOUT(events.events.contains(QStringLiteral("start")), 30000);
        QStringList order;
        recorder->stopRecordingWithCompletionHandler([&](bool success) { order.append(QStringLiteral("first:%1").arg(success)); });
        recorder->stopRecordingWithCompletionHandler(); // no handler: only waits
        recorder->stopRecordingWithCompletionHandler([&](bool success) { order.append(QStringLiteral("second:%1").arg(success)); });
        QVERIFY(order.isEmpty()); // handlers wait for the finish
        QTRY_VERIFY_WITH_TIMEOUT(events.finished(), 30000);
        QCOMPARE(order, (QStringList{QStringLiteral("first:1"), QStringLiteral("second:1")}));
        QCOMPARE(m_log.stops.load(), 1);
        QCOMPARE(events.events.count(QStringLiteral("finish:yes")), 1);
    }

    void stopWhileIdleAnswersAtOnce()
    {
        TULOVoiceRecorder recorder(takePath());
        int calls = 0;
        bool result = true;
        recorder.stopRecordingWithCompletionHandler([&](bool success) {
            ++calls;
            result = success;
        });
        QCOMPARE(calls, 1);
        QVERIFY(!result);
        recorder.stopRecordingWithCompletionHandler(); // no handler, nothing to do
    }

    // The owner may let go right after asking to stop; the take still finishes.
    void recorderOutlivesItsOwnerWhileStopping()
    {
        feedFrom(source(QStringLiteral("long.wav"), 6.0, 0.5));
        const QString path = takePath();
        auto recorder = std::make_shared<TULOVoiceRecorder>(path);
        RecorderEvents events;
        recorder->setDelegate(&events);
        QVERIFY(recorder->startRecordingUsingActivationMode(TULOVoiceCaptureActivationModeHold));
        QTRY_VERIFY_WITH_TIMEOUT(events.events.contains(QStringLiteral("start")), 30000);
        std::weak_ptr<TULOVoiceRecorder> weak = recorder;
        bool handled = false;
        recorder->stopRecordingWithCompletionHandler([&](bool success) { handled = success; });
        recorder.reset();
        QVERIFY(!weak.expired());
        QTRY_VERIFY_WITH_TIMEOUT(handled, 30000);
        QTRY_VERIFY(weak.expired());
        QVERIFY(events.finished());
        const TULOTestProbe probe = TULOTestProbeFile(path);
        QVERIFY2(probe.ok, qPrintable(probe.errorText));
        QCOMPARE(probe.frames, events.packetsAtFinish);
    }

    void releasingARecordingRecorderClosesTheFile()
    {
        feedFrom(source(QStringLiteral("long.wav"), 6.0, 0.5));
        const QString path = takePath();
        RecorderEvents events;
        {
            auto recorder = std::make_shared<TULOVoiceRecorder>(path);
            recorder->setDelegate(&events);
            QVERIFY(recorder->startRecordingUsingActivationMode(TULOVoiceCaptureActivationModeHold));
            QTRY_VERIFY_WITH_TIMEOUT(recorder->totalRecordedPacketCount() > 0, 30000);
        }
        QTest::qWait(200); // work already posted for the recorder must not run
        QVERIFY(!events.finished());
        const TULOTestProbe probe = TULOTestProbeFile(path);
        QVERIFY2(probe.ok, qPrintable(probe.errorText));
        QVERIFY(probe.frames > 0);
    }

    void startFailures_data()
    {
        QTest::addColumn<QString>("case_");
        QTest::addColumn<bool>("deviceMade");
        QTest::newRow("file cannot be created") << QStringLiteral("file") << false;
        QTest::newRow("no capture device") << QStringLiteral("device") << false;
        QTest::newRow("capture source missing") << QStringLiteral("source") << true;
    }
    void startFailures()
    {
        QFETCH(QString, case_);
        QFETCH(bool, deviceMade);
        QString path = takePath();
        if (case_ == QLatin1String("file")) {
            QFile blocker(m_dir.filePath(QStringLiteral("blocker")));
            QVERIFY(blocker.open(QIODevice::WriteOnly));
            path = blocker.fileName() + QStringLiteral("/take.caf");
            feedFrom(source(QStringLiteral("long.wav"), 6.0, 0.5));
        } else if (case_ == QLatin1String("device")) {
            TULOVoiceCapture::setFactory([](const TULOVoiceCaptureContext &context, TULOError *error) {
                return TULOVoiceCapture::createMicrophone("no-such-input-device", context, error);
            });
        } else {
            feedFrom(m_dir.filePath(QStringLiteral("missing.wav")));
        }
        TULOVoiceRecorder recorder(path);
        RecorderEvents events;
        recorder.setDelegate(&events);
        TULOError error;
        QVERIFY(!recorder.startRecordingUsingActivationMode(TULOVoiceCaptureActivationModeHold, &error));
        QVERIFY(!error.isNull());
        QCOMPARE(error.domain(), TULOOSStatusErrorDomain);
        QVERIFY(!error.localizedDescription().isEmpty());
        QVERIFY(!recorder.isCapturing());
        QCOMPARE(m_log.created.load() > 0, deviceMade);
        QVERIFY(!recorder.startRecordingUsingActivationMode(TULOVoiceCaptureActivationModeHold)); // no error asked: no crash
        if (case_ != QLatin1String("file")) {
            const TULOTestProbe probe = TULOTestProbeFile(path); // left closed and valid
            QVERIFY2(probe.ok, qPrintable(probe.errorText));
            QCOMPARE(probe.frames, 0);
        }
        QTest::qWait(50);
        QVERIFY(events.events.isEmpty());
    }

    void deviceThatFailsToStartEndsTheTake()
    {
        const QString garbage = m_dir.filePath(QStringLiteral("garbage.wav"));
        QFile file(garbage);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, '\x5a'));
        file.close();
        feedFrom(garbage);
        const QString path = takePath();
        auto recorder = std::make_shared<TULOVoiceRecorder>(path);
        RecorderEvents events;
        recorder->setDelegate(&events);
        QVERIFY(recorder->startRecordingUsingActivationMode(TULOVoiceCaptureActivationModeHold));
        QTRY_VERIFY_WITH_TIMEOUT(events.finished(), 30000);
        QCOMPARE(events.events, QStringList{QStringLiteral("finish:no")});
        QVERIFY(events.readings.isEmpty());
        bool handled = true;
        recorder->stopRecordingWithCompletionHandler([&](bool success) { handled = success; });
        QVERIFY(!handled);
        QCOMPARE(TULOTestProbeFile(path).frames, 0);
    }

    // Buffers from the device (any thread): empty ones are skipped, bad trailing packets cut.
    void badBuffers_data()
    {
        QTest::addColumn<int>("packets");
        QTest::addColumn<int>("firstBad");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("written");
        QTest::newRow("all good") << 10 << -1 << QString() << 10;
        QTest::newRow("no packet descriptions") << 0 << -1 << QString() << 0;
        QTest::newRow("no bytes") << 10 << -1 << QStringLiteral("no bytes") << 0;
        QTest::newRow("negative offset trailing") << 10 << 7 << QStringLiteral("negative") << 7;
        QTest::newRow("oversized trailing") << 10 << 4 << QStringLiteral("oversized") << 4;
        QTest::newRow("first packet bad") << 10 << 0 << QStringLiteral("negative") << 0;
    }
    void badBuffers()
    {
        QFETCH(int, packets);
        QFETCH(int, firstBad);
        QFETCH(QString, fault);
        QFETCH(int, written);
        const std::vector<qint16> samples = TULOTestSineSamples(0.4, 440, 0.25);
        const QString input = m_dir.filePath(QStringLiteral("quiet.wav"));
        QVERIFY(TULOTestWriteWav(input, samples));
        feedFrom(input);
        const QString path = takePath();
        auto recorder = std::make_shared<TULOVoiceRecorder>(path);
        recorder->setMaximumRecordingDuration(0.0);
        RecorderEvents events;
        recorder->setDelegate(&events);
        QVERIFY(recorder->startRecordingUsingActivationMode(TULOVoiceCaptureActivationModeHold));
        QTRY_VERIFY_WITH_TIMEOUT(events.events.contains(QStringLiteral("start")), 30000);

        // A marker value the quiet sine never reaches.
        constexpr qint16 marker = 30000;
        auto buffer = std::make_shared<TULOVoiceCaptureBuffer>(
            *TULOVoiceCaptureBuffer::withSamples(std::vector<qint16>(size_t(std::max(packets, 1)), marker).data(), std::max(packets, 1)));
        buffer->packetDescriptions.resize(packets);
        if (fault == QLatin1String("no bytes"))
            buffer->dataByteSize = 0;
        for (int i = firstBad; i >= 0 && i < packets; ++i) {
            if (fault == QLatin1String("negative"))
                buffer->packetDescriptions[i].startOffset = -2;
            else
                buffer->packetDescriptions[i].dataByteSize = buffer->dataByteSize + 1;
        }
        std::thread device([&] { recorder->voiceControllerRecordBufferAvailable(nullptr, buffer); });
        device.join();
        QTRY_VERIFY_WITH_TIMEOUT(events.finished(), 30000);
        QCOMPARE(events.packetsAtFinish, qint64(samples.size()) + written);
        const std::vector<qint16> decoded = TULOTestDecodeSamples(path);
        QCOMPARE(qint64(decoded.size()), events.packetsAtFinish);
        QCOMPARE(int(std::count(decoded.begin(), decoded.end(), marker)), written);
    }

    // A disk that fills up mid-take: the take ends normally with what fitted, in a valid file.
    void diskFillsWhileRecording()
    {
        feedFrom(source(QStringLiteral("sine-2.wav"), 2.0, 0.5));
        const QString path = takePath();
        auto recorder = std::make_shared<TULOVoiceRecorder>(path);
        recorder->setMaximumRecordingDuration(0.0);
        RecorderEvents events;
        recorder->setDelegate(&events);
        QVERIFY(recorder->startRecordingUsingActivationMode(TULOVoiceCaptureActivationModeHold));

        // The file-size limit plays the full disk: writes past it fail as on a full device.
        constexpr rlim_t room = 64 * 1024;
        rlimit previous{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &previous), 0);
        const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limited = previous;
        limited.rlim_cur = room;
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limited), 0);
        const bool finished = QTest::qWaitFor([&] { return events.finished(); }, 30000);
        setrlimit(RLIMIT_FSIZE, &previous);
        std::signal(SIGXFSZ, oldHandler);

        QVERIFY(finished);
        QCOMPARE(events.events.constLast(), QStringLiteral("finish:yes"));
        QVERIFY(events.packetsAtFinish > 0);
        QVERIFY2(events.packetsAtFinish < 88200, qPrintable(QString::number(events.packetsAtFinish)));
        QVERIFY(QFile(path).size() <= qint64(room));
        const TULOTestProbe probe = TULOTestProbeFile(path);
        QVERIFY2(probe.ok, qPrintable(probe.errorText));
        QCOMPARE(probe.frames, events.packetsAtFinish);
        const std::vector<qint16> expected = TULOTestSineSamples(2.0, 440, 0.5);
        const std::vector<qint16> decoded = TULOTestDecodeSamples(path);
        QVERIFY(std::equal(decoded.begin(), decoded.end(), expected.begin()));
    }

private:
    QTemporaryDir m_dir;
    CaptureLog m_log;
    int m_takes = 0;
};

QTEST_GUILESS_MAIN(TestVoiceRecorder)
#include "tst_voicerecorder.moc"

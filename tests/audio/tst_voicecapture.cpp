#include "testaudio.h"

#include <Quillon/platform/audio/voicecapture.h>

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <mutex>

// Before the first data table that holds one, or a release build refuses it.
Q_DECLARE_METATYPE(TULOVoiceCaptureSettings)

namespace {

// Collects what a device delivers, from its own thread.
class Collector : public TULOVoiceCaptureDelegate
{
public:
    void voiceControllerDidStartRecording(TULOVoiceCapture *, bool successfully) override
    {
        std::lock_guard lock(mutex);
        started = successfully ? 1 : 0;
    }
    void voiceControllerDidStopRecording(TULOVoiceCapture *, qint64 reason) override
    {
        std::lock_guard lock(mutex);
        stopReason = reason;
        stopped = true;
    }
    void voiceControllerRecordBufferAvailable(TULOVoiceCapture *, TULOVoiceCaptureBufferRef buffer) override
    {
        std::lock_guard lock(mutex);
        const auto *data = reinterpret_cast<const qint16 *>(buffer->data.constData());
        samples.insert(samples.end(), data, data + buffer->data.size() / 2);
        ++buffers;
        wellFormed = wellFormed && buffer->dataByteSize == quint32(buffer->data.size())
            && buffer->packetDescriptions.size() == buffer->data.size() / 2;
    }
    bool isStopped()
    {
        std::lock_guard lock(mutex);
        return stopped;
    }
    int startedValue()
    {
        std::lock_guard lock(mutex);
        return started;
    }

    std::mutex mutex;
    int started = -1;
    bool stopped = false;
    qint64 stopReason = -1;
    std::vector<qint16> samples;
    int buffers = 0;
    bool wellFormed = true;
};

} // namespace

class TestVoiceCapture : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(m_dir.isValid()); }

    // Whatever the source's rate and channels, the device delivers 44.1 kHz mono.
    void fileFedDeviceConverts_data()
    {
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("channels");
        QTest::newRow("44.1 kHz mono") << 44100 << 1;
        QTest::newRow("48 kHz stereo") << 48000 << 2;
        QTest::newRow("22.05 kHz mono") << 22050 << 1;
    }
    void fileFedDeviceConverts()
    {
        QFETCH(int, rate);
        QFETCH(int, channels);
        const double seconds = 0.5;
        const std::vector<qint16> source = TULOTestSineSamples(seconds, 441, 0.5, rate, channels);
        const QString path = m_dir.filePath(QStringLiteral("src-%1-%2.wav").arg(rate).arg(channels));
        QVERIFY(TULOTestWriteWav(path, source, rate, channels));

        Collector collector;
        auto device = TULOVoiceCapture::createFileFed(path, {TULOVoiceCaptureActivationModeHold});
        QVERIFY(device);
        QCOMPARE(TULOVoiceCapture::sharedSessionActivationContext().activationMode, TULOVoiceCaptureActivationModeHold);
        device->setRecordDelegate(&collector);
        device->setMeteringEnabled(true);
        TULOError error;
        QVERIFY2(device->prepareRecordWithSettings(TULOVoiceCaptureSettings(), &error), qPrintable(error.localizedDescription()));
        QVERIFY(device->startRecording(&error));
        QVERIFY(!device->startRecording()); // one capture at a time
        QTRY_VERIFY_WITH_TIMEOUT(collector.isStopped(), 30000);
        QCOMPARE(collector.started, 1);
        QCOMPARE(collector.stopReason, 0);
        QVERIFY(collector.wellFormed);
        QVERIFY(collector.buffers > 1); // delivered in periods, not all at once
        const auto expected = qint64(seconds * 44100);
        QVERIFY2(std::abs(qint64(collector.samples.size()) - expected) <= 2, qPrintable(QString::number(collector.samples.size())));
        // The level survives the conversion: a 0.5 sine is about -9 dB.
        const float power = TULOVoiceCapture::averagePowerOfSamples(collector.samples.data(), qsizetype(collector.samples.size()));
        QVERIFY2(std::abs(power - -9.03f) < 0.3f, qPrintable(QString::number(power)));
    }

    void stopEndsTheCaptureEarly()
    {
        const QString path = m_dir.filePath(QStringLiteral("long.wav"));
        QVERIFY(TULOTestWriteWav(path, TULOTestSineSamples(10.0, 440, 0.5)));
        Collector collector;
        auto device = TULOVoiceCapture::createFileFed(path, {});
        device->setRecordDelegate(&collector);
        QVERIFY(device->prepareRecordWithSettings(TULOVoiceCaptureSettings()));
        QVERIFY(device->startRecording());
        QTRY_VERIFY_WITH_TIMEOUT(collector.startedValue() == 1, 30000);
        device->stopRecording();
        device->stopRecording();
        QTRY_VERIFY_WITH_TIMEOUT(collector.isStopped(), 30000);
        QCOMPARE(collector.stopReason, 0);
        QVERIFY(collector.samples.size() < size_t(10 * 44100));
    }

    void meteringNeedsToBeEnabled()
    {
        const QString path = m_dir.filePath(QStringLiteral("loud.wav"));
        QVERIFY(TULOTestWriteWav(path, TULOTestSineSamples(3.0, 440, 0.9)));
        Collector collector;
        auto device = TULOVoiceCapture::createFileFed(path, {});
        device->setRecordDelegate(&collector);
        QVERIFY(device->prepareRecordWithSettings(TULOVoiceCaptureSettings()));
        QVERIFY(device->startRecording());
        QTRY_VERIFY_WITH_TIMEOUT(collector.buffers > 0 || collector.isStopped(), 30000);
        device->updateMeters();
        QCOMPARE(device->averagePowerForChannel(0), -160.0f);
        device->setMeteringEnabled(true);
        device->updateMeters();
        QVERIFY(device->averagePowerForChannel(0) > -6.0f); // a 0.9 sine is about -3.9 dB
        QCOMPARE(device->averagePowerForChannel(1), -160.0f); // mono: no second channel
        device->setRecordDelegate(nullptr);
    }

    void unreadableSourceFailsToStart()
    {
        const QString path = m_dir.filePath(QStringLiteral("noise.bin"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(1000, '\x01'));
        file.close();
        Collector collector;
        auto device = TULOVoiceCapture::createFileFed(path, {});
        device->setRecordDelegate(&collector);
        QVERIFY(device->prepareRecordWithSettings(TULOVoiceCaptureSettings()));
        QVERIFY(device->startRecording());
        QTRY_VERIFY_WITH_TIMEOUT(collector.startedValue() == 0, 30000);
        QVERIFY(!collector.isStopped());
        QVERIFY(collector.samples.empty());
    }

    void settingsOtherThanTheRecordingFormatAreRefused_data()
    {
        QTest::addColumn<TULOVoiceCaptureSettings>("settings");
        TULOVoiceCaptureSettings s;
        s.formatID = 0x61616320; // "aac "
        QTest::newRow("compressed") << s;
        s = {};
        s.linearPCMBitDepth = 24;
        QTest::newRow("24-bit") << s;
        s = {};
        s.sampleRate = 48000;
        QTest::newRow("48 kHz") << s;
        s = {};
        s.numberOfChannels = 2;
        QTest::newRow("stereo") << s;
    }
    void settingsOtherThanTheRecordingFormatAreRefused()
    {
        QFETCH(TULOVoiceCaptureSettings, settings);
        const QString path = m_dir.filePath(QStringLiteral("ok.wav"));
        QVERIFY(TULOTestWriteWav(path, TULOTestSineSamples(0.1, 440, 0.5)));
        auto device = TULOVoiceCapture::createFileFed(path, {});
        TULOError error;
        QVERIFY(!device->prepareRecordWithSettings(settings, &error));
        QCOMPARE(error.domain(), TULOOSStatusErrorDomain);
        QVERIFY(!device->startRecording()); // not prepared
    }

    void missingMicrophoneIsAnError()
    {
        TULOError error;
        QVERIFY(!TULOVoiceCapture::createMicrophone("no-such-input", {}, &error));
        QCOMPARE(error.domain(), TULOOSStatusErrorDomain);
        QVERIFY(error.localizedDescription().contains(QStringLiteral("no-such-input")));
    }

    void deploymentChoosesTheFileFedDevice()
    {
        const QString path = m_dir.filePath(QStringLiteral("ok.wav"));
        QVERIFY(TULOTestWriteWav(path, TULOTestSineSamples(0.1, 440, 0.5)));
        TULOVoiceCapture::setCaptureSourceFile(path);
        QCOMPARE(TULOVoiceCapture::captureSourceFile(), path);
        auto device = TULOVoiceCapture::create({});
        TULOVoiceCapture::setCaptureSourceFile(QString());
        QVERIFY(device);
        QVERIFY(device->prepareRecordWithSettings(TULOVoiceCaptureSettings()));
        QVERIFY(!TULOVoiceCapture::createFileFed(QString(), {}));
    }

    void averagePower_data()
    {
        QTest::addColumn<double>("amplitude");
        QTest::addColumn<float>("decibels");
        QTest::newRow("silence") << 0.0 << -160.0f;
        QTest::newRow("full-scale sine") << 1.0 << -3.01f;
        QTest::newRow("half-scale sine") << 0.5 << -9.03f;
        QTest::newRow("-100 dB sine") << 0.00001 << -160.0f; // rounds to silence in 16 bits
    }
    void averagePower()
    {
        QFETCH(double, amplitude);
        QFETCH(float, decibels);
        const std::vector<qint16> samples = TULOTestSineSamples(0.1, 441, amplitude);
        const float power = TULOVoiceCapture::averagePowerOfSamples(samples.data(), qsizetype(samples.size()));
        QVERIFY2(std::abs(power - decibels) < 0.05f, qPrintable(QString::number(power)));
        QCOMPARE(TULOVoiceCapture::averagePowerOfSamples(samples.data(), 0), -160.0f);
    }

private:
    QTemporaryDir m_dir;
};

QTEST_GUILESS_MAIN(TestVoiceCapture)
#include "tst_voicecapture.moc"

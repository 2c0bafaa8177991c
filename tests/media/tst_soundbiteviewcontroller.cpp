// Mouse events travel through the window, as a user's do, so a hold handed from one button to
// another under the pointer is exercised for real.
#define QTEST_QPA_MOUSE_HANDLING

#include "../audio/testaudio.h"

#include <Quillon/media/soundbiteview.h>
#include <Quillon/media/soundbiteviewbutton.h>
#include <Quillon/media/soundbiteviewcontroller.h>
#include <Quillon/media/waveformimageproducer.h>
#include <Quillon/platform/audio/captureavailability.h>
#include <Quillon/platform/audio/proximitysensor.h>
#include <Quillon/platform/audio/voicecapture.h>
#include <Quillon/platform/typeidentifiers.h>
#include <Quillon/platform/ui/window.h>

#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QTemporaryDir>
#include <QTest>

#include <sndfile.h>

#include <memory>

namespace {

class CompletionCounter : public QObject, public TULOSoundBiteViewControllerDelegate
{
public:
    void viewControllerDidCompleteRecording(TULOSoundBiteViewController *controller) override
    {
        ++count;
        hadAttachment.append(controller->attachment() != nullptr);
    }
    int count = 0;
    QList<bool> hadAttachment;
};

// One slot shown in its own window, as the compose screen would show it.
struct Slot
{
    explicit Slot(std::optional<double> limit = std::nullopt)
    {
        if (limit) {
            TULOConfiguration configuration;
            configuration.setMaximumSoundBiteDuration(*limit);
            controller->setConfiguration(configuration);
        }
        controller->setDelegate(&completions);
        window.setRootViewController(controller.get());
        window.resize(420, 100);
        window.show();
        window.activateWindow();
        active = QTest::qWaitForWindowActive(&window);
        view()->layoutIfNeeded();
    }
    ~Slot() { window.setRootViewController(nullptr); }

    TULOSoundBiteView *view() const { return controller->soundBiteView(); }
    TULOSoundBiteViewButton *record() const { return view()->recordButton(); }
    qint64 packets() const { return controller->voiceRecorder() ? controller->voiceRecorder()->totalRecordedPacketCount() : -1; }
    QPoint recordCenter() const { return record()->geometry().center(); }

    void press() { QTest::mousePress(view(), Qt::LeftButton, {}, recordCenter()); }
    void release() { QTest::mouseRelease(view(), Qt::LeftButton, {}, recordCenter()); }
    // Holds the record button until `seconds` of audio are in the file.
    bool hold(double seconds)
    {
        press();
        const bool recorded = QTest::qWaitFor([&] { return packets() >= qint64(seconds * 44100); }, 20000);
        release();
        return recorded && QTest::qWaitFor([&] { return !controller->voiceRecorder(); }, 20000);
    }

    std::unique_ptr<TULOSoundBiteViewController> controller = std::make_unique<TULOSoundBiteViewController>();
    CompletionCounter completions;
    TULOWindow window;
    bool active = false;
};

struct ReadBack
{
    SF_INFO info{};
    std::vector<qint16> samples;
    bool ok = false;
};

ReadBack readWithSndfile(const QString &path)
{
    ReadBack result;
    SNDFILE *file = sf_open(QFile::encodeName(path).constData(), SFM_READ, &result.info);
    if (!file)
        return result;
    result.samples.resize(size_t(result.info.frames * result.info.channels));
    const sf_count_t read = sf_readf_short(file, result.samples.data(), result.info.frames);
    result.ok = read == result.info.frames;
    sf_close(file);
    return result;
}

} // namespace

class TestSoundBiteViewController : public QObject
{
    Q_OBJECT

private:
    QString writeSource(const QString &name, double seconds)
    {
        const QString path = m_dir.filePath(name);
        m_sourceSamples = TULOTestSineSamples(seconds, 330, 0.6);
        if (!TULOTestWriteWav(path, m_sourceSamples))
            return {};
        return path;
    }
    QString feed(double seconds = 4.0)
    {
        const QString path = writeSource(QStringLiteral("source-%1.wav").arg(++m_sources), seconds);
        TULOVoiceCapture::setCaptureSourceFile(path);
        return path;
    }
    // The recording holds exactly the samples the device delivered: the source's first ones.
    void verifyRecordingMatchesSource(const QString &path, qint64 expectedFrames)
    {
        const ReadBack back = readWithSndfile(path);
        QVERIFY2(back.ok, qPrintable(path));
        QCOMPARE(back.info.format & SF_FORMAT_TYPEMASK, SF_FORMAT_CAF);
        QCOMPARE(back.info.format & SF_FORMAT_SUBMASK, SF_FORMAT_PCM_16);
        QCOMPARE(back.info.samplerate, 44100);
        QCOMPARE(back.info.channels, 1);
        QCOMPARE(qint64(back.info.frames), expectedFrames);
        QVERIFY(size_t(expectedFrames) <= m_sourceSamples.size());
        QVERIFY(std::equal(back.samples.begin(), back.samples.end(), m_sourceSamples.begin()));
        QCOMPARE(TULOTestCAFDescFlags(path), 2); // little-endian integer PCM
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        qputenv("QUILLON_AUDIO_OUTPUT", "none");
    }
    void cleanup()
    {
        TULOVoiceCapture::setCaptureSourceFile(QString());
        TULOVoiceCapture::setFactory({});
        TULOProximitySensor::setDevice(nullptr);
    }

    void holdRecordsAndYieldsTheAttachment()
    {
        feed();
        Slot slot;
        QCOMPARE(slot.view()->mode(), qint64(TULOSoundBiteViewModePrompt));
        QCOMPARE(slot.view()->promptString(), QStringLiteral("Press and hold to record"));

        slot.press();
        QCOMPARE(slot.view()->mode(), qint64(TULOSoundBiteViewModeRecording));
        QCOMPARE(slot.controller->recordingActivationMode(), TULOVoiceCaptureActivationModeHold);
        QCOMPARE(slot.view()->timeString(), QStringLiteral("10 s left"));
        QVERIFY(QTest::qWaitFor([&] { return slot.packets() >= 52000; }, 20000));
        slot.release();
        QVERIFY(QTest::qWaitFor([&] { return slot.controller->attachment() != nullptr; }, 20000));

        const TULOAttachmentPtr attachment = slot.controller->attachment();
        QCOMPARE(slot.view()->mode(), qint64(TULOSoundBiteViewModeRecorded));
        QCOMPARE(slot.completions.count, 1);
        QCOMPARE(slot.completions.hadAttachment, QList<bool>{true});
        QCOMPARE(attachment->assetURL(), QUrl::fromLocalFile(slot.controller->recordingFilePath()));
        QCOMPARE(attachment->UTI(), QString::fromLatin1(TULOTypeIdentifierCAF));
        QVERIFY(attachment->duration() >= 52000 / 44100.0 - 0.05);
        QVERIFY(attachment->duration() < 10.0);
        QCOMPARE(slot.view()->timeString(), QStringLiteral("0:%1").arg(int(attachment->duration()), 2, 10, QLatin1Char('0')));
        QVERIFY(slot.controller->recordingFilePath().startsWith(QDir::tempPath()));
        QVERIFY(slot.controller->recordingFilePath().endsWith(QLatin1String(".caf")));
        verifyRecordingMatchesSource(slot.controller->recordingFilePath(), TULOTestProbeFile(slot.controller->recordingFilePath()).frames);
    }

    // Space starts a take on the focused record button and, on the stop indicator that takes
    // the focus, ends it; the button describes both ways.
    void spaceTogglesRecording()
    {
        feed();
        Slot slot;
        QVERIFY(slot.active);
        TULOSoundBiteViewButton *record = slot.record();
        QVERIFY(record->accessibleDescription().contains(QLatin1String("Space")));
        QCOMPARE(record->accessibleName(), QStringLiteral("Record Sound Bite"));
        record->setFocus();
        QTest::keyClick(record, Qt::Key_Space);
        QCOMPARE(slot.view()->mode(), qint64(TULOSoundBiteViewModeRecording));
        QVERIFY(slot.view()->stopRecordingIndicator()->hasFocus());
        QVERIFY(QTest::qWaitFor([&] { return slot.packets() >= 30000; }, 20000));
        // Letting go of the key is not letting go of the take.
        QVERIFY(slot.controller->voiceRecorder());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
        QVERIFY(QTest::qWaitFor([&] { return slot.controller->attachment() != nullptr; }, 20000));
        QVERIFY(record->hasFocus());
        QCOMPARE(slot.controller->recordingActivationMode(), TULOVoiceCaptureActivationModeHold);
    }

    void limits_data()
    {
        QTest::addColumn<double>("limit");
        QTest::addColumn<bool>("attachment");
        QTest::addColumn<QString>("firstCountdown");
        QTest::newRow("just under the minimum") << 0.49 << false << QStringLiteral("1 s left");
        QTest::newRow("exactly the minimum") << 0.5 << true << QStringLiteral("1 s left");
        QTest::newRow("exactly the limit") << 2.0 << true << QStringLiteral("2 s left");
    }
    // The limit ends a take still held: the attachment lasts exactly the limit, the file holds
    // what was captured until then.
    void limits()
    {
        QFETCH(double, limit);
        QFETCH(bool, attachment);
        QFETCH(QString, firstCountdown);
        feed();
        Slot slot(limit);
        slot.press();
        QCOMPARE(slot.view()->timeString(), firstCountdown);
        QVERIFY(QTest::qWaitFor([&] { return slot.completions.count == 1; }, 20000));
        slot.release();
        QCOMPARE(slot.controller->attachment() != nullptr, attachment);
        if (attachment) {
            QCOMPARE(slot.controller->attachment()->duration(), limit);
            QCOMPARE(slot.view()->mode(), qint64(TULOSoundBiteViewModeRecorded));
            // The file holds what was captured until the stop was handled, a little past the
            // limit on a busy machine.
            const qint64 frames = TULOTestProbeFile(slot.controller->recordingFilePath()).frames;
            QVERIFY2(frames >= qint64(0.8 * limit * 44100) && frames <= qint64((limit + 0.5) * 44100), qPrintable(QString::number(frames)));
            verifyRecordingMatchesSource(slot.controller->recordingFilePath(), frames);
        } else {
            QCOMPARE(slot.view()->mode(), qint64(TULOSoundBiteViewModePrompt));
            QCOMPARE(slot.view()->promptString(), QStringLiteral("Too short. Hold a little longer to record."));
        }
        QCOMPARE(slot.completions.hadAttachment, QList<bool>{attachment});
    }

    void deviceVanishing_data()
    {
        QTest::addColumn<double>("recordedBeforeLoss");
        QTest::addColumn<bool>("kept");
        QTest::newRow("after a second") << 1.0 << true;
        QTest::newRow("at once") << 0.05 << false;
    }
    // Unplugging the device mid-take keeps what reached the file when it is long enough.
    void deviceVanishing()
    {
        QFETCH(double, recordedBeforeLoss);
        QFETCH(bool, kept);
        const QString source = feed();
        Slot slot;
        slot.press();
        QVERIFY(QTest::qWaitFor([&] { return slot.packets() >= qint64(recordedBeforeLoss * 44100); }, 20000));
        QVERIFY(QFile::remove(source));
        QVERIFY(QTest::qWaitFor([&] { return slot.completions.count == 1; }, 20000));
        slot.release();
        QCOMPARE(slot.controller->attachment() != nullptr, kept);
        if (kept) {
            QCOMPARE(slot.view()->mode(), qint64(TULOSoundBiteViewModeRecorded));
            const qint64 frames = TULOTestProbeFile(slot.controller->recordingFilePath()).frames;
            QCOMPARE(slot.controller->attachment()->duration(), frames / 44100.0);
            verifyRecordingMatchesSource(slot.controller->recordingFilePath(), frames);
        } else {
            QCOMPARE(slot.view()->mode(), qint64(TULOSoundBiteViewModePrompt));
        }
        // The slot records again once a device is back.
        feed();
        QVERIFY(slot.hold(0.6));
        QVERIFY(slot.controller->attachment());
    }

    // A temporary directory that cannot hold the file (as root no permission bit stops a
    // write, so a plain file takes the directory's place): the slot says why and, once the
    // directory is usable again, records into the same file.
    void temporaryDirectoryNotWritable()
    {
        feed();
        const QString temporary = m_dir.filePath(QStringLiteral("tmp"));
        QVERIFY(QDir().mkpath(temporary));
        const QByteArray previousTemp = qgetenv("TMPDIR");
        qputenv("TMPDIR", QFile::encodeName(temporary));
        Slot slot;
        qputenv("TMPDIR", previousTemp);
        QVERIFY(slot.controller->recordingFilePath().startsWith(QFileInfo(temporary).canonicalFilePath()));
        const QString blocker = QFileInfo(slot.controller->recordingFilePath()).absolutePath();
        QVERIFY(QDir(blocker).removeRecursively());
        QFile file(blocker);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();

        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("^Could not start recording: ")));
        slot.press();
        slot.release();
        QVERIFY(!slot.controller->voiceRecorder());
        QVERIFY(!slot.controller->recordingError().isNull());
        QCOMPARE(slot.view()->mode(), qint64(TULOSoundBiteViewModePrompt));
        QVERIFY2(slot.view()->promptString().startsWith(QLatin1String("Could not record: ")), qPrintable(slot.view()->promptString()));
        QVERIFY(slot.view()->promptString().contains(blocker));
        QVERIFY(slot.record()->isEnabled());

        QVERIFY(QFile::remove(blocker));
        QVERIFY(QDir().mkpath(blocker));
        QVERIFY(slot.hold(0.6));
        QVERIFY(slot.controller->recordingError().isNull());
        QVERIFY(slot.controller->attachment());
        QVERIFY(QFile::exists(slot.controller->recordingFilePath()));
    }

    // Without a microphone the record button is disabled and says why; a device that comes
    // (here the file-fed one) enables it.
    void noMicrophone()
    {
        Slot slot;
        const bool microphone = TULOVoiceCaptureAvailability::shared()->hasAudioInput();
        QCOMPARE(slot.record()->isEnabled(), microphone);
        if (!microphone) {
            QCOMPARE(slot.record()->accessibleDescription(), QStringLiteral("No microphone is connected."));
            QCOMPARE(slot.view()->promptString(), QStringLiteral("No microphone is connected."));
            slot.press();
            slot.release();
            QVERIFY(!slot.controller->voiceRecorder());
            QCOMPARE(slot.view()->mode(), qint64(TULOSoundBiteViewModePrompt));
        }
        feed();
        QVERIFY(QTest::qWaitFor([&] { return slot.record()->isEnabled(); }, 5000));
        QCOMPARE(slot.view()->promptString(), QStringLiteral("Press and hold to record"));
        QVERIFY(slot.record()->accessibleDescription().startsWith(QLatin1String("Press and hold")));
    }

    void playbackModes()
    {
        feed();
        Slot slot;
        QVERIFY(slot.hold(1.2));
        TULOSoundBiteViewButton *play = slot.view()->playButton();
        QVERIFY(play->isVisible());
        QTest::mouseClick(slot.view(), Qt::LeftButton, {}, play->geometry().center());
        QVERIFY(slot.controller->audioPlayer());
        QCOMPARE(slot.view()->mode(), qint64(TULOSoundBiteViewModePlaying));
        QVERIFY(QTest::qWaitFor([&] { return slot.view()->playbackProgress() > 0.1f; }, 20000));
        const int overlay = slot.view()->playbackProgressView()->width();
        QVERIFY(overlay > 0 && overlay < slot.view()->waveformFrame().width());

        QTest::mouseClick(slot.view(), Qt::LeftButton, {}, play->geometry().center());
        QVERIFY(QTest::qWaitFor([&] { return slot.view()->mode() == TULOSoundBiteViewModePaused; }, 20000));
        const float paused = slot.view()->playbackProgress();
        QTest::qWait(200);
        QCOMPARE(slot.view()->playbackProgress(), paused);

        QTest::mouseClick(slot.view(), Qt::LeftButton, {}, play->geometry().center());
        QVERIFY(QTest::qWaitFor([&] { return slot.view()->mode() == TULOSoundBiteViewModePlaying; }, 20000));
        QVERIFY(QTest::qWaitFor([&] { return !slot.controller->audioPlayer(); }, 20000));
        QCOMPARE(slot.view()->mode(), qint64(TULOSoundBiteViewModeRecorded));
        QCOMPARE(slot.completions.count, 1);
    }

    // Starting either recording or playback in one slot ends both in the other.
    void oneSlotAtATime()
    {
        feed();
        Slot first;
        Slot second;
        QVERIFY(first.hold(0.6));
        QVERIFY(second.hold(0.6));
        QTest::mouseClick(first.view(), Qt::LeftButton, {}, first.view()->playButton()->geometry().center());
        QVERIFY(first.controller->audioPlayer());
        QTest::mouseClick(second.view(), Qt::LeftButton, {}, second.view()->playButton()->geometry().center());
        QVERIFY(second.controller->audioPlayer());
        QVERIFY(!first.controller->audioPlayer());
        QCOMPARE(first.view()->mode(), qint64(TULOSoundBiteViewModeRecorded));

        // The first take runs by keyboard, so the mouse is free for the second slot.
        first.record()->setFocus();
        QTest::keyClick(first.record(), Qt::Key_Space);
        QVERIFY(first.controller->voiceRecorder());
        QVERIFY(!second.controller->audioPlayer());
        QCOMPARE(second.view()->mode(), qint64(TULOSoundBiteViewModeRecorded));
        QVERIFY(QTest::qWaitFor([&] { return first.packets() >= 30000; }, 20000));
        // The second slot's take ends the first one's, which is kept.
        second.press();
        QVERIFY(QTest::qWaitFor([&] { return !first.controller->voiceRecorder(); }, 20000));
        QVERIFY(first.controller->attachment());
        QCOMPARE(first.view()->mode(), qint64(TULOSoundBiteViewModeRecorded));
        QVERIFY(second.controller->voiceRecorder());
        second.release();
    }

    void closingTheWindowEndsTheTake()
    {
        feed();
        Slot slot;
        slot.press();
        QVERIFY(QTest::qWaitFor([&] { return slot.packets() >= 30000; }, 20000));
        slot.window.close();
        QVERIFY(QTest::qWaitFor([&] { return slot.completions.count == 1; }, 20000));
        QVERIFY(slot.controller->attachment());
    }

    void explicitFlag()
    {
        feed();
        Slot slot;
        TULOSoundBiteViewButton *toggle = slot.view()->explicitToggleButton();
        QCOMPARE(toggle->text(), QStringLiteral("No"));
        QTest::mouseClick(slot.view(), Qt::LeftButton, {}, toggle->geometry().center());
        QCOMPARE(toggle->text(), QStringLiteral("Yes"));
        QVERIFY(slot.controller->isExplicit());
        QVERIFY(slot.hold(0.6));
        QVERIFY(slot.controller->attachment()->isExplicitContent()); // carried into the take
        QTest::mouseClick(slot.view(), Qt::LeftButton, {}, toggle->geometry().center());
        QCOMPARE(toggle->text(), QStringLiteral("No"));
        QVERIFY(!slot.controller->attachment()->isExplicitContent()); // changed at once
    }

    // Raising the device starts a take that lowering it ends; a held take ignores lowering.
    void faceProximity()
    {
        feed();
        TULOSimulatedProximitySensor sensor;
        TULOProximitySensor::setDevice(&sensor);
        Slot slot;
        QVERIFY(slot.view()->isObservingProximity());
        sensor.setNear(true);
        QCOMPARE(slot.controller->recordingActivationMode(), TULOVoiceCaptureActivationModeProximity);
        QVERIFY(QTest::qWaitFor([&] { return slot.packets() >= 30000; }, 20000));
        sensor.setNear(false);
        QVERIFY(QTest::qWaitFor([&] { return slot.controller->attachment() != nullptr; }, 20000));

        slot.press();
        sensor.setNear(true); // a recorder exists: no second take
        QCOMPARE(slot.controller->recordingActivationMode(), TULOVoiceCaptureActivationModeHold);
        sensor.setNear(false);
        QTest::qWait(150);
        QVERIFY(slot.controller->voiceRecorder());
        slot.release();
        QVERIFY(QTest::qWaitFor([&] { return !slot.controller->voiceRecorder(); }, 20000));
    }

    // The waveform shown while recording is the producer's drawing of the levels metered so far.
    void waveformFollowsTheMeter()
    {
        feed();
        Slot slot;
        slot.press();
        QVERIFY(QTest::qWaitFor([&] {
            auto producer = slot.controller->waveformImageProducer();
            return producer && producer->powerLevels().size() >= 6;
        }, 20000));
        slot.view()->layoutIfNeeded();
        const QImage shown = slot.view()->waveformImage();
        TULOWaveformImageProducer same;
        same.setPowerLevels(slot.controller->waveformImageProducer()->powerLevels());
        same.setWaveformMode(TULOWaveformImageProducer::Latest);
        QCOMPARE(shown, same.imageWithSize(slot.view()->waveformFrame().size(), slot.view()->devicePixelRatioF()));
        // A 0.6 amplitude sine meters at about -7.4 dB.
        QVERIFY(std::abs(same.powerLevels().last() - 0.42f) < 0.05f);
        slot.release();
        QVERIFY(QTest::qWaitFor([&] { return !slot.controller->voiceRecorder(); }, 20000));
    }

private:
    QTemporaryDir m_dir;
    std::vector<qint16> m_sourceSamples;
    int m_sources = 0;
};

QTEST_MAIN(TestSoundBiteViewController)
#include "tst_soundbiteviewcontroller.moc"

#define QTEST_QPA_MOUSE_HANDLING

#include "support/screenshotsupport.h"

#include <Quillon/media/soundbiteview.h>
#include <Quillon/media/soundbiteviewbutton.h>
#include <Quillon/media/soundbiteviewcontroller.h>
#include <Quillon/media/waveformimageproducer.h>
#include <Quillon/platform/audio/proximitysensor.h>
#include <Quillon/platform/audio/voicecapture.h>

#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QTest>

#include <cmath>

namespace {

class Events : public QObject, public TULOSoundBiteViewDelegate
{
public:
    void soundBiteViewDidHoldRecordButton(TULOSoundBiteView *view) override
    {
        log.append(QStringLiteral("hold"));
        if (recordsOnHold)
            view->setMode(TULOSoundBiteViewModeRecording); // as the controller does
    }
    void soundBiteViewDidReleaseRecordButton(TULOSoundBiteView *) override { log.append(QStringLiteral("release")); }
    void soundBiteViewDidTogglePlayback(TULOSoundBiteView *) override { log.append(QStringLiteral("playback")); }
    void soundBiteViewDidToggleExplicit(TULOSoundBiteView *view) override
    {
        log.append(view->isExplicit() ? QStringLiteral("explicit:yes") : QStringLiteral("explicit:no"));
    }
    void soundBiteViewFaceProximityDidBegin(TULOSoundBiteView *) override { log.append(QStringLiteral("near")); }
    void soundBiteViewFaceProximityDidEnd(TULOSoundBiteView *) override { log.append(QStringLiteral("far")); }

    QStringList log;
    bool recordsOnHold = true;
};

std::shared_ptr<TULOWaveformImageProducer> voiceLikeProducer(int count)
{
    auto producer = std::make_shared<TULOWaveformImageProducer>();
    // Syllables of about -10 dB between pauses near -45 dB, fifteen levels a second.
    for (int i = 0; i < count; ++i) {
        const double envelope = std::max(0.0, std::sin(i * 0.45)) * (0.7 + 0.3 * std::sin(i * 0.11));
        producer->appendPowerLevel(std::pow(10.0, (-45.0 + 36.0 * envelope) / 20.0));
    }
    return producer;
}

struct ShownView
{
    ShownView()
    {
        view.setDelegate(&events);
        view.resize(420, 96);
        view.show();
        view.activateWindow();
        active = QTest::qWaitForWindowActive(&view);
        view.layoutIfNeeded();
    }
    Events events;
    TULOSoundBiteView view;
    bool active = false;
};

} // namespace

class TestSoundBiteView : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { qputenv("QUILLON_AUDIO_OUTPUT", "none"); }

    void modesShowTheirParts_data()
    {
        QTest::addColumn<qint64>("mode");
        QTest::addColumn<QString>("shown"); // p prompt, r record, s stop indicator, o play and overlay, w waveform and time
        QTest::newRow("prompt") << qint64(TULOSoundBiteViewModePrompt) << QStringLiteral("pr");
        QTest::newRow("playing") << qint64(TULOSoundBiteViewModePlaying) << QStringLiteral("row");
        QTest::newRow("paused") << qint64(TULOSoundBiteViewModePaused) << QStringLiteral("row");
        QTest::newRow("recording") << qint64(TULOSoundBiteViewModeRecording) << QStringLiteral("sw");
        QTest::newRow("recorded") << qint64(TULOSoundBiteViewModeRecorded) << QStringLiteral("row");
        QTest::newRow("above the known modes") << qint64(7) << QStringLiteral("rw");
    }
    void modesShowTheirParts()
    {
        QFETCH(qint64, mode);
        QFETCH(QString, shown);
        TULOSoundBiteView view;
        // Start from another mode, so that every part is set.
        view.setMode(mode == TULOSoundBiteViewModeRecording ? TULOSoundBiteViewModePrompt : TULOSoundBiteViewModeRecording);
        view.setMode(mode);
        const auto visible = [](QWidget *part) { return !part->isHidden(); };
        QCOMPARE(visible(view.promptLabel()), shown.contains(QLatin1Char('p')));
        QCOMPARE(visible(view.recordButton()), shown.contains(QLatin1Char('r')));
        QCOMPARE(visible(view.stopRecordingIndicator()), shown.contains(QLatin1Char('s')));
        QCOMPARE(visible(view.playButton()), shown.contains(QLatin1Char('o')));
        QCOMPARE(visible(view.playbackProgressView()), shown.contains(QLatin1Char('o')));
        QCOMPARE(visible(view.timeLabel()), shown.contains(QLatin1Char('w')));
        QCOMPARE(visible(view.waveformImageView()), shown.contains(QLatin1Char('w')));
        QCOMPARE(visible(view.waveformBackgroundView()), shown.contains(QLatin1Char('w')));
        // The explicit row is always there.
        QVERIFY(visible(view.explicitToggleButton()) && visible(view.explicitPromptLabel()));
    }

    void layoutOnlyWhenTheModeChanges()
    {
        TULOSoundBiteView view;
        view.layoutIfNeeded();
        view.setMode(TULOSoundBiteViewModePrompt);
        QVERIFY(!view.needsLayout());
        view.setMode(TULOSoundBiteViewModeRecorded);
        QVERIFY(view.needsLayout());
        view.layoutIfNeeded();
        view.setExplictPromptString(QStringLiteral("Explicit"));
        QVERIFY(!view.needsLayout()); // only stored
        view.setTimeString(QStringLiteral("0:03"));
        QVERIFY(view.needsLayout());
    }

    void waveformFrameModeAndProgress_data()
    {
        QTest::addColumn<qint64>("mode");
        QTest::addColumn<float>("progress");
        QTest::addColumn<qint64>("waveformMode");
        QTest::addColumn<bool>("overlay");
        QTest::newRow("recording") << qint64(TULOSoundBiteViewModeRecording) << 0.5f << qint64(0) << false;
        QTest::newRow("recorded") << qint64(TULOSoundBiteViewModeRecorded) << 0.5f << qint64(1) << false;
        QTest::newRow("playing, a third") << qint64(TULOSoundBiteViewModePlaying) << (1.0f / 3.0f) << qint64(1) << true;
        QTest::newRow("paused, all") << qint64(TULOSoundBiteViewModePaused) << 1.0f << qint64(1) << true;
        QTest::newRow("playing, none") << qint64(TULOSoundBiteViewModePlaying) << 0.0f << qint64(1) << true;
    }
    // The waveform sits 4 points into its row and is 8 shorter; the producer draws it in the
    // mode's way; the played part covers ceil(progress × width).
    void waveformFrameModeAndProgress()
    {
        QFETCH(qint64, mode);
        QFETCH(float, progress);
        QFETCH(qint64, waveformMode);
        QFETCH(bool, overlay);
        TULOSoundBiteView view;
        view.resize(420, 96);
        const auto producer = voiceLikeProducer(40);
        view.setWaveformImageUsingProducer(producer);
        view.setMode(mode);
        view.layoutIfNeeded();
        view.setPlaybackProgress(progress);

        const QRect row = view.waveformBackgroundView()->geometry();
        const QRect frame = view.waveformFrame();
        QCOMPARE(frame.top(), row.top() + 4);
        QCOMPARE(frame.height(), row.height() - 8);
        QVERIFY(row.contains(frame));
        QCOMPARE(producer->waveformMode(), waveformMode);
        QCOMPARE(view.waveformImage(), producer->imageWithSize(frame.size(), view.devicePixelRatioF()));
        const QRect played = view.playbackProgressView()->geometry();
        QCOMPARE(played.topLeft(), frame.topLeft());
        QCOMPARE(played.width(), overlay ? int(std::ceil(float(double(progress) * frame.width()))) : 0);
    }

    // The countdown keeps the width of its longest text, so the waveform never moves.
    void recordingTimeWidthIsReserved()
    {
        TULOSoundBiteView view;
        view.resize(420, 96);
        view.setTimeString(QStringLiteral("keep"));
        view.reserveSpaceForRecordingTimes(12, QStringLiteral("%@ s left"));
        QCOMPARE(view.timeString(), QStringLiteral("keep"));
        QLabel probe;
        probe.setFont(view.timeLabel()->font());
        double widest = 0;
        for (const char *text : {"1 s left", "8 s left", "10 s left", "12 s left"}) {
            probe.setText(QString::fromLatin1(text));
            widest = std::max(widest, double(probe.sizeHint().width()));
        }
        QCOMPARE(view.recordingTimeLabelWidth(), widest);

        view.setMode(TULOSoundBiteViewModeRecording);
        view.setTimeString(QStringLiteral("1 s left"));
        view.layoutIfNeeded();
        const QRect frameAtOne = view.waveformFrame();
        view.setTimeString(QStringLiteral("12 s left"));
        view.layoutIfNeeded();
        QCOMPARE(view.waveformFrame(), frameAtOne);
        QCOMPARE(view.timeLabel()->width(), int(std::ceil(widest)));
    }

    void touchArea_data()
    {
        QTest::addColumn<QPointF>("offset"); // from the button's top-left or, with negative-zero-free values, bottom-right
        QTest::addColumn<bool>("fromBottomRight");
        QTest::addColumn<bool>("inside");
        QTest::newRow("25 left, 10 above") << QPointF(-25, -10) << false << true;
        QTest::newRow("26 left") << QPointF(-25.5, 0) << false << false;
        QTest::newRow("11 above") << QPointF(0, -10.5) << false << false;
        QTest::newRow("10 right, 25 below") << QPointF(9.5, 24.5) << true << true;
        QTest::newRow("11 right") << QPointF(10.5, 0) << true << false;
        QTest::newRow("26 below") << QPointF(0, 25.5) << true << false;
    }
    void touchArea()
    {
        QFETCH(QPointF, offset);
        QFETCH(bool, fromBottomRight);
        QFETCH(bool, inside);
        TULOSoundBiteViewButton button(TULOSoundBiteViewButton::Play);
        button.resize(28, 28);
        const QPointF origin = fromBottomRight ? QPointF(28, 28) : QPointF(0, 0);
        QCOMPARE(button.pointInside(origin + offset), inside);
        QCOMPARE(button.hitRect(), QRectF(-25, -10, 63, 63));
    }

    // A click in the margin left of the play button still plays, although the record
    // button's margin reaches there too: the nearer button takes it.
    void marginReachesTheButton()
    {
        ShownView shown;
        shown.view.setMode(TULOSoundBiteViewModeRecorded);
        shown.view.layoutIfNeeded();
        const QRect play = shown.view.playButton()->geometry();
        const QPoint beside(play.left() - 4, play.center().y());
        QVERIFY(!shown.view.childAt(beside) || shown.view.childAt(beside) == shown.view.waveformBackgroundView());
        QTest::mouseClick(&shown.view, Qt::LeftButton, {}, beside);
        QCOMPARE(shown.events.log, QStringList{QStringLiteral("playback")});
    }

    // Pressing holds; the stop indicator that replaces the button takes the release.
    void holdAndRelease()
    {
        ShownView shown;
        const QPoint center = shown.view.recordButton()->geometry().center();
        QTest::mousePress(&shown.view, Qt::LeftButton, {}, center);
        QCOMPARE(shown.events.log, QStringList{QStringLiteral("hold")});
        QVERIFY(shown.view.recordButton()->isHidden());
        QTest::mouseMove(&shown.view, center + QPoint(80, 20)); // wandering off does not let go
        QCOMPARE(shown.events.log.size(), 1);
        QTest::mouseRelease(&shown.view, Qt::LeftButton, {}, center + QPoint(80, 20));
        QCOMPARE(shown.events.log, (QStringList{QStringLiteral("hold"), QStringLiteral("release")}));
    }

    void keyboardAndFocus()
    {
        ShownView shown;
        QVERIFY(shown.active);
        TULOSoundBiteViewButton *record = shown.view.recordButton();
        record->setFocus();
        QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, QStringLiteral(" "), true);
        QApplication::sendEvent(record, &repeated); // a key held down repeats; that starts nothing
        QVERIFY(shown.events.log.isEmpty());
        QTest::keyClick(record, Qt::Key_Space);
        QCOMPARE(shown.events.log, QStringList{QStringLiteral("hold")});
        QVERIFY(shown.view.stopRecordingIndicator()->hasFocus());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
        QVERIFY(shown.events.log.contains(QStringLiteral("release")));
        shown.view.setMode(TULOSoundBiteViewModeRecorded);
        QVERIFY(record->hasFocus());
        // Explicit by keyboard: the view flips its flag before telling.
        shown.view.explicitToggleButton()->setFocus();
        QTest::keyClick(shown.view.explicitToggleButton(), Qt::Key_Space);
        QCOMPARE(shown.events.log.last(), QStringLiteral("explicit:yes"));
        QVERIFY(shown.view.isExplicit());
    }

    void faceProximity()
    {
        TULOSimulatedProximitySensor sensor;
        TULOProximitySensor::setDevice(&sensor);
        {
            ShownView shown;
            QVERIFY(shown.view.isObservingProximity());
            QVERIFY(sensor.isProximityMonitoringEnabled());
            sensor.setNear(true);
            sensor.setNear(true);
            sensor.setNear(false);
            QCOMPARE(shown.events.log, (QStringList{QStringLiteral("near"), QStringLiteral("far")}));
            shown.view.hide();
            QVERIFY(!shown.view.isObservingProximity());
            QVERIFY(!sensor.isProximityMonitoringEnabled());
        }
        TULOProximitySensor::setDevice(nullptr);
    }

    void screenshots_data()
    {
        QTest::addColumn<qint64>("mode");
        QTest::addColumn<bool>("dark");
        QTest::addColumn<qreal>("scale");
        const std::pair<qint64, const char *> modes[] = {{TULOSoundBiteViewModePrompt, "prompt"},
                                                         {TULOSoundBiteViewModeRecording, "recording"},
                                                         {TULOSoundBiteViewModeRecorded, "recorded"},
                                                         {TULOSoundBiteViewModePlaying, "playing"},
                                                         {TULOSoundBiteViewModePaused, "paused"}};
        for (const auto &[mode, name] : modes) {
            for (const bool dark : {false, true}) {
                for (const qreal scale : {1.0, 2.0})
                    QTest::addRow("%s-%s-%dx", name, dark ? "dark" : "light", int(scale)) << mode << dark << scale;
            }
        }
    }
    // Every mode rendered offscreen for review; the waveform is drawn at the image's scale.
    void screenshots()
    {
        QFETCH(qint64, mode);
        QFETCH(bool, dark);
        QFETCH(qreal, scale);
        const QPalette light = QApplication::palette();
        if (dark) {
            QPalette palette;
            palette.setColor(QPalette::Window, QColor(0x1e, 0x1e, 0x1e));
            palette.setColor(QPalette::WindowText, QColor(0xe8, 0xe8, 0xe8));
            palette.setColor(QPalette::Base, QColor(0x2a, 0x2a, 0x2a));
            palette.setColor(QPalette::Text, QColor(0xe8, 0xe8, 0xe8));
            palette.setColor(QPalette::Button, QColor(0x33, 0x33, 0x33));
            palette.setColor(QPalette::ButtonText, QColor(0xe8, 0xe8, 0xe8));
            palette.setColor(QPalette::Highlight, QColor(0x3d, 0x8b, 0xf0));
            palette.setColor(QPalette::HighlightedText, Qt::white);
            palette.setColor(QPalette::Link, QColor(0x6c, 0xb2, 0xff));
            QApplication::setPalette(palette);
        }
        TULOVoiceCapture::setCaptureSourceFile(QStringLiteral("/dev/null")); // a device to record from
        TULOSoundBiteViewController controller;
        TULOSoundBiteView *view = controller.soundBiteView();
        view->setWaveformImageUsingProducer(voiceLikeProducer(mode == TULOSoundBiteViewModeRecording ? 200 : 60));
        view->setMode(mode);
        if (mode == TULOSoundBiteViewModeRecording)
            view->setTimeString(QStringLiteral("7 s left"));
        else if (mode != TULOSoundBiteViewModePrompt)
            view->setTimeString(QStringLiteral("0:04"));
        view->setPlaybackProgress(0.4f);
        const QString name = QString::fromLatin1(QTest::currentDataTag());
        const QImage image = TULOSaveScreenshot(&controller, QSize(420, 96), QStringLiteral("soundbite"), name, scale);
        TULOVoiceCapture::setCaptureSourceFile(QString());
        QApplication::setPalette(light);
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), QSize(int(420 * scale), int(96 * scale)));

        if (mode == TULOSoundBiteViewModePrompt)
            return;
        // The bars are white on the plate and drawn at the image's own scale: at 2x a bar edge
        // is as sharp as at 1x, not a stretched blur.
        const QRect frame = view->waveformFrame();
        int white = 0;
        int blended = 0;
        const int y = int((frame.center().y()) * scale);
        for (int x = int(frame.left() * scale); x < int(frame.right() * scale); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (pixel.lightness() > 245)
                ++white;
            else if (pixel.lightness() > 170)
                ++blended;
        }
        QVERIFY2(white > 0, "no bar is drawn in white");
        if (mode != TULOSoundBiteViewModePlaying && mode != TULOSoundBiteViewModePaused)
            QVERIFY2(blended * 4 < white, qPrintable(QStringLiteral("%1 blurred pixels for %2 white").arg(blended).arg(white)));
    }
};

QTEST_MAIN(TestSoundBiteView)
#include "tst_soundbiteview.moc"

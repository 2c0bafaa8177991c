#include <Quillon/platform/video/videoframesource.h>

#include "support/videosupport.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

// Frames checked against the ffmpeg command line on testsrc videos, whose frames carry their
// number: the frame returned must be the ffmpeg frame at the last frame time at or before t,
// and clearly not its neighbours.
class TestVideoFrameSource : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QHash<QString, QList<double>> m_frameTimes;

    QString path(const QString &name) const { return m_dir.filePath(name); }

    // The index of the last of `frameTimes` at or before `t`.
    static qsizetype frameIndexAt(const QList<double> &frameTimes, double t)
    {
        qsizetype index = 0;
        while (index + 1 < frameTimes.size() && frameTimes[index + 1] <= t + 1e-6)
            ++index;
        return index;
    }

    void make(const QString &name, const QStringList &codec, double seconds = 3.0, int rate = 25,
              const QString &size = QStringLiteral("160x120"))
    {
        QString message;
        QVERIFY2(TULOMakeTestVideo(path(name), seconds, rate, size, codec, &message), qPrintable(message));
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QStringList x264{QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-preset"),
                               QStringLiteral("veryfast"), QStringLiteral("-g"), QStringLiteral("12"),
                               QStringLiteral("-bf"), QStringLiteral("2")};
        make(QStringLiteral("h264.mp4"), x264);
        make(QStringLiteral("h264.mov"), x264, 2.0, 30);
        // Runs of three B frames whose middle one the others refer to: frames that are, and
        // frames that are not, built on by others, on both sides of every time.
        make(QStringLiteral("pyramid.mp4"), {QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-preset"),
                                             QStringLiteral("veryfast"), QStringLiteral("-g"), QStringLiteral("24"),
                                             QStringLiteral("-bf"), QStringLiteral("3"), QStringLiteral("-b_strategy"),
                                             QStringLiteral("0"), QStringLiteral("-x264-params"),
                                             QStringLiteral("b-pyramid=normal")}, 2.0);
        make(QStringLiteral("hevc.mkv"), {QStringLiteral("-c:v"), QStringLiteral("libx265"), QStringLiteral("-preset"),
                                          QStringLiteral("ultrafast"), QStringLiteral("-x265-params"),
                                          QStringLiteral("keyint=12:log-level=error")});
        make(QStringLiteral("vp9.webm"), {QStringLiteral("-c:v"), QStringLiteral("libvpx-vp9"), QStringLiteral("-g"),
                                          QStringLiteral("12"), QStringLiteral("-deadline"), QStringLiteral("realtime"),
                                          QStringLiteral("-cpu-used"), QStringLiteral("8")});
        make(QStringLiteral("av1.mkv"), {QStringLiteral("-c:v"), QStringLiteral("libaom-av1"), QStringLiteral("-g"),
                                         QStringLiteral("12"), QStringLiteral("-cpu-used"), QStringLiteral("8"),
                                         QStringLiteral("-usage"), QStringLiteral("realtime")}, 2.0);
        // A phone held upright: landscape pixels, quarter turns in the display matrix.
        make(QStringLiteral("wide.mp4"), x264, 2.0, 25, QStringLiteral("192x108"));
        QVERIFY(TULORunFFmpeg({QStringLiteral("-i"), path(QStringLiteral("wide.mp4")), QStringLiteral("-c"),
                               QStringLiteral("copy"), QStringLiteral("-metadata:s:v:0"), QStringLiteral("rotate=90"),
                               path(QStringLiteral("rotated90.mp4"))}));
        QVERIFY(TULORunFFmpeg({QStringLiteral("-i"), path(QStringLiteral("wide.mp4")), QStringLiteral("-c"),
                               QStringLiteral("copy"), QStringLiteral("-metadata:s:v:0"), QStringLiteral("rotate=270"),
                               path(QStringLiteral("rotated270.mov"))}));
        // Variable frame rate: a half-second gap after frame 20.
        make(QStringLiteral("vfr.mkv"), x264 + QStringList{QStringLiteral("-vf"),
                                                           QStringLiteral("setpts='PTS+gte(N\\,20)*0.5/TB'"),
                                                           QStringLiteral("-fps_mode"), QStringLiteral("vfr")}, 2.0);
    }

    void exactFrames_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QList<double>>("times");
        QTest::newRow("h264 mp4, on frame times") << "h264.mp4" << QList<double>{1.0, 0.48, 2.96, 0.0};
        QTest::newRow("h264 mp4, between frames") << "h264.mp4" << QList<double>{1.02, 0.5, 2.019};
        QTest::newRow("h264 mp4, forward then back") << "h264.mp4" << QList<double>{0.4, 0.44, 0.52, 1.9, 0.12, 0.16};
        QTest::newRow("h264 with a pyramid of B frames, a run frame by frame")
            << "pyramid.mp4" << QList<double>{1.12, 1.0, 1.04, 1.08, 1.16, 1.2, 1.24, 1.28, 0.97, 1.3};
        QTest::newRow("h264 mov at 30 fps") << "h264.mov" << QList<double>{1.0, 1.5, 0.7};
        QTest::newRow("hevc mkv") << "hevc.mkv" << QList<double>{1.2, 0.52, 2.5};
        QTest::newRow("vp9 webm") << "vp9.webm" << QList<double>{1.2, 0.52, 2.5, 2.54};
        QTest::newRow("av1 mkv") << "av1.mkv" << QList<double>{1.2, 0.6, 1.96};
        QTest::newRow("display matrix a quarter turn, mp4") << "rotated90.mp4" << QList<double>{1.0, 0.5};
        QTest::newRow("display matrix three quarter turns, mov") << "rotated270.mov" << QList<double>{1.0, 0.28};
        QTest::newRow("variable frame rate, inside the gap") << "vfr.mkv" << QList<double>{0.79, 1.0, 1.25, 0.3};
        QTest::newRow("past the end") << "h264.mp4" << QList<double>{10.0};
    }
    void exactFrames()
    {
        QFETCH(QString, file);
        QFETCH(QList<double>, times);
        const QString video = path(file);
        const QList<double> frameTimes = TULOFFprobeFrameTimes(video);
        QVERIFY(frameTimes.size() > 10);

        TULOVideoFrameSource source(video);
        TULOError error;
        QVERIFY2(source.open(&error), qPrintable(error.localizedDescription()));
        for (double t : times) {
            const qsizetype index = frameIndexAt(frameTimes, t);
            const QImage frame = source.frameAtTime(t, {}, &error);
            QVERIFY2(!frame.isNull(), qPrintable(error.localizedDescription()));
            QCOMPARE(frame.size(), source.displaySize());
            QCOMPARE(source.lastFrameTime(), frameTimes[index]);

            const QImage expected = TULOFFmpegFrameAt(video, frameTimes[index]);
            QCOMPARE(frame.size(), expected.size());
            const double difference = TULOImageDifference(frame, expected);
            QVERIFY2(difference < 6.0, qPrintable(QStringLiteral("t %1: differs by %2").arg(t).arg(difference)));
            for (qsizetype neighbour : {index - 1, index + 1}) {
                if (neighbour < 0 || neighbour >= frameTimes.size())
                    continue;
                const double other = TULOImageDifference(frame, TULOFFmpegFrameAt(video, frameTimes[neighbour]));
                QVERIFY2(other > difference * 1.5,
                         qPrintable(QStringLiteral("t %1: as close to frame %2 (%3 vs %4)")
                                        .arg(t).arg(neighbour).arg(other).arg(difference)));
            }
        }
    }

    // A frame returned stands for the times up to the next frame without another decode, and
    // for no others.
    void heldFrameAnswersOnlyUpToTheNextFrame_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<double>("first");
        QTest::addColumn<double>("then");
        QTest::addColumn<bool>("near");
        QTest::newRow("the same time") << "h264.mp4" << 1.02 << 1.02 << true;
        QTest::newRow("the frame's own time") << "h264.mp4" << 1.02 << 1.0 << true;
        QTest::newRow("just before the next frame") << "h264.mp4" << 1.02 << 1.039 << true;
        QTest::newRow("the next frame") << "h264.mp4" << 1.02 << 1.04 << false;
        QTest::newRow("the frame before") << "h264.mp4" << 1.02 << 0.99 << false;
        QTest::newRow("a B frame, then the frame after it") << "pyramid.mp4" << 1.05 << 1.08 << false;
        QTest::newRow("inside a gap of a variable rate") << "vfr.mkv" << 0.79 << 1.1 << true;
        QTest::newRow("the last frame, past the end") << "h264.mp4" << 2.97 << 10.0 << true;
    }
    void heldFrameAnswersOnlyUpToTheNextFrame()
    {
        QFETCH(QString, file);
        QFETCH(double, first);
        QFETCH(double, then);
        QFETCH(bool, near);
        const QString video = path(file);
        const QList<double> frameTimes = TULOFFprobeFrameTimes(video);
        const auto frameTimeAt = [&](double t) { return frameTimes[frameIndexAt(frameTimes, t)]; };
        TULOVideoFrameSource source(video);
        QVERIFY(source.open());
        QVERIFY(!source.frameAtTime(first, QSize(80, 80)).isNull());
        QCOMPARE(source.lastFrameTime(), frameTimeAt(first));
        QCOMPARE(source.isNearDecodePosition(then), near);
        const QImage frame = source.frameAtTime(then);
        QCOMPARE(source.lastFrameTime(), frameTimeAt(then));
        QVERIFY(TULOImageDifference(frame, TULOFFmpegFrameAt(video, frameTimeAt(then))) < 6.0);
    }

    // While scrubbing, a later time in the same run of frames follows on without a seek, and
    // every frame is still the exact one.
    void scrubbingFollowsOn_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QList<double>>("times");
        QTest::addColumn<QList<bool>>("near");
        QTest::newRow("forward in one run, then into the next")
            << "h264.mp4" << QList<double>{0.5, 0.6, 0.68, 0.84, 1.0} << QList<bool>{false, true, true, true, false};
        QTest::newRow("forward through B frames built on one another")
            << "pyramid.mp4" << QList<double>{1.0, 1.04, 1.08, 1.13, 1.2} << QList<bool>{false, true, true, true, true};
        QTest::newRow("backward") << "h264.mp4" << QList<double>{0.9, 0.5} << QList<bool>{false, false};
    }
    void scrubbingFollowsOn()
    {
        QFETCH(QString, file);
        QFETCH(QList<double>, times);
        QFETCH(QList<bool>, near);
        const QString video = path(file);
        const QList<double> frameTimes = TULOFFprobeFrameTimes(video);
        TULOVideoFrameSource source(video);
        QVERIFY(source.open());
        source.setScrubbing(true);
        for (qsizetype i = 0; i < times.size(); ++i) {
            QVERIFY2(source.isNearDecodePosition(times[i]) == near[i], qPrintable(QStringLiteral("at %1").arg(times[i])));
            const QImage frame = source.frameAtTime(times[i], QSize(80, 80));
            const double expected = frameTimes[frameIndexAt(frameTimes, times[i])];
            QCOMPARE(source.lastFrameTime(), expected);
            QVERIFY(TULOImageDifference(frame, TULOFFmpegFrameAt(video, expected).scaled(frame.size(), Qt::IgnoreAspectRatio,
                                                                                       Qt::SmoothTransformation)) < 12.0);
        }
    }

    // A request cancelled at any point leaves the source right for the next one.
    void cancelledRequest_data()
    {
        QTest::addColumn<int>("checksBeforeCancel");
        QTest::addColumn<bool>("cancelled");
        QTest::newRow("at once") << 0 << true;
        QTest::newRow("halfway through the run") << 3 << true;
        QTest::newRow("never") << 1000 << false;
    }
    void cancelledRequest()
    {
        QFETCH(int, checksBeforeCancel);
        QFETCH(bool, cancelled);
        const QString video = path(QStringLiteral("h264.mp4"));
        TULOVideoFrameSource source(video);
        QVERIFY(source.open());
        int checks = 0;
        source.setCancellationCheck([&] { return checks++ >= checksBeforeCancel; });
        TULOError error;
        // Frame 10 of a run of 12: a key frame and several frames to decode before it.
        const QImage frame = source.frameAtTime(0.4, {}, &error);
        QCOMPARE(frame.isNull(), cancelled);
        QCOMPARE(error.is(TULOVideoErrorDomain, TULOVideoErrorCancelled), cancelled);
        QVERIFY(checks > checksBeforeCancel || !cancelled);
        source.setCancellationCheck({});
        for (double t : {0.4, 0.44}) {
            const QImage next = source.frameAtTime(t);
            QCOMPARE(source.lastFrameTime(), t);
            QVERIFY(TULOImageDifference(next, TULOFFmpegFrameAt(video, t)) < 6.0);
        }
    }

    void properties_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QSize>("displaySize");
        QTest::addColumn<int>("rotation");
        QTest::addColumn<double>("duration");
        QTest::newRow("landscape") << "h264.mp4" << QSize(160, 120) << 0 << 3.0;
        // The tag "rotate=90" stores a matrix that turns the picture counter-clockwise.
        QTest::newRow("quarter turn counter-clockwise") << "rotated90.mp4" << QSize(108, 192) << 270 << 2.0;
        QTest::newRow("quarter turn clockwise") << "rotated270.mov" << QSize(108, 192) << 90 << 2.0;
        QTest::newRow("webm") << "vp9.webm" << QSize(160, 120) << 0 << 3.0;
    }
    void properties()
    {
        QFETCH(QString, file);
        QFETCH(QSize, displaySize);
        QFETCH(int, rotation);
        QFETCH(double, duration);
        TULOVideoFrameSource source(path(file));
        QVERIFY(source.open());
        QCOMPARE(source.displaySize(), displaySize);
        QCOMPARE(source.rotation(), rotation);
        QVERIFY2(qAbs(source.duration() - duration) < 0.05, qPrintable(QString::number(source.duration())));
    }

    void scaledFrameKeepsAspectAndOrientation_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QSize>("maxSize");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("fits width") << "h264.mp4" << QSize(80, 80) << QSize(80, 60);
        QTest::newRow("rotated fits height") << "rotated90.mp4" << QSize(100, 96) << QSize(54, 96);
        QTest::newRow("never enlarged") << "h264.mp4" << QSize(1000, 1000) << QSize(160, 120);
    }
    void scaledFrameKeepsAspectAndOrientation()
    {
        QFETCH(QString, file);
        QFETCH(QSize, maxSize);
        QFETCH(QSize, expected);
        TULOVideoFrameSource source(path(file));
        QVERIFY(source.open());
        const QImage frame = source.frameAtTime(1.0, maxSize);
        QCOMPARE(frame.size(), expected);
        const QImage reference = TULOFFmpegFrameAt(path(file), 1.0).scaled(expected, Qt::IgnoreAspectRatio,
                                                                            Qt::SmoothTransformation);
        QVERIFY(TULOImageDifference(frame, reference) < 12.0);
    }

    void keyFrameIsAtOrBeforeTheTime()
    {
        TULOVideoFrameSource source(path(QStringLiteral("h264.mp4")));
        QVERIFY(source.open());
        // Key frames every 12 frames (0.48 s): t 1.3 falls in the run starting at 0.96.
        QVERIFY(!source.keyFrameAtTime(1.3).isNull());
        QCOMPARE(source.lastFrameTime(), 0.96);
        // An exact request afterwards still lands on its own frame.
        QVERIFY(!source.frameAtTime(1.3).isNull());
        QCOMPARE(source.lastFrameTime(), 1.28);
    }

    // Every key frame the index lists is a frame of its own, at the times the encoder put them
    // (asked for halfway into each run: index times may be decoding times), and decoding one
    // alone leaves the next exact request right.
    void keyFrameTimes_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<double>("interval");
        QTest::newRow("h264 mp4, 12 frames at 25 fps") << "h264.mp4" << 0.48;
        QTest::newRow("h264 mov, 12 frames at 30 fps") << "h264.mov" << 0.4;
    }
    void keyFrameTimes()
    {
        QFETCH(QString, file);
        QFETCH(double, interval);
        TULOVideoFrameSource source(path(file));
        QVERIFY(source.open());
        const QList<double> times = source.keyFrameTimes();
        QCOMPARE(times.size(), qsizetype(std::ceil(source.duration() / interval - 1e-6)));
        QList<double> shown;
        for (qsizetype i = 0; i < times.size(); ++i) {
            const double t = times[i] + interval / 2;
            QVERIFY(i + 1 == times.size() || t < times[i + 1]);
            const QImage key = source.keyFrameAtTime(t, QSize(80, 80));
            QVERIFY(!key.isNull());
            QCOMPARE(key.size(), QSize(80, 60));
            shown.append(source.lastFrameTime());
            QVERIFY2(std::abs(shown.last() - interval * double(i)) < 1e-3,
                     qPrintable(QStringLiteral("key frame %1 at %2").arg(i).arg(shown.last())));
            const QImage expected = TULOFFmpegFrameAt(path(file), shown.last());
            QVERIFY(TULOImageDifference(key, expected.scaled(key.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation)) < 12.0);
        }
        const double between = shown.at(1) + interval / 2;
        QVERIFY(!source.frameAtTime(between).isNull());
        QVERIFY(source.lastFrameTime() > shown.at(1) && source.lastFrameTime() <= between);
    }

    void firstGoodFrameSkipsABlackStart()
    {
        const QString file = path(QStringLiteral("fade.mp4"));
        QVERIFY(TULORunFFmpeg({QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                               QStringLiteral("testsrc=size=160x120:rate=25:duration=2"), QStringLiteral("-vf"),
                               QStringLiteral("fade=in:st=0.4:d=0.04"), QStringLiteral("-pix_fmt"),
                               QStringLiteral("yuv420p"), QStringLiteral("-c:v"), QStringLiteral("libx264"), file}));
        TULOVideoFrameSource source(file);
        QVERIFY(source.open());
        const QImage frame = source.firstGoodFrame();
        QVERIFY(!frame.isNull());
        QVERIFY2(source.lastFrameTime() >= 0.4 && source.lastFrameTime() < 0.6,
                 qPrintable(QString::number(source.lastFrameTime())));
        QVERIFY(TULOImageDifference(frame, TULOFFmpegFrameAt(file, source.lastFrameTime())) < 6.0);
    }

    void badInput_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<int>("code");
        QTest::newRow("missing file") << "nothing-here.mp4" << int(TULOVideoErrorCannotOpen);
        QTest::newRow("text file") << "notes.mp4" << int(TULOVideoErrorCannotOpen);
        QTest::newRow("audio only") << "tone.m4a" << int(TULOVideoErrorNoVideoStream);
        QTest::newRow("truncated, index at the end") << "truncated.mp4" << int(TULOVideoErrorCannotOpen);
    }
    void badInput()
    {
        QFETCH(QString, file);
        QFETCH(int, code);
        {
            QFile notes(path(QStringLiteral("notes.mp4")));
            QVERIFY(notes.open(QIODevice::WriteOnly));
            notes.write("Not a video, only a few words.\n");
        }
        QVERIFY(TULORunFFmpeg({QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                               QStringLiteral("sine=duration=1"), path(QStringLiteral("tone.m4a"))}));
        QFile whole(path(QStringLiteral("h264.mp4")));
        QVERIFY(whole.open(QIODevice::ReadOnly));
        QFile truncated(path(QStringLiteral("truncated.mp4")));
        QVERIFY(truncated.open(QIODevice::WriteOnly));
        truncated.write(whole.read(whole.size() / 2));
        truncated.close();

        TULOVideoFrameSource source(path(file));
        TULOError error;
        QVERIFY(!source.open(&error));
        QCOMPARE(error.domain(), TULOVideoErrorDomain);
        QCOMPARE(error.code(), code);
        QVERIFY(!error.localizedDescription().isEmpty());
        error = {};
        QVERIFY(source.frameAtTime(1.0, {}, &error).isNull());
        QCOMPARE(error.code(), qint64(TULOVideoErrorNotOpen));
    }

    // Index in front, data cut off: the frames that arrived are still there, the rest ends
    // the stream without a hang.
    void truncatedWithIndexInFront()
    {
        const QString full = path(QStringLiteral("faststart.mp4"));
        QVERIFY(TULORunFFmpeg({QStringLiteral("-i"), path(QStringLiteral("h264.mp4")), QStringLiteral("-c"),
                               QStringLiteral("copy"), QStringLiteral("-movflags"), QStringLiteral("+faststart"), full}));
        QFile whole(full);
        QVERIFY(whole.open(QIODevice::ReadOnly));
        const QString cut = path(QStringLiteral("faststart-cut.mp4"));
        QFile truncated(cut);
        QVERIFY(truncated.open(QIODevice::WriteOnly));
        truncated.write(whole.read(whole.size() / 2));
        truncated.close();

        TULOVideoFrameSource source(cut);
        QVERIFY(source.open());
        const QImage early = source.frameAtTime(0.2);
        QVERIFY(TULOImageDifference(early, TULOFFmpegFrameAt(full, 0.2)) < 6.0);
        const QImage late = source.frameAtTime(2.9);
        QVERIFY(!late.isNull());
        QVERIFY(source.lastFrameTime() < 2.9);
    }
};

QTEST_GUILESS_MAIN(TestVideoFrameSource)
#include "tst_videoframesource.moc"

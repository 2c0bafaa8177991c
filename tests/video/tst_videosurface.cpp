#include <Quillon/platform/video/videosurface.h>

#include "support/videosupport.h"

#include <QApplication>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>
#include <memory>

// The surface while the thumb moves: a key frame decoded ahead shows at once (before the seek
// returns), the nearest one to the time; the exact frame follows and is ffmpeg's frame.
class TestVideoSurface : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

    QString video() const { return m_dir.filePath(QStringLiteral("twelve.mp4")); }

    // A surface on the video, open and with every key frame decoded ahead.
    static bool openAndDecodeAhead(TULOVideoSurface &surface, const QString &file)
    {
        surface.resize(160, 120);
        QSignalSpy status(&surface, &TULOVideoSurface::statusChanged);
        surface.setFilePath(file);
        if (!status.wait(10000) || surface.status() != TULOVideoSurfaceStatusReadyToPlay)
            return false;
        return QTest::qWaitFor([&] {
            const QList<double> times = surface.decodedKeyFrameTimes();
            if (times.size() != 6)
                return false;
            for (qsizetype i = 0; i < times.size(); ++i) {
                if (std::abs(times[i] - 2.0 * double(i)) > 1e-3)
                    return false;
            }
            return true;
        }, 10000);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        // Ten frames a second, a key frame every two seconds.
        QString message;
        QVERIFY2(TULOMakeTestVideo(video(), 12.0, 10, QStringLiteral("160x120"),
                                   {QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-g"),
                                    QStringLiteral("20"), QStringLiteral("-sc_threshold"), QStringLiteral("0")},
                                   &message),
                 qPrintable(message));
    }

    void nearestKeyFrameAtOnce_data()
    {
        QTest::addColumn<double>("time");
        QTest::addColumn<double>("keyFrame");
        QTest::newRow("early in a run: its own key frame") << 4.6 << 4.0;
        QTest::newRow("late in a run: the next key frame, nearer") << 5.3 << 6.0;
        QTest::newRow("on a key frame") << 6.0 << 6.0;
        QTest::newRow("in the first run") << 0.4 << 0.0;
        QTest::newRow("after the last key frame") << 11.5 << 10.0;
    }
    void nearestKeyFrameAtOnce()
    {
        QFETCH(double, time);
        QFETCH(double, keyFrame);
        TULOVideoSurface surface;
        QVERIFY(openAndDecodeAhead(surface, video()));

        QSignalSpy shown(&surface, &TULOVideoSurface::frameShown);
        bool finished = false;
        surface.seekToTime(time, [&](bool done) { finished = done; });
        QCOMPARE(shown.size(), 1);
        QCOMPARE(shown.first().first().toBool(), false);
        QVERIFY(!surface.isShowingExactFrame());
        const QImage key = surface.currentFrame();
        QCOMPARE(key.size(), QSize(160, 120));
        QVERIFY(TULOImageDifference(key, TULOFFmpegFrameAt(video(), keyFrame)) < 6.0);

        QTRY_VERIFY_WITH_TIMEOUT(finished, 10000);
        QVERIFY(surface.isShowingExactFrame());
        const QImage expected = TULOFFmpegFrameAt(video(), std::floor(time * 10.0 + 1e-6) / 10.0);
        const double difference = TULOImageDifference(surface.currentFrame(), expected);
        QVERIFY(difference < 6.0);
        if (std::abs(time - keyFrame) > 0.05)
            QVERIFY(TULOImageDifference(surface.currentFrame(), key) > difference);
    }

    // A frame nearer than any key frame stays while the next exact one decodes.
    void nearerFrameStays()
    {
        TULOVideoSurface surface;
        QVERIFY(openAndDecodeAhead(surface, video()));
        bool finished = false;
        surface.seekToTime(5.0, [&](bool done) { finished = done; });
        QTRY_VERIFY_WITH_TIMEOUT(finished, 10000);
        const QImage exact = surface.currentFrame();
        finished = false;
        surface.seekToTime(5.1, [&](bool done) { finished = done; });
        QCOMPARE(surface.currentFrame().cacheKey(), exact.cacheKey());
        QVERIFY(!surface.isShowingExactFrame());
        QTRY_VERIFY_WITH_TIMEOUT(finished, 10000);
        QVERIFY(TULOImageDifference(surface.currentFrame(), TULOFFmpegFrameAt(video(), 5.1)) < 6.0);
    }

    // The full-size frame (a cover) follows the exact one without a decode on the main thread:
    // converted from the same frame when the view is smaller than the video, the exact frame
    // itself when it is not. A seek drops it until the new one comes.
    void fullSizeFrame_data()
    {
        QTest::addColumn<QSize>("viewSize");
        QTest::addColumn<bool>("sameImage");
        QTest::newRow("view smaller than the video") << QSize(80, 60) << false;
        QTest::newRow("view as large as the video") << QSize(160, 120) << true;
        QTest::newRow("view larger than the video") << QSize(320, 240) << true;
    }
    void fullSizeFrame()
    {
        QFETCH(QSize, viewSize);
        QFETCH(bool, sameImage);
        TULOVideoSurface surface;
        surface.resize(viewSize);
        QSignalSpy status(&surface, &TULOVideoSurface::statusChanged);
        surface.setFilePath(video());
        QVERIFY(status.wait(10000));
        QSignalSpy ready(&surface, &TULOVideoSurface::fullSizeFrameReady);
        for (const double time : {3.3, 7.8}) {
            bool finished = false;
            surface.seekToTime(time, [&](bool done) { finished = done; });
            QVERIFY(surface.fullSizeFrame().isNull());
            QTRY_VERIFY_WITH_TIMEOUT(finished, 10000);
            QTRY_VERIFY_WITH_TIMEOUT(!surface.fullSizeFrame().isNull(), 10000);
            const QImage full = surface.fullSizeFrame();
            QCOMPARE(full.size(), QSize(160, 120));
            QCOMPARE(full.cacheKey() == surface.currentFrame().cacheKey(), sameImage);
            QVERIFY(TULOImageDifference(full, TULOFFmpegFrameAt(video(), time)) < 6.0);
        }
        QCOMPARE(ready.size(), 2);
    }

    // Seeks that follow each other fast leave only the last one's full-size frame.
    void fullSizeFrameOfTheLastSeek()
    {
        TULOVideoSurface surface;
        surface.resize(80, 60);
        QSignalSpy status(&surface, &TULOVideoSurface::statusChanged);
        surface.setFilePath(video());
        QVERIFY(status.wait(10000));
        for (int i = 0; i < 10; ++i)
            surface.seekToTime(1.0 + i);
        QTRY_VERIFY_WITH_TIMEOUT(!surface.fullSizeFrame().isNull(), 10000);
        QVERIFY(TULOImageDifference(surface.fullSizeFrame(), TULOFFmpegFrameAt(video(), 10.0)) < 6.0);
    }

    // The locator runs off the main thread; what it cannot find fails the surface with its reason.
    void fileLocator_data()
    {
        QTest::addColumn<bool>("found");
        QTest::newRow("found") << true;
        QTest::newRow("not found, with a reason") << false;
    }
    void fileLocator()
    {
        QFETCH(bool, found);
        TULOVideoSurface surface;
        QSignalSpy status(&surface, &TULOVideoSurface::statusChanged);
        const QString path = video();
        surface.setFileLocator([found, path](TULOError *error) {
            if (found)
                return path;
            TULOSetError(error, TULOError::withDescription(QStringLiteral("TestDomain"), 7, QStringLiteral("Gone.")));
            return QString();
        });
        QVERIFY(surface.filePath().isEmpty());
        QVERIFY(status.wait(10000));
        QCOMPARE(surface.status(), qint64(found ? TULOVideoSurfaceStatusReadyToPlay : TULOVideoSurfaceStatusFailed));
        QCOMPARE(surface.filePath(), found ? path : QString());
        QCOMPARE(surface.error().domain(), found ? QString() : QStringLiteral("TestDomain"));
        QCOMPARE(surface.duration(), found ? 12.0 : 0.0);
    }
};

QTEST_MAIN(TestVideoSurface)
#include "tst_videosurface.moc"

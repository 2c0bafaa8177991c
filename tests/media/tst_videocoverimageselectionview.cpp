#include <Quillon/media/videocoverimageselectionview.h>
#include <Quillon/media/videoscrubbercontrol.h>
#include <Quillon/platform/library/photolibrary.h>
#include <Quillon/platform/localization.h>
#include <Quillon/platform/ui/viewcontroller.h>
#include <Quillon/platform/video/videosurface.h>

#include "support/screenshotsupport.h"
#include "support/videosupport.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

// The cover view on real videos: the frame it shows and hands out is the one the ffmpeg
// command line shows at the chosen time.
class TestVideoCoverImageSelectionView : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    TULOClientContext m_context;

    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString text(const char *key) const
    {
        return TULOLocalization::defaultLocalization()->localizedStringForKey(
            QString::fromLatin1(key), QStringLiteral("PostComposition"), m_context);
    }

    // A view on `file`, sized and ready (or failed).
    std::unique_ptr<TULOVideoCoverImageSelectionView> makeView(const QString &file, double initialTime = 0.0)
    {
        auto view = std::make_unique<TULOVideoCoverImageSelectionView>(QUrl::fromLocalFile(path(file)), m_context);
        view->resize(420, 300);
        if (initialTime != 0.0)
            view->setInitialPlayerTime(initialTime);
        view->show();
        QSignalSpy status(view->playerLayer(), &TULOVideoSurface::statusChanged);
        if (!status.wait(10000))
            return nullptr;
        return view;
    }

    static bool waitForExactFrame(TULOVideoSurface *surface)
    {
        return QTest::qWaitFor([&] { return surface->isShowingExactFrame() && !surface->currentFrame().isNull(); }, 10000);
    }

    // The cover comes off the main thread a moment after the exact frame.
    static QImage waitForCoverImage(const TULOVideoCoverImageSelectionView &view)
    {
        return QTest::qWaitFor([&] { return !view.coverImage().isNull(); }, 10000) ? view.coverImage() : QImage();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        const QStringList x264{QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-g"), QStringLiteral("20")};
        QString message;
        QVERIFY2(TULOMakeTestVideo(path(QStringLiteral("twelve.mp4")), 12.0, 10, QStringLiteral("160x120"), x264, &message),
                 qPrintable(message));
        QVERIFY2(TULOMakeTestVideo(path(QStringLiteral("short.mp4")), 1.5, 10, QStringLiteral("160x120"), x264, &message),
                 qPrintable(message));
        // The folder is the photo library too, for the asset URLs.
        qputenv("QUILLON_PICTURES_DIR", QFile::encodeName(m_dir.path()));
        // A still picture opens as a video without duration.
        QVERIFY(TULORunFFmpeg({QStringLiteral("-f"), QStringLiteral("lavfi"), QStringLiteral("-i"),
                               QStringLiteral("testsrc=size=160x120:rate=10:duration=1"), QStringLiteral("-frames:v"),
                               QStringLiteral("1"), path(QStringLiteral("still.png"))}));
    }

    void thumbTouchArea_data()
    {
        QTest::addColumn<float>("value");
        QTest::addColumn<QPointF>("offset"); // from the thumb's left edge and vertical centre
        QTest::addColumn<bool>("hits");
        QTest::newRow("40 left of the thumb at the left end") << 0.0f << QPointF(-40, 0) << true;
        QTest::newRow("40 left of the thumb in the middle") << 0.5f << QPointF(-40, 0) << false;
        QTest::newRow("25 left of the thumb in the middle") << 0.5f << QPointF(-25, 0) << true;
        QTest::newRow("40 right of the thumb at the right end") << 1.0f << QPointF(TULOVideoScrubberControl::TULOThumbWidth + 40, 0) << true;
        QTest::newRow("40 right of the thumb in the middle") << 0.5f << QPointF(TULOVideoScrubberControl::TULOThumbWidth + 40, 0) << false;
        QTest::newRow("31 below the thumb") << 0.5f << QPointF(2, 31) << true;
        QTest::newRow("33 below the thumb") << 0.5f << QPointF(2, 33) << false;
    }
    void thumbTouchArea()
    {
        QFETCH(float, value);
        QFETCH(QPointF, offset);
        QFETCH(bool, hits);
        TULOVideoScrubberControl scrubber;
        scrubber.resize(400, 24);
        scrubber.setDuration(12.0);
        scrubber.setScrubValue(value);
        const QRectF bounds(scrubber.rect());
        const QRectF track = scrubber.trackRectForBounds(bounds);
        QCOMPARE(track.height(), 4.0);
        const QRectF thumb = scrubber.thumbRectForBounds(bounds, track, value);
        const QPointF point(thumb.left() + offset.x(), thumb.center().y() + offset.y());
        QCOMPARE(scrubber.beginTracking(point), hits);
        QCOMPARE(scrubber.isTracking(), hits);
        QCOMPARE(scrubber.pointInside(point), hits || bounds.contains(point));
    }

    // A drag of a quarter of the bar, at a vertical distance that picks the speed.
    void scrubSpeeds_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<double>("distance");
        QTest::addColumn<qint64>("speed");
        QTest::addColumn<double>("time");
        QTest::addColumn<QString>("prompt");
        QTest::newRow("on the bar") << "twelve.mp4" << 0.0 << qint64(0) << 9.0 << "VIDEO_WORKFLOW_DETAIL_SCRUB_EXPLANATION";
        QTest::newRow("a little below") << "twelve.mp4" << 80.0 << qint64(1) << 7.5 << "VIDEO_WORKFLOW_DETAIL_SCRUB_HALF_SPEED";
        QTest::newRow("further below") << "twelve.mp4" << 140.0 << qint64(2) << 6.75 << "VIDEO_WORKFLOW_DETAIL_SCRUB_QUARTER_SPEED";
        QTest::newRow("far below") << "twelve.mp4" << 300.0 << qint64(3) << 6.3 << "VIDEO_WORKFLOW_DETAIL_SCRUB_FINE";
        QTest::newRow("far above") << "twelve.mp4" << -300.0 << qint64(3) << 6.3 << "VIDEO_WORKFLOW_DETAIL_SCRUB_FINE";
        QTest::newRow("short video keeps normal speed") << "short.mp4" << 300.0 << qint64(0) << 1.125 << "VIDEO_WORKFLOW_COVER_IMAGE_PROMPT";
    }
    void scrubSpeeds()
    {
        QFETCH(QString, file);
        QFETCH(double, distance);
        QFETCH(qint64, speed);
        QFETCH(double, time);
        QFETCH(QString, prompt);
        auto view = makeView(file);
        QVERIFY(view);
        QVERIFY(waitForExactFrame(view->playerLayer()));
        TULOVideoScrubberControl *scrubber = view->scrubber();
        QCOMPARE(scrubber->scrubValue(), 0.5f);
        const QRectF bounds(scrubber->rect());
        const QRectF thumb = scrubber->thumbRectForBounds(bounds, scrubber->trackRectForBounds(bounds), 0.5f);
        const QPoint start = thumb.center().toPoint();
        QTest::mousePress(scrubber, Qt::LeftButton, {}, start);
        QVERIFY(scrubber->isTracking());
        // Away from the bar first, then along it.
        QMouseEvent away(QEvent::MouseMove, QPointF(start.x(), start.y() + distance), scrubber->mapToGlobal(QPointF(start.x(), start.y() + distance)), Qt::NoButton, Qt::LeftButton, {});
        QApplication::sendEvent(scrubber, &away);
        QCOMPARE(scrubber->currentScrubSpeed(), speed);
        const QPointF end(start.x() + bounds.width() / 4.0, start.y() + distance);
        QMouseEvent along(QEvent::MouseMove, end, scrubber->mapToGlobal(end), Qt::NoButton, Qt::LeftButton, {});
        QApplication::sendEvent(scrubber, &along);
        QVERIFY2(std::abs(view->coverImageTime() - time) < 1e-3, qPrintable(QString::number(view->coverImageTime())));
        QCOMPARE(view->promptLabel()->text(), text(qPrintable(prompt)));

        // Escape cancels the scrub: the prompt comes back, the time stays where it went.
        QTest::keyClick(scrubber, Qt::Key_Escape);
        QVERIFY(!scrubber->isTracking());
        QCOMPARE(view->promptLabel()->text(), text("VIDEO_WORKFLOW_COVER_IMAGE_PROMPT"));
        QVERIFY(std::abs(view->coverImageTime() - time) < 1e-3);
        QVERIFY(waitForExactFrame(view->playerLayer()));
        const QImage expected = TULOFFmpegFrameAt(path(file), std::floor(time * 10.0 + 1e-6) / 10.0);
        QVERIFY(TULOImageDifference(waitForCoverImage(*view), expected) < 6.0);
    }

    void initialTime_data()
    {
        QTest::addColumn<double>("initialTime");
        QTest::addColumn<float>("value");
        QTest::addColumn<double>("shownTime");
        QTest::addColumn<int>("seeks");
        QTest::newRow("none: the middle frame") << 0.0 << 0.5f << 6.0 << 1;
        QTest::newRow("3.0 of 12 seconds") << 3.0 << 0.25f << 3.0 << 1;
        QTest::newRow("negative: not applied") << -2.0 << 0.0f << 0.0 << 0;
        QTest::newRow("not a number: not applied") << std::nan("") << 0.0f << 0.0 << 0;
    }
    void initialTime()
    {
        QFETCH(double, initialTime);
        QFETCH(float, value);
        QFETCH(double, shownTime);
        QFETCH(int, seeks);
        TULOVideoCoverImageSelectionView view(QUrl::fromLocalFile(path(QStringLiteral("twelve.mp4"))), m_context);
        view.resize(420, 300);
        if (initialTime != 0.0 || std::isnan(initialTime))
            view.setInitialPlayerTime(initialTime);
        QSignalSpy requested(view.playerLayer(), &TULOVideoSurface::seekRequested);
        QVERIFY(QTest::qWaitFor([&] { return view.duration() > 0.0; }, 10000));
        QCOMPARE(view.duration(), 12.0);
        QCOMPARE(view.scrubber()->scrubValue(), value);
        QCOMPARE(requested.size(), seeks);
        QCOMPARE(view.coverImageTime(), shownTime);
        if (seeks == 0)
            return;
        QVERIFY(waitForExactFrame(view.playerLayer()));
        QVERIFY(!view.playerLayer()->isHidden()); // shown again once the frame is there
        QVERIFY(TULOImageDifference(waitForCoverImage(view), TULOFFmpegFrameAt(path(QStringLiteral("twelve.mp4")), shownTime)) < 6.0);
    }

    void zeroDurationNeverSeeks()
    {
        auto view = makeView(QStringLiteral("still.png"));
        QVERIFY(view);
        QCOMPARE(view->duration(), 0.0);
        QSignalSpy requested(view->playerLayer(), &TULOVideoSurface::seekRequested);
        view->scrubber()->setFocus();
        QTest::keyClick(view->scrubber(), Qt::Key_PageUp);
        QTest::keyClick(view->scrubber(), Qt::Key_End);
        QCOMPARE(requested.size(), 0);
        QCOMPARE(view->coverImageTime(), 0.0);
    }

    void unreadableVideoSaysSoAndStaysUsable_data()
    {
        QTest::addColumn<QString>("file");
        QTest::newRow("missing file") << "missing.mp4";
        QTest::newRow("not a video") << "notes.mp4";
    }
    void unreadableVideoSaysSoAndStaysUsable()
    {
        QFETCH(QString, file);
        QFile notes(path(QStringLiteral("notes.mp4")));
        QVERIFY(notes.open(QIODevice::WriteOnly));
        notes.write("plain words");
        notes.close();
        auto view = makeView(file);
        QVERIFY(view);
        QCOMPARE(view->playerLayer()->status(), qint64(TULOVideoSurfaceStatusFailed));
        QCOMPARE(view->promptLabel()->text(), text("VIDEO_WORKFLOW_COVER_IMAGE_UNAVAILABLE"));
        QVERIFY(!view->scrubber()->isEnabled());
        QVERIFY(view->coverImage().isNull());
        QCOMPARE(view->coverImageTime(), 0.0);
    }

    // Videos picked from the photo library come as asset URLs: the view finds their files and
    // says so when it cannot, without a hang and with the scrubber off.
    void assetURLs_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<bool>("removed");
        QTest::addColumn<QString>("url");
        QTest::addColumn<qint64>("code");
        QTest::newRow("video of the library") << "twelve.mp4" << false << QString() << qint64(0);
        QTest::newRow("removed from the library") << "gone.mp4" << true << QString()
                                                  << qint64(TULOPhotoLibraryErrorAssetNotFound);
        QTest::newRow("unknown asset")
            << QString() << false
            << "assets-library://asset/asset.MP4?id=6B3B8F0E-1111-4C59-9D1A-0F4B7C1F5E21&ext=MP4"
            << qint64(TULOPhotoLibraryErrorAssetNotFound);
        QTest::newRow("neither file nor asset") << QString() << false << "http://127.0.0.1:9/video.mp4"
                                                << qint64(TULOPhotoLibraryErrorInvalidURL);
    }
    void assetURLs()
    {
        QFETCH(QString, file);
        QFETCH(bool, removed);
        QFETCH(QString, url);
        QFETCH(qint64, code);
        QUrl assetURL(url);
        if (!file.isEmpty()) {
            if (removed)
                QVERIFY(QFile::copy(path(QStringLiteral("twelve.mp4")), path(file)));
            assetURL = TULOPhotoLibrary(m_dir.path()).assetURLForFilePath(path(file));
            QVERIFY(TULOPhotoLibrary::isAssetURL(assetURL));
            if (removed)
                QVERIFY(QFile::remove(path(file)));
        }
        TULOVideoCoverImageSelectionView view(assetURL, m_context);
        view.resize(420, 300);
        view.show();
        QSignalSpy status(view.playerLayer(), &TULOVideoSurface::statusChanged);
        QVERIFY(status.wait(10000));
        if (code == 0) {
            QCOMPARE(view.playerLayer()->status(), qint64(TULOVideoSurfaceStatusReadyToPlay));
            QCOMPARE(view.playerLayer()->filePath(), path(file));
            QCOMPARE(view.duration(), 12.0);
            QVERIFY(waitForExactFrame(view.playerLayer()));
            QVERIFY(TULOImageDifference(waitForCoverImage(view), TULOFFmpegFrameAt(path(file), 6.0)) < 6.0);
            return;
        }
        QCOMPARE(view.playerLayer()->status(), qint64(TULOVideoSurfaceStatusFailed));
        const TULOError error = view.playerLayer()->error();
        QVERIFY2(error.is(TULOPhotoLibraryErrorDomain, code), qPrintable(error.localizedDescription()));
        QCOMPARE(view.promptLabel()->text(), text("VIDEO_WORKFLOW_COVER_IMAGE_UNAVAILABLE"));
        QVERIFY(!view.scrubber()->isEnabled());
        QVERIFY(view.coverImage().isNull());
    }

    void screenshots_data()
    {
        TULOAddAppearanceRows("cover-");
    }
    void screenshots()
    {
        QFETCH(bool, dark);
        QFETCH(qreal, scale);
        const QPalette light = QApplication::palette();
        if (dark) {
            QPalette palette(QColor(0x33, 0x33, 0x33), QColor(0x1e, 0x1e, 0x1e));
            palette.setColor(QPalette::WindowText, QColor(0xe8, 0xe8, 0xe8));
            palette.setColor(QPalette::Highlight, QColor(0x3d, 0x8b, 0xf0));
            QApplication::setPalette(palette);
        }
        TULOViewController controller;
        auto *view = new TULOVideoCoverImageSelectionView(QUrl::fromLocalFile(path(QStringLiteral("twelve.mp4"))), m_context);
        controller.setView(view);
        view->resize(420, 300);
        view->setInitialPlayerTime(4.0);
        QVERIFY(QTest::qWaitFor([&] { return view->duration() > 0.0; }, 10000));
        QVERIFY(waitForExactFrame(view->playerLayer()));
        view->scrubber()->setFocus();
        const QImage image = TULOSaveScreenshot(&controller, QSize(420, 300), QStringLiteral("videocover"),
                                                QString::fromLatin1(QTest::currentDataTag()), scale);
        QApplication::setPalette(light);
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), QSize(420, 300) * scale);
        // The scrubber's strip stays black in light and dark themes alike, and the thumb white on it.
        const QRect scrubber = view->scrubber()->geometry();
        QCOMPARE(QColor(image.pixel(1, int((scrubber.bottom() - 2) * scale))), QColor(Qt::black));
        const QRectF thumb = view->scrubber()->thumbRectForBounds(QRectF(view->scrubber()->rect()), view->scrubber()->trackRectForBounds(QRectF(view->scrubber()->rect())), view->scrubber()->scrubValue());
        const QPointF centre = (thumb.center() + scrubber.topLeft()) * scale;
        QCOMPARE(QColor(image.pixel(centre.toPoint())), QColor(Qt::white));
    }
};

QTEST_MAIN(TestVideoCoverImageSelectionView)
#include "tst_videocoverimageselectionview.moc"

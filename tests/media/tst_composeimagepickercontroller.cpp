#include "photofixtures.h"
#include "support/screenshotsupport.h"
#include "support/videosupport.h"

#include <Quillon/media/composeimagepickercontroller.h>
#include <Quillon/media/photoassetmodel_p.h>
#include <Quillon/platform/audio/captureavailability.h>
#include <Quillon/platform/camera/cameracapture.h>
#include <Quillon/platform/library/photolibrary.h>
#include <Quillon/platform/ui/screenshot.h>

#include <QApplication>
#include <QDir>
#include <QItemSelectionModel>
#include <QListView>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>
#include <QSemaphore>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QStyleOptionViewItem>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>

#include <atomic>
#include <chrono>
#include <thread>

#include <cmath>

namespace {

class PickerRecorder : public TULOComposeImagePickerDelegate
{
public:
    QList<QList<TULOAttachmentPtr>> finished;
    QStringList rejected;
    int cancels = 0;
    void TULOComposeImagePickerDidFinishWithAttachments(TULOComposeImagePickerController *,
        const QList<TULOAttachmentPtr> &attachments) override
    {
        finished << attachments;
    }
    void TULOComposeImagePickerDidCancel(TULOComposeImagePickerController *) override { ++cancels; }
    void TULOComposeImagePickerDidRejectFiles(TULOComposeImagePickerController *, const QStringList &messages) override
    {
        rejected << messages;
    }
};

// Keeps every thread of Qt's global pool busy while it lives, so that painting that hands work
// to the pool cannot finish until the pool is let go: after `limit` at the latest.
class BlockedGlobalPool
{
public:
    explicit BlockedGlobalPool(std::chrono::seconds limit)
    {
        QThreadPool *pool = QThreadPool::globalInstance();
        const int threads = pool->maxThreadCount();
        for (int i = 0; i < threads; ++i) {
            pool->start([this] {
                m_started.release();
                m_gate.acquire();
            });
        }
        m_started.acquire(threads);
        m_watchdog = std::thread([this, threads, limit] {
            if (!m_done.tryAcquire(1, int(std::chrono::milliseconds(limit).count())))
                m_letGoByWatchdog = true;
            m_gate.release(threads);
        });
    }
    ~BlockedGlobalPool()
    {
        m_done.release();
        m_watchdog.join();
        QThreadPool::globalInstance()->waitForDone();
    }
    // True once the pool had to be let go for some painting to finish.
    bool wasLetGo() const { return m_letGoByWatchdog; }

private:
    QSemaphore m_started, m_gate, m_done;
    std::atomic<bool> m_letGoByWatchdog = false;
    std::thread m_watchdog;
};

// The first pixel where `actual` differs from `expected` by more than rounding, described; empty
// when the two are the same picture.
QString pictureDifference(const QImage &expected, const QImage &actual)
{
    if (expected.size() != actual.size())
        return QStringLiteral("size %1x%2 against %3x%4").arg(actual.width()).arg(actual.height()).arg(expected.width()).arg(expected.height());
    for (int y = 0; y < expected.height(); ++y) {
        for (int x = 0; x < expected.width(); ++x) {
            const QRgb a = expected.pixel(x, y), b = actual.pixel(x, y);
            const int difference = std::max({std::abs(qRed(a) - qRed(b)), std::abs(qGreen(a) - qGreen(b)),
                std::abs(qBlue(a) - qBlue(b)), std::abs(qAlpha(a) - qAlpha(b))});
            if (difference > 2) {
                return QStringLiteral("pixel %1,%2: %3 against %4")
                    .arg(x).arg(y).arg(QColor::fromRgba(b).name(QColor::HexArgb), QColor::fromRgba(a).name(QColor::HexArgb));
            }
        }
    }
    return QString();
}

} // namespace

class TestComposeImagePickerController : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_libraryPath;
    QStringList m_photos;
    std::unique_ptr<TULOPhotoLibrary> m_library;
    std::unique_ptr<TULOThumbnailCache> m_cache;

    std::unique_ptr<TULOComposeImagePickerController> loadedPicker(TULOPhotoLibrary *library = nullptr)
    {
        auto picker = std::make_unique<TULOComposeImagePickerController>(TULOImagePickerControllerSourceTypePhotoLibrary,
            library ? library : m_library.get(), *m_cache);
        QSignalSpy loaded(picker.get(), &TULOComposeImagePickerController::assetsDidLoad);
        picker->view(); // loading the view reads the library
        if (!loaded.wait(5000))
            qWarning("the picker did not load");
        return picker;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_libraryPath = m_dir.filePath(QStringLiteral("Pictures"));
        m_photos = TULOTestWritePhotoLibrary(m_libraryPath);
        QVERIFY(!m_photos.isEmpty());
        m_library = std::make_unique<TULOPhotoLibrary>(m_libraryPath);
        m_cache = std::make_unique<TULOThumbnailCache>(m_dir.filePath(QStringLiteral("thumbnails")));
    }

    void albumsAreTheLibraryFolders_data()
    {
        QTest::addColumn<QString>("album");
        QTest::addColumn<int>("count");
        QTest::addRow("all") << QString() << 7;
        QTest::addRow("top-folder") << QStringLiteral("") << 3;
        QTest::addRow("holiday") << QStringLiteral("Holiday") << 2;
        QTest::addRow("studio") << QStringLiteral("Studio") << 2;
        QTest::addRow("unknown") << QStringLiteral("Nowhere") << 0;
    }
    void albumsAreTheLibraryFolders()
    {
        QFETCH(QString, album);
        QFETCH(int, count);
        auto picker = loadedPicker();
        QCOMPARE(picker->albums(), (QStringList{QString(), QStringLiteral("Holiday"), QStringLiteral("Studio")}));
        picker->setAlbum(album);
        QCOMPARE(picker->visibleAssetCount(), count);
        QCOMPARE(picker->collectionView()->model()->rowCount(), count);
    }

    void selectionIsReportedInOrderWithinTheLimit_data()
    {
        QTest::addColumn<qint64>("maximum");
        QTest::addColumn<QList<int>>("rows");
        QTest::addColumn<QList<int>>("expected");
        QTest::addRow("in-checking-order") << qint64(0) << QList<int>{4, 0, 6} << QList<int>{4, 0, 6};
        QTest::addRow("beyond-the-limit") << qint64(2) << QList<int>{1, 3, 5} << QList<int>{1, 3};
    }
    void selectionIsReportedInOrderWithinTheLimit()
    {
        QFETCH(qint64, maximum);
        QFETCH(QList<int>, rows);
        QFETCH(QList<int>, expected);
        auto picker = loadedPicker();
        picker->setMaximumNumberOfAttachments(maximum);
        PickerRecorder recorder;
        picker->setDelegate(&recorder);
        for (const int row : rows)
            picker->setVisibleRowSelected(row, true);
        QCOMPARE(picker->collectionView()->selectionModel()->selectedIndexes().size(), expected.size());
        QVERIFY(picker->performDefaultAction());
        QCOMPARE(recorder.finished.size(), 1);
        const QList<TULOAttachmentPtr> attachments = recorder.finished.first();
        QCOMPARE(attachments.size(), expected.size());
        for (int i = 0; i < expected.size(); ++i)
            QCOMPARE(attachments.at(i)->assetURL(), m_library->assetURLForFilePath(m_photos.at(expected.at(i))));
        // Finished once: a second Return does not report again.
        picker->performDefaultAction();
        QCOMPARE(recorder.finished.size(), 1);
    }

    // Chosen files are checked as drops are: non-media and songs are named, the rest attached.
    void chosenFilesAreChecked()
    {
        const QString elsewhere = m_dir.filePath(QStringLiteral("Downloads/poster.jpg"));
        QVERIFY(TULOTestWritePhoto(elsewhere, QSize(200, 300), 300, QDateTime::currentDateTime()));
        QFile text(m_dir.filePath(QStringLiteral("Downloads/readme.txt")));
        QVERIFY(text.open(QIODevice::WriteOnly) && text.write("hello") > 0);
        text.close();
        auto picker = loadedPicker();
        PickerRecorder recorder;
        picker->setDelegate(&recorder);
        picker->finishWithFiles({text.fileName(), elsewhere, m_photos.first()});
        QCOMPARE(recorder.rejected.size(), 1);
        QVERIFY(recorder.rejected.first().contains(QStringLiteral("readme.txt")));
        QCOMPARE(recorder.finished.size(), 1);
        QCOMPARE(recorder.finished.first().size(), 2);
        QVERIFY(!recorder.finished.first().first()->data().isEmpty()); // from elsewhere: the bytes
        QCOMPARE(recorder.finished.first().last()->assetURL().scheme(), QStringLiteral("assets-library"));
    }

    void missingLibraryFolderShowsWhy()
    {
        TULOPhotoLibrary missing(m_dir.filePath(QStringLiteral("gone")));
        auto picker = loadedPicker(&missing);
        QCOMPARE(picker->visibleAssetCount(), 0);
        QCOMPARE(picker->libraryError().code(), qint64(TULOPhotoLibraryErrorUnavailable));
        PickerRecorder recorder;
        picker->setDelegate(&recorder);
        QVERIFY(!picker->performDefaultAction()); // nothing to attach
        QVERIFY(picker->performCancelAction());
        QCOMPARE(recorder.cancels, 1);
    }

    void cameraOnlyWhereOneExists()
    {
        // This machine has no camera, unless the simulated one is set up.
        TULODeviceCapabilities::setSimulatedCameraImageFile(QString());
        QCOMPARE(TULOComposeImagePickerController::isSourceTypeAvailable(TULOImagePickerControllerSourceTypeCamera),
            TULODeviceCapabilities::hasCamera());
        QVERIFY(!TULOComposeImagePickerController::isSourceTypeAvailable(7));
        TULOCameraCapture camera;
        if (!TULODeviceCapabilities::hasCamera()) {
            TULOError error;
            QVERIFY(!camera.start(&error));
            QCOMPARE(error.code(), qint64(TULOCameraCaptureErrorNoCamera));
        }

        const QString shot = m_dir.filePath(QStringLiteral("shot.png"));
        QVERIFY(TULOTestWritePhoto(shot, QSize(320, 240), 120, QDateTime::currentDateTime()));
        TULODeviceCapabilities::setSimulatedCameraImageFile(shot);
        QVERIFY(TULOComposeImagePickerController::isSourceTypeAvailable(TULOImagePickerControllerSourceTypeCamera));
        TULOComposeImagePickerController picker(TULOImagePickerControllerSourceTypeCamera);
        PickerRecorder recorder;
        picker.setDelegate(&recorder);
        picker.view();
        QVERIFY(picker.camera()->isActive());
        QVERIFY(picker.performDefaultAction()); // Return takes the photo
        QTRY_COMPARE(recorder.finished.size(), 1);
        const TULOAttachmentPtr photo = recorder.finished.first().first();
        QCOMPARE(photo->attachmentType(), TULOAttachmentTypeImage);
        QCOMPARE(QImage::fromData(photo->data()).size(), QSize(320, 240));
        TULODeviceCapabilities::setSimulatedCameraImageFile(QString());
    }

    // Every column of the grid is whole at any width and scale, and the columns share the width
    // out: what is left at the right is less than one more cell.
    void gridColumnsFitTheWidth_data()
    {
        QTest::addColumn<int>("width");
        QTest::addColumn<qreal>("scale");
        QTest::addRow("preferred-1x") << 600 << 1.0;
        QTest::addRow("preferred-2x") << 600 << 2.0;
        QTest::addRow("six-columns-1x") << 720 << 1.0;
        QTest::addRow("six-columns-2x") << 720 << 2.0;
        QTest::addRow("narrow-1x") << 420 << 1.0;
    }
    void gridColumnsFitTheWidth()
    {
        QFETCH(int, width);
        QFETCH(qreal, scale);
        auto picker = loadedPicker();
        QVERIFY(!TULORenderViewController(picker.get(), QSize(width, 520), scale).isNull());
        QListView *grid = picker->collectionView();
        const QAbstractItemModel *model = grid->model();
        QVERIFY(model->rowCount() >= 7);
        const int viewportWidth = grid->viewport()->width();
        const QRect first = grid->visualRect(model->index(0, 0));
        int columns = 0, rowRight = 0;
        for (int row = 0; row < model->rowCount(); ++row) {
            const QRect cell = grid->visualRect(model->index(row, 0));
            QVERIFY2(cell.left() >= 0 && cell.right() < viewportWidth,
                qPrintable(QStringLiteral("cell %1 at %2..%3 in a viewport %4 wide")
                               .arg(row).arg(cell.left()).arg(cell.right()).arg(viewportWidth)));
            QCOMPARE(cell.size(), first.size());
            if (cell.top() == first.top()) {
                ++columns;
                rowRight = std::max(rowRight, cell.right());
            }
        }
        QVERIFY(first.width() >= 104);
        QCOMPARE(first.width(), first.height());
        QVERIFY2(columns < model->rowCount(), "the test needs more photos than columns");
        QVERIFY2(viewportWidth - (rowRight + 1) < 104,
            qPrintable(QStringLiteral("%1 columns leave %2 px").arg(columns).arg(viewportWidth - rowRight - 1)));
    }

    // A photo added to the watched library shows up in the open grid, and what was checked
    // stays checked, in the order it was checked.
    void newPhotosArriveAndTheSelectionStays()
    {
        const QString folder = m_dir.filePath(QStringLiteral("Growing"));
        const QStringList photos = TULOTestWritePhotoLibrary(folder);
        QVERIFY(!photos.isEmpty());
        TULOPhotoLibrary library(folder, m_dir.filePath(QStringLiteral("growing.sqlitedb")));
        auto picker = loadedPicker(&library);
        const int before = picker->visibleAssetCount();
        picker->setVisibleRowSelected(3, true);
        picker->setVisibleRowSelected(1, true);
        QList<QUrl> chosen;
        for (const TULOAttachmentPtr &attachment : picker->selectedAttachments())
            chosen << attachment->assetURL();
        QCOMPARE(chosen.size(), 2);

        QSignalSpy reloaded(picker.get(), &TULOComposeImagePickerController::assetsDidLoad);
        QVERIFY(TULOTestWritePhoto(folder + QStringLiteral("/Holiday/new.jpg"), QSize(40, 30), 77, QDateTime::currentDateTime()));
        QVERIFY(reloaded.wait(20000));
        QCOMPARE(picker->visibleAssetCount(), before + 1);
        QList<QUrl> still;
        for (const TULOAttachmentPtr &attachment : picker->selectedAttachments())
            still << attachment->assetURL();
        QCOMPARE(still, chosen);
        QCOMPARE(picker->collectionView()->selectionModel()->selectedIndexes().size(), 2);
    }

    void compactDurations_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("expected");
        QTest::addRow("seconds-padded") << 7.0 << "0:07";
        QTest::addRow("rounded-to-the-second") << 41.6 << "0:42";
        QTest::addRow("minutes") << 725.0 << "12:05";
        QTest::addRow("an-hour-and-more") << 3723.0 << "1:02:03";
        QTest::addRow("unknown") << 0.0 << "0:00";
        QTest::addRow("not-a-number") << std::nan("") << "0:00";
    }
    void compactDurations()
    {
        QFETCH(double, seconds);
        QFETCH(QString, expected);
        QCOMPARE(TULOCompactDuration(seconds), expected);
    }

    void videosShowTheirDuration()
    {
        const QString video = m_dir.filePath(QStringLiteral("Videos/short.mp4"));
        QVERIFY(QDir().mkpath(QFileInfo(video).absolutePath()));
        QString message;
        QVERIFY2(TULOMakeTestVideo(video, 3.0, 10, QStringLiteral("64x48"), {"-c:v", "mpeg4"}, &message), qPrintable(message));
        QVERIFY(TULOTestWritePhoto(m_dir.filePath(QStringLiteral("Videos/still.jpg")), QSize(40, 30), 0,
            QDateTime::currentDateTime()));
        TULOPhotoLibrary library(QFileInfo(video).absolutePath(), m_dir.filePath(QStringLiteral("videos.sqlitedb")));
        auto picker = loadedPicker(&library);
        TULOPhotoAssetModel *model = picker->model();
        QCOMPARE(model->rowCount(), 2);
        for (int row = 0; row < model->rowCount(); ++row) {
            const QModelIndex index = model->index(row);
            const bool isVideo = index.data(TULOPhotoAssetModel::IsVideoRole).toBool();
            const QString duration = index.data(TULOPhotoAssetModel::DurationRole).toString();
            QCOMPARE(duration, isVideo ? QStringLiteral("0:03") : QString());
            QCOMPARE(index.data(Qt::AccessibleTextRole).toString().endsWith(QStringLiteral(", 0:03")), isVideo);
        }
    }

    // A grid scrolled through a large library keeps only some thumbnails in memory; one let go
    // is made again when its cell shows, and a chosen photo still carries its picture.
    void thumbnailsInMemoryStayWithinTheirLimit()
    {
        const QList<TULOPhotoAsset> assets = m_library->recentAssets(-1);
        QVERIFY(assets.size() >= 7);
        const auto showAll = [&](TULOPhotoAssetModel &model) {
            for (int row = 0; row < model.rowCount(); ++row)
                model.data(model.index(row), TULOPhotoAssetModel::ThumbnailRole);
        };
        TULOPhotoAssetModel unbounded(*m_cache);
        unbounded.setAssets(assets, m_libraryPath);
        showAll(unbounded);
        QTRY_COMPARE(unbounded.thumbnailCount(), unbounded.rowCount());
        const int everything = unbounded.thumbnailMemoryUsed();
        QVERIFY(everything > 0);

        TULOPhotoAssetModel model(*m_cache);
        model.setThumbnailMemoryLimit(everything / 2);
        model.setAssets(assets, m_libraryPath);
        showAll(model);
        QTRY_COMPARE(model.thumbnailCount(), model.rowCount());
        QVERIFY(model.thumbnailMemoryUsed() > 0);
        QVERIFY(model.thumbnailMemoryUsed() <= everything / 2);
        int letGo = -1;
        for (int row = 0; row < model.rowCount() && letGo < 0; ++row) {
            const QModelIndex index = model.index(row);
            if (!index.data(TULOPhotoAssetModel::FailedRole).toBool()
                && index.data(TULOPhotoAssetModel::ThumbnailRole).value<QImage>().isNull())
                letGo = row;
        }
        QVERIFY2(letGo >= 0, "no thumbnail was let go");
        QVERIFY(!model.attachmentForRow(letGo)->thumbnailImage().isNull());
        const int delivered = model.thumbnailCount();
        QTRY_VERIFY(!model.data(model.index(letGo), TULOPhotoAssetModel::ThumbnailRole).value<QImage>().isNull());
        QCOMPARE(model.thumbnailCount(), delivered + 1);
        QVERIFY(model.thumbnailMemoryUsed() <= everything / 2);
    }

    // A photo edited while the grid is open shows its new picture, never the old one.
    void changedPhotoGetsANewThumbnail()
    {
        const QString folder = m_dir.filePath(QStringLiteral("Edited"));
        const QString photo = folder + QStringLiteral("/edit.jpg");
        const QDateTime before = QDateTime::currentDateTime().addSecs(-120);
        QVERIFY(TULOTestWritePhoto(photo, QSize(400, 300), 0, before)); // red
        TULOPhotoLibrary library(folder, m_dir.filePath(QStringLiteral("edited.sqlitedb")));
        TULOPhotoAssetModel model(*m_cache);
        model.setAssets(library.recentAssets(-1), folder);
        QCOMPARE(model.rowCount(), 1);
        const auto hueShown = [&model] {
            const QImage image = model.data(model.index(0), TULOPhotoAssetModel::ThumbnailRole).value<QImage>();
            return image.isNull() ? -2 : image.pixelColor(2, 2).hsvHue();
        };
        QTRY_VERIFY(hueShown() >= 0);
        QVERIFY(hueShown() < 20 || hueShown() > 340);

        QVERIFY(TULOTestWritePhoto(photo, QSize(400, 300), 240, before.addSecs(60))); // blue
        model.setAssets(library.recentAssets(-1), folder);
        QCOMPARE(hueShown(), -2);
        QTRY_VERIFY(hueShown() >= 0);
        QVERIFY(std::abs(hueShown() - 240) < 20);
    }

    // Scrolling the grid makes the next screenful's thumbnails ahead, in the scroll's direction,
    // before any cell of it is painted.
    void scrollingPrefetchesAhead_data()
    {
        QTest::addColumn<bool>("down");
        QTest::addRow("down") << true;
        QTest::addRow("up") << false;
    }
    void scrollingPrefetchesAhead()
    {
        QFETCH(bool, down);
        const QString folder = m_dir.filePath(QStringLiteral("Many"));
        const QDateTime now = QDateTime::currentDateTime();
        for (int i = 0; i < 120 && !QFileInfo::exists(folder + QStringLiteral("/119.jpg")); ++i)
            QVERIFY(TULOTestWritePhoto(folder + QStringLiteral("/%1.jpg").arg(i), QSize(64, 48), i * 3, now.addSecs(-i)));
        TULOPhotoLibrary library(folder, m_dir.filePath(QStringLiteral("many.sqlitedb")));
        auto picker = loadedPicker(&library);
        QWidget *view = picker->view();
        view->resize(picker->preferredContentSize());
        view->show();
        QListView *grid = picker->collectionView();
        QScrollBar *bar = grid->verticalScrollBar();
        QTRY_VERIFY(bar->maximum() > 0);
        TULOPhotoAssetModel *model = picker->model();
        auto *prefetcher = grid->findChild<TULOPhotoAssetPrefetcher *>();
        QVERIFY(prefetcher);
        bar->setValue(bar->maximum() / 2);
        if (!down)
            bar->setValue(bar->value() - 1);
        const QList<int> visible = prefetcher->visibleRows();
        const QList<int> ahead = prefetcher->prefetchedRows();
        QVERIFY(!visible.isEmpty());
        QCOMPARE(ahead.size(), visible.size());
        for (int i = 0; i < ahead.size(); ++i) {
            // Nearest first, next to the screenful.
            const int expected = down ? visible.last() + 1 + i : visible.first() - 1 - i;
            QCOMPARE(ahead.at(i), expected);
        }
        QTRY_COMPARE(model->loader()->pendingCount(), 0);
        // The last answers are posted by then, not necessarily handled.
        QCoreApplication::sendPostedEvents();
        for (const int row : ahead)
            QVERIFY2(!model->data(model->index(row), TULOPhotoAssetModel::ThumbnailRole).value<QImage>().isNull(),
                qPrintable(QStringLiteral("row %1").arg(row)));
    }

    // A cell is painted in bands; at any scale they meet without a seam of what lies beneath.
    void cellsPaintWithoutSeams_data()
    {
        QTest::addColumn<qreal>("scale");
        for (const qreal scale : {1.0, 1.25, 1.5, 2.0, 3.0})
            QTest::addRow("%gx", scale) << scale;
    }
    void cellsPaintWithoutSeams()
    {
        QFETCH(qreal, scale);
        constexpr int cellSize = 104;
        QStandardItemModel model(1, 1);
        QImage thumbnail(128, 96, QImage::Format_RGB32);
        thumbnail.fill(QColor(20, 160, 60));
        model.setData(model.index(0, 0), thumbnail, TULOPhotoAssetModel::ThumbnailRole);
        TULOPhotoAssetItemDelegate delegate(cellSize);
        QImage canvas((QSizeF(cellSize, cellSize) * scale).toSize(), QImage::Format_ARGB32_Premultiplied);
        canvas.setDevicePixelRatio(scale);
        canvas.fill(Qt::magenta);
        QStyleOptionViewItem option;
        option.rect = QRect(0, 0, cellSize, cellSize);
        option.palette = QApplication::palette();
        {
            QPainter painter(&canvas);
            delegate.paint(&painter, option, model.index(0, 0));
        }
        // Down the middle, clear of the rounded corners and the check mark.
        const int x = canvas.width() / 2;
        for (int y = int(std::ceil(6 * scale)); y < canvas.height() - int(std::ceil(6 * scale)); ++y) {
            const QColor color = canvas.pixelColor(x, y);
            QVERIFY2(std::abs(color.green() - 160) < 10 && color.red() < 40 && color.blue() < 80,
                qPrintable(QStringLiteral("row %1: %2").arg(y).arg(color.name())));
        }
    }

    // Banded painting gives the picture one pass would: bands neither leave a gap nor blend a
    // translucent edge twice where they meet, at any scale.
    void bandsPaintAsOnePass_data()
    {
        QTest::addColumn<qreal>("scale");
        QTest::addColumn<int>("bandRows");
        for (const int rows : {2, 7}) {
            for (const qreal scale : {1.0, 1.25, 1.5, 2.0, 3.0})
                QTest::addRow("%d rows at %gx", rows, scale) << scale << rows;
        }
    }
    void bandsPaintAsOnePass()
    {
        QFETCH(qreal, scale);
        QFETCH(int, bandRows);
        const QSize size(150, 230);
        QImage picture(97, 61, QImage::Format_RGB32);
        for (int y = 0; y < picture.height(); ++y) {
            for (int x = 0; x < picture.width(); ++x)
                picture.setPixel(x, y, qRgb(x * 2, y * 4, (x + y) % 256));
        }
        const auto draw = [&](QPainter *painter) {
            painter->setRenderHint(QPainter::Antialiasing);
            painter->setRenderHint(QPainter::SmoothPixmapTransform);
            QPainterPath clip;
            clip.addRoundedRect(QRectF(3.3, 2.7, 140, 220), 9, 9);
            painter->setClipPath(clip, Qt::IntersectClip);
            painter->drawImage(QRectF(0, 0, size.width(), size.height()), picture);
            painter->setPen(QPen(QColor(255, 255, 255, 140), 2.5));
            painter->setBrush(QColor(0, 0, 200, 90));
            painter->drawEllipse(QRectF(10.5, 20.25, 120, 190));
        };
        const auto render = [&](bool banded) {
            QImage image((QSizeF(size) * scale).toSize(), QImage::Format_ARGB32_Premultiplied);
            image.setDevicePixelRatio(scale);
            image.fill(Qt::transparent);
            QPainter painter(&image);
            if (banded)
                TULOPaintInBands(&painter, QRectF(QPointF(0, 0), QSizeF(size)), [&] { draw(&painter); }, bandRows);
            else
                draw(&painter);
            return image;
        };
        const QString difference = pictureDifference(render(false), render(true));
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
    }

    // What a scroll step paints (a new cell, checked or not) is painted on the GUI thread
    // alone: with Qt's pool busy elsewhere, it still finishes.
    void scrollPaintingNeedsNoPoolThread_data()
    {
        QTest::addColumn<QString>("part");
        QTest::addColumn<qreal>("scale");
        for (const qreal scale : {1.0, 2.0, 3.0}) {
            QTest::addRow("new cell %gx", scale) << QStringLiteral("cell") << scale;
            QTest::addRow("selected cell %gx", scale) << QStringLiteral("selected") << scale;
        }
    }
    void scrollPaintingNeedsNoPoolThread()
    {
        QFETCH(QString, part);
        QFETCH(qreal, scale);
        // Cells and the bar far taller than the rows Qt would paint alone.
        constexpr int cellSize = 220;
        const QSize area(cellSize, cellSize);
        QImage canvas((QSizeF(area) * scale).toSize(), QImage::Format_ARGB32_Premultiplied);
        canvas.setDevicePixelRatio(scale);
        canvas.fill(Qt::magenta);
        QStandardItemModel model(1, 1);
        QImage thumbnail(128, 96, QImage::Format_ARGB32_Premultiplied);
        thumbnail.fill(QColor(20, 160, 60));
        model.setData(model.index(0, 0), thumbnail, TULOPhotoAssetModel::ThumbnailRole);
        TULOPhotoAssetItemDelegate delegate(cellSize);
        {
            const BlockedGlobalPool blocked(std::chrono::seconds(10));
            QPainter painter(&canvas);
            QStyleOptionViewItem option;
            option.rect = QRect(QPoint(0, 0), area);
            option.palette = QApplication::palette();
            if (part == QLatin1String("selected"))
                option.state |= QStyle::State_Selected | QStyle::State_HasFocus;
            delegate.paint(&painter, option, model.index(0, 0));
            painter.end();
            QVERIFY2(!blocked.wasLetGo(), "painting waited for Qt's thread pool");
        }
        // And it painted: the middle of the area is no longer the canvas colour.
        QVERIFY(canvas.pixelColor(canvas.width() / 2, canvas.height() / 2) != QColor(Qt::magenta));
    }

    // The grid's scroll bar looks as the stock one does, at rest and with a part pressed, and
    // paints on the GUI thread alone.
    void gridScrollBarPaintsAsTheStockOneWithoutThePool_data()
    {
        QTest::addColumn<int>("value");
        QTest::addColumn<bool>("pressPage");
        QTest::addRow("top") << 0 << false;
        QTest::addRow("middle") << 500 << false;
        QTest::addRow("end") << 1000 << false;
        QTest::addRow("page pressed") << 200 << true;
    }
    void gridScrollBarPaintsAsTheStockOneWithoutThePool()
    {
        QFETCH(int, value);
        QFETCH(bool, pressPage);
        QScrollBar stock(Qt::Vertical);
        TULOBandedScrollBar banded(Qt::Vertical);
        for (QScrollBar *bar : {&stock, static_cast<QScrollBar *>(&banded)}) {
            bar->setRange(0, 1000);
            bar->setPageStep(120);
            bar->setValue(value);
            bar->resize(bar->sizeHint().width(), 400); // far taller than the rows Qt paints alone
            if (pressPage) {
                // Below the slider: the page down area, held.
                QTest::mousePress(bar, Qt::LeftButton, Qt::NoModifier, QPoint(bar->width() / 2, 380));
            }
        }
        QCOMPARE(banded.value(), stock.value());
        const auto render = [](QScrollBar *bar) {
            QImage image(bar->size(), QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::magenta);
            // The bar alone: the window's background under it is not its painting.
            bar->render(&image, QPoint(), QRegion(), QWidget::RenderFlags());
            return image;
        };
        const QImage expected = render(&stock);
        QImage painted;
        {
            const BlockedGlobalPool blocked(std::chrono::seconds(10));
            painted = render(&banded);
            QVERIFY2(!blocked.wasLetGo(), "the scroll bar waited for Qt's thread pool");
        }
        const QString difference = pictureDifference(expected, painted);
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
        if (pressPage) {
            for (QScrollBar *bar : {&stock, static_cast<QScrollBar *>(&banded)})
                QTest::mouseRelease(bar, Qt::LeftButton, Qt::NoModifier, QPoint(bar->width() / 2, 380));
        }
    }

    void screenshots_data()
    {
        TULOAddAppearanceRows("");
    }
    void screenshots()
    {
        QFETCH(bool, dark);
        QFETCH(qreal, scale);
        const QPalette light = QApplication::palette();
        if (dark)
            QApplication::setPalette(TULOTestDarkPalette());
        auto picker = loadedPicker();
        TULOPhotoAssetModel *model = picker->model();
        for (int row = 0; row < model->rowCount(); ++row)
            model->data(model->index(row), TULOPhotoAssetModel::ThumbnailRole);
        QTRY_COMPARE(model->thumbnailCount(), model->rowCount());
        picker->setVisibleRowSelected(1, true);
        picker->setVisibleRowSelected(3, true);
        const QImage image = TULOSaveScreenshot(picker.get(), picker->preferredContentSize(), QStringLiteral("imagepicker"),
            QString::fromLatin1(QTest::currentDataTag()), scale);
        QApplication::setPalette(light);
        QVERIFY(!image.isNull());
    }
};

QTEST_MAIN(TestComposeImagePickerController)
#include "tst_composeimagepickercontroller.moc"

// The photo shelf and the image picker over a 10,000-photo library. The shelf's first 30
// thumbnails, from the moment it is asked to load: with a cold thumbnail cache under 2x the time
// of decoding those 30 photos at thumbnail size in a plain loop, with a warm cache under 0.2x.
// Scrolling the picker's grid through the library never holds the GUI thread over 16 ms.
#include <Quillon/media/composeimagepickercontroller.h>
#include <Quillon/media/photoassetmodel_p.h>
#include <Quillon/media/photopickerviewcontroller.h>
#include <Quillon/platform/library/photolibrary.h>

#include "benchsupport.h"

#include <QApplication>
#include <QBuffer>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QListView>
#include <QPainter>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>

namespace {

const int kLibrarySize = TULOBenchSize(10000, 100);
const int kShelfCount = 30;
// Camera-sized photos for the 30 newest; the older ones are small, as only their dates are read.
const QSize kRecentSize = TULOBenchSize(QSize(4000, 3000), QSize(800, 600));

QTemporaryDir *gDir = nullptr;
QStringList gRecent;
double gDecodeSeconds = 0, gColdSeconds = 0, gWarmSeconds = 0, gWorstStallMs = 0;

QString libraryPath() { return gDir->filePath(QStringLiteral("Pictures")); }

QByteArray jpeg(const QSize &size, int hue)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(QColor::fromHsv(hue % 360, 120, 200));
    QPainter painter(&image);
    painter.setPen(QPen(Qt::darkGray, size.width() / 20));
    painter.drawLine(0, size.height(), size.width(), 0);
    painter.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPEG", 85);
    return bytes;
}

bool makeLibrary()
{
    const QDateTime now = QDateTime::currentDateTime();
    const QByteArray small = jpeg(QSize(160, 120), 30);
    for (int i = 0; i < kLibrarySize; ++i) {
        const QString folder = libraryPath() + QStringLiteral("/%1").arg(2000 + i / 500);
        QDir().mkpath(folder);
        const QString path = folder + QStringLiteral("/IMG_%1.jpg").arg(i, 5, 10, QLatin1Char('0'));
        QFile file(path);
        const QByteArray bytes = i < kShelfCount ? jpeg(kRecentSize, i * 12) : small;
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size()
            || !file.setFileTime(now.addSecs(-60 * i), QFileDevice::FileModificationTime))
            return false;
        if (i < kShelfCount)
            gRecent << path;
    }
    return true;
}

// The reference: the 30 files decoded at thumbnail size, one after another.
void BM_PlainDecode(benchmark::State &state)
{
    double total = 0;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        for (const QString &path : std::as_const(gRecent)) {
            QImageReader reader(path);
            reader.setAutoTransform(true);
            reader.setScaledSize(reader.size().scaled(128, 128, Qt::KeepAspectRatio));
            if (reader.read().isNull())
                state.SkipWithError("a photo did not decode");
        }
        total += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
    gDecodeSeconds = total / double(state.iterations());
}

// From reloadAssets to the 30th thumbnail on the GUI thread, with cells asking as painting does.
double shelfSeconds(const QString &cacheFolder, benchmark::State &state)
{
    TULOPhotoLibrary library(libraryPath());
    TULOPhotoPickerViewController shelf(&library, TULOThumbnailCache(cacheFolder));
    TULOPhotoAssetModel *model = shelf.model();
    QObject::connect(&shelf, &TULOPhotoPickerViewController::assetsDidLoad, model, [model] {
        for (int row = 0; row < model->rowCount(); ++row)
            model->data(model->index(row), TULOPhotoAssetModel::ThumbnailRole);
    });
    QElapsedTimer timer;
    timer.start();
    shelf.reloadAssets();
    while (!(shelf.hasLoadedAssets() && model->thumbnailCount() >= kShelfCount)) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        if (timer.elapsed() > 60000) {
            state.SkipWithError("the shelf did not fill");
            break;
        }
    }
    const double seconds = timer.nsecsElapsed() / 1e9;
    for (int row = 0; row < kShelfCount; ++row) {
        if (model->data(model->index(row), TULOPhotoAssetModel::ThumbnailRole).value<QImage>().isNull())
            state.SkipWithError("a thumbnail is missing");
    }
    return seconds;
}

void BM_ShelfColdCache(benchmark::State &state)
{
    double total = 0;
    int run = 0;
    for (auto _ : state) {
        const QString cache = gDir->filePath(QStringLiteral("cold-%1").arg(run++));
        total += shelfSeconds(cache, state);
    }
    gColdSeconds = total / double(state.iterations());
}

void BM_ShelfWarmCache(benchmark::State &state)
{
    const QString cache = gDir->filePath(QStringLiteral("warm"));
    shelfSeconds(cache, state); // fills the cache
    double total = 0;
    for (auto _ : state)
        total += shelfSeconds(cache, state);
    gWarmSeconds = total / double(state.iterations());
}

// Page by page through the whole grid; each step is a scroll, a paint and the events it caused
// (thumbnails arriving), all on the GUI thread.
void BM_GridScroll(benchmark::State &state)
{
    for (auto _ : state) {
        TULOPhotoLibrary library(libraryPath());
        TULOComposeImagePickerController picker(TULOImagePickerControllerSourceTypePhotoLibrary, &library,
            TULOThumbnailCache(gDir->filePath(QStringLiteral("grid"))));
        QSignalSpy loaded(&picker, &TULOComposeImagePickerController::assetsDidLoad);
        QWidget *view = picker.view();
        view->resize(picker.preferredContentSize());
        view->show();
        if (!loaded.wait(60000)) {
            state.SkipWithError("the grid did not load");
            break;
        }
        QListView *grid = picker.collectionView();
        QScrollBar *bar = grid->verticalScrollBar();
        double worst = 0;
        QElapsedTimer step;
        const int pages = TULOBenchSize(200, 5);
        for (int page = 0; page < pages && bar->value() < bar->maximum(); ++page) {
            step.start();
            bar->setValue(bar->value() + bar->pageStep() / 2);
            grid->viewport()->repaint();
            QCoreApplication::processEvents();
            worst = std::max(worst, step.nsecsElapsed() / 1e6);
            // A frame's worth of time for the workers, as a user scrolling would give.
            QElapsedTimer idle;
            idle.start();
            while (idle.elapsed() < 16)
                QCoreApplication::processEvents(QEventLoop::AllEvents, 4);
        }
        state.counters["worstStepMs"] = worst;
        gWorstStallMs = std::max(gWorstStallMs, worst);
    }
}

BENCHMARK(BM_PlainDecode)->Unit(benchmark::kMillisecond)->Iterations(TULOBenchSize(3, 1))->UseRealTime();
BENCHMARK(BM_ShelfColdCache)->Unit(benchmark::kMillisecond)->Iterations(TULOBenchSize(3, 1))->UseRealTime();
BENCHMARK(BM_ShelfWarmCache)->Unit(benchmark::kMillisecond)->Iterations(TULOBenchSize(5, 1))->UseRealTime();
BENCHMARK(BM_GridScroll)->Unit(benchmark::kMillisecond)->Iterations(1)->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", qEnvironmentVariable("QT_QPA_PLATFORM", QStringLiteral("offscreen")).toUtf8());
    QApplication app(argc, argv);
    QTemporaryDir dir;
    gDir = &dir;
    std::printf("writing a library of %d photos...\n", kLibrarySize);
    if (!makeLibrary()) {
        std::fprintf(stderr, "could not write the photo library\n");
        return 1;
    }
    if (!TULOBenchRun(argc, argv))
        return 1;
    if (gDecodeSeconds <= 0)
        return 0;
    const double cold = gColdSeconds / gDecodeSeconds, warm = gWarmSeconds / gDecodeSeconds;
    const bool coldMet = cold < 2.0, warmMet = warm < 0.2, scrollMet = gWorstStallMs < 16.0;
    std::printf("plain decode of %d photos %.1f ms\n", kShelfCount, gDecodeSeconds * 1000);
    std::printf("shelf, cold cache %.1f ms: %.2fx (target < 2x) %s\n", gColdSeconds * 1000, cold, coldMet ? "PASS" : "FAIL");
    std::printf("shelf, warm cache %.1f ms: %.2fx (target < 0.2x) %s\n", gWarmSeconds * 1000, warm, warmMet ? "PASS" : "FAIL");
    std::printf("grid scroll, longest GUI-thread step %.1f ms (target < 16 ms) %s\n", gWorstStallMs,
        scrollMet ? "PASS" : "FAIL");
    return TULOBenchVerdict(coldMet && warmMet && scrollMet);
}

// The photo shelf and the image picker over a 10,000-photo library. The shelf's first 30
// thumbnails, from the moment it is asked to load: with a cold thumbnail cache under 2x the time
// of decoding those 30 photos at thumbnail size in a plain loop, with a warm cache under 0.2x.
// The library has been opened before, so its index exists (its first filling is printed too).
// Scrolling the picker's grid through the whole library, frame by frame as a user scrolls, never
// holds the GUI thread over 16 ms (one frame at 60 Hz) for a frame. Stretches in which the whole
// machine was paused (no processor ran, not even its timer interrupts: the host of a virtual
// machine stopped it) are not the program's and are left out of a frame, and printed.
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
#include <QEventLoop>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QListView>
#include <QPainter>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <vector>
#include <cstdio>
#include <ctime>

namespace {

const int kLibrarySize = TULOBenchSize(10000, 100);
const int kShelfCount = 30;
// Camera-sized photos for the 30 newest; the older ones are small, as only their dates are read.
const QSize kRecentSize = TULOBenchSize(QSize(4000, 3000), QSize(800, 600));

QTemporaryDir *gDir = nullptr;
QStringList gRecent;
double gDecodeSeconds = 0, gColdSeconds = 0, gWarmSeconds = 0, gWorstFrameMs = 0, gWorstMeasuredMs = 0, gMostPausedMs = 0;
bool gPausesWatched = false;
int gFrames = 0;

QString libraryPath() { return gDir->filePath(QStringLiteral("Pictures")); }
QString indexPath() { return gDir->filePath(QStringLiteral("PhotoLibrary.sqlitedb")); }

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
    TULOPhotoLibrary library(libraryPath(), indexPath());
    TULOPhotoPickerViewController shelf(&library, TULOThumbnailCache(cacheFolder));
    TULOPhotoAssetModel *model = shelf.model();
    QObject::connect(&shelf, &TULOPhotoPickerViewController::assetsDidLoad, model, [model] {
        for (int row = 0; row < model->rowCount(); ++row)
            model->data(model->index(row), TULOPhotoAssetModel::ThumbnailRole);
    });
    QElapsedTimer timer;
    timer.start();
    shelf.reloadAssets();
    if (!TULOBenchWaitUntil([&] { return shelf.hasLoadedAssets() && model->thumbnailCount() >= kShelfCount; }, 60000))
        state.SkipWithError("the shelf did not fill");
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

double threadCpuMs()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

// Time this thread has spent ready to run but waiting for a processor (Linux schedstat).
double threadRunQueueWaitMs()
{
    QFile file(QStringLiteral("/proc/thread-self/schedstat"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = file.readAll().simplified().split(' ');
    return fields.size() > 1 ? fields.at(1).toDouble() / 1e6 : 0;
}

// The grid shown offscreen and scrolled from top to bottom of the library a third of a page per
// frame, with a frame's time (16 ms) between frames for the workers, as a user scrolling gives:
// the GUI thread waits in its event loop then, handling what arrives, as it does between a
// user's scroll steps (spinning instead would take a core from the workers).
// A frame is what the user waits for: the scroll, the paint of the viewport and the events that
// arrived meanwhile (thumbnails), all on the GUI thread. Its processor time and the time it
// waited for a processor are printed too: on a loaded machine that wait is most of a frame.
void BM_GridScroll(benchmark::State &state)
{
    for (auto _ : state) {
        TULOPhotoLibrary library(libraryPath(), indexPath());
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
        // The grid lays its cells out after the model has them.
        QElapsedTimer waited;
        waited.start();
        while (bar->maximum() == 0 && waited.elapsed() < 10000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        if (bar->maximum() == 0 || grid->model()->rowCount() < kLibrarySize) {
            state.SkipWithError("the grid does not hold the library");
            break;
        }
        std::vector<std::pair<double, double>> spans; // each frame's start and end
        std::vector<double> frameCpu, frameWait;
        const TULOMachinePauses pauses;
        const int maximumFrames = TULOBenchSize(100000, 5);
        while (int(spans.size()) < maximumFrames) {
            const double cpu = threadCpuMs(), wait = threadRunQueueWaitMs();
            const double start = TULOBenchNowMs();
            bar->setValue(bar->value() + std::max(1, bar->pageStep() / 3));
            grid->viewport()->repaint();
            QCoreApplication::processEvents();
            spans.emplace_back(start, TULOBenchNowMs());
            frameCpu.push_back(threadCpuMs() - cpu);
            frameWait.push_back(threadRunQueueWaitMs() - wait);
            if (bar->value() >= bar->maximum())
                break;
            QEventLoop idle;
            QTimer::singleShot(16, Qt::PreciseTimer, &idle, &QEventLoop::quit);
            idle.exec();
        }
        // A frame is judged without the stretches in which the whole machine was paused.
        std::vector<double> frames;
        for (const auto &[start, end] : spans) {
            const double measured = end - start, paused = pauses.pausedMs(start, end);
            frames.push_back(measured - paused);
            gWorstMeasuredMs = std::max(gWorstMeasuredMs, measured);
            gWorstFrameMs = std::max(gWorstFrameMs, frames.back());
            gMostPausedMs = std::max(gMostPausedMs, paused);
        }
        gPausesWatched = pauses.available();
        state.counters["firstFrameMs"] = frames.front();
        std::sort(frames.begin(), frames.end());
        std::sort(frameCpu.begin(), frameCpu.end());
        state.counters["medianFrameCpuMs"] = frameCpu.at(frameCpu.size() / 2);
        state.counters["worstFrameCpuMs"] = frameCpu.back();
        std::sort(frameWait.begin(), frameWait.end());
        state.counters["medianFrameWaitMs"] = frameWait.at(frameWait.size() / 2);
        const double worst = frames.back(), median = frames.at(frames.size() / 2),
                     p99 = frames.at(std::min(frames.size() - 1, frames.size() * 99 / 100));
        state.counters["frames"] = double(frames.size());
        state.counters["medianFrameMs"] = median;
        state.counters["p99FrameMs"] = p99;
        state.counters["worstFrameMs"] = worst;
        gFrames = int(frames.size());
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
    {
        // The library opened once before, as a user's has been: its index is filled.
        QElapsedTimer timer;
        timer.start();
        TULOPhotoLibrary library(libraryPath(), indexPath());
        TULOError error;
        if (!library.refresh(&error)) {
            std::fprintf(stderr, "could not index the photo library: %s\n", qPrintable(error.localizedDescription()));
            return 1;
        }
        std::printf("first index of %d files %.1f ms (for information)\n", kLibrarySize, timer.nsecsElapsed() / 1e6);
    }
    if (!TULOBenchRun(argc, argv))
        return 1;
    if (gDecodeSeconds <= 0)
        return 0;
    const double cold = gColdSeconds / gDecodeSeconds, warm = gWarmSeconds / gDecodeSeconds;
    const bool coldMet = cold < 2.0, warmMet = warm < 0.2, scrollMet = gFrames > 0 && gWorstFrameMs < 16.0;
    std::printf("plain decode of %d photos %.1f ms\n", kShelfCount, gDecodeSeconds * 1000);
    std::printf("shelf, cold cache %.1f ms: %.2fx (target < 2x) %s\n", gColdSeconds * 1000, cold, TULOBenchOutcome(coldMet));
    std::printf("shelf, warm cache %.1f ms: %.2fx (target < 0.2x) %s\n", gWarmSeconds * 1000, warm, TULOBenchOutcome(warmMet));
    std::printf("grid scroll through the library, %d frames, longest %.1f ms (target < 16 ms) %s\n", gFrames,
        gWorstFrameMs, TULOBenchOutcome(scrollMet));
    TULOBenchPrintPauses(gPausesWatched, gMostPausedMs, gWorstMeasuredMs);
    return TULOBenchVerdict(coldMet && warmMet && scrollMet);
}

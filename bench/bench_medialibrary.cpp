// Opening the media library: the first scan reads every file's tags; a second open with a warm
// index only lists the folder and compares sizes and times. Target: warm open < 10% of the scan.

#include <Quillon/platform/library/medialibrary.h>
#include "benchsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <sndfile.h>
#include <taglib/flacfile.h>
#include <taglib/tpropertymap.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace {

const int kFileCount = TULOBenchSize(5000, 50);

QTemporaryDir *gDir = nullptr;
double gFirstScanSeconds = 0;
double gWarmOpenSeconds = 0;

QString musicFolder() { return gDir->filePath(QStringLiteral("Music")); }
QString indexPath() { return gDir->filePath(QStringLiteral("index.sqlitedb")); }

bool writeTemplate(const QString &path)
{
    SF_INFO info{};
    info.samplerate = 8000;
    info.channels = 1;
    info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    SNDFILE *file = sf_open(QFile::encodeName(path).constData(), SFM_WRITE, &info);
    if (!file)
        return false;
    std::vector<short> samples(800);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<short>(4000 * std::sin(double(i) / 3.0));
    sf_write_short(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
    return true;
}

// 5,000 real FLAC files in 50 album folders, each with its own tags.
bool makeLibrary()
{
    const QString templatePath = gDir->filePath(QStringLiteral("template.flac"));
    if (!writeTemplate(templatePath))
        return false;
    for (int i = 0; i < kFileCount; ++i) {
        const QString folder = musicFolder() + QStringLiteral("/Album %1").arg(i / 100);
        QDir().mkpath(folder);
        const QString path = folder + QStringLiteral("/%1.flac").arg(i);
        if (!QFile::copy(templatePath, path))
            return false;
        TagLib::FLAC::File file(QFile::encodeName(path).constData());
        TagLib::PropertyMap map;
        map.replace("TITLE", TagLib::String(QStringLiteral("Track %1").arg(i).toStdString(), TagLib::String::UTF8));
        map.replace("ARTIST", TagLib::String("Bench Artist"));
        map.replace("ALBUM", TagLib::String(QStringLiteral("Album %1").arg(i / 100).toStdString()));
        map.replace("STOREITEMID", TagLib::String(std::to_string(100000 + i)));
        file.setProperties(map);
        if (!file.save())
            return false;
    }
    return true;
}

void BM_FirstScan(benchmark::State &state)
{
    double total = 0;
    for (auto _ : state) {
        QFile::remove(indexPath());
        TULOMediaLibrary library(musicFolder(), indexPath());
        const auto start = std::chrono::steady_clock::now();
        if (!library.reload() || library.items().size() != kFileCount)
            state.SkipWithError("the library did not load every file");
        total += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.counters["filesRead"] = library.lastScanStatistics().filesRead;
    }
    gFirstScanSeconds = total / double(state.iterations());
}

void BM_WarmOpen(benchmark::State &state)
{
    double total = 0;
    for (auto _ : state) {
        TULOMediaLibrary library(musicFolder(), indexPath());
        const auto start = std::chrono::steady_clock::now();
        if (!library.reload() || library.items().size() != kFileCount)
            state.SkipWithError("the library did not load every file");
        total += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.counters["filesRead"] = library.lastScanStatistics().filesRead;
    }
    gWarmOpenSeconds = total / double(state.iterations());
}

BENCHMARK(BM_FirstScan)->Unit(benchmark::kMillisecond)->Iterations(TULOBenchSize(2, 1))->UseRealTime();
BENCHMARK(BM_WarmOpen)->Unit(benchmark::kMillisecond)->Iterations(TULOBenchSize(5, 1))->UseRealTime();

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    gDir = &dir;
    std::printf("writing %d tagged FLAC files...\n", kFileCount);
    if (!makeLibrary()) {
        std::fprintf(stderr, "could not write the test library\n");
        return 1;
    }
    if (!TULOBenchRun(argc, argv))
        return 1;
    if (gFirstScanSeconds > 0 && gWarmOpenSeconds > 0) {
        const double ratio = gWarmOpenSeconds / gFirstScanSeconds;
        std::printf("first scan %.1f ms, warm open %.1f ms: %.1f%% of the first scan (target < 10%%) %s\n",
                    gFirstScanSeconds * 1000, gWarmOpenSeconds * 1000, ratio * 100, TULOBenchOutcome(ratio < 0.10));
        return TULOBenchVerdict(ratio < 0.10);
    }
    return 0;
}

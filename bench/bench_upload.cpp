// Posting a video as a user does: the whole `quillon post --store ... --attach video.mp4`
// process, start to exit, against curl sending the same file to the same endpoint in the same
// run, and the command's peak resident memory, from wait4(), for a 10 MB and a 1 GiB video
// (target: under 48 MiB for both). Throughput (target: at least 0.8 of curl's) is judged on the
// large video, where the transfer is what the user waits for; for the small one the command's
// fixed work (its start, the store's bag and the author check, the outbox) outweighs a transfer
// of a few tens of milliseconds, so its ratio is printed for the record only. The videos are
// real ones, made by ffmpeg once per run. The two uploaders alternate, and the store's copy of
// each upload is deleted after it, so neither pays for the other's dirty pages being written back.

#include "sandboxstore.h"
#include "benchsupport.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QUuid>
#include <cstdio>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr qint64 kMemoryLimit = qint64(48) << 20;
constexpr qint64 kThroughputJudgedFrom = qint64(256) << 20;

TULOSandboxStore *gStore = nullptr;
QString gToken;
QString gWork;

struct Video
{
    QString path;
    qint64 size = 0;
    double curlSeconds = 0;
    double quillonSeconds = 0;
    qint64 peakResident = 0;
};
QList<Video> gVideos;

// Runs `program` with `arguments` and `environment` to its exit; the seconds it took and its
// peak resident memory, or negative seconds when it failed.
double runMeasured(const QString &program, const QStringList &arguments, const QStringList &environment,
    qint64 *peakResident, QByteArray *output)
{
    std::vector<QByteArray> storage {QFile::encodeName(program)};
    for (const QString &argument : arguments)
        storage.push_back(argument.toLocal8Bit());
    std::vector<QByteArray> environmentStorage;
    for (const QString &variable : environment)
        environmentStorage.push_back(variable.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &argument : storage)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    std::vector<char *> envp;
    for (QByteArray &variable : environmentStorage)
        envp.push_back(variable.data());
    envp.push_back(nullptr);
    int pipeFds[2];
    if (pipe(pipeFds) != 0)
        return -1;
    QElapsedTimer timer;
    timer.start();
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(pipeFds[1], STDOUT_FILENO);
        const int devnull = open("/dev/null", O_RDWR);
        dup2(devnull, STDIN_FILENO);
        close(pipeFds[0]);
        close(pipeFds[1]);
        execve(argv[0], argv.data(), envp.data());
        _exit(127);
    }
    close(pipeFds[1]);
    char buffer[4096];
    for (ssize_t n; (n = read(pipeFds[0], buffer, sizeof buffer)) > 0;)
        output->append(buffer, n);
    close(pipeFds[0]);
    int status = 0;
    rusage usage {};
    if (pid < 0 || wait4(pid, &status, 0, &usage) != pid)
        return -1;
    const double seconds = double(timer.nsecsElapsed()) / 1e9;
    *peakResident = qint64(usage.ru_maxrss) * 1024;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? seconds : -1;
}

QByteArray descriptionFor(qint64 size)
{
    const QJsonObject description {{QStringLiteral("text"), QStringLiteral("benchmark")},
        {QStringLiteral("authorId"), TULOSandboxStore::demoArtistIdentifier()},
        {QStringLiteral("attachments"),
            QJsonArray {QJsonObject {{QStringLiteral("part"), QStringLiteral("file0")},
                {QStringLiteral("type"), 4}, {QStringLiteral("uti"), QStringLiteral("video/mp4")},
                {QStringLiteral("title"), QStringLiteral("one gibibyte")},
                {QStringLiteral("size"), double(size)}}}}};
    return QJsonDocument(description).toJson(QJsonDocument::Compact);
}

// The store's copies of earlier uploads; their pending writeback would slow whichever runs next.
void forgetStoredUploads()
{
    const QString posts = gWork + QStringLiteral("/store/posts");
    for (const QFileInfo &info : QDir(posts).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden))
        QDir(info.absoluteFilePath()).removeRecursively();
}

double curlUploadSeconds(const QString &descriptionPath, const QString &file)
{
    QProcess curl;
    QElapsedTimer timer;
    timer.start();
    // The framework's own shape: the same two parts and types, and no Expect handshake.
    curl.start(QStringLiteral("curl"),
        {QStringLiteral("-s"), QStringLiteral("-o"), QStringLiteral("/dev/null"), QStringLiteral("-w"),
            QStringLiteral("%{http_code}"), QStringLiteral("-H"), QStringLiteral("Expect:"),
            QStringLiteral("-H"), QStringLiteral("Authorization: Bearer ") + gToken, QStringLiteral("-H"),
            QStringLiteral("Idempotency-Key: ") + QUuid::createUuid().toString(QUuid::WithoutBraces),
            QStringLiteral("-F"),
            QStringLiteral("description=<%1;type=application/json").arg(descriptionPath),
            QStringLiteral("-F"), QStringLiteral("file0=@%1;type=video/mp4").arg(file),
            gStore->baseUrl().toString() + QStringLiteral("/posts")});
    curl.waitForFinished(-1);
    const double seconds = double(timer.nsecsElapsed()) / 1e9;
    forgetStoredUploads();
    return curl.readAllStandardOutput() == "201" ? seconds : -1;
}

// The command line posting `video` to the sandbox store: seconds, or -1.
double quillonUploadSeconds(Video &video)
{
    const QString home = gWork + QStringLiteral("/home");
    QStringList environment {QStringLiteral("PATH=") + qEnvironmentVariable("PATH"),
        QStringLiteral("HOME=") + home, QStringLiteral("XDG_DATA_HOME=") + home + QStringLiteral("/data"),
        QStringLiteral("XDG_CONFIG_HOME=") + home + QStringLiteral("/config"),
        QStringLiteral("XDG_CACHE_HOME=") + home + QStringLiteral("/cache"),
        QStringLiteral("QT_QPA_PLATFORM=offscreen"),
        // No keyring: the credentials go to the private file store, as on a server.
        QStringLiteral("DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent/quillon-bench-bus"),
        QStringLiteral("QUILLON_STORE_ACCOUNT=") + TULOSandboxStore::demoAccountName(),
        QStringLiteral("QUILLON_STORE_PASSWORD=") + TULOSandboxStore::demoPassword()};
    const QString quillon = QCoreApplication::applicationDirPath() + QStringLiteral("/quillon");
    qint64 peak = 0;
    QByteArray output;
    const double seconds = runMeasured(quillon,
        {QStringLiteral("post"), QStringLiteral("--store"), gStore->bagUrl().toString(), QStringLiteral("--text"),
            QStringLiteral("benchmark"), QStringLiteral("--attach"), video.path},
        environment, &peak, &output);
    forgetStoredUploads();
    if (seconds < 0 || !output.startsWith("posted:")) {
        std::fprintf(stderr, "quillon post failed: %s\n", output.constData());
        return -1;
    }
    video.peakResident = qMax(video.peakResident, peak);
    return seconds;
}

// Curl and the command line take turns, each going first every other time.
void BM_PostVideoAgainstCurl(benchmark::State &state)
{
    Video &video = gVideos[state.range(0)];
    const QString descriptionPath = gWork + QStringLiteral("/description.json");
    QFile description(descriptionPath);
    if (!description.open(QIODevice::WriteOnly) || description.write(descriptionFor(video.size)) < 0) {
        state.SkipWithError("cannot write the description");
        return;
    }
    description.close();
    double curlTotal = 0;
    double quillonTotal = 0;
    int turn = 0;
    for (auto _ : state) {
        double curl = 0;
        double quillon = 0;
        if (turn++ % 2 == 0) {
            curl = curlUploadSeconds(descriptionPath, video.path);
            quillon = quillonUploadSeconds(video);
        } else {
            quillon = quillonUploadSeconds(video);
            curl = curlUploadSeconds(descriptionPath, video.path);
        }
        if (curl <= 0 || quillon <= 0) {
            state.SkipWithError(curl <= 0 ? "curl's upload was not accepted" : "the command line's post failed");
            return;
        }
        curlTotal += curl;
        quillonTotal += quillon;
    }
    video.curlSeconds = curlTotal / double(state.iterations());
    video.quillonSeconds = quillonTotal / double(state.iterations());
    state.counters["curlMiB/s"] = double(video.size) / (1 << 20) / video.curlSeconds;
    state.counters["quillonMiB/s"] = double(video.size) / (1 << 20) / video.quillonSeconds;
    state.counters["ratio"] = video.curlSeconds / video.quillonSeconds;
    state.counters["peakMiB"] = double(video.peakResident) / (1 << 20);
}

// A real H.264 video of about `size` bytes: a short clip encoded once, then repeated by stream
// copy until the file is that large.
bool makeVideo(const QString &path, qint64 size)
{
    const QString clip = gWork + QStringLiteral("/clip.mp4");
    if (!QFileInfo::exists(clip)) {
        QProcess encode;
        encode.start(QStringLiteral("ffmpeg"),
            {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-f"), QStringLiteral("lavfi"),
                QStringLiteral("-i"), QStringLiteral("testsrc2=size=1280x720:rate=30"), QStringLiteral("-t"), QStringLiteral("4"),
                QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-preset"), QStringLiteral("ultrafast"),
                QStringLiteral("-b:v"), QStringLiteral("20M"), QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"), clip});
        if (!encode.waitForFinished(-1) || encode.exitCode() != 0)
            return false;
    }
    QProcess repeat;
    repeat.start(QStringLiteral("ffmpeg"),
        {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"), QStringLiteral("-stream_loop"), QStringLiteral("-1"),
            QStringLiteral("-i"), clip, QStringLiteral("-c"), QStringLiteral("copy"), QStringLiteral("-fs"), QString::number(size),
            QStringLiteral("-movflags"), QStringLiteral("+faststart"), path});
    return repeat.waitForFinished(-1) && repeat.exitCode() == 0 && QFileInfo(path).size() > size / 2;
}

QString signIn(const TULOSandboxStore &store)
{
    QProcess curl;
    curl.start(QStringLiteral("curl"),
        {QStringLiteral("-s"), QStringLiteral("-d"),
            QStringLiteral("accountName=") + TULOSandboxStore::demoAccountName(), QStringLiteral("-d"),
            QStringLiteral("password=") + TULOSandboxStore::demoPassword(),
            store.baseUrl().toString() + QStringLiteral("/account/signin")});
    curl.waitForFinished(-1);
    return QJsonDocument::fromJson(curl.readAllStandardOutput())
        .object()
        .value(QStringLiteral("token"))
        .toString();
}

} // namespace

BENCHMARK(BM_PostVideoAgainstCurl)
    ->Unit(benchmark::kMillisecond)
    ->DenseRange(0, TULOBenchSize(1, 0))
    ->Iterations(TULOBenchSize(3, 1))
    ->UseRealTime();

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QTemporaryDir work;
    gWork = work.path();
    TULOSandboxStore store;
    QString error;
    if (!store.start(work.filePath(QStringLiteral("store")), 0, &error)) {
        std::fprintf(stderr, "sandbox: %s\n", qPrintable(error));
        return 1;
    }
    gStore = &store;
    gToken = signIn(store);
    // The smaller video alone in smoke mode.
    const QList<qint64> sizes = TULOBenchSmoke() ? QList<qint64> {qint64(10) << 20}
                                                 : QList<qint64> {qint64(10) << 20, qint64(1) << 30};
    for (const qint64 size : sizes) {
        Video video;
        video.path = work.filePath(QStringLiteral("video-%1.mp4").arg(size >> 20));
        std::printf("making a %lld MiB video...\n", static_cast<long long>(size >> 20));
        if (gToken.isEmpty() || !makeVideo(video.path, size)) {
            std::fprintf(stderr, "could not sign in or make the video (ffmpeg)\n");
            return 1;
        }
        video.size = QFileInfo(video.path).size();
        gVideos << video;
    }
    if (!TULOBenchRun(argc, argv))
        return 1;
    bool met = true;
    for (const Video &video : std::as_const(gVideos)) {
        if (video.curlSeconds <= 0 || video.quillonSeconds <= 0 || video.peakResident <= 0)
            return 1;
        const double ratio = video.curlSeconds / video.quillonSeconds;
        const bool judged = video.size >= kThroughputJudgedFrom;
        const bool throughputOK = !judged || ratio >= 0.8;
        const bool memoryOK = video.peakResident < kMemoryLimit;
        if (judged) {
            std::printf("%lld MiB video: quillon post throughput %.2f of curl's (target >= 0.80) %s\n",
                static_cast<long long>(video.size >> 20), ratio, TULOBenchOutcome(throughputOK));
        } else {
            std::printf("%lld MiB video: quillon post throughput %.2f of curl's (no target: fixed work outweighs the transfer)\n",
                static_cast<long long>(video.size >> 20), ratio);
        }
        std::printf("%lld MiB video: quillon post peak resident memory %.1f MiB (target < 48 MiB) %s\n",
            static_cast<long long>(video.size >> 20), double(video.peakResident) / (1 << 20), TULOBenchOutcome(memoryOK));
        met = met && throughputOK && memoryOK;
    }
    return TULOBenchVerdict(met);
}

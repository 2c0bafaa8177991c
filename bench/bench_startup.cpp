// Start-up of the command line: wall time and peak resident memory of `quillon post --help`
// and of a dry-run post, each against a minimal Qt Widgets program built in the same tree
// (target: under 2x of it in both). Every run is a process of its own, measured from fork to
// exit with wait4(); the two programs take turns, and the medians are compared.

#include "benchsupport.h"

#include <QByteArray>
#include <QDir>
#include <QFileInfo>
#include <QList>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr double kTarget = 2.0;

struct Sample
{
    double seconds = -1;
    double peakMiB = -1;
};

double now()
{
    timespec time {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return double(time.tv_sec) + double(time.tv_nsec) / 1e9;
}

// Runs `arguments` with its output discarded; a failed or crashed run has negative figures.
Sample run(const std::vector<std::string> &arguments)
{
    std::vector<char *> argv;
    for (const std::string &argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    const double start = now();
    const pid_t pid = fork();
    if (pid == 0) {
        const int devnull = open("/dev/null", O_WRONLY);
        dup2(devnull, STDOUT_FILENO);
        dup2(devnull, STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    rusage usage {};
    if (pid < 0 || wait4(pid, &status, 0, &usage) != pid)
        return {};
    const double elapsed = now() - start;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return {};
    return {elapsed, double(usage.ru_maxrss) / 1024.0}; // ru_maxrss is in KiB
}

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

struct Case
{
    const char *name;
    std::vector<std::string> quillon;
    std::vector<std::string> reference;
};

// Medians of interleaved pairs; false when a run failed.
bool measure(const Case &measured, int pairs, bool *met)
{
    std::vector<double> quillonTime, quillonMemory, referenceTime, referenceMemory;
    for (int i = 0; i < pairs; ++i) {
        // Each goes first every other time, so that neither always finds the caches warm.
        const bool quillonFirst = i % 2 == 0;
        const Sample first = run(quillonFirst ? measured.quillon : measured.reference);
        const Sample second = run(quillonFirst ? measured.reference : measured.quillon);
        const Sample &q = quillonFirst ? first : second;
        const Sample &r = quillonFirst ? second : first;
        if (q.seconds < 0 || r.seconds < 0) {
            std::fprintf(stderr, "%s: %s failed\n", measured.name, q.seconds < 0 ? "quillon" : "the reference program");
            return false;
        }
        quillonTime.push_back(q.seconds);
        quillonMemory.push_back(q.peakMiB);
        referenceTime.push_back(r.seconds);
        referenceMemory.push_back(r.peakMiB);
    }
    const double timeRatio = median(quillonTime) / median(referenceTime);
    const double memoryRatio = median(quillonMemory) / median(referenceMemory);
    std::printf("%-8s time   %6.1f ms against %6.1f ms: %.2fx (target < %.1fx) %s\n", measured.name,
        median(quillonTime) * 1e3, median(referenceTime) * 1e3, timeRatio, kTarget, TULOBenchOutcome(timeRatio < kTarget));
    std::printf("%-8s memory %6.1f MiB against %6.1f MiB: %.2fx (target < %.1fx) %s\n", measured.name,
        median(quillonMemory), median(referenceMemory), memoryRatio, kTarget, TULOBenchOutcome(memoryRatio < kTarget));
    *met = *met && timeRatio < kTarget && memoryRatio < kTarget;
    return true;
}

} // namespace

int main(int, char **)
{
    const QString bin = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalPath();
    const std::string quillon = QDir(bin).filePath(QStringLiteral("quillon")).toStdString();
    const std::string reference = QDir(bin).filePath(QStringLiteral("minimalwidgets")).toStdString();
    // Both start as a user would without a display; the post's data stays in a folder of its own.
    QTemporaryDir home;
    if (!home.isValid())
        return 1;
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    setenv("XDG_DATA_HOME", QFile::encodeName(home.filePath(QStringLiteral("data"))).constData(), 1);
    setenv("XDG_CONFIG_HOME", QFile::encodeName(home.filePath(QStringLiteral("config"))).constData(), 1);
    setenv("QUILLON_SANDBOX_DATA", QFile::encodeName(home.filePath(QStringLiteral("sandbox"))).constData(), 1);

    const std::string text = "Start-up benchmark";
    const QList<Case> cases {
        {"help", {quillon, "post", "--help"}, {reference, "--help"}},
        {"dry-run", {quillon, "post", "--dry-run", "--text", text}, {reference, "--text", text}},
    };
    const int pairs = TULOBenchSize(15, 1);
    bool met = true;
    for (const Case &measured : cases) {
        if (!measure(measured, pairs, &met))
            return 1;
    }
    return TULOBenchVerdict(met);
}

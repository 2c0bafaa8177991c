#include "benchsupport.h"

#include <QAbstractEventDispatcher>
#include <QEventLoop>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <time.h>
#include <unistd.h>

namespace {

// Reports as the console does, and remembers whether any run failed.
class TULOBenchErrorReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.error_occurred)
                m_failed = true;
        }
        ConsoleReporter::ReportRuns(runs);
    }

    bool failed() const { return m_failed; }

private:
    bool m_failed = false;
};

} // namespace

bool TULOBenchSmoke()
{
    static const bool smoke = [] {
        const char *value = std::getenv("QUILLON_BENCH_SMOKE");
        return value && *value && std::strcmp(value, "0") != 0;
    }();
    return smoke;
}

std::vector<int64_t> TULOBenchArguments(std::vector<int64_t> arguments)
{
    if (TULOBenchSmoke() && arguments.size() > 1)
        arguments.resize(1);
    return arguments;
}

bool TULOBenchRun(int argc, char **argv)
{
    // Benchmarks without a fixed iteration count stop after their first iteration.
    std::vector<char *> arguments(argv, argv + argc);
    std::string minTime = "--benchmark_min_time=0";
    if (TULOBenchSmoke())
        arguments.push_back(minTime.data());
    int count = int(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return false;
    TULOBenchErrorReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    if (reporter.failed())
        std::fprintf(stderr, "a benchmark reported an error\n");
    return !reporter.failed();
}

int TULOBenchVerdict(bool met)
{
    return met || TULOBenchSmoke() ? 0 : 2;
}

const char *TULOBenchOutcome(bool met)
{
    return TULOBenchSmoke() ? "SMOKE" : (met ? "PASS" : "FAIL");
}

bool TULOBenchWaitUntil(const std::function<bool()> &done, int timeoutMs)
{
    if (done())
        return true;
    QEventLoop loop;
    QTimer timeout;
    timeout.setSingleShot(true);
    QObject::connect(&timeout, &QTimer::timeout, &loop, &QEventLoop::quit);
    // Checked each time the loop has handled what arrived and is about to sleep.
    QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, &loop, [&] {
        if (done())
            loop.quit();
    });
    timeout.start(timeoutMs);
    loop.exec();
    return done();
}

double TULOBenchNowMs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return double(now.tv_sec) * 1e3 + double(now.tv_nsec) / 1e6;
}

namespace {

constexpr double kWatchPeriodMs = 1.0;
// A wake this much later than asked counts as a pause; below it is ordinary timer jitter.
constexpr double kLateMs = 1.0;
// Wakes between two reads of the watcher's run delay.
constexpr int kDelayReadEvery = 10;

using TULOInterval = std::pair<double, double>;

// The parts of `a` that lie in `b`; both sorted and disjoint.
std::vector<TULOInterval> intersect(const std::vector<TULOInterval> &a, const std::vector<TULOInterval> &b)
{
    std::vector<TULOInterval> both;
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        const double from = std::max(a[i].first, b[j].first), to = std::min(a[i].second, b[j].second);
        if (from < to)
            both.emplace_back(from, to);
        (a[i].second < b[j].second ? i : j)++;
    }
    return both;
}

// How long the calling thread has waited, runnable, for a processor (its schedstat run delay),
// in milliseconds; negative when it cannot be read. `fd` is its /proc/thread-self/schedstat.
double runDelayMs(int fd)
{
    char text[128];
    const ssize_t length = pread(fd, text, sizeof text - 1, 0);
    if (length <= 0)
        return -1;
    text[length] = 0;
    unsigned long long ran = 0, waited = 0;
    return std::sscanf(text, "%llu %llu", &ran, &waited) == 2 ? double(waited) / 1e6 : -1;
}

} // namespace

struct TULOMachinePauses::Watcher
{
    std::thread thread;
    std::atomic<bool> stop{false};
    mutable std::mutex mutex;
    std::vector<TULOInterval> pauses; // sorted, as they are found in time order

    // Pinned to `cpu` at the lowest real-time priority, which runs before every ordinary thread.
    // A late wake is a pause only for the part the watcher was not yet runnable: its timer's
    // interrupt itself came late, as when the host does not run the processor. The part it
    // waited runnable (a kernel that does not preempt itself finishing a long system call of
    // some thread) is this machine's own work and does not count.
    bool start(int cpu)
    {
        std::atomic<int> started{0};
        thread = std::thread([this, cpu, &started] {
            cpu_set_t set;
            CPU_ZERO(&set);
            CPU_SET(cpu, &set);
            const sched_param priority{1};
            const int schedstat = open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC);
            if (schedstat < 0 || runDelayMs(schedstat) < 0 || pthread_setaffinity_np(pthread_self(), sizeof set, &set) != 0
                || pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority) != 0) {
                if (schedstat >= 0)
                    close(schedstat);
                started = -1;
                started.notify_one();
                return;
            }
            started = 1;
            started.notify_one();
            double last = TULOBenchNowMs(), delay = runDelayMs(schedstat);
            int sinceRead = 0;
            while (!stop.load(std::memory_order_relaxed)) {
                const timespec period{0, long(kWatchPeriodMs * 1e6)};
                clock_nanosleep(CLOCK_MONOTONIC, 0, &period, nullptr);
                const double now = TULOBenchNowMs();
                // Read now and then and at a late wake, rather than at every wake: a read costs
                // microseconds. What ordinary wakes waited in between counts against a pause.
                if (now - last > kWatchPeriodMs + kLateMs || ++sinceRead >= kDelayReadEvery) {
                    const double delayNow = runDelayMs(schedstat);
                    const double unexplained = now - last - kWatchPeriodMs - (delayNow - delay);
                    if (unexplained > kLateMs) {
                        const std::lock_guard lock(mutex);
                        pauses.emplace_back(now - unexplained, now);
                    }
                    delay = delayNow;
                    sinceRead = 0;
                }
                last = now;
            }
            close(schedstat);
        });
        started.wait(0);
        return started == 1;
    }

    std::vector<TULOInterval> snapshot() const
    {
        const std::lock_guard lock(mutex);
        return pauses;
    }
};

TULOMachinePauses::TULOMachinePauses()
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof allowed, &allowed) != 0)
        return;
    m_available = CPU_COUNT(&allowed) > 0;
    for (int cpu = 0; cpu < CPU_SETSIZE && m_available; ++cpu) {
        if (!CPU_ISSET(cpu, &allowed))
            continue;
        m_watchers.push_back(std::make_unique<Watcher>());
        m_available = m_watchers.back()->start(cpu);
    }
}

TULOMachinePauses::~TULOMachinePauses()
{
    for (const auto &watcher : m_watchers) {
        watcher->stop = true;
        watcher->thread.join();
    }
}

bool TULOMachinePauses::available() const
{
    return m_available;
}

double TULOMachinePauses::pausedMs(double from, double to) const
{
    if (!m_available || m_watchers.empty() || to <= from)
        return 0;
    std::vector<TULOInterval> all{{from, to}};
    for (const auto &watcher : m_watchers)
        all = intersect(all, watcher->snapshot());
    double paused = 0;
    for (const TULOInterval &interval : all)
        paused += interval.second - interval.first;
    return paused;
}

void TULOBenchPrintPauses(bool watched, double mostPausedMs, double longestMeasuredMs)
{
    if (!watched)
        std::printf("  (whole-machine pauses cannot be watched without real-time scheduling: stalls are judged as measured)\n");
    else if (mostPausedMs >= 1.0)
        std::printf("  judged without whole-machine pauses, in which no processor ran, not even its timer interrupts: the longest "
                    "such pause in one was %.1f ms; the longest by the wall clock %.1f ms\n",
            mostPausedMs, longestMeasuredMs);
}

namespace {

constexpr double kTickMs = 1.0;

} // namespace

TULOStallWatch::TULOStallWatch()
{
    m_tick.setTimerType(Qt::PreciseTimer);
    m_tick.setInterval(int(kTickMs));
    QObject::connect(&m_tick, &QTimer::timeout, [this] {
        const double now = TULOBenchNowMs(), stall = now - m_lastTick - kTickMs;
        if (stall > 1.0)
            m_stalls.emplace_back(m_lastTick + kTickMs, now);
        else
            m_longestShort = std::max(m_longestShort, stall);
        m_lastTick = now;
    });
}

TULOStallWatch::~TULOStallWatch() = default;

void TULOStallWatch::start()
{
    if (!m_pauses)
        m_pauses = std::make_unique<TULOMachinePauses>();
    m_lastTick = TULOBenchNowMs();
    m_tick.start();
}

void TULOStallWatch::stop()
{
    m_tick.stop();
}

TULOStallWatch::Judgement TULOStallWatch::judge() const
{
    Judgement judged;
    judged.longest = judged.longestMeasured = m_longestShort;
    for (const auto &[from, to] : m_stalls) {
        const double paused = m_pauses ? m_pauses->pausedMs(from, to) : 0;
        judged.longest = std::max(judged.longest, to - from - paused);
        judged.longestMeasured = std::max(judged.longestMeasured, to - from);
        judged.mostPaused = std::max(judged.mostPaused, paused);
    }
    return judged;
}

double TULOStallWatch::longestMs() const
{
    return judge().longest;
}

double TULOStallWatch::longestMeasuredMs() const
{
    return judge().longestMeasured;
}

double TULOStallWatch::mostPausedMs() const
{
    return judge().mostPaused;
}

bool TULOStallWatch::pausesWatched() const
{
    return m_pauses && m_pauses->available();
}

void TULOStallWatch::printPauses() const
{
    const Judgement judged = judge();
    TULOBenchPrintPauses(pausesWatched(), judged.mostPaused, judged.longestMeasured);
}

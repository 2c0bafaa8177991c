#include "benchsupport.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include <pthread.h>
#include <sched.h>
#include <time.h>

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

} // namespace

struct TULOMachinePauses::Watcher
{
    std::thread thread;
    std::atomic<bool> stop{false};
    mutable std::mutex mutex;
    std::vector<TULOInterval> pauses; // sorted, as they are found in time order

    // Pinned to `cpu` at the lowest real-time priority, which still runs before every ordinary
    // thread: if it woke late, nothing on that processor could have run.
    bool start(int cpu)
    {
        std::atomic<int> started{0};
        thread = std::thread([this, cpu, &started] {
            cpu_set_t set;
            CPU_ZERO(&set);
            CPU_SET(cpu, &set);
            const sched_param priority{1};
            if (pthread_setaffinity_np(pthread_self(), sizeof set, &set) != 0
                || pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority) != 0) {
                started = -1;
                started.notify_one();
                return;
            }
            started = 1;
            started.notify_one();
            double last = TULOBenchNowMs();
            while (!stop.load(std::memory_order_relaxed)) {
                const timespec period{0, long(kWatchPeriodMs * 1e6)};
                clock_nanosleep(CLOCK_MONOTONIC, 0, &period, nullptr);
                const double now = TULOBenchNowMs();
                if (now - last > kWatchPeriodMs + kLateMs) {
                    const std::lock_guard lock(mutex);
                    pauses.emplace_back(last + kWatchPeriodMs, now);
                }
                last = now;
            }
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
        auto *watcher = new Watcher;
        m_watchers.push_back(watcher);
        m_available = watcher->start(cpu);
    }
}

TULOMachinePauses::~TULOMachinePauses()
{
    for (Watcher *watcher : m_watchers) {
        watcher->stop = true;
        watcher->thread.join();
        delete watcher;
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
    for (const Watcher *watcher : m_watchers)
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
        std::printf("  judged without whole-machine pauses, in which no processor ran even a real-time thread: the longest such "
                    "pause in one was %.1f ms; the longest by the wall clock %.1f ms\n",
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

double TULOStallWatch::longestMs() const
{
    double longest = m_longestShort;
    for (const auto &[from, to] : m_stalls)
        longest = std::max(longest, to - from - (m_pauses ? m_pauses->pausedMs(from, to) : 0));
    return longest;
}

double TULOStallWatch::longestMeasuredMs() const
{
    double longest = m_longestShort;
    for (const auto &[from, to] : m_stalls)
        longest = std::max(longest, to - from);
    return longest;
}

double TULOStallWatch::mostPausedMs() const
{
    double most = 0;
    for (const auto &[from, to] : m_stalls)
        most = std::max(most, m_pauses ? m_pauses->pausedMs(from, to) : 0);
    return most;
}

bool TULOStallWatch::pausesWatched() const
{
    return m_pauses && m_pauses->available();
}

void TULOStallWatch::printPauses() const
{
    TULOBenchPrintPauses(pausesWatched(), mostPausedMs(), longestMeasuredMs());
}

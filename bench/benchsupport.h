#pragma once

// What every benchmark shares: smoke mode and running with an exit code that tells.

#include <benchmark/benchmark.h>

#include <QTimer>

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

// Smoke mode (QUILLON_BENCH_SMOKE=1, which `./quillon bench --smoke` sets): each benchmark runs
// once on its smallest input, to show that it still builds and works. Its times mean nothing,
// so targets are printed but not judged.
bool TULOBenchSmoke();

// `full`, or `smoke` in smoke mode.
template<typename T>
T TULOBenchSize(T full, T smoke)
{
    return TULOBenchSmoke() ? smoke : full;
}

// The arguments a benchmark runs for: all of them, or the first in smoke mode.
std::vector<int64_t> TULOBenchArguments(std::vector<int64_t> arguments);

// Runs the benchmarks the command line selects. False when an argument is not understood or a
// benchmark reported an error (state.SkipWithError), so that a broken benchmark fails its run.
bool TULOBenchRun(int argc, char **argv);

// The exit code of a run whose target was `met` or not: 2 for a miss, never in smoke mode.
int TULOBenchVerdict(bool met);

// The word printed after a target: PASS or FAIL, or SMOKE in smoke mode, where one run on the
// smallest input says nothing about a target.
const char *TULOBenchOutcome(bool met);

// Runs the calling thread's event loop until `done` holds or `timeoutMs` passed, and says whether
// it holds. The loop sleeps between events, as an application's does while the user waits:
// QCoreApplication::processEvents(flags, ms) drops WaitForMoreEvents and spins, which takes a
// processor from the threads doing the work being measured.
bool TULOBenchWaitUntil(const std::function<bool()> &done, int timeoutMs);

// Now on the monotonic clock, in milliseconds: the clock TULOMachinePauses records on.
double TULOBenchNowMs();

// Whole-machine pauses: stretches in which no processor of this machine ran anything, not even a
// timer interrupt, as when the host of a virtual machine stops running it. A GUI-thread stall
// that falls in one is the machine's, not the program's. One real-time thread pinned to each
// processor wakes every millisecond; the part of a late wake in which it was not even runnable
// (its timer's interrupt came late) is a pause of that processor, and the machine was paused
// where every processor was. Watching needs real-time scheduling (root or CAP_SYS_NICE) and
// schedstat; without them available() is false and nothing counts as a pause, so stalls are
// judged as measured.
class TULOMachinePauses
{
public:
    TULOMachinePauses();
    ~TULOMachinePauses();
    TULOMachinePauses(const TULOMachinePauses &) = delete;
    TULOMachinePauses &operator=(const TULOMachinePauses &) = delete;

    bool available() const;
    // Milliseconds of [from, to] (TULOBenchNowMs) in which every processor was paused. A pause
    // shows once the processors run again: ask after the stretch, not during it.
    double pausedMs(double from, double to) const;

private:
    struct Watcher;
    std::vector<std::unique_ptr<Watcher>> m_watchers;
    bool m_available = false;
};

// The line under a stall target judged without whole-machine pauses: how much was left out and
// the longest stall by the wall clock, or that pauses could not be watched. Nothing when no
// pause of a millisecond or more fell in a stall.
void TULOBenchPrintPauses(bool watched, double mostPausedMs, double longestMeasuredMs);

// The longest time the thread it is made on stayed away from its event loop: a precise 1 ms
// tick, each late arrival a stall. Whole-machine pauses in a stall are left out of it.
class TULOStallWatch
{
public:
    TULOStallWatch();
    ~TULOStallWatch();

    void start();
    void stop();

    // Without whole-machine pauses; the target is judged on this.
    double longestMs() const;
    // By the wall clock.
    double longestMeasuredMs() const;
    // The most of a stall that was a whole-machine pause.
    double mostPausedMs() const;
    bool pausesWatched() const;
    void printPauses() const;

private:
    struct Judgement {
        double longest = 0, longestMeasured = 0, mostPaused = 0; // ms
    };
    // Every stall judged once against the pauses.
    Judgement judge() const;

    QTimer m_tick;
    double m_lastTick = 0;
    std::vector<std::pair<double, double>> m_stalls; // over a millisecond: start and end, judged later
    double m_longestShort = 0;
    std::unique_ptr<TULOMachinePauses> m_pauses;
};

#pragma once

// What every benchmark shares: smoke mode and running with an exit code that tells.

#include <benchmark/benchmark.h>

#include <cstdint>
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

// Now on the monotonic clock, in milliseconds: the clock TULOMachinePauses records on.
double TULOBenchNowMs();

// Whole-machine pauses: stretches in which no processor of this machine ran anything, not even a
// real-time thread, as when the host of a virtual machine deschedules it. A GUI-thread stall that
// falls in one is the machine's, not the program's. One real-time thread pinned to each
// processor wakes every millisecond; where all of them woke late at once, the machine was paused.
// Watching needs real-time scheduling (root or CAP_SYS_NICE); without it available() is false
// and nothing counts as a pause, so stalls are judged as measured.
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
    std::vector<Watcher *> m_watchers;
    bool m_available = false;
};

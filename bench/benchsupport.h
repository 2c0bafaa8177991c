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

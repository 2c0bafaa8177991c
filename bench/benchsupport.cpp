#include "benchsupport.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

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

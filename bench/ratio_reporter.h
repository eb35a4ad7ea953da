// Reports benchmarks as usual and keeps each one's CPU time per iteration,
// so that a program can print the ratio of a hot path to its peer after the
// runs. With repetitions, the median stands for the benchmark (on a shared,
// noisy machine the CPU time of the median run is the steadiest figure).
#ifndef SPRIG_BENCH_RATIO_REPORTER_H
#define SPRIG_BENCH_RATIO_REPORTER_H

#include <benchmark/benchmark.h>

#include <cmath>
#include <map>
#include <string>
#include <vector>

class RatioReporter : public benchmark::ConsoleReporter
{
  public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred)
                continue;
            if (run.run_type == Run::RT_Iteration || run.aggregate_name == "median")
                mTimes[run.run_name.str()] = run.GetAdjustedCPUTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // The time of a benchmark by its name with arguments ("BM_Copy/255"), or
    // NaN when it did not run.
    double Time(const std::string& name) const
    {
        const auto found = mTimes.find(name);
        return found == mTimes.end() ? NAN : found->second;
    }

  private:
    std::map<std::string, double> mTimes;
};

#endif

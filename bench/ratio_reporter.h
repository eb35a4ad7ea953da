// Reports benchmarks as usual and keeps each one's CPU time per iteration,
// so that a program can print the ratio of a hot path to its peer (sprig /
// peer) after the runs. With repetitions, the median of the repetitions
// stands for the benchmark (interleave them on a shared machine: the CPU
// time of the median run is the steadiest figure there). When only the
// aggregates are reported, the median aggregate stands for it.
#ifndef SPRIG_BENCH_RATIO_REPORTER_H
#define SPRIG_BENCH_RATIO_REPORTER_H

#include <benchmark/benchmark.h>

#include <algorithm>
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
            if (run.run_type == Run::RT_Iteration)
                mTimes[run.run_name.str()].push_back(run.GetAdjustedCPUTime());
            else if (run.aggregate_name == "median")
                mMedians[run.run_name.str()] = run.GetAdjustedCPUTime();
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // The time of a benchmark by its name with arguments ("BM_Copy/255"):
    // the median over its repetitions, or NaN when it did not run.
    double Time(const std::string& name) const
    {
        const auto found = mTimes.find(name);
        if (found == mTimes.end() || found->second.empty()) {
            const auto median = mMedians.find(name);
            return median == mMedians.end() ? NAN : median->second;
        }
        std::vector<double> t = found->second;
        std::sort(t.begin(), t.end());
        const size_t n = t.size();
        return n % 2 ? t[n / 2] : (t[n / 2 - 1] + t[n / 2]) / 2;
    }

  private:
    std::map<std::string, std::vector<double>> mTimes;
    std::map<std::string, double> mMedians;
};

#endif

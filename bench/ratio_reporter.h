// Reports benchmarks as usual and keeps the CPU and real time per iteration
// of every repetition of each benchmark, so that a program can print the
// ratio of a hot path to its peer (sprig / peer) after the runs. With
// repetitions, the median of the repetitions stands for the benchmark
// (interleave them on a shared machine: the CPU time of the median run is
// the steadiest figure there). When only the aggregates are reported, the
// median aggregate stands for it.
#ifndef SPRIG_BENCH_RATIO_REPORTER_H
#define SPRIG_BENCH_RATIO_REPORTER_H

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <string>
#include <vector>

enum class Clock
{
    kCpu,
    kReal
};

class RatioReporter : public benchmark::ConsoleReporter
{
  public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        for (const Run& run : runs) {
            if (run.error_occurred)
                continue;
            const std::string name = run.run_name.str();
            if (run.run_type == Run::RT_Iteration) {
                mTimes[Key(Clock::kCpu, name)].push_back(run.GetAdjustedCPUTime());
                mTimes[Key(Clock::kReal, name)].push_back(run.GetAdjustedRealTime());
            } else if (run.aggregate_name == "median") {
                mMedians[Key(Clock::kCpu, name)] = run.GetAdjustedCPUTime();
                mMedians[Key(Clock::kReal, name)] = run.GetAdjustedRealTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // The time of a benchmark by its name with arguments ("BM_Copy/255"):
    // the median over its repetitions, or NaN when it did not run.
    double Time(const std::string& name, Clock clock = Clock::kCpu) const
    {
        double summary[3];
        if (Summary(name, summary, clock))
            return summary[0];
        const auto median = mMedians.find(Key(clock, name));
        return median == mMedians.end() ? NAN : median->second;
    }

    // Median, lowest and highest over the repetitions, or false when the
    // benchmark's repetitions were not reported.
    bool Summary(const std::string& name, double out[3], Clock clock = Clock::kCpu) const
    {
        const std::vector<double>& t = Repetitions(name, clock);
        if (t.empty())
            return false;
        out[0] = Median(t);
        out[1] = *std::min_element(t.begin(), t.end());
        out[2] = *std::max_element(t.begin(), t.end());
        return true;
    }

    // Every repetition's time in the order they ran; empty when none was
    // reported.
    const std::vector<double>& Repetitions(const std::string& name, Clock clock = Clock::kCpu) const
    {
        static const std::vector<double> kNone;
        const auto found = mTimes.find(Key(clock, name));
        return found == mTimes.end() ? kNone : found->second;
    }

    static double Median(std::vector<double> values)
    {
        if (values.empty())
            return NAN;
        std::sort(values.begin(), values.end());
        const size_t n = values.size();
        return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
    }

  private:
    static std::string Key(Clock clock, const std::string& name)
    {
        return (clock == Clock::kCpu ? "cpu " : "real ") + name;
    }

    std::map<std::string, std::vector<double>> mTimes;
    std::map<std::string, double> mMedians;
};

// Initializes Google Benchmark with these flags added unless the command
// line gives them ("--benchmark_repetitions=9", ...): the defaults a program
// needs for medians of interleaved repetitions.
inline void InitializeWithDefaults(int argc, char** argv, std::vector<std::string> defaults)
{
    std::vector<char*> args(argv, argv + argc);
    for (std::string& flag : defaults) {
        const size_t nameLength = flag.find('=');
        const bool given = std::any_of(args.begin() + 1, args.end(), [&](const char* a) {
            return std::strncmp(a, flag.c_str(), nameLength) == 0;
        });
        if (!given)
            args.push_back(&flag[0]);
    }
    int count = static_cast<int>(args.size());
    benchmark::Initialize(&count, args.data());
}

#endif

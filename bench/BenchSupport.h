#pragma once
// Collects Google Benchmark results by name so a bench can print ratios against a baseline
// measured in the same run.

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

class CollectingReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) continue;
            const std::string name = run.benchmark_name();
            // With repetitions keep the median aggregate; without, the single run.
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
            const std::string key = run.run_type == Run::RT_Aggregate
                                        ? run.run_name.str()
                                        : name;
            nsPerIteration[key] = run.GetAdjustedRealTime() *
                                  (run.time_unit == benchmark::kNanosecond    ? 1
                                   : run.time_unit == benchmark::kMicrosecond ? 1e3
                                   : run.time_unit == benchmark::kMillisecond ? 1e6
                                                                              : 1e9);
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> nsPerIteration;
};

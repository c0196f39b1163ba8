#pragma once
// Collects Google Benchmark results by name so a bench can print ratios against a baseline
// measured in the same run.

#include <benchmark/benchmark.h>

#include <algorithm>

#include <map>
#include <string>
#include <vector>

#include "SectionMatch.h"
#include "EQ.h"

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

// The plain bilinear design of a band's analogue sections, prewarped at fw Hz: the baseline
// the matched design is measured against. Returns the section count.
inline int bilinearBand(const EQ& band, double fw, double fs, DigitalSection* out) {
    AnalogueSectionSet set;
    band.analogueSections(&set, false);
    for (int i = 0; i < set.count; ++i) {
        AnalogueSection s = set.sections[i];
        s.n1 *= kTwoPi, s.d1 *= kTwoPi, s.n0 *= kTwoPi * kTwoPi, s.d0 *= kTwoPi * kTwoPi;
        out[i] = bilinearWarped(s, fw, fs);
    }
    return set.count;
}

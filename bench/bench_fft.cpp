// Forward complex FFT, in place, double precision: cdft against FFTW on the same buffers,
// measured in the same run. FFTW plans with FFTW_MEASURE (the fastest plan it finds); the
// FFTW_ESTIMATE plan is listed beside it.

#include <fftw3.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <random>
#include <string>

#include "BenchSupport.h"
#include "Fft.h"

namespace {

constexpr int kSmallest = 1024, kLargest = 262144;

// A forward transform grows noise by sqrt(m); every 32 transforms the buffer is scaled back
// by m^16, a power of two, so that values stay normal. Both sides do the same.
constexpr int kRescaleEvery = 32;

struct Buffer {
    double* data;
    int points;
    explicit Buffer(int m)
        : data(static_cast<double*>(fftw_malloc(sizeof(double) * 2 * m))), points(m) {
        std::mt19937 rng{unsigned(m)};
        std::uniform_real_distribution<double> d(-1, 1);
        for (int i = 0; i < 2 * m; ++i) data[i] = d(rng);
    }
    ~Buffer() { fftw_free(data); }
    void rescale() {
        const double f = std::ldexp(1.0, -16 * int(std::lround(std::log2(points))));
        for (int i = 0; i < 2 * points; ++i) data[i] *= f;
    }
};

void BM_Cdft(benchmark::State& state) {
    const int m = int(state.range(0));
    Buffer b(m);
    FftTables t;
    t.reserve(2 * m);
    cdft(2 * m, -1, b.data, t.ip.data(), t.w.data()); // tables built outside the timing
    int count = 0;
    for (auto _ : state) {
        cdft(2 * m, -1, b.data, t.ip.data(), t.w.data());
        if (++count == kRescaleEvery) b.rescale(), count = 0;
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * m);
}

void runFftw(benchmark::State& state, unsigned flags) {
    const int m = int(state.range(0));
    Buffer b(m);
    auto* z = reinterpret_cast<fftw_complex*>(b.data);
    // Planning with MEASURE overwrites the buffer, so it is refilled afterwards.
    Buffer source(m);
    fftw_plan plan = fftw_plan_dft_1d(m, z, z, FFTW_FORWARD, flags);
    std::memcpy(b.data, source.data, sizeof(double) * 2 * m);
    int count = 0;
    for (auto _ : state) {
        fftw_execute(plan);
        if (++count == kRescaleEvery) b.rescale(), count = 0;
        benchmark::ClobberMemory();
    }
    fftw_destroy_plan(plan);
    state.SetItemsProcessed(state.iterations() * m);
}

void BM_FftwMeasure(benchmark::State& state) { runFftw(state, FFTW_MEASURE); }
void BM_FftwEstimate(benchmark::State& state) { runFftw(state, FFTW_ESTIMATE); }

} // namespace

BENCHMARK(BM_Cdft)->RangeMultiplier(2)->Range(kSmallest, kLargest)->Repetitions(5);
BENCHMARK(BM_FftwMeasure)->RangeMultiplier(2)->Range(kSmallest, kLargest)->Repetitions(5);
BENCHMARK(BM_FftwEstimate)->RangeMultiplier(2)->Range(kSmallest, kLargest)->Repetitions(5);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto ns = [&](const char* name, int m) {
        const std::string key = std::string(name) + "/" + std::to_string(m) + "/repeats:5";
        return reporter.nsPerIteration.count(key) ? reporter.nsPerIteration[key] : NAN;
    };
    std::printf("\nForward complex FFT, in place, double (median of 5)\n");
    std::printf("%8s %12s %14s %15s %12s %13s\n", "points", "cdft ns", "fftw meas. ns",
                "fftw estim. ns", "cdft/meas.", "cdft/estim.");
    for (int m = kSmallest; m <= kLargest; m *= 2) {
        const double ours = ns("BM_Cdft", m), measured = ns("BM_FftwMeasure", m),
                     estimated = ns("BM_FftwEstimate", m);
        std::printf("%8d %12.0f %14.0f %15.0f %12.2f %13.2f\n", m, ours, measured, estimated,
                    ours / measured, ours / estimated);
    }
    return 0;
}

// The effect's own costs around the engine: the whole processReplacing path against
// EQBank::processBlock alone, and setParameter (one band gain, which runs the transfer over
// all 32 bands) against the 32 x 9 band setters it cannot avoid.

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "MedianTime.h"
#include "Instances.h"
#include "Plug.h"

namespace {

constexpr float kRate = 48000;

// No timer behind the measurement's back: pending transfers are not picked up mid-run.
class NoTicks : public TickDriver {
public:
    void start(void (*)()) override {}
    void stop() override {}
};

float bandFrequency(int b) { return float(30 * std::pow(600.0, b / 31.0)); }

std::unique_ptr<Plug> makePlug() {
    auto plug = std::make_unique<Plug>(nullptr);
    plug->setSampleRate(kRate);
    plug->resume();
    for (int b = 0; b < kNumBands; ++b) {
        const auto set = [&](int kind, float v) {
            plug->setParameter(bandParam(b, kind), paramCurveNormal(bandParam(b, kind), v));
        };
        set(kKindState, 2);
        set(kKindGain, b % 2 ? 3.f / 18 : -3.f / 18);
        set(kKindQ, 1.5f);
        set(kKindFrequency, bandFrequency(b));
    }
    plug->transferParams(true);
    return plug;
}

void configureBank(EQBank& bank) {
    bank.setSampleRate(kRate);
    for (int b = 0; b < kNumBands; ++b) {
        bank.setType(kEQPeak, b, 3);
        bank.setGain(b % 2 ? 3.f : -3.f, b, 3);
        bank.setQ(1.5f, b, 3);
        bank.setFrequency(bandFrequency(b), b, 3);
        bank.setOff(0, b, 3);
    }
    bank.setMode(kModeIIR);
}

template <typename T> struct Signal {
    std::vector<T> source[2], io[2];
    T* ptr[2];
    explicit Signal(int frames) {
        std::mt19937 rng(7);
        std::uniform_real_distribution<double> d(-0.5, 0.5);
        for (int c = 0; c < 2; ++c) {
            for (int i = 0; i < frames; ++i) source[c].push_back(T(d(rng)));
            io[c] = source[c];
            ptr[c] = io[c].data();
        }
    }
    void refill() {
        for (int c = 0; c < 2; ++c) std::copy(source[c].begin(), source[c].end(), io[c].begin());
    }
};

void BM_Plugin(benchmark::State& state) {
    const int frames = int(state.range(0));
    auto plug = makePlug();
    Signal<float> s(frames);
    for (int i = 0; i < 40; ++i) plug->processReplacing(s.ptr, s.ptr, frames); // ramps done
    for (auto _ : state) {
        s.refill();
        plug->processReplacing(s.ptr, s.ptr, frames);
        benchmark::ClobberMemory();
    }
}

void BM_BankAlone(benchmark::State& state) {
    const int frames = int(state.range(0));
    EQBank bank(8192, 64, kNumBands, 2);
    configureBank(bank);
    Signal<double> s(frames);
    for (int i = 0; i < 40; ++i) bank.processBlock(s.ptr, frames, 2);
    for (auto _ : state) {
        s.refill();
        bank.processBlock(s.ptr, frames, 2);
        benchmark::ClobberMemory();
    }
}

// Median of single calls, timed one by one, so that the rare call that finds a new time bucket
// and redesigns does not count as the typical one.

} // namespace

BENCHMARK(BM_Plugin)->Arg(64)->Arg(256)->Repetitions(7);
BENCHMARK(BM_BankAlone)->Arg(64)->Arg(256)->Repetitions(7);

int main(int argc, char** argv) {
    // The effect reads and writes its settings; keep them out of the user's folders.
    char pattern[] = "/tmp/tessarine-bench-XXXXXX";
    const std::string home = mkdtemp(pattern);
    setenv("HOME", home.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
    NoTicks noTicks;
    setTickDriver(&noTicks);

    benchmark::Initialize(&argc, argv);
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nprocessReplacing, stereo, 32 peak bands, 48 kHz (median of 7)\n");
    std::printf("%6s %16s %16s %10s\n", "block", "plug-in ns/blk", "bank ns/blk", "overhead");
    for (int frames : {64, 256}) {
        char plugName[64], bankName[64];
        std::snprintf(plugName, sizeof plugName, "BM_Plugin/%d/repeats:7", frames);
        std::snprintf(bankName, sizeof bankName, "BM_BankAlone/%d/repeats:7", frames);
        const auto plug = reporter.nsPerIteration.find(plugName);
        const auto bank = reporter.nsPerIteration.find(bankName);
        if (plug == reporter.nsPerIteration.end() || bank == reporter.nsPerIteration.end()) continue;
        std::printf("%6d %16.0f %16.0f %9.1f%%\n", frames, plug->second, bank->second,
                    100.0 * (plug->second / bank->second - 1.0));
    }

    auto plug = makePlug();
    const double setParameter = 1000 * medianMs(20001, [&](int i) {
        plug->setParameter(kBand7Gain, float(i % 100) / 100.0f);
    });
    EQBank bank(8192, 64, kNumBands, 2);
    configureBank(bank);
    const double setters = 1000 * medianMs(20001, [&](int i) {
        for (int b = 0; b < kNumBands; ++b) {
            bank.setOff(0, b, 3);
            bank.setType(kEQPeak, b, ~0u);
            bank.setSubtype(0, b, ~0u);
            bank.setGain(float(i % 7), b, ~0u);
            bank.setFrequency(bandFrequency(b), b, ~0u);
            bank.setQ(1.5f, b, ~0u);
            bank.setShift(0, b, ~0u);
            bank.setPhase(0, b, ~0u);
            bank.setOrder(2, b, ~0u);
        }
    });
    std::printf("\nsetParameter of one band gain (median of 20001 calls)\n");
    std::printf("%14s %22s %8s %16s\n", "setParameter", "32 x 9 bank setters", "ratio", "budget 20 us");
    std::printf("%11.2f us %19.2f us %8.2f %15.0f%%\n", setParameter, setters, setParameter / setters,
                100.0 * setParameter / 20.0);
    plug.reset();
    std::filesystem::remove_all(home);
    return 0;
}

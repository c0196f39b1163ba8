// IIR cost of EQBank::processBlock against a plain textbook loop of the same number of
// double-precision DF1 biquads, stereo at 48 kHz.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "BenchSupport.h"
#include "EQBank.h"

namespace {

constexpr float kRate = 48000;

enum Load { kPeaks32 = 0, kCuts8x8 = 1 };
const char* const kLoadNames[] = {"32 peak bands", "8 order-8 cuts"};

void configure(EQBank& bank, Load load) {
    bank.setSampleRate(kRate);
    for (int b = 0; b < 32; ++b) {
        const bool active = load == kPeaks32 || b < 8;
        if (!active) continue;
        const float f = float(30 * std::pow(600.0, b / 31.0));
        if (load == kPeaks32) {
            bank.setType(kEQPeak, b, 3);
            bank.setGain(b % 2 ? 3.f : -3.f, b, 3);
            bank.setQ(1.5f, b, 3);
        } else {
            bank.setType(b % 2 ? kEQHighPass : kEQLowPass, b, 3);
            bank.setSubtype(kCutButterworth, b, 3);
            bank.setOrder(8, b, 3);
        }
        bank.setFrequency(load == kPeaks32 ? f : (b % 2 ? 20.f + b : 20000.f - 100 * b), b, 3);
        bank.setOff(0, b, 3);
    }
    bank.setMode(kModeIIR);
}

// Every iteration starts from the same noise, copied in (in both the bank and the baseline),
// so that repeated filtering can neither blow up nor decay into denormals.
struct Signal {
    std::vector<double> sourceLeft, sourceRight, left, right;
    explicit Signal(int frames)
        : sourceLeft(size_t(frames)), sourceRight(size_t(frames)), left(size_t(frames)),
          right(size_t(frames)) {
        std::mt19937 rng(7);
        std::uniform_real_distribution<double> d(-0.5, 0.5);
        for (int i = 0; i < frames; ++i) sourceLeft[i] = d(rng), sourceRight[i] = d(rng);
        refill();
    }
    void refill() {
        std::copy(sourceLeft.begin(), sourceLeft.end(), left.begin());
        std::copy(sourceRight.begin(), sourceRight.end(), right.begin());
    }
};

void BM_Bank(benchmark::State& state) {
    const int frames = int(state.range(0));
    const Load load = Load(state.range(1));
    EQBank bank(8192, 64, 32, 2);
    configure(bank, load);
    Signal signal(frames);
    double* buffers[2] = {signal.left.data(), signal.right.data()};
    for (int i = 0; i < 40; ++i) bank.processBlock(buffers, frames, 2); // ramps done
    for (auto _ : state) {
        signal.refill();
        bank.processBlock(buffers, frames, 2);
        benchmark::DoNotOptimize(signal.left.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

// The baseline: one section at a time over the block, state in locals, no ramp, no guard.
void BM_PlainBiquads(benchmark::State& state) {
    const int frames = int(state.range(0));
    const int sections = 32;
    struct Biquad {
        double b0, b1, b2, a1, a2, x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    };
    std::vector<Biquad> chain[2];
    for (auto& ch : chain)
        for (int s = 0; s < sections; ++s)
            ch.push_back({1.01, -1.9, 0.9, -1.9, 0.91});
    Signal signal(frames);
    double* buffers[2] = {signal.left.data(), signal.right.data()};
    for (auto _ : state) {
        signal.refill();
        for (int c = 0; c < 2; ++c)
            for (Biquad& q : chain[c]) {
                double x1 = q.x1, x2 = q.x2, y1 = q.y1, y2 = q.y2;
                double* x = buffers[c];
                for (int i = 0; i < frames; ++i) {
                    const double y = q.b0 * x[i] + q.b1 * x1 + q.b2 * x2 - q.a1 * y1 - q.a2 * y2;
                    x2 = x1, x1 = x[i], y2 = y1, y1 = y;
                    x[i] = y;
                }
                q.x1 = x1, q.x2 = x2, q.y1 = y1, q.y2 = y2;
            }
        benchmark::DoNotOptimize(signal.left.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * frames);
}

} // namespace

BENCHMARK(BM_Bank)->ArgsProduct({{64, 256, 1024}, {kPeaks32, kCuts8x8}})->Repetitions(5);
BENCHMARK(BM_PlainBiquads)->Arg(64)->Arg(256)->Arg(1024)->Repetitions(5);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\nIIR cost, stereo, 48 kHz, 32 sections per channel (median of 5)\n");
    std::printf("%-16s %6s %12s %14s %8s %18s\n", "load", "block", "ns/frame", "plain ns/frame",
                "ratio", "ns/section/frame");
    for (int load : {kPeaks32, kCuts8x8})
        for (int frames : {64, 256, 1024}) {
            const std::string bank =
                "BM_Bank/" + std::to_string(frames) + "/" + std::to_string(load) + "/repeats:5";
            const std::string plain = "BM_PlainBiquads/" + std::to_string(frames) + "/repeats:5";
            if (!reporter.nsPerIteration.count(bank) || !reporter.nsPerIteration.count(plain))
                continue;
            const double b = reporter.nsPerIteration[bank] / frames;
            const double p = reporter.nsPerIteration[plain] / frames;
            std::printf("%-16s %6d %12.2f %14.2f %8.3f %18.3f\n", kLoadNames[load], frames, b, p,
                        b / p, b / 64);
        }
    return 0;
}

// The stereo linked convolver at 48 kHz: mean cost per frame and the worst host block against
// its real-time deadline, for long impulses and common block sizes. Each block is timed on its
// own, so the worst case (the block in which the largest level falls due) is seen directly.
//
// Baseline, measured in the same run with the same blocks: the convolver at 32 taps, which has
// only tap 0 and the direct levels (1 to 16), i.e. the fixed per-sample work without any
// transform. "x base" is the cost over that baseline.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "PartitionedConvolver.h"

namespace {

constexpr double kRate = 48000;
constexpr int kSeconds = 10;

struct Result {
    double meanNsPerFrame, worstBlockNs, p999BlockNs;
};

Result measure(int taps, int block) {
    PartitionedConvolver c;
    c.setLength(taps);
    std::mt19937 rng{unsigned(taps)};
    std::uniform_real_distribution<double> d(-1, 1);
    std::vector<double> h(static_cast<size_t>(taps));
    for (int i = 0; i < taps; ++i) h[size_t(i)] = d(rng) * std::exp(-4.0 * i / taps);
    c.load(h.data());

    const int sourceLen = 1 << 16;
    std::vector<double> left(sourceLen), right(sourceLen), out1(static_cast<size_t>(block)),
        out2(static_cast<size_t>(block));
    for (int i = 0; i < sourceLen; ++i) left[size_t(i)] = d(rng), right[size_t(i)] = d(rng);

    // One impulse length untimed first, so that every level has run once.
    const long frames = long(kSeconds * kRate) / block * block;
    const long warmFrames = std::max<long>(taps, 4096) / block * block;
    std::vector<double> blockNs;
    blockNs.reserve(size_t(frames / block));
    long at = 0;
    for (long done = 0; done < warmFrames + frames; done += block) {
        const size_t offset = size_t(at % (sourceLen - block));
        at += block;
        const auto t0 = std::chrono::steady_clock::now();
        c.processBlock(&left[offset], &right[offset], out1.data(), out2.data(), block);
        const auto t1 = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(out1.data());
        benchmark::DoNotOptimize(out2.data());
        if (done >= warmFrames)
            blockNs.push_back(std::chrono::duration<double, std::nano>(t1 - t0).count());
    }
    double total = 0;
    for (double v : blockNs) total += v;
    std::vector<double> sorted = blockNs;
    std::sort(sorted.begin(), sorted.end());
    const size_t p999 = size_t(0.999 * double(sorted.size() - 1));
    return {total / double(frames), sorted.back(), sorted[p999]};
}

} // namespace

int main() {
    const double framePeriodNs = 1e9 / kRate;
    std::printf("Stereo linked convolver, 48 kHz, %d s of audio per row; "
                "one core = %.0f ns/frame\n",
                kSeconds, framePeriodNs);
    std::printf("Baseline: the same convolver at 32 taps (direct levels only), same blocks\n\n");
    std::printf("%7s %6s %11s %10s %8s %13s %13s %12s %12s\n", "taps", "block", "ns/frame",
                "% core", "x base", "worst block", "% deadline", "p99.9 block", "% deadline");
    for (int block : {64, 256, 1024}) {
        const double deadline = block * framePeriodNs;
        double baseline = 0;
        for (int taps : {32, 8192, 65536, 262144}) {
            const Result r = measure(taps, block);
            if (taps == 32) baseline = r.meanNsPerFrame;
            std::printf("%7d %6d %11.1f %9.3f%% %8.2f %10.1f us %12.2f%% %9.1f us %11.2f%%\n",
                        taps, block, r.meanNsPerFrame, 100 * r.meanNsPerFrame / framePeriodNs,
                        r.meanNsPerFrame / baseline, r.worstBlockNs / 1e3,
                        100 * r.worstBlockNs / deadline, r.p999BlockNs / 1e3,
                        100 * r.p999BlockNs / deadline);
        }
    }
    return 0;
}

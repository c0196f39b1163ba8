// The partitioned convolver against direct convolution: lengths, mono and stereo, host block
// patterns, the impulse hand-over while running, clear, and a load from another thread.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <random>
#include <thread>
#include <vector>

#include "PartitionedConvolver.h"

namespace {

std::vector<double> noise(size_t count, unsigned seed) {
    std::mt19937 rng{seed};
    std::uniform_real_distribution<double> d(-1, 1);
    std::vector<double> v(count, 0.0);
    for (double& x : v) x = d(rng);
    return v;
}

// y[t] = sum_k h[k] x[t - k], in long double, at one index.
double directAt(const std::vector<double>& h, const std::vector<double>& x, size_t t) {
    const size_t taps = std::min(h.size(), t + 1);
    const double* hp = h.data();
    const double* xp = x.data() + t;
    long double s = 0;
    for (size_t k = 0; k < taps; ++k) s += (long double)hp[k] * xp[-ptrdiff_t(k)];
    return double(s);
}

// Host block sizes cycled through a run; 0 stands for the per-sample calls.
const std::vector<int> kBlockPattern = {0, 1, 7, 64, 0, 513, 3, 1024, 255, 257, 4096, 31};

struct Output {
    std::vector<double> left, right;
};

// Runs x1 (and x2 in the stereo form) through in the given block pattern.
Output run(PartitionedConvolver& c, const std::vector<double>& x1, const std::vector<double>* x2,
           const std::vector<int>& pattern, size_t from = 0, size_t to = SIZE_MAX) {
    to = std::min(to, x1.size());
    Output out;
    out.left.assign(x1.size(), 0.0);
    out.right.assign(x1.size(), 0.0);
    size_t i = from, step = 0;
    while (i < to) {
        const int block = pattern[step++ % pattern.size()];
        if (block == 0) {
            if (x2)
                c.process(x1[i], (*x2)[i], out.left[i], out.right[i]);
            else
                out.left[i] = c.process(x1[i]);
            ++i;
            continue;
        }
        const int n = int(std::min<size_t>(size_t(block), to - i));
        if (x2)
            c.processBlock(&x1[i], &(*x2)[i], &out.left[i], &out.right[i], n);
        else
            c.processBlock(&x1[i], &out.left[i], n);
        i += size_t(n);
    }
    return out;
}

// Indices where the output is checked: everything for short runs; otherwise both ends, the
// wrap of the position, the due samples of the largest levels and a random sample.
std::vector<size_t> indicesToCheck(size_t runLength, int N) {
    std::vector<size_t> idx;
    if (runLength <= 6000) {
        for (size_t t = 0; t < runLength; ++t) idx.push_back(t);
        return idx;
    }
    auto around = [&](size_t centre) {
        for (size_t t = centre > 3 ? centre - 3 : 0; t <= centre + 3 && t < runLength; ++t)
            idx.push_back(t);
    };
    for (size_t t : {size_t(0), size_t(N / 4), size_t(N / 2), size_t(3 * N / 4), size_t(N),
                     runLength - 4})
        around(t);
    std::mt19937 rng{unsigned(N)};
    std::uniform_int_distribution<size_t> d(0, runLength - 1);
    for (int i = 0; i < 40; ++i) idx.push_back(d(rng));
    return idx;
}

// Largest error over the checked indices relative to the RMS of the expected output there.
double relativeError(const std::vector<double>& h, const std::vector<double>& x,
                     const std::vector<double>& y, const std::vector<size_t>& idx) {
    double worst = 0, energy = 0;
    for (size_t t : idx) {
        const double want = directAt(h, x, t);
        energy += want * want;
        worst = std::max(worst, std::fabs(want - y[t]));
    }
    return worst / std::sqrt(energy / double(idx.size()));
}

} // namespace

class ConvolverLength : public ::testing::TestWithParam<int> {};

TEST_P(ConvolverLength, MonoAndStereoMatchDirectConvolutionAcrossHostBlocks) {
    const int N = GetParam();
    // Past one impulse length, so that the position wraps and every level has run more than
    // once; long runs are checked at sampled indices.
    const size_t runLength = size_t(N) + size_t(N) / 8 + 4099;
    const std::vector<double> h = noise(size_t(N), unsigned(N));
    const std::vector<double> x1 = noise(runLength, 1), x2 = noise(runLength, 2);
    const std::vector<size_t> idx = indicesToCheck(runLength, N);

    PartitionedConvolver c;
    c.setLength(N);
    ASSERT_EQ(c.getLength(), N);
    c.load(h.data());
    const Output mono = run(c, x1, nullptr, kBlockPattern);
    EXPECT_LT(relativeError(h, x1, mono.left, idx), 1e-9) << "mono";

    c.clear();
    std::vector<int> reversedPattern(kBlockPattern.rbegin(), kBlockPattern.rend());
    const Output stereo = run(c, x1, &x2, reversedPattern);
    EXPECT_LT(relativeError(h, x1, stereo.left, idx), 1e-9) << "stereo left";
    EXPECT_LT(relativeError(h, x2, stereo.right, idx), 1e-9) << "stereo right";
}

INSTANTIATE_TEST_SUITE_P(Lengths, ConvolverLength,
                         ::testing::Values(1, 2, 32, 64, 1024, 4096, 16384, 65536, 262144));

// The block pattern changes only how the work is grouped, not the sums: the same output to
// the last bit, whatever the host block size.
TEST(PartitionedConvolver, OutputDoesNotDependOnTheHostBlockSize) {
    const int N = 4096;
    const std::vector<double> h = noise(N, 3), x1 = noise(3 * N, 4), x2 = noise(3 * N, 5);
    PartitionedConvolver c;
    c.setLength(N);
    c.load(h.data());
    const Output reference = run(c, x1, &x2, {0});
    for (int block : {1, 2, 5, 64, 255, 256, 257, 1000, 5000}) {
        c.clear();
        const Output out = run(c, x1, &x2, {block});
        EXPECT_EQ(out.left, reference.left) << block;
        EXPECT_EQ(out.right, reference.right) << block;
    }
    // In place: out the same buffer as in.
    c.clear();
    std::vector<double> buffer = x1;
    for (size_t i = 0; i < buffer.size(); i += 100)
        c.processBlock(&buffer[i], &buffer[i], int(std::min<size_t>(100, buffer.size() - i)));
    c.clear();
    const Output mono = run(c, x1, nullptr, {100});
    EXPECT_EQ(buffer, mono.left);
}

// A load between two blocks takes effect on the next sample, without touching the stores: tap
// 0 switches at once; a level's results switch once it next falls due, since the ones it
// already computed still come out. With the schedule's stagger that gives, for output t and
// tap k >= 1 of level S (S <= k < 2S), the new tap exactly when the block holding x[t - k]
// (stored as the delayed input at u = t - k + 1) fell due at or after the switch. Once every
// block of the window is due after the switch, the output is the new impulse over the
// existing input history.
TEST(PartitionedConvolver, LoadWhileRunningSwitchesAtTheNextSampleWithTheExistingHistory) {
    const int N = 4096;
    const std::vector<double> h1 = noise(N, 6), h2 = noise(N, 7), stale = noise(N, 8);
    const std::vector<double> x = noise(3 * size_t(N), 9);
    PartitionedConvolver c;
    c.setLength(N);
    c.load(stale.data()); // replaced before it was ever taken
    c.load(h1.data());
    const size_t switchAt = 5000; // a block boundary of the pattern below
    Output before = run(c, x, nullptr, {1000}, 0, switchAt);
    c.load(h2.data());
    Output after = run(c, x, nullptr, {333}, switchAt);

    auto dueTime = [](size_t u, size_t S) {
        const size_t q = (S / 2 + u - 1) & (S - 1); // the position starts at 0 with u
        return u + (S - 1 - q);
    };
    double worstModel = 0, worstNew = 0, worstOld = 0;
    for (size_t t = switchAt - 200; t < switchAt + N + 200; ++t) {
        long double model = (t >= switchAt ? h2[0] : h1[0]) * (long double)x[t];
        for (size_t k = 1; k < size_t(N) && k <= t; ++k) {
            size_t S = 1;
            while (2 * S <= k) S *= 2;
            const bool fresh = dueTime(t - k + 1, S) >= switchAt;
            model += (fresh ? h2[k] : h1[k]) * (long double)x[t - k];
        }
        const double y = t < switchAt ? before.left[t] : after.left[t];
        worstModel = std::max(worstModel, std::fabs(double(model) - y));
        if (t < switchAt) worstOld = std::max(worstOld, std::fabs(directAt(h1, x, t) - y));
        if (t + 2 >= switchAt + N) worstNew = std::max(worstNew, std::fabs(directAt(h2, x, t) - y));
    }
    const double scale = std::sqrt(N / 9.0); // RMS of the output of two unit-range noises
    EXPECT_LT(worstModel, 1e-9 * scale);
    EXPECT_LT(worstOld, 1e-9 * scale);
    EXPECT_LT(worstNew, 1e-9 * scale);
    // The mix is real: just after the switch the output is neither convolution.
    EXPECT_GT(std::fabs(directAt(h2, x, switchAt + 10) - after.left[switchAt + 10]), 1e-3);
    EXPECT_GT(std::fabs(directAt(h1, x, switchAt + 10) - after.left[switchAt + 10]), 1e-3);
}

TEST(PartitionedConvolver, ClearForgetsTheHistoryAndKeepsTheImpulse) {
    const int N = 8192;
    const std::vector<double> h = noise(N, 10), x = noise(5000, 11);
    PartitionedConvolver c;
    c.setLength(N);
    c.load(h.data());
    std::vector<double> y(x.size());
    c.processBlock(x.data(), y.data(), int(x.size()));
    c.clear();
    // A unit pulse now brings back the impulse alone, with nothing of the earlier input.
    std::vector<double> pulse(N, 0.0), response(N);
    pulse[0] = 1;
    c.processBlock(pulse.data(), response.data(), N);
    double worst = 0;
    for (int i = 0; i < N; ++i) worst = std::max(worst, std::fabs(response[i] - h[i]));
    EXPECT_LT(worst, 1e-12);
}

// Loads from another thread while audio runs: no sample waits, and once the loader is done the
// last impulse is what runs. Under ThreadSanitizer this also checks the hand-over for races.
TEST(PartitionedConvolver, LoadsFromAnotherThreadEndWithTheLastImpulse) {
    const int N = 1024;
    const std::vector<double> a = noise(N, 12), b = noise(N, 13), last = noise(N, 14);
    PartitionedConvolver c;
    c.setLength(N);
    c.load(a.data());
    std::atomic<bool> done{false};
    std::thread loader([&] {
        for (int i = 0; i < 200; ++i) c.load(i % 2 ? a.data() : b.data());
        c.load(last.data());
        done = true;
    });
    const std::vector<double> x = noise(64, 15);
    std::vector<double> y(64);
    while (!done) c.processBlock(x.data(), y.data(), 64);
    loader.join();
    // Two impulse lengths more: every level has fallen due with the last impulse.
    const std::vector<double> tail = noise(3 * size_t(N), 16);
    std::vector<double> out(tail.size());
    c.processBlock(tail.data(), out.data(), int(tail.size()));
    double worst = 0;
    for (size_t t = 2 * size_t(N); t < tail.size(); ++t)
        worst = std::max(worst, std::fabs(directAt(last, tail, t) - out[t]));
    EXPECT_LT(worst, 1e-9 * std::sqrt(N / 9.0));
}

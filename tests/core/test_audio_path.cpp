// The audio path: chunking, Mid/Side, bypass delay, gains, solo and listen, clips, meters.

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "AudioPath.h"
#include "EQBank.h"

namespace {

struct Host {
    int channels;
    std::vector<std::vector<double>> in, out;
    std::vector<double*> inPtr, outPtr;
    Host(int ch, int frames, unsigned seed) : channels(ch), in(size_t(ch)), out(size_t(ch)) {
        std::mt19937 rng(seed);
        std::uniform_real_distribution<double> d(-0.5, 0.5);
        for (int c = 0; c < ch; ++c) {
            in[size_t(c)].resize(size_t(frames));
            out[size_t(c)].assign(size_t(frames), 0.0);
            for (double& v : in[size_t(c)]) v = d(rng);
            inPtr.push_back(in[size_t(c)].data());
            outPtr.push_back(out[size_t(c)].data());
        }
    }
    void run(AudioPath& path, EQBank& bank, int frames, bool bypass = false, int offset = 0) {
        double* i[AudioPath::kMaxChannels];
        double* o[AudioPath::kMaxChannels];
        for (int c = 0; c < channels; ++c) {
            i[c] = inPtr[size_t(c)] + offset;
            o[c] = outPtr[size_t(c)] + offset;
        }
        path.processDouble(i, o, frames, channels, channels, bank, bypass);
    }
};

struct Fixture {
    EQBank bank{8192, 64, 32, 2};
    AudioPath path;
    explicit Fixture(int channels, double rate = 48000) {
        bank.setChannels(channels);
        bank.setSampleRate(float(rate));
        bank.setMode(kModeIIR);
        path.resume(channels, rate, 0);
    }
};

} // namespace

TEST(AudioPath, MismatchedCountsOrMissingBuffersPassNothing) {
    Fixture f(2);
    Host h(2, 64, 1);
    f.path.processDouble(h.inPtr.data(), h.outPtr.data(), 64, 2, 1, f.bank, false);
    std::vector<double*> missing = {h.inPtr[0], nullptr};
    f.path.processDouble(missing.data(), h.outPtr.data(), 64, 2, 2, f.bank, false);
    for (auto& ch : h.out)
        for (double v : ch) EXPECT_EQ(v, 0.0);
    EXPECT_EQ(f.path.masterMeter(0), 0.0f);
}

TEST(AudioPath, LongBlocksRunInChunksWithNoSeam) {
    // A band with memory makes any seam between chunks visible.
    Fixture once(2), split(2);
    for (Fixture* f : {&once, &split}) {
        f->bank.setType(kEQPeak, 0, 3);
        f->bank.setFrequency(150, 0, 3);
        f->bank.setGain(9, 0, 3);
        f->bank.setOff(0, 0, 3);
        f->bank.setMode(kModeIIR);
    }
    Host a(2, 3000, 2), b(2, 3000, 2);
    a.run(once.path, once.bank, 3000);
    for (int start = 0; start < 3000; start += 500) b.run(split.path, split.bank, 500, false, start);
    EXPECT_EQ(a.out, b.out);
    // The output ring holds the last 3000 samples of the left output.
    std::vector<double> ring(3000);
    once.path.getAnalyserSamples(ring.data(), 3000, 0);
    EXPECT_EQ(ring, a.out[0]);
}

TEST(AudioPath, MidSideCodingRoundTripsAndSkipsIncompletePairs) {
    Fixture f(2);
    f.path.setMsMask(1);
    Host h(2, 1000, 3);
    h.run(f.path, f.bank, 1000);
    for (int c = 0; c < 2; ++c)
        for (size_t i = 0; i < 1000; ++i) EXPECT_NEAR(h.out[size_t(c)][i], h.in[size_t(c)][i], 1e-15);

    // Three channels: pair 0 coded, pair 1 incomplete; host order is left, centre, right.
    Fixture three(3);
    three.path.setMsMask(3);
    Host t(3, 256, 4);
    t.run(three.path, three.bank, 256);
    EXPECT_EQ(three.path.channelMapAt(1), 2);
    for (int c = 0; c < 3; ++c)
        for (size_t i = 0; i < 256; ++i) EXPECT_NEAR(t.out[size_t(c)][i], t.in[size_t(c)][i], 1e-15);
    EXPECT_EQ(AudioPath::reverseNibble(8), 1u);
    for (uint32_t x = 0; x < 16; ++x) EXPECT_EQ(AudioPath::reverseNibble(AudioPath::reverseNibble(x)), x);
    EXPECT_STREQ(AudioPath::channelLabel(2, 1, true), "Side");
    EXPECT_STREQ(AudioPath::channelLabel(6, 5, false), "LFE");
    EXPECT_STREQ(AudioPath::channelLabel(3, 3, false), "");
}

TEST(AudioPath, SelectSoloAndListenSums) {
    Fixture f(2);
    f.path.setMsMask(1);
    f.path.setSoloModes(false, true);
    f.path.setSoloMask(2); // Side soloed
    Host h(2, 128, 5);
    h.run(f.path, f.bank, 128);
    for (size_t i = 0; i < 128; ++i) {
        const double side = (h.in[0][i] - h.in[1][i]) * 0.5;
        EXPECT_NEAR(h.out[0][i], side, 1e-15);
        EXPECT_NEAR(h.out[1][i], side, 1e-15);
    }
    // Both halves of the pair: no decoding, (M + S) / 2 is the left input.
    f.path.setListenMask(3);
    h.run(f.path, f.bank, 128);
    for (size_t i = 0; i < 128; ++i) {
        EXPECT_NEAR(h.out[0][i], h.in[0][i], 1e-15);
        EXPECT_NEAR(h.out[1][i], h.in[0][i], 1e-15);
    }
    // Mono with listen is half level.
    Fixture mono(1);
    mono.path.setListenMask(1);
    Host m(1, 64, 6);
    m.run(mono.path, mono.bank, 64);
    for (size_t i = 0; i < 64; ++i) EXPECT_EQ(m.out[0][i], m.in[0][i] * 0.5);
}

TEST(AudioPath, BypassDelaysTheDrySignalOnlyWhenTheBankHasLatency) {
    Fixture f(2);
    Host h(2, 10000, 7);
    h.run(f.path, f.bank, 2000); // live history before the bypass
    h.run(f.path, f.bank, 8000, true, 2000);
    for (size_t i = 2000; i < 10000; ++i) ASSERT_EQ(h.out[1][i], h.in[1][i]) << i;

    Fixture fir(2);
    fir.bank.setMode(kModeLinear);
    ASSERT_EQ(fir.bank.getLatency(), 4096);
    Host d(2, 10000, 8);
    d.run(fir.path, fir.bank, 2000);
    d.run(fir.path, fir.bank, 8000, true, 2000);
    for (size_t i = 4096; i < 10000; ++i) ASSERT_EQ(d.out[0][i], d.in[0][i - 4096]) << i;
}

TEST(AudioPath, GainsRampExceptAfterAResume) {
    Fixture f(2);
    f.path.setChannelGainTarget(0, 0.5);
    Host h(2, 4096, 9);
    h.run(f.path, f.bank, 4096);
    EXPECT_DOUBLE_EQ(h.out[0][0], h.in[0][0] * 0.995);
    EXPECT_NEAR(h.out[0][4000] / h.in[0][4000], 0.5, 1e-9);
    EXPECT_EQ(h.out[1][7], h.in[1][7]);
    f.path.setChannelGainTarget(1, 0.0); // a mute
    f.path.resume(2, 48000, 0);
    h.run(f.path, f.bank, 64);
    EXPECT_EQ(h.out[1][0], 0.0);
    EXPECT_EQ(h.out[0][0], h.in[0][0] * 0.5);
}

TEST(AudioPath, ClipIsStickyAndTheThresholdItselfDoesNotClip) {
    Fixture f(1);
    double x[4] = {1.0, -1.0, 0.5, 0};
    double* io[1] = {x};
    f.path.processDouble(io, io, 4, 1, 1, f.bank, false);
    EXPECT_FALSE(f.path.getClipped());
    double y[2] = {0, -1.0000001};
    double* over[1] = {y};
    f.path.processDouble(over, over, 2, 1, 1, f.bank, false);
    EXPECT_TRUE(f.path.getClipped());
    double z[2] = {0, 0};
    double* quiet[1] = {z};
    f.path.processDouble(quiet, quiet, 2, 1, 1, f.bank, false);
    EXPECT_TRUE(f.path.getClipped());
    f.path.setClipped(false);
    f.path.setClipThreshold(0.988553);
    double w[1] = {0.99};
    double* near[1] = {w};
    f.path.processDouble(near, near, 1, 1, 1, f.bank, false);
    EXPECT_TRUE(f.path.getClipped());
}

TEST(AudioPath, MetersFollowTheirBallistics) {
    Fixture f(2);
    std::vector<double> level(512, 0.5);
    double* io[2] = {level.data(), level.data()};
    std::vector<double> other(512, 0.5);
    io[1] = other.data();
    f.path.processDouble(io, io, 512, 2, 2, f.bank, false);
    EXPECT_FLOAT_EQ(f.path.masterMeter(0), 0.5f); // digital attack is instantaneous
    std::vector<double> silence(48000, 0.0), silence2(48000, 0.0);
    double* quiet[2] = {silence.data(), silence2.data()};
    f.path.processDouble(quiet, quiet, 14400, 2, 2, f.bank, false); // 0.3 s
    EXPECT_NEAR(f.path.masterMeter(0), 0.05, 1e-3); // down to a tenth in 0.3 s
}

TEST(AudioPath, InputRingsStartAtTheFirstRequest) {
    Fixture f(2);
    Host h(2, 512, 11);
    std::vector<double> ring(256, 1.0);
    f.path.getAnalyserSamples(ring.data(), 256, 2); // allocates; nothing recorded yet
    for (double v : ring) EXPECT_EQ(v, 0.0);
    f.path.setMsMask(1);
    h.run(f.path, f.bank, 512);
    f.path.getAnalyserSamples(ring.data(), 256, 3);
    // Input rings hold the coded signal: the Side of the last 256 input frames.
    for (size_t i = 0; i < 256; ++i) EXPECT_DOUBLE_EQ(ring[i], h.in[0][256 + i] - h.in[1][256 + i]);
}

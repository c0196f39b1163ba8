// The bank: topology, design sharing, rebuild rules and response queries.

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "EQBank.h"
#include "TestSupport.h"

using namespace testing_support;

namespace {

void setBand(EQBank& bank, int band, int32_t type, float freq, float gain, float q,
             uint32_t mask = 3) {
    bank.setType(type, band, mask);
    bank.setFrequency(freq, band, mask);
    bank.setGain(gain, band, mask);
    bank.setQ(q, band, mask);
    bank.setOrder(2, band, mask);
    bank.setSubtype(0, band, mask);
    bank.setOff(0, band, mask);
}

std::vector<double> noise(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> d(-1, 1);
    std::vector<double> v(n);
    for (double& x : v) x = d(rng);
    return v;
}

// Runs digital sections over x, independently of the cascade.
std::vector<double> filter(const double* c, int count, std::vector<double> x) {
    for (int s = 0; s < count; ++s) {
        const double* k = c + 5 * s;
        double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
        for (double& v : x) {
            const double y = k[0] * v + k[1] * x1 + k[2] * x2 - k[3] * y1 - k[4] * y2;
            x2 = x1, x1 = v, y2 = y1, y1 = y;
            v = y;
        }
    }
    return x;
}

} // namespace

TEST(EQBank, ParallelBandsAddTheirDifferenceToTheSerialChain) {
    EQBank bank(8192, 64, 4, 2);
    bank.setSampleRate(48000);
    setBand(bank, 0, kEQPeak, 200, 6, 1);
    setBand(bank, 1, kEQPeak, 3000, -4, 2);
    setBand(bank, 2, kEQHighPass, 40, 0, 0.707);
    setBand(bank, 3, kEQHighShelf, 8000, 3, 0.7f);
    bank.setMode(kModeIIR);
    bank.setParallel(kPeaksParallel);
    bank.update(true); // parallel bands design as H - 1
    EXPECT_TRUE(bank.getEQ(0, 0)->getParallel());
    EXPECT_FALSE(bank.getEQ(2, 0)->getParallel());
    EXPECT_FALSE(bank.getEQ(3, 0)->getParallel());

    // Settle the ramps on silence, then compare a block of noise with an independent run.
    std::vector<double> silence(4096, 0.0);
    double* ch[2] = {silence.data(), silence.data()};
    bank.processBlock(ch, 2048, 1);
    const auto x = noise(3000, 1);
    std::vector<double> left = x;
    double* buffers[2] = {left.data(), nullptr};
    bank.processBlock(buffers, 3000, 2);

    double c[4][20];
    int n[4];
    for (int b = 0; b < 4; ++b) n[b] = bank.getEQ(b, 0)->getCoefficients(c[b]);
    std::vector<double> expected = x;
    for (int b : {0, 1}) {
        const auto part = filter(c[b], n[b], x);
        for (size_t i = 0; i < x.size(); ++i) expected[i] += part[i];
    }
    expected = filter(c[2], n[2], expected);
    expected = filter(c[3], n[3], expected);
    for (size_t i = 0; i < x.size(); ++i) ASSERT_NEAR(left[i], expected[i], 1e-12) << i;

    // The total response the graphs draw, (1 + sum(H_i - 1)) times the series product, says
    // the same: a unit impulse through the bank gives that spectrum.
    EQBank fresh(8192, 64, 4, 1);
    fresh.setSampleRate(48000);
    setBand(fresh, 0, kEQPeak, 200, 6, 1, 1);
    setBand(fresh, 1, kEQPeak, 3000, -4, 2, 1);
    setBand(fresh, 2, kEQHighPass, 40, 0, 0.707f, 1);
    setBand(fresh, 3, kEQHighShelf, 8000, 3, 0.7f, 1);
    fresh.setMode(kModeIIR);
    fresh.setParallel(kPeaksParallel);
    fresh.update(true);
    std::vector<double> quiet(2048, 0.0);
    double* q[1] = {quiet.data()};
    fresh.processBlock(q, 2048, 1);
    std::vector<double> impulse(1 << 15, 0.0);
    impulse[0] = 1;
    double* imp[1] = {impulse.data()};
    for (int start = 0; start < int(impulse.size()); start += 1024) {
        imp[0] = impulse.data() + start;
        fresh.processBlock(imp, 1024, 1);
    }
    for (double f : {100.0, 200.0, 2500.0, 12000.0}) {
        cplx measured = 0;
        for (size_t k = 0; k < impulse.size(); ++k)
            measured += impulse[k] * std::polar(1.0, -kTwoPi * f * double(k) / 48000);
        cplx total = 1;
        for (int b : {0, 1}) total += digitalResponse(c[b], n[b], f, 48000);
        for (int b : {2, 3}) total *= digitalResponse(c[b], n[b], f, 48000);
        EXPECT_NEAR(std::abs(measured - total), 0, 1e-6 * std::abs(total)) << f;
    }
}

TEST(EQBank, ParallelFollowsTypeAndOffAtTheNextSetParallel) {
    EQBank bank(8192, 64, 3, 1);
    setBand(bank, 0, kEQPeak, 500, 5, 1, 1);
    setBand(bank, 1, kEQLowShelf, 100, 5, 0.7f, 1);
    setBand(bank, 2, kEQPeak, 900, 0.001f, 1, 1); // designs flat
    bank.setMode(kModeIIR);
    bank.setParallel(kPeaksShelvesParallel);
    EXPECT_TRUE(bank.getEQ(0, 0)->getParallel());
    EXPECT_TRUE(bank.getEQ(1, 0)->getParallel());
    EXPECT_FALSE(bank.getEQ(2, 0)->getParallel());
    EXPECT_TRUE(bank.isParallelActive());
    bank.setOff(1, 0, 1);
    EXPECT_TRUE(bank.getEQ(0, 0)->getParallel());
    bank.setParallel(kPeaksShelvesParallel);
    EXPECT_FALSE(bank.getEQ(0, 0)->getParallel());
    bank.setParallel(kAllSeries);
    EXPECT_FALSE(bank.getEQ(1, 0)->getParallel());
    EXPECT_FALSE(bank.isParallelActive());
}

TEST(EQBank, AllOffIsExactlyUnityAndTouchesNothing) {
    EQBank bank(8192, 64, 32, 2);
    bank.setMode(kModeIIR);
    for (double f : {20.0, 1000.0, 21000.0}) EXPECT_EQ(bank.digitalMagnitudeAt(float(f), 1), 1.0f);
    auto x = noise(1024, 2);
    auto y = x;
    double* buffers[2] = {y.data(), y.data()};
    bank.processBlock(buffers, 1024, 1);
    EXPECT_EQ(x, y);
}

TEST(EQBank, RebuildsOnlyWhatChanged) {
    EQBank bank(8192, 64, 2, 2);
    setBand(bank, 0, kEQPeak, 1000, 6, 1);
    bank.update(false); // a plain update does nothing
    EXPECT_TRUE(bank.getEQ(0, 0)->isDirty());
    bank.setMode(kModeIIR);
    for (int c = 0; c < 2; ++c) EXPECT_FALSE(bank.getEQ(0, c)->isDirty());
    // Second channel took the first channel's design without one of its own.
    double a[20], b[20];
    ASSERT_EQ(bank.getEQ(0, 0)->getCoefficients(a), bank.getEQ(0, 1)->getCoefficients(b));
    for (int i = 0; i < 5; ++i) EXPECT_EQ(a[i], b[i]);
    // Same mode, nothing dirty: no ramp is restarted.
    std::vector<double> buffer(2048, 0.0);
    double* ch[2] = {buffer.data(), buffer.data()};
    bank.processBlock(ch, 2048, 2);
    auto* band = static_cast<DF1Cascade*>(bank.getEQ(0, 0));
    ASSERT_LT(band->getRampCount(), 0);
    bank.setMode(kModeIIR);
    EXPECT_LT(band->getRampCount(), 0);
    bank.setGain(7, 0, 3);
    bank.setMode(kModeIIR);
    EXPECT_EQ(band->getRampCount(), 1000);
    // A band on channel 1 only designs there.
    setBand(bank, 1, kEQLowPass, 5000, 0, 0.707f, 2);
    bank.setMode(kModeIIR);
    EXPECT_EQ(bank.getEQ(1, 0)->getFlat(), 1);
    EXPECT_EQ(bank.getEQ(1, 1)->getFlat(), 0);
    EXPECT_LT(bank.digitalMagnitudeAt(15000, 1), 0.2f);
    EXPECT_EQ(bank.digitalMagnitudeAt(15000, 0) > 0.9f, true);
}

TEST(EQBank, QueriesLinkLatencyAndChannels) {
    EQBank bank(8192, 64, 3, 1);
    bank.setLinked(true);
    EXPECT_FALSE(bank.isLinked());
    bank.setChannels(2);
    bank.setLinked(true);
    EXPECT_TRUE(bank.isLinked());
    EXPECT_EQ(bank.getEQ(3, 0), nullptr);
    EXPECT_EQ(bank.getEQ(0, 2), nullptr);
    EXPECT_EQ(bank.getEQ(-1, 0), nullptr);

    // A low pass of the 8th order at 100 Hz reaches an analogue zero only in the limit; a notch
    // does exactly at its centre, so the error there is reported as 1.
    setBand(bank, 0, kEQNotch, 1000, 0, 4);
    bank.setMode(kModeIIR);
    EXPECT_EQ(bank.analogueMagnitudeAt(1000, 0), 0.0f);
    EXPECT_EQ(bank.magnitudeErrorAt(1000, 0), 1.0f);
    setBand(bank, 1, kEQPeak, 300, 9, 2);
    bank.setMode(kModeIIR);
    EXPECT_NEAR(db(bank.getEQ(1, 0)->analogueMagnitude(300, false)), 9, 1e-4);
    EXPECT_NEAR(bank.analogueMagnitudeAt(300, 0),
                bank.getEQ(0, 0)->analogueMagnitude(300, false) *
                    bank.getEQ(1, 0)->analogueMagnitude(300, false),
                1e-5);
    EXPECT_NEAR(bank.magnitudeErrorAt(300, 0), 1, 0.01);
    EXPECT_NEAR(bank.analoguePhaseAt(300, 1), bank.getEQ(0, 1)->analoguePhase(300), 1e-4);
    EXPECT_FLOAT_EQ(bank.getBandEffectiveQ(0.5f, 1), bank.getEQ(1, 0)->getEffectiveQ());
    EXPECT_FLOAT_EQ(bank.getBandEffectiveQ(0.5f, 2), 0.5f);
    EXPECT_EQ(bank.analogueMagnitudeAt(300, 5), 0.0f);

    for (int mode = 0; mode <= 6; ++mode) {
        bank.setMode(mode);
        EXPECT_EQ(bank.getLatency(), mode >= kModeAnalogue ? 4096 : 0);
        EXPECT_EQ(bank.isConvolverActive(), mode != 0);
    }
}

TEST(EQBank, StereoPipelineIsBitIdenticalToPerChannelRuns) {
    for (int32_t topology : {kAllSeries, kPeaksShelvesParallel}) {
        EQBank stereo(8192, 64, 12, 2), mono(8192, 64, 12, 2);
        for (EQBank* bank : {&stereo, &mono}) {
            bank->setSampleRate(44100);
            for (int b = 0; b < 9; ++b)
                setBand(*bank, b, b % 3 == 0 ? kEQPeak : (b % 3 == 1 ? kEQLowShelf : kEQLowPass),
                        float(60 * (b + 1) * (b + 1)), b % 2 ? 4.f : -5.f, 1.2f);
            bank->setOrder(7, 2, 3); // an odd section count in the chain
            setBand(*bank, 9, kEQHighShelf, 7000, 3, 0.7f, 1); // left only
            setBand(*bank, 10, kEQPeak, 2500, 0.001f, 1, 3);   // designs flat
            bank->setMode(kModeIIR);
            bank->setParallel(topology);
            bank->update(true);
        }
        auto l = noise(6000, 5), r = noise(6000, 6);
        auto ml = l, mr = r;
        int start = 0, round = 0;
        for (int block : {1, 7, 64, 333, 1024, 500, 2, 1000, 999}) {
            if (round++ == 3)
                for (EQBank* bank : {&stereo, &mono}) { // a ramp starts mid-stream
                    bank->setGain(-2, 0, 3);
                    bank->setFrequency(1234, 9, 1);
                    bank->setMode(kModeIIR);
                }
            double* both[2] = {l.data() + start, r.data() + start};
            stereo.processBlock(both, block, 2);
            double* left[2] = {ml.data() + start, nullptr};
            mono.processBlock(left, block, 2);
            double* right[2] = {nullptr, mr.data() + start};
            mono.processBlock(right, block, 2);
            start += block;
        }
        ASSERT_LE(start, 6000);
        for (int i = 0; i < start; ++i) {
            ASSERT_EQ(l[i], ml[i]) << "topology " << topology << " sample " << i;
            ASSERT_EQ(r[i], mr[i]) << "topology " << topology << " sample " << i;
        }
        // And the signal was really filtered.
        EXPECT_NE(l[start - 1], noise(6000, 5)[start - 1]);
    }
}

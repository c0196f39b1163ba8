// The FIR modes and the corrective FIR: impulses built from the bands' analogue response, their
// shape per phase mode, and the bank running them with the latency it reports.

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <complex>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include "EQBank.h"
#include "FirDesign.h"
#include "TestSupport.h"

using namespace testing_support;

namespace {

constexpr double kRate = 48000;
constexpr int32_t kLength = 8192;

// |sum h[n] e^{-j w n}| at f Hz.
double firMagnitude(const double* h, int32_t n, double f, double fs) {
    std::complex<double> sum = 0;
    const double w = -kTwoPi * f / fs;
    for (int32_t i = 0; i < n; ++i) sum += h[i] * std::polar(1.0, w * i);
    return std::abs(sum);
}

void peakBand(EQBank& bank, int32_t band, float hz, float gainDb, float q) {
    bank.setType(kEQPeak, band, 3);
    bank.setFrequency(hz, band, 3);
    bank.setGain(gainDb, band, 3);
    bank.setQ(q, band, 3);
    bank.setOff(0, band, 3);
}

std::vector<double> impulseOf(const EQBank& bank, int32_t channel = 0) {
    const double* h = bank.getImpulse(channel);
    return h ? std::vector<double>(h, h + bank.getImpulseLength()) : std::vector<double>();
}

std::vector<double> kaiser(int32_t points) {
    WindowShape w;
    return std::vector<double>(w.tableFor(points), w.tableFor(points) + points);
}

}  // namespace

TEST(FirModes, AllBandsOffGiveAPulseShapedOnlyByTheWindow) {
    EQBank bank(kLength, 64, 4, 2);
    bank.setSampleRate(float(kRate));
    EXPECT_EQ(bank.getImpulse(0), nullptr);  // no convolver mode yet

    bank.setMode(kModeLinear);
    const std::vector<double> linear = impulseOf(bank);
    ASSERT_EQ(linear.size(), size_t(kLength));
    const double centre = kaiser(kLength)[kLength / 2];
    EXPECT_NEAR(linear[kLength / 2], centre, 1e-12);
    double rest = 0;
    for (int32_t i = 0; i < kLength; ++i)
        if (i != kLength / 2) rest = std::max(rest, std::fabs(linear[size_t(i)]));
    EXPECT_LT(rest, 1e-12);

    // No phase to make room for: the zero-latency impulse is not rotated.
    bank.setMode(kModeZeroLatencyAnalogue);
    const std::vector<double> zero = impulseOf(bank);
    EXPECT_NEAR(zero[0], kaiser(2 * kLength)[kLength], 1e-12);
    for (int32_t i = 1; i < kLength; ++i) ASSERT_NEAR(zero[size_t(i)], 0.0, 1e-12) << i;
}

TEST(FirModes, LatencyIsHalfTheImpulseInTheCentredModesOnly) {
    EQBank bank(kLength, 64, 2, 2);
    for (int32_t mode = kModeIIR; mode <= kModeFree; ++mode) {
        bank.setMode(mode);
        const bool centred = mode == kModeAnalogue || mode == kModeLinear || mode == kModeFree;
        EXPECT_EQ(bank.getLatency(), centred ? kLength / 2 : 0) << mode;
    }
    bank.setImpulseLength(2048);
    bank.setMode(kModeLinear);
    EXPECT_EQ(bank.getLatency(), 1024);
    EXPECT_EQ(impulseOf(bank).size(), 2048u);
}

// A Q 1 peak at 1 kHz rings for well under a millisecond, so 8192 taps hold all of it; what
// is left is the window's smoothing of the curve, about 50 Hz wide for Kaiser 12 at 48 kHz,
// which shifts a curve this broad by a few hundredths of a dB.
TEST(FirModes, LinearAndMinimumPhaseFollowTheAnalogueMagnitude) {
    EQBank bank(kLength, 64, 3, 2);
    bank.setSampleRate(float(kRate));
    peakBand(bank, 0, 1000, 6, 1);
    peakBand(bank, 1, 6000, -4, 2);
    bank.setMode(kModeLinear);
    const std::vector<double> linear = impulseOf(bank);
    bank.setMode(kModeFullMinimum);
    const std::vector<double> minimum = impulseOf(bank);

    // Symmetric round the centre tap once the window (symmetric round N/2 - 1/2) is divided out.
    const std::vector<double> window = kaiser(kLength);
    for (int32_t i = 1; i < kLength / 2; ++i)
        ASSERT_NEAR(linear[size_t(kLength / 2 - i)] / window[size_t(kLength / 2 - i)],
                    linear[size_t(kLength / 2 + i)] / window[size_t(kLength / 2 + i)], 1e-12) << i;
    const double centre = window[kLength / 2];
    for (double f : {50.0, 300.0, 1000.0, 2500.0, 6000.0, 12000.0, 20000.0}) {
        const double analogue = bank.getEQ(0, 0)->analogueMagnitude(f, false) *
                                bank.getEQ(1, 0)->analogueMagnitude(f, false);
        EXPECT_NEAR(db(firMagnitude(linear.data(), kLength, f, kRate) / centre), db(analogue), 0.1) << f;
        EXPECT_NEAR(db(firMagnitude(minimum.data(), kLength, f, kRate)),
                    db(firMagnitude(linear.data(), kLength, f, kRate)), 0.1) << f;
    }
    double early = 0, total = 0;
    for (int32_t i = 0; i < kLength; ++i) {
        total += minimum[size_t(i)] * minimum[size_t(i)];
        if (i < kLength / 64) early += minimum[size_t(i)] * minimum[size_t(i)];
    }
    EXPECT_GT(early / total, 0.999);
}

TEST(FirModes, PaddingRefinesTheGridNotTheLength) {
    EQBank bank(4096, 64, 2, 2);
    bank.setSampleRate(float(kRate));
    peakBand(bank, 0, 80, 9, 4);
    bank.setMode(kModeLinear);
    const std::vector<double> plain = impulseOf(bank);
    bank.setPad(8);
    bank.setMode(kModeLinear);
    const std::vector<double> padded = impulseOf(bank);
    ASSERT_EQ(padded.size(), plain.size());
    EXPECT_NE(padded, plain);
    // Both keep the linear-phase symmetry round the same centre.
    const std::vector<double> window = kaiser(4096);
    for (int32_t i = 1; i < 2048; ++i)
        ASSERT_NEAR(padded[size_t(2048 - i)] / window[size_t(2048 - i)],
                    padded[size_t(2048 + i)] / window[size_t(2048 + i)], 1e-12) << i;
}

TEST(FirModes, BankRunsTheImpulseWithItsLatencyInMonoAndLinkedStereo) {
    EQBank bank(2048, 64, 2, 2);
    bank.setSampleRate(float(kRate));
    peakBand(bank, 0, 2000, 8, 2);
    for (bool link : {false, true}) {
        SCOPED_TRACE(link);
        bank.setLinked(link);
        bank.setMode(kModeAnalogue);
        bank.setSampleRate(float(kRate));  // clears the convolvers' history
        const std::vector<double> h = impulseOf(bank);
        std::mt19937 rng(5);
        std::uniform_real_distribution<double> noise(-1, 1);
        const int32_t total = 3000;
        std::vector<double> left(total), right(total);
        for (int32_t i = 0; i < total; ++i) left[size_t(i)] = noise(rng), right[size_t(i)] = i == 0 ? 1 : 0;
        std::vector<double> outL(left), outR(right);
        for (int32_t at = 0; at < total; at += 37) {
            const int32_t n = std::min(37, total - at);
            double* buffers[2] = {outL.data() + at, outR.data() + at};
            bank.processBlock(buffers, n, 2);
        }
        for (int32_t i = 0; i < total; i += 7) {
            double expected = 0;
            for (int32_t k = 0; k <= i && k < 2048; ++k) expected += h[size_t(k)] * left[size_t(i - k)];
            ASSERT_NEAR(outL[size_t(i)], expected, 1e-9) << i;
        }
        for (int32_t i = 0; i < 2048; ++i) ASSERT_NEAR(outR[size_t(i)], h[size_t(i)], 1e-12) << i;
        EXPECT_EQ(bank.getLatency(), 1024);
    }
}

TEST(FirCorrection, FlatBandsGiveAUnitPulse) {
    EQBank bank(kLength, 64, 2, 1);
    bank.setSampleRate(44100);
    bank.setMode(kModeIIRCorrected);
    std::vector<double> h(64);
    WindowShape window;
    FirWorkspace work;
    const EQ* bands[2] = {bank.getEQ(0, 0), bank.getEQ(1, 0)};
    buildCorrection(bands, 2, 44100, 64, window, work, h.data());
    // A pulse of the window's centre value, which for 64 points is just under 1.
    EXPECT_NEAR(h[0], kaiser(64)[32], 1e-9);
    EXPECT_GT(h[0], 0.998);
    for (size_t i = 1; i < h.size(); ++i) EXPECT_NEAR(h[i], 0.0, 1e-9) << i;
}

// A high, narrow peak at 44.1 kHz is where the digital sections part from the analogue curve;
// the correction behind them must bring the curve closer. Both errors are measured.
TEST(FirCorrection, BringsTheIIRCurveTowardsTheAnalogue) {
    EQBank bank(kLength, 256, 1, 1);
    bank.setSampleRate(44100);
    bank.setType(kEQPeak, 0, 1);
    bank.setFrequency(15000, 0, 1);
    bank.setGain(12, 0, 1);
    bank.setQ(3, 0, 1);
    bank.setOff(0, 0, 1);
    bank.setMode(kModeIIRCorrected);
    const EQ* band = bank.getEQ(0, 0);
    std::vector<double> h(256);
    WindowShape window;
    FirWorkspace work;
    buildCorrection(&band, 1, 44100, 256, window, work, h.data());

    double iirError = 0, correctedError = 0;
    int points = 0;
    for (double f = 1000; f < 21000; f += 250, ++points) {
        const double analogue = db(band->analogueMagnitude(f, false));
        const double digital = db(band->digitalMagnitude(f));
        const double corrected = digital + db(firMagnitude(h.data(), 256, f, 44100));
        iirError += (digital - analogue) * (digital - analogue);
        correctedError += (corrected - analogue) * (corrected - analogue);
    }
    iirError = std::sqrt(iirError / points);
    correctedError = std::sqrt(correctedError / points);
    RecordProperty("iir_rms_db", std::to_string(iirError));
    RecordProperty("corrected_rms_db", std::to_string(correctedError));
    EXPECT_LT(correctedError, iirError * 0.5) << "IIR " << iirError << " dB, corrected " << correctedError << " dB";
}

TEST(FirModesThreads, LengthChangesWhileAudioRuns) {
    EQBank bank(4096, 64, 2, 2);
    bank.setSampleRate(float(kRate));
    peakBand(bank, 0, 500, 6, 1);
    bank.setMode(kModeLinear);
    std::atomic<bool> stop{false};
    std::thread audio([&] {
        std::vector<double> l(128, 0.25), r(128, -0.25);
        while (!stop.load()) {
            double* buffers[2] = {l.data(), r.data()};
            bank.processBlock(buffers, 128, 2);
        }
    });
    for (int32_t round = 0; round < 6; ++round) {
        bank.setImpulseLength(round % 2 ? 1024 : 2048);
        bank.setCorrectionLength(round % 2 ? 32 : 64);
        bank.setMode(round % 3 == 0 ? kModeIIRCorrected : kModeLinear);
        EXPECT_TRUE(bank.isConvolverActive());
    }
    stop = true;
    audio.join();
    EXPECT_EQ(bank.getImpulseLength(), 1024);
}

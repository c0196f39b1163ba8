// The run-time cascade: recurrence, coefficient ramp, denormal guard, float path.

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "TestSupport.h"

using namespace testing_support;

namespace {

// A concrete cascade with no designer: the tests feed coefficients directly.
class Cascade : public DF1Cascade {
public:
    void design() override {}
};

const double kPeakSection[5] = {1.05, -1.8, 0.82, -1.8, 0.87};
const double kIdentity[5] = {1, 0, 0, 0, 0};

// Textbook DF1 over a buffer, one section, fixed coefficients.
void referenceDF1(const double* c, std::vector<double>& x) {
    double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    for (double& v : x) {
        const double y = c[0] * v + c[1] * x1 + c[2] * x2 - c[3] * y1 - c[4] * y2;
        x2 = x1, x1 = v, y2 = y1, y1 = y;
        v = y;
    }
}

} // namespace

TEST(DF1Cascade, RampReachesTargetAfterExactly1001Samples) {
    for (int block : {1, 7, 64, 1000, 1024}) {
        Cascade c;
        c.setCoefficients(kPeakSection, 1);
        EXPECT_EQ(c.getRampCount(), 1000);
        std::vector<double> buffer(size_t(block), 0.0);
        int processed = 0;
        while (processed < 1000) {
            const int n = std::min(block, 1000 - processed);
            c.processDouble(buffer.data(), n);
            processed += n;
        }
        // After 1000 steps the last one (r = 0) is still to come.
        EXPECT_NE(c.getCurrent(0).b1, kPeakSection[1]);
        EXPECT_NEAR(c.getCurrent(0).b1, kPeakSection[1], 0.0011 * 1.8);
        c.processDouble(buffer.data(), 1);
        EXPECT_EQ(c.getCurrent(0).b0, kPeakSection[0]);
        EXPECT_EQ(c.getCurrent(0).b1, kPeakSection[1]);
        EXPECT_EQ(c.getCurrent(0).a2, kPeakSection[4]);
        EXPECT_LT(c.getRampCount(), 0);
    }
}

TEST(DF1Cascade, SettingsDuringARampRestartFromWhereItStands) {
    Cascade c;
    c.setCoefficients(kPeakSection, 1);
    std::vector<double> buffer(300, 0.0);
    c.processDouble(buffer.data(), 300);
    const DigitalSection midway = c.getCurrent(0);
    // Same targets again: current differs from them, so the ramp restarts with a smaller step.
    c.setCoefficients(kPeakSection, 1);
    EXPECT_EQ(c.getRampCount(), 1000);
    c.processDouble(buffer.data(), 1);
    const double expected = kPeakSection[1] - 1000 * (kPeakSection[1] - midway.b1) * 0.001;
    EXPECT_DOUBLE_EQ(c.getCurrent(0).b1, expected);
    // Values equal to current and the same count leave the ramp alone.
    Cascade idle;
    idle.processDouble(buffer.data(), 10);
    ASSERT_LT(idle.getRampCount(), 0);
    idle.setCoefficients(kIdentity, 1);
    EXPECT_LT(idle.getRampCount(), 0);
    // A change of count alone starts a ramp.
    double two[10] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0};
    idle.setCoefficients(two, 2);
    EXPECT_EQ(idle.getRampCount(), 1000);
}

TEST(DF1Cascade, SteadyStateIsTheTextbookRecurrence) {
    std::mt19937 rng(3);
    std::normal_distribution<double> noise;
    std::vector<double> input(5000);
    for (double& v : input) v = noise(rng);
    Cascade c;
    double two[10];
    std::copy(kPeakSection, kPeakSection + 5, two);
    const double second[5] = {0.3, 0.6, 0.3, -0.4, 0.2};
    std::copy(second, second + 5, two + 5);
    c.setCoefficients(two, 2);
    std::vector<double> settle(2000, 0.0);
    c.processDouble(settle.data(), 2000); // ramp done on silence: state stays zero
    std::vector<double> got = input, expected = input;
    for (size_t start = 0; start < got.size(); start += 333)
        c.processDouble(got.data() + start, int32_t(std::min<size_t>(333, got.size() - start)));
    referenceDF1(kPeakSection, expected);
    referenceDF1(second, expected);
    for (size_t i = 0; i < got.size(); ++i) ASSERT_EQ(got[i], expected[i]) << i;
}

TEST(DF1Cascade, DenormalStateIsFlushedAtTheNextBlockOnly) {
    Cascade c;
    c.setCoefficients(kIdentity, 1);
    std::vector<double> buffer(2000, 0.0);
    c.processDouble(buffer.data(), 2000);
    c.stateOf(0)[2] = 1e-310;
    c.stateOf(0)[3] = 1e-300; // normal: kept
    double one = 0;
    c.processDouble(&one, 1);
    // x = 0 and b0 = 1 with a1 = a2 = 0: y is 0, and y2 took the flushed y1.
    EXPECT_EQ(c.stateOf(0)[3], 0.0);
    // Within a block a tiny value passes untouched and sits in the state until the next block.
    const double feedback[5] = {1, 0, 0, -1, 0}; // y = x + y1
    c.setIdentity(true);
    c.setCoefficients(feedback, 1);
    c.processDouble(buffer.data(), 2000);
    double tiny[3] = {1e-310, 0, 0};
    c.processDouble(tiny, 3);
    EXPECT_EQ(tiny[2], 1e-310);
    EXPECT_EQ(c.stateOf(0)[2], 1e-310);
    double next = 0;
    c.processDouble(&next, 1);
    EXPECT_EQ(next, 0.0);
}

TEST(DF1Cascade, FlatBandKeepsProcessingUntilItsRampEnds) {
    Cascade c;
    c.setCoefficients(kPeakSection, 1);
    std::vector<double> buffer(2048, 0.0);
    c.processDouble(buffer.data(), 2048);
    c.setFlat(1);
    c.setIdentity(false); // fade out
    std::vector<double> signal(64, 1.0);
    c.processDouble(signal.data(), 64);
    EXPECT_NE(signal[10], 1.0); // still filtering during the fade
    for (int i = 0; i < 20; ++i) c.processDouble(signal.data(), 64);
    std::vector<double> after(64, 0.25);
    c.processDouble(after.data(), 64);
    for (double v : after) EXPECT_EQ(v, 0.25);
}

TEST(DF1Cascade, IdentityAndResponses) {
    Cascade c;
    EXPECT_EQ(c.digitalMagnitude(1234.0), 1.0);
    c.setCoefficients(kPeakSection, 1);
    for (double f : {20.0, 1000.0, 15000.0}) {
        const cplx expected = digitalResponse(kPeakSection, 1, f, 44100);
        double re, im;
        c.digitalResponse(f, &re, &im);
        EXPECT_NEAR(re, expected.real(), 1e-12);
        EXPECT_NEAR(im, expected.imag(), 1e-12);
        EXPECT_NEAR(c.digitalMagnitude(f), std::abs(expected), 1e-12);
    }
    c.digitalResponse(100, nullptr, nullptr); // either output may be absent
    double out[20];
    EXPECT_EQ(c.getCoefficients(out), 1);
    EXPECT_EQ(out[3], kPeakSection[3]);
    // Immediate identity replaces both ends of the ramp.
    c.setIdentity(true);
    EXPECT_EQ(c.getCurrent(0).b1, 0.0);
    EXPECT_EQ(c.digitalMagnitude(500.0), 1.0);
}

TEST(DF1Cascade, FloatPathFlushesTinyOutputs) {
    Cascade c;
    c.setOff(0);
    const double decay[5] = {1, 0, 0, -0.5, 0};
    c.setCoefficients(decay, 1);
    std::vector<double> settle(2000, 0.0);
    c.processDouble(settle.data(), 2000);
    std::vector<float> buffer(2000, 0.0f);
    buffer[0] = 1.0f;
    c.processFloat(buffer.data(), 2000);
    EXPECT_FLOAT_EQ(buffer[1], 0.5f);
    for (size_t i = 150; i < buffer.size(); ++i) ASSERT_EQ(buffer[i], 0.0f) << i;
    for (float v : buffer) ASSERT_TRUE(v == 0.0f || std::fabs(v) > 1e-38f);
    // An off band with no ramp is skipped in single precision.
    c.setOff(1);
    std::vector<float> passed(16, 0.75f);
    c.processFloat(passed.data(), 16);
    for (float v : passed) EXPECT_EQ(v, 0.75f);
}

TEST(DF1Cascade, MagnitudeOfASteepCascadeNearDC) {
    // Three sections whose denominators are each about 1e-8 at 5 Hz: their product is below
    // 1e-20 with no pole-zero coincidence, and the magnitude must still be the true one.
    Cascade c;
    c.setSampleRate(44100);
    const double highPass[15] = {0.9982, -1.9965, 0.9982, -1.99645, 0.99648,
                                 0.9954, -1.9908, 0.9954, -1.99079, 0.99082,
                                 0.9972, -0.9972, 0,      -0.99432, 0};
    c.setCoefficients(highPass, 3);
    for (double f : {5.0, 20.0, 100.0})
        EXPECT_NEAR(c.digitalMagnitude(f), std::abs(digitalResponse(highPass, 3, f, 44100)),
                    1e-9 * std::abs(digitalResponse(highPass, 3, f, 44100)) + 1e-15);
    // An exact coincidence of zero and pole is still taken as 1.
    const double cancel[5] = {1, -2, 1, -2, 1};
    c.setCoefficients(cancel, 1);
    EXPECT_EQ(c.digitalMagnitude(0), 1.0);
}

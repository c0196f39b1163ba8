// The band model: dirty marks, control masks, labels, effective Q, the design dispatcher.

#include <gtest/gtest.h>

#include <cstring>

#include "PeakShelfModels.h"
#include "TestSupport.h"

using namespace testing_support;

TEST(EQBand, SettersMarkDirtyOnlyOnChange) {
    MarlowenEQ band;
    EXPECT_TRUE(band.isDirty()); // a new band is dirty and off
    EXPECT_EQ(band.getOff(), 1);
    band.design();
    EXPECT_EQ(band.getFlat(), 1);
    BandSettings s;
    applySettings(band, s);
    band.design();
    ASSERT_FALSE(band.isDirty());
    EXPECT_FALSE(band.setFrequency(s.frequency));
    EXPECT_FALSE(band.setQ(s.q));
    EXPECT_FALSE(band.setType(s.type));
    EXPECT_FALSE(band.isDirty());
    EXPECT_TRUE(band.setGain(1.5f));
    EXPECT_TRUE(band.isDirty());
    EXPECT_FALSE(band.setGain(1.5f)); // a dirty band stays dirty
    EXPECT_TRUE(band.isDirty());
    band.design();
    // Same rate: not dirty, but the filter state is cleared all the same.
    EXPECT_FALSE(band.isDirty());
    std::vector<double> buffer(256, 1.0);
    band.processDouble(buffer.data(), 256);
    band.setSampleRate(s.rate);
    EXPECT_FALSE(band.isDirty());
    for (int i = 0; i < 4; ++i) EXPECT_EQ(band.stateOf(0)[i], 0.0);
    band.setSampleRate(96000);
    EXPECT_TRUE(band.isDirty());
    // setFlat never marks dirty.
    band.design();
    band.setFlat(1);
    EXPECT_FALSE(band.isDirty());
}

TEST(EQBand, ControlMasksAndShiftLabels) {
    struct Case {
        int32_t type, subtype, mask;
        const char* label;
    };
    const Case cases[] = {
        {kEQPeak, kPeakOndelane, 15, "GAIN->Q"},     {kEQPeak, kPeakFlatTop, 15, "SOFTEN"},
        {kEQPeak, kPeak88, 7, ""},                   {kEQNotch, 3, 6, ""},
        {kEQHighPass, kCutChebyshev, 22, ""},        {kEQLowPass, kCutBessel, 18, ""},
        {kEQLowPass, kCutHarmonics, 22, ""},         {kEQLowShelf, kShelfOndelane, 15, "SHIFT"},
        {kEQHighShelf, kShelfOndelane, 15, "SHIFT"}, {kEQHighShelf, kShelfPultecBoost, 7, ""},
        {kEQLowShelf, kShelfPultecBoost, 11, "CUT"}, {kEQLowShelf, kShelfPultecCut, 11, "BOOST"},
        {kEQHighShelf, kShelfPultecCut, 3, ""},      {kEQLowShelf, kShelfTilt, 3, ""},
        {kEQNone, 0, 2, ""},                         {kEQBandPass, 0, 2, ""},
        {kEQAllPass, 0, 2, ""},
    };
    for (const Case& c : cases) {
        MarlowenEQ band;
        band.setType(c.type);
        band.setSubtype(c.subtype);
        EXPECT_EQ(band.getControlMask(), c.mask) << c.type << "/" << c.subtype;
        EXPECT_STREQ(band.getShiftLabel(), c.label) << c.type << "/" << c.subtype;
    }
    int32_t count = 0;
    EXPECT_STREQ(subtypeLabels(kEQLowShelf, &count)[4], "Pultec Boost");
    EXPECT_EQ(count, 8);
    EXPECT_EQ(subtypeLabels(kEQNotch, &count), nullptr);
    EXPECT_EQ(count, 0);
}

TEST(EQBand, EffectiveQ) {
    MarlowenEQ band;
    band.setType(kEQPeak);
    band.setSubtype(kPeakOndelane);
    band.setQ(2.5f);
    band.setGain(0);
    band.setShift(30);
    EXPECT_FLOAT_EQ(band.getEffectiveQ(), 2.5f);
    band.setSubtype(kPeakEE);
    band.setGain(12);
    EXPECT_NEAR(band.getEffectiveQ(), 2.5 / std::pow(10.0, 12.0 / 40), 1e-6);
    // Types other than peak and band pass report Q as it is.
    band.setType(kEQHighShelf);
    EXPECT_FLOAT_EQ(band.getEffectiveQ(), 2.5f);
    // The effective Q is the width the bell really has: its -G/2 dB points for an "EE" bell.
    band.setType(kEQPeak);
    band.setSubtype(kPeak550);
    band.setFrequency(1000);
    band.setOff(0);
    double A = std::pow(10.0, 12.0 / 40);
    EXPECT_NEAR(band.getEffectiveQ(), peakQLaw(kPeak550, A, 2.5, std::pow(10.0, -30 * 0.12 / 20)),
                1e-5);
}

TEST(EQBand, DispatcherEdges) {
    MarlowenEQ band;
    AnalogueSectionSet set;
    band.setType(kEQPeak);
    band.setGain(6);
    // Off: unity unless the graph asks for the band's shape anyway.
    band.analogueSections(&set, false);
    EXPECT_EQ(set.count, 1);
    EXPECT_EQ(std::abs(analogueResponse(set, 1000)), 1.0);
    band.analogueSections(&set, true);
    EXPECT_NEAR(db(std::abs(analogueResponse(set, 1000))), 6, 1e-6);
    band.setOff(0);
    band.setType(9);
    band.analogueSections(&set, false);
    EXPECT_EQ(set.count, 0);
    EXPECT_EQ(band.analogueMagnitude(1000, false), 1.0);
    EXPECT_EQ(band.analoguePhase(1000), 0.0);
    band.setType(kEQHighShelf);
    band.setSubtype(99);
    band.analogueSections(&set, false);
    EXPECT_EQ(set.count, 1);
    EXPECT_EQ(band.analogueMagnitude(5000, false), 1.0);
}

TEST(EQBand, NotchAllPassAndPhase) {
    MarlowenEQ band;
    band.setOff(0);
    band.setType(kEQNotch);
    band.setFrequency(2000);
    band.setQ(4);
    EXPECT_EQ(band.analogueMagnitude(2000, false), 0.0);
    EXPECT_NEAR(band.analogueMagnitude(20, false), 1, 1e-5);
    // The -3 dB points of a notch lie at f (sqrt(1 + 1/(4 Q^2)) +/- 1/(2 Q)).
    const double edge = 2000 * (std::sqrt(1 + 1 / 64.0) + 1 / 8.0);
    EXPECT_NEAR(db(band.analogueMagnitude(edge, false)), -3.0103, 1e-3);
    band.setType(kEQAllPass);
    for (double f : {100.0, 2000.0, 9000.0}) EXPECT_NEAR(band.analogueMagnitude(f, false), 1, 1e-6);
    // Second-order all pass: -180 degrees at its centre.
    EXPECT_NEAR(std::fabs(band.analoguePhase(2000)), kPi, 1e-6);
    // Phase agrees with the independent evaluation.
    AnalogueSectionSet set;
    band.analogueSections(&set, false);
    EXPECT_NEAR(band.analoguePhase(700), std::arg(analogueResponse(set, 700)), 1e-9);
}

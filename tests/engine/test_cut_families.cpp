// Cut families against their defining properties.

#include <gtest/gtest.h>

#include "CutFamilies.h"
#include "TestSupport.h"

using namespace testing_support;

namespace {

constexpr double kMinus3 = -3.0103; // 10 log10(1/2)

double cutDb(int32_t type, int32_t subtype, int32_t order, double f, double q = 0.707,
             float corner = 1000, float gain = 0) {
    BandSettings s;
    s.type = type;
    s.subtype = subtype;
    s.order = order;
    s.q = float(q);
    s.frequency = corner;
    s.gain = gain;
    return db(std::abs(analogueResponse(sectionsOf(s), f)));
}

} // namespace

TEST(CutFamilies, CornerIsMinus3dBForMaximallyFlatBesselAndCritical) {
    for (int32_t subtype : {kCutButterworth, kCutBessel, kCutCritical})
        for (int order = 1; order <= 8; ++order)
            for (int32_t type : {kEQLowPass, kEQHighPass}) {
                SCOPED_TRACE(testing::Message() << "subtype " << subtype << " order " << order
                                                << " type " << type);
                EXPECT_NEAR(cutDb(type, subtype, order, 1000), kMinus3, 2e-4);
                // Pass band near unity; six octaves out the stop band is well down (Critical's coincident
                // poles reach the 6 dB per order and octave asymptote late).
                const double pass = type == kEQLowPass ? 10 : 100000;
                const double stop = type == kEQLowPass ? 64000 : 1000.0 / 64;
                EXPECT_NEAR(cutDb(type, subtype, order, pass), 0, 0.05);
                EXPECT_LT(cutDb(type, subtype, order, stop), -24.0 * order);
            }
}

TEST(CutFamilies, ButterworthIsMaximallyFlat) {
    for (int order = 1; order <= 8; ++order)
        for (double f : {100.0, 500.0, 2000.0, 5000.0}) {
            const double expected = -10 * std::log10(1 + std::pow(f / 1000, 2 * order));
            EXPECT_NEAR(cutDb(kEQLowPass, kCutButterworth, order, f), expected, 1e-9);
        }
}

TEST(CutFamilies, BesselTableMatchesThePolynomialAndOrdersPolesAsAgreed) {
    for (int order = 2; order <= 4; ++order) {
        double tabled[4][2], derived[4][2], tabledReal = 0, derivedReal = 0;
        const int n = besselPoles(order, tabled, &tabledReal);
        ASSERT_EQ(deriveBesselPoles(order, derived, &derivedReal), n);
        for (int i = 0; i < n; ++i) {
            EXPECT_NEAR(derived[i][0], tabled[i][0], 1e-10);
            EXPECT_NEAR(derived[i][1], tabled[i][1], 1e-10);
        }
        EXPECT_NEAR(derivedReal, tabledReal, 1e-10);
    }
    double pairs[4][2], real = 0;
    for (int order = 5; order <= 8; ++order) {
        const int n = besselPoles(order, pairs, &real);
        EXPECT_EQ(n, order / 2);
        for (int i = 1; i < n; ++i) EXPECT_GT(pairs[i][1], pairs[i - 1][1]);
        for (int i = 0; i < n; ++i) EXPECT_LT(pairs[i][0], 0);
        if (order % 2) {
            EXPECT_LT(real, 0);
        }
    }
    // Group delay of a Bessel filter is flat: the phase is close to linear well below the corner.
    BandSettings s;
    s.type = kEQLowPass;
    s.subtype = kCutBessel;
    s.order = 8;
    const auto set = sectionsOf(s);
    const double p1 = std::arg(analogueResponse(set, 50)), p2 = std::arg(analogueResponse(set, 100));
    EXPECT_NEAR(p2 / p1, 2.0, 1e-3);
}

TEST(CutFamilies, ChebyshevRippleBand) {
    for (double ripple : {0.5, 1.0, 3.0})
        for (int order = 2; order <= 8; order += 2) {
            // Sections of unity DC gain: even orders swing between 0 and +ripple in the pass
            // band and come back to 0 dB at the corner.
            double lowest = 0, highest = -100;
            for (int i = 0; i <= 400; ++i) {
                const double v = cutDb(kEQLowPass, kCutChebyshev, order, 2.5 * i, ripple);
                lowest = std::min(lowest, v);
                highest = std::max(highest, v);
            }
            EXPECT_NEAR(highest, ripple, 0.02);
            EXPECT_NEAR(lowest, 0, 1e-9);
            EXPECT_NEAR(cutDb(kEQLowPass, kCutChebyshev, order, 1000, ripple), 0, 1e-6);
            // Ripple buys steepness: past the corner it falls faster than Butterworth.
            if (order >= 4) {
                EXPECT_LT(cutDb(kEQLowPass, kCutChebyshev, order, 2000, ripple),
                          cutDb(kEQLowPass, kCutButterworth, order, 2000) - 1);
            }
        }
    // With 0 dB ripple the sections are Butterworth's angles without ripple, and an odd
    // order's first-order section keeps DC gain sqrt 2: the pass band sits about 3 dB up.
    for (int order = 1; order <= 7; order += 2)
        EXPECT_NEAR(cutDb(kEQLowPass, kCutChebyshev, order, 1, 0), 3.0103, 1e-3);
    for (int order = 2; order <= 8; order += 2)
        EXPECT_NEAR(cutDb(kEQLowPass, kCutChebyshev, order, 1000, 0),
                    cutDb(kEQLowPass, kCutButterworth, order, 1000), 1e-9);
}

TEST(CutFamilies, CoincidentFollowsItsCorner) {
    // Orders 1 and 2 are -3 dB at the corner; higher orders move the shared corner by c.
    EXPECT_NEAR(cutDb(kEQLowPass, kCutCoincident, 1, 1000), kMinus3, 1e-6);
    EXPECT_NEAR(cutDb(kEQLowPass, kCutCoincident, 2, 1000), kMinus3, 1e-6);
    for (int order = 3; order <= 8; ++order) {
        const int n = order / 2;
        const double v = order % 2;
        const double c = std::sqrt(2 * n / (std::sqrt(v * v + 4 * n) - v));
        // n Butterworth pairs at corner c, and a first-order pole at c.
        double expected = n * -10 * std::log10(1 + std::pow(1 / c, 4));
        if (order % 2) expected += -10 * std::log10(1 + 1 / (c * c));
        EXPECT_NEAR(cutDb(kEQLowPass, kCutCoincident, order, 1000), expected, 1e-9);
    }
}

TEST(CutFamilies, EllipticRippleAndStopBand) {
    const double ks = 1 + 5 / std::exp(1.0);
    for (double ripple : {0.1, 0.5, 1.0})
        for (int order = 2; order <= 8; ++order) {
            SCOPED_TRACE(testing::Message() << "ripple " << ripple << " order " << order);
            double passMin = 100, passMax = -100, stopMax = -400;
            for (int i = 0; i <= 500; ++i) {
                const double f = 1000.0 * i / 500;
                const double v = cutDb(kEQLowPass, kCutElliptic, order, f, ripple);
                passMin = std::min(passMin, v);
                passMax = std::max(passMax, v);
            }
            for (int i = 0; i <= 2000; ++i) {
                const double f = 1000 * ks * std::pow(100.0, i / 2000.0);
                stopMax = std::max(stopMax, cutDb(kEQLowPass, kCutElliptic, order, f, ripple));
            }
            // The pass band stays within a band of about the ripple, the stop band is low.
            EXPECT_LE(passMax - passMin, ripple * 1.05 + 0.05);
            EXPECT_LT(stopMax, passMin - 10);
            // Transmission zeros on the j axis at or beyond the stopband edge.
            BandSettings s;
            s.type = kEQLowPass;
            s.subtype = kCutElliptic;
            s.order = order;
            s.q = float(ripple);
            const auto set = sectionsOf(s);
            for (int i = 0; i < order / 2; ++i) {
                const AnalogueSection& a = set.sections[i];
                ASSERT_GT(a.n2, 0);
                EXPECT_GE(std::sqrt(a.n0 / a.n2), 1000 * ks * (1 - 1e-9));
            }
        }
}

TEST(CutFamilies, AllpassIsFlatAndHighPassInvertsOnlyTheFirstOrderSection) {
    for (int order = 1; order <= 8; ++order)
        for (double f : {10.0, 500.0, 1000.0, 9000.0}) {
            EXPECT_NEAR(cutDb(kEQLowPass, kCutAllpass, order, f, 2.0), 0, 1e-9);
            EXPECT_NEAR(cutDb(kEQHighPass, kCutAllpass, order, f, 2.0), 0, 1e-9);
        }
    BandSettings s;
    s.type = kEQLowPass;
    s.subtype = kCutAllpass;
    s.order = 3;
    s.q = 2;
    const auto low = sectionsOf(s);
    s.type = kEQHighPass;
    const auto high = sectionsOf(s);
    for (double f : {100.0, 3000.0}) {
        // (s^2 - s/q + 1)/(s^2 + s/q + 1) maps to itself under s -> 1/s; (s - 1)/(s + 1) flips.
        const cplx ratio = analogueResponse(high, f) / analogueResponse(low, f);
        EXPECT_NEAR(ratio.real(), -1, 1e-9);
        EXPECT_NEAR(ratio.imag(), 0, 1e-9);
    }
}

TEST(CutFamilies, HighPassMirrorsLowPassAroundTheCorner) {
    for (int32_t subtype = 0; subtype < kCutSubtypeCount; ++subtype)
        for (int order : {1, 2, 5, 8})
            for (double k : {0.25, 0.7, 3.0})
                EXPECT_NEAR(cutDb(kEQHighPass, subtype, order, 1000 / k, 1.5),
                            cutDb(kEQLowPass, subtype, order, 1000 * k, 1.5), 1e-8)
                    << "subtype " << subtype << " order " << order;
}

TEST(CutFamilies, HarmonicsPeaksAndUnityCorner) {
    for (int order : {2, 3}) {
        BandSettings s;
        s.type = kEQLowPass;
        s.subtype = kCutHarmonics;
        s.order = order;
        s.q = 4;
        const auto set = sectionsOf(s);
        // Only the resonant low pass (and the first-order pole): no peak sections.
        EXPECT_EQ(set.count, order == 2 ? 1 : 2);
        EXPECT_EQ(set.sections[0].n2, 0);
    }
    // High pass of order 8: peaks of height q on the harmonics 2, 3, 4 of the corner.
    const double q = 4;
    for (int m = 2; m <= 4; ++m) {
        BandSettings s;
        s.type = kEQHighPass;
        s.subtype = kCutHarmonics;
        s.order = 8;
        s.q = float(q);
        auto set = sectionsOf(s);
        set.sections[0] = AnalogueSection{};
        for (int k = 1; k < 4; ++k)
            if (k != m - 1) set.sections[k] = AnalogueSection{};
        EXPECT_NEAR(std::abs(analogueResponse(set, 1000.0 * m)), q, 1e-9);
    }
    EXPECT_NEAR(cutDb(kEQLowPass, kCutHarmonics, 2, 1000, 4), 0, 1e-9);
}

TEST(CutFamilies, GainStepAndOutOfRangeSubtype) {
    // The gain lifts the second-order sections only; order 1 has none and ignores it.
    EXPECT_NEAR(cutDb(kEQLowPass, kCutButterworth, 4, 10, 0.707, 1000, 6) -
                    cutDb(kEQLowPass, kCutButterworth, 4, 10),
                6, 1e-6);
    EXPECT_NEAR(cutDb(kEQHighPass, kCutButterworth, 1, 5000, 0.707, 1000, 6),
                cutDb(kEQHighPass, kCutButterworth, 1, 5000), 1e-12);
    BandSettings s;
    s.type = kEQLowPass;
    s.subtype = 12;
    const auto set = sectionsOf(s);
    EXPECT_EQ(set.count, 1);
    EXPECT_EQ(std::abs(analogueResponse(set, 3000)), 1.0);
}

TEST(CutFamilies, OndelaneCascadesTheUsersQ) {
    // Each identical section peaks by Q at the corner: order 4 is Q^2 there.
    EXPECT_NEAR(cutDb(kEQLowPass, kCutOndelane, 2, 1000, 3), db(3), 1e-9);
    EXPECT_NEAR(cutDb(kEQLowPass, kCutOndelane, 4, 1000, 3), 2 * db(3), 1e-9);
    EXPECT_NEAR(cutDb(kEQLowPass, kCutOndelane, 3, 1000, 3), db(3) + kMinus3, 1e-3);
}

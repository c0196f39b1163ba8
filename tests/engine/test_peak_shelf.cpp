// Peak Q laws, special peaks, shelf models and the quartic factoriser.
//
// Responses are evaluated here independently of the engine's own evaluators: each section is
// brought to Hz with the band frequency f (n1, d1 times f; n0, d0 times f^2) and evaluated at
// s = j w by its order (second if n0 or d0 is non-zero, first if n1 or d1, else a gain).

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <initializer_list>
#include <random>
#include <string>
#include <vector>

#include "EQ.h"
#include "PeakShelfModels.h"

namespace {

using Complex = std::complex<double>;

struct Design {
    AnalogueSection s[kMaxSections];
    int count = 0;
};

Design peak(int32_t subtype, double gainDb, double q, double shift = 0.0, int32_t type = kEQPeak) {
    Design d;
    d.count = peakSections(type, subtype, gainDb, q, shift, d.s);
    return d;
}

Design shelf(bool high, int32_t subtype, double gainDb, double frequency, double q = 0.707,
             double shift = 0.0) {
    Design d;
    d.count = shelfSections(high, subtype, gainDb, q, shift, frequency, d.s);
    return d;
}

Complex sectionAt(const AnalogueSection& s, double w, double f) {
    const double n1 = s.n1 * f, n0 = s.n0 * f * f, d1 = s.d1 * f, d0 = s.d0 * f * f;
    const Complex jw(0.0, w);
    if (s.n0 != 0.0 || s.d0 != 0.0) return (s.n2 * jw * jw + n1 * jw + n0) / (s.d2 * jw * jw + d1 * jw + d0);
    if (s.n1 != 0.0 || s.d1 != 0.0) return (s.n2 * jw + n1) / (s.d2 * jw + d1);
    return Complex(s.n2 / s.d2, 0.0);
}

Complex responseAt(const Design& d, double w, double f = 1.0) {
    Complex h(1.0, 0.0);
    for (int i = 0; i < d.count; ++i) h *= sectionAt(d.s[i], w, f);
    return h;
}

double dbAt(const Design& d, double w, double f = 1.0) { return 20.0 * std::log10(std::abs(responseAt(d, w, f))); }

// Frequencies spread logarithmically over [lo, hi] around a band frequency f.
std::vector<double> logSweep(double lo, double hi, int points) {
    std::vector<double> w;
    for (int i = 0; i < points; ++i) w.push_back(lo * std::pow(hi / lo, i / double(points - 1)));
    return w;
}

// Golden-section search of the frequency where fn is largest, in log frequency.
double argMaxLog(const std::function<double(double)>& fn, double lo, double hi) {
    double a = std::log(lo), b = std::log(hi);
    const double r = (std::sqrt(5.0) - 1.0) / 2.0;
    for (int i = 0; i < 200; ++i) {
        const double c = b - r * (b - a), d = a + r * (b - a);
        if (fn(std::exp(c)) > fn(std::exp(d)))
            b = d;
        else
            a = c;
    }
    return std::exp((a + b) / 2.0);
}

bool isUnitySection(const AnalogueSection& s) {
    return s.n2 == 1 && s.n1 == 0 && s.n0 == 0 && s.d2 == 1 && s.d1 == 0 && s.d0 == 0;
}

const int32_t kPlainLaws[] = {kPeakOndelane, kPeakOx1, kPeakOx2, kPeakOx3, kPeakOx4,
                              kPeak550,      kPeak88,  kPeak32,  kPeakEE};

}  // namespace

// ---------------------------------------------------------------------------------------
// Q laws

TEST(PeakQLaw, OndelaneKeepsQAtZeroGainOrZeroShift) {
    for (double q : {0.1, 0.707, 3.0, 50.0}) {
        for (double shift : {-100.0, 0.0, 100.0}) {
            double A = 1.0;
            EXPECT_EQ(peakQLaw(kPeakOndelane, A, q, std::pow(10.0, -shift * 0.12 / 20.0)), q);
            EXPECT_EQ(A, 1.0);
        }
        // P = 1 makes m = k, so numerator and denominator of the law coincide.
        for (double g : {-24.0, -3.0, 0.01, 12.0, 36.0}) {
            double A = std::pow(10.0, g / 40.0);
            EXPECT_NEAR(peakQLaw(kPeakOndelane, A, q, 1.0), q, 1e-12 * q) << g;
        }
    }
}

TEST(PeakQLaw, OndelaneFollowsGainByShiftAndStaysAccurateNearZeroDb) {
    // The law as first written: v, w from k and Q; m = k^(1/P).
    auto written = [](double A, double q, double P) {
        const double k = A <= 1.0 ? A : 1.0 / A;
        const double v = (1.0 - 1.0 / (k * k)) / (q * q) - 2.0;
        const double w = (-v - std::sqrt(v * v - 4.0)) / 2.0;
        const double m = std::pow(k, 1.0 / P);
        return std::sqrt((1.0 - 1.0 / (m * m)) / (2.0 - (w * w + 1.0) / w));
    };
    for (double q : {0.3, 1.0, 8.0}) {
        for (double shift : {-100.0, -40.0, 70.0, 100.0}) {
            const double P = std::pow(10.0, -shift * 0.12 / 20.0);
            double prev = q;
            for (double g : {1.0, 3.0, 6.0, 12.0, 24.0}) {
                double up = std::pow(10.0, g / 40.0), down = 1.0 / up;
                const double qUp = peakQLaw(kPeakOndelane, up, q, P);
                const double qDown = peakQLaw(kPeakOndelane, down, q, P);
                EXPECT_NEAR(qUp, written(std::pow(10.0, g / 40.0), q, P), 1e-9 * qUp);
                EXPECT_NEAR(qUp, qDown, 1e-12 * qUp) << "boost and cut share the law";
                // Positive shift (P < 1) narrows with gain, negative widens.
                if (shift > 0)
                    EXPECT_GT(qUp, prev);
                else
                    EXPECT_LT(qUp, prev);
                prev = qUp;
            }
            // Towards 0 dB the ratio (1 - m^-2) / (1 - k^-2) tends to 1/P.
            double tiny = std::pow(10.0, 1e-9 / 40.0);
            EXPECT_NEAR(peakQLaw(kPeakOndelane, tiny, q, P), q / std::sqrt(P), 1e-6 * q);
        }
    }
}

TEST(PeakQLaw, Law550) {
    for (double q : {0.1, 2.0, 50.0}) {
        double A = 1.0;
        EXPECT_EQ(peakQLaw(kPeak550, A, q, 1.0), q);
        double prev = 0.0;
        for (double g : {0.5, 3.0, 12.0, 36.0}) {
            double up = std::pow(10.0, g / 40.0), down = 1.0 / up;
            const double qUp = peakQLaw(kPeak550, up, q, 1.0);
            EXPECT_NEAR(qUp, peakQLaw(kPeak550, down, q, 1.0), 1e-12 * q);
            // Wide at small gains, closing in on Q from below as the gain grows.
            EXPECT_GT(qUp, prev);
            EXPECT_LT(qUp, q);
            prev = qUp;
        }
        EXPECT_GT(prev, 0.99 * q);
    }
}

TEST(PeakQLaw, OxLaws) {
    // At 0 dB every table gives v = 1, so D = 0 and the law returns 1.0 whatever Q is.
    for (int32_t sub : {kPeakOx1, kPeakOx2, kPeakOx3, kPeakOx4}) {
        for (double q : {0.1, 0.707, 5.0, 50.0}) {
            double A = 1.0;
            EXPECT_EQ(peakQLaw(sub, A, q, 1.0), 1.0) << sub << " " << q;
        }
    }
    auto law = [](int32_t sub, double gainDb, double q) {
        double A = std::pow(10.0, gainDb / 40.0);
        return peakQLaw(sub, A, q, 1.0);
    };
    for (double q : {0.2, 1.0, 7.0}) {
        for (double g : {-20.0, -5.0, -1.0, 1.0, 2.9, 4.0, 15.0}) {
            const double B = std::pow(10.0, g / 20.0);
            // "Ox1" and "Ox4" share the table except at and below B = 0.5.
            if (B > 0.5)
                EXPECT_DOUBLE_EQ(law(kPeakOx1, g, q), law(kPeakOx4, g, q)) << g;
            else
                EXPECT_GT(std::fabs(law(kPeakOx1, g, q) - law(kPeakOx4, g, q)), 1e-3 * q);
            // Between the outer rows "Ox2" is "Ox1" at 0.13 Q.
            if (B > 0.5 && B < 2.0) {
                EXPECT_DOUBLE_EQ(law(kPeakOx2, g, q), law(kPeakOx1, g, 0.13 * q)) << g;
            }
        }
        // "Ox3" uses v = B^0.83205, which inverts with B: boost and cut share the Q.
        for (double g : {0.5, 6.0, 24.0}) EXPECT_NEAR(law(kPeakOx3, g, q), law(kPeakOx3, -g, q), 1e-12);
    }
    // For B >= 2 "Ox2" holds v constant: the law then goes as sqrt((B^2 - v^2) / B) and the
    // ratio between two gains is the same for every Q.
    const double v2 = 1.4144271570014144 * 1.4144271570014144;
    auto shape = [v2](double g) {
        const double B = std::pow(10.0, g / 20.0);
        return std::sqrt((B * B - v2) / B);
    };
    for (double q : {0.1, 1.0, 30.0})
        for (double g : {6.03, 9.0, 24.0, 36.0})  // B >= 2 from 6.02 dB
            EXPECT_NEAR(law(kPeakOx2, g, q) / law(kPeakOx2, 12.0, q), shape(g) / shape(12.0), 1e-12);
}

TEST(PeakQLaw, Laws88And32AreEvenInGain) {
    for (int32_t sub : {kPeak88, kPeak32}) {
        for (double q : {0.1, 0.9, 12.0, 50.0}) {
            for (double g : {0.0, 0.02, 1.0, 6.0, 18.0, 24.0, 36.0}) {
                double up = std::pow(10.0, g / 40.0), down = 1.0 / up;
                const double qUp = peakQLaw(sub, up, q, 1.0);
                EXPECT_GT(qUp, 0.0);
                EXPECT_TRUE(std::isfinite(qUp));
                EXPECT_NEAR(qUp, peakQLaw(sub, down, q, 1.0), 1e-10 * qUp) << sub << " " << g;
            }
        }
    }
    // "88" is Q times a polynomial in the gain: proportional to Q at any fixed gain.
    for (double g : {0.0, 7.0, 30.0}) {
        double A1 = std::pow(10.0, g / 40.0), A2 = A1;
        EXPECT_NEAR(peakQLaw(kPeak88, A1, 3.0, 1.0), 3.0 * peakQLaw(kPeak88, A2, 1.0, 1.0), 1e-12);
    }
    // "32" switches to a fixed r within 0.001 of B = 1; that constant is the limit of the
    // general branch, so the law hardly moves across the switch.
    for (double q : {0.3, 1.0, 10.0}) {
        for (double side : {1.0, -1.0}) {
            double inside = std::sqrt(1.0 + side * 0.00099), outside = std::sqrt(1.0 + side * 0.00101);
            const double qi = peakQLaw(kPeak32, inside, q, 1.0), qo = peakQLaw(kPeak32, outside, q, 1.0);
            EXPECT_NEAR(qi, qo, 1e-3 * qi);
        }
    }
}

TEST(PeakQLaw, Law110RewritesGain) {
    for (double q : {0.1, 3.0, 50.0}) {
        double A = 1.0;
        const double q0 = peakQLaw(kPeak110, A, q, 1.0);
        EXPECT_NEAR(A, 1.0, 1e-15);
        EXPECT_GT(q0, 0.0);
        double prevA = 1.0;
        for (double g : {3.0, 9.0, 18.0}) {
            double up = std::pow(10.0, g / 40.0), down = 1.0 / up;
            const double qUp = peakQLaw(kPeak110, up, q, 1.0);
            const double qDown = peakQLaw(kPeak110, down, q, 1.0);
            EXPECT_NEAR(qUp, qDown, 1e-12 * qUp);
            EXPECT_NEAR(up * down, 1.0, 1e-12) << "rewritten boost and cut stay reciprocal";
            EXPECT_GT(up, prevA);
            prevA = up;
        }
        // The gain control ends at +-18 dB.
        double at18 = std::pow(10.0, 18.0 / 40.0), at30 = std::pow(10.0, 30.0 / 40.0);
        EXPECT_DOUBLE_EQ(peakQLaw(kPeak110, at18, q, 1.0), peakQLaw(kPeak110, at30, q, 1.0));
        EXPECT_DOUBLE_EQ(at18, at30);
    }
}

TEST(PeakQLaw, UnlistedSubtypesReturnQ) {
    for (int32_t sub : std::initializer_list<int32_t>{kPeak4kg, kPeakEE, kPeakFlatTop, kPeakButterworth, kPeak250, 14, -1}) {
        double A = 1.7;
        EXPECT_EQ(peakQLaw(sub, A, 2.5, 0.6), 2.5) << sub;
        EXPECT_EQ(A, 1.7);
    }
}

// ---------------------------------------------------------------------------------------
// Peak and band pass sections

TEST(PeakSections, PlainLawsReachSetGainAtCentreAndUnityFarAway) {
    // A bell (s^2 + (A/Qe) s + 1) / (s^2 + s/(A Qe) + 1) has |H(j)| = A^2 exactly, for any Qe:
    // the tolerance only covers rounding.
    for (int32_t sub : kPlainLaws) {
        for (double g : {-24.0, -7.5, -0.3, 0.3, 6.0, 24.0, 36.0}) {
            for (double q : {0.1, 0.7, 5.0, 50.0}) {
                for (double shift : {-100.0, 0.0, 60.0}) {
                    const Design d = peak(sub, g, q, shift);
                    ASSERT_EQ(d.count, 1);
                    EXPECT_NEAR(dbAt(d, 1.0), g, 1e-9) << sub << " " << g << " " << q;
                    EXPECT_NEAR(dbAt(d, 1e-8), 0.0, 1e-6);
                    EXPECT_NEAR(dbAt(d, 1e8), 0.0, 1e-6);
                    // The centre is the extreme, and the bell is symmetric in log frequency.
                    for (double w : {0.3, 0.9, 1.1, 4.0}) {
                        EXPECT_LE(std::fabs(dbAt(d, w)), std::fabs(g) + 1e-9);
                        EXPECT_NEAR(dbAt(d, w), dbAt(d, 1.0 / w), 1e-9);
                    }
                }
            }
        }
    }
}

TEST(PeakSections, ZeroGainIsUnityForPlainLaws) {
    for (int32_t sub : {kPeakOndelane, kPeakOx1, kPeakOx2, kPeakOx3, kPeakOx4, kPeak110, kPeak550,
                        kPeak88, kPeak32, kPeakEE}) {
        for (double q : {0.1, 1.0, 50.0}) {
            const Design d = peak(sub, 0.0, q, 80.0);
            for (double w : logSweep(1e-3, 1e3, 25)) EXPECT_NEAR(dbAt(d, w), 0.0, 1e-12) << sub;
        }
    }
}

TEST(PeakSections, CutMirrorsBoostWhereTheLawIsEven) {
    for (int32_t sub : {kPeakOndelane, kPeakOx3, kPeak110, kPeak550, kPeak88, kPeak32, kPeak4kg,
                        kPeakFlatTop, kPeak250}) {
        // "FlatTop" solves its cubic separately for boost and cut, from t and 1/t; the two
        // spacings agree to rounding amplified by the root, some 1e-10 relative.
        const double tol = sub == kPeakFlatTop ? 1e-7 : 1e-9;
        for (double g : {0.7, 6.0, 15.0, 24.0}) {
            for (double q : {0.1, 1.5, 40.0}) {
                const Design up = peak(sub, g, q, 50.0), down = peak(sub, -g, q, 50.0);
                for (double w : logSweep(1e-3, 1e3, 31))
                    EXPECT_NEAR(dbAt(up, w) + dbAt(down, w), 0.0, tol) << sub << " " << g << " " << w;
            }
        }
    }
}

TEST(PeakSections, EEIsABellAtQOverAWithFixedPoles) {
    for (double q : {0.2, 2.0, 30.0}) {
        const Design ref = peak(kPeakEE, 0.0, q);
        for (double g : {-18.0, -4.0, 5.0, 20.0}) {
            const Design d = peak(kPeakEE, g, q, 37.0);
            // Q / A puts A into the zeros only: the poles do not move with the gain.
            EXPECT_DOUBLE_EQ(d.s[0].d1, ref.s[0].d1);
            EXPECT_DOUBLE_EQ(d.s[0].d0, ref.s[0].d0);
            // "Ondelane" at zero shift is the plain bell, so at Q / A it must be the same filter.
            const Design same = peak(kPeakOndelane, g, q / std::pow(10.0, g / 40.0), 0.0);
            for (double w : {0.1, 0.5, 1.0, 2.0, 10.0}) EXPECT_NEAR(dbAt(d, w), dbAt(same, w), 1e-9);
        }
    }
}

TEST(PeakSections, BandPass) {
    for (int32_t sub : {kPeakOndelane, kPeakOx1, kPeak550, kPeak88, kPeak32, kPeakEE, kPeakFlatTop,
                        kPeakButterworth, kPeak4kg, kPeak250}) {
        for (double g : {-12.0, 0.0, 9.0}) {
            const Design d = peak(sub, g, 2.0, 0.0, kEQBandPass);
            ASSERT_EQ(d.count, 1) << "band pass always uses the plain section";
            EXPECT_NEAR(dbAt(d, 1.0), g, 1e-9);
            // Second-order band pass: the skirts fall at 20 dB per decade on both sides.
            EXPECT_NEAR(dbAt(d, 1e-6) - dbAt(d, 1e-5), -20.0, 1e-3);
            EXPECT_NEAR(dbAt(d, 1e6) - dbAt(d, 1e5), -20.0, 1e-3);
            EXPECT_LT(dbAt(d, 1e-6), g - 60.0);
        }
    }
    // The special peaks have no Q law, so their band pass is the plain one at Q: its -3 dB
    // points are 1/Q apart.
    for (int32_t sub : {kPeakFlatTop, kPeakButterworth, kPeak4kg, kPeak250}) {
        for (double q : {0.5, 4.0}) {
            const Design d = peak(sub, 6.0, q, 0.0, kEQBandPass);
            const double lo = (-1.0 / q + std::sqrt(1.0 / (q * q) + 4.0)) / 2.0, hi = lo + 1.0 / q;
            EXPECT_NEAR(dbAt(d, lo), 6.0 - 10.0 * std::log10(2.0), 1e-9);
            EXPECT_NEAR(dbAt(d, hi), 6.0 - 10.0 * std::log10(2.0), 1e-9);
        }
    }
    // "110" band pass reaches the gain its law rewrote.
    double A = std::pow(10.0, 12.0 / 40.0);
    peakQLaw(kPeak110, A, 2.0, 1.0);
    EXPECT_NEAR(dbAt(peak(kPeak110, 12.0, 2.0, 0.0, kEQBandPass), 1.0), 40.0 * std::log10(A), 1e-9);
}

TEST(PeakSections, OutOfRangeSubtypeIsUnity) {
    for (int32_t type : {kEQPeak, kEQBandPass}) {
        for (int32_t sub : std::initializer_list<int32_t>{-1, kPeakSubtypeCount, 99}) {
            const Design d = peak(sub, 12.0, 1.0, 0.0, type);
            ASSERT_EQ(d.count, 1);
            EXPECT_TRUE(isUnitySection(d.s[0]));
        }
    }
}

// ---------------------------------------------------------------------------------------
// Special peaks

TEST(FlatTopPeak, ZeroShiftIsTwoIdenticalHalfGainBells) {
    for (double g : {-24.0, -6.0, 9.0, 24.0}) {
        for (double q : {0.1, 1.0, 50.0}) {
            for (double shift : {0.0, -60.0}) {  // negative SOFTEN counts as 0
                const Design d = peak(kPeakFlatTop, g, q, shift);
                ASSERT_EQ(d.count, 2);
                const AnalogueSection& a = d.s[0];
                const AnalogueSection& b = d.s[1];
                EXPECT_DOUBLE_EQ(a.n1, b.n1);
                EXPECT_DOUBLE_EQ(a.d1, b.d1);
                EXPECT_DOUBLE_EQ(a.n0, b.n0);
                EXPECT_DOUBLE_EQ(a.d0, b.d0);
                Design one;
                one.count = 1;
                one.s[0] = a;
                EXPECT_NEAR(dbAt(one, 1.0), g / 2.0, 1e-9);
                EXPECT_NEAR(dbAt(d, 1.0), g, 1e-9);
                EXPECT_NEAR(dbAt(d, 1e-7), 0.0, 1e-6);
                EXPECT_NEAR(dbAt(d, 1e7), 0.0, 1e-6);
            }
        }
    }
}

TEST(FlatTopPeak, FullSoftenSpreadsTheBellsUntilTheTopIsFlat) {
    for (double g : {3.0, 12.0, 24.0}) {
        for (double q : {0.1, 0.5, 2.0, 8.0}) {
            const Design base = peak(kPeakFlatTop, g, q, 0.0);
            Design bell;
            bell.count = 1;
            bell.s[0] = base.s[0];
            // Two half-gain bells at e and 1/e, built by moving the unshifted bell in frequency.
            auto pairAt = [&](double e, double w) {
                return std::abs(responseAt(bell, w / e) * responseAt(bell, w * e));
            };
            // Second derivative of ln|H| in ln w at the centre; Richardson over two steps
            // removes the h^2 term that a sharp bell would otherwise leave.
            auto curvature = [&](double e) {
                auto diff = [&](double h) {
                    return (std::log(pairAt(e, std::exp(h))) + std::log(pairAt(e, std::exp(-h))) -
                            2.0 * std::log(pairAt(e, 1.0))) /
                           (h * h);
                };
                return (4.0 * diff(1e-3) - diff(2e-3)) / 3.0;
            };
            // A boost bell pair is curved down at the centre until the bells part far enough
            // to leave a dip: bisect for the spacing where the curvature vanishes.
            double lo = 1.0, hi = 50.0;
            ASSERT_LT(curvature(1.0 + 1e-9), 0.0);
            ASSERT_GT(curvature(hi), 0.0);
            for (int i = 0; i < 100; ++i) {
                const double mid = std::sqrt(lo * hi);
                (curvature(mid) < 0.0 ? lo : hi) = mid;
            }
            const double eFlat = std::sqrt(lo * hi);

            const Design d = peak(kPeakFlatTop, g, q, 100.0);
            ASSERT_EQ(d.count, 2);
            for (int i = 0; i < 2; ++i) {
                Design one;
                one.count = 1;
                one.s[0] = d.s[i];
                const double centre = argMaxLog([&](double w) { return std::abs(responseAt(one, w)); }, 1e-3, 1e3);
                EXPECT_NEAR(std::log(centre), i == 0 ? std::log(eFlat) : -std::log(eFlat), 1e-5)
                    << g << " " << q;
                EXPECT_NEAR(dbAt(one, centre), g / 2.0, 1e-6);
            }
            for (double w : logSweep(1e-3, 1e3, 41)) {
                EXPECT_NEAR(std::abs(responseAt(d, w)), pairAt(eFlat, w), 1e-5 * pairAt(eFlat, w));
                // Flat, not split: the centre stays the top of the curve.
                EXPECT_LE(dbAt(d, w), dbAt(d, 1.0) + 1e-9);
            }
            // Spreading costs height: the centre keeps more than half the gain but not all.
            EXPECT_GT(dbAt(d, 1.0), g / 2.0);
            EXPECT_LT(dbAt(d, 1.0), g);
        }
    }
}

TEST(ButterworthPeak, IsTheBandPassTransformOfAButterworthShelf) {
    for (double g : {-24.0, -6.0, 0.0, 3.0, 18.0, 36.0}) {
        for (double q : {0.1, 0.707, 4.0, 50.0}) {
            const Design d = peak(kPeakButterworth, g, q);
            ASSERT_EQ(d.count, 2);
            // Shelf (S^2 + sqrt2 B S + B^2) / (S^2 + sqrt2 S + 1), B = 10^(G/40), at S = Q (s + 1/s).
            const double B = std::pow(10.0, g / 40.0);
            for (double w : logSweep(1e-3, 1e3, 41)) {
                const Complex s(0.0, w);
                const Complex S = q * (s + 1.0 / s);
                const Complex ref = (S * S + std::sqrt(2.0) * B * S + B * B) / (S * S + std::sqrt(2.0) * S + 1.0);
                EXPECT_NEAR(std::abs(responseAt(d, w)), std::abs(ref), 1e-9 * std::abs(ref)) << g << " " << q;
            }
            EXPECT_NEAR(dbAt(d, 1.0), g, 1e-9);
            EXPECT_NEAR(dbAt(d, 1e-7), 0.0, 1e-6);
            EXPECT_NEAR(dbAt(d, 1e7), 0.0, 1e-6);
        }
    }
}

TEST(Peak4kg, CircuitBell) {
    for (double q : {0.1, 2.0, 50.0}) {
        const Design flat = peak(kPeak4kg, 0.0, q);
        for (double w : logSweep(1e-3, 1e3, 25)) EXPECT_NEAR(dbAt(flat, w), 0.0, 1e-12);
        double prev = 0.0;
        for (double g : {3.0, 9.0, 18.0}) {
            const Design d = peak(kPeak4kg, g, q);
            ASSERT_EQ(d.count, 1);
            EXPECT_NEAR(dbAt(d, 1e-7), 0.0, 1e-6);
            EXPECT_NEAR(dbAt(d, 1e7), 0.0, 1e-6);
            EXPECT_GT(dbAt(d, 1.0), prev);
            prev = dbAt(d, 1.0);
        }
        // The gain pot ends at +-18 dB, where the resonance sits exactly on the band frequency.
        EXPECT_DOUBLE_EQ(dbAt(peak(kPeak4kg, 30.0, q), 1.0), dbAt(peak(kPeak4kg, 18.0, q), 1.0));
        for (double g : {-18.0, 18.0}) {
            const Design d = peak(kPeak4kg, g, q);
            const double sign = g > 0 ? 1.0 : -1.0;
            EXPECT_NEAR(argMaxLog([&](double w) { return sign * dbAt(d, w); }, 0.01, 100.0), 1.0, 1e-6);
        }
    }
    // Higher Q narrows the bell.
    EXPECT_LT(dbAt(peak(kPeak4kg, 12.0, 50.0), 2.0), dbAt(peak(kPeak4kg, 12.0, 0.1), 2.0) - 1.0);
}

TEST(Peak250, CircuitBell) {
    for (double q : {0.1, 2.0, 50.0}) {
        const Design flat = peak(kPeak250, 0.0, q);
        for (double w : logSweep(1e-3, 1e3, 25)) EXPECT_NEAR(dbAt(flat, w), 0.0, 1e-9);
        double prev = 0.0;
        for (double g : {3.0, 9.0, 18.0}) {
            const Design d = peak(kPeak250, g, q);
            ASSERT_EQ(d.count, 1);
            // n2 = n0 and d2 = d0: symmetric in log frequency, so the extreme is at the centre.
            for (double w : {0.01, 0.2, 0.7, 3.0}) EXPECT_NEAR(dbAt(d, w), dbAt(d, 1.0 / w), 1e-9);
            for (double w : logSweep(1e-3, 1e3, 31)) EXPECT_LE(dbAt(d, w), dbAt(d, 1.0) + 1e-9);
            EXPECT_GT(dbAt(d, 1.0), prev);
            prev = dbAt(d, 1.0);
        }
        EXPECT_DOUBLE_EQ(dbAt(peak(kPeak250, -30.0, q), 1.0), dbAt(peak(kPeak250, -18.0, q), 1.0));
    }
    EXPECT_LT(dbAt(peak(kPeak250, 12.0, 50.0), 2.0), dbAt(peak(kPeak250, 12.0, 0.1), 2.0) - 1.0);
}

// ---------------------------------------------------------------------------------------
// Shelves

TEST(ShelfOndelane, ReachesSetGainAndCrossesHalfwayAtTheMidpoint) {
    for (bool high : {false, true}) {
        for (double g : {-24.0, -6.0, -0.5, 0.5, 6.0, 24.0, 36.0}) {
            for (double q : {0.1, 0.707, 2.0, 10.0}) {
                for (double shift : {-100.0, 0.0, 100.0}) {
                    const Design d = shelf(high, kShelfOndelane, g, 1.0, q, shift);
                    ASSERT_EQ(d.count, 1);
                    EXPECT_NEAR(dbAt(d, 1e-7), high ? 0.0 : g, 1e-6) << high << " " << g << " " << q;
                    EXPECT_NEAR(dbAt(d, 1e7), high ? g : 0.0, 1e-6);
                    const Design mirror = shelf(high, kShelfOndelane, -g, 1.0, q, shift);
                    for (double w : {0.01, 0.5, 1.0, 3.0, 100.0}) EXPECT_NEAR(dbAt(d, w) + dbAt(mirror, w), 0.0, 1e-9);
                }
                // Without shift the zeros and poles share their Q, and the response passes half
                // the gain at the geometric mean of their corners: 1 and 10^(+-|G|/40), the
                // moving corner above 1 for the low shelf and below for the high.
                const Design d = shelf(high, kShelfOndelane, g, 1.0, q, 0.0);
                const double mid = std::pow(10.0, (high ? -1.0 : 1.0) * std::fabs(g) / 80.0);
                EXPECT_NEAR(dbAt(d, mid), g / 2.0, 1e-9);
            }
        }
    }
    for (double q : {0.1, 3.0}) {
        const Design d = shelf(false, kShelfOndelane, 0.0, 1.0, q, 50.0);
        for (double w : {0.01, 1.0, 100.0}) EXPECT_NEAR(dbAt(d, w), 0.0, 1e-12);
    }
}

TEST(ShelfOndelane, QAndShiftShapeTheOvershoot) {
    const double g = 12.0;
    auto extremes = [g](double q, double shift, double& top, double& bottom) {
        const Design d = shelf(false, kShelfOndelane, g, 1.0, q, shift);
        top = -1e9;
        bottom = 1e9;
        for (double w : logSweep(1e-4, 1e4, 4001)) {
            top = std::max(top, dbAt(d, w));
            bottom = std::min(bottom, dbAt(d, w));
        }
    };
    double top, bottom;
    // 1/sqrt2 is the plain shelf: monotonic, and the shift has nothing to pull apart.
    for (double shift : {-100.0, 0.0, 100.0}) {
        extremes(0.70710678, shift, top, bottom);
        EXPECT_LE(top, g + 1e-9);
        EXPECT_GE(bottom, -1e-9);
    }
    // Higher Q without shift: overshoot above the gain mirrors undershoot below 0 dB.
    extremes(2.0, 0.0, top, bottom);
    EXPECT_GT(top - g, 1.0);
    EXPECT_NEAR(top - g, -bottom, 1e-3);
    // Full positive shift leaves only the overshoot, full negative only the undershoot.
    extremes(2.0, 100.0, top, bottom);
    EXPECT_GT(top - g, 1.0);
    EXPECT_GE(bottom, -1e-6);
    extremes(2.0, -100.0, top, bottom);
    EXPECT_LT(bottom, -1.0);
    EXPECT_LE(top, g + 1e-6);
}

TEST(ShelfFirstOrderAndTilt, FarEndsAndPivot) {
    for (double g : {-30.0, -6.0, 0.0, 4.5, 24.0}) {
        for (bool high : {false, true}) {
            const Design fo = shelf(high, kShelfFirstOrder, g, 1000.0);
            ASSERT_EQ(fo.count, 1);
            EXPECT_NE(sectionOrder(fo.s[0]), kSectionSecond);
            EXPECT_NEAR(dbAt(fo, 1e-6, 1000.0), high ? 0.0 : g, 1e-6);
            EXPECT_NEAR(dbAt(fo, 1e12, 1000.0), high ? g : 0.0, 1e-6);
            const Design foMirror = shelf(high, kShelfFirstOrder, -g, 1000.0);
            for (double w : {10.0, 1000.0, 1e5}) EXPECT_NEAR(dbAt(fo, w, 1000.0) + dbAt(foMirror, w, 1000.0), 0.0, 1e-9);

            // The tilt swings +-G about 0 dB at the band frequency: the high tilt ends at +G.
            const Design tilt = shelf(high, kShelfTilt, g, 1000.0);
            ASSERT_EQ(tilt.count, 1);
            EXPECT_NEAR(dbAt(tilt, 1000.0, 1000.0), 0.0, 1e-12);
            EXPECT_NEAR(dbAt(tilt, 1e-6, 1000.0), high ? -g : g, 1e-6);
            EXPECT_NEAR(dbAt(tilt, 1e12, 1000.0), high ? g : -g, 1e-6);
        }
        const Design lowTilt = shelf(false, kShelfTilt, g, 1000.0), highTilt = shelf(true, kShelfTilt, g, 1000.0);
        for (double w : {10.0, 300.0, 3000.0, 1e5}) EXPECT_NEAR(dbAt(lowTilt, w, 1000.0), -dbAt(highTilt, w, 1000.0), 1e-9);
    }
}

TEST(Shelf110, LowShelfDepthFromCircuitAndExactUnityAtInfinity) {
    for (double f : {10.0, 33.0, 70.0, 460.0, 2000.0}) {
        for (double g : {-36.0, -18.0, -7.0, 0.0, 2.0, 18.0, 36.0}) {
            const Design d = shelf(false, kShelf110, g, f);
            ASSERT_EQ(d.count, 2);
            // DC: ratio of the constant terms of the two circuit quartics, u + 3.4 over v + 3.4,
            // with the gain pot 22 kOhm split by the control (ends at +-18 dB).
            const double pos = std::clamp((g + 18.0) / 36.0, 0.0, 1.0);
            const double dc = 20.0 * std::log10((22.0 * pos + 3.4) / (22.0 * (1.0 - pos) + 3.4));
            EXPECT_NEAR(dbAt(d, 1e-6 * f, f), dc, 1e-6) << f << " " << g;
            // Numerator and denominator share the top three terms: back to 0 dB above.
            EXPECT_NEAR(dbAt(d, 1e8 * f, f), 0.0, 1e-6);
            const Design mirror = shelf(false, kShelf110, -g, f);
            for (double r : {0.01, 0.3, 1.0, 3.0, 100.0}) EXPECT_NEAR(dbAt(d, r * f, f) + dbAt(mirror, r * f, f), 0.0, 1e-6);
        }
    }
}

TEST(QuarticShelves, FactorPairing) {
    // The factoriser's first factor is the one with the larger linear term (2h + t against
    // 2h - t). "110" keeps first with first; "4kg" crosses them, and works in 1/s, where a
    // factor x^2 + p x + q becomes s^2 + (p/q) s + 1/q, so there p is n1 / n0.
    for (double f : {15.0, 100.0, 800.0}) {
        for (double g : {-12.0, 5.0, 18.0}) {
            const Design straight = shelf(false, kShelf110, g, f);
            EXPECT_GE(straight.s[0].n1, straight.s[1].n1);
            EXPECT_GE(straight.s[0].d1, straight.s[1].d1);
            const Design crossed = shelf(false, kShelf4kg, g, f);
            EXPECT_LE(crossed.s[0].n1 / crossed.s[0].n0, crossed.s[1].n1 / crossed.s[1].n0);
            EXPECT_GE(crossed.s[0].d1 / crossed.s[0].d0, crossed.s[1].d1 / crossed.s[1].d0);
        }
    }
}

TEST(Shelf110, HighShelfTopEqualsSetGain) {
    // The pot position solves the quadratic that makes the top of the shelf equal 10^(G/20).
    for (double f : {1000.0, 3300.0, 8000.0, 18000.0, 22000.0}) {
        for (double g : {-36.0, -24.0, -8.5, -1e-6, 0.0, 1e-6, 5.0, 24.0, 36.0}) {
            const Design d = shelf(true, kShelf110, g, f);
            ASSERT_EQ(d.count, 1);
            EXPECT_NEAR(dbAt(d, 1e8 * f, f), g, 1e-6) << f << " " << g;
            EXPECT_NEAR(dbAt(d, 1e-8 * f, f), 0.0, 1e-6);
        }
        const Design zero = shelf(true, kShelf110, 0.0, f);
        for (double r : {0.01, 1.0, 100.0}) EXPECT_NEAR(dbAt(zero, r * f, f), 0.0, 1e-12);
    }
}

TEST(Shelf4kg, FlatAtZeroMirroredAndSlidingOutsideTheSweep) {
    for (bool high : {false, true}) {
        // Low: the circuit constants carry about eight significant figures, so the halves of
        // the network cancel only to ~1e-6 dB at 0 dB and to a few 1e-4 dB between boost and cut.
        const double flatTol = high ? 1e-12 : 1e-4, mirrorTol = high ? 1e-9 : 3e-3;
        for (double f : {10.0, 40.0, 200.0, 1000.0, 3000.0, 20000.0}) {
            const Design flat = shelf(high, kShelf4kg, 0.0, f);
            for (double r : {1e-3, 0.1, 1.0, 10.0, 1e3}) EXPECT_NEAR(dbAt(flat, r * f, f), 0.0, flatTol);
            for (double g : {4.0, 12.0, 18.0}) {
                const Design up = shelf(high, kShelf4kg, g, f), down = shelf(high, kShelf4kg, -g, f);
                for (double r : {1e-3, 0.1, 0.5, 1.0, 2.0, 10.0, 1e3})
                    EXPECT_NEAR(dbAt(up, r * f, f) + dbAt(down, r * f, f), 0.0, mirrorTol) << high << " " << f;
                // Boosts on its own side of the band frequency.
                EXPECT_GT(dbAt(up, (high ? 10.0 : 0.1) * f, f), g / 4.0);
            }
        }
        // Outside the sweep of the frequency pot the circuit is frozen and only slides.
        const double fa = high ? 600.0 : 12.0, fb = high ? 1200.0 : 25.0;
        const double fc = high ? 17000.0 : 500.0, fd = high ? 22000.0 : 900.0;
        for (double g : {-15.0, 9.0}) {
            for (double r : {0.05, 0.5, 1.0, 2.0, 20.0}) {
                EXPECT_NEAR(dbAt(shelf(high, kShelf4kg, g, fa), r * fa, fa),
                            dbAt(shelf(high, kShelf4kg, g, fb), r * fb, fb), 1e-9);
                EXPECT_NEAR(dbAt(shelf(high, kShelf4kg, g, fc), r * fc, fc),
                            dbAt(shelf(high, kShelf4kg, g, fd), r * fd, fd), 1e-9);
            }
        }
    }
    // The gain pot ends at +-18 dB.
    EXPECT_DOUBLE_EQ(dbAt(shelf(false, kShelf4kg, 30.0, 100.0), 10.0, 100.0),
                     dbAt(shelf(false, kShelf4kg, 18.0, 100.0), 10.0, 100.0));
}

TEST(Shelf550, SteppedDepthFromTheNetwork) {
    for (bool high : {false, true}) {
        for (double f : {20.0, 120.0, 1000.0, 8000.0, 20000.0}) {
            const Design zero = shelf(high, kShelf550, 0.0, f);
            ASSERT_EQ(zero.count, 1);
            EXPECT_TRUE(isUnitySection(zero.s[0]));
        }
        // At the gain steps the depth is R1 / R2 + 1 of the network's resistor pairs.
        const double steps[5] = {2, 4, 6, 9, 12};
        const double r1[5] = {6980, 10460, 13780, 18310, 23180};
        const double r2Low[5] = {26540, 17230, 12810, 8890, 6340};
        const double r2High[5] = {22640, 18580, 13220, 9390, 6650};
        const double f = high ? 9000.0 : 150.0;
        const double farEnd = high ? 1e9 : 1e-9;
        for (int i = 0; i < 5; ++i) {
            const double depth = 20.0 * std::log10(r1[i] / (high ? r2High[i] : r2Low[i]) + 1.0);
            const Design up = shelf(high, kShelf550, steps[i], f);
            const Design down = shelf(high, kShelf550, -steps[i], f);
            EXPECT_NEAR(dbAt(up, farEnd * f, f), depth, 1e-6) << high << " " << steps[i];
            EXPECT_NEAR(dbAt(down, farEnd * f, f), -depth, 1e-6);
            EXPECT_NEAR(dbAt(up, f / farEnd, f), 0.0, 1e-6);
            for (double r : {0.1, 1.0, 10.0}) EXPECT_NEAR(dbAt(up, r * f, f) + dbAt(down, r * f, f), 0.0, 1e-9);
        }
        // Depth rises with the gain and joins up at the ends of the gain table.
        double prev = 0.0;
        for (double g : {0.5, 1.999, 2.0, 2.001, 5.0, 11.999, 12.0, 12.001, 20.0, 36.0}) {
            const double depth = dbAt(shelf(high, kShelf550, g, f), farEnd * f, f);
            EXPECT_GT(depth, prev) << g;
            EXPECT_LT(depth - prev, 4.0 * (g > 12.0 ? g - 12.0 : 3.0) + 0.01);
            prev = depth;
        }
        // The RC corner of the network: 1/(2 pi C R) Hz with the switch position's capacitor
        // and the resistor that sets the turnover (R1 for the low shelf, R2 for the high), at
        // which (ts + K)/(ts + 1) has magnitude sqrt((1 + K^2) / 2). 6 dB is a table step.
        {
            const double C = high ? 3.35e-9 : 43.5e-9;
            const double at = high ? 10000.0 : 100.0;
            const double r2 = high ? 13220.0 : 12810.0;
            const double corner = 1.0 / (kTwoPi * C * (high ? r2 : 13780.0));
            const double K = 13780.0 / r2 + 1.0;
            EXPECT_NEAR(dbAt(shelf(high, kShelf550, 6.0, at), corner, at), 10.0 * std::log10((1.0 + K * K) / 2.0), 1e-9);
        }
        // Outside the capacitor table the corner follows f exactly.
        const double fa = high ? 16000.0 : 20.0, fb = high ? 22000.0 : 40.0;
        for (double r : {0.1, 1.0, 10.0})
            EXPECT_NEAR(dbAt(shelf(high, kShelf550, 7.0, fa), r * fa, fa), dbAt(shelf(high, kShelf550, 7.0, fb), r * fb, fb), 1e-9);
    }
}

TEST(ShelfPultec, UnityCases) {
    for (double f : {10.0, 25.0, 100.0, 5000.0, 22000.0}) {
        // Low "Pultec Boost" with both controls at 0 is a pure unity gain.
        Design d = shelf(false, kShelfPultecBoost, 0.0, f, 1.0, 0.0);
        ASSERT_EQ(d.count, 1);
        EXPECT_TRUE(isUnitySection(d.s[0]));
        EXPECT_EQ(sectionOrder(d.s[0]), kSectionGain);
        // Negative gain on the boost shelves clamps to no boost.
        d = shelf(false, kShelfPultecBoost, -12.0, f, 1.0, -30.0);
        EXPECT_TRUE(isUnitySection(d.s[0]));
        for (double q : {0.1, 5.0, 10.0, 50.0}) {
            d = shelf(true, kShelfPultecBoost, -12.0, f, q);
            EXPECT_TRUE(isUnitySection(d.s[0]));
        }
        // High "Pultec Cut" with no attenuation: 13.1 * 75000 = 2.5 * 393000, so it falls to unity.
        d = shelf(true, kShelfPultecCut, 0.0, f);
        EXPECT_TRUE(isUnitySection(d.s[0]));
        d = shelf(true, kShelfPultecCut, 6.0, f);
        EXPECT_TRUE(isUnitySection(d.s[0]));
        d = shelf(false, kShelfPultecCut, 6.0, f, 1.0, 0.0);
        EXPECT_TRUE(isUnitySection(d.s[0]));
    }
}

TEST(ShelfPultec, LowNetwork) {
    for (double f : {15.0, 20.0, 45.0, 100.0, 300.0}) {
        double prev = 0.0;
        for (double g : {3.0, 9.0, 18.0}) {
            // One control: a first-order shelf, flat on top.
            const Design boost = shelf(false, kShelfPultecBoost, g, f, 1.0, 0.0);
            ASSERT_EQ(boost.count, 1);
            EXPECT_EQ(sectionOrder(boost.s[0]), kSectionFirst);
            EXPECT_NEAR(dbAt(boost, 1e9 * f, f), 0.0, 1e-6);
            EXPECT_GT(dbAt(boost, 1e-6 * f, f), prev + 1.0);
            prev = dbAt(boost, 1e-6 * f, f);

            const Design cut = shelf(false, kShelfPultecCut, -g, f, 1.0, 0.0);
            EXPECT_EQ(sectionOrder(cut.s[0]), kSectionFirst);
            EXPECT_NEAR(dbAt(cut, 1e9 * f, f), 0.0, 1e-6);
            EXPECT_LT(dbAt(cut, 1e-6 * f, f), -1.0);
        }
        // Both controls: second order, still flat on top and on the boost side at the bottom.
        const Design both = shelf(false, kShelfPultecBoost, 18.0, f, 1.0, 100.0);
        EXPECT_EQ(sectionOrder(both.s[0]), kSectionSecond);
        EXPECT_NEAR(dbAt(both, 1e9 * f, f), 0.0, 1e-6);
        EXPECT_GT(dbAt(both, 1e-6 * f, f), 0.0);
        // The cut shelf's shift is the boost control: the same network as boost's with swapped knobs.
        const Design swapped = shelf(false, kShelfPultecCut, -18.0, f, 1.0, 100.0);
        for (double r : {0.01, 1.0, 100.0}) EXPECT_NEAR(dbAt(both, r * f, f), dbAt(swapped, r * f, f), 1e-12);
    }
}

TEST(ShelfPultec, ResponseSlidesWithFrequencyBetweenSwitchPositions) {
    // Two band frequencies served by the same switch position give the same curve, moved.
    struct Pair {
        bool high;
        int32_t sub;
        double g, shift, fa, fb;
    };
    const Pair pairs[] = {{false, kShelfPultecBoost, 12.0, 40.0, 35.0, 55.0},
                          {false, kShelfPultecCut, -9.0, 70.0, 150.0, 400.0},
                          {false, kShelfPultecBoost, 6.0, 0.0, 10.0, 19.0},
                          {true, kShelfPultecBoost, 12.0, 0.0, 5500.0, 7500.0},
                          {true, kShelfPultecCut, -12.0, 0.0, 6000.0, 9000.0},
                          {true, kShelfPultecCut, -12.0, 0.0, 21000.0, 22000.0}};
    for (const Pair& p : pairs) {
        const Design a = shelf(p.high, p.sub, p.g, p.fa, 2.0, p.shift);
        const Design b = shelf(p.high, p.sub, p.g, p.fb, 2.0, p.shift);
        double swing = 0.0;  // so that a flat (unity) curve cannot pass
        for (double r : {0.01, 0.2, 1.0, 5.0, 100.0}) {
            EXPECT_NEAR(dbAt(a, r * p.fa, p.fa), dbAt(b, r * p.fb, p.fb), 1e-9) << p.fa << " " << r;
            swing = std::max(swing, std::fabs(dbAt(a, r * p.fa, p.fa)));
        }
        EXPECT_GT(swing, 0.5) << p.fa;
    }
}

TEST(ShelfPultec, HighBoostResonatesAtTheBandFrequency) {
    for (double f : {1000.0, 3500.0, 9000.0, 16000.0, 22000.0}) {
        double prev = 0.0;
        for (double g : {4.0, 10.0, 18.0}) {
            const Design d = shelf(true, kShelfPultecBoost, g, f, 2.0);
            EXPECT_NEAR(dbAt(d, 1e-6 * f, f), 0.0, 1e-6);
            EXPECT_NEAR(dbAt(d, 1e6 * f, f), 0.0, 1e-6);
            EXPECT_NEAR(argMaxLog([&](double w) { return dbAt(d, w, f); }, f / 100.0, f * 100.0), f, 1e-5 * f);
            EXPECT_GT(dbAt(d, f, f), prev);
            prev = dbAt(d, f, f);
        }
        // The bandwidth control narrows the resonance as Q goes up.
        const Design wide = shelf(true, kShelfPultecBoost, 12.0, f, 0.4), narrow = shelf(true, kShelfPultecBoost, 12.0, f, 8.0);
        EXPECT_LT(dbAt(narrow, 2.0 * f, f) - dbAt(narrow, f, f), dbAt(wide, 2.0 * f, f) - dbAt(wide, f, f));
    }
}

TEST(ShelfPultec, HighCutAttenuatesAbove) {
    for (double f : {2000.0, 5000.0, 12000.0, 22000.0}) {
        double prev = 0.0;
        for (double g : {-2.0, -9.0, -18.0, -30.0}) {
            const Design d = shelf(true, kShelfPultecCut, g, f);
            EXPECT_EQ(sectionOrder(d.s[0]), kSectionFirst);
            EXPECT_NEAR(dbAt(d, 1e-9 * f, f), 0.0, 1e-6);
            const double top = dbAt(d, 1e9 * f, f);
            EXPECT_LE(top, prev + (g < -18.0 ? 1e-12 : -0.01)) << g;
            prev = top;
        }
    }
}

TEST(ShelfSections, OutOfRangeSubtypeIsUnity) {
    for (bool high : {false, true}) {
        for (int32_t sub : std::initializer_list<int32_t>{-1, kShelfSubtypeCount, 1000}) {
            const Design d = shelf(high, sub, 12.0, 1000.0, 2.0, 50.0);
            ASSERT_EQ(d.count, 1);
            EXPECT_TRUE(isUnitySection(d.s[0]));
        }
    }
}

// ---------------------------------------------------------------------------------------
// Quartic factoriser

namespace {

// Multiplies the factors back out and compares with the input. Each coefficient gets a
// tolerance scaled by the same coefficient formed from the roots' magnitudes, the size of the
// terms that cancel in it.
void expectFactorsRebuild(const std::vector<Complex>& roots, double lead) {
    std::vector<Complex> poly = {1.0};
    std::vector<double> bound = {1.0};
    for (const Complex& r : roots) {
        std::vector<Complex> next(poly.size() + 1, 0.0);
        std::vector<double> nb(bound.size() + 1, 0.0);
        for (size_t i = 0; i < poly.size(); ++i) {
            next[i] += poly[i];
            next[i + 1] -= poly[i] * r;
            nb[i] += bound[i];
            nb[i + 1] += bound[i] * std::abs(r);
        }
        poly = next;
        bound = nb;
    }
    double c[5];
    for (int i = 0; i < 5; ++i) c[i] = lead * poly[i].real();
    double p1, q1, p2, q2;
    factorQuartic(c, p1, q1, p2, q2);
    const double rebuilt[5] = {1.0, p1 + p2, q1 + q2 + p1 * p2, p1 * q2 + p2 * q1, q1 * q2};
    for (int i = 0; i < 5; ++i)
        EXPECT_NEAR(lead * rebuilt[i], c[i], 1e-10 * std::fabs(lead) * bound[i]) << "coefficient " << i;
}

}  // namespace

TEST(FactorQuartic, RebuildsRandomQuartics) {
    std::mt19937_64 rng(20240611);
    std::uniform_real_distribution<double> unit(-1.0, 1.0);
    auto value = [&] { return std::copysign(std::pow(10.0, 2.0 * unit(rng)), unit(rng)); };
    for (int trial = 0; trial < 300; ++trial) {
        const double lead = value();
        // Four real roots and two complex pairs both give the resolvent three real roots;
        // one real pair with one complex pair gives it a single real root.
        const Complex a(value(), 0.0), b(value(), 0.0), c(value(), 0.0), d(value(), 0.0);
        const Complex z1(value(), std::fabs(value())), z2(value(), std::fabs(value()));
        SCOPED_TRACE(trial);
        expectFactorsRebuild({a, b, c, d}, lead);
        expectFactorsRebuild({z1, std::conj(z1), z2, std::conj(z2)}, lead);
        expectFactorsRebuild({a, b, z1, std::conj(z1)}, lead);
    }
}

TEST(FactorQuartic, SpecialShapes) {
    // Even quartic: the resolvent's largest root is 0, so the split comes from the product.
    expectFactorsRebuild({Complex(0, 1), Complex(0, -1), Complex(0, 2), Complex(0, -2)}, 3.0);
    expectFactorsRebuild({Complex(1, 0), Complex(-1, 0), Complex(2, 0), Complex(-2, 0)}, 1.0);
    expectFactorsRebuild({Complex(1, 1), Complex(1, -1), Complex(-1, 1), Complex(-1, -1)}, 1.0);
    // Repeated roots put the resolvent on a double root.
    expectFactorsRebuild({Complex(-2, 0), Complex(-2, 0), Complex(-2, 0), Complex(-2, 0)}, 1.0);
    expectFactorsRebuild({Complex(-1, 3), Complex(-1, -3), Complex(-1, 3), Complex(-1, -3)}, 0.5);
    // Stable polynomials like the circuit models' keep both factors stable.
    const double c[5] = {1.0, 10.0, 35.0, 50.0, 24.0};  // (x+1)(x+2)(x+3)(x+4)
    double p1, q1, p2, q2;
    factorQuartic(c, p1, q1, p2, q2);
    EXPECT_GT(p1, 0.0);
    EXPECT_GT(q1, 0.0);
    EXPECT_GT(p2, 0.0);
    EXPECT_GT(q2, 0.0);
}

// ---------------------------------------------------------------------------------------
// Every model over the whole control range: finite coefficients and stable poles.

namespace {

struct ModelCase {
    std::string name;
    std::function<Design(double g, double q, double shift, double f)> make;
};

std::vector<ModelCase> allModels() {
    std::vector<ModelCase> models;
    for (int32_t sub = 0; sub < kPeakSubtypeCount; ++sub) {
        models.push_back({"peak " + std::to_string(sub),
                          [sub](double g, double q, double s, double) { return peak(sub, g, q, s); }});
        models.push_back({"band pass " + std::to_string(sub), [sub](double g, double q, double s, double) {
                              return peak(sub, g, q, s, kEQBandPass);
                          }});
    }
    for (int32_t sub = 0; sub < kShelfSubtypeCount; ++sub) {
        for (bool high : {false, true}) {
            models.push_back({(high ? "high shelf " : "low shelf ") + std::to_string(sub),
                              [sub, high](double g, double q, double s, double f) { return shelf(high, sub, g, f, q, s); }});
        }
    }
    return models;
}

// Finite after the band's frequency scaling, and every denominator root strictly in the left
// half plane (roots found here with the quadratic formula).
::testing::AssertionResult wellFormed(const Design& d, double f) {
    if (d.count < 1 || d.count > kMaxSections) return ::testing::AssertionFailure() << "count " << d.count;
    for (int i = 0; i < d.count; ++i) {
        AnalogueSection s = d.s[i];
        s.n1 *= f;
        s.d1 *= f;
        s.n0 *= f * f;
        s.d0 *= f * f;
        const double all[6] = {s.n2, s.n1, s.n0, s.d2, s.d1, s.d0};
        for (double v : all)
            if (!std::isfinite(v)) return ::testing::AssertionFailure() << "section " << i << " not finite";
        std::vector<Complex> roots;
        switch (sectionOrder(s)) {
        case kSectionSecond: {
            if (s.d2 == 0.0) return ::testing::AssertionFailure() << "section " << i << " d2 = 0";
            const Complex root = std::sqrt(Complex(s.d1 * s.d1 - 4.0 * s.d2 * s.d0, 0.0));
            roots = {(-s.d1 + root) / (2.0 * s.d2), (-s.d1 - root) / (2.0 * s.d2)};
            break;
        }
        case kSectionFirst:
            if (s.d2 == 0.0) return ::testing::AssertionFailure() << "section " << i << " d2 = 0";
            roots = {Complex(-s.d1 / s.d2, 0.0)};
            break;
        default:
            if (s.d2 == 0.0) return ::testing::AssertionFailure() << "section " << i << " gain over 0";
        }
        for (const Complex& r : roots)
            if (!(r.real() < 0.0))
                return ::testing::AssertionFailure()
                       << "section " << i << " pole " << r.real() << (r.imag() < 0 ? "" : "+") << r.imag() << "j";
    }
    return ::testing::AssertionSuccess();
}

}  // namespace

TEST(ModelSweep, RandomSettingsGiveFiniteStableSections) {
    std::mt19937_64 rng(7771);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    for (const ModelCase& m : allModels()) {
        for (int trial = 0; trial < 2000; ++trial) {
            // The band gain reaches +-36 dB when Scale is at its end, so sweep that far.
            const double g = -36.0 + 72.0 * unit(rng);
            const double q = 0.1 * std::pow(500.0, unit(rng));
            const double shift = -100.0 + 200.0 * unit(rng);
            const double f = 10.0 * std::pow(2200.0, unit(rng));
            EXPECT_TRUE(wellFormed(m.make(g, q, shift, f), f))
                << m.name << " gain " << g << " q " << q << " shift " << shift << " f " << f;
        }
    }
}

TEST(ModelSweep, EdgeSettingsGiveFiniteStableSections) {
    const double gains[] = {-36, -24, -18, -8.5, -1e-7, 0, 1e-7, 6.0206, 18, 24, 36};
    const double qs[] = {0.1, 0.4, 0.70710677, 10, 50};
    const double shifts[] = {-100, 0, 100};
    const double fs[] = {10, 20, 30, 33, 450, 460, 1500, 3300, 5000, 16000, 18000, 20000, 22000};
    for (const ModelCase& m : allModels())
        for (double g : gains)
            for (double q : qs)
                for (double shift : shifts)
                    for (double f : fs)
                        EXPECT_TRUE(wellFormed(m.make(g, q, shift, f), f))
                            << m.name << " gain " << g << " q " << q << " shift " << shift << " f " << f;
}

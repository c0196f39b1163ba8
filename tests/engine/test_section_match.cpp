// s-to-z conversion: the least-squares solver, the closed-form matched sections, the
// quasi-Newton refiner and MarlowenEQ::design().

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "SectionMatch.h"
#include "TestSupport.h"

using namespace testing_support;

// Reaches the matcher's private evaluators for the gradient check.
struct SectionMatcherTestAccess {
    static void setTargets(SectionMatcher& m, const double* targets) {
        for (int k = 0; k < kMatchPoints; ++k) m.target[k] = targets[k];
    }
    static void gradient(SectionMatcher& m, const double* p, double g, double* out) {
        m.gradientAt(p, g, out);
    }
};

namespace {

double analogueMag(const AnalogueSection& s, double omega) {
    AnalogueSectionSet set;
    set.count = 1;
    set.sections[0] = s;
    return std::abs(analogueResponse(set, omega));
}

cplx digitalAt(const DigitalSection& d, double f, double fs) {
    const double c[5] = {d.b0, d.b1, d.b2, d.a1, d.a2};
    return digitalResponse(c, 1, f, fs);
}

double digitalMag(const DigitalSection& d, double f, double fs) {
    return std::abs(digitalAt(d, f, fs));
}

double radius(const DigitalSection& d) { return poleRadius(d.a1, d.a2); }

bool finite(const DigitalSection& d) {
    return std::isfinite(d.b0) && std::isfinite(d.b1) && std::isfinite(d.b2) &&
           std::isfinite(d.a1) && std::isfinite(d.a2);
}

DigitalSection flipped(const DigitalSection& d) {
    return {1 / d.b0, d.a1 / d.b0, d.a2 / d.b0, d.b1 / d.b0, d.b2 / d.b0};
}

bool sameSection(const DigitalSection& a, const DigitalSection& b) {
    return a.b0 == b.b0 && a.b1 == b.b1 && a.b2 == b.b2 && a.a1 == b.a1 && a.a2 == b.a2;
}

// Bell in rad/s with gain G dB at f Hz: its Q is the geometric one, numerator bandwidth A w/Q.
AnalogueSection bell(double f, double gainDb, double q) {
    const double w = kTwoPi * f, a = std::pow(10.0, gainDb / 40);
    return {1, a * w / q, w * w, 1, w / (a * q), w * w};
}

// Second-order shelves in rad/s: gain g below the corner (low) or above it (high). Different
// numerator and denominator Qs give the overshoot of a skewed shelf.
AnalogueSection lowShelf(double f, double gainDb, double q, double qDen = 0) {
    const double w = kTwoPi * f, g = std::pow(10.0, gainDb / 20);
    return {1, std::sqrt(g) * w / q, g * w * w, 1, w / (qDen > 0 ? qDen : q), w * w};
}
AnalogueSection highShelf(double f, double gainDb, double q, double qDen = 0) {
    const double w = kTwoPi * f, g = std::pow(10.0, gainDb / 20);
    return {g, std::sqrt(g) * w / q, w * w, 1, w / (qDen > 0 ? qDen : q), w * w};
}

// Sum of squared magnitude errors of a section against targets on the matcher's grid.
double gridError(const DigitalSection& d, const double* targets, const SectionMatcher& m) {
    double e = 0;
    for (int k = 0; k < kMatchPoints; ++k) {
        const double f = m.gridPoint(k) * m.getGridRate() / kTwoPi;
        const double r = digitalMag(d, f, m.getGridRate()) - targets[k];
        e += r * r;
    }
    return e;
}

void analogueTargets(const AnalogueSection& s, const SectionMatcher& m, double* targets) {
    for (int k = 0; k < kMatchPoints; ++k)
        targets[k] = analogueMag(s, m.gridPoint(k) * m.getGridRate());
}

void digitalTargets(const DigitalSection& d, const SectionMatcher& m, double* targets) {
    for (int k = 0; k < kMatchPoints; ++k)
        targets[k] = digitalMag(d, m.gridPoint(k) * m.getGridRate() / kTwoPi, m.getGridRate());
}

// Normal equations A^T A x = A^T b for one or two unknowns, solved directly.
std::vector<double> normalEquations(const std::vector<double>& a, int rows, int cols,
                                    const std::vector<double>& b) {
    double g[2][2] = {}, h[2] = {};
    for (int i = 0; i < rows; ++i)
        for (int j = 0; j < cols; ++j) {
            h[j] += a[i * cols + j] * b[i];
            for (int k = 0; k < cols; ++k) g[j][k] += a[i * cols + j] * a[i * cols + k];
        }
    if (cols == 1) return {h[0] / g[0][0]};
    const double det = g[0][0] * g[1][1] - g[0][1] * g[1][0];
    return {(h[0] * g[1][1] - g[0][1] * h[1]) / det, (g[0][0] * h[1] - g[1][0] * h[0]) / det};
}

} // namespace

// ---------------------------------------------------------------------------------------------
// Least squares

TEST(SolveLeastSquares, SquareSystemsAreSolvedExactly) {
    {
        const double a[4] = {4, -2, 1, 3};
        const double b[2] = {4 * 1.5 - 2 * -0.25, 1.5 + 3 * -0.25};
        double x[2] = {};
        ASSERT_TRUE(solveLeastSquares(a, 2, 2, b, x));
        EXPECT_NEAR(x[0], 1.5, 1e-14);
        EXPECT_NEAR(x[1], -0.25, 1e-14);
    }
    {
        // Zero diagonal: only a method that mixes rows and columns gets this right.
        const double a[4] = {0, 2, 3, 0};
        const double b[2] = {4, 9};
        double x[2] = {};
        ASSERT_TRUE(solveLeastSquares(a, 2, 2, b, x));
        EXPECT_NEAR(x[0], 3, 1e-14);
        EXPECT_NEAR(x[1], 2, 1e-14);
    }
    {
        const double a[1] = {-8}, b[1] = {2};
        double x = 0;
        ASSERT_TRUE(solveLeastSquares(a, 1, 1, b, &x));
        EXPECT_NEAR(x, -0.25, 1e-16);
    }
}

TEST(SolveLeastSquares, OverdeterminedSystemsSatisfyTheNormalEquations) {
    std::mt19937 rng(7);
    std::normal_distribution<double> normal;
    std::uniform_real_distribution<double> exponent(-3, 3);
    for (int trial = 0; trial < 400; ++trial) {
        const int cols = 1 + trial % 2, rows = 3 + (trial / 2) % 2;
        std::vector<double> a(size_t(rows * cols)), b(static_cast<size_t>(rows));
        // Columns of very different scale, as in the matcher's equation rows.
        double scale[2] = {std::pow(10.0, exponent(rng)), std::pow(10.0, exponent(rng))};
        for (int i = 0; i < rows; ++i) {
            for (int j = 0; j < cols; ++j) a[size_t(i * cols + j)] = normal(rng) * scale[j];
            b[size_t(i)] = normal(rng);
        }
        double x[2] = {};
        ASSERT_TRUE(solveLeastSquares(a.data(), rows, cols, b.data(), x));
        const std::vector<double> expected = normalEquations(a, rows, cols, b);
        for (int j = 0; j < cols; ++j)
            EXPECT_NEAR(x[j], expected[size_t(j)], 1e-9 * std::fabs(expected[size_t(j)]) + 1e-300)
                << "trial " << trial;
        // The residual is orthogonal to every column.
        for (int j = 0; j < cols; ++j) {
            double dot = 0, size = 0;
            for (int i = 0; i < rows; ++i) {
                double r = -b[size_t(i)];
                for (int k = 0; k < cols; ++k) r += a[size_t(i * cols + k)] * x[k];
                dot += a[size_t(i * cols + j)] * r;
                size += std::fabs(a[size_t(i * cols + j)]) * std::fabs(b[size_t(i)]);
            }
            EXPECT_LT(std::fabs(dot), 1e-11 * size) << "trial " << trial;
        }
    }
}

TEST(SolveLeastSquares, RankDeficientSystemsDropTheWeakDirection) {
    const double c[3] = {1, 2, 3}, b[3] = {1, 2, 4};
    const double cb = c[0] * b[0] + c[1] * b[1] + c[2] * b[2], cc = 14;
    {
        // Identical columns: the minimum-norm solution splits the weight evenly.
        const double a[6] = {c[0], c[0], c[1], c[1], c[2], c[2]};
        double x[2] = {};
        ASSERT_TRUE(solveLeastSquares(a, 3, 2, b, x));
        EXPECT_NEAR(x[0], cb / (2 * cc), 1e-13);
        EXPECT_NEAR(x[1], cb / (2 * cc), 1e-13);
    }
    {
        // Columns that differ by 1e-9: the second singular value is far below 1e-6 of the
        // first, so it is dropped instead of blowing the solution up.
        const double a[6] = {c[0], c[0] * (1 + 1e-9), c[1], c[1], c[2], c[2] * (1 - 1e-9)};
        double x[2] = {};
        ASSERT_TRUE(solveLeastSquares(a, 3, 2, b, x));
        EXPECT_NEAR(x[0], cb / (2 * cc), 1e-6);
        EXPECT_NEAR(x[1], cb / (2 * cc), 1e-6);
    }
    {
        // A ratio of about 1e-4 is kept: a consistent system is solved exactly.
        const double a[6] = {c[0], c[0] * (1 + 1e-3), c[1], c[1], c[2], c[2] * (1 - 1e-3)};
        double rhs[3];
        for (int i = 0; i < 3; ++i) rhs[i] = a[2 * i] * 1 + a[2 * i + 1] * -2;
        double x[2] = {};
        ASSERT_TRUE(solveLeastSquares(a, 3, 2, rhs, x));
        EXPECT_NEAR(x[0], 1, 1e-8);
        EXPECT_NEAR(x[1], -2, 1e-8);
    }
    {
        const double a[4] = {0, 0, 0, 0};
        double x[2] = {5, 5};
        EXPECT_FALSE(solveLeastSquares(a, 2, 2, b, x));
        EXPECT_EQ(x[0], 0);
        EXPECT_EQ(x[1], 0);
    }
}

TEST(SolveLeastSquares, ExtremeScalesNeitherOverflowNorUnderflow) {
    for (double scale : {1e200, 1e-200}) {
        const double a[2] = {3 * scale, 4 * scale};
        const double b[2] = {6 * scale, 8 * scale};
        double x = 0;
        ASSERT_TRUE(solveLeastSquares(a, 2, 1, b, &x)) << scale;
        EXPECT_NEAR(x, 2, 1e-14) << scale;
    }
}

TEST(SolveLeastSquares, ThreeAndFourUnknowns) {
    // The decomposition is general; with more than two columns the bulge chase runs over
    // several rotations.
    const double a[16] = {2, -1, 0, 3, 1, 4, -2, 0, 0, 1, 5, -1, 3, 0, 1, 2};
    const double x0[4] = {0.5, -1, 2, 0.25};
    double b[4] = {};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) b[i] += a[4 * i + j] * x0[j];
    double x[4] = {};
    ASSERT_TRUE(solveLeastSquares(a, 4, 4, b, x));
    for (int j = 0; j < 4; ++j) EXPECT_NEAR(x[j], x0[j], 1e-13) << j;

    // Four equations in three unknowns: the residual is orthogonal to every column.
    const double c[12] = {1, 2, 0, -1, 0.5, 3, 2, 2, -1, 0, 1, 4};
    const double rhs[4] = {1, -2, 0.5, 3};
    double y[3] = {};
    ASSERT_TRUE(solveLeastSquares(c, 4, 3, rhs, y));
    for (int j = 0; j < 3; ++j) {
        double dot = 0;
        for (int i = 0; i < 4; ++i) {
            const double r = c[3 * i] * y[0] + c[3 * i + 1] * y[1] + c[3 * i + 2] * y[2] - rhs[i];
            dot += c[3 * i + j] * r;
        }
        EXPECT_NEAR(dot, 0, 1e-13) << j;
    }
}

TEST(SolveLeastSquares, OneEquationInTwoUnknownsGivesTheMinimumNorm) {
    const double a[2] = {1, 2}, b[1] = {5};
    double x[2] = {};
    ASSERT_TRUE(solveLeastSquares(a, 1, 2, b, x));
    EXPECT_NEAR(x[0], 1, 1e-14);
    EXPECT_NEAR(x[1], 2, 1e-14);
}

// ---------------------------------------------------------------------------------------------
// Closed forms

TEST(ClosedForms, BilinearIsExactAtTheWarpFrequencyAndFollowsTheTangentMap) {
    const double fs = 44100, fw = 5000;
    const double w = kTwoPi * 2000;
    // Second-order sections, then first-order ones in the shifted layout: a low pass and an
    // all pass.
    for (const AnalogueSection& s : {bell(3000, 9, 2), lowShelf(700, -6, 0.7),
                                     AnalogueSection{0, 0, 4e8, 1, 2e4, 4e8},
                                     AnalogueSection{0, w, 0, 1, w, 0},
                                     AnalogueSection{1, -w, 0, 1, w, 0}}) {
        const DigitalSection d = bilinearWarped(s, fw, fs);
        if (s.d0 == 0) {
            // A first-order section stays first order: no pole on the unit circle at z = 1.
            EXPECT_EQ(d.b2, 0);
            EXPECT_EQ(d.a2, 0);
        }
        EXPECT_NEAR(digitalMag(d, fw, fs), analogueMag(s, kTwoPi * fw),
                    1e-10 * analogueMag(s, kTwoPi * fw));
        EXPECT_NEAR(digitalMag(d, 0, fs), analogueMag(s, 0), 1e-10 * analogueMag(s, 0) + 1e-12);
        // Elsewhere the digital response is the analogue one at the warped frequency.
        for (double f : {100.0, 1000.0, 12000.0, 20000.0}) {
            const double omega = kTwoPi * fw * std::tan(kPi * f / fs) / std::tan(kPi * fw / fs);
            EXPECT_NEAR(digitalMag(d, f, fs), analogueMag(s, omega), 1e-9 * analogueMag(s, omega));
        }
        EXPECT_LT(radius(d), 1);
    }
}

TEST(ClosedForms, PeakMatchesCentreGainAndNyquistGain) {
    for (double fs : {44100.0, 96000.0})
        for (double f : {40.0, 1000.0, 9000.0, 0.4 * fs})
            for (double g : {-18.0, -4.0, 4.0, 18.0})
                for (double q : {0.4, 1.5, 8.0}) {
                    const AnalogueSection s = bell(f, g, q);
                    const DigitalSection d = matchPeak(fs, g, f, q);
                    SCOPED_TRACE(testing::Message() << fs << " " << f << " " << g << " " << q);
                    const double centre = analogueMag(s, kTwoPi * f);
                    const double nyquist = analogueMag(s, kPi * fs);
                    EXPECT_NEAR(digitalMag(d, f, fs), centre, 1e-7 * centre);
                    EXPECT_NEAR(digitalMag(d, fs / 2, fs), nyquist, 1e-7 * nyquist);
                    EXPECT_NEAR(digitalMag(d, 0, fs), 1, 1e-9);
                    // The lower band edge, where the analogue gain is the geometric mean of 1
                    // and the peak gain, is matched too.
                    const double edge = f * (std::sqrt(1 + 1 / (4 * q * q)) - 1 / (2 * q));
                    const double edgeGain = analogueMag(s, kTwoPi * edge);
                    EXPECT_NEAR(edgeGain, std::pow(10.0, g / 40), 1e-9);
                    EXPECT_NEAR(digitalMag(d, edge, fs), edgeGain, 1e-6 * edgeGain);
                    EXPECT_LT(radius(d), 1);
                }
}

TEST(ClosedForms, FirstOrderMatchesDcNyquistAndTheHalfwayPower) {
    const double fs = 48000;
    const std::pair<double, double> gains[] = {{0, 1}, {1, 0}, {0.5, 2}, {2, 0.5}, {1, 4}, {4, 1}};
    for (double f : {25.0, 800.0, 12000.0})
        for (auto [hi, dc] : gains) {
            SCOPED_TRACE(testing::Message() << f << " " << hi << " " << dc);
            const double w = kTwoPi * f;
            const AnalogueSection s{hi, dc * w, 0, 1, w, 0};
            const DigitalSection d = matchFirstOrder(fs, f, hi, dc);
            const double nyquist = analogueMag(s, kPi * fs);
            EXPECT_NEAR(digitalMag(d, 0, fs), dc, 1e-9 * dc + 1e-12);
            EXPECT_NEAR(digitalMag(d, fs / 2, fs), nyquist, 1e-9 * nyquist);
            EXPECT_EQ(d.b2, 0);
            EXPECT_EQ(d.a2, 0);
            EXPECT_LT(std::fabs(d.a1), 1);

            // The halfway point between DC and Nyquist is matched exactly: in power for a falling
            // section, in reciprocal power for a rising one, which is designed inverted. The
            // analogue frequency is found by bisection.
            const bool rising = hi > dc && dc != 0;
            auto level = [&](double m) { return rising ? 1 / (m * m) : m * m; };
            const double half = (level(dc) + level(nyquist)) / 2;
            double lo = 0, up = fs / 2;
            for (int i = 0; i < 200; ++i) {
                const double mid = (lo + up) / 2;
                const double p = level(analogueMag(s, kTwoPi * mid));
                ((p > half) == (level(dc) > level(nyquist)) ? lo : up) = mid;
            }
            EXPECT_NEAR(level(digitalMag(d, lo, fs)), half, 1e-8 * half);
        }
    const DigitalSection flat = matchFirstOrder(fs, 1000, 1.5, 1.5);
    EXPECT_TRUE(sameSection(flat, DigitalSection{1.5, 0, 0, 0, 0}));
}

TEST(ClosedForms, LowPassMatchesDcNyquistAndCorner) {
    const double fs = 44100;
    for (double f : {100.0, 2000.0, 8000.0})
        for (double q : {0.3, 0.7071, 2.0, 10.0}) {
            SCOPED_TRACE(testing::Message() << f << " " << q);
            const double w = kTwoPi * f;
            const AnalogueSection s{0, 0, w * w, 1, w / q, w * w};
            const DigitalSection d = matchLowPass(fs, f, q);
            const double nyquist = analogueMag(s, kPi * fs);
            EXPECT_NEAR(digitalMag(d, 0, fs), 1, 1e-10);
            EXPECT_NEAR(digitalMag(d, fs / 2, fs), nyquist, 1e-7 * nyquist);
            // At the corner the analogue magnitude is Q.
            EXPECT_NEAR(db(digitalMag(d, f, fs)), db(q), 0.1);
            EXPECT_LT(radius(d), 1);
        }
}

TEST(ClosedForms, HighPassMatchesNyquistAndPassband) {
    const double fs = 44100;
    for (double f : {40.0, 400.0, 2000.0})
        for (double q : {0.5, 0.7071, 3.0}) {
            SCOPED_TRACE(testing::Message() << f << " " << q);
            const double w = kTwoPi * f;
            const AnalogueSection s{1, 0, 0, 1, w / q, w * w};
            const DigitalSection d = matchHighPass(fs, f, q);
            const double nyquist = analogueMag(s, kPi * fs);
            EXPECT_LT(digitalMag(d, 0, fs), 1e-12);
            EXPECT_NEAR(digitalMag(d, fs / 2, fs), nyquist, 1e-7 * nyquist);
            for (double fp : {8 * f, 15000.0})
                EXPECT_NEAR(db(digitalMag(d, fp, fs)), db(analogueMag(s, kTwoPi * fp)), 0.1) << fp;
            EXPECT_NEAR(db(digitalMag(d, f, fs)), db(q), 0.5);
            EXPECT_LT(radius(d), 1);
        }
}

TEST(ClosedForms, GeneralMatchesShelvesOfBothSignsAndOrientations) {
    const double fs = 44100;
    const std::pair<double, double> qs[] = {{0.7071, 0.7071}, {1.4, 0.6}, {0.5, 1.1}};
    for (bool high : {false, true})
        for (double f : {80.0, 1000.0, 6000.0})
            for (double g : {-12.0, 12.0})
                for (auto [qn, qd] : qs) {
                    SCOPED_TRACE(testing::Message() << (high ? "high " : "low ") << f << " " << g
                                                    << " " << qn << "/" << qd);
                    const AnalogueSection s =
                        high ? highShelf(f, g, qn, qd) : lowShelf(f, g, qn, qd);
                    bool inverted = false;
                    DigitalSection d = matchGeneral(fs, s, &inverted);
                    // The reciprocal is designed whenever the high-frequency gain is the larger.
                    EXPECT_EQ(inverted, high == (g > 0));
                    if (inverted) d = flipped(d);
                    const double dc = analogueMag(s, 0), nyquist = analogueMag(s, kPi * fs);
                    EXPECT_NEAR(digitalMag(d, 0, fs), dc, 1e-9 * dc);
                    EXPECT_NEAR(digitalMag(d, fs / 2, fs), nyquist, 1e-7 * nyquist);
                    // The shape in between is fitted, not matched exactly: closely far below
                    // Nyquist, more loosely near it, where the refinement takes over.
                    const double tolerance = f < 2000 ? 0.05 : 0.5;
                    for (double fp : {f / 2, f, std::min(2 * f, 0.4 * fs)})
                        EXPECT_NEAR(db(digitalMag(d, fp, fs)), db(analogueMag(s, kTwoPi * fp)),
                                    tolerance)
                            << fp;
                    EXPECT_LT(radius(d), 1);
                }
}

// ---------------------------------------------------------------------------------------------
// Refinement

TEST(SectionMatcher, GridIsLogarithmicFrom20HzToHalfTheGridRate) {
    SectionMatcher m;
    EXPECT_EQ(m.getGridRate(), 44100);
    EXPECT_NEAR(m.gridPoint(0), kTwoPi * 20 / 44100, 1e-15);
    EXPECT_NEAR(m.gridPoint(kMatchPoints - 1), kPi, 1e-12);
    const double ratio = m.gridPoint(1) / m.gridPoint(0);
    EXPECT_NEAR(std::pow(ratio, kMatchPoints - 1), 22050.0 / 20, 1e-8);
    for (int k = 1; k < kMatchPoints; ++k)
        EXPECT_NEAR(m.gridPoint(k) / m.gridPoint(k - 1), ratio, 1e-12) << k;
}

TEST(SectionMatcher, RefineLowersTheErrorFromAPoorStart) {
    SectionMatcher m;
    const AnalogueSection target = bell(2000, 9, 1.5);
    double targets[kMatchPoints];
    analogueTargets(target, m, targets);

    // Bells with the wrong gain, centre and width. The search polishes a start in the right
    // basin; it is not a global optimiser.
    for (const DigitalSection& start :
         {matchPeak(44100, 5, 2600, 1), matchPeak(44100, 3, 3000, 0.7)}) {
        DigitalSection d = start;
        ASSERT_TRUE(m.refine(d, targets, -1, 50, 0));
        EXPECT_TRUE(finite(d));
        EXPECT_LT(radius(d), 1);
        const double before = gridError(start, targets, m), after = gridError(d, targets, m);
        EXPECT_GT(before, 1);
        EXPECT_LT(after, 1e-3 * before);
    }

    // From the closed form it can only get better, never worse.
    const DigitalSection closed = matchPeak(44100, 9, 2000, 1.5);
    DigitalSection refined = closed;
    m.refine(refined, targets, 1.0, 50, 1e-18);
    EXPECT_LE(gridError(refined, targets, m), gridError(closed, targets, m));
}

TEST(SectionMatcher, RefineReturnsStableSectionsFromUnstableStarts) {
    SectionMatcher m;
    double targets[kMatchPoints];
    analogueTargets(lowShelf(300, 6, 0.7071), m, targets);
    // Complex poles of radius sqrt(1.3); real poles at 1.6 and -0.2; real poles at 1.6 and
    // -1.5, both outside.
    for (const DigitalSection& start :
         {DigitalSection{1, -1.9, 0.95, -1.8, 1.3}, DigitalSection{1, -1.9, 0.9, -1.4, -0.32},
          DigitalSection{1, -1.9, 0.9, -0.1, -2.4}}) {
        ASSERT_GT(radius(start), 1);
        DigitalSection d = start;
        EXPECT_TRUE(m.refine(d, targets, 1.0, 50, 1e-18));
        EXPECT_TRUE(finite(d));
        EXPECT_LT(radius(d), 1);
        EXPECT_LT(gridError(d, targets, m), gridError(start, targets, m));
    }

    // Targets that the reflected start already meets exactly: nothing to search, but the
    // unstable start must still not come back.
    for (const DigitalSection& unstable :
         {DigitalSection{1, -0.5, 0.3, -1.7, 1.21}, DigitalSection{1, -0.5, 0.3, -0.1, -2.4}}) {
        digitalTargets(unstable, m, targets);
        DigitalSection d = unstable;
        EXPECT_TRUE(m.refine(d, targets, 1.0, 10, 1e-8));
        EXPECT_LT(radius(d), 1);
        EXPECT_LT(gridError(d, targets, m), 1e-16);
    }
}

TEST(SectionMatcher, ToleranceAndLimitKeepTheClosedForm) {
    SectionMatcher m;
    double targets[kMatchPoints];
    const DigitalSection exact = matchPeak(44100, 6, 700, 2);
    digitalTargets(exact, m, targets);
    DigitalSection d = exact;
    EXPECT_FALSE(m.refine(d, targets, 1.0, 50, 1e-8));
    EXPECT_TRUE(sameSection(d, exact));

    // A poor start with a tolerance above its error, or a limit no fit can reach, is kept.
    const DigitalSection poor{1, -1.5, 0.7, -1.2, 0.5};
    ASSERT_GT(gridError(poor, targets, m), 1e-3);
    d = poor;
    EXPECT_FALSE(m.refine(d, targets, 1.0, 50, 1e9));
    EXPECT_TRUE(sameSection(d, poor));
    d = poor;
    EXPECT_FALSE(m.refine(d, targets, 1e-300, 50, 0));
    EXPECT_TRUE(sameSection(d, poor));
    // With no limit the same search is taken.
    d = poor;
    EXPECT_TRUE(m.refine(d, targets, -1, 50, 0));
    EXPECT_LT(gridError(d, targets, m), gridError(poor, targets, m));
}

TEST(SectionMatcher, UnusableInputKeepsTheSection) {
    SectionMatcher m;
    double targets[kMatchPoints];
    analogueTargets(bell(1000, 3, 1), m, targets);
    const DigitalSection start{1, -1.5, 0.7, -1.2, 0.5};

    double broken[kMatchPoints];
    std::copy(targets, targets + kMatchPoints, broken);
    broken[40] = std::nan("");
    DigitalSection d = start;
    EXPECT_FALSE(m.refine(d, broken, -1, 50, 0));
    EXPECT_TRUE(sameSection(d, start));

    const DigitalSection noLead{0, 1, 0.5, -0.5, 0.1};
    d = noLead;
    EXPECT_FALSE(m.refine(d, targets, -1, 50, 0));
    EXPECT_TRUE(sameSection(d, noLead));
}

TEST(SectionMatcher, GradientAgreesWithFiniteDifferences) {
    SectionMatcher m;
    double targets[kMatchPoints];
    analogueTargets(highShelf(4000, -5, 1), m, targets);
    SectionMatcherTestAccess::setTargets(m, targets);

    // Error at fixed gain, evaluated independently of the matcher.
    const double g = 0.8;
    auto error = [&](const double* p) {
        const DigitalSection d{g, g * p[0], g * p[1], p[2], p[3]};
        return gridError(d, targets, m);
    };
    const double p[4] = {-1.1, 0.4, -0.9, 0.3};
    double grad[4];
    SectionMatcherTestAccess::gradient(m, p, g, grad);
    for (int i = 0; i < 4; ++i) {
        const double h = 1e-6;
        double up[4], down[4];
        std::copy(p, p + 4, up);
        std::copy(p, p + 4, down);
        up[i] += h;
        down[i] -= h;
        const double numeric = (error(up) - error(down)) / (2 * h);
        EXPECT_NEAR(grad[i], numeric, 1e-6 * std::max(1.0, std::fabs(numeric))) << i;
    }
}

// ---------------------------------------------------------------------------------------------
// design()

namespace {

struct Designed {
    double c[5 * kMaxSections];
    int count;
    AnalogueSectionSet analogue;
};

Designed designBand(const BandSettings& s, bool parallel = false) {
    MarlowenEQ band;
    applySettings(band, s);
    band.setParallel(parallel ? 1 : 0);
    band.design();
    Designed d;
    d.count = band.getCoefficients(d.c);
    band.analogueSections(&d.analogue, false);
    return d;
}

// Largest dB difference between the digital and analogue curves on a log sweep.
double worstDeviation(const Designed& d, double fs, double fLow, double fHigh) {
    double worst = 0;
    for (double f = fLow; f <= fHigh; f *= 1.01)
        worst = std::max(worst, std::fabs(db(std::abs(digitalResponse(d.c, d.count, f, fs))) -
                                          db(std::abs(analogueResponse(d.analogue, f)))));
    return worst;
}

} // namespace

TEST(MarlowenDesign, OffOrTypeNoneIsFlat) {
    MarlowenEQ band;
    BandSettings s;
    applySettings(band, s);
    band.setOff(1);
    band.design();
    EXPECT_EQ(band.getFlat(), 1);
    EXPECT_EQ(band.getSectionCount(), 1);
    band.setOff(0);
    band.setType(kEQNone);
    band.design();
    EXPECT_EQ(band.getFlat(), 1);
}

TEST(MarlowenDesign, NearFlatPeakIsFlatAndFadesToIdentity) {
    MarlowenEQ band;
    BandSettings s;
    s.gain = 6;
    applySettings(band, s);
    band.design();
    ASSERT_EQ(band.getFlat(), 0);
    std::vector<double> buffer(2048, 0.0);
    band.processDouble(buffer.data(), 2048); // let the ramp finish
    ASSERT_LT(band.getRampCount(), 0);

    band.setGain(0.005f);
    band.design();
    EXPECT_EQ(band.getFlat(), 1);
    EXPECT_EQ(band.getRampCount(), kRampLength); // fading out, not switched off
    const DigitalSection& t = band.getTarget(0);
    EXPECT_TRUE(sameSection(t, DigitalSection{1, 0, 0, 0, 0}));
    EXPECT_EQ(band.digitalMagnitude(1000), 1);
}

TEST(MarlowenDesign, NearFlatLowShelfIsFlatByItsGain) {
    for (int subtype : {kShelfOndelane, kShelf4kg, kShelf110}) {
        MarlowenEQ band;
        BandSettings s;
        s.type = kEQLowShelf;
        s.subtype = subtype;
        s.gain = 0.005f;
        s.frequency = 200;
        applySettings(band, s);
        band.design();
        EXPECT_EQ(band.getFlat(), 1) << subtype;
    }
}

TEST(MarlowenDesign, ParallelBandIsTheDifferenceFromOne) {
    const double fs = 48000;
    BandSettings s;
    s.gain = 6;
    s.q = 1;
    s.rate = float(fs);
    const Designed serial = designBand(s), parallel = designBand(s, true);
    ASSERT_EQ(serial.count, 1);
    for (double f : {20.0, 300.0, 1000.0, 3000.0, 20000.0}) {
        const cplx expected = digitalResponse(serial.c, 1, f, fs) - 1.0;
        const cplx got = digitalResponse(parallel.c, 1, f, fs);
        EXPECT_NEAR(got.real(), expected.real(), 1e-9) << f;
        EXPECT_NEAR(got.imag(), expected.imag(), 1e-9) << f;
    }
    // Far from the bell the parallel branch contributes next to nothing: at 20 Hz, where the
    // phases agree, as much as the analogue difference; near Nyquist, where a magnitude match
    // leaves the phase free, still only a few percent. At the centre about 1 (6 dB is 2).
    const double low = std::abs(digitalResponse(parallel.c, 1, 20, fs));
    EXPECT_LT(low, 0.02);
    EXPECT_NEAR(low, std::abs(analogueResponse(serial.analogue, 20) - 1.0), 0.001);
    EXPECT_LT(std::abs(digitalResponse(parallel.c, 1, 20000, fs)), 0.05);
    EXPECT_NEAR(std::abs(digitalResponse(parallel.c, 1, 1000, fs)), 1, 0.02);

    MarlowenEQ band;
    applySettings(band, s);
    band.setParallel(1);
    band.design();
    EXPECT_LT(band.digitalMagnitude(20), 0.02);
}

TEST(MarlowenDesign, EllipticAboveTheWarpLimitIsWarpedAt045Fs) {
    const double fs = 44100;
    BandSettings s;
    s.type = kEQLowPass;
    s.subtype = kCutElliptic;
    s.order = 3;
    s.q = 1;
    s.frequency = 21000;
    s.rate = float(fs);
    const Designed d = designBand(s);
    ASSERT_EQ(d.count, 2);
    for (int i = 0; i < d.count; ++i) {
        AnalogueSection a = d.analogue.sections[i];
        a.n1 *= kTwoPi, a.d1 *= kTwoPi, a.n0 *= kTwoPi * kTwoPi, a.d0 *= kTwoPi * kTwoPi;
        const double natural = a.d0 != 0 ? std::sqrt(a.d0 / a.d2) / kTwoPi : 21000;
        const DigitalSection expected = bilinearWarped(a, std::min(natural, 0.45 * fs), fs);
        const double* c = d.c + 5 * i;
        EXPECT_DOUBLE_EQ(c[0], expected.b0) << i;
        EXPECT_DOUBLE_EQ(c[1], expected.b1) << i;
        EXPECT_DOUBLE_EQ(c[2], expected.b2) << i;
        EXPECT_DOUBLE_EQ(c[3], expected.a1) << i;
        EXPECT_DOUBLE_EQ(c[4], expected.a2) << i;
    }
    // The first-order section, with no natural frequency of its own, is warped at the band's
    // frequency, which is above the limit: its digital and analogue curves meet at 0.45 fs.
    AnalogueSectionSet first;
    first.count = 1;
    first.sections[0] = d.analogue.sections[1];
    ASSERT_EQ(first.sections[0].d0, 0);
    EXPECT_NEAR(std::abs(digitalResponse(d.c + 5, 1, 0.45 * fs, fs)),
                std::abs(analogueResponse(first, 0.45 * fs)), 1e-9);
    EXPECT_GT(std::fabs(std::abs(digitalResponse(d.c + 5, 1, 21000, fs)) -
                        std::abs(analogueResponse(first, 21000))),
              1e-3);
}

TEST(MarlowenDesign, NotchIsDeepButNotAZero) {
    const double fs = 44100;
    for (float q : {0.7f, 4.0f}) {
        BandSettings s;
        s.type = kEQNotch;
        s.frequency = 1000;
        s.q = q;
        s.rate = float(fs);
        const Designed d = designBand(s);
        const double centre = std::abs(digitalResponse(d.c, d.count, 1000, fs));
        EXPECT_GT(centre, 0) << q;
        EXPECT_LT(db(centre), -60) << q;
        // Away from the notch it follows the analogue curve.
        for (double f : {100.0, 5000.0, 15000.0})
            EXPECT_NEAR(db(std::abs(digitalResponse(d.c, d.count, f, fs))),
                        db(std::abs(analogueResponse(d.analogue, f))), 0.1)
                << q << " " << f;
    }
}

TEST(MarlowenDesign, HighFrequencyPeakFollowsTheAnalogueCurveUnlikeBilinear) {
    const double fs = 44100, fc = 10000;
    BandSettings s;
    s.gain = 12;
    s.q = 1;
    s.frequency = float(fc);
    s.rate = float(fs);
    const Designed d = designBand(s);
    const double matched = worstDeviation(d, fs, 20, 20000);
    EXPECT_LT(matched, 0.5);

    // A bilinear design prewarped at the centre: its response at f is the analogue one at the
    // warped frequency fc tan(pi f / fs) / tan(pi fc / fs).
    double bilinear = 0;
    for (double f = 20; f <= 20000; f *= 1.01) {
        const double warped = fc * std::tan(kPi * f / fs) / std::tan(kPi * fc / fs);
        bilinear = std::max(bilinear, std::fabs(db(std::abs(analogueResponse(d.analogue, warped))) -
                                                db(std::abs(analogueResponse(d.analogue, f)))));
    }
    EXPECT_GT(bilinear, 1.0);
    EXPECT_LT(matched, bilinear / 4);
}

TEST(MarlowenDesign, ShelvesFollowTheAnalogueCurveOnBothPaths) {
    const double fs = 48000;
    // Low boost and high cut are designed directly, low cut and high boost as reciprocals.
    for (int type : {kEQLowShelf, kEQHighShelf})
        for (float gain : {-9.0f, 9.0f}) {
            BandSettings s;
            s.type = type;
            s.gain = gain;
            s.frequency = type == kEQLowShelf ? 150 : 6000;
            s.rate = float(fs);
            const Designed d = designBand(s);
            EXPECT_LT(worstDeviation(d, fs, 20, 0.45 * fs), 0.25) << type << " " << gain;
            for (int i = 0; i < d.count; ++i)
                EXPECT_LT(poleRadius(d.c[5 * i + 3], d.c[5 * i + 4]), 1) << type << " " << gain;
        }
}

TEST(MarlowenDesign, HardSectionsStayStableAndCloseToTheAnalogueCurve) {
    const double fs = 44100;
    struct Case {
        BandSettings s;
        double bound; // dB, where the analogue curve is above -60 dB
    };
    std::vector<Case> cases;
    {
        // Sections whose natural frequency lies far above Nyquist.
        BandSettings s;
        s.type = kEQHighPass;
        s.subtype = kCutChebyshev;
        s.order = 8;
        s.q = 0.5f;
        s.frequency = 12000;
        cases.push_back({s, 2.0});
    }
    {
        // Reciprocal designs whose refined zeros become poles outside the unit circle.
        BandSettings s;
        s.type = kEQLowShelf;
        s.gain = -18;
        s.q = 50;
        s.shift = 30;
        s.frequency = 1000;
        cases.push_back({s, 1.5});
        s.type = kEQPeak;
        s.subtype = kPeakButterworth;
        s.q = 0.1f;
        s.frequency = 12000;
        cases.push_back({s, 0.04});
    }
    for (Case& c : cases) {
        c.s.rate = float(fs);
        const Designed d = designBand(c.s);
        double worst = 0;
        for (double f = 20; f <= 0.45 * fs; f *= 1.01) {
            const double analogue = db(std::abs(analogueResponse(d.analogue, f)));
            if (analogue > -60)
                worst = std::max(worst,
                                 std::fabs(db(std::abs(digitalResponse(d.c, d.count, f, fs))) -
                                           analogue));
        }
        EXPECT_LT(worst, c.bound) << c.s.type;
        for (int i = 0; i < d.count; ++i)
            EXPECT_LT(poleRadius(d.c[5 * i + 3], d.c[5 * i + 4]), 1) << c.s.type << " " << i;
    }
}

TEST(MarlowenDesign, MatcherGridIsFixedInNormalisedFrequency) {
    MarlowenEQ band;
    BandSettings s;
    s.gain = 4;
    s.rate = 96000;
    applySettings(band, s);
    band.design();
    const SectionMatcher& m = band.getMatcher();
    EXPECT_EQ(m.getGridRate(), 44100);
    // At 96 kHz the lowest matched point lies at 20 * 96000 / 44100 Hz, the top at Nyquist.
    EXPECT_NEAR(m.gridPoint(0) * 96000 / kTwoPi, 20.0 * 96000 / 44100, 1e-9);
    EXPECT_NEAR(m.gridPoint(kMatchPoints - 1) * 96000 / kTwoPi, 48000, 1e-6);
}

TEST(MarlowenDesign, EverySectionIsFiniteAndStable) {
    struct Family {
        int type, subtypes;
    };
    const Family families[] = {{kEQHighPass, kCutSubtypeCount}, {kEQLowPass, kCutSubtypeCount},
                               {kEQLowShelf, kShelfSubtypeCount},
                               {kEQHighShelf, kShelfSubtypeCount},
                               {kEQPeak, kPeakSubtypeCount},   {kEQBandPass, kPeakSubtypeCount},
                               {kEQNotch, 1},                  {kEQAllPass, 1}};
    for (float rate : {44100.0f, 96000.0f})
        for (const Family& fam : families)
            for (int subtype = 0; subtype < fam.subtypes; ++subtype)
                for (float f : {10.0f, 200.0f, 5000.0f, 12000.0f, 22000.0f})
                    for (float q : {0.1f, 0.707f, 10.0f})
                        for (int variant = 0; variant < 3; ++variant) {
                            BandSettings s;
                            s.type = fam.type;
                            s.subtype = subtype;
                            s.frequency = f;
                            s.q = q;
                            s.rate = rate;
                            s.shift = 30;
                            const bool cut = fam.type == kEQHighPass || fam.type == kEQLowPass;
                            const int orders[3] = {1, 4, 8};
                            const float gains[3] = {-18, 3, 18};
                            if (cut)
                                s.order = orders[variant];
                            else
                                s.gain = gains[variant];
                            const Designed d = designBand(s);
                            for (int i = 0; i < d.count; ++i) {
                                const double* c = d.c + 5 * i;
                                SCOPED_TRACE(testing::Message()
                                             << "type " << s.type << " subtype " << subtype
                                             << " f " << f << " q " << q << " variant "
                                             << variant << " rate " << rate << " section " << i);
                                for (int j = 0; j < 5; ++j) ASSERT_TRUE(std::isfinite(c[j]));
                                ASSERT_LT(poleRadius(c[3], c[4]), 1);
                            }
                        }
}

TEST(MarlowenDesign, HighPassAndBandPassKeepTheirZerosAtDC) {
    for (float rate : {44100.f, 96000.f})
        for (float corner : {40.f, 2000.f, 15000.f})
            for (int32_t order = 1; order <= 8; ++order) {
                MarlowenEQ band;
                band.setSampleRate(rate);
                band.setType(kEQHighPass);
                band.setSubtype(kCutButterworth);
                band.setOrder(order);
                band.setFrequency(corner);
                band.setOff(0);
                band.design();
                // The analogue high pass falls at 6 dB per order and octave to DC; so must the
                // digital one, with no floor where a fit traded the zero away.
                const double a = band.analogueMagnitude(20, false);
                const double d = band.digitalMagnitude(20);
                EXPECT_NEAR(20 * std::log10(d / a), 0, 1.5)
                    << "rate " << rate << " corner " << corner << " order " << order;
                EXPECT_LT(band.digitalMagnitude(0.01), 1e-9 + 0.5 * band.digitalMagnitude(0.02));
            }
    MarlowenEQ bandPass;
    bandPass.setSampleRate(48000);
    bandPass.setType(kEQBandPass);
    bandPass.setFrequency(9000);
    bandPass.setQ(2);
    bandPass.setGain(6);
    bandPass.setOff(0);
    bandPass.design();
    EXPECT_LT(bandPass.digitalMagnitude(0.001), 1e-6);
    EXPECT_NEAR(20 * std::log10(bandPass.digitalMagnitude(9000) / bandPass.analogueMagnitude(9000, false)),
                0, 0.5);
}

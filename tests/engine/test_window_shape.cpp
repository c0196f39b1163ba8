// Window tables against their formulas written out here, the parameter mappings, Tukey's
// edges and the half and full application.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>
#include <string>
#include <vector>

#include "WindowShape.h"

namespace {

using std::numbers::pi;

// Value of point i of N, written from the definitions with x = i / (N - 1) in 0 .. 1.
using Formula = std::function<double(int i, int N)>;

double position(int i, int N) { return double(i) / (N - 1); }
double centre(int N) { return std::floor((N - 1) / 2.0); }

struct Case {
    int kind;
    float parameter;
    Formula value;
};

std::vector<Case> fixedShapes() {
    auto cosines = [](std::vector<double> a) {
        return [a](int i, int N) {
            double s = 0;
            for (size_t r = 0; r < a.size(); ++r)
                s += (r % 2 ? -1 : 1) * a[r] * std::cos(2 * pi * double(r) * position(i, N));
            return s;
        };
    };
    return {
        {kWindowHann, 0, [](int i, int N) { return std::pow(std::sin(pi * position(i, N)), 2); }},
        {kWindowHamming, 0, cosines({0.54, 0.46})},
        {kWindowCosine, 0, [](int i, int N) { return std::cos(pi * (position(i, N) - 0.5)); }},
        {kWindowLanczos, 0,
         [](int i, int N) {
             const double x = 2 * position(i, N) - 1;
             return x == 0 ? 1.0 : std::sin(pi * x) / (pi * x);
         }},
        {kWindowTriangular, 0,
         [](int i, int N) { return 2.0 * (centre(N) - std::abs(i - centre(N))) / (N - 1); }},
        {kWindowBartlettHann, 0,
         [](int i, int N) {
             return 0.62 - 0.48 * std::abs(position(i, N) - 0.5) -
                    0.38 * std::cos(2 * pi * position(i, N));
         }},
        {kWindowNutall, 0, cosines({0.355768, 0.487396, 0.144232, 0.012604})},
        {kWindowBlackmanHarris, 0, cosines({0.355875, 0.48829, 0.14128, 0.001168})},
        {kWindowBlackmanNutall, 0, cosines({0.3635819, 0.4891775, 0.1365995, 0.0106411})},
        {kWindowFlatTop, 0,
         [](int i, int N) {
             double s = 0;
             const double a[] = {1, 1.93, 1.29, 0.388, 0.032};
             for (int r = 0; r < 5; ++r)
                 s += (r % 2 ? -1 : 1) * a[r] * std::cos(2 * pi * r * position(i, N));
             return s / 4.64;
         }},
    };
}

std::vector<Case> parameterShapes() {
    std::vector<Case> cases;
    for (float v : {0.0f, 0.3f, 1.0f}) {
        const float p = float(0.32 * v);
        cases.push_back({kWindowBlackman, p, [p](int i, int N) {
                             const double x = position(i, N), q = p;
                             return 0.5 * (1 - q) - 0.5 * std::cos(2 * pi * x) +
                                    0.5 * q * std::cos(4 * pi * x);
                         }});
    }
    for (float p : {0.05f, 0.5f, 2.0f}) {
        cases.push_back({kWindowGaussian, p, [p](int i, int N) {
                             const double d = (i - centre(N)) / (0.5 * (N - 1) * p);
                             return std::exp(-d * d / 2);
                         }});
    }
    for (float p : {0.0f, 0.25f, 1.0f}) {
        cases.push_back({kWindowRectParam, p, [p](int i, int N) {
                             return std::abs((i - centre(N)) * 2 / (N - 1)) < p ? 1.0 : 0.0;
                         }});
    }
    return cases;
}

} // namespace

TEST(WindowShape, EveryShapeMatchesItsFormula) {
    std::vector<Case> cases = fixedShapes();
    for (const Case& c : parameterShapes()) cases.push_back(c);
    for (const Case& c : cases) {
        WindowShape w;
        w.setKind(c.kind);
        w.setParameter(c.parameter);
        for (int N : {2, 7, 8, 1024, 4099}) {
            const double* t = w.tableFor(N);
            for (int i : {0, 1, N / 3, N / 2 - 1, N / 2, N - 2, N - 1})
                EXPECT_NEAR(t[i], c.value(i, N), 1e-12)
                    << WindowShape::labels()[c.kind] << " p " << c.parameter << " N " << N
                    << " i " << i;
        }
    }
}

// Values that follow from the constants alone, as a check on the formulas above.
TEST(WindowShape, KnownValuesAtTheEndsAndCentre) {
    auto at = [](int kind, float p, int N, int i) {
        WindowShape w;
        w.setKind(kind);
        w.setParameter(p);
        return w.tableFor(N)[i];
    };
    EXPECT_NEAR(at(kWindowHamming, 0, 9, 0), 0.08, 1e-15);
    // The required Blackman-Harris constants do not sum to 1 at the centre, nor to 0 at the ends.
    EXPECT_NEAR(at(kWindowBlackmanHarris, 0, 9, 4), 0.986613, 1e-12);
    EXPECT_NEAR(at(kWindowBlackmanHarris, 0, 9, 0), 0.007697, 1e-12);
    EXPECT_NEAR(at(kWindowFlatTop, 0, 9, 4), 4.64 / 4.64, 1e-12);
    // With an even count the triangle's centre is the lower middle point, so its far end dips
    // below zero.
    EXPECT_NEAR(at(kWindowTriangular, 0, 4, 3), -2.0 / 3, 1e-15);
    EXPECT_EQ(at(kWindowGaussian, 0, 64, 0), 1.0); // 1/p taken as 0
    EXPECT_EQ(at(kWindowLanczos, 0, 9, 4), 1.0);
}

TEST(WindowShape, KaiserUsesBesselI0WithinTheApproximationsAccuracy) {
    for (double x : {0.0, 1.0, 3.0, 3.3, 3.6, 3.75, 3.7500001, 4.2, 5.0, 12.0, 50.0, 384.0})
        EXPECT_NEAR(WindowShape::besselI0(x) / std::cyl_bessel_i(0.0, x), 1.0, 5e-7) << x;
    // Continuous across the break between the two polynomials.
    EXPECT_NEAR(WindowShape::besselI0(3.75 - 1e-9) / WindowShape::besselI0(3.75 + 1e-9), 1, 1e-6);

    WindowShape w;
    w.setKind(kWindowKaiser);
    for (float p : {0.0f, 3.0f, 12.0f, 384.0f}) {
        w.setParameter(p);
        const int N = 1001;
        const double* t = w.tableFor(N);
        for (int i : {0, 1, 250, 499, 500, 900, 1000}) {
            const double x = 2.0 * i / (N - 1) - 1;
            const double want = std::cyl_bessel_i(0.0, p * std::sqrt(std::max(0.0, 1 - x * x))) /
                                std::cyl_bessel_i(0.0, double(p));
            EXPECT_NEAR(t[i], want, 1e-6 * want) << p << " " << i;
        }
        EXPECT_DOUBLE_EQ(t[500], 1.0);
    }
}

TEST(WindowShape, ParameterMappings) {
    EXPECT_FLOAT_EQ(WindowShape::mapParameter(kWindowKaiser, 0.5f), 12.0f); // the default
    EXPECT_FLOAT_EQ(WindowShape::mapParameter(kWindowKaiser, 0.25f), 0.375f);
    EXPECT_FLOAT_EQ(WindowShape::mapParameter(kWindowKaiser, 1.0f), 384.0f);
    EXPECT_FLOAT_EQ(WindowShape::mapParameter(kWindowKaiser, 0.0f), 0.0f);
    EXPECT_FLOAT_EQ(WindowShape::mapParameter(kWindowGaussian, 0.0f), 0.01f);
    EXPECT_FLOAT_EQ(WindowShape::mapParameter(kWindowGaussian, 1.0f / 3), 0.1f);
    EXPECT_FLOAT_EQ(WindowShape::mapParameter(kWindowGaussian, 1.0f), 10.0f);
    EXPECT_FLOAT_EQ(WindowShape::mapParameter(kWindowBlackman, 0.5f), 0.16f);
    EXPECT_FLOAT_EQ(WindowShape::mapParameter(kWindowTukey, 0.7f), 0.7f);
    EXPECT_FLOAT_EQ(WindowShape::mapParameter(kWindowRectParam, 0.7f), 0.7f);
    for (int kind : {int(kWindowRectangular), int(kWindowHann), int(kWindowFlatTop), 99})
        EXPECT_EQ(WindowShape::mapParameter(kind, 0.7f), 0.0f) << kind;
}

TEST(WindowShape, TukeyEdges) {
    WindowShape w;
    w.setKind(kWindowTukey);
    auto rise = [](int i, int N, double p) {
        return 0.5 * (1 + std::cos(pi * (2.0 * i / (N - 1) / p - 1)));
    };
    auto fall = [](int i, int N, double p) {
        return 0.5 * (1 + std::cos(pi * (2.0 * i / (N - 1) / p - 2 / p + 1)));
    };
    {
        // p = 0.5, N = 1024: a = 255.75, e = 767.25, so the flat part is 255 .. 766.
        w.setParameter(0.5f);
        const double* t = w.tableFor(1024);
        EXPECT_NEAR(t[0], 0.0, 1e-15);
        EXPECT_NEAR(t[254], rise(254, 1024, 0.5), 1e-15);
        EXPECT_LT(t[254], 1.0);
        EXPECT_EQ(t[255], 1.0);
        EXPECT_EQ(t[766], 1.0);
        EXPECT_NEAR(t[767], fall(767, 1024, 0.5), 1e-15);
        EXPECT_LT(t[767], 1.0);
        EXPECT_NEAR(t[1023], 0.0, 1e-15);
    }
    {
        // a is formed in single precision: here it rounds up to 15 where the exact 14.99999999
        // would truncate to 14, so point 14 still rises.
        const float p = 0x1.e0781ep-6f;
        w.setParameter(p);
        const double* t = w.tableFor(1024);
        EXPECT_NEAR(t[14], rise(14, 1024, p), 1e-15);
        EXPECT_LT(t[14], 0.999);
        EXPECT_EQ(t[15], 1.0);
    }
    {
        // p = 1: no flat part; p = 0: flat but for the end of a taper of no width.
        w.setParameter(1.0f);
        const double* t = w.tableFor(9);
        EXPECT_NEAR(t[2], rise(2, 9, 1.0), 1e-15);
        EXPECT_NEAR(t[4], fall(4, 9, 1.0), 1e-15);
        w.setParameter(0.0f);
        t = w.tableFor(9);
        for (int i = 0; i < 8; ++i) EXPECT_EQ(t[i], 1.0) << i;
        EXPECT_EQ(t[8], 0.0);
    }
}

TEST(WindowShape, KindsOutsideTheListAreAllOnes) {
    WindowShape w;
    w.setParameter(0.5f);
    for (int kind : {int(kWindowRectangular), -1, 16, 1000}) {
        w.setKind(kind);
        const double* t = w.tableFor(33);
        for (int i = 0; i < 33; ++i) EXPECT_EQ(t[i], 1.0) << kind << " " << i;
    }
}

// applyFull multiplies by the L-point window; applyHalf by the second half of the 2L-point one,
// peak first. Each use follows the last length and setting.
TEST(WindowShape, ApplyFullAndHalfUseTheTableOfTheirLength) {
    WindowShape w;
    w.setKind(kWindowHann);
    const int L = 16;
    std::vector<double> full(L, 2.0), half(L, 2.0);
    w.applyFull(full.data(), L);
    w.applyHalf(half.data(), L);
    for (int i = 0; i < L; ++i) {
        EXPECT_NEAR(full[i], 2 * std::pow(std::sin(pi * i / (L - 1)), 2), 1e-14) << i;
        EXPECT_NEAR(half[i], 2 * std::pow(std::sin(pi * (L + i) / (2 * L - 1)), 2), 1e-14) << i;
    }
    EXPECT_GT(half[0], half[1]);
    EXPECT_NEAR(half[L - 1], 0.0, 1e-15);

    w.setKind(kWindowRectangular); // same length, new kind: rebuilt
    std::vector<double> ones(L, 3.0);
    w.applyHalf(ones.data(), L);
    for (double v : ones) EXPECT_EQ(v, 3.0);
    w.setKind(kWindowHann);
    w.setParameter(7.0f); // Hann ignores it, but the table is rebuilt all the same
    std::vector<double> again(L, 2.0);
    w.applyFull(again.data(), L);
    EXPECT_EQ(again, full);
}

TEST(WindowShape, LabelsInKindOrder) {
    const std::vector<std::string> want = {
        "Rectangular", "Hann",     "Hamming",       "Tukey",    "Cosine",          "Lanczos",
        "Triangular",  "Gaussian", "Bartlett-Hann", "Blackman", "Kaiser",          "Nutall",
        "Blackman-Harris", "Blackman-Nutall", "FlatTop", "Rect-Param"};
    ASSERT_EQ(int(want.size()), int(kWindowKindCount));
    for (int k = 0; k < kWindowKindCount; ++k) EXPECT_EQ(WindowShape::labels()[k], want[k]);
}

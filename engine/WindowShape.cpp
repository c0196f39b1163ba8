#include "WindowShape.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;

const char* const kLabels[kWindowKindCount] = {
    "Rectangular", "Hann",     "Hamming",         "Tukey",           "Cosine",  "Lanczos",
    "Triangular",  "Gaussian", "Bartlett-Hann",   "Blackman",        "Kaiser",  "Nutall",
    "Blackman-Harris",         "Blackman-Nutall", "FlatTop",         "Rect-Param",
};

// a0 - a1 cos(t) + a2 cos(2t) - a3 cos(3t): the Blackman family of cosine sums.
double cosineSum(double t, double a0, double a1, double a2, double a3) {
    return a0 - a1 * std::cos(t) + a2 * std::cos(2 * t) - a3 * std::cos(3 * t);
}

} // namespace

const char* const* WindowShape::labels() { return kLabels; }

float WindowShape::mapParameter(int32_t kind, float v) {
    switch (kind) {
    case kWindowTukey:
    case kWindowRectParam: return v;
    case kWindowGaussian: return float(std::pow(10.0, 3.0 * v) * 0.01);
    case kWindowBlackman: return float(0.32 * v);
    case kWindowKaiser: return float(12 * std::pow(2.0 * v, 5));
    default: return 0;
    }
}

double WindowShape::besselI0(double x) {
    const double ax = std::fabs(x);
    if (ax <= 3.75) {
        const double t = (ax / 3.75) * (ax / 3.75);
        return 1 + t * (3.5156229 +
                        t * (3.0899424 +
                             t * (1.2067492 + t * (0.2659732 + t * (0.0360768 + t * 0.0045813)))));
    }
    const double t = 3.75 / ax;
    const double poly =
        0.39894228 +
        t * (0.01328592 +
             t * (0.00225319 +
                  t * (-0.00157565 +
                       t * (0.00916281 +
                            t * (-0.02057706 +
                                 t * (0.02635537 + t * (-0.01647633 + t * 0.00392377)))))));
    return std::exp(ax) / std::sqrt(ax) * poly;
}

void WindowShape::setKind(int32_t k) {
    kind = k;
    tableLength = 0;
}

void WindowShape::setParameter(float p) {
    parameter = p;
    tableLength = 0;
}

const double* WindowShape::tableFor(int32_t length) {
    if (tableLength == 0 || tableLength != length) build(length);
    return table.data();
}

void WindowShape::applyFull(double* buffer, int32_t L) {
    const double* w = tableFor(L);
    for (int32_t i = 0; i < L; ++i) buffer[i] *= w[i];
}

void WindowShape::applyHalf(double* buffer, int32_t L) {
    const double* w = tableFor(2 * L) + L;
    for (int32_t i = 0; i < L; ++i) buffer[i] *= w[i];
}

void WindowShape::build(int32_t n) {
    n = std::max<int32_t>(n, 1);
    table.assign(size_t(n), 1.0);
    tableLength = n;
    if (n < 2) return; // one point: nothing to taper
    const double u = 1.0 / (n - 1);
    const double c = std::floor((n - 1) / 2.0);
    const double p = parameter;
    double* w = table.data();

    switch (kind) {
    case kWindowHann:
        for (int i = 0; i < n; ++i) w[i] = 0.5 * (1 - std::cos(2 * kPi * i * u));
        break;
    case kWindowHamming:
        for (int i = 0; i < n; ++i) w[i] = 0.54 - 0.46 * std::cos(2 * kPi * i * u);
        break;
    case kWindowTukey: {
        const float a = parameter * float(n - 1) / 2.0f;
        const double e = (1 - p / 2) * (n - 1);
        const int ta = int(a), te = int(e);
        for (int i = 0; i < n; ++i) {
            if (i < ta)
                w[i] = 0.5 * (1 + std::cos(kPi * (2 * i * u / p - 1)));
            else if (i < te)
                w[i] = 1;
            else if (p == 0)
                w[i] = 0; // the limit from above: the end point of a taper of no width
            else
                w[i] = 0.5 * (1 + std::cos(kPi * (2 * i * u / p - 2 / p + 1)));
        }
        break;
    }
    case kWindowCosine:
        for (int i = 0; i < n; ++i) w[i] = std::sin(kPi * i * u);
        break;
    case kWindowLanczos:
        for (int i = 0; i < n; ++i) {
            const double x = 2 * i * u - 1;
            w[i] = x == 0 ? 1 : std::sin(kPi * x) / (kPi * x);
        }
        break;
    case kWindowTriangular:
        for (int i = 0; i < n; ++i) w[i] = (c - std::fabs(i - c)) * 2 * u;
        break;
    case kWindowGaussian: {
        const double inverse = p == 0 ? 0 : 1 / p;
        for (int i = 0; i < n; ++i) {
            const double t = (i - c) * 2 * u * inverse;
            w[i] = std::exp(-0.5 * t * t);
        }
        break;
    }
    case kWindowBartlettHann:
        for (int i = 0; i < n; ++i)
            w[i] = 0.62 - 0.48 * std::fabs(i * u - 0.5) - 0.38 * std::cos(2 * kPi * i * u);
        break;
    case kWindowBlackman:
        for (int i = 0; i < n; ++i)
            w[i] = (1 - p) / 2 - 0.5 * std::cos(2 * kPi * i * u) +
                   p / 2 * std::cos(4 * kPi * i * u);
        break;
    case kWindowKaiser: {
        const double norm = 1 / besselI0(p);
        for (int i = 0; i < n; ++i) {
            const double x = 2 * i * u - 1;
            w[i] = besselI0(p * std::sqrt(std::max(0.0, 1 - x * x))) * norm;
        }
        break;
    }
    case kWindowNutall:
        for (int i = 0; i < n; ++i)
            w[i] = cosineSum(2 * kPi * i * u, 0.355768, 0.487396, 0.144232, 0.012604);
        break;
    case kWindowBlackmanHarris:
        // These two constants differ from the textbook ones on purpose.
        for (int i = 0; i < n; ++i)
            w[i] = cosineSum(2 * kPi * i * u, 0.355875, 0.48829, 0.14128, 0.001168);
        break;
    case kWindowBlackmanNutall:
        for (int i = 0; i < n; ++i)
            w[i] = cosineSum(2 * kPi * i * u, 0.3635819, 0.4891775, 0.1365995, 0.0106411);
        break;
    case kWindowFlatTop:
        for (int i = 0; i < n; ++i) {
            const double t = 2 * kPi * i * u;
            w[i] = (1 - 1.93 * std::cos(t) + 1.29 * std::cos(2 * t) - 0.388 * std::cos(3 * t) +
                    0.032 * std::cos(4 * t)) /
                   4.64;
        }
        break;
    case kWindowRectParam:
        for (int i = 0; i < n; ++i) w[i] = std::fabs((i - c) * 2 * u) < p ? 1 : 0;
        break;
    default: break; // rectangular, and any kind out of range
    }
}

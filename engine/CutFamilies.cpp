#include "CutFamilies.h"

#include <algorithm>
#include <cmath>
#include <complex>

namespace {

using cplx = std::complex<double>;

constexpr AnalogueSection kUnity{};

AnalogueSection lowPassPair(double a, double b) {
    const double w2 = a * a + b * b;
    return {0, 0, w2, 1, -2 * a, w2};
}

// ---- Bessel ---------------------------------------------------------------------------

// Roots of sum c[k] s^k (degree n, ascending coefficients) by Aberth iteration,
// then polished by Newton steps on the full polynomial.
void polynomialRoots(const double* c, int n, cplx* roots) {
    auto eval = [&](cplx s, cplx& deriv) {
        cplx p = c[n], d = 0;
        for (int k = n - 1; k >= 0; --k) {
            d = d * s + p;
            p = p * s + c[k];
        }
        deriv = d;
        return p;
    };
    const double radius = std::pow(std::abs(c[0] / c[n]), 1.0 / n);
    for (int i = 0; i < n; ++i)
        roots[i] = std::polar(radius, kTwoPi * (i + 0.25) / n + 0.4);
    for (int iter = 0; iter < 500; ++iter) {
        double largest = 0;
        for (int i = 0; i < n; ++i) {
            cplx d;
            const cplx p = eval(roots[i], d);
            if (p == cplx(0)) continue;
            const cplx ratio = p / d;
            cplx sum = 0;
            for (int j = 0; j < n; ++j)
                if (j != i) sum += 1.0 / (roots[i] - roots[j]);
            const cplx step = ratio / (1.0 - ratio * sum);
            roots[i] -= step;
            largest = std::max(largest, std::abs(step) / std::max(1.0, std::abs(roots[i])));
        }
        if (largest < 1e-15) break;
    }
    for (int i = 0; i < n; ++i)
        for (int k = 0; k < 3; ++k) {
            cplx d;
            const cplx p = eval(roots[i], d);
            if (d != cplx(0)) roots[i] -= p / d;
        }
}

// |H(jw)|^2 of an all-pole filter with the given poles, normalised to 1 at DC.
double allPoleGain2(const cplx* poles, int n, double w) {
    double g = 1;
    for (int i = 0; i < n; ++i) g *= std::norm(poles[i]) / std::norm(cplx(0, w) - poles[i]);
    return g;
}

struct BesselTable {
    double pairs[8][4][2] = {};
    double real[8] = {};
};

// Poles of the reverse Bessel polynomial scaled so that |H(j1)| is -3.01 dB.
int deriveBessel(int order, double (*pairs)[2], double* realPole) {
    double c[9];
    // theta_n(s) = sum (2n-k)! / (2^(n-k) k! (n-k)!) s^k
    for (int k = 0; k <= order; ++k) {
        double v = std::tgamma(2.0 * order - k + 1) /
                   (std::pow(2.0, order - k) * std::tgamma(k + 1.0) * std::tgamma(order - k + 1.0));
        c[k] = v;
    }
    cplx roots[8];
    polynomialRoots(c, order, roots);
    // Find the -3.01 dB frequency by bisection on a monotone magnitude.
    double lo = 0, hi = 1;
    while (allPoleGain2(roots, order, hi) > 0.5) hi *= 2;
    for (int i = 0; i < 200; ++i) {
        const double mid = 0.5 * (lo + hi);
        (allPoleGain2(roots, order, mid) > 0.5 ? lo : hi) = mid;
    }
    const double corner = 0.5 * (lo + hi);
    int count = 0;
    for (int i = 0; i < order; ++i) {
        const cplx p = roots[i] / corner;
        if (std::abs(p.imag()) < 1e-9 * std::abs(p)) {
            *realPole = p.real();
        } else if (p.imag() > 0 && count < 4) {
            // Insert by increasing imaginary part.
            int at = count++;
            for (; at > 0 && pairs[at - 1][1] > p.imag(); --at) {
                pairs[at][0] = pairs[at - 1][0];
                pairs[at][1] = pairs[at - 1][1];
            }
            pairs[at][0] = p.real();
            pairs[at][1] = p.imag();
        }
    }
    return count;
}

const BesselTable& besselTable() {
    static const BesselTable table = [] {
        BesselTable t;
        t.real[0] = -1;
        // Orders 2 to 4 as tabulated to 12 digits; the rest derived in the same normalisation.
        t.pairs[1][0][0] = -1.10160133059, t.pairs[1][0][1] = 0.636009824757;
        t.real[2] = -1.32267579991;
        t.pairs[2][0][0] = -1.04740916101, t.pairs[2][0][1] = 0.999264436281;
        t.pairs[3][0][0] = -1.37006783055, t.pairs[3][0][1] = 0.410249717494;
        t.pairs[3][1][0] = -0.99520876435, t.pairs[3][1][1] = 1.25710573945;
        for (int order = 5; order <= 8; ++order)
            deriveBessel(order, t.pairs[order - 1], &t.real[order - 1]);
        return t;
    }();
    return table;
}

// ---- Legendre (optimum L) ---------------------------------------------------------------

const double kLegendrePairs[8][4][2] = {
    {},
    {{-0.7071067812, 0.7071067812}},
    {{-0.345185619, 0.9008656355}},
    {{-0.2316887227, 0.9455106639}, {-0.5497434238, 0.3585718162}},
    {{-0.1535867376, 0.9681464078}, {-0.3881398518, 0.5886323381}},
    {{-0.115192679, 0.9779222345}, {-0.3089608853, 0.6981674628}, {-0.4389015496, 0.2399813521}},
    {{-0.0862085483, 0.9843698067}, {-0.2374347572, 0.7783008922}, {-0.3492317849, 0.4289961167}},
    {{-0.0689421576, 0.9879709681}, {-0.1942758813, 0.8247667245}, {-0.3002840049, 0.5410422454},
     {-0.3671763101, 0.1808791995}},
};
const double kLegendreReal[8] = {-1.0, 0, -0.6203318171, 0, -0.4680898756, 0, -0.3821033151, 0};

int fromPoles(int order, const double (*pairs)[2], double realPole, AnalogueSection* out) {
    const int n = order / 2;
    for (int i = 0; i < n; ++i) out[i] = lowPassPair(pairs[i][0], pairs[i][1]);
    if (order % 2) out[n] = {0, -realPole, 0, 1, -realPole, 0};
    return (order + 1) / 2;
}

// ---- Elliptic ---------------------------------------------------------------------------

// Complete elliptic integral of the first kind of modulus m, by the arithmetic-geometric mean.
double completeElliptic(double m) {
    double a = 1, b = std::sqrt(1 - m * m), c = 1 - b;
    for (;;) {
        const double previous = c;
        c = (a - b) / 2;
        const double an = (a + b) / 2;
        b = std::sqrt(a * b);
        a = an;
        if (!(c < previous)) break;
    }
    return (kPi / 2) / a;
}

// Ascending coefficients of prod (x + r_i) for the given list, into out (size count + 1).
void expandLinear(const double* roots, int count, double* out) {
    out[0] = 1;
    for (int i = 1; i <= count; ++i) out[i] = 0;
    for (int i = 0; i < count; ++i)
        for (int k = i + 1; k >= 0; --k) out[k] = (k > 0 ? out[k - 1] : 0) + roots[i] * out[k];
}

// Bairstow's method for the quadratic factors of a monic polynomial in descending order
// (a[0] = 1, degree n). Factors go to p[], q[]; an odd degree leaves a linear root.
int bairstow(double* a, int n, double* p, double* q, double* linearRoot) {
    int found = 0;
    double b[9], c[9];
    while (n > 2) {
        double pp = 0, qq = 0;
        for (int iter = 0; iter < 1000; ++iter) {
            b[0] = a[0];
            b[1] = a[1] - pp * b[0];
            for (int k = 2; k <= n; ++k) b[k] = a[k] - pp * b[k - 1] - qq * b[k - 2];
            c[0] = b[0];
            c[1] = b[1] - pp * c[0];
            for (int k = 2; k < n; ++k) c[k] = b[k] - pp * c[k - 1] - qq * c[k - 2];
            const double cn3 = n >= 3 ? c[n - 3] : 0;
            double det = c[n - 2] * c[n - 2] - cn3 * (c[n - 1] - b[n - 1]);
            if (det == 0) det = 0.001;
            const double dp = (b[n - 1] * c[n - 2] - b[n] * cn3) / det;
            const double dq = (b[n] * c[n - 2] - b[n - 1] * (c[n - 1] - b[n - 1])) / det;
            pp += dp;
            qq += dq;
            if (std::fabs(dp + dq) < 1e-6) break;
        }
        // Deflate by the factor just found.
        b[0] = a[0];
        b[1] = a[1] - pp * b[0];
        for (int k = 2; k <= n - 2; ++k) b[k] = a[k] - pp * b[k - 1] - qq * b[k - 2];
        for (int k = 0; k <= n - 2; ++k) a[k] = b[k];
        p[found] = pp;
        q[found] = qq;
        ++found;
        n -= 2;
    }
    if (n == 2) {
        p[found] = a[1] / a[0];
        q[found] = a[2] / a[0];
        ++found;
    } else if (n == 1) {
        *linearRoot = -a[1] / a[0];
    }
    return found;
}

int elliptic(int order, double ripple, AnalogueSection* out) {
    const int r = order % 2, n = order / 2, L = 2 * n;
    const double eps = std::sqrt(std::pow(10.0, ripple / 10) - 1);
    const double ks = 1 + 5 / std::exp(1.0);
    const double k = 1 / ks;
    const double K = completeElliptic(k), Kp = completeElliptic(std::sqrt(1 - k * k));

    // Stopband zeros as 1 / (k sn(u)), by the nome series.
    double w[5] = {};
    const double q0 = std::exp(-kPi * Kp / K);
    for (int i = 1; i <= n; ++i) {
        const double u = (order % 2 == 0 ? (2 * i - 1) : 2 * i) * K / order;
        const double v = u * kPi / (2 * K);
        double S = 0;
        for (int m = 0; m < 100; ++m) {
            const double qm = std::pow(q0, m + 0.5);
            S += qm * std::sin((2 * m + 1) * v) / (1 - std::pow(q0, 2 * m + 1));
            if (qm < 1e-7) break;
        }
        w[i] = K / (kTwoPi * S);
    }
    double y[5] = {};
    for (int j = 1; j <= n; ++j) y[j] = std::sqrt(1 - 1 / (w[n + 1 - j] * w[n + 1 - j]));

    // P(x) = (x + 1)^r prod (x + y_j)^2 and Q(x) = (x - 10)^r prod (x - 10 y_j^2)^2.
    double rootsP[8], rootsQ[8];
    int count = 0;
    if (r) {
        rootsP[count] = 1;
        rootsQ[count] = -10;
        ++count;
    }
    for (int j = 1; j <= n; ++j)
        for (int twice = 0; twice < 2; ++twice) {
            rootsP[count] = y[j];
            rootsQ[count] = -10 * y[j] * y[j];
            ++count;
        }
    double p[9], c[9];
    expandLinear(rootsP, order, p);
    expandLinear(rootsQ, order, c);

    double e[9] = {};
    for (int j = 0; j <= L; j += 2) e[j] = eps * p[j];
    double T[17] = {};
    for (int m = 0; m <= 2 * L; m += 2) {
        double sum = 0;
        for (int j = std::max(0, m - L); j <= std::min(m, L); j += 2) sum += e[m - j] * e[j];
        T[m] = std::pow(10.0, order - m / 2) * sum;
    }
    if (r) T[2 * order] = 0;
    double C[9];
    for (int m = 0; m <= 2 * order; m += 2) {
        const double D = r ? -c[m / 2] : c[m / 2];
        C[order - m / 2] = D + T[m];
    }
    const double lead = C[0];
    for (int i = 0; i <= order; ++i) C[i] /= lead;

    double fp[4], fq[4], r0 = 0;
    const int factors = bairstow(C, order, fp, fq, &r0);
    for (int i = 0; i < factors && i < n; ++i) {
        const double qn = fq[i] / 100, pn = fp[i] / 10;
        const double t = pn + 1 + qn;
        const double g = 1 / (kTwoPi * std::pow(t, 0.25));
        const double h = std::sqrt(std::fabs(2 * (1 - (pn / 2 + 1) / (4 * kPi * kPi * t * g * g))));
        const double W = kTwoPi * g;
        const double a = -0.5 * W * h;
        const double b = 0.5 * std::sqrt(std::fabs(W * W * h * h - 4 * W * W));
        const double rho2 = a * a + b * b;
        out[i] = {1 / (w[i + 1] * w[i + 1]), 0, 1, 1 / rho2, -2 * a / rho2, 1};
    }
    if (r) {
        if (r0 != 0) {
            const double cc = 1 / std::sqrt(0.1 * r0 - 1);
            out[n] = {0, cc, 0, 1, cc, 0};
        } else {
            out[n] = kUnity;
        }
    }
    return (order + 1) / 2;
}

} // namespace

int besselPoles(int32_t order, double (*pairs)[2], double* realPole) {
    if (order < 1 || order > 8) return 0;
    const BesselTable& t = besselTable();
    const int n = order / 2;
    for (int i = 0; i < n; ++i) {
        pairs[i][0] = t.pairs[order - 1][i][0];
        pairs[i][1] = t.pairs[order - 1][i][1];
    }
    *realPole = t.real[order - 1];
    return n;
}

int deriveBesselPoles(int32_t order, double (*pairs)[2], double* realPole) {
    *realPole = 0;
    if (order < 1 || order > 8) return 0;
    return deriveBessel(order, pairs, realPole);
}

int cutFamilySections(int32_t subtype, int32_t order, double q, AnalogueSection* out) {
    const int N = std::clamp<int32_t>(order, 1, 8);
    const int n = N / 2;
    const bool odd = N % 2;
    const int count = (N + 1) / 2;
    switch (subtype) {
    case kCutOndelane:
        for (int i = 0; i < n; ++i) out[i] = {0, 0, 1, 1, 1 / q, 1};
        if (odd) out[n] = {0, 1, 0, 1, 1, 0};
        return count;
    case kCutCoincident: {
        const double v = odd ? 1 : 0;
        const double c = n >= 1 ? std::sqrt(2 * n / (std::sqrt(v * v + 4 * n) - v)) : 1;
        for (int i = 0; i < n; ++i) out[i] = {0, 0, c * c, 1, c * std::sqrt(2.0), c * c};
        if (odd) out[n] = {0, c, 0, 1, c, 0};
        return count;
    }
    case kCutButterworth:
        for (int k = 0; k < n; ++k)
            out[k] = {0, 0, 1, 1, -2 * std::cos((2 * k + 1 + N) * kPi / (2 * N)), 1};
        if (odd) out[n] = {0, 1, 0, 1, 1, 0};
        return count;
    case kCutChebyshev: {
        const double g = std::pow(10.0, q / 20);
        double e = 1, sh = 1, ch = 1;
        if (g > 1) {
            e = std::sqrt(g * g - 1);
            const double A = std::log(std::sqrt(1 / (e * e) + 1) + 1 / e);
            const double up = std::exp(A / N), down = std::exp(-A / N);
            sh = (up - down) / 2;
            ch = (up + down) / 2;
        }
        for (int k = 0; k < n; ++k) {
            const double t = (k + 0.5) * kPi / N;
            out[k] = lowPassPair(-std::sin(t) * sh, std::cos(t) * ch);
        }
        // An odd order's real pole keeps DC gain sqrt(1 + e^2): the passband sits above 0 dB.
        if (odd) out[n] = {0, std::sqrt(e * e + 1) * sh, 0, 1, sh, 0};
        return count;
    }
    case kCutBessel: {
        double pairs[4][2], real = 0;
        besselPoles(N, pairs, &real);
        return fromPoles(N, pairs, real, out);
    }
    case kCutCritical: {
        const double c = std::sqrt(std::pow(2.0, 1.0 / N) - 1);
        for (int i = 0; i < n; ++i) out[i] = {0, 0, 1, c * c, 2 * c, 1};
        if (odd) out[n] = {0, 1, 0, c, 1, 0};
        return count;
    }
    case kCutLegendre:
        return fromPoles(N, kLegendrePairs[N - 1], kLegendreReal[N - 1], out);
    case kCutElliptic:
        return elliptic(N, q, out);
    case kCutAllpass:
        for (int i = 0; i < n; ++i) out[i] = {1, -1 / q, 1, 1, 1 / q, 1};
        if (odd) out[n] = {1, -1, 0, 1, 1, 0};
        return count;
    case kCutHarmonics:
        if (n >= 1) out[0] = {0, 0, 1 / q, 1, 1 / q, 1};
        for (int k = 1; k < n; ++k) {
            const double m = k + 1;
            out[k] = {m * m, 1, 1, m * m, 1 / q, 1};
        }
        if (odd) out[n] = {0, 1, 0, 1, 1, 0};
        return count;
    default:
        out[0] = kUnity;
        return 1;
    }
}

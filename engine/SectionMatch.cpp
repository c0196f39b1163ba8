// Closed-form matched sections, the small least-squares solver and the quasi-Newton refiner.

#include "SectionMatch.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

namespace {

constexpr int kMaxDim = 4;

inline double sq(double v) { return v * v; }

// sqrt(a^2 + b^2), scaled by the larger magnitude so that neither square overflows or
// underflows on its own.
double scaledHypot(double a, double b) {
    double big = std::fabs(a), small = std::fabs(b);
    if (big < small) std::swap(big, small);
    if (big == 0) return 0;
    const double r = small / big;
    return big * std::sqrt(1 + r * r);
}

// Householder reflector I - 2 v v^T / (v^T v) that maps x (length len) onto a multiple of the
// first unit vector. Returns v^T v, 0 when x is already zero.
double householder(const double* x, int len, double* v) {
    double scale = 0;
    for (int i = 0; i < len; ++i) scale = std::max(scale, std::fabs(x[i]));
    if (scale == 0) return 0;
    double norm2 = 0;
    for (int i = 0; i < len; ++i) {
        v[i] = x[i] / scale;
        norm2 += v[i] * v[i];
    }
    // Subtract alpha with the sign that avoids cancellation in the first entry.
    const double alpha = -std::copysign(std::sqrt(norm2), v[0]);
    v[0] -= alpha;
    double vtv = 0;
    for (int i = 0; i < len; ++i) vtv += v[i] * v[i];
    return vtv;
}

// Golub-Reinsch SVD of a (m x n, m >= n): a = u diag(w) v^T. u is m x m with the left
// singular vectors in its first n columns; v is n x n. a is destroyed.
void singularValueDecomposition(double a[kMaxDim][kMaxDim], int m, int n,
                                double u[kMaxDim][kMaxDim], double w[kMaxDim],
                                double v[kMaxDim][kMaxDim]) {
    for (int i = 0; i < m; ++i)
        for (int j = 0; j < m; ++j) u[i][j] = i == j ? 1 : 0;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j) v[i][j] = i == j ? 1 : 0;

    // Two-sided Householder reduction to upper bidiagonal form.
    double h[kMaxDim];
    for (int i = 0; i < n; ++i) {
        double col[kMaxDim];
        for (int r = i; r < m; ++r) col[r - i] = a[r][i];
        const double vtv = householder(col, m - i, h);
        if (vtv > 0) {
            for (int c = i; c < n; ++c) {
                double s = 0;
                for (int r = i; r < m; ++r) s += h[r - i] * a[r][c];
                const double f = 2 * s / vtv;
                for (int r = i; r < m; ++r) a[r][c] -= f * h[r - i];
            }
            for (int q = 0; q < m; ++q) {
                double s = 0;
                for (int r = i; r < m; ++r) s += u[q][r] * h[r - i];
                const double f = 2 * s / vtv;
                for (int r = i; r < m; ++r) u[q][r] -= f * h[r - i];
            }
        }
        if (i + 2 < n) {
            double row[kMaxDim];
            for (int c = i + 1; c < n; ++c) row[c - i - 1] = a[i][c];
            const double rtr = householder(row, n - i - 1, h);
            if (rtr > 0) {
                for (int r = i; r < m; ++r) {
                    double s = 0;
                    for (int c = i + 1; c < n; ++c) s += a[r][c] * h[c - i - 1];
                    const double f = 2 * s / rtr;
                    for (int c = i + 1; c < n; ++c) a[r][c] -= f * h[c - i - 1];
                }
                for (int q = 0; q < n; ++q) {
                    double s = 0;
                    for (int c = i + 1; c < n; ++c) s += v[q][c] * h[c - i - 1];
                    const double f = 2 * s / rtr;
                    for (int c = i + 1; c < n; ++c) v[q][c] -= f * h[c - i - 1];
                }
            }
        }
    }

    // d on the diagonal, e[i] above it in column i (e[0] is always zero).
    double d[kMaxDim], e[kMaxDim];
    double anorm = 0;
    for (int i = 0; i < n; ++i) {
        d[i] = a[i][i];
        e[i] = i > 0 ? a[i - 1][i] : 0;
        anorm = std::max(anorm, std::fabs(d[i]) + std::fabs(e[i]));
    }
    const double tiny = DBL_EPSILON * anorm;

    // Plane rotation of columns i and j: (x_i, x_j) <- (c x_i + s x_j, c x_j - s x_i).
    auto rotateColumns = [](double mat[kMaxDim][kMaxDim], int rows, int i, int j, double c,
                            double s) {
        for (int r = 0; r < rows; ++r) {
            const double x = mat[r][i], y = mat[r][j];
            mat[r][i] = c * x + s * y;
            mat[r][j] = c * y - s * x;
        }
    };

    // Implicit-shift QR on the bidiagonal, one singular value at a time from the bottom.
    for (int k = n - 1; k >= 0; --k) {
        for (int iteration = 0; iteration < 75; ++iteration) {
            int l = k;
            bool cancel = false;
            for (; l >= 0; --l) {
                if (l == 0 || std::fabs(e[l]) <= tiny) break;
                if (std::fabs(d[l - 1]) <= tiny) {
                    cancel = true;
                    break;
                }
            }
            if (l > 0 && !cancel) e[l] = 0;
            if (cancel) {
                // d[l-1] is negligible: chase e[l] out of row l-1 with left rotations.
                double f = e[l];
                e[l] = 0;
                for (int i = l; i <= k; ++i) {
                    if (std::fabs(f) <= tiny) break;
                    const double r = scaledHypot(f, d[i]);
                    const double c = d[i] / r, s = f / r;
                    d[i] = r;
                    // Row l-1 becomes c row(l-1) - s row(i), row i becomes s row(l-1) + c row(i).
                    rotateColumns(u, m, l - 1, i, c, -s);
                    if (i < k) {
                        f = -s * e[i + 1];
                        e[i + 1] *= c;
                    }
                }
            }
            if (l == k) {
                if (d[k] < 0) {
                    d[k] = -d[k];
                    for (int r = 0; r < n; ++r) v[r][k] = -v[r][k];
                }
                break;
            }

            // Wilkinson shift from the trailing 2 x 2 of B^T B on the block l..k.
            const double ekm1 = k - 1 > l ? e[k - 1] : 0;
            const double t11 = sq(d[k - 1]) + sq(ekm1);
            const double t12 = d[k - 1] * e[k];
            const double t22 = sq(d[k]) + sq(e[k]);
            double mu = t22;
            if (t12 != 0) {
                const double delta = (t11 - t22) / 2;
                const double root = scaledHypot(delta, t12);
                mu = t22 - t12 * t12 / (delta + (delta >= 0 ? root : -root));
            }

            double y = sq(d[l]) - mu;
            double z = d[l] * e[l + 1];
            for (int i = l; i < k; ++i) {
                // Right rotation of columns i, i+1.
                double r = scaledHypot(y, z);
                double c = r == 0 ? 1 : y / r, s = r == 0 ? 0 : z / r;
                if (i > l) e[i] = r;
                const double di = c * d[i] + s * e[i + 1];
                const double ei1 = c * e[i + 1] - s * d[i];
                const double bulge = s * d[i + 1];
                const double di1 = c * d[i + 1];
                rotateColumns(v, n, i, i + 1, c, s);

                // Left rotation of rows i, i+1 removes the bulge below the diagonal.
                r = scaledHypot(di, bulge);
                c = r == 0 ? 1 : di / r;
                s = r == 0 ? 0 : bulge / r;
                d[i] = r;
                e[i + 1] = c * ei1 + s * di1;
                d[i + 1] = c * di1 - s * ei1;
                rotateColumns(u, m, i, i + 1, c, s);
                if (i + 1 < k) {
                    y = e[i + 1];
                    z = s * e[i + 2];
                    e[i + 2] *= c;
                }
            }
        }
    }
    for (int i = 0; i < n; ++i) w[i] = d[i];
}

} // namespace

double reflectPolesInside(double& a1, double& a2) {
    double factor = 1;
    const double disc = a1 * a1 - 4 * a2;
    if (disc > 0) {
        const double root = std::sqrt(disc);
        double r1 = (-a1 - std::copysign(root, a1)) / 2; // the larger, without cancellation
        double r2 = a2 / r1;
        bool reflected = false;
        // |1 - r z^-1| = |r| |1 - z^-1 / r| on the unit circle.
        if (std::fabs(r1) > 1) factor *= std::fabs(r1), r1 = 1 / r1, reflected = true;
        if (std::fabs(r2) > 1) factor *= std::fabs(r2), r2 = 1 / r2, reflected = true;
        if (reflected) {
            a1 = -(r1 + r2);
            a2 = r1 * r2;
        }
    } else if (a2 > 1) {
        // A complex pair of radius sqrt(a2) reflects as a whole.
        factor = a2;
        a1 /= a2;
        a2 = 1 / a2;
    }
    return factor;
}

DigitalSection bilinearWarped(const AnalogueSection& s, double fw, double fs) {
    const double k = std::tan(kPi * fw / fs) / fw;
    DigitalSection out;
    switch (sectionOrder(s)) {
    case kSectionSecond: {
        const double fourPi2 = 4 * kPi * kPi;
        const double e0 = fourPi2 * s.n2, e1 = kTwoPi * k * s.n1, e2 = k * k * s.n0;
        const double f0 = fourPi2 * s.d2, f1 = kTwoPi * k * s.d1, f2 = k * k * s.d0;
        const double d = f1 + f0 + f2;
        out.b0 = (e1 + e0 + e2) / d;
        out.b1 = 2 * (e2 - e0) / d;
        out.b2 = (e0 - e1 + e2) / d;
        out.a1 = 2 * (f2 - f0) / d;
        out.a2 = (f0 - f1 + f2) / d;
        break;
    }
    case kSectionFirst: {
        // The same transform on (n2 s + n1) / (d2 s + d1). Fed through the second-order
        // formula this section would gain a pole and a zero at z = 1 that cancel only on
        // paper, leaving a pole on the unit circle in the recursion.
        const double e0 = kTwoPi * s.n2, e1 = k * s.n1;
        const double f0 = kTwoPi * s.d2, f1 = k * s.d1;
        const double d = f0 + f1;
        out.b0 = (e0 + e1) / d;
        out.b1 = (e1 - e0) / d;
        out.b2 = 0;
        out.a1 = (f1 - f0) / d;
        out.a2 = 0;
        break;
    }
    default:
        out = DigitalSection{s.n2 / s.d2, 0, 0, 0, 0};
        break;
    }
    return out;
}

DigitalSection matchFirstOrder(double fs, double f, double hi, double dc) {
    DigitalSection out;
    out.b1 = out.b2 = out.a1 = out.a2 = 0;
    if (hi == dc) {
        out.b0 = hi;
        return out;
    }
    // A rising section is designed as the reciprocal of a falling one, which keeps the pole
    // placement on the side where the formula is well conditioned.
    const bool inv = hi > dc && dc != 0;
    if (inv) {
        f = f * dc / hi;
        hi = 1 / hi;
        dc = 1 / dc;
    }
    const double r = fs / (2 * f);
    const double m = std::sqrt((hi * hi * r * r + dc * dc) / (r * r + 1));
    // Match the frequency where the analogue power is halfway between DC and Nyquist.
    const double e = (m * m + dc * dc) / 2;
    const double t = std::tan(std::sqrt((dc * dc - e) / (e - hi * hi)) * kPi * f / fs);
    if (!inv) {
        const double d = t + 1;
        out.b0 = (t * dc + m) / d;
        out.b1 = (t * dc - m) / d;
        out.a1 = (t - 1) / d;
    } else {
        const double d = t * dc + m;
        out.b0 = (t + 1) / d;
        out.b1 = (t - 1) / d;
        out.a1 = (t * dc - m) / d;
    }
    return out;
}

DigitalSection matchPeak(double fs, double gainDb, double f, double q) {
    const double w = kTwoPi * f / fs;
    const double g = std::pow(10.0, gainDb / 20);
    const double h = std::max(g, 1 / g) + 1e-10;
    const double b2 = h;   // band-edge gain squared: the geometric mean of 1 and h
    const double h2 = h * h;
    const double dn = std::tan((std::sqrt(1 / (4 * q * q) + 1) - 1 / (2 * q)) * w / 2);
    const double dw = std::sqrt((b2 - 1) / (h2 - b2)) * w / q;
    const double v = sq(kPi * kPi - w * w);
    const double pi2 = kPi * kPi;
    const double nyq = std::sqrt((sq(dw * h) * pi2 + v) / (dw * dw * pi2 + v));
    const double peakOverNyquist = h2 - nyq * nyq;
    const double tw2 = sq(std::tan(w / 2));
    const double w2 = std::fabs(peakOverNyquist) <= 1e-10
                          ? tw2
                          : tw2 * std::sqrt(peakOverNyquist / (h2 - 1));
    const double c = 2 * w2 * (h2 - nyq - std::sqrt((h2 - 1) * peakOverNyquist));
    const double d2 = dn * dn;
    const double a = (sq(d2 - w2) * b2 - sq(d2 * nyq - w2) + d2 * c) / (d2 * (h2 - b2));
    const double u = a < 0 ? 0 : std::sqrt(a);
    const double oo = h2 * a - c;
    const double o = oo < 0 ? 0 : std::sqrt(oo);
    const double p = w2 + 1 + u, r = w2 + nyq + o;
    DigitalSection out;
    if (g >= 1) {
        out.b0 = r / p;
        out.b1 = -2 * (nyq - w2) / p;
        out.b2 = (w2 + nyq - o) / p;
        out.a1 = -2 * (1 - w2) / p;
        out.a2 = (w2 + 1 - u) / p;
    } else {
        out.b0 = p / r;
        out.b1 = -2 * (1 - w2) / r;
        out.b2 = (w2 + 1 - u) / r;
        out.a1 = -2 * (nyq - w2) / r;
        out.a2 = (w2 + nyq - o) / r;
    }
    return out;
}

DigitalSection matchLowPass(double fs, double f, double q) {
    const double w = kTwoPi * f / fs;
    const double pi2 = kPi * kPi;
    double m = 2 / std::sqrt(4 * pi2 / (w * w * q * q) + sq(2 - 2 * pi2 / (w * w)));
    if (std::fabs(1 - m) < 1e-6) m = m - 1e-6;

    double tn;
    if (q >= std::sqrt(0.5)) {
        const double c2 = 4 * q * q - 1, e = 2 * q * q;
        const double raw = std::fabs(std::tan(std::sqrt(1 - 1 / e) * w / 2));
        const double t = std::min(raw, 1e6);
        tn = (raw > 1e6 || raw >= 1e-6)
                 ? std::sqrt(std::sqrt((e * e - m * m * c2) / (e * e - c2))) * t
                 : 0;
    } else {
        const double q2 = q * q;
        const double y = std::sqrt((1 - 4 * q2) / (q2 * q2) + 4 / m);
        tn = std::tan(std::sqrt((y + 2 - 1 / q2) / 2) * w / 2);
        tn = std::min(tn, std::sqrt(std::sqrt(1 - m * m)) * w / 2);
    }

    // Analogue magnitude at the digital frequency 2x.
    auto analogue = [&](double x) {
        const double r2 = sq(2 * x) / (w * w);
        return 1 / std::sqrt(r2 / (q * q) + sq(1 - r2));
    };
    const double v1 = analogue(std::atan(tn));
    const double v2 = analogue(std::atan(tn / std::sqrt(m)));
    const double l = v1 * v1 - v2 * v2;
    const double k = m - 1;
    double e1 = std::sqrt(l * m / ((v2 * v2 + m) * k * k));
    double e2 = std::sqrt(m * m * l / ((v1 * v1 + m) * v2 * v2 * k * k));
    if (std::fabs(e1) < 1e-6) e1 = 1e-6;
    if (std::fabs(e2) < 1e-6) e2 = 1e-6;
    const double a1 = tn / e1, a2 = std::sqrt(m) * tn / e2, t2 = tn * tn;
    const double d = t2 + a1 + 1;
    DigitalSection out;
    out.b0 = (a2 + t2 + m) / d;
    out.b1 = 2 * (t2 - m) / d;
    out.b2 = (t2 - a2 + m) / d;
    out.a1 = 2 * (t2 - 1) / d;
    out.a2 = (t2 - a1 + 1) / d;
    return out;
}

DigitalSection matchHighPass(double fs, double f, double q) {
    double iq = 1 / q;
    const double h = fs / 2;
    const double i2 = iq * iq;
    double u = 0, v = 0;
    if (i2 < 2) {
        u = 2 / (2 - i2);
        v = 1 / std::sqrt(2 - i2);
    }
    if (u * f > h) u = 0;
    if (v * f > h) v = 0;
    const double r = fs / (2 * f);
    const double mN = std::sqrt(sq(r * r) / (sq(r * iq) + sq(1 - r * r)));
    const double p = v != 0 ? v : std::min({u != 0 ? u : 1.0, h / f, 1.0});
    const double tt = std::tan(kPi * f * p / fs) / p;
    const double t2 = tt * tt;

    // Fit I^2 so that the digital power meets the analogue one at a few points.
    double a[4], b[4];
    int rows = 0;
    for (double om : {u, 1.0, 0.5, v}) {
        if (om == 0) continue;
        const double t = kTwoPi * f * om / fs;
        const double m2 = sq(om * om) / (sq(om * iq) + sq(1 - om * om));
        const double ct = std::cos(t), st = std::sin(t);
        a[rows] = -st * st * t2 * m2;
        b[rows] = sq((t2 + 1) * ct + t2 - 1) * m2 - sq(ct * mN - mN);
        ++rows;
    }
    double x = 0;
    if (solveLeastSquares(a, rows, 1, b, &x) && rows >= 2 && std::sqrt(std::fabs(x)) != 0)
        iq = std::sqrt(std::fabs(x));

    const double d = tt * iq + 1 + t2;
    DigitalSection out;
    out.b0 = out.b2 = mN / d;
    out.b1 = -2 * mN / d;
    out.a1 = 2 * (t2 - 1) / d;
    out.a2 = (1 - tt * iq + t2) / d;
    return out;
}

DigitalSection matchGeneral(double fs, const AnalogueSection& s, bool* inverted) {
    if (inverted) *inverted = false;
    const double w0 = std::sqrt(s.d0);
    double f0 = w0 / kTwoPi;
    double A = s.n2, B = s.n1 / w0, C = s.n0 / (w0 * w0), D = s.d1 / w0;

    // Turning points of |H|^2: roots in w^2 of k2 W^2 + 2 k1 W + k0.
    double p1 = 0, p2 = 0;
    {
        const double a = s.n2, b = s.n1, c = s.n0, e = s.d1, hh = s.d0;
        const double k2 = 2 * a * c - b * b + a * a * e * e - 2 * a * a * hh;
        const double k1 = a * a * hh * hh - c * c;
        const double k0 = 2 * c * c * hh - c * c * e * e + b * b * hh * hh - 2 * a * c * hh * hh;
        if (k2 != 0) {
            const double x = k1 / k2, y = x * x - k0 / k2;
            if (y > 0) {
                const double r1 = -x + std::sqrt(y), r2 = -x - std::sqrt(y);
                if (r1 > 0) p1 = std::sqrt(r1) / kTwoPi;
                if (r2 > 0) p2 = std::sqrt(r2) / kTwoPi;
            }
        } else if (k1 != 0) {
            const double r = -k0 / (2 * k1);
            if (r > 0) p1 = std::sqrt(r) / kTwoPi;
        }
        p1 *= kTwoPi / w0;
        p2 *= kTwoPi / w0;
    }

    const double rN = fs / (2 * f0);
    double mN = std::sqrt((sq(rN * B) + sq(C - A * rN * rN)) / (sq(rN * D) + sq(1 - rN * rN)));
    double Bp = A == 0 ? 0 : (C != 0 ? B / std::sqrt(C * A) : 0);

    if (p1 == 0 && p2 == 0 && f0 > fs / 2) return matchFirstOrder(fs, f0 / 2, A, C);

    if (A > C && C != 0) {
        // Design the reciprocal, whose high-frequency gain is the smaller one.
        if (inverted) *inverted = true;
        A = 1 / A;
        C = 1 / C;
        mN = 1 / mN;
        const double e = std::sqrt(A / C);
        std::swap(Bp, D);
        f0 *= e;
        p1 /= e;
        p2 /= e;
    }

    const double pLow = std::min(p1, p2);
    double pHigh = std::max(p1, p2);
    double p = pLow != 0 ? pLow : (pHigh != 0 ? pHigh : 1);
    p = std::min({p, (fs / 2) / f0, 1.0});
    const double tt = std::tan(kPi * f0 * p / fs) / p;
    const double t2 = tt * tt;
    if (!(pHigh > 0) || pHigh * f0 >= fs / 2) pHigh = 0;

    double a[8], b[4];
    int rows = 0;
    for (double om : {pHigh != 0 ? pHigh : std::sqrt((fs / 2) / f0), pLow, 1.0, 0.5}) {
        if (om == 0) continue;
        const double t = kTwoPi * f0 * om / fs;
        const double m2 = (om * om * Bp * Bp * A * C + sq(C - A * om * om)) /
                          (sq(om * D) + sq(1 - om * om));
        const double ct = std::cos(t), st2 = sq(std::sin(t));
        a[2 * rows] = 4 * t2 * mN * C * st2;
        a[2 * rows + 1] = -4 * t2 * st2 * m2;
        b[rows] = 4 * m2 * sq((t2 + 1) * ct + t2 - 1) - 4 * sq((t2 * C + mN) * ct + t2 * C - mN);
        ++rows;
    }
    if (rows >= 2) {
        double x[2] = {0, 0};
        solveLeastSquares(a, rows, 2, b, x);
        if (x[0] < 0) x[0] = -x[0];
        if (x[1] < 0) x[1] = -x[1];
        if (x[0] < 0 || x[1] < 0) x[0] = x[1] = 0;
        if (std::sqrt(std::fabs(x[1])) != 0) D = std::sqrt(std::fabs(x[1]));
        if (std::sqrt(std::fabs(x[0])) != 0) Bp = std::sqrt(std::fabs(x[0]));
    }

    const double y = tt * D, pp = y + 1 + t2, z = std::sqrt(C * mN) * Bp * tt;
    DigitalSection out;
    out.b0 = (z + mN + t2 * C) / pp;
    out.b1 = 2 * (t2 * C - mN) / pp;
    out.b2 = (mN - z + t2 * C) / pp;
    out.a1 = 2 * (t2 - 1) / pp;
    out.a2 = (1 - y + t2) / pp;
    return out;
}

bool solveLeastSquares(const double* a, int rows, int cols, const double* b, double* x) {
    if (rows < 1 || cols < 1 || rows > kMaxDim || cols > kMaxDim) return false;
    // Zero rows pad an under-determined system to square; they change no residual.
    const int m = std::max(rows, cols), n = cols;
    double work[kMaxDim][kMaxDim] = {};
    double rhs[kMaxDim] = {};
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < cols; ++j) work[i][j] = a[i * cols + j];
        rhs[i] = b[i];
    }
    double u[kMaxDim][kMaxDim], w[kMaxDim], v[kMaxDim][kMaxDim];
    singularValueDecomposition(work, m, n, u, w, v);

    double wmax = 0;
    for (int j = 0; j < n; ++j) wmax = std::max(wmax, w[j]);
    const double threshold = wmax * 1e-6;
    double coef[kMaxDim];
    bool any = false;
    for (int j = 0; j < n; ++j) {
        coef[j] = 0;
        if (w[j] == 0 || w[j] < threshold) continue;
        double s = 0;
        for (int i = 0; i < m; ++i) s += u[i][j] * rhs[i];
        coef[j] = s / w[j];
        any = true;
    }
    for (int i = 0; i < n; ++i) {
        double s = 0;
        for (int j = 0; j < n; ++j) s += v[i][j] * coef[j];
        x[i] = s;
    }
    return any;
}

SectionMatcher::SectionMatcher(double rate) : gridRate(rate) {
    buildGrid();
    resetHessian();
    for (int i = 0; i < 4; ++i) grad[i] = gradPrev[i] = step[i] = 0;
    for (int k = 0; k < kMatchPoints; ++k) target[k] = mag[k] = 0;
}

void SectionMatcher::buildGrid() {
    lnLow = std::log(20.0);
    lnHigh = std::log(gridRate / 2);
    lnSpan = lnHigh - lnLow;
    for (int k = 0; k < kMatchPoints; ++k) {
        t[k] = kTwoPi * std::exp(lnLow + k * lnSpan / (kMatchPoints - 1)) / gridRate;
        cos2t[k] = std::cos(2 * t[k]);
        cost[k] = std::cos(t[k]);
        sin2t[k] = std::sin(2 * t[k]);
        sint[k] = std::sin(t[k]);
    }
}

void SectionMatcher::resetHessian() {
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) hinv[i][j] = i == j ? 1 : 0;
}

double SectionMatcher::errorAt(double* p, double& gain) {
    // The search point itself is stabilised, so every point it visits is a usable filter.
    reflectPolesInside(p[2], p[3]);
    double smt = 0, smm = 0;
    for (int k = 0; k < kMatchPoints; ++k) {
        const double nr = cos2t[k] + p[0] * cost[k] + p[1], ni = sin2t[k] + p[0] * sint[k];
        const double dr = cos2t[k] + p[2] * cost[k] + p[3], di = sin2t[k] + p[2] * sint[k];
        double dd = dr * dr + di * di;
        if (dd == 0) dd = 0.001;
        mag[k] = std::sqrt((nr * nr + ni * ni) / dd);
        smt += mag[k] * target[k];
        smm += mag[k] * mag[k];
    }
    gain = smt / (smm > 0 ? smm : 0.0001);
    double e = 0;
    for (int k = 0; k < kMatchPoints; ++k) e += sq(gain * mag[k] - target[k]);
    return e;
}

void SectionMatcher::gradientAt(const double* p, double gain, double* out) {
    double g0 = 0, g1 = 0, g2 = 0, g3 = 0;
    for (int k = 0; k < kMatchPoints; ++k) {
        const double nr = cos2t[k] + p[0] * cost[k] + p[1], ni = sin2t[k] + p[0] * sint[k];
        const double dr = cos2t[k] + p[2] * cost[k] + p[3], di = sin2t[k] + p[2] * sint[k];
        const double nn = nr * nr + ni * ni;
        double dd = dr * dr + di * di;
        if (dd == 0) dd = 0.001;
        double m = std::sqrt(nn / dd);
        const double residual = gain * m - target[k];
        if (m == 0) m = 1e-5;
        // dE/d(N/D) = 2 (g m - target) g / (2 m)
        const double w = residual * gain / m;
        g0 += w * 2 * (nr * cost[k] + ni * sint[k]) / dd;
        g1 += w * 2 * nr / dd;
        const double wd = -w * nn / (dd * dd);
        g2 += wd * 2 * (dr * cost[k] + di * sint[k]);
        g3 += wd * 2 * dr;
    }
    out[0] = g0;
    out[1] = g1;
    out[2] = g2;
    out[3] = g3;
}

void SectionMatcher::constrainDirection(double* v) const {
    if (heldZeros >= 2) {
        v[0] = v[1] = 0;
    } else if (heldZeros == 1) {
        // Tangent of 1 + b1n + b2n = 0.
        const double m = (v[0] + v[1]) / 2;
        v[0] -= m;
        v[1] -= m;
    }
}

void SectionMatcher::constrainPoint(double* p) const {
    if (heldZeros >= 2) {
        p[0] = -2;
        p[1] = 1;
    } else if (heldZeros == 1) {
        p[1] = -1 - p[0];
    }
}

bool SectionMatcher::refine(DigitalSection& section, const double* targets, double limit,
                            int iterations, double tolerance, int dcZeros) {
    heldZeros = dcZeros;
    buildGrid();
    for (int k = 0; k < kMatchPoints; ++k) {
        target[k] = targets[k];
        if (!std::isfinite(target[k])) return false;
    }
    if (section.b0 == 0 || !isFinite(section)) return false;

    x[0] = section.b1 / section.b0;
    x[1] = section.b2 / section.b0;
    x[2] = section.a1;
    x[3] = section.a2;
    constrainPoint(x);
    resetHessian();
    // |x| is the Euclidean norm of the whole search point.
    const double norm = std::sqrt(sq(x[0]) + sq(x[1]) + sq(x[2]) + sq(x[3]));
    stepLimit = 100 * std::max(norm, 4.0);

    const double a1In = x[2], a2In = x[3];
    const double e0 = errorAt(x, g);
    if (!std::isfinite(e0) || !std::isfinite(g)) return false;
    // A closed form with poles outside the unit circle is never handed back: where the rules
    // below keep the closed form, its stabilised version with the fitted gain stands instead.
    const bool startUnstable = x[2] != a1In || x[3] != a2In;
    const DigitalSection stabilisedStart{g, g * x[0], g * x[1], x[2], x[3]};
    auto keepClosedForm = [&]() {
        if (!startUnstable || !isFinite(stabilisedStart)) return false;
        section = stabilisedStart;
        return true;
    };
    if (e0 <= tolerance) return keepClosedForm();

    gradientAt(x, g, grad);
    constrainDirection(grad);
    double current = e0;
    int failures = 0;
    for (int it = 1; it < iterations && failures < 3; ++it) {
        double len2 = 0;
        for (int i = 0; i < 4; ++i) {
            double s = 0;
            for (int j = 0; j < 4; ++j) s -= hinv[i][j] * grad[j];
            step[i] = s;
        }
        constrainDirection(step);
        for (double s : step) len2 += s * s;
        const double len = std::sqrt(len2);
        if (!std::isfinite(len)) break;
        if (len > stepLimit)
            for (double& s : step) s *= stepLimit / len;

        for (int i = 0; i < 4; ++i) {
            xPrev[i] = x[i];
            gradPrev[i] = grad[i];
        }
        double relative = 0;
        for (int i = 0; i < 4; ++i)
            relative = std::max(relative, std::fabs(step[i]) / std::max(std::fabs(xPrev[i]), 1.0));
        const double lamMin = relative > 0 ? 1e-8 / relative : INFINITY;

        // Halving line search.
        double lam = 1;
        double prevE = INFINITY, prevG = 0, prevX[4] = {0, 0, 0, 0};
        bool found = false;
        double newE = 0, newG = 0, newX[4];
        while (lam >= lamMin) {
            double trial[4], trialG = 0;
            for (int i = 0; i < 4; ++i) trial[i] = xPrev[i] + lam * step[i];
            double e = errorAt(trial, trialG);
            if (!std::isfinite(e) || !std::isfinite(trialG)) e = INFINITY;
            if (e <= current / 2) {
                found = true;
                newE = e, newG = trialG;
                for (int i = 0; i < 4; ++i) newX[i] = trial[i];
                break;
            }
            if (prevE < current && e > prevE) {
                found = true;
                newE = prevE, newG = prevG;
                for (int i = 0; i < 4; ++i) newX[i] = prevX[i];
                break;
            }
            prevE = e, prevG = trialG;
            for (int i = 0; i < 4; ++i) prevX[i] = trial[i];
            lam /= 2;
        }

        if (!found) {
            // Stay put and start the curvature estimate afresh from steepest descent.
            ++failures;
            resetHessian();
            continue;
        }

        for (int i = 0; i < 4; ++i) x[i] = newX[i];
        constrainPoint(x);
        g = newG;
        current = newE;
        gradientAt(x, g, grad);
        constrainDirection(grad);

        // BFGS update of the inverse Hessian.
        double s[4], y[4], hy[4];
        for (int i = 0; i < 4; ++i) {
            s[i] = x[i] - xPrev[i];
            y[i] = grad[i] - gradPrev[i];
        }
        double ys = 0, yhy = 0;
        for (int i = 0; i < 4; ++i) {
            hy[i] = 0;
            for (int j = 0; j < 4; ++j) hy[i] += hinv[i][j] * y[j];
            ys += y[i] * s[i];
        }
        for (int i = 0; i < 4; ++i) yhy += y[i] * hy[i];
        if (ys == 0) ys = 0.0001;
        const double invYhy = yhy == 0 ? 10000 : 1 / yhy;
        double uu[4];
        for (int i = 0; i < 4; ++i) uu[i] = s[i] / ys - hy[i] * invYhy;
        for (int i = 0; i < 4; ++i)
            for (int j = 0; j < 4; ++j)
                hinv[i][j] += s[i] * s[j] / ys - hy[i] * hy[j] * invYhy + yhy * uu[i] * uu[j];
    }

    const double e1 = errorAt(x, g);
    if (!std::isfinite(e1)) return keepClosedForm();
    if (limit >= 0 && e1 >= limit) return keepClosedForm();
    if (e1 < e0) {
        const DigitalSection refined{g, g * x[0], g * x[1], x[2], x[3]};
        if (isFinite(refined)) {
            section = refined;
            return true;
        }
    }
    return keepClosedForm();
}

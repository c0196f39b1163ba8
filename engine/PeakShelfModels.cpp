// Peak Q laws, the special peak designs and the shelf models.
//
// Every section is normalised to a band frequency of 1; the caller scales n1, d1 by f and
// n0, d0 by f^2 afterwards. The circuit models work in rad/s with real component values, so
// they bring themselves to the normalised variable here by multiplying n1, d1 by x and n0, d0
// by x^2 with x = 1 / (2 pi f) (times a slide factor where a model has one).

#include "PeakShelfModels.h"

#include <algorithm>
#include <cmath>

#include "EQ.h"

namespace {

constexpr double kSqrt2 = 1.41421356237309504880;

double clamp01(double x) { return std::min(1.0, std::max(0.0, x)); }

AnalogueSection makeSection(double n2, double n1, double n0, double d2, double d1, double d0) {
    AnalogueSection s;
    s.n2 = n2;
    s.n1 = n1;
    s.n0 = n0;
    s.d2 = d2;
    s.d1 = d1;
    s.d0 = d0;
    return s;
}

int unity(AnalogueSection* out) {
    out[0] = AnalogueSection{};
    return 1;
}

// Moves a section from rad/s (scaled by the model's own factor) into the normalised variable.
void scaleCircuit(AnalogueSection& s, double x) {
    s.n1 *= x;
    s.d1 *= x;
    s.n0 *= x * x;
    s.d0 *= x * x;
}

// Linear interpolation inside a table whose abscissae rise; x must lie in [xs[0], xs[n-1]].
double interpolate(const double* xs, const double* ys, int n, double x) {
    int i = 0;
    while (i < n - 2 && x > xs[i + 1]) ++i;
    const double t = (x - xs[i]) / (xs[i + 1] - xs[i]);
    return ys[i] + (ys[i + 1] - ys[i]) * t;
}

// Index of the first switch position at or above f, else the last one.
int switchIndex(const double* table, int n, double f) {
    for (int i = 0; i < n; ++i)
        if (!(table[i] < f)) return i;
    return n - 1;
}

// ---------------------------------------------------------------------------------------
// Special peaks (type 3 only)

int flatTopPeak(double gainDb, double q, double shift, AnalogueSection* out) {
    const double A = std::pow(10.0, gainDb / 80.0);  // each of the two bells takes half the dB
    const double t = A * A;
    const double q2 = q * q;
    const double q4 = q2 * q2;
    const double u = t * t + 1.0;
    const double p = 1.0 - (2.0 * u * q2 - t - 9.0 * t * q4) / (3.0 * q4 * t);
    const double r = (16.0 * t * q4 - 4.0 * u * q2) * 0.5 / (q4 * t);

    // Root of 4 y^3 - 3 p y + r = 0 with y = (m^2 + 1/m^2) / 2, m the spacing of the centres.
    double m = 1.0;
    const double disc = r * r - p * p * p;
    if (disc >= 0.0) {
        const double sign = r > 0.0 ? 1.0 : -1.0;
        const double c = -sign * std::cbrt(std::sqrt(disc) + std::fabs(r));
        const double d = c != 0.0 ? p / c : 0.0;
        const double y = (c + d) / 2.0;
        if (y * y > 1.0 && y + std::sqrt(y * y - 1.0) > 0.0) m = std::sqrt(y + std::sqrt(y * y - 1.0));
    } else {
        // disc < 0 implies p > 0; rounding can still nudge the cosine just past +-1.
        const double th = std::acos(std::clamp(r * std::pow(p, -1.5), -1.0, 1.0));
        const double g = -std::sqrt(p);
        const double ys[3] = {g * std::cos(th / 3.0), g * std::cos((th + kTwoPi) / 3.0),
                              g * std::cos((th - kTwoPi) / 3.0)};
        for (double y : ys)
            if (y * y > 1.0 && y + std::sqrt(y * y - 1.0) > 1.0) m = std::sqrt(y + std::sqrt(y * y - 1.0));
    }

    const double soften = std::max(shift, 0.0);
    const double e = (m - 1.0) * soften * 0.01 + 1.0;
    out[0] = makeSection(1, (A / q) * e, e * e, 1, e / (A * q), e * e);
    out[1] = makeSection(1, (A / q) / e, 1.0 / (e * e), 1, 1.0 / (e * A * q), 1.0 / (e * e));
    return 2;
}

// Band-pass transform of a second-order Butterworth shelf: the denominator pair comes from the
// shelf's unit poles, the numerator pair from its zeros at radius B.
int butterworthPeak(double gainDb, double q, AnalogueSection* out) {
    const double c = 1.0 / kSqrt2;
    const double B = std::pow(10.0, gainDb / 40.0);
    auto vOf = [&](double x) {
        const double a = 2.0 * c * x / q;
        const double b = x * x / (q * q) + 4.0;
        return std::sqrt((std::sqrt(b * b - 4.0 * a * a) + b) / (2.0 * a * a));
    };
    auto zOf = [&](double x, double v) {
        const double h = x * c * v / q;
        return h + std::sqrt(h * h - 1.0);
    };
    const double v7 = vOf(1.0);
    const double z1 = zOf(1.0, v7);
    const double v13 = vOf(B);
    const double z2 = zOf(B, v13);
    out[0] = makeSection(1, z2 / v13, z2 * z2, 1, z1 / v7, z1 * z1);
    out[1] = makeSection(1, 1.0 / (z2 * v13), 1.0 / (z2 * z2), 1, 1.0 / (z1 * v7), 1.0 / (z1 * z1));
    return 2;
}

int peak4kg(double gainDb, double q, AnalogueSection* out) {
    const double g = clamp01((gainDb + 18.0) / 36.0);
    const double qn = clamp01((q - 0.1) / 49.9);
    const double R = 22000.0;
    const double a = g * R;
    const double b = (1.0 - g) * R;
    const double u = 10.0 * (1.0 - qn);
    const double w = 10.0 - u;
    const double k = 4.545454545454545e-5;
    const double C = (4.0 * u * w + 100.0 * (u + 16.5) + 39.75) / (100.0 * (w + 16.5));
    const double T = 5.11 * (u + 2.2) / 13.662 - 1.0;
    const double E = 2.0 * (C * T + C + T) + 1.0;
    const double X = a * C * b;
    const double n2 = (b * a + 4.84e8) * C * R * k * k;
    const double n0 = C * R;
    const double n1 = ((E * a + 2.0 * C * R - b) * R + X) * k;
    const double d1 = ((E * b + 2.0 * C * R - a) * R + X) * k;
    out[0] = makeSection(n2, n1, n0, n2, d1, n0);
    return 1;
}

int peak250(double gainDb, double q, AnalogueSection* out) {
    const double g = clamp01((gainDb + 18.0) / 36.0);
    const double qn = clamp01((q - 0.1) / 49.9);
    const double x = 5000.0 * (1.0 - qn);
    const double y = 50000.0 * (1.0 - g);
    // c (x - r1)(x + r2)
    auto term = [x](double r1, double r2, double c) { return c * (x - r1) * (x + r2); };
    const double e1 = 3.0586374999999997e-10 * y;
    const double e2 = 2.7847839321678058e-9 * y;
    const double e3 = 6.117274999999999e-15 * y * y;
    const double e4 = 5.569567864335611e-14 * y * y;
    const double c1 = 6.1780299999999995e-6;
    const double c2 = 5.624880489044235e-5;
    const double D1 = term(307539.8241346352, 50312.647818383404, e3) -
                      term(617020.6419680648, 17266.246149332663, c1) -
                      term(167265.47963533862, 91397.45424821785, e1);
    const double D2 = term(471777.10036520683, 33190.77311982369, e1) -
                      term(307539.8241346352, 50312.647818383404, e3) +
                      term(201426.43940344805, 50611.18761606602, c1);
    const double M = term(482433.69489674416, 948.0311656340177, e4);
    const double n1 = -(M - term(121710.15494018616, 728.1238879906888, e2) -
                        term(1174186.3776707358, 1002.5354231803408, c2));
    const double d1 = term(281725.7563422302, 938.4065425976552, c2) - M +
                      term(842969.2897443678, 979.9933343428124, e2);
    out[0] = makeSection(-D1, n1, -D1, D2, d1, D2);
    return 1;
}

// ---------------------------------------------------------------------------------------
// Shelves

int shelfOndelane(bool high, double gainDb, double q, double shift, AnalogueSection* out) {
    const double g = std::pow(10.0, gainDb / 20.0);
    const double s = q >= 0.70710677 ? shift * 0.01 : 0.0;
    const double d = (q - 0.707106781) * s;
    const double steep = std::fabs(gainDb) * 0.0625;
    const double qa = std::pow((q - d) * 1.41421356, steep);
    const double qb = std::pow((q + d) * 1.41421356, steep);
    const double H = g >= 1.0 ? g : 1.0 / g;
    AnalogueSection sec = high ? makeSection(H, std::sqrt(H) / (0.707106781 * qa), 1, 1,
                                             1.0 / (0.707106781 * qb), 1)
                               : makeSection(1, std::sqrt(H) / (0.707106781 * qa), H, 1,
                                             1.0 / (0.707106781 * qb), 1);
    if (g < 1.0) {
        std::swap(sec.n2, sec.d2);
        std::swap(sec.n1, sec.d1);
        std::swap(sec.n0, sec.d0);
    }
    out[0] = sec;
    return 1;
}

int shelf4kgHigh(double gainDb, double f, AnalogueSection* out) {
    const double Rg = 22000.0 * (1.0 - clamp01((gainDb + 18.0) / 36.0));
    const double k = f < 1500.0 ? f / 1500.0 : (f > 16000.0 ? f / 16000.0 : 1.0);
    const double R = 47000.0 * (1.0 - clamp01((f - 1500.0) / 14500.0));
    const double e = 3.2237768999999995e-16 * Rg;
    const double h = 3.5644499999999997e-16 * R;
    const double c = 1.7109359999999999e-12;
    const double n1 = 0.0005874 * R - 2.67e-8 * (Rg - 26053.23885414697) * (Rg + 4053.2388541469713);
    const double n2 = (7.84179e-12 - e) * R * R -
                      c * (Rg - 22397.02704921691) * (Rg + 5009.593679412309) -
                      h * (Rg - 22658.487027073348) * (Rg + 9612.293645205176);
    const double d2 = (e + 7.494808200000001e-13) * R * R -
                      c * (Rg - 27009.593679412304) * (Rg + 397.0270492169061) -
                      h * (Rg - 31612.293645205176) * (Rg + 658.4870270733459);
    out[0] = makeSection(n2, n1, 22000.0, d2, n1, 22000.0);
    scaleCircuit(out[0], k / (kTwoPi * f));
    return 1;
}

int shelf4kgLow(double gainDb, double f, AnalogueSection* out) {
    const double Rg = 22000.0 * (1.0 - clamp01((gainDb + 18.0) / 36.0));
    const double k = f < 30.0 ? f / 30.0 : (f > 450.0 ? f / 450.0 : 1.0);
    const double R = 47000.0 * (1.0 - clamp01((f - 30.0) / 420.0)) + 2200.0;
    const double G2 = Rg * Rg;
    const double e = 4.006383e-9 * G2;
    const double h = (1.943096e-15 * R + 9.301788000000001e-9) * G2;
    const double m = 2.8245000000000003e-23 * (R + 3226.9054001520954) * (R + 159716263.26985207) * G2;
    const double c = 6.213900000000003e-19;
    const double u = R + 134.49592158457483;
    const double v = R + 104405.79415746297;

    // Coefficients by rising power of s; handed to the factoriser as a quartic in 1/s.
    double a[5], b[5];
    a[0] = 8.81404e-5 * Rg + 9.70747 - e;
    b[0] = 8.8140426e-5 * Rg + 9.7074665 - e;
    a[1] = (2.920631200000001e-11 * R - 0.000663765) * Rg + 4.6945799e-6 * R + 21.655349 - h;
    b[1] = (5.628991199999997e-11 * R + 0.0010730436960000001) * Rg + 4.3966603e-6 * R + 2.55045308 - h;
    a[2] = c * (R - 524058022.96267337) * (R - 983.458414631138) * Rg +
           6.8437636e-14 * (R + 99.69372658171919) * (R + 153411320.0110686) - m;
    b[2] = c * (R + 611.0146720671299) * (R + 843497375.7569202) * Rg +
           6.8437636e-14 * (R + 909.059867865598) * (R + 16824135.27684768) - m;
    a[3] = b[3] = 1.58791486e-13 * (R + 20.37180647106227) * (R + 3129.2811793319675) +
                  1.4417752800000001e-18 * u * v * Rg - 6.553524000000001e-23 * u * v * G2;
    a[4] = b[4] = (9.515446600000001e-23 * R + 9.515446600000001e-18) * R * Rg +
                  (9.5630238e-18 * R + 4.7577222e-15) * R -
                  (4.3252030000000004e-27 * R + 4.325203000000001e-22) * R * G2;

    double pa1, qa1, pa2, qa2, pb1, qb1, pb2, qb2;
    factorQuartic(a, pa1, qa1, pa2, qa2);
    factorQuartic(b, pb1, qb1, pb2, qb2);
    // A factor x^2 + p x + q in x = 1/s is q (s^2 + (p/q) s + 1/q); the q's and the leading
    // coefficients cancel between numerator and denominator because a4 = b4.
    // The pairing is crossed on purpose: first factors meet second factors.
    out[0] = makeSection(1, pa2 / qa2, 1.0 / qa2, 1, pb1 / qb1, 1.0 / qb1);
    out[1] = makeSection(1, pa1 / qa1, 1.0 / qa1, 1, pb2 / qb2, 1.0 / qb2);
    const double x = k / (kTwoPi * f);
    scaleCircuit(out[0], x);
    scaleCircuit(out[1], x);
    return 2;
}

int shelf110Low(double gainDb, double f, AnalogueSection* out) {
    static const double fs[6] = {33, 56, 95, 160, 270, 460};
    static const double cs[6] = {1470, 680, 330, 150, 68, 30};
    double C;
    if (f < fs[0])
        C = 48510.0 / f;
    else if (f > fs[5])
        C = 13800.0 / f;
    else
        C = interpolate(fs, cs, 6, f);
    const double g = clamp01((gainDb + 18.0) / 36.0);
    const double u = 22.0 * g;
    const double v = 22.0 * (1.0 - g);
    const double w = kTwoPi * f * 1e-6;
    const double w2 = w * w;
    const double L4 = (2064.0 * u * v + 54489.6) * C * C * w2 * w2;
    const double L3 = 43.0 * C * (u * v * (C + 68.0) + 164.16 * C + 2323.2) * w2 * w;
    const double L2 = ((43.0 * u * v + 10631.28) * C + 115.24 * C * C + 32164.0) * w2;
    const double num[5] = {L4, L3, L2, ((9.6 * u + 31.64) * C + 43.0 * u + 894.2) * w, u + 3.4};
    const double den[5] = {L4, L3, L2, ((9.6 * v + 31.64) * C + 43.0 * v + 894.2) * w, v + 3.4};
    double pa1, qa1, pa2, qa2, pb1, qb1, pb2, qb2;
    factorQuartic(num, pa1, qa1, pa2, qa2);
    factorQuartic(den, pb1, qb1, pb2, qb2);
    out[0] = makeSection(1, pa1, qa1, 1, pb1, qb1);
    out[1] = makeSection(1, pa2, qa2, 1, pb2, qb2);
    return 2;
}

int shelf110High(double gainDb, double f, AnalogueSection* out) {
    static const double fs[6] = {3300, 4700, 6800, 10000, 15000, 18000};
    static const double c1s[6] = {0.068, 0.047, 0.033, 0.022, 0.015, 0.01};
    static const double c2s[6] = {0.15, 0.1, 0.068, 0.047, 0.033, 0.025};
    double C1, C2;
    if (f < fs[0]) {
        C1 = 224.4 / f;
        C2 = 495.0 / f;
    } else if (f > fs[5]) {
        C1 = 180.0 / f;
        C2 = 450.0 / f;
    } else {
        C1 = interpolate(fs, c1s, 6, f);
        C2 = interpolate(fs, c2s, 6, f);
    }
    C1 *= 0.001;
    C2 *= 0.001;

    // Pot position e solves a e^2 + b e + c = 0, which makes the top of the shelf reach g.
    // The root is taken as 2c / (-b + sqrt(b^2 - 4ac)), the same root as
    // (-b - sqrt(b^2 - 4ac)) / (2a) but without the cancellation as a -> 0 near 0 dB.
    const double g = std::pow(10.0, gainDb * 0.05);
    double e = 0.5;
    if (g != 1.0) {
        const double a = 484.0 * (g - 1.0);
        const double b = -(704.0 * g - 264.0);
        const double c = 0.82 * 32.82 * (1.0 - g) + 220.0;
        e = 2.0 * c / (-b + std::sqrt(b * b - 4.0 * a * c));
    }
    e *= 22.0;
    const double v1 = 22.82 - e;
    const double v2 = e + 0.82;
    const double w = kTwoPi * f;
    const double m = 21.84 * w * w * C1 * C2;
    const double z = 516.2976;
    const double t = 11.5 * v1 * v2;
    out[0] = makeSection((v2 + 10.0) * v1 * m, ((24.0 * v1 + t + z) * C1 + z * C2) * w, 271.86,
                         (v1 + 10.0) * v2 * m, ((24.0 * v2 + t + z) * C1 + z * C2) * w, 271.86);
    return 1;
}

int shelf550(bool high, double gainDb, double f, AnalogueSection* out) {
    if (gainDb == 0.0) return unity(out);
    static const double lowF[5] = {50, 100, 200, 300, 400};
    static const double lowC[5] = {90.5, 43.5, 21.5, 14.7, 10.0};
    static const double lowR2[5] = {26540, 17230, 12810, 8890, 6340};
    static const double highF[5] = {5000, 7000, 10000, 12500, 15000};
    static const double highC[5] = {6.65, 4.85, 3.35, 2.67, 2.2};
    static const double highR2[5] = {22640, 18580, 13220, 9390, 6650};
    static const double gainSteps[5] = {2, 4, 6, 9, 12};
    static const double r1s[5] = {6980, 10460, 13780, 18310, 23180};

    const double* fs = high ? highF : lowF;
    const double* cs = high ? highC : lowC;
    // R2 is listed beside the frequencies but, like R1, it belongs to the gain steps: the pair
    // R1 / R2 + 1 sets the depth, and the rules outside the table (2 R2[0] / g, 12 R2[4] / g)
    // are written in gain.
    const double* r2s = high ? highR2 : lowR2;

    double C;
    if (f < fs[0])
        C = cs[0] * fs[0] / f;
    else if (f > fs[4])
        C = cs[4] * fs[4] / f;
    else
        C = interpolate(fs, cs, 5, f);

    const double gAbs = std::fabs(gainDb);
    double R1, R2;
    if (gAbs < gainSteps[0]) {
        R1 = 0.5 * 6980.0 * gAbs;
        R2 = 2.0 * r2s[0] / gAbs;
    } else if (gAbs > gainSteps[4]) {
        R1 = 23180.0 * gAbs / 12.0;
        R2 = 12.0 * r2s[4] / gAbs;
    } else {
        R1 = interpolate(gainSteps, r1s, 5, gAbs);
        R2 = interpolate(gainSteps, r2s, 5, gAbs);
    }
    const double Rs = high ? R2 : R1;
    const double t = kTwoPi * f * C * Rs * 1e-9;
    AnalogueSection sec = makeSection(t, 1, 0, t, 1, 0);
    const double depth = R1 / R2 + 1.0;
    if (gainDb > 0.0) {
        if (high)
            sec.n2 *= depth;
        else
            sec.n1 *= depth;
    } else {
        if (high)
            sec.d2 *= depth;
        else
            sec.d1 *= depth;
    }
    out[0] = sec;
    return 1;
}

// Low Pultec network: boost b and attenuation a, both 0 to 1.
AnalogueSection pultecLowNetwork(double b, double a, double f) {
    static const double fs[4] = {20, 30, 60, 100};
    static const double c1s[4] = {2200, 1000, 470, 330};
    static const double c2s[4] = {100, 47, 22, 15};
    const int i = switchIndex(fs, 4, f);
    const double C1 = c1s[i] * 1e-9;
    const double C2 = c2s[i] * 1e-9;
    const double R1 = 10000.0 * b;
    const double R2 = 100000.0 * a;
    const double P = R1 * R2;
    AnalogueSection s;
    if (P != 0.0) {
        s.n0 = 13.1 * (12000.0 * R1 + 1e7 + P);
        s.n1 = 13.1 * (4000.0 * (3.0 * R1 + 2500.0) * R2 * C2 + 1e7 * R1 * C1);
        s.n2 = 13.1e7 * R2 * R1 * C1 * C2;
        s.d0 = 12000.0 * R1 + 1.31e8 + P + 11000.0 * R2;
        s.d1 = 4000.0 * (3.0 * R1 + 32750.0) * R2 * C2 + 1.31e8 * R1 * C1 + 11000.0 * R1 * R2 * C1;
        s.d2 = 1.31e8 * R2 * R1 * C1 * C2;
    } else if (R1 != R2) {
        // One control at zero: the network drops to first order (places shifted down).
        s.n1 = 13.1 * (12000.0 * R1 + 1e7);
        s.n2 = 13.1 * (4000.0 * (3.0 * R1 + 2500.0) * R2 * C2 + 1e7 * R1 * C1);
        s.d1 = 12000.0 * R1 + 1.31e8 + 11000.0 * R2;
        s.d2 = 4000.0 * (3.0 * R1 + 32750.0) * R2 * C2 + 1.31e8 * R1 * C1;
        s.n0 = s.d0 = 0.0;
    } else {
        return AnalogueSection{};
    }
    // Slide the response continuously from the switch position to f.
    scaleCircuit(s, f / fs[i]);
    return s;
}

AnalogueSection pultecHighBoost(double b, double w, double f) {
    // With no boost the network passes the signal unchanged; taking that as unity also avoids
    // the lossless case (b = 0, w = 1) whose poles would sit on the imaginary axis.
    if (b <= 0.0) return AnalogueSection{};
    static const double fs[7] = {3000, 4000, 5000, 8000, 10000, 12000, 16000};
    static const double cs[7] = {15, 15, 10, 10, 6.8, 6.8, 3.3};
    static const double ls[7] = {175, 100, 90, 65, 35, 23, 19};
    const int i = switchIndex(fs, 7, f);
    const double C = cs[i] * 1e-9;
    const double L = ls[i] * 0.001;
    const double R = 10000.0 * b;
    const double Rw = 2200.0 * (1.0 - w);
    const double M = L * C;
    const double z = 1.0 / (kTwoPi * f * std::sqrt(M));
    const double n2 = z * z * M;
    return makeSection(n2, (Rw + R) * C * z, 1, n2, ((1.0 - 3.0 * R / 32750.0) * R + Rw) * C * z, 1);
}

AnalogueSection pultecHighAttenuation(double a, double f) {
    static const double fs[3] = {5000, 10000, 20000};
    static const double cs[3] = {197, 94, 47};
    const int i = switchIndex(fs, 3, f);
    const double C = cs[i] * 1e-9;
    const double R1 = 1000.0 * a;
    const double R2 = 1000.0 * (1.0 - a);
    double n2 = 13.1 * (R1 * R2 + 75000.0) * C;
    double d2 = (2.5 * (4400.0 * R1 + 393000.0) + 2.1 * R1 * R2) * C;
    if (std::fabs(n2 - d2) < 1e-6) return AnalogueSection{};
    n2 *= fs[i] / f;
    d2 *= fs[i] / f;
    return makeSection(n2, 13100.0, 0, d2, 13100.0, 0);
}

int shelfPultec(bool high, bool boostModel, double gainDb, double q, double shift, double f,
                AnalogueSection* out) {
    AnalogueSection s;
    if (!high) {
        const double b = boostModel ? clamp01(gainDb / 18.0) : clamp01(shift * 0.01);
        const double a = boostModel ? clamp01(shift * 0.01) : clamp01(-gainDb / 18.0);
        s = pultecLowNetwork(b, a, f);
    } else if (boostModel) {
        s = pultecHighBoost(clamp01(gainDb / 18.0), clamp01((q - 0.4) / 9.6), f);
    } else {
        s = pultecHighAttenuation(clamp01(-gainDb / 18.0), f);
    }
    scaleCircuit(s, 1.0 / (kTwoPi * f));
    out[0] = s;
    return 1;
}

int shelfFirstOrder(bool high, double gainDb, AnalogueSection* out) {
    const double v = std::pow(10.0, std::fabs(gainDb) / 20.0);
    if (gainDb >= 0.0)
        out[0] = high ? makeSection(v, 1, 0, 1, 1, 0) : makeSection(1, v, 0, 1, 1, 0);
    else
        out[0] = high ? makeSection(1, 1, 0, v, 1, 0) : makeSection(1, 1, 0, 1, v, 0);
    return 1;
}

// Relative residual of (x^2 + p1 x + q1)(x^2 + p2 x + q2) against x^4 + a x^3 + b x^2 + c x + d,
// with each equation's rows scaled by the size of its terms. Fills the scaled rows and
// residuals for a Newton step when asked.
double factorResidual(double a, double b, double c, double d, const double x[4], double rows[4][5]) {
    const double p1 = x[0], q1 = x[1], p2 = x[2], q2 = x[3];
    const double f[4] = {p1 + p2 - a, q1 + q2 + p1 * p2 - b, p1 * q2 + p2 * q1 - c, q1 * q2 - d};
    const double scale[4] = {std::fabs(p1) + std::fabs(p2) + std::fabs(a),
                             std::fabs(q1) + std::fabs(q2) + std::fabs(p1 * p2) + std::fabs(b),
                             std::fabs(p1 * q2) + std::fabs(p2 * q1) + std::fabs(c),
                             std::fabs(q1 * q2) + std::fabs(d)};
    // d f / d (p1, q1, p2, q2)
    const double jac[4][4] = {{1, 0, 1, 0}, {p2, 1, p1, 1}, {q2, p2, q1, p1}, {0, q2, 0, q1}};
    double total = 0.0;
    for (int i = 0; i < 4; ++i) {
        const double s = scale[i] > 0.0 ? 1.0 / scale[i] : 1.0;
        total += std::fabs(f[i]) * s;
        if (rows) {
            for (int j = 0; j < 4; ++j) rows[i][j] = jac[i][j] * s;
            rows[i][4] = -f[i] * s;
        }
    }
    return total;
}

void refineFactors(double a, double b, double c, double d, double& p1, double& q1, double& p2, double& q2) {
    double x[4] = {p1, q1, p2, q2};
    double m[4][5];
    double residual = factorResidual(a, b, c, d, x, m);
    for (int it = 0; it < 4 && residual > 0.0 && std::isfinite(residual); ++it) {
        // Gaussian elimination with partial pivoting; a singular system (factors sharing a
        // root) ends the refinement.
        bool singular = false;
        for (int col = 0; col < 4 && !singular; ++col) {
            int pivot = col;
            for (int r = col + 1; r < 4; ++r)
                if (std::fabs(m[r][col]) > std::fabs(m[pivot][col])) pivot = r;
            if (m[pivot][col] == 0.0) {
                singular = true;
                break;
            }
            for (int k = 0; k < 5; ++k) std::swap(m[col][k], m[pivot][k]);
            for (int r = col + 1; r < 4; ++r) {
                const double factor = m[r][col] / m[col][col];
                for (int k = col; k < 5; ++k) m[r][k] -= factor * m[col][k];
            }
        }
        if (singular) break;
        double step[4];
        for (int r = 3; r >= 0; --r) {
            double sum = m[r][4];
            for (int k = r + 1; k < 4; ++k) sum -= m[r][k] * step[k];
            step[r] = sum / m[r][r];
        }
        double trial[4];
        for (int k = 0; k < 4; ++k) trial[k] = x[k] + step[k];
        double next[4][5];
        const double trialResidual = factorResidual(a, b, c, d, trial, next);
        if (!(trialResidual < residual)) break;
        std::copy(trial, trial + 4, x);
        std::copy(&next[0][0], &next[0][0] + 20, &m[0][0]);
        residual = trialResidual;
    }
    p1 = x[0];
    q1 = x[1];
    p2 = x[2];
    q2 = x[3];
}

int shelfTilt(bool high, double gainDb, AnalogueSection* out) {
    const double v = std::pow(10.0, (high ? gainDb : -gainDb) * 0.05);
    out[0] = makeSection(v, 1, 0, 1, v, 0);
    return 1;
}

}  // namespace

double peakQLaw(int32_t subtype, double& A, double q, double P) {
    switch (subtype) {
    case kPeakOndelane: {
        // With k = A or 1/A (whichever is <= 1), w is a root of w^2 + v w + 1 = 0, so
        // 2 - (w^2 + 1) / w = 2 + v = (1 - 1/k^2) / Q^2 exactly and the law reduces to
        // Q sqrt((1 - 1/m^2) / (1 - 1/k^2)). Written with expm1 because the literal form
        // cancels catastrophically at gains of a small fraction of a dB.
        const double L = std::fabs(std::log(A));
        if (L == 0.0) return q;
        return q * std::sqrt(std::expm1(2.0 * L / P) / std::expm1(2.0 * L));
    }
    case kPeak550: {
        if (A == 1.0) return q;
        const double b = A > 1.0 ? A * A : 1.0 / (A * A);
        return q * std::sqrt((b - 1.0) / b);
    }
    case kPeakOx1:
    case kPeakOx2:
    case kPeakOx3:
    case kPeakOx4: {
        const double B = A * A;
        double v;
        if (subtype == kPeakOx3) {
            v = std::pow(B, 0.83205);
        } else if (subtype == kPeakOx2) {
            q *= 0.13;
            if (B >= 2.0)
                v = 1.4144271570014144;
            else if (B > 1.0)
                v = 0.4143 * B + 0.5857;
            else if (B > 0.5)
                v = 0.586 * B + 0.414;
            else
                v = 0.707;
        } else {
            const bool ox1 = subtype == kPeakOx1;
            if (B >= 2.0)
                v = 0.707 * B;
            else if (B > 1.0)
                v = 0.4143 * B + 0.5857;
            else if (B > 0.5)
                v = 0.586 * B + 0.414;
            else
                v = ox1 ? B / 0.707 : 0.707;
        }
        const double c = 2.0 * q / (std::sqrt(4.0 * q * q + 1.0) + 1.0);
        const double v2 = v * v;
        const double D = (c * c - 1.0) * (c * c - 1.0) * B * (v2 - 1.0);
        if (D == 0.0) return 1.0;
        return std::sqrt((B * B - v2) * c * c / D);
    }
    case kPeak88: {
        const double x = 40.0 * std::log10(A);
        const double x2 = x * x;
        return kSqrt2 * q *
               ((x2 * -4.642999971082878e-7 + 0.001954323359096404) * x2 + 0.6672507222170061);
    }
    case kPeak32: {
        const double b = A * A;
        const double u = 0.68313 / (kSqrt2 * q);
        const double t = 2.0 / u;
        const double c = 9.7006e7;
        double r = 5530.0;
        if (std::fabs(b - 1.0) > 0.001) {
            const double h = ((1.0 - b) * 10660.0 * u + 19760.0 * t - 1560.0 * b * t) /
                             (2.0 * (b - 1.0) * (t + u));
            const double sign = b > 1.0 ? 1.0 : -1.0;
            r = sign * std::sqrt(h * h - ((1.0 - b) * u - t * b) * c / ((t + u) * (b - 1.0))) - h;
        }
        const double e = 10660.0 - r;
        const double g = e * r + c;
        const double i = (r - 9100.0) * e + c;
        const double o = (r + 9100.0) * t * e / g + u;
        return 1.0 / std::sqrt((i * t / g + u) * o);
    }
    case kPeak110: {
        const double g = clamp01(1.0 - ((40.0 * std::log(A) / std::log(10.0)) + 18.0) / 36.0);
        const double y = 5.0 * clamp01(1.0 - (q - 0.1) / 49.9);
        const double e = 1.0 - g;
        const double d = 22.0 * g * e + 11.0;
        const double m = (y + 1.2) * 8.2 / ((y + 9.399999999999999) * 1.2) * 0.3829787234042553;
        const double o = 18.0 * (m * 2.611111111111111 * 36.2 / 42.0 + 0.41333333333333333);
        const double a = e * o / d;
        const double b = o * g / d;
        A = std::sqrt(std::fabs((a + m) / (b + m)));
        return std::sqrt(1.0 / std::fabs((b + m) * (a + m)));
    }
    default:
        return q;
    }
}

int peakSections(int32_t type, int32_t subtype, double gainDb, double q, double shift,
                 AnalogueSection* out) {
    // A subtype outside the family designs as unity, as for the other families.
    if (subtype < 0 || subtype >= kPeakSubtypeCount) return unity(out);
    if (type != kEQBandPass) {
        switch (subtype) {
        case kPeakFlatTop: return flatTopPeak(gainDb, q, shift, out);
        case kPeakButterworth: return butterworthPeak(gainDb, q, out);
        case kPeak4kg: return peak4kg(gainDb, q, out);
        case kPeak250: return peak250(gainDb, q, out);
        default: break;
        }
    }
    double A = std::pow(10.0, gainDb / 40.0);
    double qe;
    if (subtype == kPeakEE) {
        qe = q / A;
    } else {
        const double P = std::pow(10.0, -shift * 0.12 / 20.0);
        qe = peakQLaw(subtype, A, q, P);
    }
    if (type == kEQBandPass)
        out[0] = makeSection(0, A * A / qe, 0, 1, 1.0 / qe, 1);
    else
        out[0] = makeSection(1, A / qe, 1, 1, 1.0 / (A * qe), 1);
    return 1;
}

int shelfSections(bool high, int32_t subtype, double gainDb, double q, double shift,
                  double frequency, AnalogueSection* out) {
    switch (subtype) {
    case kShelfOndelane: return shelfOndelane(high, gainDb, q, shift, out);
    case kShelf4kg: return high ? shelf4kgHigh(gainDb, frequency, out) : shelf4kgLow(gainDb, frequency, out);
    case kShelf110: return high ? shelf110High(gainDb, frequency, out) : shelf110Low(gainDb, frequency, out);
    case kShelf550: return shelf550(high, gainDb, frequency, out);
    case kShelfPultecBoost: return shelfPultec(high, true, gainDb, q, shift, frequency, out);
    case kShelfPultecCut: return shelfPultec(high, false, gainDb, q, shift, frequency, out);
    case kShelfFirstOrder: return shelfFirstOrder(high, gainDb, out);
    case kShelfTilt: return shelfTilt(high, gainDb, out);
    default: return unity(out);
    }
}

void factorQuartic(const double c[5], double& p1, double& q1, double& p2, double& q2) {
    const double a = c[1] / c[0];
    const double b = c[2] / c[0];
    const double cc = c[3] / c[0];
    const double d = c[4] / c[0];
    const double h = a / 4.0;
    const double a2 = a / 2.0;
    // Depressed quartic z^4 + p z^2 + q z + r with x = z - h.
    const double p = b - 1.5 * a2 * a2;
    const double q = (a2 * a2 - b) * a2 + cc;
    const double r = ((-3.0 * h * h + b) * h - cc) * h + d;

    // Resolvent y^3 + k2 y^2 + k1 y + k0 = 0; its largest real root is >= 0 because the
    // cubic is -q^2 <= 0 at y = 0.
    const double k2 = 2.0 * p;
    const double k1 = p * p - 4.0 * r;
    const double k0 = -q * q;
    const double Q = (3.0 * k1 - k2 * k2) / 9.0;
    const double R = (9.0 * k2 * k1 - 27.0 * k0 - 2.0 * k2 * k2 * k2) / 54.0;
    const double disc = Q * Q * Q + R * R;
    double y;
    if (disc < 0.0) {
        // Three real roots (Q < 0 here): the k = 0 one of the trigonometric form is the largest.
        const double th = std::acos(std::clamp(R / std::sqrt(-Q * Q * Q), -1.0, 1.0));
        y = 2.0 * std::sqrt(-Q) * std::cos(th / 3.0) - k2 / 3.0;
    } else {
        // One real root. S T = -Q, so T is formed from S to avoid the cancellation in R - sqrt.
        const double S = std::cbrt(R + std::copysign(std::sqrt(disc), R));
        const double T = S != 0.0 ? -Q / S : 0.0;
        y = S + T - k2 / 3.0;
    }
    // A couple of Newton steps recover the digits the closed forms lose near a double root.
    for (int it = 0; it < 3; ++it) {
        const double fy = ((y + k2) * y + k1) * y + k0;
        const double dy = (3.0 * y + 2.0 * k2) * y + k1;
        if (dy == 0.0) break;
        const double yn = y - fy / dy;
        const double fn = ((yn + k2) * yn + k1) * yn + k0;
        if (!(std::fabs(fn) < std::fabs(fy))) break;
        y = yn;
    }
    y = std::max(y, 0.0);

    const double t = std::sqrt(y);
    const double v = y + p;
    // z^4 + p z^2 + q z + r = (z^2 + t z + (v - u)/2)(z^2 - t z + (v + u)/2).
    // When t = 0 the quartic is biquadratic (q = 0) and u comes from the product instead.
    const double u = t > 0.0 ? q / t : std::sqrt(std::max(0.0, v * v - 4.0 * r));
    p1 = 2.0 * h + t;
    q1 = (v - u) / 2.0 + (t + h) * h;
    p2 = 2.0 * h - t;
    q2 = (u + v) / 2.0 + (h - t) * h;
    // When the roots spread over decades the smaller factor's terms come out of differences of
    // much larger ones. Newton steps on the product itself win those digits back; a step is
    // kept only if it lowers the residual, each equation measured against its own terms.
    refineFactors(a, b, cc, d, p1, q1, p2, q2);
}

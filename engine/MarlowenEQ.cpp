// The s-to-z designer: each analogue section is matched in closed form at its reference points
// and at Nyquist, then refined toward the analogue magnitude on a fixed logarithmic grid.

#include "MarlowenEQ.h"

#include <algorithm>
#include <cmath>
#include <complex>

namespace {

constexpr double kTolerance = 1e-5;

// Refinement settings by kind of section.
struct MatcherMode {
    double tolerance; // error below which no search runs
    int iterations;
    double limit;     // a result at or above this error is thrown away; negative: no limit
};

constexpr MatcherMode kMatcherModes[5] = {
    {1e-8, 10, 1.0},   // 0: first order, band pass, notch
    {0, 100, -1},      // 1: low pass
    {1e-18, 50, 1.0},  // 2: peak
    {1e-18, 10, 1.0},  // 3: general (shelves)
    {1e-10, 100, 1.0}, // 4: high pass
};

constexpr int kNoMatcher = -1;

// Poles closer to the unit circle than this are treated as lying on it. Real designs stay far
// inside: a 10 Hz corner at 192 kHz with Q 50 is still 3e-6 away.
constexpr double kPoleMargin = 1e-9;

double sectionMagnitude(const AnalogueSection& s, double omega) {
    std::complex<double> num, den;
    evaluateSection(s, omega, num, den);
    if (den == 0.0) return num == 0.0 ? 1 : 0;
    return std::abs(num) / std::abs(den);
}

// (b0 + b1 z^-1 + b2 z^-2) / (1 + a1 z^-1 + a2 z^-2) minus 1.
void subtractOne(DigitalSection& d) {
    d.b0 -= 1;
    d.b1 -= d.a1;
    d.b2 -= d.a2;
}

// The section with numerator and denominator exchanged, renormalised to a leading 1.
DigitalSection reciprocal(const DigitalSection& d) {
    return {1 / d.b0, d.a1 / d.b0, d.a2 / d.b0, d.b1 / d.b0, d.b2 / d.b0};
}

AnalogueSection reciprocal(const AnalogueSection& s) {
    return {s.d2, s.d1, s.d0, s.n2, s.n1, s.n0};
}

double poleRadius(const DigitalSection& d) {
    const std::complex<double> root = std::sqrt(std::complex<double>(d.a1 * d.a1 - 4 * d.a2));
    return std::max(std::abs((-d.a1 + root) / 2.0), std::abs((-d.a1 - root) / 2.0));
}

// Finite and safely inside the unit circle.
bool usable(const DigitalSection& d) {
    return isFinite(d) && poleRadius(d) < 1 - kPoleMargin;
}

// A flipped section gets its poles from the zeros the search left, which nothing keeps inside:
// reflect them and take the factor back out of the numerator, so the magnitude is unchanged.
void reflectPoles(DigitalSection& d) {
    const double factor = reflectPolesInside(d.a1, d.a2);
    d.b0 /= factor;
    d.b1 /= factor;
    d.b2 /= factor;
}

// Plain bilinear transform warped at the section's natural frequency, kept below Nyquist.
DigitalSection warpedAtNatural(const AnalogueSection& s, double fallbackHz, double fs) {
    double fw = (s.d2 != 0 && s.d0 != 0) ? std::sqrt(std::fabs(s.d0 / s.d2)) / kTwoPi
                                         : fallbackHz;
    fw = std::min(fw, 0.45 * fs);
    return bilinearWarped(s, fw, fs);
}

} // namespace

void MarlowenEQ::design() {
    if (type == kEQNone || off) {
        flat = 1;
        sectionCount = 1;
        setIdentity(false);
        return;
    }
    if (dirty) {
        analogueSections(&sections, false);
        dirty = 0;
        designPending = 1;
    }
    if (!designPending) return;
    designPending = 0;

    // Work in rad/s from here on.
    AnalogueSectionSet local = sections;
    sectionCount = local.count;
    const double twoPi2 = kTwoPi * kTwoPi;
    for (int i = 0; i < local.count; ++i) {
        AnalogueSection& s = local.sections[i];
        s.n1 *= kTwoPi;
        s.d1 *= kTwoPi;
        s.n0 *= twoPi2;
        s.d0 *= twoPi2;
    }
    DigitalSection output[kMaxSections];
    for (DigitalSection& d : output) d = DigitalSection{0, 0, 0, 0, 0};
    bool allFlat = true;

    const double fs = sampleRate;
    const double bandHz = frequency;
    const bool bilinearOnly = (type == kEQHighPass || type == kEQLowPass) &&
                              (subtype == kCutElliptic || subtype == kCutAllpass);

    for (int i = 0; i < local.count; ++i) {
        AnalogueSection s = local.sections[i];
        DigitalSection& out = output[i];

        // These two families depend on exact pole-zero placement, which the bilinear transform
        // keeps; their cramping near Nyquist is left to the corrective FIR. No family produces
        // d2 = 0 elsewhere, but such a section could not be normalised below.
        if (bilinearOnly || s.d2 == 0) {
            out = warpedAtNatural(s, bandHz, fs);
            allFlat = false;
            continue;
        }

        s.n2 /= s.d2;
        s.n1 /= s.d2;
        s.n0 /= s.d2;
        s.d1 /= s.d2;
        s.d0 /= s.d2;
        s.d2 = 1;

        int mode = kNoMatcher;
        bool inverted = false;
        if (s.n0 == 0 && s.d0 == 0 && s.d1 != 0) {
            out = matchFirstOrder(fs, std::fabs(s.d1) / kTwoPi, s.n2, s.n1 / s.d1);
            allFlat = false;
            mode = 0;
        } else if (s.n0 == 0 && s.d0 == 0 && s.d1 == 0) {
            out = DigitalSection{s.n2, 0, 0, 0, 0};
            // Unity keeps the band alive, any other gain lets it go flat. Only unity gains
            // come out of the families, so the asymmetry never bites.
            allFlat = s.n2 != 1;
        } else if (std::fabs(s.n0 - s.d0 * s.n2) < kTolerance && s.d1 * s.n1 > 0 &&
                   std::fabs(s.n2) > kTolerance) {
            const double m = s.n1 / s.n2;
            const double gainDb = 20 * std::log10(m / s.d1);
            if (std::fabs(gainDb) > 0.01) allFlat = false;
            // A flat bell with nothing before it: the band goes to identity, so skip it.
            if (allFlat) continue;
            const double w = std::sqrt(s.d0);
            out = matchPeak(fs, gainDb, w / kTwoPi, w / std::sqrt(s.d1 * m));
            out.b0 *= s.n2;
            out.b1 *= s.n2;
            out.b2 *= s.n2;
            mode = 2;
        } else if (s.n0 == 0 && s.n2 == 0) {
            // Band pass as a bell minus 1.
            const double u = s.d1 + s.n1, w = std::sqrt(s.d0);
            out = matchPeak(fs, 20 * std::log10(u / s.d1), w / kTwoPi, w / std::sqrt(u * s.d1));
            subtractOne(out);
            allFlat = false;
            mode = 0;
        } else if (s.n1 == 0 && s.n2 != 0 && s.n0 != 0) {
            // A -120 dB bell with its width scaled down stands in for the true zero.
            const double w = std::sqrt(s.d0);
            out = matchPeak(fs, -120, w / kTwoPi, w / (0.001 * s.d1));
            allFlat = false;
            mode = 0;
        } else if (s.n1 == 0 && s.n2 == 0) {
            const double w = std::sqrt(s.d0);
            out = matchLowPass(fs, w / kTwoPi, std::fabs(1 / (s.d1 / w)));
            const double k = s.n0 / s.d0;
            out.b0 *= k;
            out.b1 *= k;
            out.b2 *= k;
            allFlat = false;
            mode = 1;
        } else if (s.n0 == 0 && s.n1 == 0) {
            const double w = std::sqrt(s.d0);
            out = matchHighPass(fs, w / kTwoPi, std::fabs(1 / (s.d1 / w)));
            out.b0 *= s.n2;
            out.b1 *= s.n2;
            out.b2 *= s.n2;
            allFlat = false;
            mode = 4;
        } else {
            out = matchGeneral(fs, s, &inverted);
            const bool shelf = type == kEQLowShelf || type == kEQHighShelf;
            if (shelf && !(std::fabs(gain) > 0.01)) {
                // A shelf this close to 0 dB is flat by its setting, whatever its model does.
                if (inverted) out = reciprocal(out);
                continue;
            }
            allFlat = false;
            mode = 3;
        }

        if (mode == kNoMatcher) continue;

        // With the section's reference point at or above Nyquist a closed form can put a pole
        // on the unit circle; the search then starts from the plain bilinear design instead.
        const AnalogueSection designed = inverted ? reciprocal(s) : s;
        if (!usable(out)) out = warpedAtNatural(designed, bandHz, fs);

        double targets[kMatchPoints];
        for (int k = 0; k < kMatchPoints; ++k) {
            // Grid point k is in radians per sample, so fs t_k is in rad/s.
            const double m = sectionMagnitude(s, fs * matcher.gridPoint(k));
            targets[k] = inverted ? 1 / m : m;
        }
        // Zeros the analogue section has at DC stay at z = 1 through the search.
        int dcZeros = 0;
        if (s.n0 == 0 && s.d0 == 0)
            dcZeros = s.n1 == 0 ? 1 : 0;
        else if (s.n0 == 0)
            dcZeros = s.n1 == 0 ? 2 : 1;
        const MatcherMode& mm = kMatcherModes[mode];
        matcher.refine(out, targets, mm.limit, mm.iterations, mm.tolerance, dcZeros);
        if (inverted) {
            out = reciprocal(out);
            reflectPoles(out);
        }
        if (!usable(out)) out = warpedAtNatural(s, bandHz, fs);
        if (parallel) subtractOne(out);
    }

    if (allFlat) {
        flat = 1;
        setIdentity(false);
    } else {
        flat = 0;
        double coefficients[5 * kMaxSections];
        for (int i = 0; i < kMaxSections; ++i) {
            const DigitalSection& d = output[i];
            double* c = coefficients + 5 * i;
            c[0] = d.b0, c[1] = d.b1, c[2] = d.b2, c[3] = d.a1, c[4] = d.a2;
        }
        setCoefficients(coefficients, local.count);
    }
}

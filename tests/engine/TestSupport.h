#pragma once
// Independent evaluators and small builders shared by the engine tests.

#include <cmath>
#include <complex>

#include "MarlowenEQ.h"

namespace testing_support {

using cplx = std::complex<double>;

// Response of an analogue section set at f Hz, written out from the section layout.
inline cplx analogueResponse(const AnalogueSectionSet& set, double f) {
    const cplx s(0, f);
    cplx h = 1;
    for (int i = 0; i < set.count; ++i) {
        const AnalogueSection& a = set.sections[i];
        if (a.n0 != 0 || a.d0 != 0)
            h *= (a.n2 * s * s + a.n1 * s + a.n0) / (a.d2 * s * s + a.d1 * s + a.d0);
        else if (a.n1 != 0 || a.d1 != 0)
            h *= (a.n2 * s + a.n1) / (a.d2 * s + a.d1);
        else
            h *= a.n2 / a.d2;
    }
    return h;
}

inline double db(double m) { return 20 * std::log10(m); }

// Response of digital sections at f Hz, from the transfer function in z^-1.
inline cplx digitalResponse(const double* c, int count, double f, double fs) {
    const cplx z1 = std::polar(1.0, -kTwoPi * f / fs);
    cplx h = 1;
    for (int i = 0; i < count; ++i) {
        const double* s = c + 5 * i;
        h *= (s[0] + s[1] * z1 + s[2] * z1 * z1) / (1.0 + s[3] * z1 + s[4] * z1 * z1);
    }
    return h;
}

// Largest pole radius of 1 + a1 z^-1 + a2 z^-2.
inline double poleRadius(double a1, double a2) {
    const cplx disc = std::sqrt(cplx(a1 * a1 - 4 * a2));
    return std::max(std::abs((-a1 + disc) / 2.0), std::abs((-a1 - disc) / 2.0));
}

struct BandSettings {
    int32_t type = kEQPeak;
    int32_t subtype = 0;
    float frequency = 1000;
    float gain = 0;
    float q = 0.707f;
    float shift = 0;
    int32_t order = 2;
    float rate = 48000;
};

inline void applySettings(EQ& band, const BandSettings& s) {
    band.setSampleRate(s.rate);
    band.setType(s.type);
    band.setSubtype(s.subtype);
    band.setFrequency(s.frequency);
    band.setGain(s.gain);
    band.setQ(s.q);
    band.setShift(s.shift);
    band.setOrder(s.order);
    band.setOff(0);
}

inline AnalogueSectionSet sectionsOf(const BandSettings& s) {
    MarlowenEQ band;
    applySettings(band, s);
    AnalogueSectionSet set;
    band.analogueSections(&set, false);
    return set;
}

} // namespace testing_support

#pragma once
// Shared value types of the filter designer: s-domain and z-domain biquads.

#include <cmath>
#include <complex>

// One s-domain biquad (n2 s^2 + n1 s + n0) / (d2 s^2 + d1 s + d0). A first-order
// section uses the same places shifted down, (n2 s + n1) / (d2 s + d1); a pure gain is n2 / d2.
struct AnalogueSection {
    double n2 = 1, n1 = 0, n0 = 0, d2 = 1, d1 = 0, d0 = 0;
};

enum SectionOrder { kSectionGain = 0, kSectionFirst = 1, kSectionSecond = 2 };

// The order is read off the low places: any non-zero n0/d0 makes it second order.
inline SectionOrder sectionOrder(const AnalogueSection& s) {
    if (s.n0 != 0 || s.d0 != 0) return kSectionSecond;
    if (s.n1 != 0 || s.d1 != 0) return kSectionFirst;
    return kSectionGain;
}

// Numerator and denominator at s = j w, by the section's order.
inline void evaluateSection(const AnalogueSection& s, double w, std::complex<double>& num,
                            std::complex<double>& den) {
    switch (sectionOrder(s)) {
    case kSectionSecond:
        num = {s.n0 - s.n2 * w * w, s.n1 * w};
        den = {s.d0 - s.d2 * w * w, s.d1 * w};
        break;
    case kSectionFirst:
        num = {s.n1, s.n2 * w};
        den = {s.d1, s.d2 * w};
        break;
    default:
        num = {s.n2, 0};
        den = {s.d2, 0};
        break;
    }
}

constexpr int kMaxSections = 4;

struct AnalogueSectionSet {
    AnalogueSection sections[kMaxSections];
    int count = 1;
};

// |H| of a section set at f. Where the denominator vanishes it is 1 if the numerator does too,
// else 0.
inline double sectionsMagnitude(const AnalogueSectionSet& set, double f) {
    double num = 1, den = 1;
    for (int i = 0; i < set.count; ++i) {
        std::complex<double> n, d;
        evaluateSection(set.sections[i], f, n, d);
        num *= std::norm(n);
        den *= std::norm(d);
    }
    return den == 0 ? (num == 0 ? 1 : 0) : std::sqrt(num / den);
}

// arg H of a section set at f, as the sum of the sections' phases.
inline double sectionsPhase(const AnalogueSectionSet& set, double f) {
    double sum = 0;
    for (int i = 0; i < set.count; ++i) {
        std::complex<double> n, d;
        evaluateSection(set.sections[i], f, n, d);
        sum += std::atan2(d.real() * n.imag() - d.imag() * n.real(), d.imag() * n.imag() + d.real() * n.real());
    }
    return sum;
}

// (b0 + b1 z^-1 + b2 z^-2) / (1 + a1 z^-1 + a2 z^-2)
struct DigitalSection {
    double b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0;
};

inline bool isFinite(const DigitalSection& d) {
    return std::isfinite(d.b0) && std::isfinite(d.b1) && std::isfinite(d.b2) &&
           std::isfinite(d.a1) && std::isfinite(d.a2);
}

constexpr double kPi = 3.14159265358979323846;
constexpr double kTwoPi = 2 * kPi;

#include "EQ.h"

#include <cmath>
#include <complex>

#include "CutFamilies.h"
#include "PeakShelfModels.h"

namespace {

const char* const kPeakLabels[] = {"Ondelane", "4kg", "Ox1", "Ox2", "Ox3", "Ox4", "110",
                                   "550", "88", "32", "EE", "FlatTop", "Butterworth", "250"};
const char* const kCutLabels[] = {"Ondelane", "Coincident", "Butterworth", "Chebyshev", "Bessel",
                                  "Critical", "Legendre", "Elliptic", "Allpass", "Harmonics"};
const char* const kShelfLabels[] = {"Ondelane", "4kg", "110", "550", "Pultec Boost",
                                    "Pultec Cut", "First Order", "Tilt"};

template <typename T> bool store(T& field, T v, uint8_t& dirty) {
    if (field == v) return false;
    field = v;
    dirty = 1;
    return true;
}
template <typename T> bool store(Relaxed<T>& field, T v, uint8_t& dirty) {
    if (field.load() == v) return false;
    field.store(v);
    dirty = 1;
    return true;
}

bool isCut(int32_t type) { return type == kEQHighPass || type == kEQLowPass; }
bool isShelf(int32_t type) { return type == kEQLowShelf || type == kEQHighShelf; }

} // namespace

const char* const* subtypeLabels(int32_t type, int32_t* count) {
    if (type == kEQPeak || type == kEQBandPass) {
        *count = kPeakSubtypeCount;
        return kPeakLabels;
    }
    if (isCut(type)) {
        *count = kCutSubtypeCount;
        return kCutLabels;
    }
    if (isShelf(type)) {
        *count = kShelfSubtypeCount;
        return kShelfLabels;
    }
    *count = 0;
    return nullptr;
}

void EQ::setSampleRate(float rate) {
    store(sampleRate, rate, dirty);
    clearState();
}

bool EQ::setOff(int32_t v) { return store(off, v, dirty); }
bool EQ::setType(int32_t v) { return store(type, v, dirty); }
bool EQ::setSubtype(int32_t v) { return store(subtype, v, dirty); }
bool EQ::setFrequency(float v) { return store(frequency, v, dirty); }
bool EQ::setOrder(int32_t v) { return store(order, v, dirty); }
bool EQ::setGain(float v) { return store(gain, v, dirty); }
bool EQ::setQ(float v) { return store(q, v, dirty); }
bool EQ::setShift(float v) { return store(shift, v, dirty); }
bool EQ::setPhase(float v) { return store(phase, v, dirty); }
bool EQ::setParallel(uint8_t v) { return store(parallel, v, dirty); }

float EQ::getEffectiveQ() const {
    if (type != kEQPeak && type != kEQBandPass) return q;
    double A = std::pow(10.0, gain / 40.0);
    if (subtype == kPeakEE) return float(q / A);
    double P = std::pow(10.0, -shift * 0.12 / 20.0);
    return float(peakQLaw(subtype, A, q, P));
}

int32_t EQ::getControlMask() const {
    const int32_t base = kControlGain | kControlFrequency;
    switch (type) {
    case kEQPeak:
        if (subtype == kPeakOndelane || subtype == kPeakFlatTop)
            return base | kControlQ | kControlShift;
        return base | kControlQ;
    case kEQNotch:
        return kControlFrequency | kControlQ;
    case kEQHighPass:
    case kEQLowPass:
        if (subtype == kCutOndelane || subtype == kCutChebyshev || subtype == kCutElliptic ||
            subtype == kCutAllpass || subtype == kCutHarmonics)
            return kControlFrequency | kControlQ | kControlSlope;
        return kControlFrequency | kControlSlope;
    case kEQLowShelf:
    case kEQHighShelf:
        if (subtype == kShelfOndelane) return base | kControlQ | kControlShift;
        if (type == kEQHighShelf && subtype == kShelfPultecBoost) return base | kControlQ;
        if (type == kEQLowShelf && (subtype == kShelfPultecBoost || subtype == kShelfPultecCut))
            return base | kControlShift;
        return base;
    default:
        return kControlFrequency;
    }
}

const char* EQ::getShiftLabel() const {
    if (type == kEQPeak && subtype == kPeakOndelane) return "GAIN->Q";
    if (type == kEQPeak && subtype == kPeakFlatTop) return "SOFTEN";
    if (isShelf(type) && subtype == kShelfOndelane) return "SHIFT";
    // On the low Pultec shelves the shift knob is the other half of the pair.
    if (type == kEQLowShelf && subtype == kShelfPultecBoost) return "CUT";
    if (type == kEQLowShelf && subtype == kShelfPultecCut) return "BOOST";
    return "";
}

void EQ::analogueSections(AnalogueSectionSet* out, bool evenIfOff) const {
    AnalogueSection* s = out->sections;
    if (off != 0 && !evenIfOff) {
        s[0] = AnalogueSection{};
        out->count = 1;
        return;
    }
    if (type < kEQNone || type > kEQAllPass) {
        out->count = 0;
        return;
    }
    int count = 1;
    switch (type) {
    case kEQNone:
        s[0] = AnalogueSection{};
        break;
    case kEQHighPass:
    case kEQLowPass: {
        count = cutFamilySections(subtype, order, q, s);
        if (type == kEQHighPass) {
            // s -> 1/s turns the low-pass prototype into a high pass.
            for (int i = 0; i < count; ++i) {
                AnalogueSection& c = s[i];
                if (sectionOrder(c) == kSectionSecond) {
                    std::swap(c.n2, c.n0);
                    std::swap(c.d2, c.d0);
                } else {
                    std::swap(c.n2, c.n1);
                    std::swap(c.d2, c.d1);
                }
            }
        }
        const int pairs = order / 2;
        if (gain != 0 && pairs >= 1) {
            const double k = std::pow(10.0, gain / (20.0 * pairs));
            for (int i = 0; i < count; ++i) {
                if (sectionOrder(s[i]) != kSectionSecond) continue;
                s[i].n2 *= k;
                s[i].n1 *= k;
                s[i].n0 *= k;
            }
        }
        break;
    }
    case kEQLowShelf:
    case kEQHighShelf:
        count = shelfSections(type == kEQHighShelf, subtype, gain, q, shift, frequency, s);
        break;
    case kEQPeak:
    case kEQBandPass:
        count = peakSections(type, subtype, gain, q, shift, s);
        break;
    case kEQNotch:
        s[0] = {1, 0, 1, 1, 1.0 / q, 1};
        break;
    case kEQAllPass: {
        const float inv = 1.0f / q; // formed in single precision on purpose
        s[0] = {1, -inv, 1, 1, inv, 1};
        break;
    }
    }
    const double f = frequency;
    for (int i = 0; i < count; ++i) {
        s[i].n1 *= f;
        s[i].d1 *= f;
        s[i].n0 *= f * f;
        s[i].d0 *= f * f;
    }
    out->count = count;
}

double EQ::analogueMagnitude(double f, bool evenIfOff) const {
    AnalogueSectionSet set;
    analogueSections(&set, evenIfOff);
    return sectionsMagnitude(set, f);
}

double EQ::analoguePhase(double f) const {
    AnalogueSectionSet set;
    analogueSections(&set, false);
    return sectionsPhase(set, f);
}

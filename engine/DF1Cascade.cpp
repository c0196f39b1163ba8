#include "DF1Cascade.h"

#include <atomic>
#include <cmath>
#include <complex>
#include <cstring>

namespace {

constexpr int kValues = 5; // b0, b1, b2, a1, a2

double* values(DigitalSection& s) { return &s.b0; }
const double* values(const DigitalSection& s) { return &s.b0; }

// Values whose biased exponent is below 2 are denormal or nearly so: flush them.
inline void flushTiny(double& v) {
    uint64_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    if (((bits >> 32) & 0x7fe00000u) == 0) v = 0;
}

// Sections shared between the designer's thread and the audio block are read and written
// value by value through relaxed atomic views: a block may see a half-written target, which
// the ramp carries to the final value, but never a torn double.
DigitalSection loadSection(const DigitalSection& s) {
    DigitalSection out;
    const double* from = values(s);
    double* to = values(out);
    for (int k = 0; k < kValues; ++k)
        to[k] = std::atomic_ref<const double>(from[k]).load(std::memory_order_relaxed);
    return out;
}

void storeValue(double& to, double v) { std::atomic_ref<double>(to).store(v, std::memory_order_relaxed); }

void storeSection(DigitalSection& to, const DigitalSection& from) {
    for (int k = 0; k < kValues; ++k) storeValue(values(to)[k], values(from)[k]);
}

} // namespace

DF1Cascade::DF1Cascade() { std::memset(state, 0, sizeof state); }

void DF1Cascade::clearState() { std::memset(state, 0, sizeof state); }

void DF1Cascade::setCoefficients(const double* sections, int32_t count) {
    if (count > kMaxSections) count = kMaxSections;
    bool changed = count != sectionCount;
    sectionCount = count;
    for (int i = 0; i < count; ++i) {
        double* t = values(target[i]);
        double* d = values(delta[i]);
        const DigitalSection cur = loadSection(current[i]);
        for (int k = 0; k < kValues; ++k) {
            const double v = sections[i * kValues + k];
            const double step = v - values(cur)[k];
            storeValue(t[k], v);
            storeValue(d[k], step * 0.001);
            changed |= step != 0;
        }
    }
    if (changed) rampCount = kRampLength;
}

int32_t DF1Cascade::getCoefficients(double* out) const {
    const int32_t count = sectionCount;
    for (int i = 0; i < count; ++i) {
        const DigitalSection t = loadSection(target[i]);
        std::memcpy(out + i * kValues, values(t), kValues * sizeof(double));
    }
    return count;
}

void DF1Cascade::setIdentity(bool immediate) {
    if (!immediate) {
        double identity[kMaxSections * kValues] = {};
        for (int i = 0; i < kMaxSections; ++i) identity[i * kValues] = 1;
        setCoefficients(identity, sectionCount);
        return;
    }
    for (int i = 0; i < kMaxSections; ++i) {
        storeSection(current[i], DigitalSection{});
        storeSection(target[i], DigitalSection{});
        storeSection(delta[i], DigitalSection{0, 0, 0, 0, 0});
    }
}

namespace {

// One section over the buffer. The ramp moves `current` toward `target`, landing on it
// exactly at r = 0; the idle path keeps coefficients and state in locals.
template <typename Sample, typename Store>
void runSection(Sample* buffer, int32_t count, double* st, DigitalSection& shared,
                const DigitalSection& sharedTarget, const DigitalSection& sharedDelta,
                int32_t rampCount, Store store) {
    double x1 = st[0], x2 = st[1], y1 = st[2], y2 = st[3];
    double r = rampCount;
    int32_t i = 0;
    DigitalSection cur = shared;
    if (r >= 0) {
        const DigitalSection tgt = loadSection(sharedTarget);
        const DigitalSection dl = loadSection(sharedDelta);
        for (; i < count && r >= 0; ++i) {
            cur.b0 = tgt.b0 - r * dl.b0;
            cur.b1 = tgt.b1 - r * dl.b1;
            cur.b2 = tgt.b2 - r * dl.b2;
            cur.a1 = tgt.a1 - r * dl.a1;
            cur.a2 = tgt.a2 - r * dl.a2;
            r -= 1;
            const double x = buffer[i];
            const double y = x * cur.b0 + x1 * cur.b1 + x2 * cur.b2 - y1 * cur.a1 - y2 * cur.a2;
            x2 = x1;
            x1 = x;
            y2 = y1;
            y1 = store(buffer[i], y);
        }
        storeSection(shared, cur);
    }
    const double b0 = cur.b0, b1 = cur.b1, b2 = cur.b2, a1 = cur.a1, a2 = cur.a2;
    for (; i < count; ++i) {
        const double x = buffer[i];
        const double y = x * b0 + x1 * b1 + x2 * b2 - y1 * a1 - y2 * a2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = store(buffer[i], y);
    }
    st[0] = x1;
    st[1] = x2;
    st[2] = y1;
    st[3] = y2;
}

} // namespace

int32_t DF1Cascade::steadyLanes(SectionLane* out) {
    for (int s = 0; s < sectionCount; ++s) {
        for (double& v : state[s]) flushTiny(v);
        out[s] = {&current[s], state[s]};
    }
    return sectionCount;
}

void DF1Cascade::processDouble(double* buffer, int32_t count) {
    if (flat && rampCount < 1) return;
    if (sectionCount < 1) {
        if (rampCount >= 0) rampCount = rampCount - count;
        return;
    }
    for (int s = 0; s < sectionCount; ++s) {
        for (double& v : state[s]) flushTiny(v);
        runSection(buffer, count, state[s], current[s], target[s], delta[s], rampCount,
                   [](double& out, double y) {
                       out = y;
                       return y;
                   });
    }
    if (rampCount >= 0) rampCount = rampCount - count;
}

void DF1Cascade::processFloat(float* buffer, int32_t count) {
    if ((flat || off) && rampCount < 1) return;
    if (sectionCount < 1) {
        if (rampCount >= 0) rampCount = rampCount - count;
        return;
    }
    for (int s = 0; s < sectionCount; ++s) {
        runSection(buffer, count, state[s], current[s], target[s], delta[s], rampCount,
                   [](float& out, double y) {
                       // Adding and taking away a tiny constant rounds denormals to zero.
                       // The output's constant is the single-precision one, so that the
                       // round trip lands on exactly 0 and not on its representation error.
                       const double held = y + 1e-30 - 1e-30;
                       constexpr float tiny = 1e-15f;
                       float o = float(y);
                       o = float(double(o) + double(tiny));
                       o = float(double(o) - double(tiny));
                       out = o;
                       return held;
                   });
    }
    if (rampCount >= 0) rampCount = rampCount - count;
}

double DF1Cascade::digitalMagnitude(double frequency) const {
    const double w = kTwoPi * frequency / sampleRate;
    const double c1 = std::cos(w), s1 = std::sin(w), c2 = std::cos(2 * w), s2 = std::sin(2 * w);
    double magnitude2 = 1;
    const int32_t count = sectionCount;
    for (int i = 0; i < count; ++i) {
        const DigitalSection t = loadSection(target[i]);
        const double nr = t.b0 * c2 + t.b1 * c1 + t.b2, ni = t.b0 * s2 + t.b1 * s1;
        const double dr = c2 + t.a1 * c1 + t.a2, di = s2 + t.a1 * s1;
        const double num = nr * nr + ni * ni, den = dr * dr + di * di;
        // The 0/0 guard goes section by section: a product of several small but proper
        // denominators (a steep high pass near DC) is no coincidence of pole and zero.
        if (den < 1e-20) {
            if (num >= 1e-20) return 0;
            continue;
        }
        magnitude2 *= num / den;
    }
    return std::sqrt(magnitude2);
}

void DF1Cascade::digitalResponse(double frequency, double* re, double* im) const {
    const double w = kTwoPi * frequency / sampleRate;
    const double c1 = std::cos(w), s1 = std::sin(w), c2 = std::cos(2 * w), s2 = std::sin(2 * w);
    std::complex<double> num = 1, den = 1;
    const int32_t count = sectionCount;
    for (int i = 0; i < count; ++i) {
        const DigitalSection t = loadSection(target[i]);
        num *= std::complex<double>(t.b0 * c2 + t.b1 * c1 + t.b2, t.b0 * s2 + t.b1 * s1);
        den *= std::complex<double>(c2 + t.a1 * c1 + t.a2, s2 + t.a1 * s1);
    }
    std::complex<double> h;
    if (std::norm(den) == 0)
        h = {num.real() == 0 ? 1.0 : 0.0, num.imag() == 0 ? 1.0 : 0.0};
    else
        h = num / den;
    if (re) *re = h.real();
    if (im) *im = h.imag();
}

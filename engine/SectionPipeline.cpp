#include "SectionPipeline.h"

namespace {

typedef double v2 __attribute__((vector_size(16)));

struct LaneState {
    v2 b0, b1, b2, a1, a2, x1, x2, y1, y2;

    void load(const SectionLane& l, const SectionLane& r) {
        const DigitalSection& cl = *l.coefficients;
        const DigitalSection& cr = *r.coefficients;
        b0 = v2{cl.b0, cr.b0};
        b1 = v2{cl.b1, cr.b1};
        b2 = v2{cl.b2, cr.b2};
        a1 = v2{cl.a1, cr.a1};
        a2 = v2{cl.a2, cr.a2};
        x1 = v2{l.state[0], r.state[0]};
        x2 = v2{l.state[1], r.state[1]};
        y1 = v2{l.state[2], r.state[2]};
        y2 = v2{l.state[3], r.state[3]};
    }
    void store(const SectionLane& l, const SectionLane& r) const {
        l.state[0] = x1[0], l.state[1] = x2[0], l.state[2] = y1[0], l.state[3] = y2[0];
        r.state[0] = x1[1], r.state[1] = x2[1], r.state[2] = y1[1], r.state[3] = y2[1];
    }
    inline v2 step(v2 x) {
        const v2 y = x * b0 + x1 * b1 + x2 * b2 - y1 * a1 - y2 * a2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        return y;
    }
};

void runOne(LaneState& s, double* l, double* r, int32_t n) {
    for (int32_t i = 0; i < n; ++i) {
        const v2 y = s.step(v2{l[i], r[i]});
        l[i] = y[0];
        r[i] = y[1];
    }
}

// Section a at sample i and section b at sample i - 1 are independent of each other.
void runTwo(LaneState& a, LaneState& b, double* l, double* r, int32_t n) {
    v2 previous = a.step(v2{l[0], r[0]});
    for (int32_t i = 1; i < n; ++i) {
        const v2 ya = a.step(v2{l[i], r[i]});
        const v2 yb = b.step(previous);
        l[i - 1] = yb[0];
        r[i - 1] = yb[1];
        previous = ya;
    }
    const v2 yb = b.step(previous);
    l[n - 1] = yb[0];
    r[n - 1] = yb[1];
}

} // namespace

void runStereoPipeline(const SectionLane* left, const SectionLane* right, int count, double* l,
                       double* r, int32_t samples) {
    if (samples <= 0) return;
    int k = 0;
    for (; k + 1 < count; k += 2) {
        LaneState a, b;
        a.load(left[k], right[k]);
        b.load(left[k + 1], right[k + 1]);
        runTwo(a, b, l, r, samples);
        a.store(left[k], right[k]);
        b.store(left[k + 1], right[k + 1]);
    }
    if (k < count) {
        LaneState a;
        a.load(left[k], right[k]);
        runOne(a, l, r, samples);
        a.store(left[k], right[k]);
    }
}

#include "SectionPipeline.h"

#include <algorithm>

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

typedef double v4 __attribute__((vector_size(32)));

// Two consecutive sections side by side in one AVX vector: lanes 0 and 1 hold the first
// section's left and right, lanes 2 and 3 the second's. Each lane runs exactly the scalar
// recurrence; no fused multiply-add is enabled, so the rounding stays that of the scalar loop.
__attribute__((target("avx"))) inline v4 join(v2 a, v2 b) { return v4{a[0], a[1], b[0], b[1]}; }
__attribute__((target("avx"))) inline v2 low(v4 a) { return v2{a[0], a[1]}; }
__attribute__((target("avx"))) inline v2 high(v4 a) { return v2{a[2], a[3]}; }

struct PairState {
    v4 b0, b1, b2, a1, a2, x1, x2, y1, y2;

    __attribute__((target("avx"))) void pack(const LaneState& p, const LaneState& q) {
        b0 = join(p.b0, q.b0), b1 = join(p.b1, q.b1), b2 = join(p.b2, q.b2);
        a1 = join(p.a1, q.a1), a2 = join(p.a2, q.a2);
        x1 = join(p.x1, q.x1), x2 = join(p.x2, q.x2), y1 = join(p.y1, q.y1), y2 = join(p.y2, q.y2);
    }
    __attribute__((target("avx"))) void unpack(LaneState& p, LaneState& q) const {
        p.x1 = low(x1), p.x2 = low(x2), p.y1 = low(y1), p.y2 = low(y2);
        q.x1 = high(x1), q.x2 = high(x2), q.y1 = high(y1), q.y2 = high(y2);
    }
    __attribute__((target("avx"))) inline v4 step(v4 x) {
        const v4 y = x * b0 + x1 * b1 + x2 * b2 - y1 * a1 - y2 * a2;
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
        return y;
    }
};

// Four consecutive sections as stages 0 to 3, stage s running sample i - s * kSkew at step i.
// A stage reads what the stage before it made kSkew steps earlier, so the two vectors (stages
// 0 and 1, stages 2 and 3) feed each other only through values long since computed and each
// vector waits on nothing but its own recurrence.
constexpr int32_t kSkew = 4;

__attribute__((target("avx"))) void runFour(LaneState* stage, double* l, double* r, int32_t n) {
    double ring[3][kSkew][2];
    // One stage at one step, for the steps where not every stage has a sample. Stages go from
    // last to first so that each reads its ring slot before the stage before refills it.
    const auto partialStep = [&](int32_t i) {
        for (int32_t s = 3; s >= 0; --s) {
            const int32_t j = i - s * kSkew;
            if (j < 0 || j >= n) continue;
            const int32_t slot = j & (kSkew - 1);
            const v2 x = s == 0 ? v2{l[j], r[j]} : v2{ring[s - 1][slot][0], ring[s - 1][slot][1]};
            const v2 y = stage[s].step(x);
            if (s == 3) {
                l[j] = y[0];
                r[j] = y[1];
            } else {
                ring[s][slot][0] = y[0];
                ring[s][slot][1] = y[1];
            }
        }
    };
    constexpr int32_t fill = 3 * kSkew;
    for (int32_t i = 0; i < fill; ++i) partialStep(i);
    if (n > fill) {
        PairState p, q;
        p.pack(stage[0], stage[1]);
        q.pack(stage[2], stage[3]);
        for (int32_t i = fill; i < n; ++i) {
            const int32_t slot = i & (kSkew - 1);
            double* r0 = ring[0][slot];
            double* r1 = ring[1][slot];
            double* r2 = ring[2][slot];
            const v4 yp = p.step(v4{l[i], r[i], r0[0], r0[1]});
            const v4 yq = q.step(v4{r1[0], r1[1], r2[0], r2[1]});
            r0[0] = yp[0], r0[1] = yp[1];
            r1[0] = yp[2], r1[1] = yp[3];
            r2[0] = yq[0], r2[1] = yq[1];
            l[i - fill] = yq[2];
            r[i - fill] = yq[3];
        }
        p.unpack(stage[0], stage[1]);
        q.unpack(stage[2], stage[3]);
    }
    for (int32_t i = std::max(n, fill); i < n + fill; ++i) partialStep(i);
}

bool hasAvx() {
    static const bool avx = __builtin_cpu_supports("avx");
    return avx;
}

} // namespace

void runStereoPipeline(const SectionLane* left, const SectionLane* right, int count, double* l,
                       double* r, int32_t samples) {
    if (samples <= 0) return;
    int k = 0;
    if (hasAvx()) {
        for (; k + 3 < count; k += 4) {
            LaneState stage[4];
            for (int s = 0; s < 4; ++s) stage[s].load(left[k + s], right[k + s]);
            runFour(stage, l, r, samples);
            for (int s = 0; s < 4; ++s) stage[s].store(left[k + s], right[k + s]);
        }
    }
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

#include "Fft.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

// Layout of the twiddle table w[0 .. nw), serving transforms of up to m = 2 nw complex points:
// the step for m points reads the m / 8 forward twiddles exp(-2 pi i k / m), k < m / 8, stored
// as (cos, -sin) pairs at w + nw - m / 2. The table for m / 2 points follows it, and so on
// down to 32 points; below that the kernels use constants. So the last nw' values of a table
// are exactly the table makewt(nw') would build, and a larger table serves smaller transforms.
// The other twiddles of a step come from these by symmetry: w^(m/4 - k) = -i conj(w^k), and
// w^3k is the cube.
//
// The bit-reversal table ip[2 ..] holds the reversals of L-bit numbers, L = floor(log2(m) / 2),
// which gives the reversal of any shorter width by a shift.

namespace {

// Complex values (re, im) in vector registers: v2 holds one, v4 two neighbours. The transform
// is compiled once for the base instruction set and once for AVX2 with FMA, where v4 fills a
// register; all these helpers are inlined, so their vector arguments never cross a call.
typedef double v2 __attribute__((vector_size(16)));
typedef double v4 __attribute__((vector_size(32)));

// Forced even in unoptimised builds, where calls to these one-line helpers would cost many
// times their work.
#define TESS_FFT_INLINE inline __attribute__((always_inline))

template <class V> TESS_FFT_INLINE V ld(const double* p) {
    V v;
    std::memcpy(&v, p, sizeof v);
    return v;
}
template <class V> TESS_FFT_INLINE void st(double* p, V v) { std::memcpy(p, &v, sizeof v); }

TESS_FFT_INLINE v2 swapParts(v2 a) { return __builtin_shufflevector(a, a, 1, 0); }
TESS_FFT_INLINE v4 swapParts(v4 a) { return __builtin_shufflevector(a, a, 1, 0, 3, 2); }
TESS_FFT_INLINE v2 realParts(v2 a) { return __builtin_shufflevector(a, a, 0, 0); }
TESS_FFT_INLINE v4 realParts(v4 a) { return __builtin_shufflevector(a, a, 0, 0, 2, 2); }
TESS_FFT_INLINE v2 imagParts(v2 a) { return __builtin_shufflevector(a, a, 1, 1); }
TESS_FFT_INLINE v4 imagParts(v4 a) { return __builtin_shufflevector(a, a, 1, 1, 3, 3); }
TESS_FFT_INLINE v4 reversed(v4 a) { return __builtin_shufflevector(a, a, 3, 2, 1, 0); }

// (re, im) sign pattern, repeated over the vector.
template <class V> TESS_FFT_INLINE V signs(double re, double im);
template <> TESS_FFT_INLINE v2 signs<v2>(double re, double im) { return v2{re, im}; }
template <> TESS_FFT_INLINE v4 signs<v4>(double re, double im) { return v4{re, im, re, im}; }

template <class V> TESS_FFT_INLINE V mul(V a, V b) {
    return a * realParts(b) + swapParts(a) * (imagParts(b) * signs<V>(-1, 1));
}
template <class V> TESS_FFT_INLINE V mulConj(V a, V b) {
    return a * realParts(b) + swapParts(a) * (imagParts(b) * signs<V>(1, -1));
}
// w^3 of a unit twiddle w = (cos t, -sin t) lane by lane, from cos 3t = 4cos^3 t - 3cos t
// and sin 3t = 3sin t - 4sin^3 t: no shuffles, unlike two complex products.
template <class V> TESS_FFT_INLINE V cube(V w) { return (w * signs<V>(1, -1)) * (4 * w * w - 3); }

// The inverse runs the same steps with conjugated twiddles.
template <bool Inv, class V> TESS_FFT_INLINE V twiddle(V a, V w) {
    return Inv ? mulConj(a, w) : mul(a, w);
}

// The quarter turn of the split-radix step: times -i forward, +i inverse.
template <bool Inv, class V> TESS_FFT_INLINE V quarter(V a) {
    return swapParts(a) * (Inv ? signs<V>(-1, 1) : signs<V>(1, -1));
}

constexpr double kHalfRoot2 = 0.70710678118654752440;
constexpr double kCos8 = 0.92387953251128675613; // cos(pi / 8)
constexpr double kSin8 = 0.38268343236508977173; // sin(pi / 8)

// One split-radix butterfly across the four quarters of a block, `quarterLen` doubles apart:
// the first two quarters take the sums that go on to the half-size transform, the last two the
// differences, turned by the twiddles of the odd outputs 4l + 1 and 4l + 3. With v4 it does
// two neighbouring positions at once.
template <bool Inv, class V>
TESS_FFT_INLINE void butterfly(double* x, int quarterLen, V w1, V w3) {
    const V a0 = ld<V>(x), a1 = ld<V>(x + quarterLen), a2 = ld<V>(x + 2 * quarterLen),
            a3 = ld<V>(x + 3 * quarterLen);
    st(x, a0 + a2);
    st(x + quarterLen, a1 + a3);
    const V t0 = a0 - a2, t1 = quarter<Inv>(a1 - a3);
    st(x + 2 * quarterLen, twiddle<Inv>(t0 + t1, w1));
    st(x + 3 * quarterLen, twiddle<Inv>(t0 - t1, w3));
}

template <bool Inv> TESS_FFT_INLINE void butterflyUnturned(double* x, int quarterLen) {
    const v2 a0 = ld<v2>(x), a1 = ld<v2>(x + quarterLen), a2 = ld<v2>(x + 2 * quarterLen),
             a3 = ld<v2>(x + 3 * quarterLen);
    st(x, a0 + a2);
    st(x + quarterLen, a1 + a3);
    const v2 t0 = a0 - a2, t1 = quarter<Inv>(a1 - a3);
    st(x + 2 * quarterLen, t0 + t1);
    st(x + 3 * quarterLen, t0 - t1);
}

// Small transforms, outputs in bit-reversed order. x points at interleaved doubles.
TESS_FFT_INLINE void dft2(double* x) {
    const v2 a0 = ld<v2>(x), a1 = ld<v2>(x + 2);
    st(x, a0 + a1);
    st(x + 2, a0 - a1);
}

template <bool Inv> TESS_FFT_INLINE void dif4(double* x) {
    butterflyUnturned<Inv>(x, 2);
    dft2(x);
}

template <bool Inv> TESS_FFT_INLINE void dif8(double* x) {
    butterfly<Inv>(x, 4, v4{1, 0, kHalfRoot2, -kHalfRoot2}, v4{1, 0, -kHalfRoot2, -kHalfRoot2});
    dif4<Inv>(x);
    dft2(x + 8);
    dft2(x + 12);
}

template <bool Inv> TESS_FFT_INLINE void dif16(double* x) {
    butterfly<Inv>(x, 8, v4{1, 0, kCos8, -kSin8}, v4{1, 0, kSin8, -kCos8});
    butterfly<Inv>(x + 4, 8, v4{kHalfRoot2, -kHalfRoot2, kSin8, -kCos8},
                   v4{-kHalfRoot2, -kHalfRoot2, -kCos8, kSin8});
    dif8<Inv>(x);
    dif4<Inv>(x + 16);
    dif4<Inv>(x + 24);
}

// The split-radix step over a block of m >= 32 points with its level's table of m / 8
// twiddles, two positions at a time. Positions k < m / 8 read the table directly; position
// p >= m / 8 takes the mirror of entry m/4 - p. The first mirrored pair needs entry m / 8,
// which is not stored: it is exp(-i pi / 4).
template <bool Inv> TESS_FFT_INLINE void splitStep(double* x, int m, const double* table) {
    const int quarterLen = m / 2; // m / 4 points, in doubles
    const int eighth = m / 8;
    for (int k = 0; k < eighth; k += 2) {
        const v4 w1 = ld<v4>(table + 2 * k);
        butterfly<Inv>(x + 2 * k, quarterLen, w1, cube(w1));
    }
    {
        const v2 last = -swapParts(ld<v2>(table + 2 * (eighth - 1)));
        const v4 w1 = __builtin_shufflevector(v2{kHalfRoot2, -kHalfRoot2}, last, 0, 1, 2, 3);
        butterfly<Inv>(x + 2 * eighth, quarterLen, w1, cube(w1));
    }
    for (int p = eighth + 2; p < 2 * eighth; p += 2) {
        const v4 w1 = -reversed(ld<v4>(table + 2 * (2 * eighth - p - 1)));
        butterfly<Inv>(x + 2 * p, quarterLen, w1, cube(w1));
    }
}

// Depth first, so that the sub-blocks of a large transform are worked on while in cache: the
// half-size block of the even outputs, then the two quarter-size blocks of the odd ones. An
// explicit stack rather than recursion lets the whole transform inline into one function.
template <bool Inv>
TESS_FFT_INLINE void transformBitReversed(double* x, int m, const double* tablesEnd) {
    if (m == 2) return dft2(x);
    if (m == 4) return dif4<Inv>(x);
    struct Block {
        int offset, size;
    };
    Block stack[64];
    int top = 0;
    stack[top++] = {0, m};
    while (top > 0) {
        const Block b = stack[--top];
        double* p = x + b.offset;
        if (b.size == 16) {
            dif16<Inv>(p);
        } else if (b.size == 8) {
            dif8<Inv>(p);
        } else {
            splitStep<Inv>(p, b.size, tablesEnd - b.size / 2);
            stack[top++] = {b.offset + 3 * b.size / 2, b.size / 4};
            stack[top++] = {b.offset + b.size, b.size / 4};
            stack[top++] = {b.offset, b.size / 2};
        }
    }
}

int log2Of(int v) {
    int b = 0;
    while ((1 << (b + 1)) <= v) ++b;
    return b;
}

// Reversal of `width` bits, width up to twice the table's, from the table's two halves.
struct BitReversal {
    const int* rev;
    int tableBits;
    explicit BitReversal(const int* ip) : rev(ip + 2), tableBits(log2Of(2 * ip[0]) / 2) {}
    int operator()(int v, int width) const {
        if (width <= tableBits) return rev[v] >> (tableBits - width);
        const int extra = width - tableBits;
        return (rev[v & ((1 << tableBits) - 1)] << extra) |
               (rev[v >> tableBits] >> (tableBits - extra));
    }
};

inline void swapPoints(double* a, int i, int j) {
    const v2 t = ld<v2>(a + 2 * i);
    st(a + 2 * i, ld<v2>(a + 2 * j));
    st(a + 2 * j, t);
}

// In place, for transforms that fit in cache. For i with both end bits 0 and j its reversal,
// rev(i + 1) = j + m/2 and rev(i + m/2) = j + 1: one index pair gives four swaps.
inline void bitReverseInCache(double* a, int bits, const BitReversal& reversed) {
    const int inner = bits - 2, half = 1 << (bits - 1);
    const int low = inner / 2, high = inner - low;
    for (int hi = 0; hi < (1 << high); ++hi) {
        const int revHi = reversed(hi, high);
        for (int lo = 0; lo < (1 << low); ++lo) {
            const int k = (hi << low) | lo, rk = (reversed(lo, low) << high) | revHi;
            if (rk < k) continue;
            const int i = 2 * k, j = 2 * rk;
            swapPoints(a, i + 1, j + half);
            if (k == rk) continue;
            swapPoints(a, i, j);
            swapPoints(a, i + half, j + 1);
            swapPoints(a, i + half + 1, j + half + 1);
        }
    }
}

// For large transforms. An index of b bits is read as (high, middle, low) with t-bit ends: its
// reversal is (rev low, rev middle, rev high). So the points of one middle value form a
// 2^t x 2^t tile that trades places, transposed, with the tile of the reversed middle value.
// The tiles' rows lie a power of two apart and would fight over the same cache sets if
// transposed in place, so each tile is copied out row by row and the transposition reads the
// copies.
inline void bitReverseTiled(double* a, int bits, const BitReversal& reversed) {
    constexpr int t = 4, edge = 1 << t, rowLen = 2 * edge;
    const int middleBits = bits - 2 * t, rowShift = bits - t;
    int revEdge[edge];
    for (int v = 0; v < edge; ++v) revEdge[v] = reversed(v, t);
    double tileI[rowLen * edge], tileJ[rowLen * edge];
    for (int mid = 0; mid < (1 << middleBits); ++mid) {
        const int rmid = reversed(mid, middleBits);
        if (rmid < mid) continue;
        double* baseI = a + 2 * (mid << t);
        double* baseJ = a + 2 * (rmid << t);
        for (int row = 0; row < edge; ++row)
            for (int k = 0; k < rowLen; k += 4) {
                st(tileI + row * rowLen + k, ld<v4>(baseI + 2 * (row << rowShift) + k));
                st(tileJ + row * rowLen + k, ld<v4>(baseJ + 2 * (row << rowShift) + k));
            }
        // Point (row, col) of one tile takes point (rev col, rev row) of the other.
        for (int row = 0; row < edge; ++row) {
            double* toI = baseI + 2 * (row << rowShift);
            double* toJ = baseJ + 2 * (row << rowShift);
            for (int col = 0; col < edge; ++col) {
                const int from = revEdge[col] * rowLen + 2 * revEdge[row];
                st(toI + 2 * col, ld<v2>(tileJ + from));
                st(toJ + 2 * col, ld<v2>(tileI + from));
            }
        }
    }
}

// Puts m points from bit-reversed into natural order.
constexpr int kTiledFromBits = 12; // 4096 points: 64 KB, beyond the first-level cache
inline void bitReverse(double* a, int m, const int* ip) {
    const int bits = log2Of(m);
    if (bits < 2) return;
    const BitReversal reversed(ip);
    if (bits < kTiledFromBits)
        bitReverseInCache(a, bits, reversed);
    else
        bitReverseTiled(a, bits, reversed);
}

template <bool Inv>
TESS_FFT_INLINE void transform(double* a, int m, const int* ip, const double* tablesEnd) {
    transformBitReversed<Inv>(a, m, tablesEnd);
    bitReverse(a, m, ip);
}

using Transform = void (*)(double*, int, const int*, const double*);

__attribute__((flatten)) void forwardBase(double* a, int m, const int* ip, const double* e) {
    transform<false>(a, m, ip, e);
}
__attribute__((flatten)) void inverseBase(double* a, int m, const int* ip, const double* e) {
    transform<true>(a, m, ip, e);
}

// The same code again for AVX2 with FMA, taken when the processor has them. Chosen through a
// pointer rather than an ifunc, whose resolver runs too early for the sanitizers' runtimes.
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#define TESS_FFT_HAS_AVX2 1
__attribute__((target("avx2,fma"), flatten)) void forwardAvx2(double* a, int m, const int* ip,
                                                              const double* e) {
    transform<false>(a, m, ip, e);
}
__attribute__((target("avx2,fma"), flatten)) void inverseAvx2(double* a, int m, const int* ip,
                                                              const double* e) {
    transform<true>(a, m, ip, e);
}
#endif

struct Transforms {
    Transform forward, inverse;
};

Transforms chooseTransforms() {
#ifdef TESS_FFT_HAS_AVX2
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
        return {forwardAvx2, inverseAvx2};
#endif
    return {forwardBase, inverseBase};
}

// Chosen on first use, without a lock: a race only makes two threads pick the same pair.
std::atomic<Transform> chosenForward{nullptr}, chosenInverse{nullptr};

Transform pick(bool inverse) {
    std::atomic<Transform>& slot = inverse ? chosenInverse : chosenForward;
    Transform f = slot.load(std::memory_order_relaxed);
    if (!f) {
        const Transforms t = chooseTransforms();
        f = inverse ? t.inverse : t.forward;
        slot.store(f, std::memory_order_relaxed);
    }
    return f;
}

} // namespace

void makewt(int nw, int* ip, double* w) {
    ip[0] = nw;
    ip[1] = 0; // the cosine table sits after the twiddles, which have just moved its place
    const int m = 2 * nw;
    const int tableBits = log2Of(m) / 2;
    for (int i = 0; i < (1 << tableBits); ++i) {
        int r = 0;
        for (int b = 0; b < tableBits; ++b) r |= ((i >> b) & 1) << (tableBits - 1 - b);
        ip[2 + i] = r;
    }
    if (m < 32) return;
    double* top = w + nw - m / 2;
    const long double step = 6.283185307179586476925286766559L / m;
    for (int k = 0; k < m / 8; ++k) {
        top[2 * k] = double(std::cos(step * k));
        top[2 * k + 1] = -double(std::sin(step * k));
    }
    // Each smaller level takes every other value of the one above.
    for (int size = m / 2; size >= 32; size /= 2) {
        const double* parent = w + nw - size;
        double* level = w + nw - size / 2;
        for (int k = 0; k < size / 8; ++k) {
            level[2 * k] = parent[4 * k];
            level[2 * k + 1] = parent[4 * k + 1];
        }
    }
}

void makect(int nc, int* ip, double* c) {
    ip[1] = nc;
    // c[j] = cos(pi j / (2 nc)): cos and, read backwards, sin of 2 pi k / (4 nc).
    const long double step = 1.5707963267948966192313216916398L / nc;
    for (int j = 0; j < nc; ++j) c[j] = double(std::cos(step * j));
}

void cdft(int n, int isgn, double* a, int* ip, double* w) {
    if (n < 4) return; // one point is its own transform
    if (n > 4 * ip[0]) makewt(n >> 2, ip, w);
    pick(isgn >= 0)(a, n >> 1, ip, w + ip[0]);
}

void rdft8192(double* a, int* ip, double* w) {
    constexpr int n = 8192, nw = 2048, nc = 2048;
    if (ip[0] != nw) makewt(nw, ip, w);
    if (ip[1] != nc) makect(nc, ip, w + nw);
    // The even and odd values as one complex sequence z, then the two half-length spectra
    // separated: with E = (Z[k] + conj Z[M-k]) / 2 and O = (Z[k] - conj Z[M-k]) / 2i,
    // X[k] = E + W^k O and X[M-k] = conj(E - W^k O), W = exp(-2 pi i / n), M = n / 2.
    cdft(n, -1, a, ip, w);
    const double* c = w + nw;
    const double z0r = a[0], z0i = a[1];
    a[0] = z0r + z0i;
    a[1] = z0r - z0i;
    constexpr int half = n / 2;
    for (int k = 1; k < half / 2; ++k) {
        double* p = a + 2 * k;
        double* q = a + n - 2 * k;
        const double er = 0.5 * (p[0] + q[0]), ei = 0.5 * (p[1] - q[1]);
        const double odr = 0.5 * (p[1] + q[1]), odi = -0.5 * (p[0] - q[0]);
        const double wr = c[k], wi = -c[nc - k];
        const double tr = wr * odr - wi * odi, ti = wr * odi + wi * odr;
        p[0] = er + tr;
        p[1] = ei + ti;
        q[0] = er - tr;
        q[1] = -(ei - ti);
    }
    a[half + 1] = -a[half + 1];
}

void FftTables::reserve(int n) {
    const size_t ipSize = 2 + size_t(std::ceil(std::sqrt(n / 2.0)));
    const size_t wSize = size_t(n / 2);
    if (ip.size() >= ipSize && w.size() >= wSize) return;
    ip.assign(ipSize, 0);
    w.assign(wSize, 0.0);
}

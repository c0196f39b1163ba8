#include "CurveRaster.h"

#include <algorithm>
#include <cmath>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace VSTGUI {

namespace {

// Each of the four bytes times a / 255, rounded as pixman does, two bytes per multiply.
inline uint32_t scaleBytes(uint32_t c, uint32_t a) {
    uint32_t rb = (c & 0x00ff00ffu) * a + 0x00800080u;
    rb = ((rb + ((rb >> 8) & 0x00ff00ffu)) >> 8) & 0x00ff00ffu;
    uint32_t ag = ((c >> 8) & 0x00ff00ffu) * a + 0x00800080u;
    ag = (ag + ((ag >> 8) & 0x00ff00ffu)) & 0xff00ff00u;
    return rb | ag;
}

// Premultiplied `src` over `dst`; no byte can overflow.
inline uint32_t over(uint32_t dst, uint32_t src) { return src + scaleBytes(dst, 255u - (src >> 24)); }

// A colour at every coverage level, looked up rather than scaled per pixel.
struct Paint {
    uint32_t shades[256];
    explicit Paint(uint32_t argb) {
        for (uint32_t c = 0; c < 256; ++c) shades[c] = scaleBytes(argb, c);
    }
    // Coverage's size counts, clamped to 1, so signed sums need no care. Without branches: a
    // coverage of 0 leaves the pixel as it was.
    void blend(uint32_t* px, double coverage) const {
        *px = over(*px, shades[int(std::min(std::fabs(coverage), 1.0) * 255.0 + 0.5)]);
    }
};

inline uint32_t* pixelAt(const PixelBuffer& t, int x, int y) {
    return reinterpret_cast<uint32_t*>(t.pixels + size_t(y) * size_t(t.stride)) + x;
}

PixelRect bounded(const PixelBuffer& t, const PixelRect& clip) {
    PixelRect r;
    r.left = std::max(clip.left, 0);
    r.top = std::max(clip.top, 0);
    r.right = std::min(clip.right, t.width);
    r.bottom = std::min(clip.bottom, t.height);
    return r;
}

// floor and ceil for values well inside int's range; std::floor is a library call on plain x86-64.
inline int ifloor(double v) {
    const int i = int(v);
    return i - (v < i);
}
inline int iceil(double v) {
    const int i = int(v);
    return i + (v > i);
}

// Clamps far-off values so integer row numbers stay representable; rows beyond the clip are
// never visited, so this changes no visible pixel.
inline double sane(double y) { return std::clamp(y, -1e7, 1e7); }

// A straight piece of an edge over part of a pixel column, y running evenly from lo to hi. The
// part of row [r, r + 1] below it, averaged over the piece's width, is J(r + 1) - J(r) with
// J(t) the mean of max(0, t - y).
struct EdgePiece {
    double lo, hi, inv2len;
    EdgePiece(double a, double b) : lo(std::min(a, b)), hi(std::max(a, b)), inv2len(hi > lo ? 0.5 / (hi - lo) : 0) {}
    EdgePiece(double a, double b, double inv2len_) : lo(std::min(a, b)), hi(std::max(a, b)), inv2len(inv2len_) {}
    double J(double t) const {
        const double in = std::clamp(t, lo, hi) - lo;
        return in * in * inv2len + std::max(0.0, t - hi);
    }
};

// Signed coverage of the rows [top, top + n) of one pixel column, summed from edge pieces: an
// edge adds its weight to the part of every row below it. A shape's top edges add, its bottom
// edges subtract, so only the rows between them keep anything.
class Column {
public:
    void reset(int topRow, int rows) {
        top = topRow;
        n = rows;
        if (partial.size() < size_t(n) + 1) {
            partial.resize(size_t(n) + 1);
            carry.resize(size_t(n) + 1);
        }
        std::fill_n(partial.begin(), n, 0.f);
        std::fill_n(carry.begin(), n + 1, 0.f);
    }
    void add(const EdgePiece& e, double weight) {
        const int firstFull = iceil(e.hi);  // rows from here down lie wholly below
        carry[size_t(std::clamp(firstFull - top, 0, n))] += float(weight);
        const int a = std::max(top, ifloor(e.lo)), b = std::min(top + n, firstFull);
        double prev = e.J(a);
        for (int r = a; r < b; ++r) {
            const double next = e.J(r + 1.0);
            partial[size_t(r - top)] += float(weight * (next - prev));
            prev = next;
        }
    }
    // Sums the rows up; then at(row) gives each row's coverage.
    void finish() {
        float running = 0;
        for (int i = 0; i < n; ++i) {
            running += carry[size_t(i)];
            partial[size_t(i)] += running;
        }
    }
    double at(int row) const { return partial[size_t(row - top)]; }

private:
    std::vector<float> partial, carry;
    int top = 0, n = 0;
};

// Part of a pixel on the near side of a straight edge through it, as a function of the edge's
// signed distance t from the pixel's centre (the pixel's projection across the edge is a
// trapezoid). a >= b are the edge direction's components' sizes.
struct EdgeProfile {
    double p = 0.5, q = 0.5, a = 1, inv2ab = 0;
    EdgeProfile(double ux, double uy) {  // a unit vector
        a = std::max(std::fabs(ux), std::fabs(uy));
        const double b = std::min(std::fabs(ux), std::fabs(uy));
        p = 0.5 * (a - b);
        q = 0.5 * (a + b);
        inv2ab = b > 1e-6 ? 1 / (2 * a * b) : 0;
    }
    double operator()(double t) const {
        if (t <= -q) return 0;
        if (t >= q) return 1;
        if (inv2ab == 0) return t + 0.5;
        if (t < -p) return (t + q) * (t + q) * inv2ab;
        if (t > p) return 1 - (q - t) * (q - t) * inv2ab;
        return t / a + 0.5;
    }
};

struct Segment {
    double ax = 0, ay = 0, ux = 1, uy = 0, len = 1, ylo = 0, yhi = 0;
    EdgeProfile edge{1, 0};
    bool valid = false;
};

// Scratch memory kept between calls, per thread.
struct Scratch {
    Column column;
    std::vector<double> ys, bends, edges;
    std::vector<char> straight;
    std::vector<int> firstRow, rowCount;
    std::vector<float> edgeParams, borderSums;
    struct Piece {
        double w, a, b;
    };
    std::vector<Piece> pieces;
    std::vector<Segment> segments;
    std::vector<char> segmentReady;
};

// The ribbon between the chord from yl to yr shifted up and down by `thick`, over rows
// [r0, r1) of one column: each row holds what lies below the top edge less what lies below
// the bottom one.
void ribbonColumn(uint32_t* px, int stride, int r0, int r1, double yl, double yr, double thick, const Paint& paint) {
    const double slope = yr - yl, inv2len = slope != 0 ? 0.5 / std::fabs(slope) : 0;
    const EdgePiece top(yl - thick, yr - thick, inv2len), bottom(yl + thick, yr + thick, inv2len);
    // In blocks of rows, so the edge sums at the rows' borders can be worked out side by side.
    constexpr int kBlock = 8;
    double below[kBlock + 1];
    for (int r = r0; r < r1; r += kBlock) {
        const int n = std::min(kBlock, r1 - r);
        for (int i = 0; i <= kBlock; ++i) below[i] = top.J(r + i) - bottom.J(r + i);
        for (int i = 0; i < n; ++i, px += stride) paint.blend(px, below[i + 1] - below[i]);
    }
}

// For `count` (a multiple of four) thin ribbons given by their top edge's range [lo, hi]
// relative to their first row, their thickness `gap` and 1 / (2 (hi - lo)) (0 if flat): what
// lies above row border t, between the edges, averaged over the column. Four at a time.
void borderSums(const float* lo, const float* hi, const float* gap, const float* inv2len, int count, float t,
                float* out) {
#if defined(__SSE2__)
    const __m128 vt = _mm_set1_ps(t), zero = _mm_setzero_ps();
    for (int i = 0; i < count; i += 4) {
        const __m128 l = _mm_loadu_ps(lo + i), h = _mm_loadu_ps(hi + i), g = _mm_loadu_ps(gap + i);
        const __m128 lb = _mm_add_ps(l, g), hb = _mm_add_ps(h, g);
        const __m128 a = _mm_sub_ps(_mm_min_ps(_mm_max_ps(vt, l), h), l);
        const __m128 b = _mm_sub_ps(_mm_min_ps(_mm_max_ps(vt, lb), hb), lb);
        const __m128 quad = _mm_mul_ps(_mm_sub_ps(_mm_mul_ps(a, a), _mm_mul_ps(b, b)), _mm_loadu_ps(inv2len + i));
        const __m128 lin = _mm_sub_ps(_mm_max_ps(zero, _mm_sub_ps(vt, h)), _mm_max_ps(zero, _mm_sub_ps(vt, hb)));
        _mm_storeu_ps(out + i, _mm_add_ps(quad, lin));
    }
#else
    for (int i = 0; i < count; ++i) {
        const float lb = lo[i] + gap[i], hb = hi[i] + gap[i];
        const float a = std::min(std::max(t, lo[i]), hi[i]) - lo[i], b = std::min(std::max(t, lb), hb) - lb;
        out[i] = (a * a - b * b) * inv2len[i] + std::max(0.f, t - hi[i]) - std::max(0.f, t - hb);
    }
#endif
}

Scratch& scratch() {
    thread_local Scratch s;
    return s;
}

}  // namespace

PixelRect fillCurveToBaseline(const PixelBuffer& target, const PixelRect& clipIn, const CurveGeometry& g,
                              double baseline, uint32_t argb) {
    PixelRect dirty;
    const PixelRect clip = bounded(target, clipIn);
    if (g.count < 2 || !(g.dx > 0) || !target.pixels || (argb >> 24) == 0) return dirty;
    if (clip.left >= clip.right || clip.top >= clip.bottom) return dirty;
    const int last = g.count - 1;
    const double xs = g.x0, xe = g.x0 + last * g.dx;
    if (!(xe > clip.left && xs < clip.right)) return dirty;
    const double base = sane(baseline);
    const Paint paint(argb);
    const int cBegin = std::max(clip.left, ifloor(std::max(xs, double(clip.left))));
    const int cEnd = std::min(clip.right, iceil(std::min(xe, double(clip.right))));
    const auto segmentAt = [&](double x) {
        return int(std::clamp(std::floor((x - g.x0) / g.dx), 0.0, double(last - 1)));
    };
    // The samples in view, offset and made safe once: a missing value counts as the baseline.
    const int jFirst = segmentAt(cBegin), jLast = segmentAt(cEnd) + 1;
    Scratch& mem = scratch();
    mem.ys.resize(size_t(jLast - jFirst + 1));
    for (int j = jFirst; j <= jLast; ++j) {
        const float v = g.ys[j];
        mem.ys[size_t(j - jFirst)] = std::isfinite(v) ? sane(double(v) + g.yOffset) : base;
    }
    const double* y = mem.ys.data() - jFirst;
    const double invDx = 1 / g.dx;
    const int stride = target.stride / 4;
    Column& column = mem.column;
    auto& pieces = mem.pieces;
    int rowMin = clip.bottom, rowMax = clip.top;

    // Writes rows [r0, r1) of column c. `sum` is the column's signed width (positive where the
    // curve is above the baseline); edgeRow(r) what lies below the curve in the rows
    // [e0, e1) it passes through, with that sign; below them it is `sum`, above them nothing.
    const auto writeColumn = [&](int c, int r0, int r1, int e0, int e1, double sum, auto&& edgeRow) {
        if (r0 >= r1) return;
        rowMin = std::min(rowMin, r0);
        rowMax = std::max(rowMax, r1);
        e0 = std::clamp(e0, r0, r1);
        e1 = std::clamp(e1, r0, r1);
        // Coverage is what lies below the curve less what lies below the baseline.
        const auto rowCoverage = [&](int r, double curveBelow) {
            return curveBelow - sum * std::clamp(r + 1 - base, 0.0, 1.0);
        };
        const uint32_t solid = paint.shades[int(std::min(1.0, std::fabs(sum)) * 255.0 + 0.5)];
        const auto solidRows = [&](uint32_t* px, int rows) {
            for (int i = 0; i < rows; ++i, px += stride) *px = over(*px, solid);
        };
        uint32_t* px = pixelAt(target, c, r0);
        int r = r0;
        // Above a curve that lies below the baseline: the baseline's row, then whole rows.
        for (const int end = std::min(e0, iceil(base)); r < end; ++r, px += stride) paint.blend(px, rowCoverage(r, 0));
        if (r < e0) {
            solidRows(px, e0 - r);
            px += (e0 - r) * stride;
            r = e0;
        }
        for (; r < e1; ++r, px += stride) paint.blend(px, rowCoverage(r, edgeRow(r)));
        // Below a curve above the baseline: whole rows, then the baseline's row.
        if (const int end = std::min(r1, ifloor(base)); r < end) {
            solidRows(px, end - r);
            px += (end - r) * stride;
            r = end;
        }
        for (; r < r1; ++r, px += stride) paint.blend(px, rowCoverage(r, sum));
    };

    // Most columns see one straight piece of the curve (the chord between its heights at the
    // column's edges) that does not cross the baseline and spans a few rows: those have the
    // part of each row below the curve worked out side by side, as for ribbons.
    constexpr int kRows = 6;
    const int columns = cEnd - cBegin;
    const int padded = (columns + 3) & ~3;
    auto& edge = mem.edgeParams;
    edge.assign(size_t(padded) * 4, 0.f);
    float* lo = edge.data();
    float* hi = lo + padded;
    float* gap = hi + padded;
    float* inv2len = gap + padded;
    auto& firstRow = mem.firstRow;
    constexpr int kExact = INT32_MIN, kNothing = INT32_MIN + 1;  // not one of those; nothing to draw
    firstRow.assign(size_t(columns), kExact);
    const bool unitStep = g.dx == 1;
    const int unitLeft = ifloor(std::clamp(cBegin - g.x0, -2.0, last + 2.0));
    const int unitSpan = cBegin - g.x0 == unitLeft ? 1 : 2;
    for (int i = 0; i < columns; ++i) {
        const int c = cBegin + i;
        if (c < xs || c + 1 > xe) continue;
        // One sample a column is the usual spacing; it spares the conversions.
        const int kl = unitStep ? std::clamp(unitLeft + i, jFirst, jLast - 1)
                                : ifloor(std::clamp((c - g.x0) * invDx, double(jFirst), jLast - 1.0));
        const int kr = unitStep ? std::clamp(unitLeft + i + unitSpan, jFirst + 1, jLast)
                                : iceil(std::clamp((c + 1 - g.x0) * invDx, jFirst + 1.0, double(jLast)));
        const double yl = y[kl] + (c - (g.x0 + kl * g.dx)) * (y[kl + 1] - y[kl]) * invDx;
        const double yr = y[kr - 1] + (c + 1 - (g.x0 + (kr - 1) * g.dx)) * (y[kr] - y[kr - 1]) * invDx;
        if ((yl - base) * (yr - base) < 0) continue;
        if (std::fabs(yl - base) + std::fabs(yr - base) < 1.0 / 1024 && kr == kl + 1) {
            firstRow[size_t(i)] = kNothing;  // covers under half a level of any pixel
            continue;
        }
        // Samples inside the column must lie on the chord, near enough for no visible change.
        bool onChord = true;
        for (int j = kl + 1; j < kr && onChord; ++j) {
            const double t = (g.x0 + j * g.dx - c);
            onChord = std::fabs(y[j] - (yl + t * (yr - yl))) <= 0.02;
        }
        if (!onChord) continue;
        const double top = std::min(yl, yr), bottom = std::max(yl, yr);
        const int e0 = ifloor(top);
        if (iceil(bottom) - e0 > kRows) continue;
        firstRow[size_t(i)] = e0;
        lo[i] = float(top - e0);
        hi[i] = float(bottom - e0);
        gap[i] = 2 * kRows;  // no second edge
        inv2len[i] = bottom > top ? float(0.5 / (bottom - top)) : 0.f;
    }
    auto& sums = mem.borderSums;
    sums.resize(size_t(padded) * (kRows + 1));
    for (int k = 0; k <= kRows; ++k)
        borderSums(lo, hi, gap, inv2len, padded, float(k), sums.data() + size_t(k) * size_t(padded));

    int k = jFirst;
    for (int c = cBegin; c < cEnd; ++c) {
        const int i = c - cBegin;
        if (const int e0 = firstRow[size_t(i)]; e0 == kNothing) {
            continue;
        } else if (e0 != kExact) {
            const double yl = e0 + lo[i], yr = e0 + hi[i];
            const double sign = yl + yr <= 2 * base ? 1 : -1;
            const int e1 = e0 + iceil(hi[i]);
            const int r0 = std::max(clip.top, std::min(e0, ifloor(base)));
            const int r1 = std::min(clip.bottom, std::max(e1, iceil(base)));
            const float* sum = sums.data() + i;
            writeColumn(c, r0, r1, e0, e1, sign, [&](int r) {
                const float* s = sum + size_t(r - e0) * size_t(padded);
                return sign * double(s[padded] - s[0]);
            });
            continue;
        }
        const double u0 = std::max(double(c), xs), u1 = std::min(double(c + 1), xe);
        if (u1 <= u0) continue;
        while (k < last - 1 && g.x0 + (k + 1) * g.dx <= u0) ++k;
        // The pieces of the curve over this column, each split where it crosses the baseline.
        pieces.clear();
        double ymin = HUGE_VAL, ymax = -HUGE_VAL;
        for (int j = k; j < last; ++j) {
            const double xa = g.x0 + j * g.dx;
            if (xa >= u1) break;
            const double pa = std::max(u0, xa), pb = std::min(u1, xa + g.dx);
            if (pb <= pa) continue;
            const double slope = (y[j + 1] - y[j]) * invDx;
            const double ya = y[j] + (pa - xa) * slope, yb = y[j] + (pb - xa) * slope;
            if ((ya - base) * (yb - base) < 0) {
                const double f = (base - ya) / (yb - ya);
                pieces.push_back({(pb - pa) * f, ya, base});
                pieces.push_back({(pb - pa) * (1 - f), base, yb});
            } else {
                pieces.push_back({pb - pa, ya, yb});
            }
            ymin = std::min(ymin, std::min(ya, yb));
            ymax = std::max(ymax, std::max(ya, yb));
        }
        if (pieces.empty()) continue;
        const int r0 = std::max(clip.top, ifloor(std::min(ymin, base)));
        const int r1 = std::min(clip.bottom, iceil(std::max(ymax, base)));
        if (r0 >= r1) continue;
        // The rows the curve passes through collect its pieces: a piece above the baseline
        // covers from itself down, one below from itself up, so it adds with its sign.
        const int e0 = std::clamp(ifloor(ymin), r0, r1), e1 = std::clamp(iceil(ymax), r0, r1);
        column.reset(e0, e1 - e0);
        double sum = 0;
        for (const auto& p : pieces) {
            const double w = p.a + p.b < 2 * base ? p.w : -p.w;
            if (e1 > e0) column.add(EdgePiece(p.a, p.b), w);
            sum += w;
        }
        column.finish();
        writeColumn(c, r0, r1, e0, e1, sum, [&](int r) { return column.at(r); });
    }
    if (rowMin < rowMax) dirty = {cBegin, rowMin, cEnd, rowMax};
    return dirty;
}

PixelRect strokeCurve(const PixelBuffer& target, const PixelRect& clipIn, const CurveGeometry& g, double width,
                      uint32_t argb) {
    PixelRect dirty;
    const PixelRect clip = bounded(target, clipIn);
    if (g.count < 2 || !(g.dx > 0) || !(width > 0) || !target.pixels || (argb >> 24) == 0) return dirty;
    width = std::min(width, 1e4);
    if (clip.left >= clip.right || clip.top >= clip.bottom) return dirty;
    const int last = g.count - 1;
    const double half = 0.5 * width;
    const double reach = half + 0.7072;  // farthest a covered pixel's centre can be from the middle line
    const double xe = g.x0 + last * g.dx;
    if (!(xe + reach > clip.left && g.x0 - reach < clip.right)) return dirty;
    const int cBegin = std::max(clip.left, ifloor(std::max(g.x0 - reach, double(clip.left))));
    const int cEnd = std::min(clip.right, iceil(std::min(xe + reach, double(clip.right))));
    if (cBegin >= cEnd) return dirty;
    const auto segmentAt = [&](double x) {
        return int(std::clamp(std::floor((x - g.x0) / g.dx), 0.0, double(last - 1)));
    };
    // Every sample any column looks at, offset once; a missing one breaks the curve.
    const int jFirst = std::max(0, segmentAt(cBegin - reach - 2) - 1);
    const int jLast = std::min(last, segmentAt(cEnd + reach + 2) + 2);
    Scratch& mem = scratch();
    mem.ys.resize(size_t(jLast - jFirst + 1));
    for (int j = jFirst; j <= jLast; ++j) {
        const float v = g.ys[j];
        mem.ys[size_t(j - jFirst)] = std::isfinite(v) ? sane(double(v) + g.yOffset) : NAN;
    }
    const double* y = mem.ys.data() - jFirst;
    // The pieces' directions, worked out only where a column needs them.
    mem.segments.resize(size_t(jLast - jFirst));
    mem.segmentReady.assign(size_t(jLast - jFirst), 0);
    const auto segment = [&](int k) -> const Segment& {
        Segment& s = mem.segments[size_t(k - jFirst)];
        if (!mem.segmentReady[size_t(k - jFirst)]) {
            mem.segmentReady[size_t(k - jFirst)] = 1;
            const double ax = g.x0 + k * g.dx, ay = y[k], by = y[k + 1];
            const double vx = g.dx, vy = by - ay, len = std::sqrt(vx * vx + vy * vy);
            s = {ax,
                 ay,
                 vx / len,
                 vy / len,
                 len,
                 std::min(ay, by),
                 std::max(ay, by),
                 EdgeProfile(vx / len, vy / len),
                 !std::isnan(ay) && !std::isnan(by)};
        }
        return s;
    };
    const auto joined = [&](int k) { return k >= jFirst && k < jLast && !std::isnan(y[k]) && !std::isnan(y[k + 1]); };
    const Paint paint(argb);
    const double invDx = 1 / g.dx;
    const int stride = target.stride / 4;
    int rowMin = clip.bottom, rowMax = clip.top;

    // How sharply the curve turns at each sample, as the change of slope within a pixel: with
    // samples further apart than that, the whole change happens at the sample. Infinite at a
    // missing sample.
    mem.bends.assign(size_t(jLast - jFirst + 1), HUGE_VAL);
    double* bendAt = mem.bends.data() - jFirst;
    const double bendScale = invDx * std::max(invDx, 1.0);
    for (int j = jFirst + 1; j < jLast; ++j) {
        const double b = std::fabs(y[j + 1] - 2 * y[j] + y[j - 1]) * bendScale;
        if (b == b) bendAt[j] = b;
    }
    const auto indexAt = [&](double x) { return ifloor(std::clamp((x - g.x0) * invDx, -2.0, last + 2.0)); };
    // One sample a column is the usual spacing; it spares the conversions.
    const bool unitStep = g.dx == 1;
    const auto unitIndex = [&](double x) { return ifloor(std::clamp(x - g.x0, -1e9, 1e9)); };
    const int unitLeft = unitIndex(cBegin), unitW0 = unitIndex(cBegin - half - 1) + 1,
              unitW1 = unitIndex(cBegin + 2 + half);

    // First the middle line's height at every column edge, and whether the curve is close
    // enough to straight around each column that its ribbon there lies between the chord
    // shifted up and down by the ribbon's vertical thickness (exact for a straight line).
    const int columns = cEnd - cBegin;
    mem.edges.resize(size_t(columns) + 1);
    mem.straight.resize(size_t(columns));
    double* edgeY = mem.edges.data();
    for (int i = 0; i <= columns; ++i) {
        const double x = cBegin + i;
        const int k = std::clamp(unitStep ? unitLeft + i : indexAt(x), jFirst, jLast - 1);
        edgeY[i] = y[k] + (x - (g.x0 + k * g.dx)) * (y[k + 1] - y[k]) * invDx;
    }
    for (int i = 0; i < columns; ++i) {
        const int c = cBegin + i;
        const int w0 = unitStep ? unitW0 + i : indexAt(c - half - 1) + 1;
        const int w1 = unitStep ? unitW1 + i : indexAt(c + 2 + half);
        bool ok = w0 >= std::max(1, jFirst + 1) && w1 <= std::min(last - 1, jLast - 1);  // ends are cut square
        if (ok) {
            double bend = 0;
            for (int j = w0; j <= w1; ++j) bend = std::max(bend, bendAt[j]);
            // The edges come from points of the middle line up to `shift` to either side, so
            // bending there moves them by about bend * shift^2; the chord adds bend / 8.
            const double slope2 = (edgeY[i + 1] - edgeY[i]) * (edgeY[i + 1] - edgeY[i]);
            const double shift2 = half * half * slope2 / (1 + slope2);
            ok = bend * (shift2 + 0.125) <= 0.04;
        }
        mem.straight[size_t(i)] = ok;
    }

    // Thin ribbons over straight columns, the usual case, side by side: each column's first
    // row and its edges relative to that row, then the edge sums at the borders of kRows rows
    // for all columns at once, then the blending.
    constexpr int kRows = 6;
    auto& firstRow = mem.firstRow;
    auto& rowCount = mem.rowCount;
    auto& edge = mem.edgeParams;
    firstRow.assign(size_t(columns), 0);
    rowCount.assign(size_t(columns), 0);
    const int padded = (columns + 3) & ~3;  // whole groups of four
    edge.assign(size_t(padded) * 4, 0.f);
    float* topLo = edge.data();
    float* topHi = topLo + padded;
    float* gap = topHi + padded;
    float* inv2len = gap + padded;
    for (int i = 0; i < columns; ++i) {
        if (!mem.straight[size_t(i)]) continue;
        const double yl = edgeY[i], yr = edgeY[i + 1], slope = yr - yl;
        const double thick = half * std::sqrt(1 + slope * slope);
        const int r0 = std::max(clip.top, ifloor(std::max(std::min(yl, yr) - thick, -1e9)));
        const int r1 = std::min(clip.bottom, iceil(std::min(std::max(yl, yr) + thick, 1e9)));
        firstRow[size_t(i)] = r0;
        rowCount[size_t(i)] = std::max(0, r1 - r0);
        if (r1 - r0 > kRows) continue;
        topLo[i] = float(std::min(yl, yr) - thick - r0);
        topHi[i] = float(std::max(yl, yr) - thick - r0);
        gap[i] = float(2 * thick);
        inv2len[i] = slope != 0 ? float(0.5 / std::fabs(slope)) : 0.f;
    }
    auto& sums = mem.borderSums;
    sums.resize(size_t(padded) * (kRows + 1));
    for (int k = 0; k <= kRows; ++k)
        borderSums(topLo, topHi, gap, inv2len, padded, float(k), sums.data() + size_t(k) * size_t(padded));

    for (int c = cBegin; c < cEnd; ++c) {
        const int i = c - cBegin;
        if (mem.straight[size_t(i)]) {
            const int r0 = firstRow[size_t(i)], n = rowCount[size_t(i)];
            if (n == 0) continue;
            rowMin = std::min(rowMin, r0);
            rowMax = std::max(rowMax, r0 + n);
            uint32_t* px = pixelAt(target, c, r0);
            if (n <= kRows) {
                const float* sum = sums.data() + i;
                for (int r = 0; r < n; ++r, px += stride, sum += padded) paint.blend(px, double(sum[padded] - sum[0]));
            } else {
                const double yl = edgeY[i], yr = edgeY[i + 1];
                ribbonColumn(px, stride, r0, r0 + n, yl, yr, half * std::sqrt(1 + (yr - yl) * (yr - yl)), paint);
            }
            continue;
        }
        const double xc = c + 0.5;
        const int ka = segmentAt(xc - reach), kb = segmentAt(xc + reach);
        // Rows whose centres the nearby pieces of the curve can reach.
        double ymin = HUGE_VAL, ymax = -HUGE_VAL;
        for (int k = ka; k <= kb; ++k) {
            const Segment& s = segment(k);
            if (!s.valid) continue;
            const double slope = s.uy / s.ux;
            const double xa = std::max(s.ax, xc - reach), xb = std::min(s.ax + g.dx, xc + reach);
            if (xb < xa) continue;
            const double ya = s.ay + (xa - s.ax) * slope, yb = s.ay + (xb - s.ax) * slope;
            ymin = std::min(ymin, std::min(ya, yb));
            ymax = std::max(ymax, std::max(ya, yb));
        }
        if (ymin > ymax) continue;
        const int r0 = std::max(clip.top, iceil(ymin - reach - 0.5));
        const int r1 = std::min(clip.bottom, ifloor(ymax + reach - 0.5) + 1);
        if (r0 >= r1) continue;
        rowMin = std::min(rowMin, r0);
        rowMax = std::max(rowMax, r1);
        uint32_t* px = pixelAt(target, c, r0);
        for (int r = r0; r < r1; ++r, px += stride) {
            const double yc = r + 0.5;
            // The nearest piece decides; its distance and direction give the pixel's share of
            // the ribbon, and the curve's two ends are cut square.
            double best = HUGE_VAL, bestT = 0, bestPerp = 0;
            int bestK = -1;
            for (int k = ka; k <= kb; ++k) {
                const Segment& s = segment(k);
                if (!s.valid || yc < s.ylo - reach || yc > s.yhi + reach) continue;
                const double vx = xc - s.ax, vy = yc - s.ay;
                const double t = vx * s.ux + vy * s.uy;
                const double perp = std::fabs(vx * s.uy - vy * s.ux);
                const double tc = std::clamp(t, 0.0, s.len);
                const double d2 = perp * perp + (t - tc) * (t - tc);
                if (d2 < best) {
                    best = d2;
                    bestK = k;
                    bestT = t;
                    bestPerp = perp;
                }
            }
            if (bestK < 0 || best >= reach * reach) continue;
            const Segment& s = segment(bestK);
            // A missing sample ends the curve there as its two ends do.
            const bool startCap = (bestK == 0 || !joined(bestK - 1)) && bestT < s.edge.q;
            const bool endCap = (bestK == last - 1 || !joined(bestK + 1)) && bestT > s.len - s.edge.q;
            const double d = (startCap || endCap) ? bestPerp : std::sqrt(best);
            double cov = s.edge(half - d) - s.edge(-half - d);
            if (startCap) cov *= s.edge(bestT);
            if (endCap) cov *= s.edge(s.len - bestT);
            paint.blend(px, cov);
        }
    }
    if (rowMin < rowMax) dirty = {cBegin, rowMin, cEnd, rowMax};
    return dirty;
}

}  // namespace VSTGUI

// Function graphs drawn by CDrawContext::fillUnderCurve and drawCurve, checked pixel by pixel:
// coverage against the exact areas, blending, clip and offset, and against cairo's own paths.

#include <cairo.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "CDrawContext.h"
#include "PixelCheck.h"

using namespace VSTGUI;

namespace {

int alphaAt(cairo_surface_t* s, int x, int y) { return at(s, x, y).a; }

// Coverage 0..1 as the alpha an opaque colour gets on a clear surface.
int level(double coverage) { return int(std::lround(coverage * 255)); }

std::vector<float> constant(int n, float y) { return std::vector<float>(size_t(n), y); }

}  // namespace

TEST(Curves, FillCoversExactlyTheAreaBetweenCurveAndBaseline) {
    COffscreenContext ctx(40, 40);
    cairo_surface_t* s = ctx.getSurface();
    // A level curve at 10.25 from x = 2 to x = 12, filled down to 20.
    const auto ys = constant(11, 10.25f);
    ctx.fillUnderCurve(ys.data(), 11, 2, 1, 20, kRedCColor);
    EXPECT_EQ(alphaAt(s, 5, 9), 0);
    EXPECT_NEAR(alphaAt(s, 5, 10), level(0.75), 1);
    for (int y = 11; y < 20; ++y) EXPECT_EQ(alphaAt(s, 5, y), 255) << y;
    EXPECT_EQ(alphaAt(s, 5, 20), 0);
    EXPECT_EQ(alphaAt(s, 1, 15), 0);
    EXPECT_EQ(alphaAt(s, 12, 15), 0);
    EXPECT_EQ(alphaAt(s, 11, 15), 255);
    EXPECT_EQ(at(s, 5, 15).r, 255);
    EXPECT_EQ(at(s, 5, 15).g, 0);

    // Below a fractional baseline, starting half way into a column: that column is half
    // covered, the baseline's row too, and the corner a quarter.
    COffscreenContext below(40, 40);
    cairo_surface_t* t = below.getSurface();
    const auto low = constant(5, 30.f);
    below.fillUnderCurve(low.data(), 5, 20.5f, 1, 25.5f, kBlackCColor);
    EXPECT_EQ(alphaAt(t, 22, 24), 0);
    EXPECT_NEAR(alphaAt(t, 22, 25), level(0.5), 1);
    for (int y = 26; y < 30; ++y) EXPECT_EQ(alphaAt(t, 22, y), 255) << y;
    EXPECT_EQ(alphaAt(t, 22, 30), 0);
    EXPECT_NEAR(alphaAt(t, 20, 27), level(0.5), 1);
    EXPECT_NEAR(alphaAt(t, 20, 25), level(0.25), 1);
    EXPECT_EQ(alphaAt(t, 19, 27), 0);
    EXPECT_NEAR(alphaAt(t, 24, 27), level(0.5), 1);
    EXPECT_EQ(alphaAt(t, 25, 27), 0);
}

TEST(Curves, FillOfASlopeGivesTheTrianglesArea) {
    COffscreenContext ctx(20, 20);
    cairo_surface_t* s = ctx.getSurface();
    // Across column 5 the curve falls from 10 to 11 (y grows downwards): the row it crosses
    // is covered below the diagonal, half of it. A steeper piece from 12 to 15 across column 8:
    // rows 12, 13, 14 are covered 1/6, 1/2, 5/6.
    const float ys[] = {10, 10, 10, 10, 10, 10, 11, 11, 11, 12, 15, 15};
    ctx.fillUnderCurve(ys, 12, 0, 1, 18, kBlackCColor);
    EXPECT_NEAR(alphaAt(s, 5, 10), level(0.5), 1);
    EXPECT_EQ(alphaAt(s, 5, 9), 0);
    EXPECT_EQ(alphaAt(s, 5, 11), 255);
    EXPECT_NEAR(alphaAt(s, 9, 12), level(1.0 / 6), 1);
    EXPECT_NEAR(alphaAt(s, 9, 13), level(0.5), 1);
    EXPECT_NEAR(alphaAt(s, 9, 14), level(5.0 / 6), 1);
    EXPECT_EQ(alphaAt(s, 9, 15), 255);
    // Crossing the baseline inside a column: two triangles of a quarter each.
    COffscreenContext cross(20, 20);
    const float zig[] = {5, 5, 5, 7, 7, 7};
    cross.fillUnderCurve(zig, 6, 0, 1, 6, kBlackCColor);
    EXPECT_NEAR(alphaAt(cross.getSurface(), 2, 5), level(0.25), 1);
    EXPECT_NEAR(alphaAt(cross.getSurface(), 2, 6), level(0.25), 1);
    EXPECT_EQ(alphaAt(cross.getSurface(), 1, 5), 255);
    EXPECT_EQ(alphaAt(cross.getSurface(), 4, 6), 255);
}

TEST(Curves, FillBlendsByAlphaAndCoverage) {
    COffscreenContext ctx(20, 20);
    ctx.setFillColor(kWhiteCColor);
    ctx.fillRect(CRect(0, 0, 20, 20));
    cairo_surface_t* s = ctx.getSurface();
    const auto ys = constant(20, 4.25f);
    ctx.fillUnderCurve(ys.data(), 20, 0, 1, 10, CColor{0, 0, 255, 128});
    // Half-transparent blue over white, then the same at three quarters' coverage.
    const Pixel full = at(s, 5, 6);
    EXPECT_NEAR(full.r, 127, 1);
    EXPECT_NEAR(full.g, 127, 1);
    EXPECT_EQ(full.b, 255);
    EXPECT_EQ(full.a, 255);
    const Pixel edge = at(s, 5, 4);
    EXPECT_NEAR(edge.r, 255 - 96, 1);
    EXPECT_EQ(edge.b, 255);
    EXPECT_EQ(at(s, 5, 3).r, 255);
    // Drawn twice, the fill darkens again: it blends, it does not replace.
    ctx.fillUnderCurve(ys.data(), 20, 0, 1, 10, CColor{0, 0, 255, 128});
    EXPECT_NEAR(at(s, 5, 6).r, 63, 1);
}

TEST(Curves, ClipAndOffsetApplyToBoth) {
    COffscreenContext ctx(40, 40);
    cairo_surface_t* s = ctx.getSurface();
    ctx.setOffset(CPoint(10, 5));
    ctx.setClipRect(CRect(0, 0, 5, 10));  // surface 10..15 x 5..15
    const auto ys = constant(60, 3);
    ctx.fillUnderCurve(ys.data(), 60, -20, 1, 30, kBlackCColor);
    ctx.drawCurve(ys.data(), 60, -20, 1, kBlackCColor, 2);
    int outside = 0;
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 40; ++x) {
            const bool in = x >= 10 && x < 15 && y >= 5 && y < 15;
            if (!in) outside += alphaAt(s, x, y) != 0;
        }
    EXPECT_EQ(outside, 0);
    // Local y 3 is surface row 8: the line covers rows 7 and 8 of the surface, the fill below.
    EXPECT_EQ(alphaAt(s, 12, 6), 0);
    EXPECT_EQ(alphaAt(s, 12, 7), 255);
    EXPECT_EQ(alphaAt(s, 12, 14), 255);
    EXPECT_EQ(alphaAt(s, 10, 10), 255);
    EXPECT_EQ(alphaAt(s, 14, 10), 255);
}

TEST(Curves, LineStaysWholeAcrossASteepJump) {
    COffscreenContext ctx(40, 60);
    cairo_surface_t* s = ctx.getSurface();
    std::vector<float> ys(40);
    for (int i = 0; i < 40; ++i) ys[size_t(i)] = i < 20 ? 5.f : 45.f;
    const float width = 1.5f;
    ctx.drawCurve(ys.data(), 40, 0.5f, 1, kBlackCColor, width);
    // Between the two levels the line is nearly upright: each row holds about one line width
    // of ink, with no row left out.
    for (int y = 8; y <= 42; ++y) {
        double ink = 0;
        int strongest = 0;
        for (int x = 14; x < 26; ++x) {
            ink += alphaAt(s, x, y) / 255.0;
            strongest = std::max(strongest, alphaAt(s, x, y));
        }
        EXPECT_NEAR(ink, width, 0.15) << "row " << y;
        EXPECT_GE(strongest, 128) << "row " << y;
    }
    // Level parts: one line width per column, centred on the level.
    for (int x : {5, 30}) {
        double ink = 0;
        for (int y = 0; y < 60; ++y) ink += alphaAt(s, x, y) / 255.0;
        EXPECT_NEAR(ink, width, 0.02) << x;
    }
    // 5 +- 0.75 covers three quarters of rows 4 and 5.
    EXPECT_NEAR(alphaAt(s, 5, 4), level(0.75), 1);
    EXPECT_NEAR(alphaAt(s, 5, 5), level(0.75), 1);
    EXPECT_EQ(alphaAt(s, 5, 3), 0);
    EXPECT_EQ(alphaAt(s, 5, 6), 0);
    EXPECT_EQ(alphaAt(s, 30, 50), 0);
}

namespace {

// Largest and mean difference in alpha between two surfaces of the same size.
struct Difference {
    int largest = 0;
    double mean = 0;
    double inkA = 0, inkB = 0;
};

Difference compare(cairo_surface_t* a, cairo_surface_t* b) {
    Difference d;
    const int w = cairo_image_surface_get_width(a), h = cairo_image_surface_get_height(a);
    long total = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int pa = alphaAt(a, x, y), pb = alphaAt(b, x, y);
            d.largest = std::max(d.largest, std::abs(pa - pb));
            total += std::abs(pa - pb);
            d.inkA += pa / 255.0;
            d.inkB += pb / 255.0;
        }
    d.mean = double(total) / (w * h);
    return d;
}

void cairoPolyline(cairo_t* cr, const std::vector<float>& ys, double x0, double dx, bool fresh = true) {
    if (fresh) cairo_new_path(cr);
    for (size_t i = 0; i < ys.size(); ++i) cairo_line_to(cr, x0 + double(i) * dx, ys[i]);
}

}  // namespace

TEST(Curves, LineLooksLikeCairosStroke) {
    // A smooth curve with level, sloping and steep parts, sampled once a column and also more
    // and less densely.
    for (const double dx : {1.0, 0.5, 2.5})
        for (const float width : {1.f, 1.5f, 2.f}) {
            std::vector<float> ys(size_t(140 / dx));
            for (size_t i = 0; i < ys.size(); ++i) {
                const double x = double(i) * dx;
                ys[i] = float(40 + 25 * std::sin(x / 14) + 6 * std::sin(x / 3.5));
            }
            COffscreenContext ours(150, 80);
            ours.drawCurve(ys.data(), int(ys.size()), 4.5f, float(dx), kBlackCColor, width);

            COffscreenContext theirs(150, 80);
            cairo_t* cr = theirs.getCairo();
            cairoPolyline(cr, ys, 4.5, dx);
            cairo_set_line_width(cr, width);
            cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
            cairo_set_line_cap(cr, CAIRO_LINE_CAP_BUTT);
            cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
            cairo_set_source_rgba(cr, 0, 0, 0, 1);
            cairo_stroke(cr);

            // Within a tenth of full coverage; where sparse samples make sharp corners, whose
            // rounding is taken from the nearest piece's straight edge, within a sixth.
            const Difference d = compare(ours.getSurface(), theirs.getSurface());
            EXPECT_LE(d.largest, dx > 1 ? 42 : 20) << "width " << width << " dx " << dx;
            EXPECT_LT(d.mean, 0.1) << "width " << width << " dx " << dx;
            EXPECT_NEAR(d.inkA, d.inkB, d.inkB * 0.005) << "width " << width << " dx " << dx;
        }
}

TEST(Curves, FillLooksLikeCairosPolygon) {
    for (const double dx : {1.0, 0.5, 2.5}) {
        std::vector<float> ys(size_t(120 / dx));
        for (size_t i = 0; i < ys.size(); ++i) {
            const double d = (double(i) * dx - 60) / 9;
            ys[i] = float(50 - 40 * std::exp(-d * d) + 10 * std::exp(-(d - 3) * (d - 3)));
        }
        COffscreenContext ours(130, 80);
        ours.fillUnderCurve(ys.data(), int(ys.size()), 3.5f, float(dx), 45.5f, kBlackCColor);
        COffscreenContext theirs(130, 80);
        cairo_t* cr = theirs.getCairo();
        cairo_move_to(cr, 3.5, 45.5);
        cairoPolyline(cr, ys, 3.5, dx, false);
        cairo_line_to(cr, 3.5 + double(ys.size() - 1) * dx, 45.5);
        cairo_close_path(cr);
        cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
        cairo_set_source_rgba(cr, 0, 0, 0, 1);
        cairo_fill(cr);
        // cairo's coverage is sampled, ours is the area: a few levels apart at most.
        const Difference d = compare(ours.getSurface(), theirs.getSurface());
        EXPECT_LE(d.largest, 12) << dx;
        // The exact area between the polyline and the baseline, piece by piece.
        double area = 0;
        for (size_t i = 0; i + 1 < ys.size(); ++i) {
            const double a = ys[i] - 45.5, b = ys[i + 1] - 45.5;
            area += dx * ((a * b >= 0) ? std::fabs(a + b) / 2 : (a * a + b * b) / (2 * std::fabs(b - a)));
        }
        EXPECT_NEAR(d.inkA, area, 0.5) << dx;
        EXPECT_NEAR(d.inkB, area, 5.0) << dx;
    }
}

TEST(Curves, OtherSurfacesGetTheSameShapesAsPaths) {
    // A recording surface is not an image: the calls fall back to cairo paths.
    std::vector<float> ys(60);
    for (size_t i = 0; i < ys.size(); ++i) ys[i] = float(20 + 10 * std::sin(double(i) / 8));
    cairo_surface_t* rec = cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, nullptr);
    {
        cairo_t* cr = cairo_create(rec);
        CDrawContext ctx(cr, CRect(0, 0, 70, 40));
        ctx.setOffset(CPoint(3, 2));
        ctx.fillUnderCurve(ys.data(), 60, 0.5f, 1, 30, CColor{0, 0, 0, 100});
        ctx.drawCurve(ys.data(), 60, 0.5f, 1, kBlackCColor, 1.5f);
        cairo_destroy(cr);
    }
    COffscreenContext replayed(70, 40);
    cairo_set_source_surface(replayed.getCairo(), rec, 0, 0);
    cairo_paint(replayed.getCairo());
    cairo_surface_destroy(rec);

    COffscreenContext direct(70, 40);
    direct.setOffset(CPoint(3, 2));
    direct.fillUnderCurve(ys.data(), 60, 0.5f, 1, 30, CColor{0, 0, 0, 100});
    direct.drawCurve(ys.data(), 60, 0.5f, 1, kBlackCColor, 1.5f);
    const Difference d = compare(replayed.getSurface(), direct.getSurface());
    EXPECT_GT(d.inkA, 100);
    EXPECT_LE(d.largest, 40);
    EXPECT_NEAR(d.inkA, d.inkB, d.inkB * 0.01);
}

TEST(Curves, MissingSamplesBreakTheLine) {
    COffscreenContext ctx(40, 20);
    cairo_surface_t* s = ctx.getSurface();
    auto ys = constant(40, 10.5f);
    ys[20] = NAN;
    ctx.drawCurve(ys.data(), 40, 0.5f, 1, kBlackCColor, 1.5f);
    ctx.fillUnderCurve(ys.data(), 40, 0.5f, 1, 15, CColor{0, 0, 0, 60});
    EXPECT_EQ(alphaAt(s, 10, 10), 255);
    EXPECT_EQ(alphaAt(s, 30, 10), 255);
    EXPECT_EQ(alphaAt(s, 20, 10), 0);  // the line stops either side of the hole
    EXPECT_EQ(alphaAt(s, 20, 11), 0);  // and the fill counts the hole as the baseline
    EXPECT_EQ(alphaAt(s, 10, 12), 60);
}

TEST(Curves, ExtremeValuesStayInsideTheClip) {
    // Far-off, infinite and missing values, dense and sparse samples, wide lines: whatever is
    // drawn stays inside the clip.
    const float far = 1e30f, inf = INFINITY;
    const std::vector<std::vector<float>> curves = {
        {-far, far, -far, far, 5, 6}, {inf, -inf, NAN, 3, 4, NAN, 12}, {10, 10.5f, -3000, 4000, 11, 9}};
    int inked = 0;
    for (const auto& ys : curves)
        for (const float dx : {1e-3f, 0.3f, 1.f, 7.f, 1e6f})
            for (const float x0 : {-1e9f, -20.f, 3.5f, 25.f})
                for (const float width : {0.3f, 1.5f, 40.f}) {
                    COffscreenContext ctx(40, 30);
                    ctx.setOffset(CPoint(5, 4));
                    ctx.setClipRect(CRect(2, 3, 22, 18));  // surface 7..27 x 7..22
                    ctx.fillUnderCurve(ys.data(), int(ys.size()), x0, dx, 9.5f, CColor{0, 0, 0, 200});
                    ctx.drawCurve(ys.data(), int(ys.size()), x0, dx, kBlackCColor, width);
                    int outside = 0, inside = 0;
                    for (int y = 0; y < 30; ++y)
                        for (int x = 0; x < 40; ++x) {
                            const bool in = x >= 7 && x < 27 && y >= 7 && y < 22;
                            (in ? inside : outside) += alphaAt(ctx.getSurface(), x, y) != 0;
                        }
                    EXPECT_EQ(outside, 0) << "dx " << dx << " x0 " << x0 << " width " << width;
                    inked += inside > 0;
                }
    EXPECT_GT(inked, 40);  // and a good part of the cases do draw in view
}

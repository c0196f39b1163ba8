// Pixels drawn through CDrawContext into image surfaces, and CDIB pixel memory.

#include <cairo.h>
#include <gtest/gtest.h>

#include <cstdint>

#include "CBitmap.h"
#include "CDIB.h"
#include "CDrawContext.h"
#include "PixelCheck.h"
#include "TextDrawing.h"
#include "TrueTypeText.h"

using namespace VSTGUI;

namespace {

class Drawing : public ::testing::Test {
protected:
    Drawing() : ctx(40, 30) {
        ctx.setFillColor(kWhiteCColor);
        ctx.fillRect(CRect(0, 0, 40, 30));
    }
    cairo_surface_t* s() { return ctx.getSurface(); }
    COffscreenContext ctx;
};

}  // namespace

TEST_F(Drawing, PenLinesCoverOneRowFromStartUpToTheEndPixel) {
    ctx.setFrameColor(kBlackCColor);
    ctx.moveTo(CPoint(2, 5));
    ctx.lineTo(CPoint(8, 5));
    for (int x = 2; x < 8; ++x) EXPECT_TRUE(isColour(at(s(), x, 5), 0, 0, 0)) << x;
    EXPECT_TRUE(isColour(at(s(), 8, 5), 255, 255, 255));
    EXPECT_TRUE(isColour(at(s(), 1, 5), 255, 255, 255));
    EXPECT_TRUE(isColour(at(s(), 5, 4), 255, 255, 255));
    EXPECT_TRUE(isColour(at(s(), 5, 6), 255, 255, 255));
    EXPECT_EQ(ctx.getPenPosition(), CPoint(8, 5));
    // Continuing from the pen fills the corner: a closed outline has no gaps.
    ctx.lineTo(CPoint(8, 12));
    for (int y = 5; y < 12; ++y) EXPECT_TRUE(isColour(at(s(), 8, y), 0, 0, 0)) << y;
    EXPECT_TRUE(isColour(at(s(), 9, 8), 255, 255, 255));
}

TEST_F(Drawing, AlphaBlendsOverWhatIsThere) {
    ctx.setFillColor(CColor{0, 0, 0, 128});
    ctx.fillRect(CRect(0, 0, 10, 10));
    EXPECT_TRUE(isColour(at(s(), 5, 5), 127, 127, 127, 1));
    EXPECT_EQ(at(s(), 5, 5).a, 255);
}

TEST_F(Drawing, FilledPolygonAndPathCoverInsideOnly) {
    const CPoint tri[] = {{0, 0}, {20, 0}, {0, 20}};
    ctx.setFillColor(kRedCColor);
    ctx.drawPolygon(tri, 3, kDrawFilled);
    EXPECT_TRUE(isColour(at(s(), 3, 3), 255, 0, 0));
    EXPECT_TRUE(isColour(at(s(), 15, 15), 255, 255, 255));

    // One path, filled and stroked at once, as band curves are drawn.
    ctx.setFillColor(kBlueCColor);
    ctx.setFrameColor(kGreenCColor);
    ctx.setLineWidth(1);
    ctx.beginPath();
    ctx.pathMoveTo(CPoint(25, 5));
    ctx.pathLineTo(CPoint(35, 5));
    ctx.pathLineTo(CPoint(35, 25));
    ctx.pathLineTo(CPoint(25, 25));
    ctx.closePath();
    ctx.drawPath(kDrawFilledAndStroked);
    EXPECT_TRUE(isColour(at(s(), 30, 15), 0, 0, 255));
    EXPECT_GT(at(s(), 35, 15).g, 100);  // on the outline
    EXPECT_TRUE(isColour(at(s(), 38, 15), 255, 255, 255));
}

TEST_F(Drawing, ClipAndOffsetWorkTogether) {
    ctx.setOffset(CPoint(10, 10));
    ctx.setClipRect(CRect(0, 0, 5, 5));  // local: the surface's 10..15
    CRect clip;
    EXPECT_EQ(ctx.getClipRect(clip), CRect(0, 0, 5, 5));
    EXPECT_EQ(ctx.getAbsoluteClipRect(), CRect(10, 10, 15, 15));
    ctx.setFillColor(kBlackCColor);
    ctx.fillRect(CRect(-10, -10, 30, 30));
    EXPECT_TRUE(isColour(at(s(), 10, 10), 0, 0, 0));
    EXPECT_TRUE(isColour(at(s(), 14, 14), 0, 0, 0));
    EXPECT_TRUE(isColour(at(s(), 15, 14), 255, 255, 255));
    EXPECT_TRUE(isColour(at(s(), 9, 10), 255, 255, 255));
    EXPECT_TRUE(isColour(at(s(), 0, 0), 255, 255, 255));
}

TEST_F(Drawing, BitmapsDrawWithSourceOffsetAndAlpha) {
    // Two frames stacked: red on top, half-transparent black below.
    CBitmap strip(4, 8);
    {
        CDrawContext b(strip.getSurface());
        b.setFillColor(kRedCColor);
        b.fillRect(CRect(0, 0, 4, 4));
        b.setFillColor(CColor{0, 0, 0, 128});
        b.fillRect(CRect(0, 4, 4, 8));
    }
    strip.draw(&ctx, CRect(0, 0, 4, 4));
    strip.draw(&ctx, CRect(10, 0, 14, 4), CPoint(0, 4));
    EXPECT_TRUE(isColour(at(s(), 2, 2), 255, 0, 0));
    EXPECT_TRUE(isColour(at(s(), 12, 2), 127, 127, 127, 1));
    EXPECT_TRUE(isColour(at(s(), 2, 5), 255, 255, 255));  // the frame below is not drawn

    strip.drawAlphaBlend(&ctx, CRect(20, 0, 24, 4), CPoint(), 128);
    EXPECT_TRUE(isColour(at(s(), 22, 2), 255, 127, 127, 1));

    // Without alpha the bitmap's pixels replace the target's.
    strip.setNoAlpha(true);
    strip.draw(&ctx, CRect(30, 0, 34, 4), CPoint(0, 4));
    EXPECT_EQ(at(s(), 32, 2).a, 128);
}

TEST(CDIB, CoverageIsPremultipliedAndStaysBelowFull) {
    const uint8_t cov[] = {255, 128, 0, 64};
    CDIB red(cov, 2, 2, 0x0000ff);  // red in the low byte
    ASSERT_NE(red.pixels, nullptr);
    EXPECT_EQ(red.stride, 8);
    EXPECT_EQ(red.isSection, 1);
    const uint8_t* p = red.pixels;
    EXPECT_EQ(p[0], 0);
    EXPECT_EQ(p[1], 0);
    EXPECT_EQ(p[2], 254);
    EXPECT_EQ(p[3], 255);
    EXPECT_EQ(p[4 + 2], (128 * 255) >> 8);
    EXPECT_EQ(p[4 + 3], 128);
    EXPECT_EQ(p[8 + 3], 0);
    EXPECT_EQ(p[8 + 2], 0);

    const uint8_t full[] = {255};
    CDIB grey(full, 1, 1, 0x804020);
    EXPECT_EQ(grey.pixels[0], (255 * 0x80) >> 8);  // blue from bits 16..23
    EXPECT_EQ(grey.pixels[1], (255 * 0x40) >> 8);
    EXPECT_EQ(grey.pixels[2], (255 * 0x20) >> 8);
}

TEST(CDIB, MissingResourceKeepsAnEmptyBitmapInTheCache) {
    CDIB* a = BitmapCache::get(987654);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->pixels, nullptr);
    EXPECT_EQ(a->isSection, 0);
    EXPECT_EQ(BitmapCache::get(987654), a);
    EXPECT_EQ(BitmapCache::get(0), nullptr);
}

TEST(CDIB, CopyRectMovesBytesAndStaysInside) {
    CDIB src(4, 4, true), dst(4, 4, true);
    for (int i = 0; i < 16 * 4; ++i) src.pixels[i] = uint8_t(i);
    copyRect(&src, &dst, CRect(1, 1, 3, 3), CPoint(2, 0));
    EXPECT_EQ(dst.pixels[(1 * 4 + 1) * 4], src.pixels[(0 * 4 + 2) * 4]);
    EXPECT_EQ(dst.pixels[(2 * 4 + 2) * 4 + 3], src.pixels[(1 * 4 + 3) * 4 + 3]);
    EXPECT_EQ(dst.pixels[0], 0);
    // Reaching past the source's right edge copies only what exists.
    copyRect(&src, &dst, CRect(0, 0, 4, 1), CPoint(3, 3));
    EXPECT_EQ(dst.pixels[0], src.pixels[(3 * 4 + 3) * 4]);
    EXPECT_EQ(dst.pixels[4], 0);
}

TEST(CDIB, PngResourceLoadsAsAPrivateCopyWithItsSize) {
    CDIB strip(101);  // the small glyph strip, 476 x 9
    ASSERT_NE(strip.pixels, nullptr);
    EXPECT_EQ(strip.getWidth(), 476);
    EXPECT_EQ(strip.getHeight(), 9);
    EXPECT_EQ(strip.stride, 476 * 4);
    EXPECT_EQ(strip.isSection, 0);
    int inked = 0;
    for (int i = 0; i < 476 * 9; ++i) inked += strip.pixels[i * 4 + 1] > 128;
    EXPECT_GT(inked, 100);  // white glyphs on black
}

TEST_F(Drawing, PngBitmapsDrawRepeatedlyAsLoaded) {
    // An opaque image (the glyph strip: white ink on black) and one with alpha (a button).
    CBitmap strip(101), button(804);
    ASSERT_EQ(strip.getWidth(), 476);
    ASSERT_EQ(button.getWidth(), 22);
    for (int round = 0; round < 2; ++round) {
        strip.draw(&ctx, CRect(0, 0, 7, 9), CPoint(0, 0));
        button.drawAlphaBlend(&ctx, CRect(10, 0, 32, 19), CPoint(0, 0));
    }
    int white = 0, black = 0, inked = 0;
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 7; ++x) {
            const Pixel p = at(s(), x, y);
            white += isColour(p, 255, 255, 255, 40);
            black += isColour(p, 0, 0, 0, 40);
        }
    for (int y = 0; y < 19; ++y)
        for (int x = 10; x < 32; ++x) inked += !isColour(at(s(), x, y), 255, 255, 255);
    EXPECT_GT(white, 3);
    EXPECT_GT(black, 20);
    EXPECT_GT(inked, 20);
    EXPECT_TRUE(isColour(at(s(), 8, 4), 255, 255, 255));  // between the two: untouched
}

TEST_F(Drawing, TrueTypeTextHonoursClipOffsetAndCentring) {
    const stbtt_fontinfo* font = FontCache::get("FUTURAB");
    ASSERT_NE(font, nullptr);
    const TextMetrics m = measureText(font, "MM", 20.f);
    ASSERT_GT(m.width, 0);
    const auto inkIn = [&](int x0, int x1, int y0, int y1) {
        int n = 0;
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x) n += at(s(), x, y).r < 200;
        return n;
    };

    // Centred in a 40-wide box at local 0: starts at (40 - width) / 2.
    drawText(&ctx, CRect(0, 0, 40, 30), font, "MM", 20.f, true, true, 0x000000);
    const int left = (40 - m.width) / 2;
    EXPECT_EQ(inkIn(0, left, 0, 30), 0);
    EXPECT_GT(inkIn(left, left + m.width, 0, 30), 20);

    // With an offset, the clip cuts the text in surface coordinates.
    ctx.setFillColor(kWhiteCColor);
    ctx.fillRect(CRect(0, 0, 40, 30));
    ctx.setOffset(CPoint(10, 5));
    ctx.setClipRect(CRect(0, 0, 8, 25));
    drawText(&ctx, CRect(0, 0, 30, 25), font, "MM", 20.f, false, false, 0x000000);
    EXPECT_GT(inkIn(10, 18, 5, 30), 5);
    EXPECT_EQ(inkIn(18, 40, 0, 30), 0);
    EXPECT_EQ(inkIn(0, 10, 0, 30), 0);

    // Nothing to draw.
    drawText(&ctx, CRect(0, 0, 30, 25), font, "", 20.f, false, false, 0);
    drawText(&ctx, CRect(0, 0, 30, 25), nullptr, "MM", 20.f, false, false, 0);
}

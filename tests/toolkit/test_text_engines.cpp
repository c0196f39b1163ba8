#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "BitmapFont.h"
#include "Resources.h"
#include "TrueTypeText.h"

namespace {

// ---------------------------------------------------------------------------------------------
// TrueType text

long inkOf(const TextCoverage& t) { return std::accumulate(t.bytes.begin(), t.bytes.end(), 0L); }

bool rowHasInk(const TextCoverage& t, int row) {
    for (int x = 0; x < t.width; ++x)
        if (t.bytes[static_cast<size_t>(row * t.width + x)] != 0) return true;
    return false;
}

TEST(TrueTypeText, EmbeddedFontIsLoadedOnceAndUnknownNamesGiveNull) {
    const stbtt_fontinfo* font = FontCache::get("FUTURAB");
    ASSERT_NE(font, nullptr);
    EXPECT_EQ(FontCache::get("FUTURAB"), font);
    EXPECT_EQ(FontCache::get("futurab"), font);
    EXPECT_EQ(FontCache::get("NO-SUCH-FONT"), nullptr);
    EXPECT_EQ(FontCache::get(nullptr), nullptr);
}

TEST(TrueTypeText, EmptyTextOrNoFontGivesNothing) {
    const stbtt_fontinfo* font = FontCache::get("FUTURAB");
    ASSERT_NE(font, nullptr);
    for (const TextCoverage& t : {rasteriseText(font, "", 15.0f), rasteriseText(nullptr, "Gain", 15.0f),
                                  rasteriseText(font, nullptr, 15.0f)}) {
        EXPECT_EQ(t.width, 0);
        EXPECT_TRUE(t.bytes.empty());
    }
    EXPECT_EQ(measureText(font, "", 12.0f).width, 0);
}

TEST(TrueTypeText, WidthGrowsWithTextAndSizeAndMatchesTheMeasure) {
    const stbtt_fontinfo* font = FontCache::get("FUTURAB");
    ASSERT_NE(font, nullptr);
    const int w1 = rasteriseText(font, "S", 15.0f).width;
    const int w2 = rasteriseText(font, "SE", 15.0f).width;
    const int w3 = rasteriseText(font, "SET", 15.0f).width;
    EXPECT_GT(w1, 0);
    EXPECT_GT(w2, w1);
    EXPECT_GT(w3, w2);
    EXPECT_GT(rasteriseText(font, "SET", 30.0f).width, w3 * 3 / 2);

    const TextCoverage t = rasteriseText(font, "Setup Wizard...", 13.0f);
    const TextMetrics m = measureText(font, "Setup Wizard...", 13.0f);
    EXPECT_EQ(m.width, t.width);
    EXPECT_EQ(m.height, t.height);
    EXPECT_EQ(m.baseline, t.baseline);
    EXPECT_EQ(t.bytes.size(), static_cast<size_t>(t.width * t.height));
}

TEST(TrueTypeText, KerningPullsPairsTogetherWithoutErasingTheNeighbour) {
    const stbtt_fontinfo* font = FontCache::get("FUTURAB");
    ASSERT_NE(font, nullptr);
    const float size = 40.0f;
    const TextCoverage a = rasteriseText(font, "A", size);
    const TextCoverage v = rasteriseText(font, "V", size);
    const TextCoverage av = rasteriseText(font, "AV", size);
    const TextCoverage h = rasteriseText(font, "H", size);
    const TextCoverage hh = rasteriseText(font, "HH", size);
    // An unkerned pair is the sum of its letters, give or take the rounding of one pen end.
    EXPECT_NEAR(hh.width, 2 * h.width, 1);
    // A and V overlap by several pixels at this size.
    EXPECT_LT(av.width, a.width + v.width - 3);
    // Overlapping glyphs add up: the V may only add to the A, never wipe out its right foot.
    ASSERT_EQ(av.height, a.height);
    int lower = 0;
    for (int y = 0; y < a.height; ++y)
        for (int x = 0; x < a.width; ++x)
            lower += av.bytes[static_cast<size_t>(y * av.width + x)] < a.bytes[static_cast<size_t>(y * a.width + x)];
    EXPECT_EQ(lower, 0);
    EXPECT_GT(inkOf(av), inkOf(a) + inkOf(v) * 9 / 10);
}

TEST(TrueTypeText, GlyphsSitOnTheBaselineAndDescendersGoBelow) {
    const stbtt_fontinfo* font = FontCache::get("FUTURAB");
    ASSERT_NE(font, nullptr);
    const TextCoverage flat = rasteriseText(font, "HEX", 24.0f);
    ASSERT_GT(flat.baseline, 10);
    ASSERT_EQ(flat.height, flat.baseline + 1);
    EXPECT_TRUE(rowHasInk(flat, flat.baseline - 1));
    EXPECT_FALSE(rowHasInk(flat, flat.baseline));

    const TextCoverage deep = rasteriseText(font, "Hgjpy", 24.0f);
    EXPECT_EQ(deep.baseline, flat.baseline);
    EXPECT_GT(deep.height, flat.height + 2);
    EXPECT_TRUE(rowHasInk(deep, deep.height - 1));
    // Solid stems reach full coverage.
    EXPECT_NE(std::find(flat.bytes.begin(), flat.bytes.end(), 255), flat.bytes.end());
}

TEST(TrueTypeText, Utf8SequencesAreOneCharacterEach) {
    const stbtt_fontinfo* font = FontCache::get("FUTURAB");
    ASSERT_NE(font, nullptr);
    // "é" in two bytes must take one letter's room, not two unknown ones.
    EXPECT_NEAR(measureText(font, "\xC3\xA9", 20.0f).width, measureText(font, "e", 20.0f).width, 1);
    EXPECT_NEAR(measureText(font, "x\xE2\x80\x93x", 20.0f).width,
                measureText(font, "xx", 20.0f).width + measureText(font, "\xE2\x80\x93", 20.0f).width, 1);
    // A sequence cut short by the end of the text stops there.
    EXPECT_GT(measureText(font, "ab\xE2\x80", 20.0f).width, 0);
}

// ---------------------------------------------------------------------------------------------
// BitmapFont over a synthetic strip

struct Image {
    std::vector<uint8_t> bytes;
    PixelBuffer buffer;
    Image(int w, int h, uint8_t fill = 0) : bytes(static_cast<size_t>(w * h * 4), fill) {
        buffer = PixelBuffer{bytes.data(), w, h, w * 4};
    }
    uint8_t* at(int x, int y) { return &bytes[static_cast<size_t>(y * buffer.stride + x * 4)]; }
};

// A strip whose cell g holds a solid glyph of `inked(g)` columns; column c of a glyph has
// coverage 100 + 10 * c in every channel, so a copied column can be recognised.
Image makeStrip(int width, int height, int (*inked)(int)) {
    Image strip(width, height);
    const int cell = height == 11 ? 9 : 7;
    for (int g = 0; g < width / cell; ++g)
        for (int c = 0; c < std::min(inked(g), cell); ++c)
            for (int y = 0; y < height; ++y) {
                uint8_t* p = strip.at(g * cell + c, y);
                p[0] = p[1] = p[2] = static_cast<uint8_t>(100 + 10 * c);
                p[3] = 255;
            }
    return strip;
}

int cyclingWidths(int g) { return g % 7 + 1; }  // 1..7
int fullCells(int g) { return g == 3 ? 0 : 9; }

int glyphOf(char c) { return static_cast<int>(std::strchr(BitmapFont::kGlyphOrder, c) - BitmapFont::kGlyphOrder); }

TEST(BitmapFont, StripShapeSetsCellsSpacingAndWhichCharactersExist) {
    const Image small = makeStrip(476, 9, cyclingWidths);
    const BitmapFont f101(small.buffer);
    EXPECT_EQ(f101.cellWidth(), 7);
    EXPECT_EQ(f101.rows(), 9);
    EXPECT_EQ(f101.spacing(), 1);
    EXPECT_EQ(f101.glyphCount(), 68);
    EXPECT_GT(f101.charWidth('#'), 0);
    EXPECT_EQ(f101.charWidth(':'), 0);
    EXPECT_EQ(f101.charWidth('/'), 0);
    EXPECT_EQ(f101.charWidth(' '), 4);

    const Image large = makeStrip(621, 11, fullCells);
    const BitmapFont f102(large.buffer);
    EXPECT_EQ(f102.cellWidth(), 9);
    EXPECT_EQ(f102.rows(), 11);
    EXPECT_EQ(f102.spacing(), 2);
    EXPECT_EQ(f102.glyphCount(), 69);
    EXPECT_EQ(f102.charWidth(':'), 11);
    EXPECT_EQ(f102.charWidth('/'), 0);
    EXPECT_EQ(f102.charWidth(' '), 5);
}

TEST(BitmapFont, MeasuresEachGlyphFromItsRightmostInkedColumn) {
    const Image strip = makeStrip(476, 9, cyclingWidths);
    const BitmapFont font(strip.buffer);
    for (int g = 0; g < font.glyphCount(); ++g) EXPECT_EQ(font.glyphWidth(g), g % 7 + 1) << "glyph " << g;

    // One inked pixel in the last row of a column is enough; an empty cell still measures 1.
    Image sparse(476, 9);
    sparse.at(7 * 5 + 4, 8)[0] = 1;
    const BitmapFont sparseFont(sparse.buffer);
    EXPECT_EQ(sparseFont.glyphWidth(5), 5);
    EXPECT_EQ(sparseFont.glyphWidth(6), 1);

    // Widths add up with the spacing after every glyph; unknown characters count nothing.
    const int expected = (glyphOf('A') % 7 + 1) + 1 + (glyphOf('z') % 7 + 1) + 1 + 4 + (glyphOf('0') % 7 + 1) + 1;
    EXPECT_EQ(font.textWidth("Az !0\x80"), expected);
}

TEST(BitmapFont, CharactersItCannotDrawAdvanceNothingAndLeaveTheTargetAlone) {
    const Image small = makeStrip(476, 9, fullCells);
    const BitmapFont f101(small.buffer);
    const Image large = makeStrip(621, 11, fullCells);
    const BitmapFont f102(large.buffer);
    Image target(40, 12, 7);
    const std::vector<uint8_t> before = target.bytes;

    EXPECT_EQ(f101.drawText(target.buffer, 2, 0, ":", 0xFFFFFF, 1.0f), 0);
    EXPECT_EQ(f101.drawText(target.buffer, 2, 0, "/", 0xFFFFFF, 1.0f), 0);
    EXPECT_EQ(f102.drawText(target.buffer, 2, 0, "/", 0xFFFFFF, 1.0f), 0);
    EXPECT_EQ(f101.drawText(target.buffer, 2, 0, "!?\xE9", 0xFFFFFF, 1.0f), 0);
    EXPECT_EQ(f101.drawText(target.buffer, 2, 0, "  ", 0xFFFFFF, 1.0f), 8);
    EXPECT_EQ(f102.drawText(target.buffer, 2, 0, " ", 0xFFFFFF, 1.0f), 5);
    EXPECT_EQ(f101.drawText(target.buffer, 40, 0, "A", 0xFFFFFF, 1.0f), 0);
    EXPECT_EQ(f101.drawText(target.buffer, 41, 0, " ", 0xFFFFFF, 1.0f), 0);
    EXPECT_EQ(target.bytes, before);

    EXPECT_EQ(f102.drawText(target.buffer, 2, 0, ":", 0xFFFFFF, 1.0f), 11);
    EXPECT_NE(target.bytes, before);
}

TEST(BitmapFont, GlyphsAreCutAtEveryEdgeOfTheTarget) {
    const Image strip = makeStrip(476, 9, fullCells);  // every glyph 7 wide
    const BitmapFont font(strip.buffer);
    const int spacing = font.spacing();

    // Left edge: two columns cut, the rest copied from the glyph's third column on.
    Image left(20, 9);
    EXPECT_EQ(font.drawText(left.buffer, -2, 0, "B", 0xFFFFFF, 1.0f), 5 + spacing);
    EXPECT_EQ(left.at(0, 4)[0], 120);
    EXPECT_EQ(left.at(4, 4)[0], 160);
    EXPECT_EQ(left.at(5, 4)[0], 0);
    // Wholly left of the target: nothing drawn, no advance.
    EXPECT_EQ(font.drawText(left.buffer, -7, 0, "B", 0xFFFFFF, 1.0f), 0);

    // Right edge: the target is exactly as wide as the kept columns (a write past it trips ASan).
    Image right(10, 9);
    EXPECT_EQ(font.drawText(right.buffer, 7, 0, "B", 0xFFFFFF, 1.0f), 3 + spacing);
    EXPECT_EQ(right.at(9, 0)[0], 120);

    // Top and bottom: rows outside are skipped.
    Image shallow(10, 5);
    font.drawText(shallow.buffer, 0, -6, "B", 0xFFFFFF, 1.0f);
    for (int y = 0; y < 5; ++y) EXPECT_EQ(shallow.at(0, y)[0], y < 3 ? 100 : 0) << "row " << y;
    Image low(10, 5);
    font.drawText(low.buffer, 0, 3, "B", 0xFFFFFF, 1.0f);
    for (int y = 0; y < 5; ++y) EXPECT_EQ(low.at(0, y)[0], y >= 3 ? 100 : 0) << "row " << y;
}

TEST(BitmapFont, BlendsEachChannelOnItsOwnAndKeepsTheTargetAlpha) {
    // Glyph 0 ("0"), column 0 has coverage blue 255, green 128, red 0.
    Image strip(476, 9);
    for (int y = 0; y < 9; ++y) {
        strip.at(0, y)[0] = 255;
        strip.at(0, y)[1] = 128;
    }
    const BitmapFont font(strip.buffer);
    const uint32_t colour = 0x204080;  // red 0x80, green 0x40, blue 0x20

    Image target(4, 9);
    for (int y = 0; y < 9; ++y) {
        uint8_t* p = target.at(0, y);
        p[0] = 10, p[1] = 100, p[2] = 200, p[3] = 77;
    }
    EXPECT_EQ(font.drawText(target.buffer, 0, 0, "0", colour, 1.0f), 2);
    // blue: 10 + (32 - 10) * 255 / 255; green: 100 + trunc((64 - 100) * 128 / 255) = 100 - 18.
    EXPECT_EQ(target.at(0, 0)[0], 32);
    EXPECT_EQ(target.at(0, 0)[1], 82);
    EXPECT_EQ(target.at(0, 0)[2], 200);
    EXPECT_EQ(target.at(0, 0)[3], 77);

    for (int y = 0; y < 9; ++y) {
        uint8_t* p = target.at(0, y);
        p[0] = 10, p[1] = 100, p[2] = 200, p[3] = 77;
    }
    font.drawText(target.buffer, 0, 0, "0", colour, 0.5f);
    // blue: 10 + 22 * 255 * 0.5 / 255 = 21; green: 100 + trunc(-36 * 128 * 0.5 / 255 = -9.04).
    EXPECT_EQ(target.at(0, 8)[0], 21);
    EXPECT_EQ(target.at(0, 8)[1], 91);
    EXPECT_EQ(target.at(0, 8)[2], 200);
    EXPECT_EQ(target.at(0, 8)[3], 77);
}

TEST(BitmapFont, EveryColumnOfAWideGlyphIsWritten) {
    // Seven columns: one group of four and three left over.
    const Image strip = makeStrip(476, 9, fullCells);
    const BitmapFont font(strip.buffer);
    Image target(16, 9);
    font.drawText(target.buffer, 1, 0, "Q", 0xFFFFFF, 1.0f);
    for (int x = 0; x < 16; ++x) EXPECT_EQ(target.at(x, 8)[2], x >= 1 && x <= 7 ? 100 + 10 * (x - 1) : 0) << x;
}

TEST(BitmapFont, FixedPitchCentresGlyphsInWholeCells) {
    Image strip(476, 9);
    for (int y = 0; y < 9; ++y) strip.at(glyphOf('1') * 7, y)[0] = 255;  // "1" is one column wide
    BitmapFont font(strip.buffer);
    EXPECT_EQ(font.textWidth("11"), 4);
    font.setFixedPitch(true);
    EXPECT_EQ(font.textWidth("11"), 16);
    Image target(20, 9);
    EXPECT_EQ(font.drawText(target.buffer, 0, 0, "11", 0xFF0000, 1.0f), 16);
    for (int x = 0; x < 20; ++x) EXPECT_EQ(target.at(x, 0)[0], x == 3 || x == 11 ? 255 : 0) << x;
}

// ---------------------------------------------------------------------------------------------
// The shipped strips

struct Png {
    cairo_surface_t* surface = nullptr;
    PixelBuffer buffer;
    explicit Png(int number) {
        ResourceData data{};
        if (!findResource("PNG", number, &data)) return;
        struct Reader {
            const unsigned char* p;
            size_t left;
        } reader{data.data, data.size};
        surface = cairo_image_surface_create_from_png_stream(
            [](void* closure, unsigned char* out, unsigned int length) {
                auto* r = static_cast<Reader*>(closure);
                if (length > r->left) return CAIRO_STATUS_READ_ERROR;
                std::memcpy(out, r->p, length);
                r->p += length;
                r->left -= length;
                return CAIRO_STATUS_SUCCESS;
            },
            &reader);
        cairo_surface_flush(surface);
        buffer = PixelBuffer{cairo_image_surface_get_data(surface), cairo_image_surface_get_width(surface),
                             cairo_image_surface_get_height(surface), cairo_image_surface_get_stride(surface)};
    }
    ~Png() { cairo_surface_destroy(surface); }
};

TEST(BitmapFont, ShippedStripsHoldEveryGlyphAtALegibleWidth) {
    for (int number : {101, 102}) {
        const Png png(number);
        ASSERT_NE(png.buffer.pixels, nullptr) << number;
        const BitmapFont font(png.buffer);
        EXPECT_EQ(font.glyphCount(), number == 101 ? 68 : 69);
        for (int g = 0; g < font.glyphCount(); ++g) {
            const bool stroke = std::strchr(".,:Iil", BitmapFont::kGlyphOrder[g]) != nullptr;
            EXPECT_GE(font.glyphWidth(g), stroke ? 1 : 2) << number << " glyph " << BitmapFont::kGlyphOrder[g];
            EXPECT_LT(font.glyphWidth(g), font.cellWidth() + 1);
        }
        EXPECT_GT(font.glyphWidth(glyphOf('W')), font.glyphWidth(glyphOf('l')));
        EXPECT_GT(font.glyphWidth(glyphOf('m')), font.glyphWidth(glyphOf('i')));
        // The strip is opaque, and each glyph starts at the left edge of its cell.
        for (int g = 0; g < font.glyphCount(); ++g) {
            int firstColumnInk = 0, nextColumnInk = 0;
            for (int y = 0; y < png.buffer.height; ++y) {
                const uint8_t* p = png.buffer.pixels + y * png.buffer.stride + g * font.cellWidth() * 4;
                firstColumnInk += p[0];
                nextColumnInk += p[4];
                EXPECT_EQ(p[3], 255);
            }
            EXPECT_GT(firstColumnInk + nextColumnInk, 0) << number << " glyph " << BitmapFont::kGlyphOrder[g];
        }
    }
}

}  // namespace

#pragma once
// Text from a glyph strip: one row of equal cells, white glyphs on black, each glyph at the left
// of its cell. Writes straight into 32-bit pixel memory (see PixelBuffer), no drawing context.
//
// Cell i shows the i-th character of kGlyphOrder; a strip holds as many of them as whole cells
// fit in its width. A strip 11 pixels high has cells 9 wide and 2 pixels between glyphs; any
// other strip has cells 7 wide and 1 pixel between glyphs.

#include <array>
#include <cstddef>
#include <cstdint>

#include "PixelBuffer.h"

class BitmapFont {
public:
    static constexpr const char* kGlyphOrder = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz.%-,+#:/";
    static constexpr int kSpaceWidth = 3;

    // Reads the strip's pixels only here (to measure the glyphs) and in drawText, so the strip
    // must outlive the font and must not change.
    explicit BitmapFont(const PixelBuffer& strip);

    // Draws `text` with its top-left corner at (x, y) and returns how far x advanced.
    // `colour` has red in its low byte; `alpha` from 0 to 1 scales the strip's coverage. The
    // target's alpha bytes are left as they are.
    int drawText(PixelBuffer& target, int x, int y, const char* text, uint32_t colour, float alpha = 1.0f) const;

    // One character, as drawText draws it; returns its advance (0 for anything not drawn).
    int drawChar(PixelBuffer& target, int x, int y, unsigned char c, uint32_t colour, float alpha = 1.0f) const;

    // Advance of `text` with nothing cut off.
    int textWidth(const char* text) const;
    // Advance of one character with nothing cut off: 0 for a character the strip lacks.
    int charWidth(unsigned char c) const;

    // Glyph number of a character, or 255 when the strip has none.
    int glyphOf(unsigned char c) const { return glyphOfChar_[c]; }
    // Measured width of glyph g in pixels (1 to cellWidth); 0 for g outside the strip.
    int glyphWidth(int g) const { return g >= 0 && g < glyphCount_ ? glyphWidth_[static_cast<size_t>(g)] : 0; }

    int cellWidth() const { return cellWidth_; }
    int rows() const { return rows_; }
    int spacing() const { return spacing_; }
    int glyphCount() const { return glyphCount_; }

    // Fixed pitch: every glyph advances a whole cell and is centred in it.
    void setFixedPitch(bool on) { fixedPitch_ = on; }
    bool fixedPitch() const { return fixedPitch_; }

private:
    PixelBuffer strip_;
    int cellWidth_ = 7;
    int rows_ = 9;
    int spacing_ = 1;
    int glyphCount_ = 0;
    bool fixedPitch_ = false;
    std::array<uint8_t, 256> glyphOfChar_{};
    std::array<uint8_t, 256> glyphWidth_{};
};

#include "BitmapFont.h"

#include <algorithm>
#include <cstring>

BitmapFont::BitmapFont(const PixelBuffer& strip) : strip_(strip) {
    if (strip_.height == 11) {
        cellWidth_ = 9;
        rows_ = 11;
        spacing_ = 2;
    }
    glyphOfChar_.fill(255);
    if (strip_.pixels == nullptr || strip_.width <= 0 || strip_.height <= 0) return;

    // Glyph numbers are bytes and 255 means "none".
    glyphCount_ = std::min(strip_.width / cellWidth_, 255);
    const int ordered = std::min(glyphCount_, static_cast<int>(std::strlen(kGlyphOrder)));
    for (int i = 0; i < ordered; ++i) glyphOfChar_[static_cast<unsigned char>(kGlyphOrder[i])] = static_cast<uint8_t>(i);
    glyphOfChar_[' '] = 0;

    // A glyph's width: trim blank columns from the right of its cell, keeping at least one.
    const int rowsInStrip = std::min(rows_, strip_.height);
    for (int g = 0; g < glyphCount_; ++g) {
        int width = cellWidth_;
        while (width > 1) {
            const int column = g * cellWidth_ + width - 1;
            int sum = 0;
            for (int row = 0; row < rowsInStrip; ++row) sum += strip_.pixels[row * strip_.stride + column * 4];
            if (sum != 0) break;
            --width;
        }
        glyphWidth_[static_cast<size_t>(g)] = static_cast<uint8_t>(width);
    }
}

int BitmapFont::charWidth(unsigned char c) const {
    const int g = glyphOfChar_[c];
    if (g >= glyphCount_) return 0;
    if (c == ' ') return kSpaceWidth + spacing_;
    return (fixedPitch_ ? cellWidth_ : glyphWidth_[static_cast<size_t>(g)]) + spacing_;
}

int BitmapFont::textWidth(const char* text) const {
    int width = 0;
    if (text == nullptr) return 0;
    for (const char* p = text; *p != 0; ++p) width += charWidth(static_cast<unsigned char>(*p));
    return width;
}

int BitmapFont::drawText(PixelBuffer& target, int x, int y, const char* text, uint32_t colour, float alpha) const {
    if (text == nullptr) return 0;
    const int start = x;
    for (const char* p = text; *p != 0; ++p) x += drawChar(target, x, y, static_cast<unsigned char>(*p), colour, alpha);
    return x - start;
}

namespace {

// new = old + (colour - old) * coverage * alpha / 255, truncated, for blue, green and red on
// their own; the product is formed in integers first so that full coverage lands exactly.
inline void blendPixel(uint8_t* dst, const uint8_t* src, const int* bgr, float alpha) {
    for (int ch = 0; ch < 3; ++ch) {
        const int old = dst[ch];
        const int change = static_cast<int>(static_cast<float>((bgr[ch] - old) * src[ch]) * alpha / 255.0f);
        dst[ch] = static_cast<uint8_t>(old + change);
    }
}

}  // namespace

int BitmapFont::drawChar(PixelBuffer& target, int x, int y, unsigned char c, uint32_t colour, float alpha) const {
    const int g = glyphOfChar_[c];
    if (g >= glyphCount_ || x >= target.width) return 0;
    if (c == ' ') return kSpaceWidth + spacing_;

    const int width = glyphWidth_[static_cast<size_t>(g)];
    const int fullWidth = fixedPitch_ ? cellWidth_ : width;
    int dstX = x + (fixedPitch_ ? (cellWidth_ - width) / 2 : 0);
    int srcX = g * cellWidth_;
    int columns = width;
    if (dstX < 0) {
        srcX -= dstX;
        columns += dstX;
        dstX = 0;
    }
    columns = std::min(columns, target.width - dstX);
    if (columns <= 0) return 0;
    const int advance = fullWidth - (width - columns) + spacing_;
    if (target.pixels == nullptr) return advance;

    // Pixels are stored blue first; the caller's colour has red first.
    const int bgr[3] = {static_cast<int>((colour >> 16) & 0xFF), static_cast<int>((colour >> 8) & 0xFF),
                        static_cast<int>(colour & 0xFF)};
    const int firstRow = std::max(0, -y);
    const int lastRow = std::min({rows_, strip_.height, target.height - y});
    for (int row = firstRow; row < lastRow; ++row) {
        const uint8_t* src = strip_.pixels + row * strip_.stride + srcX * 4;
        uint8_t* dst = target.pixels + (y + row) * target.stride + dstX * 4;
        int col = 0;
        for (; col + 4 <= columns; col += 4) {
            blendPixel(dst + col * 4, src + col * 4, bgr, alpha);
            blendPixel(dst + col * 4 + 4, src + col * 4 + 4, bgr, alpha);
            blendPixel(dst + col * 4 + 8, src + col * 4 + 8, bgr, alpha);
            blendPixel(dst + col * 4 + 12, src + col * 4 + 12, bgr, alpha);
        }
        for (; col < columns; ++col) blendPixel(dst + col * 4, src + col * 4, bgr, alpha);
    }
    return advance;
}

#pragma once
// TrueType text for the editor: the embedded fonts, and text rasterised to one byte of coverage
// a pixel with stb_truetype. Everything here lives in the global namespace, like PixelBuffer.
//
// The caches are filled on first use and live until the process ends. They hold no lock: only
// the editor's thread reaches them.

#include <cstdint>
#include <vector>

struct stbtt_fontinfo;

namespace FontCache {
// The font of the resource of type "TTF" with this name ("FUTURAB"), loaded once for the whole
// process; null when there is no such resource or it is not a font.
const stbtt_fontinfo* get(const char* name);
}  // namespace FontCache

struct TextMetrics {
    int width = 0;     // the pen's end, rounded up
    int height = 0;    // baseline + deepest extent below it + 1
    int baseline = 0;  // ascent at this size, truncated: row of the baseline from the top
};

struct TextCoverage {
    std::vector<uint8_t> bytes;  // width * height, row 0 at the top, 0 (empty) to 255 (full)
    int width = 0;
    int height = 0;
    int baseline = 0;
};

// `sizePixels` is the distance from the font's ascent to its descent. The UTF-8 is decoded
// without validation. Empty text, or a null font or text, gives width 0 and no bytes.
TextMetrics measureText(const stbtt_fontinfo* font, const char* utf8, float sizePixels);
TextCoverage rasteriseText(const stbtt_fontinfo* font, const char* utf8, float sizePixels);

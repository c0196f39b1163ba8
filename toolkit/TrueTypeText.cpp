#define STB_TRUETYPE_IMPLEMENTATION
#include "TrueTypeText.h"

#include <stb/stb_truetype.h>
#include <strings.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>

#include "Resources.h"

namespace {

struct CachedFont {
    std::string name;
    std::unique_ptr<unsigned char[]> data;  // kept for the life of the process: the font points into it
    std::unique_ptr<stbtt_fontinfo> info;
};

std::vector<CachedFont>& fontList() {
    static std::vector<CachedFont> fonts;
    return fonts;
}

// Lead byte's leading ones give the length; continuation bytes add six bits each. Nothing is
// checked, but the terminating zero is never passed.
std::vector<int> decodeUtf8(const char* text) {
    std::vector<int> codepoints;
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    while (*p != 0) {
        const unsigned lead = *p++;
        int ones = 0;
        while (ones < 7 && (lead & (0x80u >> ones)) != 0) ++ones;
        int cp = static_cast<int>(lead & (0x7Fu >> ones));
        for (int i = 1; i < ones && *p != 0; ++i) cp = (cp << 6) | (*p++ & 0x3F);
        codepoints.push_back(cp);
    }
    return codepoints;
}

struct PlacedGlyph {
    int glyph;
    int penPixel;
    float penFraction;
};

struct Layout {
    std::vector<PlacedGlyph> glyphs;
    float scale = 0.0f;
    TextMetrics metrics;
};

Layout layoutText(const stbtt_fontinfo* font, const char* utf8, float sizePixels) {
    Layout layout;
    if (font == nullptr || utf8 == nullptr || *utf8 == 0) return layout;

    const std::vector<int> codepoints = decodeUtf8(utf8);
    int ascent = 0, descent = 0, lineGap = 0;
    stbtt_GetFontVMetrics(font, &ascent, &descent, &lineGap);
    layout.scale = stbtt_ScaleForPixelHeight(font, sizePixels);
    const int baseline = static_cast<int>(static_cast<float>(ascent) * layout.scale);

    std::vector<int> glyphs(codepoints.size());
    for (size_t i = 0; i < codepoints.size(); ++i) glyphs[i] = stbtt_FindGlyphIndex(font, codepoints[i]);

    float pen = 0.0f;
    int deepest = 0;
    layout.glyphs.reserve(glyphs.size());
    for (size_t i = 0; i < glyphs.size(); ++i) {
        const int g = glyphs[i];
        const float whole = std::floor(pen);
        layout.glyphs.push_back({g, static_cast<int>(whole), pen - whole});

        int advance = 0, leftBearing = 0;
        stbtt_GetGlyphHMetrics(font, g, &advance, &leftBearing);
        // League Spartan keeps its pairs in GPOS; this call reads kern and GPOS alike.
        const int kern = i + 1 < glyphs.size() ? stbtt_GetGlyphKernAdvance(font, g, glyphs[i + 1]) : 0;
        pen += static_cast<float>(advance + kern) * layout.scale;

        int x0, y0, x1, y1;
        if (stbtt_GetGlyphBox(font, g, &x0, &y0, &x1, &y1) != 0)
            deepest = std::max(deepest, static_cast<int>(std::floor(-static_cast<float>(y0) * layout.scale)));
    }

    layout.metrics.width = std::max(0, static_cast<int>(std::ceil(pen)));
    layout.metrics.height = baseline + deepest + 1;
    layout.metrics.baseline = baseline;
    return layout;
}

}  // namespace

namespace FontCache {

const stbtt_fontinfo* get(const char* name) {
    if (name == nullptr) return nullptr;
    auto& fonts = fontList();
    for (const CachedFont& font : fonts)
        if (strcasecmp(font.name.c_str(), name) == 0) return font.info.get();

    ResourceData resource{};
    if (!findResource("TTF", name, &resource)) return nullptr;
    CachedFont font;
    font.name = name;
    font.data = std::make_unique<unsigned char[]>(resource.size + 1);
    std::memcpy(font.data.get(), resource.data, resource.size);
    font.data[resource.size] = 0;
    font.info = std::make_unique<stbtt_fontinfo>();
    std::memset(font.info.get(), 0, sizeof(stbtt_fontinfo));
    const int offset = stbtt_GetFontOffsetForIndex(font.data.get(), 0);
    if (offset < 0 || stbtt_InitFont(font.info.get(), font.data.get(), offset) == 0) return nullptr;
    fonts.push_back(std::move(font));
    return fonts.back().info.get();
}

}  // namespace FontCache

TextMetrics measureText(const stbtt_fontinfo* font, const char* utf8, float sizePixels) {
    return layoutText(font, utf8, sizePixels).metrics;
}

TextCoverage rasteriseText(const stbtt_fontinfo* font, const char* utf8, float sizePixels) {
    TextCoverage out;
    const Layout layout = layoutText(font, utf8, sizePixels);
    if (layout.metrics.width <= 0 || layout.metrics.height <= 0) return out;
    out.width = layout.metrics.width;
    out.height = layout.metrics.height;
    out.baseline = layout.metrics.baseline;
    out.bytes.assign(static_cast<size_t>(out.width) * static_cast<size_t>(out.height), 0);

    // Each glyph goes through a scratch image of its own box and is added into the text: stb's
    // rasteriser writes whole rows, so drawing straight into the text would erase a kerned
    // neighbour. Flattening tolerance is stb's 0.35 pixel.
    std::vector<unsigned char> scratch;
    for (const PlacedGlyph& placed : layout.glyphs) {
        int ix0, iy0, ix1, iy1;
        stbtt_GetGlyphBitmapBoxSubpixel(font, placed.glyph, layout.scale, layout.scale, placed.penFraction, 0.0f,
                                        &ix0, &iy0, &ix1, &iy1);
        const int gw = ix1 - ix0, gh = iy1 - iy0;
        if (gw <= 0 || gh <= 0) continue;
        scratch.assign(static_cast<size_t>(gw) * static_cast<size_t>(gh), 0);
        stbtt_MakeGlyphBitmapSubpixel(font, scratch.data(), gw, gh, gw, layout.scale, layout.scale,
                                      placed.penFraction, 0.0f, placed.glyph);
        const int left = placed.penPixel + ix0, top = out.baseline + iy0;
        for (int row = std::max(0, -top); row < gh && top + row < out.height; ++row) {
            uint8_t* dst = &out.bytes[static_cast<size_t>(top + row) * static_cast<size_t>(out.width)];
            const unsigned char* src = &scratch[static_cast<size_t>(row) * static_cast<size_t>(gw)];
            for (int col = std::max(0, -left); col < gw && left + col < out.width; ++col) {
                const int sum = dst[left + col] + src[col];
                dst[left + col] = static_cast<uint8_t>(std::min(sum, 255));
            }
        }
    }
    return out;
}

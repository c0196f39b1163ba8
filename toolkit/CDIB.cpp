#include "CDIB.h"

#include <cairo.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace VSTGUI {

CDIB::CDIB(int w, int h, bool hasAlpha) {
    if (w > 0 && h > 0) adopt(cairo_image_surface_create(hasAlpha ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24, w, h));
    noAlpha = !hasAlpha;
    isSection = 1;
    bindPixels();
}

CDIB::CDIB(int id) : CBitmap(id) {
    isSection = 0;
    bindPixels();
}

CDIB::CDIB(const uint8_t* coverage, int w, int h, uint32_t colour) {
    if (w > 0 && h > 0) adopt(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h));
    isSection = 1;
    bindPixels();
    if (!pixels || !coverage) return;
    const uint32_t r = colour & 255, g = (colour >> 8) & 255, b = (colour >> 16) & 255;
    for (int y = 0; y < h; ++y) {
        uint8_t* row = pixels + size_t(y) * size_t(stride);
        for (int x = 0; x < w; ++x) {
            const uint32_t c = coverage[size_t(y) * size_t(w) + size_t(x)];
            // Shifting by 8 rather than dividing by 255 keeps full coverage at most 254.
            row[x * 4 + 0] = uint8_t((c * b) >> 8);
            row[x * 4 + 1] = uint8_t((c * g) >> 8);
            row[x * 4 + 2] = uint8_t((c * r) >> 8);
            row[x * 4 + 3] = uint8_t(c);
        }
    }
    cairo_surface_mark_dirty(surface);
}

void CDIB::bindPixels() {
    if (!surface) return;
    cairo_surface_flush(surface);
    pixels = cairo_image_surface_get_data(surface);
    stride = cairo_image_surface_get_stride(surface);
}

namespace BitmapCache {
namespace {
// Never destroyed: the bitmaps live as long as the process.
std::vector<int>& numbers() {
    static auto* v = new std::vector<int>;
    return *v;
}
std::vector<CDIB*>& bitmaps() {
    static auto* v = new std::vector<CDIB*>;
    return *v;
}
}  // namespace

CDIB* get(int id) {
    if (id == 0) return nullptr;
    auto& n = numbers();
    for (size_t i = 0; i < n.size(); ++i)
        if (n[i] == id) return bitmaps()[i];
    // The first reference is the cache's own, never given back.
    CDIB* dib = new CDIB(id);
    n.push_back(id);
    bitmaps().push_back(dib);
    return dib;
}
}  // namespace BitmapCache

void copyRect(const CDIB* source, CDIB* target, const CRect& targetRect, const CPoint& sourcePoint) {
    if (!source || !target || !source->pixels || !target->pixels) return;
    int tx = int(targetRect.left), ty = int(targetRect.top);
    int sx = int(sourcePoint.x), sy = int(sourcePoint.y);
    int w = int(targetRect.width()), h = int(targetRect.height());
    // Keep every byte inside both images.
    if (tx < 0) { sx -= tx; w += tx; tx = 0; }
    if (ty < 0) { sy -= ty; h += ty; ty = 0; }
    if (sx < 0) { tx -= sx; w += sx; sx = 0; }
    if (sy < 0) { ty -= sy; h += sy; sy = 0; }
    w = std::min({w, int(source->getWidth()) - sx, int(target->getWidth()) - tx});
    h = std::min({h, int(source->getHeight()) - sy, int(target->getHeight()) - ty});
    if (w <= 0 || h <= 0) return;
    for (int y = 0; y < h; ++y)
        std::memmove(target->pixels + size_t(ty + y) * size_t(target->stride) + size_t(tx) * 4,
                     source->pixels + size_t(sy + y) * size_t(source->stride) + size_t(sx) * 4, size_t(w) * 4);
    cairo_surface_mark_dirty(target->getSurface());
}

}  // namespace VSTGUI

#include "CBitmap.h"

#include <cairo.h>

#include <cstring>

#include "CDrawContext.h"
#include "Resources.h"

namespace VSTGUI {

namespace {
struct PngSource {
    const unsigned char* data;
    size_t size;
    size_t pos;
};

cairo_status_t readPng(void* closure, unsigned char* out, unsigned int length) {
    auto* src = static_cast<PngSource*>(closure);
    if (src->size - src->pos < length) return CAIRO_STATUS_READ_ERROR;
    std::memcpy(out, src->data + src->pos, length);
    src->pos += length;
    return CAIRO_STATUS_SUCCESS;
}
}  // namespace

cairo_surface_t* decodePng(const unsigned char* data, size_t size) {
    PngSource src{data, size, 0};
    cairo_surface_t* s = cairo_image_surface_create_from_png_stream(readPng, &src);
    if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(s);
        return nullptr;
    }
    // Copied into a plain ARGB32 surface of our own: everything downstream reads and writes
    // its pixels directly, which cairo forbids on a surface that still carries the PNG it
    // came from.
    const int w = cairo_image_surface_get_width(s), h = cairo_image_surface_get_height(s);
    cairo_surface_t* copy = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
    cairo_t* cr = cairo_create(copy);
    cairo_set_source_surface(cr, s, 0, 0);
    cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
    cairo_paint(cr);
    cairo_destroy(cr);
    cairo_surface_destroy(s);
    cairo_surface_flush(copy);
    return copy;
}

CBitmap::CBitmap(int id) : resourceId(id) {
    ResourceData res{};
    if (findResource("PNG", id, &res)) adopt(decodePng(res.data, res.size));
}

CBitmap::CBitmap(CCoord w, CCoord h) {
    if (w >= 1 && h >= 1) adopt(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, int(w), int(h)));
}

CBitmap::~CBitmap() {
    if (surface) cairo_surface_destroy(surface);
}

void CBitmap::adopt(cairo_surface_t* s) {
    if (surface) cairo_surface_destroy(surface);
    surface = nullptr;
    width = height = 0;
    if (!s) return;
    if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(s);
        return;
    }
    surface = s;
    width = CCoord(cairo_image_surface_get_width(s));
    height = CCoord(cairo_image_surface_get_height(s));
}

void CBitmap::paint(CDrawContext* context, const CRect& rect, const CPoint& offset, double alpha, bool copy) {
    if (!surface || !context) return;
    cairo_t* cr = context->getCairo();
    // Pixels may have been written directly since the last draw.
    cairo_surface_mark_dirty(surface);
    cairo_save(cr);
    cairo_rectangle(cr, rect.left, rect.top, rect.width(), rect.height());
    cairo_clip(cr);
    cairo_set_source_surface(cr, surface, rect.left - offset.x, rect.top - offset.y);
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
    if (copy) cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
    if (alpha >= 1.0) cairo_paint(cr);
    else cairo_paint_with_alpha(cr, alpha);
    cairo_restore(cr);
}

void CBitmap::draw(CDrawContext* context, const CRect& rect, const CPoint& offset) {
    paint(context, rect, offset, 1.0, noAlpha);
}

void CBitmap::drawTransparent(CDrawContext* context, const CRect& rect, const CPoint& offset) {
    paint(context, rect, offset, 1.0, false);
}

void CBitmap::drawAlphaBlend(CDrawContext* context, const CRect& rect, const CPoint& offset, unsigned char alpha) {
    paint(context, rect, offset, alpha / 255.0, false);
}

}  // namespace VSTGUI

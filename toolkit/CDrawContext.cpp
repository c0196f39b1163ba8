#include "CDrawContext.h"

#include <cairo.h>

#include <cmath>

#include "CurveRaster.h"
#include "PixelBuffer.h"

namespace VSTGUI {

CDrawContext::CDrawContext(cairo_t* c, const CRect& rect) : cr(cairo_reference(c)), surfaceRect(rect), clipRect(rect) {
    applyState();
}

CDrawContext::CDrawContext(cairo_surface_t* surface)
    : cr(cairo_create(surface)),
      surfaceRect(0, 0, CCoord(cairo_image_surface_get_width(surface)), CCoord(cairo_image_surface_get_height(surface))),
      clipRect(surfaceRect) {
    applyState();
}

CDrawContext::~CDrawContext() { cairo_destroy(cr); }

void CDrawContext::applyState() {
    cairo_reset_clip(cr);
    cairo_identity_matrix(cr);
    cairo_rectangle(cr, clipRect.left, clipRect.top, clipRect.width(), clipRect.height());
    cairo_clip(cr);
    cairo_translate(cr, offset.x, offset.y);
    setDrawMode(drawMode);
}

void CDrawContext::setDrawMode(CDrawMode mode) {
    drawMode = mode;
    cairo_set_antialias(cr, mode == kAntialias       ? CAIRO_ANTIALIAS_DEFAULT
                            : mode == kAntialiasFast ? CAIRO_ANTIALIAS_FAST
                                                     : CAIRO_ANTIALIAS_NONE);
}

void CDrawContext::setFont(const char* face, CCoord size, int style) {
    fontFace = face ? face : "sans-serif";
    fontSize = size;
    fontStyle = style;
}

void CDrawContext::setSource(const CColor& c) {
    cairo_set_source_rgba(cr, c.red / 255.0, c.green / 255.0, c.blue / 255.0, c.alpha / 255.0);
}

// Odd integer widths land on pixel centres: a one-pixel line covers one row, from its start
// pixel up to the end pixel, which the next segment from the pen then starts with.
double CDrawContext::pixelShift() const {
    const double w = lineWidth;
    return (w == std::floor(w) && int(w) % 2 == 1) ? 0.5 : 0.0;
}

void CDrawContext::stroke() {
    setSource(frameColor);
    cairo_set_line_width(cr, lineWidth);
    cairo_stroke(cr);
}

void CDrawContext::lineTo(const CPoint& p) {
    const double s = pixelShift();
    cairo_move_to(cr, pen.x + s, pen.y + s);
    cairo_line_to(cr, p.x + s, p.y + s);
    stroke();
    pen = p;
}

void CDrawContext::drawLines(const CPoint* points, int count) {
    if (count < 2) return;
    const double s = pixelShift();
    cairo_move_to(cr, points[0].x + s, points[0].y + s);
    for (int i = 1; i < count; ++i) cairo_line_to(cr, points[i].x + s, points[i].y + s);
    stroke();
    pen = points[count - 1];
}

void CDrawContext::drawPolygon(const CPoint* points, int count, CDrawStyle style) {
    if (count < 2) return;
    beginPath();
    pathMoveTo(points[0]);
    for (int i = 1; i < count; ++i) pathLineTo(points[i]);
    closePath();
    drawPath(style);
}

void CDrawContext::drawRect(const CRect& r, CDrawStyle style) {
    if (style != kDrawStroked) {
        cairo_rectangle(cr, r.left, r.top, r.width(), r.height());
        setSource(fillColor);
        cairo_fill(cr);
    }
    if (style != kDrawFilled) {
        const double s = pixelShift();
        cairo_rectangle(cr, r.left + s, r.top + s, r.width() - 2 * s, r.height() - 2 * s);
        stroke();
    }
}

void CDrawContext::drawEllipse(const CRect& r, CDrawStyle style) {
    if (r.isEmpty()) return;
    cairo_save(cr);
    cairo_translate(cr, (r.left + r.right) / 2.0, (r.top + r.bottom) / 2.0);
    cairo_scale(cr, r.width() / 2.0, r.height() / 2.0);
    cairo_arc(cr, 0, 0, 1, 0, 2 * M_PI);
    cairo_restore(cr);
    if (style != kDrawStroked) {
        setSource(fillColor);
        if (style == kDrawFilledAndStroked) cairo_fill_preserve(cr);
        else cairo_fill(cr);
    }
    if (style != kDrawFilled) stroke();
}

void CDrawContext::drawPoint(const CPoint& p, const CColor& color) {
    cairo_rectangle(cr, p.x, p.y, 1, 1);
    setSource(color);
    cairo_fill(cr);
}

void CDrawContext::beginPath() { cairo_new_path(cr); }
void CDrawContext::pathMoveTo(const CPoint& p) { cairo_move_to(cr, p.x, p.y); }
void CDrawContext::pathLineTo(const CPoint& p) { cairo_line_to(cr, p.x, p.y); }
void CDrawContext::pathCurveTo(const CPoint& a, const CPoint& b, const CPoint& e) {
    cairo_curve_to(cr, a.x, a.y, b.x, b.y, e.x, e.y);
}
void CDrawContext::closePath() { cairo_close_path(cr); }

void CDrawContext::drawPath(CDrawStyle style) {
    if (style != kDrawStroked) {
        setSource(fillColor);
        if (style == kDrawFilledAndStroked) cairo_fill_preserve(cr);
        else cairo_fill(cr);
    }
    if (style != kDrawFilled) stroke();
}

bool CDrawContext::directPixels(PixelBuffer& px, CPoint& toPixel) const {
    cairo_surface_t* s = cairo_get_target(cr);
    if (cairo_surface_get_type(s) != CAIRO_SURFACE_TYPE_IMAGE) return false;
    const cairo_format_t f = cairo_image_surface_get_format(s);
    if (f != CAIRO_FORMAT_ARGB32 && f != CAIRO_FORMAT_RGB24) return false;
    double sx = 1, sy = 1, dx = 0, dy = 0;
    cairo_surface_get_device_scale(s, &sx, &sy);
    if (sx != 1 || sy != 1) return false;
    cairo_surface_get_device_offset(s, &dx, &dy);
    cairo_surface_flush(s);
    px.pixels = cairo_image_surface_get_data(s);
    px.width = cairo_image_surface_get_width(s);
    px.height = cairo_image_surface_get_height(s);
    px.stride = cairo_image_surface_get_stride(s);
    toPixel = CPoint(CCoord(offset.x + dx), CCoord(offset.y + dy));
    return px.pixels != nullptr;
}

namespace {

uint32_t premultiplied(const CColor& c) {
    const auto m = [&](uint8_t v) { return uint32_t((v * c.alpha + 127) / 255); };
    return uint32_t(c.alpha) << 24 | m(c.red) << 16 | m(c.green) << 8 | m(c.blue);
}

// Whole pixels of the clip (in surface coordinates, shifted like the pixels).
PixelRect pixelClip(const CRect& clip, double dx, double dy) {
    return {int(std::lround(clip.left + dx)), int(std::lround(clip.top + dy)), int(std::lround(clip.right + dx)),
            int(std::lround(clip.bottom + dy))};
}

}  // namespace

// The pixels were written behind cairo's back; its rectangle is in device space.
void CDrawContext::markDirty(const PixelRect& d, const CPoint& shift) {
    if (d.right <= d.left || d.bottom <= d.top) return;
    const double ox = shift.x - offset.x, oy = shift.y - offset.y;
    cairo_surface_mark_dirty_rectangle(cairo_get_target(cr), int(d.left - ox), int(d.top - oy), d.right - d.left,
                                       d.bottom - d.top);
}

void CDrawContext::curvePath(const float* ys, int count, float x0, float dx) {
    cairo_new_path(cr);
    for (int i = 0; i < count; ++i) cairo_line_to(cr, x0 + double(i) * dx, ys[i]);
}

void CDrawContext::fillUnderCurve(const float* ys, int count, float x0, float dx, float baseline,
                                  const CColor& colour) {
    if (!ys || count < 2 || !(dx > 0) || colour.alpha == 0) return;
    PixelBuffer px;
    CPoint shift;
    if (!directPixels(px, shift)) {
        // Other surfaces take the same shape as a path.
        cairo_new_path(cr);
        cairo_move_to(cr, x0, baseline);
        for (int i = 0; i < count; ++i) cairo_line_to(cr, x0 + double(i) * dx, ys[i]);
        cairo_line_to(cr, x0 + double(count - 1) * dx, baseline);
        cairo_close_path(cr);
        setSource(colour);
        cairo_save(cr);
        cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
        cairo_fill(cr);
        cairo_restore(cr);
        return;
    }
    const double ox = shift.x - offset.x, oy = shift.y - offset.y;  // the device offset alone
    const PixelRect d = fillCurveToBaseline(px, pixelClip(clipRect, ox, oy), {ys, count, x0 + shift.x, dx, shift.y},
                                            double(baseline) + shift.y, premultiplied(colour));
    markDirty(d, shift);
}

void CDrawContext::drawCurve(const float* ys, int count, float x0, float dx, const CColor& colour, float width) {
    if (!ys || count < 2 || !(dx > 0) || !(width > 0) || colour.alpha == 0) return;
    PixelBuffer px;
    CPoint shift;
    if (!directPixels(px, shift)) {
        curvePath(ys, count, x0, dx);
        setSource(colour);
        cairo_save(cr);
        cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
        cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
        cairo_set_line_width(cr, width);
        cairo_stroke(cr);
        cairo_restore(cr);
        return;
    }
    const double ox = shift.x - offset.x, oy = shift.y - offset.y;
    const PixelRect d = strokeCurve(px, pixelClip(clipRect, ox, oy), {ys, count, x0 + shift.x, dx, shift.y}, width,
                                    premultiplied(colour));
    markDirty(d, shift);
}

void CDrawContext::drawString(const char* utf8, const CRect& r, CHoriTxtAlign align) {
    if (!utf8 || !*utf8) return;
    cairo_save(cr);
    cairo_rectangle(cr, r.left, r.top, r.width(), r.height());
    cairo_clip(cr);
    cairo_select_font_face(cr, fontFace.c_str(), (fontStyle & kItalicFace) ? CAIRO_FONT_SLANT_ITALIC : CAIRO_FONT_SLANT_NORMAL,
                           (fontStyle & kBoldFace) ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, fontSize);
    cairo_font_extents_t fe;
    cairo_font_extents(cr, &fe);
    cairo_text_extents_t te;
    cairo_text_extents(cr, utf8, &te);
    double x = r.left;
    if (align == kCenterText) x = r.left + (r.width() - te.x_advance) / 2;
    else if (align == kRightText) x = r.right - te.x_advance;
    const double y = r.top + (r.height() + fe.ascent - fe.descent) / 2;
    cairo_move_to(cr, std::round(x), std::round(y));
    setSource(fontColor);
    cairo_show_text(cr, utf8);
    cairo_restore(cr);
}

CCoord CDrawContext::getStringWidth(const char* utf8) {
    if (!utf8 || !*utf8) return 0;
    cairo_save(cr);
    cairo_select_font_face(cr, fontFace.c_str(), CAIRO_FONT_SLANT_NORMAL,
                           (fontStyle & kBoldFace) ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, fontSize);
    cairo_text_extents_t te;
    cairo_text_extents(cr, utf8, &te);
    cairo_restore(cr);
    return CCoord(te.x_advance);
}

void CDrawContext::setClipRect(const CRect& clip) {
    clipRect = clip;
    clipRect.offset(offset.x, offset.y);
    clipRect.bound(surfaceRect);
    applyState();
}

CRect& CDrawContext::getClipRect(CRect& clip) const {
    clip = clipRect;
    clip.offset(-offset.x, -offset.y);
    return clip;
}

void CDrawContext::setAbsoluteClipRect(const CRect& clip) {
    clipRect = clip;
    clipRect.bound(surfaceRect);
    applyState();
}

void CDrawContext::resetClipRect() {
    clipRect = surfaceRect;
    applyState();
}

void CDrawContext::setOffset(const CPoint& o) {
    offset = o;
    applyState();
}

COffscreenContext::COffscreenContext(int width, int height)
    : CDrawContext(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width < 1 ? 1 : width, height < 1 ? 1 : height)) {
    surface = cairo_get_target(cr);
}

COffscreenContext::~COffscreenContext() {
    // The surface was created by this object and is owned through the cairo context.
    cairo_surface_destroy(surface);
}

void COffscreenContext::copyFrom(CDrawContext* dest, const CRect& destRect, const CPoint& srcOffset) {
    cairo_surface_flush(surface);
    cairo_t* d = dest->getCairo();
    cairo_save(d);
    cairo_rectangle(d, destRect.left, destRect.top, destRect.width(), destRect.height());
    cairo_clip(d);
    cairo_set_source_surface(d, surface, destRect.left - srcOffset.x, destRect.top - srcOffset.y);
    cairo_paint(d);
    cairo_restore(d);
}

}  // namespace VSTGUI

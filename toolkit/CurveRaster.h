#pragma once
// Anti-aliased function graphs written straight into 32-bit premultiplied pixels: a curve given
// as one y value per step in x, filled down (or up) to a baseline, or stroked as a ribbon. Much
// cheaper than general paths because every pixel column holds one short span of the shape.
//
// The curve is the polyline through (x0 + i * dx, ys[i] + yOffset), in pixel coordinates of the
// buffer (pixel (c, r) covers [c, c + 1] x [r, r + 1]). Coverage is the area of each pixel inside
// the shape, as a box filter gives it; colours blend over what is there.

#include <cstdint>

#include "PixelBuffer.h"

namespace VSTGUI {

struct PixelRect {
    int left = 0, top = 0, right = 0, bottom = 0;  // right and bottom excluded
};

struct CurveGeometry {
    const float* ys = nullptr;
    int count = 0;
    double x0 = 0, dx = 1;  // dx > 0
    double yOffset = 0;
};

// `argb` is premultiplied, alpha in the top byte. Pixels outside `clip` are not touched.
// Both return the rectangle of pixels they may have changed (empty if none).
// Fills between the polyline and the horizontal line y = baseline, from its first x to its last.
PixelRect fillCurveToBaseline(const PixelBuffer& target, const PixelRect& clip, const CurveGeometry& curve,
                              double baseline, uint32_t argb);
// Strokes the polyline with `width` measured across it, butt ends and round joins.
PixelRect strokeCurve(const PixelBuffer& target, const PixelRect& clip, const CurveGeometry& curve, double width,
                      uint32_t argb);

}  // namespace VSTGUI

#pragma once
// Reading back single pixels of an image surface in the toolkit's tests.

#include <cairo.h>

#include <cstdint>
#include <cstdlib>

struct Pixel {
    int b, g, r, a;
};

inline Pixel at(cairo_surface_t* s, int x, int y) {
    cairo_surface_flush(s);
    const uint8_t* p = cairo_image_surface_get_data(s) + y * cairo_image_surface_get_stride(s) + x * 4;
    return {p[0], p[1], p[2], p[3]};
}

inline bool isColour(const Pixel& p, int r, int g, int b, int tolerance = 0) {
    return std::abs(p.r - r) <= tolerance && std::abs(p.g - g) <= tolerance && std::abs(p.b - b) <= tolerance;
}

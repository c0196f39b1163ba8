#pragma once
// A view of 32-bit pixel memory: bytes blue, green, red, alpha, premultiplied, row 0 at the top.
// This is cairo's ARGB32 layout on little-endian machines, so any image surface can be wrapped.

#include <cstdint>

struct PixelBuffer {
    uint8_t* pixels = nullptr;
    int width = 0;
    int height = 0;
    int stride = 0;  // bytes from one row to the next
};

#pragma once
// Bitmaps whose 32-bit pixels the program reaches directly (bytes B, G, R, A, premultiplied,
// row 0 at the top, stride width * 4), and the process-wide cache of resource images.

#include <cstdint>

#include "CBitmap.h"
#include "PixelBuffer.h"

namespace VSTGUI {

class CDIB : public CBitmap {
public:
    // Cleared pixels; without alpha the image is opaque and copied when drawn.
    CDIB(int width, int height, bool hasAlpha);
    // The PNG resource of that number; a missing image leaves `pixels` null.
    explicit CDIB(int resourceId);
    // Text or shapes in `colour` (red in the low byte) from one byte of coverage a pixel.
    CDIB(const uint8_t* coverage, int width, int height, uint32_t colour);

    uint8_t* pixels = nullptr;
    int stride = 0;
    int isSection = 0;  // 1: made here with a size; 0: a copy of a loaded image

    PixelBuffer pixelBuffer() const { return {pixels, int(width), int(height), stride}; }

private:
    void bindPixels();
};

// Resource images loaded once for all instances in the process. Nothing may write into them.
namespace BitmapCache {
// 0 gives null; a missing image still gives (and keeps) a CDIB without pixels.
CDIB* get(int resourceId);
}  // namespace BitmapCache

// Copies a block of targetRect's size from sourcePoint in `source` to targetRect's top left in
// `target`, byte for byte. Parts outside either image are left out.
void copyRect(const CDIB* source, CDIB* target, const CRect& targetRect, const CPoint& sourcePoint);

}  // namespace VSTGUI

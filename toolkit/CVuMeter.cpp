#include "CVuMeter.h"

#include <cmath>

namespace VSTGUI {

CVuMeter::CVuMeter(const CRect& r, CBitmap* on, CBitmap* off, long n, long s)
    : CControl(r), onBitmap(on), offBitmap(off), nbLed(n < 1 ? 1 : n), style(s) {
    if (onBitmap) onBitmap->remember();
    if (offBitmap) offBitmap->remember();
    setMouseEnabled(false);
    value = 0;
}

CVuMeter::~CVuMeter() {
    if (onBitmap) onBitmap->forget();
    if (offBitmap) offBitmap->forget();
}

void CVuMeter::setValue(float val) {
    val = val < vmin ? vmin : val > vmax ? vmax : val;
    value = val >= value ? val : std::max(val, value - decreaseValue);
}

long CVuMeter::litLeds() const {
    const float range = vmax - vmin;
    const float n = range != 0 ? (value - vmin) / range : 0;
    return long(std::floor(n * float(nbLed) + 0.5f));
}

void CVuMeter::draw(CDrawContext* context) {
    const float fraction = float(litLeds()) / float(nbLed);
    CRect on = size, off = size;
    if (style & kHorizontal) {
        on.right = off.left = size.left + std::floor(size.width() * fraction);
    } else {
        on.top = off.bottom = size.bottom - std::floor(size.height() * fraction);
    }
    const auto part = [&](CBitmap* b, const CRect& r, const CColor& fallback) {
        if (r.isEmpty()) return;
        if (b) b->draw(context, r, CPoint(r.left - size.left, r.top - size.top));
        else {
            context->setFillColor(fallback);
            context->fillRect(r);
        }
    };
    part(offBitmap, off, CColor{30, 30, 30, 255});
    part(onBitmap, on, CColor{60, 200, 80, 255});
    setDirty(false);
}

}  // namespace VSTGUI

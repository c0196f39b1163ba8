#include "TextDrawing.h"

#include "CDIB.h"
#include "TrueTypeText.h"

namespace VSTGUI {

void drawText(CDrawContext* context, const CRect& rect, const stbtt_fontinfo* font, const char* text, float size,
              bool centreH, bool centreV, uint32_t colour) {
    if (!context) return;
    TextCoverage cov = rasteriseText(font, text, size);
    if (cov.width <= 0 || cov.height <= 0) return;
    CDIB* dib = new CDIB(cov.bytes.data(), cov.width, cov.height, colour);
    const int x = int(rect.left) + (centreH ? (int(rect.width()) - cov.width) / 2 : 0);
    const int y = int(rect.top) + (centreV ? (int(rect.height()) - cov.height) / 2 : 0);
    CRect shown(CCoord(x), CCoord(y), CCoord(x + cov.width), CCoord(y + cov.height));
    CRect clip;
    context->getClipRect(clip);
    shown.bound(clip);
    if (!shown.isEmpty()) dib->drawAlphaBlend(context, shown, CPoint(shown.left - CCoord(x), shown.top - CCoord(y)), 255);
    dib->forget();
}

}  // namespace VSTGUI

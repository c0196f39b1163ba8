#pragma once
// TrueType text drawn into a context, clipped to the context's clip rectangle.

#include <cstdint>

#include "CDrawContext.h"

struct stbtt_fontinfo;

namespace VSTGUI {

// `size` in pixels, `text` UTF-8, `colour` with red in the low byte. Without centring the text
// sits at the rectangle's top left; centring uses integer division.
void drawText(CDrawContext* context, const CRect& rect, const stbtt_fontinfo* font, const char* text, float size,
              bool centreH, bool centreV, uint32_t colour);

}  // namespace VSTGUI

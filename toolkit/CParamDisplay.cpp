#include "CParamDisplay.h"

#include <cstdio>

namespace VSTGUI {

CParamDisplay::CParamDisplay(const CRect& r, CBitmap* bg, long s) : CControl(r, nullptr, -1, bg), style(s) {}

void CParamDisplay::setFont(const char* face, CCoord s, int faceStyle) {
    fontFace = face ? face : "sans-serif";
    fontSize = s;
    fontStyle = faceStyle;
    setDirty();
}

void CParamDisplay::drawBack(CDrawContext* context) {
    if (background) background->draw(context, size);
    else if (!transparent) {
        context->setFillColor(backColor);
        context->fillRect(size);
    }
    if (!(style & (k3DIn | k3DOut | kNoFrame)) && !transparent && !background) {
        context->setLineWidth(1);
        context->setFrameColor(frameColor);
        context->drawRect(size);
    }
}

void CParamDisplay::drawText(CDrawContext* context, const char* text, const CRect& rect) {
    if (style & kNoTextStyle || !text || !*text) return;
    context->setFont(fontFace.c_str(), fontSize, fontStyle);
    if (style & kShadowText) {
        CRect s = rect;
        s.offset(1, 1);
        context->setFontColor(shadowColor);
        context->drawString(text, s, horiAlign);
    }
    context->setFontColor(fontColor);
    CRect r = rect;
    r.inset(2, 0);
    context->drawString(text, r, horiAlign);
}

void CParamDisplay::draw(CDrawContext* context) {
    if (!(style & kNoDrawStyle)) {
        char text[256] = {0};
        if (stringConvert) stringConvert(value, text);
        else std::snprintf(text, sizeof text, "%2.2f", double(value));
        drawBack(context);
        drawText(context, text, size);
    }
    setDirty(false);
}

CTextLabel::CTextLabel(const CRect& r, const char* t, CBitmap* bg, long s) : CParamDisplay(r, bg, s) {
    setText(t);
}

void CTextLabel::setText(const char* t) {
    text = t ? t : "";
    setDirty();
}

void CTextLabel::draw(CDrawContext* context) {
    drawBack(context);
    drawText(context, text.c_str(), size);
    setDirty(false);
}

}  // namespace VSTGUI

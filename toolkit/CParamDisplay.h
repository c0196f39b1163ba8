#pragma once
// A control that shows its value as text, and a label that shows fixed text.

#include <functional>
#include <string>

#include "CControl.h"

namespace VSTGUI {

enum {
    kShadowText = 1 << 2,
    k3DIn = 1 << 3,
    k3DOut = 1 << 4,
    kPopupStyle = 1 << 5,
    kCheckStyle = 1 << 6,
    kMultipleCheckStyle = 1 << 7,
    kNoTextStyle = 1 << 11,
    kNoDrawStyle = 1 << 12,
    kDoubleClickStyle = 1 << 13,
    kNoFrame = 1 << 14,
};

class CParamDisplay : public CControl {
public:
    explicit CParamDisplay(const CRect& size, CBitmap* background = nullptr, long style = 0);

    void setFont(const char* face, CCoord fontSize, int faceStyle = kNormalFace);
    void setFontColor(const CColor& c) { fontColor = c; setDirty(); }
    CColor getFontColor() const { return fontColor; }
    void setBackColor(const CColor& c) { backColor = c; setDirty(); }
    CColor getBackColor() const { return backColor; }
    void setFrameColor(const CColor& c) { frameColor = c; setDirty(); }
    CColor getFrameColor() const { return frameColor; }
    void setShadowColor(const CColor& c) { shadowColor = c; setDirty(); }
    void setHoriAlign(CHoriTxtAlign a) { horiAlign = a; setDirty(); }
    CHoriTxtAlign getHoriAlign() const { return horiAlign; }
    void setStyle(long val) { style = val; setDirty(); }
    long getStyle() const { return style; }
    void setTextTransparency(bool val) { textTransparent = val; setDirty(); }

    // Text for a value; by default "%2.2f".
    void setStringConvert(std::function<void(float value, char* text)> convert) { stringConvert = std::move(convert); }

    void draw(CDrawContext* context) override;

protected:
    void drawBack(CDrawContext* context);
    void drawText(CDrawContext* context, const char* text, const CRect& rect);

    std::function<void(float, char*)> stringConvert;
    std::string fontFace = "sans-serif";
    CCoord fontSize = 11;
    int fontStyle = kNormalFace;
    CColor fontColor = kWhiteCColor;
    CColor backColor = kBlackCColor;
    CColor frameColor = kBlackCColor;
    CColor shadowColor = kBlackCColor;
    CHoriTxtAlign horiAlign = kCenterText;
    long style;
    bool textTransparent = false;
};

class CTextLabel : public CParamDisplay {
public:
    CTextLabel(const CRect& size, const char* text = nullptr, CBitmap* background = nullptr, long style = 0);
    virtual void setText(const char* text);
    const char* getText() const { return text.c_str(); }
    void draw(CDrawContext* context) override;

protected:
    std::string text;
};

}  // namespace VSTGUI

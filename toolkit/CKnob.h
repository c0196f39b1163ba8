#pragma once
// Rotary controls. A vertical drag turns them, 200 pixels for the whole range, ten times finer
// with Shift; Control-click resets to the default value.

#include "CControl.h"

namespace VSTGUI {

class CKnob : public CControl {
public:
    CKnob(const CRect& size, CControlListener* listener, long tag, CBitmap* background, CBitmap* handle,
          const CPoint& offset = CPoint());
    ~CKnob() override;

    void draw(CDrawContext* context) override;
    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseMoved(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseUp(CPoint& where, const long& buttons) override;
    bool onWheel(const CPoint& where, const float& distance, const long& buttons) override;
    using CControl::onWheel;

    void setColorHandle(const CColor& c) { colorHandle = c; setDirty(); }
    void setInsetValue(CCoord v) { inset = v; }
    void setHandleBitmap(CBitmap* bitmap);
    // Pixels of vertical movement for the whole range.
    void setDragRange(float pixels) { dragRange = pixels; }
    static constexpr float kFineFactor = 10.f;

    // Where the handle sits for the current value, relative to the control's top left.
    void valueToPoint(CPoint& point) const;

protected:
    virtual void drawHandle(CDrawContext* context);
    void startDrag(const CPoint& where, long buttons);

    CBitmap* handle = nullptr;
    CPoint offset;
    CColor colorHandle = kWhiteCColor;
    CCoord inset = 3;
    float dragRange = 200.f;
    float anchorValue = 0;
    CCoord anchorY = 0;
    bool fineAtAnchor = false;
};

// A knob shown as one frame of an image strip.
class CAnimKnob : public CKnob {
public:
    CAnimKnob(const CRect& size, CControlListener* listener, long tag, long subPixmaps, CCoord heightOfOneImage,
              CBitmap* background, const CPoint& offset = CPoint());
    void draw(CDrawContext* context) override;
    void setInverseBitmap(bool v) { inverseBitmap = v; setDirty(); }
    long frameIndex() const;

protected:
    long subPixmaps;
    CCoord heightOfOneImage;
    bool inverseBitmap = false;
};

}  // namespace VSTGUI

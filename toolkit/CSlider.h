#pragma once
// A handle bitmap moving over a background along one axis. A press off the handle jumps it
// under the pointer; dragging then moves it, ten times finer with Shift.

#include "CControl.h"

namespace VSTGUI {

class CSlider : public CControl {
public:
    enum {
        kHorizontal = 1 << 0,
        kVertical = 1 << 1,
        kLeft = 1 << 2,
        kRight = 1 << 3,
        kTop = 1 << 4,
        kBottom = 1 << 5,
    };

    // The handle's leading edge travels from iMinPos to iMaxPos (parent coordinates).
    CSlider(const CRect& size, CControlListener* listener, long tag, long iMinPos, long iMaxPos, CBitmap* handle,
            CBitmap* background, const CPoint& offset = CPoint(), long style = kLeft | kHorizontal);
    // The handle starts at offsetHandle (control coordinates) and spans rangeHandle pixels with
    // its own size included.
    CSlider(const CRect& size, CControlListener* listener, long tag, const CPoint& offsetHandle, long rangeHandle,
            CBitmap* handle, CBitmap* background, const CPoint& offset = CPoint(), long style = kLeft | kHorizontal);
    ~CSlider() override;

    void draw(CDrawContext* context) override;
    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseMoved(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseUp(CPoint& where, const long& buttons) override;
    bool onWheel(const CPoint& where, const float& distance, const long& buttons) override;
    using CControl::onWheel;

    void setOffsetHandle(const CPoint& p) { offsetHandle = p; setDirty(); }
    CPoint getOffsetHandle() const { return offsetHandle; }
    void setHandle(CBitmap* bitmap);
    CBitmap* getHandle() const { return handle; }
    long getStyle() const { return style; }
    void setZoomFactor(float f) { zoomFactor = f; }
    // The handle's rectangle for the current value, in parent coordinates.
    CRect handleRect() const;

protected:
    bool horizontal() const { return (style & kHorizontal) && !(style & kVertical); }
    bool inverted() const;
    float normValue() const;
    CCoord along(const CPoint& p) const { return horizontal() ? p.x : p.y; }
    void startDrag(const CPoint& where, long buttons);

    CBitmap* handle = nullptr;
    CPoint offset;
    CPoint offsetHandle;
    CCoord minPos = 0;       // leading edge at the range's start, along the axis, control coordinates
    CCoord rangeHandle = 0;  // travel of the leading edge
    CCoord handleWidth = 0;
    CCoord handleHeight = 0;
    long style;
    float zoomFactor = 10.f;
    float anchorValue = 0;
    CCoord anchorPos = 0;
    bool fineAtAnchor = false;
};

}  // namespace VSTGUI

#include "CSlider.h"

namespace VSTGUI {

CSlider::CSlider(const CRect& r, CControlListener* l, long t, long iMinPos, long iMaxPos, CBitmap* h, CBitmap* bg,
                 const CPoint& o, long s)
    : CControl(r, l, t, bg), offset(o), style(s) {
    setHandle(h);
    minPos = horizontal() ? CCoord(iMinPos) - r.left : CCoord(iMinPos) - r.top;
    rangeHandle = CCoord(iMaxPos - iMinPos);
}

CSlider::CSlider(const CRect& r, CControlListener* l, long t, const CPoint& oh, long range, CBitmap* h, CBitmap* bg,
                 const CPoint& o, long s)
    : CControl(r, l, t, bg), offset(o), offsetHandle(oh), style(s) {
    setHandle(h);
    minPos = horizontal() ? oh.x : oh.y;
    rangeHandle = CCoord(range) - (horizontal() ? handleWidth : handleHeight);
}

CSlider::~CSlider() {
    if (handle) handle->forget();
}

void CSlider::setHandle(CBitmap* bitmap) {
    if (bitmap) bitmap->remember();
    if (handle) handle->forget();
    handle = bitmap;
    // Without a bitmap the handle is a plain bar across the slider.
    handleWidth = handle ? handle->getWidth() : (horizontal() ? 8 : size.width());
    handleHeight = handle ? handle->getHeight() : (horizontal() ? size.height() : 8);
    setDirty();
}

bool CSlider::inverted() const {
    if (horizontal()) return style & kRight;
    return !(style & kTop);  // vertical sliders grow upwards unless told otherwise
}

float CSlider::normValue() const {
    const float range = vmax - vmin;
    float n = range != 0 ? (value - vmin) / range : 0;
    return inverted() ? 1 - n : n;
}

CRect CSlider::handleRect() const {
    const CCoord pos = minPos + normValue() * rangeHandle;
    CRect r(0, 0, handleWidth, handleHeight);
    if (horizontal()) r.offset(size.left + pos, size.top + offsetHandle.y);
    else r.offset(size.left + offsetHandle.x, size.top + pos);
    return r;
}

void CSlider::draw(CDrawContext* context) {
    if (background) background->draw(context, size, offset);
    const CRect h = handleRect();
    if (handle) handle->drawTransparent(context, h);
    else {
        context->setFillColor(kWhiteCColor);
        context->fillRect(h);
    }
    setDirty(false);
}

void CSlider::startDrag(const CPoint& where, long buttons) {
    anchorValue = value;
    anchorPos = along(where);
    fineAtAnchor = buttons & kShift;
}

CMouseEventResult CSlider::onMouseDown(CPoint& where, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventNotHandled;
    if (checkDefaultValue(buttons)) return kMouseDownEventHandledButDontNeedMovedOrUpEvents;
    beginEdit();
    if (!handleRect().pointInside(where) && !(buttons & kShift) && rangeHandle > 0) {
        // Centre the handle under the pointer.
        const CCoord lead = along(where) - (horizontal() ? size.left + handleWidth / 2 : size.top + handleHeight / 2);
        float n = float((lead - minPos) / rangeHandle);
        if (inverted()) n = 1 - n;
        dragTo(vmin + n * (vmax - vmin));
    }
    startDrag(where, buttons);
    return kMouseEventHandled;
}

CMouseEventResult CSlider::onMouseMoved(CPoint& where, const long& buttons) {
    if (!(buttons & kLButton) || rangeHandle <= 0) return kMouseEventHandled;
    const bool fine = buttons & kShift;
    if (fine != fineAtAnchor) startDrag(where, buttons);
    float delta = float((along(where) - anchorPos) / rangeHandle) * (vmax - vmin);
    if (inverted()) delta = -delta;
    if (fine) delta /= zoomFactor;
    dragTo(anchorValue + delta);
    return kMouseEventHandled;
}

CMouseEventResult CSlider::onMouseUp(CPoint&, const long&) {
    endEdit();
    return kMouseEventHandled;
}

bool CSlider::onWheel(const CPoint&, const float& distance, const long& buttons) {
    wheelStep(distance, buttons, zoomFactor);
    return true;
}

}  // namespace VSTGUI

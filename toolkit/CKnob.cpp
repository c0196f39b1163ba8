#include "CKnob.h"

#include <cmath>

namespace VSTGUI {

CKnob::CKnob(const CRect& r, CControlListener* l, long t, CBitmap* bg, CBitmap* h, const CPoint& o)
    : CControl(r, l, t, bg), offset(o) {
    setHandleBitmap(h);
}

CKnob::~CKnob() {
    if (handle) handle->forget();
}

void CKnob::setHandleBitmap(CBitmap* bitmap) {
    if (bitmap) bitmap->remember();
    if (handle) handle->forget();
    handle = bitmap;
    setDirty();
}

void CKnob::valueToPoint(CPoint& point) const {
    const float range = vmax - vmin;
    const float norm = range != 0 ? (value - vmin) / range : 0;
    const double angle = 1.25 * M_PI - norm * 1.5 * M_PI;
    const double rx = size.width() / 2.0 - inset, ry = size.height() / 2.0 - inset;
    point.x = CCoord(size.width() / 2.0 + std::cos(angle) * rx);
    point.y = CCoord(size.height() / 2.0 - std::sin(angle) * ry);
}

void CKnob::draw(CDrawContext* context) {
    if (background) background->draw(context, size, offset);
    drawHandle(context);
    setDirty(false);
}

void CKnob::drawHandle(CDrawContext* context) {
    CPoint p;
    valueToPoint(p);
    if (handle) {
        const CCoord w = handle->getWidth(), h = handle->getHeight();
        CRect r(0, 0, w, h);
        r.offset(size.left + p.x - w / 2, size.top + p.y - h / 2);
        handle->drawTransparent(context, r);
        return;
    }
    const CDrawMode mode = context->getDrawMode();
    context->setDrawMode(kAntialias);
    context->setLineWidth(2);
    context->setFrameColor(colorHandle);
    context->beginPath();
    context->pathMoveTo(CPoint(size.left + size.width() / 2, size.top + size.height() / 2));
    context->pathLineTo(CPoint(size.left + p.x, size.top + p.y));
    context->drawPath(kDrawStroked);
    context->setLineWidth(1);
    context->setDrawMode(mode);
}

void CKnob::startDrag(const CPoint& where, long buttons) {
    anchorValue = value;
    anchorY = where.y;
    fineAtAnchor = buttons & kShift;
}

CMouseEventResult CKnob::onMouseDown(CPoint& where, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventNotHandled;
    if (checkDefaultValue(buttons)) return kMouseDownEventHandledButDontNeedMovedOrUpEvents;
    beginEdit();
    startDrag(where, buttons);
    return kMouseEventHandled;
}

CMouseEventResult CKnob::onMouseMoved(CPoint& where, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventHandled;
    const bool fine = buttons & kShift;
    // Pressing or releasing Shift mid-drag continues from where the knob is.
    if (fine != fineAtAnchor) startDrag(where, buttons);
    float delta = float(anchorY - where.y) * (vmax - vmin) / dragRange;
    if (fine) delta /= kFineFactor;
    dragTo(anchorValue + delta);
    return kMouseEventHandled;
}

CMouseEventResult CKnob::onMouseUp(CPoint&, const long&) {
    endEdit();
    return kMouseEventHandled;
}

bool CKnob::onWheel(const CPoint&, const float& distance, const long& buttons) {
    wheelStep(distance, buttons, kFineFactor);
    return true;
}

CAnimKnob::CAnimKnob(const CRect& r, CControlListener* l, long t, long sub, CCoord h, CBitmap* bg, const CPoint& o)
    : CKnob(r, l, t, bg, nullptr, o), subPixmaps(sub < 1 ? 1 : sub), heightOfOneImage(h) {}

long CAnimKnob::frameIndex() const {
    const float range = vmax - vmin;
    float norm = range != 0 ? (value - vmin) / range : 0;
    if (inverseBitmap) norm = 1 - norm;
    const long i = long(norm * float(subPixmaps - 1) + 0.5f);
    return i < 0 ? 0 : i >= subPixmaps ? subPixmaps - 1 : i;
}

void CAnimKnob::draw(CDrawContext* context) {
    if (background) background->draw(context, size, CPoint(offset.x, offset.y + frameIndex() * heightOfOneImage));
    setDirty(false);
}

}  // namespace VSTGUI

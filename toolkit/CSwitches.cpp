#include "CSwitches.h"

namespace VSTGUI {

CSwitchBase::CSwitchBase(const CRect& r, CControlListener* l, long t, long sub, CCoord h, long maxPos, CBitmap* bg,
                         const CPoint& o, bool v)
    : CControl(r, l, t, bg), offset(o), subPixmaps(sub < 1 ? 1 : sub), heightOfOneImage(h),
      maxPositions(maxPos < 2 ? 2 : maxPos), vertical(v) {}

void CSwitchBase::draw(CDrawContext* context) {
    drawValueFrame(context, offset, subPixmaps, heightOfOneImage);
    setDirty(false);
}

long CSwitchBase::positionAt(const CPoint& where) const {
    const CCoord extent = vertical ? size.height() : size.width();
    const CCoord at = vertical ? where.y - size.top : where.x - size.left;
    long p = long(at * CCoord(maxPositions) / extent);
    return p < 0 ? 0 : p >= maxPositions ? maxPositions - 1 : p;
}

CMouseEventResult CSwitchBase::onMouseDown(CPoint& where, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventNotHandled;
    beginEdit();
    return onMouseMoved(where, buttons);
}

CMouseEventResult CSwitchBase::onMouseMoved(CPoint& where, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventHandled;
    const float v = vmin + float(positionAt(where)) / float(maxPositions - 1) * (vmax - vmin);
    if (v != value) {
        value = v;
        valueChanged();
        invalid();
    }
    return kMouseEventHandled;
}

CMouseEventResult CSwitchBase::onMouseUp(CPoint&, const long&) {
    endEdit();
    return kMouseEventHandled;
}

}  // namespace VSTGUI

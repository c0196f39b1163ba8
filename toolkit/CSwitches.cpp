#include "CSwitches.h"

namespace VSTGUI {

CSwitchBase::CSwitchBase(const CRect& r, CControlListener* l, long t, long sub, CCoord h, long maxPos, CBitmap* bg,
                         const CPoint& o, bool v)
    : CControl(r, l, t, bg), offset(o), subPixmaps(sub < 1 ? 1 : sub), heightOfOneImage(h),
      maxPositions(maxPos < 2 ? 2 : maxPos), vertical(v) {}

void CSwitchBase::draw(CDrawContext* context) {
    if (background) {
        const float range = vmax - vmin;
        const float n = range != 0 ? (value - vmin) / range : 0;
        long frame = long(n * float(subPixmaps - 1) + 0.5f);
        frame = frame < 0 ? 0 : frame >= subPixmaps ? subPixmaps - 1 : frame;
        background->draw(context, size, CPoint(offset.x, offset.y + frame * heightOfOneImage));
    }
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

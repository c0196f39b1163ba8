#include "CButtons.h"

namespace VSTGUI {

COnOffButton::COnOffButton(const CRect& r, CControlListener* l, long t, CBitmap* bg, long s)
    : CControl(r, l, t, bg), style(s) {}

void COnOffButton::draw(CDrawContext* context) {
    if (background) background->draw(context, size, CPoint(0, value == vmax ? size.height() : 0));
    setDirty(false);
}

CMouseEventResult COnOffButton::onMouseDown(CPoint&, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventNotHandled;
    value = (value == vmax) ? vmin : vmax;
    beginEdit();
    valueChanged();
    endEdit();
    return kMouseDownEventHandledButDontNeedMovedOrUpEvents;
}

CKickButton::CKickButton(const CRect& r, CControlListener* l, long t, CCoord h, CBitmap* bg, const CPoint& o)
    : CControl(r, l, t, bg), offset(o), heightOfOneImage(h) {}

void CKickButton::draw(CDrawContext* context) {
    if (background)
        background->draw(context, size, CPoint(offset.x, offset.y + (value == vmax ? heightOfOneImage : 0)));
    setDirty(false);
}

CMouseEventResult CKickButton::onMouseDown(CPoint& where, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventNotHandled;
    beginEdit();
    return onMouseMoved(where, buttons);
}

CMouseEventResult CKickButton::onMouseMoved(CPoint& where, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventHandled;
    value = where.isInside(size) ? vmax : vmin;
    if (isDirty()) invalid();
    return kMouseEventHandled;
}

CMouseEventResult CKickButton::onMouseUp(CPoint&, const long&) {
    if (value == vmax) valueChanged();
    value = vmin;
    valueChanged();
    if (isDirty()) invalid();
    endEdit();
    return kMouseEventHandled;
}

CMovieButton::CMovieButton(const CRect& r, CControlListener* l, long t, CCoord h, CBitmap* bg, const CPoint& o)
    : CControl(r, l, t, bg), offset(o), heightOfOneImage(h) {}

void CMovieButton::draw(CDrawContext* context) {
    if (background)
        background->draw(context, size, CPoint(offset.x, offset.y + (value == vmax ? heightOfOneImage : 0)));
    setDirty(false);
}

CMouseEventResult CMovieButton::onMouseDown(CPoint& where, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventNotHandled;
    entryState = value;
    beginEdit();
    return onMouseMoved(where, buttons);
}

CMouseEventResult CMovieButton::onMouseMoved(CPoint& where, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventHandled;
    const float v = where.isInside(size) ? (entryState == vmax ? vmin : vmax) : entryState;
    if (v != value) {
        value = v;
        valueChanged();
        invalid();
    }
    return kMouseEventHandled;
}

CMouseEventResult CMovieButton::onMouseUp(CPoint&, const long&) {
    endEdit();
    return kMouseEventHandled;
}

CRockerSwitch::CRockerSwitch(const CRect& r, CControlListener* l, long t, CCoord h, CBitmap* bg, const CPoint& o, long s)
    : CControl(r, l, t, bg), offset(o), heightOfOneImage(h), style(s) {
    vmin = -1;
    vmax = 1;
    value = 0;
    setDirty();
}

void CRockerSwitch::draw(CDrawContext* context) {
    if (background) {
        const int frame = value == vmin ? 0 : value == vmax ? 2 : 1;
        background->draw(context, size, CPoint(offset.x, offset.y + frame * heightOfOneImage));
    }
    setDirty(false);
}

float CRockerSwitch::valueAt(const CPoint& where) const {
    if (!where.isInside(size)) return 0;
    if (style & kVertical) return where.y < (size.top + size.bottom) / 2 ? vmax : vmin;
    return where.x < (size.left + size.right) / 2 ? vmin : vmax;
}

CMouseEventResult CRockerSwitch::onMouseDown(CPoint& where, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventNotHandled;
    beginEdit();
    return onMouseMoved(where, buttons);
}

CMouseEventResult CRockerSwitch::onMouseMoved(CPoint& where, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventHandled;
    const float v = valueAt(where);
    if (v != value) {
        value = v;
        valueChanged();
        invalid();
    }
    return kMouseEventHandled;
}

CMouseEventResult CRockerSwitch::onMouseUp(CPoint&, const long&) {
    value = 0;
    valueChanged();
    invalid();
    endEdit();
    return kMouseEventHandled;
}

}  // namespace VSTGUI

#include "CMovieBitmap.h"

namespace VSTGUI {

CMovieBitmap::CMovieBitmap(const CRect& r, CControlListener* l, long t, long sub, CCoord h, CBitmap* bg, const CPoint& o)
    : CControl(r, l, t, bg), offset(o), subPixmaps(sub < 1 ? 1 : sub), heightOfOneImage(h) {
    setMouseEnabled(false);
}

void CMovieBitmap::draw(CDrawContext* context) {
    drawValueFrame(context, offset, subPixmaps, heightOfOneImage);
    setDirty(false);
}

CAutoAnimation::CAutoAnimation(const CRect& r, CControlListener* l, long t, long sub, CCoord h, CBitmap* bg,
                               const CPoint& o)
    : CControl(r, l, t, bg), offset(o), subPixmaps(sub < 1 ? 1 : sub), heightOfOneImage(h) {
    vmax = float(subPixmaps - 1) * float(h);
}

void CAutoAnimation::draw(CDrawContext* context) {
    if (windowOpened && background) background->draw(context, size, CPoint(offset.x, offset.y + value));
    setDirty(false);
}

CMouseEventResult CAutoAnimation::onMouseDown(CPoint&, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventNotHandled;
    if (windowOpened) closeWindow();
    else openWindow();
    value = 0;
    beginEdit();
    valueChanged();
    endEdit();
    invalid();
    return kMouseDownEventHandledButDontNeedMovedOrUpEvents;
}

void CAutoAnimation::openWindow() {
    windowOpened = true;
    value = 0;
    setDirty();
}

void CAutoAnimation::closeWindow() {
    windowOpened = false;
    setDirty();
}

void CAutoAnimation::nextPix() {
    if (!windowOpened) return;
    value = value + float(heightOfOneImage) > vmax ? 0 : value + float(heightOfOneImage);
    setDirty();
}

void CAutoAnimation::previousPix() {
    if (!windowOpened) return;
    value = value - float(heightOfOneImage) < 0 ? vmax : value - float(heightOfOneImage);
    setDirty();
}

}  // namespace VSTGUI

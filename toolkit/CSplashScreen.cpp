#include "CSplashScreen.h"

#include "CFrame.h"

namespace VSTGUI {

CSplashScreen::CSplashScreen(const CRect& r, CControlListener* l, long t, CBitmap* bg, const CRect& d, const CPoint& o)
    : CControl(r, l, t, bg), toDisplay(d), keepSize(r), offset(o) {}

void CSplashScreen::draw(CDrawContext* context) {
    if (value != 0 && background) background->draw(context, toDisplay, offset);
    setDirty(false);
}

void CSplashScreen::show(bool on) {
    CFrame* f = getFrame();
    if (on) {
        size = mouseableArea = toDisplay;
        if (f) f->setModalView(this);
    } else {
        invalidRect(size);
        size = mouseableArea = keepSize;
        if (f && f->getModalView() == this) f->setModalView(nullptr);
    }
    invalid();
}

void CSplashScreen::setValue(float val) {
    if ((val != 0) != (value != 0)) {
        value = val;
        show(val != 0);
    } else {
        value = val;
    }
}

CMouseEventResult CSplashScreen::onMouseDown(CPoint&, const long& buttons) {
    if (!(buttons & kLButton)) return kMouseEventNotHandled;
    beginEdit();
    setValue(value != 0 ? 0.f : 1.f);
    valueChanged();
    endEdit();
    return kMouseDownEventHandledButDontNeedMovedOrUpEvents;
}

}  // namespace VSTGUI

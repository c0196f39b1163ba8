#include "CControl.h"

#include "CBitmap.h"

#include "CFrame.h"

namespace VSTGUI {

CControl::CControl(const CRect& r, CControlListener* l, long t, CBitmap* bg) : CView(r), listener(l), tag(t) {
    if (bg) setBackground(bg);
    setDirty(true);
}

void CControl::beginEdit() {
    ++editing;
    if (CFrame* f = getFrame()) f->beginEdit(tag);
    if (listener) listener->controlBeginEdit(this);
}

void CControl::endEdit() {
    if (editing > 0) --editing;
    if (listener) listener->controlEndEdit(this);
    if (CFrame* f = getFrame()) f->endEdit(tag);
}

void CControl::bounceValue() {
    if (value > vmax) value = vmax;
    else if (value < vmin) value = vmin;
}

bool CControl::checkDefaultValue(long buttons) {
    if ((buttons & (kControl | kLButton)) != (kControl | kLButton)) return false;
    beginEdit();
    value = defaultValue;
    bounceValue();
    valueChanged();
    endEdit();
    setDirty();
    return true;
}

void CControl::dragTo(float newValue) {
    const float old = value;
    value = newValue;
    bounceValue();
    if (value != old) {
        valueChanged();
        invalid();
    }
}

void CControl::wheelStep(float distance, long buttons, float fineFactor) {
    const float old = value;
    value += distance * wheelInc * (vmax - vmin) / ((buttons & kShift) ? fineFactor : 1.f);
    bounceValue();
    if (value != old) {
        beginEdit();
        valueChanged();
        endEdit();
        invalid();
    }
}

void CControl::drawValueFrame(CDrawContext* context, const CPoint& offset, long frames, CCoord heightOfOneImage) {
    if (!background) return;
    const float range = vmax - vmin;
    const float n = range != 0 ? (value - vmin) / range : 0;
    long frame = long(n * float(frames - 1) + 0.5f);
    frame = frame < 0 ? 0 : frame >= frames ? frames - 1 : frame;
    background->draw(context, size, CPoint(offset.x, offset.y + frame * heightOfOneImage));
}

bool CControl::isDirty() const { return value != oldValue || CView::isDirty(); }

void CControl::setDirty(bool val) {
    CView::setDirty(val);
    oldValue = val ? value - 1 : value;
}

void CControl::valueChanged() {
    if (listener) listener->valueChanged(this);
}

}  // namespace VSTGUI

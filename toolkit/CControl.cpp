#include "CControl.h"

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

bool CControl::isDirty() const { return value != oldValue || CView::isDirty(); }

void CControl::setDirty(bool val) {
    CView::setDirty(val);
    oldValue = val ? value - 1 : value;
}

void CControl::valueChanged() {
    if (listener) listener->valueChanged(this);
}

}  // namespace VSTGUI

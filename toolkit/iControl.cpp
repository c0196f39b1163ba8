#include "iControl.h"

namespace VSTGUI {

iControlWrapper::iControlWrapper(iControl* w) : CControl(w->getControlRect(), nullptr, w->getTag()), wrapped(w) {
    CView::setDirty(false);
}

void iControlWrapper::setDirty(bool val) {
    // Called while the base is built, before `wrapped` is set.
    if (wrapped) wrapped->setDirty(val);
}

}  // namespace VSTGUI

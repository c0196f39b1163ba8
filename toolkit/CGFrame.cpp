#include "CGFrame.h"

namespace VSTGUI {

CGFrame::CGFrame(const CRect& r, VSTGUIEditorInterface* e, iVSTFrameCallbackInterface* cb) : CFrame(r, e), callback(cb) {}

CMouseEventResult CGFrame::onMouseDown(CPoint& where, const long& buttons) {
    if (callback) {
        long tag = -1;
        callback->getTagUnderPoint(where.x, where.y, tag);
        if (tag != -1 && callback->onClickTag(0, tag)) return kMouseDownEventHandledButDontNeedMovedOrUpEvents;
    }
    return CFrame::onMouseDown(where, buttons);
}

bool CGFrame::onWheel(const CPoint& where, const CMouseWheelAxis& axis, const float& distance, const long& buttons) {
    if (modalView) {
        CPoint p = where;
        modalView->frameToLocal(p);
        return modalView->onWheel(p, axis, distance, buttons);
    }
    CView* under = getViewAt(where);
    if (!under) return false;
    CPoint p = where;
    return under->onWheel(p, axis, distance, buttons);
}

}  // namespace VSTGUI

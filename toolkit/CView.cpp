#include "CView.h"

#include "CFrame.h"
#include "CViewContainer.h"

namespace VSTGUI {

CView::CView(const CRect& r) : size(r), mouseableArea(r) {}

CView::~CView() {
    if (background) background->forget();
}

void CView::draw(CDrawContext* context) {
    if (background) background->draw(context, size);
    setDirty(false);
}

void CView::drawRect(CDrawContext* context, const CRect&) { draw(context); }

CMouseEventResult CView::onMouseDown(CPoint&, const long&) { return kMouseEventNotImplemented; }
CMouseEventResult CView::onMouseUp(CPoint&, const long&) { return kMouseEventNotImplemented; }
CMouseEventResult CView::onMouseMoved(CPoint&, const long&) { return kMouseEventNotImplemented; }
CMouseEventResult CView::onMouseEntered(CPoint&, const long&) { return kMouseEventNotImplemented; }
CMouseEventResult CView::onMouseExited(CPoint&, const long&) { return kMouseEventNotImplemented; }

bool CView::onWheel(const CPoint&, const float&, const long&) { return false; }

bool CView::onWheel(const CPoint& where, const CMouseWheelAxis& axis, const float& distance, const long& buttons) {
    if (axis == kMouseWheelAxisY) return onWheel(where, distance, buttons);
    return false;
}

long CView::onKeyDown(VstKeyCode&) { return -1; }
long CView::onKeyUp(VstKeyCode&) { return -1; }

void CView::invalid() {
    setDirty(false);
    invalidRect(size);
}

void CView::invalidRect(const CRect& rect) {
    CFrame* frame = getFrame();
    if (!frame) return;
    CRect r = rect;
    CPoint origin(0, 0);
    localToFrame(origin);
    r.offset(origin.x, origin.y);
    frame->addDirtyRect(r);
}

bool CView::hitTest(const CPoint& where, const long) { return mouseableArea.pointInside(where); }

void CView::setViewSize(CRect& rect, bool invalidate) {
    if (invalidate) invalidRect(size);
    size = rect;
    mouseableArea = rect;
    if (invalidate) setDirty();
}

void CView::setVisible(bool val) {
    if (visible == val) return;
    visible = val;
    invalidRect(size);
}

void CView::setBackground(CBitmap* bitmap) {
    if (bitmap) bitmap->remember();
    if (background) background->forget();
    background = bitmap;
    setDirty();
}

bool CView::attached(CView* parent) {
    parentView = parent;
    parentFrame = parent ? parent->getFrame() : nullptr;
    isAttachedFlag = true;
    return true;
}

bool CView::removed(CView*) {
    parentView = nullptr;
    parentFrame = nullptr;
    isAttachedFlag = false;
    return true;
}

CPoint& CView::localToFrame(CPoint& point) const {
    if (parentView) parentView->localToFrameOfChildren(point);
    return point;
}

CPoint& CView::frameToLocal(CPoint& point) const {
    CPoint origin(0, 0);
    localToFrame(origin);
    point.offset(-origin.x, -origin.y);
    return point;
}

CRect CView::getFrameRect() const {
    CPoint origin(0, 0);
    localToFrame(origin);
    CRect r = size;
    return r.offset(origin.x, origin.y);
}

}  // namespace VSTGUI

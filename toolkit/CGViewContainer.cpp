#include "CGViewContainer.h"

namespace VSTGUI {

CGViewContainer::CGViewContainer(const CRect& r, CFrame* f, CBitmap* bg, bool h) : CViewContainer(r, f, bg), hidden(h) {
    mouseEnabled = !h;
}

void CGViewContainer::setHidden(bool h) {
    hidden = h;
    setMouseEnabled(!h);
    setDirty();
}

void CGViewContainer::draw(CDrawContext* context) {
    if (hidden) {
        setDirty(false);
        return;
    }
    CViewContainer::draw(context);
}

void CGViewContainer::drawRect(CDrawContext* context, const CRect& updateRect) {
    if (hidden) {
        setDirty(false);
        return;
    }
    CViewContainer::drawRect(context, updateRect);
}

CMouseEventResult CGViewContainer::onMouseDown(CPoint& where, const long& buttons) {
    if (hidden) return kMouseEventNotHandled;
    return CViewContainer::onMouseDown(where, buttons);
}

CMouseEventResult CGViewContainer::onMouseUp(CPoint& where, const long& buttons) {
    if (hidden) return kMouseEventNotHandled;
    return CViewContainer::onMouseUp(where, buttons);
}

CMouseEventResult CGViewContainer::onMouseMoved(CPoint& where, const long& buttons) {
    if (hidden) return kMouseEventNotHandled;
    return CViewContainer::onMouseMoved(where, buttons);
}

bool CGViewContainer::onWheel(const CPoint& where, float distance) { return onWheel(where, distance, 1); }

bool CGViewContainer::onWheel(const CPoint& where, const float& distance, const long& buttons) {
    if (hidden) return false;
    return CViewContainer::onWheel(where, distance, buttons);
}

bool CGViewContainer::onWheel(const CPoint& where, const CMouseWheelAxis& axis, const float& distance, const long& buttons) {
    if (hidden) return false;
    return CViewContainer::onWheel(where, axis, distance, buttons);
}

bool CGViewContainer::hitTest(const CPoint& where, const long) {
    if (hidden) return false;
    return where.x >= size.left && where.x <= size.right && where.y >= size.top && where.y <= size.bottom;
}

nCGViewContainer::nCGViewContainer(const CRect& r, CFrame* f, bool h)
    : CGViewContainer(r, f, nullptr, h), snapshot(new CDIB(int(r.width()), int(r.height()), false)) {
    setBackground(snapshot);
}

nCGViewContainer::~nCGViewContainer() { snapshot->forget(); }

bool nCGViewContainer::attached(CView* parent) {
    CGViewContainer::attached(parent);
    grabFromParents(this, snapshot, 0, 0, -1);
    return true;
}

CDIB* grabFromParents(CView* view, CDIB* target, int, int, int kind) {
    if (!view) return nullptr;
    const CRect own = view->getViewSize();
    CPoint offset(own.left, own.top);
    CDIB* found = nullptr;
    for (CView* parent = view->getParentView(); parent; parent = parent->getParentView()) {
        CDIB* bg = dynamic_cast<CDIB*>(parent->getBackground());
        if (bg && (kind == -1 || bg->isSection == kind)) {
            found = bg;
            break;
        }
        offset.offset(parent->getViewSize().left, parent->getViewSize().top);
    }
    if (found && target)
        copyRect(found, target, CRect(0, 0, own.width(), own.height()), offset);
    return found;
}

}  // namespace VSTGUI

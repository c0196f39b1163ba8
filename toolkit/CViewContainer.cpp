#include "CViewContainer.h"

#include <algorithm>

#include "CFrame.h"

namespace VSTGUI {

CViewContainer::CViewContainer(const CRect& r, CFrame* frame, CBitmap* bg) : CView(r) {
    parentFrame = frame;
    if (bg) setBackground(bg);
    setDirty(false);
}

CViewContainer::~CViewContainer() { removeAll(true); }

void CViewContainer::addView(CView* view) { addView(view, nullptr); }

void CViewContainer::addView(CView* view, CView* before) {
    if (!view) return;
    auto at = std::find(children.begin(), children.end(), before);
    children.insert(at, view);
    if (isAttached() || getFrame()) view->attached(this);
    invalidRect(CRect(view->getViewSize()).offset(size.left, size.top));
}

void CViewContainer::forgetTracking(CView* view) {
    if (mouseDownView == view) mouseDownView = nullptr;
    if (hoverView == view) hoverView = nullptr;
    if (CFrame* f = getFrame()) f->viewRemoved(view);
}

void CViewContainer::removeView(CView* view, bool withForget) {
    auto it = std::find(children.begin(), children.end(), view);
    if (it == children.end()) return;
    children.erase(it);
    invalidRect(CRect(view->getViewSize()).offset(size.left, size.top));
    forgetTracking(view);
    view->removed(this);
    if (withForget) view->forget();
}

void CViewContainer::removeAll(bool withForget) {
    while (!children.empty()) removeView(children.back(), withForget);
}

CView* CViewContainer::getView(long index) const {
    return index >= 0 && index < long(children.size()) ? children[size_t(index)] : nullptr;
}

bool CViewContainer::isChild(const CView* view) const {
    return std::find(children.begin(), children.end(), view) != children.end();
}

CView* CViewContainer::getViewAt(const CPoint& where, bool deep) const {
    for (auto it = children.rbegin(); it != children.rend(); ++it) {
        CView* v = *it;
        if (!v->isVisible() || !v->getMouseEnabled() || !v->hitTest(where)) continue;
        if (deep) {
            if (auto* c = dynamic_cast<CViewContainer*>(v)) {
                CPoint local = where;
                local.offset(-c->getViewSize().left, -c->getViewSize().top);
                if (CView* inner = c->getViewAt(local, true)) return inner;
            }
        }
        return v;
    }
    return nullptr;
}

void CViewContainer::draw(CDrawContext* context) { drawRect(context, size); }

void CViewContainer::drawBackgroundRect(CDrawContext* context, const CRect& rect) {
    if (background) {
        CRect r = rect;
        CPoint off(rect.left - size.left + backgroundOffset.x, rect.top - size.top + backgroundOffset.y);
        background->draw(context, r, off);
    } else if (!transparent) {
        context->setFillColor(backgroundColor);
        context->fillRect(rect);
    }
}

void CViewContainer::drawRect(CDrawContext* context, const CRect& updateRect) {
    CRect area = size;
    area.bound(updateRect);
    if (area.isEmpty()) {
        setDirty(false);
        return;
    }
    const CRect savedClip = context->getAbsoluteClipRect();
    const CPoint savedOffset = context->getOffset();

    CRect clip = area;
    clip.offset(savedOffset.x, savedOffset.y);
    clip.bound(savedClip);
    context->setAbsoluteClipRect(clip);
    drawBackgroundRect(context, area);

    context->setOffset(CPoint(savedOffset.x + size.left, savedOffset.y + size.top));
    CRect local = area;
    local.offset(-size.left, -size.top);
    for (CView* v : children) {
        if (!v->isVisible()) continue;
        CRect childArea = v->getViewSize();
        childArea.bound(local);
        if (childArea.isEmpty()) continue;
        CRect childClip = childArea;
        childClip.offset(savedOffset.x + size.left, savedOffset.y + size.top);
        childClip.bound(clip);
        context->setAbsoluteClipRect(childClip);
        v->drawRect(context, childArea);
    }
    context->setOffset(savedOffset);
    context->setAbsoluteClipRect(savedClip);
    setDirty(false);
}

CMouseEventResult CViewContainer::onMouseDown(CPoint& where, const long& buttons) {
    CPoint local = where;
    local.offset(-size.left, -size.top);
    for (auto it = children.rbegin(); it != children.rend(); ++it) {
        CView* v = *it;
        if (!v->isVisible() || !v->getMouseEnabled() || !v->hitTest(local, buttons)) continue;
        CPoint p = local;
        const CMouseEventResult result = v->onMouseDown(p, buttons);
        if (result == kMouseEventNotHandled || result == kMouseEventNotImplemented) continue;
        if (result == kMouseEventHandled) mouseDownView = v;
        return result;
    }
    return kMouseEventNotHandled;
}

CMouseEventResult CViewContainer::onMouseUp(CPoint& where, const long& buttons) {
    if (!mouseDownView) return kMouseEventNotHandled;
    CView* v = mouseDownView;
    mouseDownView = nullptr;
    CPoint p = where;
    p.offset(-size.left, -size.top);
    return v->onMouseUp(p, buttons);
}

CMouseEventResult CViewContainer::onMouseMoved(CPoint& where, const long& buttons) {
    CPoint local = where;
    local.offset(-size.left, -size.top);
    if (mouseDownView) return mouseDownView->onMouseMoved(local, buttons);
    // Hover: the view under the pointer, with enter and exit as it changes.
    CView* under = getViewAt(local);
    if (under != hoverView) {
        if (hoverView) {
            CPoint p = local;
            hoverView->onMouseExited(p, buttons);
        }
        hoverView = under;
        if (hoverView) {
            CPoint p = local;
            hoverView->onMouseEntered(p, buttons);
        }
    }
    if (!under) return kMouseEventNotHandled;
    return under->onMouseMoved(local, buttons);
}

CMouseEventResult CViewContainer::onMouseExited(CPoint& where, const long& buttons) {
    if (hoverView) {
        CPoint p = where;
        p.offset(-size.left, -size.top);
        hoverView->onMouseExited(p, buttons);
        hoverView = nullptr;
    }
    return kMouseEventHandled;
}

bool CViewContainer::onWheel(const CPoint& where, const float& distance, const long& buttons) {
    return onWheel(where, kMouseWheelAxisY, distance, buttons);
}

bool CViewContainer::onWheel(const CPoint& where, const CMouseWheelAxis& axis, const float& distance, const long& buttons) {
    CPoint local = where;
    local.offset(-size.left, -size.top);
    for (auto it = children.rbegin(); it != children.rend(); ++it) {
        CView* v = *it;
        if (!v->isVisible() || !v->getMouseEnabled() || !v->hitTest(local, buttons)) continue;
        return v->onWheel(local, axis, distance, buttons);
    }
    return false;
}

bool CViewContainer::isDirty() const {
    if (CView::isDirty()) return true;
    for (CView* v : children)
        if (v->isDirty()) return true;
    return false;
}

bool CViewContainer::attached(CView* parent) {
    CView::attached(parent);
    for (CView* v : children) v->attached(this);
    return true;
}

bool CViewContainer::removed(CView* parent) {
    for (CView* v : children) v->removed(this);
    mouseDownView = hoverView = nullptr;
    return CView::removed(parent);
}

CPoint& CViewContainer::localToFrameOfChildren(CPoint& point) const {
    point.offset(size.left, size.top);
    return localToFrame(point);
}

void CViewContainer::collectDirtyRects(std::vector<CRect>& out, const CPoint& origin) {
    if (CView::isDirty()) {
        CRect r = size;
        out.push_back(r.offset(origin.x - size.left, origin.y - size.top));
        dirty = false;
    }
    for (CView* v : children) {
        if (auto* c = dynamic_cast<CViewContainer*>(v)) {
            c->collectDirtyRects(out, CPoint(origin.x + c->getViewSize().left, origin.y + c->getViewSize().top));
        } else if (v->isDirty()) {
            CRect r = v->getViewSize();
            out.push_back(r.offset(origin.x, origin.y));
            v->setDirty(false);
        }
    }
}

}  // namespace VSTGUI

#include "CFrame.h"

#include <cmath>

#include "platform/PlatformWindow.h"

namespace VSTGUI {

CFrame::CFrame(const CRect& r, VSTGUIEditorInterface* e) : CViewContainer(CRect(0, 0, r.width(), r.height())), editor(e) {
    parentFrame = this;
    isAttachedFlag = true;
}

CFrame::~CFrame() {
    close();
    modalView = focusView = modalCapture = nullptr;
    removeAll(true);
}

bool CFrame::open(RunLoop* runLoop, unsigned long parentWindow, const char* title) {
    if (window) return true;
    auto w = std::make_unique<PlatformWindow>(this);
    if (!w->open(runLoop, parentWindow, int(size.width()), int(size.height()), title)) return false;
    window = std::move(w);
    invalidateAll();
    return true;
}

void CFrame::close() {
    if (focusView) setFocusView(nullptr);
    window.reset();
}

void CFrame::idle() {
    if (window) window->redraw();
}

void CFrame::onTimer() {
    if (timerHandler) timerHandler();
    else idle();
}

bool CFrame::setModalView(CView* view) {
    if (view && modalView) return false;
    if (modalView) invalidRect(modalView->getFrameRect());
    modalView = view;
    modalCapture = nullptr;
    if (modalView) invalidRect(modalView->getFrameRect());
    return true;
}

void CFrame::setFocusView(CView* view) {
    if (view == focusView) return;
    CView* old = focusView;
    focusView = view;
    if (old) old->looseFocus();
    // looseFocus may have moved the focus on already.
    if (focusView == view && view) view->takeFocus();
}

void CFrame::beginEdit(long tag) {
    if (editor) editor->beginEdit(tag);
}

void CFrame::endEdit(long tag) {
    if (editor) editor->endEdit(tag);
}

bool CFrame::setSize(CCoord width, CCoord height) {
    size(0, 0, width, height);
    mouseableArea = size;
    if (window) window->resize(int(width), int(height));
    invalidateAll();
    return true;
}

void CFrame::addDirtyRect(const CRect& rect) {
    CRect r = rect;
    r.bound(size);
    if (!r.isEmpty()) dirtyRects.push_back(r);
}

std::vector<CRect> CFrame::renderDirty(CDrawContext* context) {
    collectDirtyRects(dirtyRects, CPoint(0, 0));
    std::vector<CRect> merged;
    // Pixel-aligned, and overlapping rectangles joined so nothing is drawn twice.
    for (CRect r : dirtyRects) {
        r(std::floor(r.left), std::floor(r.top), std::ceil(r.right), std::ceil(r.bottom));
        r.bound(size);
        if (r.isEmpty()) continue;
        bool joined = true;
        while (joined) {
            joined = false;
            for (size_t i = 0; i < merged.size(); ++i) {
                if (merged[i].rectOverlap(r)) {
                    r.unite(merged[i]);
                    merged.erase(merged.begin() + long(i));
                    joined = true;
                    break;
                }
            }
        }
        merged.push_back(r);
    }
    dirtyRects.clear();
    for (const CRect& r : merged) {
        context->setOffset(CPoint(0, 0));
        context->setAbsoluteClipRect(r);
        drawRect(context, r);
        // The modal view stays on top of everything.
        if (modalView && modalView->isVisible()) {
            CRect m = modalView->getFrameRect();
            if (m.rectOverlap(r)) {
                CPoint origin(0, 0);
                modalView->localToFrame(origin);
                context->setOffset(origin);
                m.bound(r);
                context->setAbsoluteClipRect(m);
                CRect local = m;
                modalView->drawRect(context, local.offset(-origin.x, -origin.y));
            }
        }
    }
    context->setOffset(CPoint(0, 0));
    context->resetClipRect();
    return merged;
}

bool CFrame::getCurrentMouseLocation(CPoint& where) const {
    where = mouseWhere;
    return true;
}

long CFrame::getCurrentMouseButtons() const { return mouseButtons; }

CMouseEventResult CFrame::onMouseDown(CPoint& where, const long& buttons) {
    // A click elsewhere ends text entry (and so commits it).
    if (focusView && !focusView->getFrameRect().pointInside(where)) setFocusView(nullptr);
    if (modalView) {
        CPoint p = where;
        modalView->frameToLocal(p);
        if (!modalView->hitTest(p, buttons)) return kMouseEventNotHandled;
        const CMouseEventResult r = modalView->onMouseDown(p, buttons);
        if (r == kMouseEventHandled) modalCapture = modalView;
        return r;
    }
    return CViewContainer::onMouseDown(where, buttons);
}

CMouseEventResult CFrame::onMouseUp(CPoint& where, const long& buttons) {
    if (modalCapture) {
        CView* v = modalCapture;
        modalCapture = nullptr;
        CPoint p = where;
        v->frameToLocal(p);
        return v->onMouseUp(p, buttons);
    }
    return CViewContainer::onMouseUp(where, buttons);
}

CMouseEventResult CFrame::onMouseMoved(CPoint& where, const long& buttons) {
    if (modalCapture || modalView) {
        CView* v = modalCapture ? modalCapture : modalView;
        CPoint p = where;
        v->frameToLocal(p);
        return v->onMouseMoved(p, buttons);
    }
    return CViewContainer::onMouseMoved(where, buttons);
}

bool CFrame::onWheel(const CPoint& where, const CMouseWheelAxis& axis, const float& distance, const long& buttons) {
    if (modalView) {
        CPoint p = where;
        modalView->frameToLocal(p);
        return modalView->onWheel(p, axis, distance, buttons);
    }
    return CViewContainer::onWheel(where, axis, distance, buttons);
}

long CFrame::onKeyDown(VstKeyCode& key) {
    if (focusView) return focusView->onKeyDown(key);
    if (modalView) return modalView->onKeyDown(key);
    return -1;
}

long CFrame::onKeyUp(VstKeyCode& key) {
    if (focusView) return focusView->onKeyUp(key);
    if (modalView) return modalView->onKeyUp(key);
    return -1;
}

namespace {
bool within(const CView* v, const CView* ancestor) {
    for (; v; v = v->getParentView())
        if (v == ancestor) return true;
    return false;
}
}  // namespace

void CFrame::viewRemoved(CView* view) {
    if (within(modalView, view)) modalView = nullptr;
    if (within(modalCapture, view)) modalCapture = nullptr;
    if (within(focusView, view)) {
        CView* f = focusView;
        focusView = nullptr;
        f->looseFocus();
    }
}

}  // namespace VSTGUI

#pragma once
// Containers that can be hidden as a whole, and one that keeps a picture of what lay under it.

#include "CDIB.h"
#include "CViewContainer.h"

namespace VSTGUI {

// Gives the view behind an interface pointer.
class iCGinterface {
public:
    virtual ~iCGinterface() = default;
    virtual CView* getView() = 0;
};

class CGViewContainer : public CViewContainer, public iCGinterface {
public:
    CGViewContainer(const CRect& size, CFrame* frame, CBitmap* background, bool hidden = false);

    virtual void setHidden(bool hidden);
    bool isHidden() const { return hidden; }
    CView* getView() override { return this; }

    void draw(CDrawContext* context) override;
    void drawRect(CDrawContext* context, const CRect& updateRect) override;
    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseUp(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseMoved(CPoint& where, const long& buttons) override;
    // A wheel without a button state counts as button state 1.
    virtual bool onWheel(const CPoint& where, float distance);
    bool onWheel(const CPoint& where, const float& distance, const long& buttons) override;
    bool onWheel(const CPoint& where, const CMouseWheelAxis& axis, const float& distance, const long& buttons) override;
    // The rectangle with both edges included.
    bool hitTest(const CPoint& where, const long buttons = -1) override;

protected:
    bool hidden;
};

class nCGViewContainer : public CGViewContainer {
public:
    nCGViewContainer(const CRect& size, CFrame* frame, bool hidden = false);
    ~nCGViewContainer() override;
    // Captures what lies behind, as its own background, once per attach.
    bool attached(CView* parent) override;
    CDIB* getSnapshot() const { return snapshot; }

protected:
    CDIB* snapshot;
};

// The picture behind `view`, taken from the nearest parent whose background is a CDIB
// (kind -1), or whose background's isSection equals `kind`. Copies the view's area into
// `target` when given. Returns the bitmap found, or null.
CDIB* grabFromParents(CView* view, CDIB* target, int extraA, int extraB, int kind);

}  // namespace VSTGUI

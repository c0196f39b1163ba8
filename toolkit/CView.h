#pragma once
// The base of everything on screen. A view's size is in its parent's coordinates; mouse
// points arrive in the same coordinates.

#include "CBitmap.h"
#include "CDrawContext.h"
#include "Geometry.h"

namespace VSTGUI {

class CFrame;
class CViewContainer;

class CView : public CReferenceCounter {
public:
    explicit CView(const CRect& size);
    ~CView() override;

    virtual void draw(CDrawContext* context);
    // Draws the part within `updateRect` (parent coordinates); plain views draw all.
    virtual void drawRect(CDrawContext* context, const CRect& updateRect);

    virtual CMouseEventResult onMouseDown(CPoint& where, const long& buttons);
    virtual CMouseEventResult onMouseUp(CPoint& where, const long& buttons);
    virtual CMouseEventResult onMouseMoved(CPoint& where, const long& buttons);
    virtual CMouseEventResult onMouseEntered(CPoint& where, const long& buttons);
    virtual CMouseEventResult onMouseExited(CPoint& where, const long& buttons);
    // Vertical wheel; the axis form sends the vertical axis here.
    virtual bool onWheel(const CPoint& where, const float& distance, const long& buttons);
    virtual bool onWheel(const CPoint& where, const CMouseWheelAxis& axis, const float& distance, const long& buttons);
    // 1 handled, -1 not handled.
    virtual long onKeyDown(VstKeyCode& key);
    virtual long onKeyUp(VstKeyCode& key);

    virtual void setDirty(bool val = true) { dirty = val; }
    virtual bool isDirty() const { return dirty; }
    // Redraw at the next idle.
    virtual void invalid();
    // `rect` in this view's size coordinates.
    virtual void invalidRect(const CRect& rect);

    virtual bool hitTest(const CPoint& where, const long buttons = -1);

    virtual void setViewSize(CRect& rect, bool invalidate = true);
    virtual CRect& getViewSize(CRect& rect) const { return rect = size; }
    const CRect& getViewSize() const { return size; }
    virtual void setMouseableArea(const CRect& rect) { mouseableArea = rect; }
    virtual CRect& getMouseableArea(CRect& rect) const { return rect = mouseableArea; }
    CCoord getWidth() const { return size.width(); }
    CCoord getHeight() const { return size.height(); }

    virtual void setMouseEnabled(bool enable = true) { mouseEnabled = enable; }
    virtual bool getMouseEnabled() const { return mouseEnabled; }
    virtual void setTransparency(bool val) { transparent = val; }
    virtual bool getTransparency() const { return transparent; }
    virtual void setVisible(bool val);
    virtual bool isVisible() const { return visible; }

    // Retains the new bitmap and forgets the old one.
    virtual void setBackground(CBitmap* bitmap);
    virtual CBitmap* getBackground() const { return background; }

    virtual bool attached(CView* parent);
    virtual bool removed(CView* parent);
    bool isAttached() const { return isAttachedFlag; }
    CView* getParentView() const { return parentView; }
    virtual CFrame* getFrame() const { return parentFrame; }

    virtual void takeFocus() {}
    virtual void looseFocus() {}
    virtual bool wantsFocus() const { return false; }

    // A point in this view's size coordinates to the frame's and back.
    virtual CPoint& localToFrame(CPoint& point) const;
    virtual CPoint& frameToLocal(CPoint& point) const;
    // A point in the coordinates of this view's children to the frame's.
    virtual CPoint& localToFrameOfChildren(CPoint& point) const { return point; }
    // The view's own rectangle in frame coordinates.
    CRect getFrameRect() const;

protected:
    CRect size;
    CRect mouseableArea;
    CView* parentView = nullptr;
    CFrame* parentFrame = nullptr;
    CBitmap* background = nullptr;
    bool dirty = false;
    bool mouseEnabled = true;
    bool transparent = false;
    bool visible = true;
    bool isAttachedFlag = false;
};

}  // namespace VSTGUI

#pragma once
// A view holding child views in drawing order: later children draw over earlier ones and get
// the mouse first. Children's sizes are relative to the container's top left.

#include <vector>

#include "CView.h"

namespace VSTGUI {

class CViewContainer : public CView {
public:
    explicit CViewContainer(const CRect& size, CFrame* frame = nullptr, CBitmap* background = nullptr);
    ~CViewContainer() override;

    // Takes ownership of the reference given.
    virtual void addView(CView* view);
    virtual void addView(CView* view, CView* before);
    virtual void removeView(CView* view, bool withForget = true);
    virtual void removeAll(bool withForget = true);
    CView* getView(long index) const;
    long getNbViews() const { return long(children.size()); }
    bool isChild(const CView* view) const;
    // The topmost mouse-enabled child under a point in this container's children coordinates.
    CView* getViewAt(const CPoint& where, bool deep = false) const;

    void setBackgroundColor(const CColor& c) { backgroundColor = c; setDirty(); }
    CColor getBackgroundColor() const { return backgroundColor; }
    void setBackgroundOffset(const CPoint& p) { backgroundOffset = p; }

    void draw(CDrawContext* context) override;
    void drawRect(CDrawContext* context, const CRect& updateRect) override;
    virtual void drawBackgroundRect(CDrawContext* context, const CRect& rect);

    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseUp(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseMoved(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseExited(CPoint& where, const long& buttons) override;
    bool onWheel(const CPoint& where, const float& distance, const long& buttons) override;
    bool onWheel(const CPoint& where, const CMouseWheelAxis& axis, const float& distance, const long& buttons) override;

    bool isDirty() const override;
    bool attached(CView* parent) override;
    bool removed(CView* parent) override;
    CPoint& localToFrameOfChildren(CPoint& point) const override;

    // Adds the rectangles (frame coordinates) of dirty views below this one to `out`, and
    // clears their flags. `origin` is this container's children origin in the frame.
    virtual void collectDirtyRects(std::vector<CRect>& out, const CPoint& origin);

    CView* getMouseDownView() const { return mouseDownView; }
    void clearMouseDownView() { mouseDownView = nullptr; }

protected:
    void forgetTracking(CView* view);

    std::vector<CView*> children;
    CColor backgroundColor = kBlackCColor;
    CPoint backgroundOffset;
    CView* mouseDownView = nullptr;
    CView* hoverView = nullptr;
};

}  // namespace VSTGUI

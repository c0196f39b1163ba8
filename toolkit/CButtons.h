#pragma once
// Buttons drawn from a strip of images stacked vertically.

#include "CControl.h"

namespace VSTGUI {

// Two images of the control's height: off, then on. A press toggles.
class COnOffButton : public CControl {
public:
    COnOffButton(const CRect& size, CControlListener* listener, long tag, CBitmap* background, long style = 0);
    void draw(CDrawContext* context) override;
    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;

protected:
    long style;
};

// On while pressed with the pointer inside; the release tells the listener the press, then 0.
class CKickButton : public CControl {
public:
    CKickButton(const CRect& size, CControlListener* listener, long tag, CCoord heightOfOneImage, CBitmap* background,
                const CPoint& offset = CPoint());
    void draw(CDrawContext* context) override;
    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseMoved(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseUp(CPoint& where, const long& buttons) override;

protected:
    CPoint offset;
    CCoord heightOfOneImage;
};

// Toggles on press; dragging out of it during the press shows the old state again.
class CMovieButton : public CControl {
public:
    CMovieButton(const CRect& size, CControlListener* listener, long tag, CCoord heightOfOneImage, CBitmap* background,
                 const CPoint& offset = CPoint());
    void draw(CDrawContext* context) override;
    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseMoved(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseUp(CPoint& where, const long& buttons) override;

protected:
    CPoint offset;
    CCoord heightOfOneImage;
    float entryState = 0;
};

// Three states: min while the first half is pressed, max for the second, back to the middle
// on release. Images: min, middle, max.
class CRockerSwitch : public CControl {
public:
    enum { kHorizontal = 1 << 0, kVertical = 1 << 1 };
    CRockerSwitch(const CRect& size, CControlListener* listener, long tag, CCoord heightOfOneImage, CBitmap* background,
                  const CPoint& offset = CPoint(), long style = kHorizontal);
    void draw(CDrawContext* context) override;
    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseMoved(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseUp(CPoint& where, const long& buttons) override;

protected:
    float valueAt(const CPoint& where) const;
    CPoint offset;
    CCoord heightOfOneImage;
    long style;
};

}  // namespace VSTGUI

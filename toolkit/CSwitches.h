#pragma once
// Multi-position switches: the position under the pointer is the value, one image each.

#include "CControl.h"

namespace VSTGUI {

class CSwitchBase : public CControl {
public:
    CSwitchBase(const CRect& size, CControlListener* listener, long tag, long subPixmaps, CCoord heightOfOneImage,
                long maxPositions, CBitmap* background, const CPoint& offset, bool vertical);
    void draw(CDrawContext* context) override;
    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseMoved(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseUp(CPoint& where, const long& buttons) override;
    // The position (0 .. maxPositions - 1) a point selects.
    long positionAt(const CPoint& where) const;

protected:
    CPoint offset;
    long subPixmaps;
    CCoord heightOfOneImage;
    long maxPositions;
    bool vertical;
};

class CVerticalSwitch : public CSwitchBase {
public:
    CVerticalSwitch(const CRect& size, CControlListener* listener, long tag, long subPixmaps, CCoord heightOfOneImage,
                    long maxPositions, CBitmap* background, const CPoint& offset = CPoint())
        : CSwitchBase(size, listener, tag, subPixmaps, heightOfOneImage, maxPositions, background, offset, true) {}
};

class CHorizontalSwitch : public CSwitchBase {
public:
    CHorizontalSwitch(const CRect& size, CControlListener* listener, long tag, long subPixmaps, CCoord heightOfOneImage,
                      long maxPositions, CBitmap* background, const CPoint& offset = CPoint())
        : CSwitchBase(size, listener, tag, subPixmaps, heightOfOneImage, maxPositions, background, offset, false) {}
};

}  // namespace VSTGUI

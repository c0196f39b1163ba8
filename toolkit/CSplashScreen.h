#pragma once
// A click shows the background over a larger rectangle as the frame's modal view; a click on
// the shown picture hides it again.

#include "CControl.h"

namespace VSTGUI {

class CSplashScreen : public CControl {
public:
    CSplashScreen(const CRect& size, CControlListener* listener, long tag, CBitmap* background, const CRect& toDisplay,
                  const CPoint& offset = CPoint());
    void draw(CDrawContext* context) override;
    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    void setValue(float val) override;

protected:
    void show(bool on);
    CRect toDisplay;
    CRect keepSize;
    CPoint offset;
};

}  // namespace VSTGUI

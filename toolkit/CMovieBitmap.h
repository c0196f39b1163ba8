#pragma once
// Image strips shown frame by frame: by value, or running on the editor's idle.

#include "CControl.h"

namespace VSTGUI {

class CMovieBitmap : public CControl {
public:
    CMovieBitmap(const CRect& size, CControlListener* listener, long tag, long subPixmaps, CCoord heightOfOneImage,
                 CBitmap* background, const CPoint& offset = CPoint());
    void draw(CDrawContext* context) override;

protected:
    CPoint offset;
    long subPixmaps;
    CCoord heightOfOneImage;
};

// A click starts the animation, another stops it; the owner steps it with nextPix. The value
// is the pixel offset of the frame shown.
class CAutoAnimation : public CControl {
public:
    CAutoAnimation(const CRect& size, CControlListener* listener, long tag, long subPixmaps, CCoord heightOfOneImage,
                   CBitmap* background, const CPoint& offset = CPoint());
    void draw(CDrawContext* context) override;
    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    void openWindow();
    void closeWindow();
    bool isWindowOpened() const { return windowOpened; }
    void nextPix();
    void previousPix();

protected:
    CPoint offset;
    long subPixmaps;
    CCoord heightOfOneImage;
    bool windowOpened = false;
};

}  // namespace VSTGUI

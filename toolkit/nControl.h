#pragma once
// Pointer hiding for dragging controls, and the base of the program's own controls.

#include "CControl.h"

namespace VSTGUI {

class nControlMouse {
public:
    virtual ~nControlMouse() = default;
    virtual void setEnabled(bool on) { enabled = on; }
    // Hides (show false) or shows the pointer when that changes its state; with `restore` the
    // position is saved on hiding and put back on showing.
    virtual void setDragging(bool show, bool restore);
    virtual void saveCursor();
    virtual void restoreCursor();
    virtual void showCursor(bool show);
    virtual void moveSaved(float dx, float dy) {
        savedX += dx;
        savedY += dy;
    }

    bool isEnabled() const { return enabled; }
    bool isCursorVisible() const { return cursorVisible; }
    float getSavedX() const { return savedX; }
    float getSavedY() const { return savedY; }

protected:
    bool enabled = false;
    bool cursorVisible = true;
    float savedX = 0;
    float savedY = 0;
};

class nControl : public CControl, public nControlMouse {
public:
    nControl(const CRect& size, CControlListener* listener, long tag, CBitmap* background = nullptr)
        : CControl(size, listener, tag, background) {}
};

}  // namespace VSTGUI

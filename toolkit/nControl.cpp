#include "nControl.h"

#include "platform/PlatformWindow.h"

namespace VSTGUI {

void nControlMouse::setDragging(bool show, bool restore) {
    if (!enabled || show == cursorVisible) return;
    if (restore) {
        if (show) restoreCursor();
        else saveCursor();
    }
    showCursor(show);
    cursorVisible = show;
}

void nControlMouse::saveCursor() {
    int x = 0, y = 0;
    if (PlatformWindow* w = PlatformWindow::active(); w && w->queryPointer(x, y)) {
        savedX = float(x);
        savedY = float(y);
    }
}

void nControlMouse::restoreCursor() {
    if (PlatformWindow* w = PlatformWindow::active()) w->warpPointer(int(savedX), int(savedY));
}

void nControlMouse::showCursor(bool show) {
    if (PlatformWindow* w = PlatformWindow::active()) w->showCursor(show);
}

}  // namespace VSTGUI

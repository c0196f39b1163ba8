#pragma once
// An option menu's entries in override-redirect windows, one per open level. The pop-up grabs
// pointer and keyboard while open: a press outside closes it, a release on an entry chooses,
// arrows, Return and Escape work as in any menu.

#include <cstdint>
#include <vector>

#include "../Geometry.h"

typedef struct _cairo_surface cairo_surface_t;

namespace VSTGUI {

class COptionMenu;
class PlatformWindow;

class MenuPopup {
public:
    MenuPopup(PlatformWindow* host, COptionMenu* owner);
    ~MenuPopup();
    MenuPopup(const MenuPopup&) = delete;
    MenuPopup& operator=(const MenuPopup&) = delete;

    bool open();
    COptionMenu* owner() const { return menuOwner; }
    // True when the event was the pop-up's.
    bool handleEvent(const void* event);

    static constexpr int kItemHeight = 20;
    static constexpr int kSeparatorHeight = 7;
    static constexpr int kPadding = 3;

private:
    struct Level {
        COptionMenu* menu = nullptr;
        uint32_t window = 0;
        CRect frame;                // root coordinates
        std::vector<CRect> items;   // window coordinates
        long hover = -1;
        cairo_surface_t* surface = nullptr;
    };

    bool openLevel(COptionMenu* menu, CCoord x, CCoord y, CCoord minWidth);
    void closeLevelsFrom(size_t level);
    void paint(Level& level);
    void hoverAt(const CPoint& rootPoint);
    // Level and item under a root point; item -1 when on no entry.
    bool find(const CPoint& rootPoint, size_t& level, long& item) const;
    void moveHover(int step);
    void activate(size_t level, long item, bool fromKeyboard);
    void finish(COptionMenu* menu, long index);

    PlatformWindow* host;
    COptionMenu* menuOwner;
    std::vector<Level> levels;
    bool pressedInside = false;
    bool grabbed = false;
};

}  // namespace VSTGUI

#pragma once
// A menu button: a press opens the entries in a pop-up window of its own (with sub menus,
// separators "-" and check marks); the choice becomes the value and goes to the listener.

#include <string>
#include <vector>

#include "CParamDisplay.h"

namespace VSTGUI {

enum { kMenuItemDisabled = 1 << 0, kMenuItemTitle = 1 << 1 };

class COptionMenu : public CParamDisplay {
public:
    COptionMenu(const CRect& size, CControlListener* listener, long tag, CBitmap* background = nullptr,
                CBitmap* bgWhenClick = nullptr, long style = 0);
    ~COptionMenu() override;

    // "-" adds a separator. index -1 appends.
    bool addEntry(const char* text, long index = -1, long itemFlags = 0);
    // Retains the sub menu.
    bool addEntry(COptionMenu* subMenu, const char* text);
    bool removeEntry(long index);
    bool removeAllEntry();
    long getNbEntries() const { return long(entries.size()); }
    const char* getEntry(long index) const;
    bool getEntry(long index, char* text) const;  // at most 255 bytes and a zero
    COptionMenu* getSubMenu(long index) const;
    bool isSeparator(long index) const;
    bool isEnabled(long index) const;
    bool checkEntry(long index, bool checked);
    bool isCheckEntry(long index) const;
    bool setCurrent(long index);
    long getCurrent() const { return long(value); }

    long getLastResult() const { return lastResult; }
    COptionMenu* getLastItemMenu(long& indexInMenu) const {
        indexInMenu = lastResult;
        return lastMenu;
    }
    long getLastButton() const { return lastButton; }
    bool isPopupOpen() const { return popupOpen; }
    // The entry marked when the pop-up opens.
    bool showsCheck(long index) const;

    void draw(CDrawContext* context) override;
    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    void takeFocus() override;
    void looseFocus() override;
    bool wantsFocus() const override { return true; }

    // The pop-up's answer: the chosen entry of this menu or a sub menu, or null for none.
    virtual void popupClosed(COptionMenu* menu, long index);

protected:
    struct Entry {
        std::string text;
        COptionMenu* subMenu = nullptr;
        long flags = 0;
        bool checked = false;
    };
    std::vector<Entry> entries;
    CBitmap* bgWhenClick = nullptr;
    COptionMenu* lastMenu = nullptr;
    long lastResult = -1;
    long lastButton = 0;
    bool popupOpen = false;
};

}  // namespace VSTGUI

#include "COptionMenu.h"

#include <cstring>

#include "CFrame.h"
#include "platform/PlatformWindow.h"

namespace VSTGUI {

COptionMenu::COptionMenu(const CRect& r, CControlListener* l, long t, CBitmap* bg, CBitmap* click, long s)
    : CParamDisplay(r, bg, s), bgWhenClick(click) {
    listener = l;
    tag = t;
    if (bgWhenClick) bgWhenClick->remember();
    vmax = 0;
}

COptionMenu::~COptionMenu() {
    if (CFrame* f = getFrame(); f && f->getFocusView() == this) f->viewRemoved(this);
    removeAllEntry();
    if (bgWhenClick) bgWhenClick->forget();
}

bool COptionMenu::addEntry(const char* text, long index, long flags) {
    Entry e;
    e.text = text ? text : "";
    e.flags = flags;
    if (index < 0 || index > long(entries.size())) entries.push_back(e);
    else entries.insert(entries.begin() + index, e);
    vmax = float(entries.size() > 0 ? entries.size() - 1 : 0);
    return true;
}

bool COptionMenu::addEntry(COptionMenu* sub, const char* text) {
    if (!sub) return false;
    sub->remember();
    Entry e;
    e.text = text ? text : "";
    e.subMenu = sub;
    entries.push_back(e);
    vmax = float(entries.size() - 1);
    return true;
}

bool COptionMenu::removeEntry(long index) {
    if (index < 0 || index >= long(entries.size())) return false;
    if (entries[size_t(index)].subMenu) entries[size_t(index)].subMenu->forget();
    entries.erase(entries.begin() + index);
    vmax = float(entries.size() > 0 ? entries.size() - 1 : 0);
    return true;
}

bool COptionMenu::removeAllEntry() {
    while (!entries.empty()) removeEntry(long(entries.size()) - 1);
    return true;
}

const char* COptionMenu::getEntry(long index) const {
    return index >= 0 && index < long(entries.size()) ? entries[size_t(index)].text.c_str() : nullptr;
}

bool COptionMenu::getEntry(long index, char* text) const {
    const char* e = getEntry(index);
    if (!e) return false;
    std::strncpy(text, e, 255);
    text[255] = 0;
    return true;
}

COptionMenu* COptionMenu::getSubMenu(long index) const {
    return index >= 0 && index < long(entries.size()) ? entries[size_t(index)].subMenu : nullptr;
}

bool COptionMenu::isSeparator(long index) const {
    const char* e = getEntry(index);
    return e && e[0] == '-' && e[1] == 0;
}

bool COptionMenu::isEnabled(long index) const {
    return index >= 0 && index < long(entries.size()) && !isSeparator(index) &&
           !(entries[size_t(index)].flags & (kMenuItemDisabled | kMenuItemTitle));
}

bool COptionMenu::checkEntry(long index, bool checked) {
    if (index < 0 || index >= long(entries.size())) return false;
    entries[size_t(index)].checked = checked;
    return true;
}

bool COptionMenu::isCheckEntry(long index) const {
    return index >= 0 && index < long(entries.size()) && entries[size_t(index)].checked;
}

bool COptionMenu::showsCheck(long index) const {
    if (style & kMultipleCheckStyle) return isCheckEntry(index);
    if (style & kCheckStyle) return index == getCurrent();
    return isCheckEntry(index);
}

bool COptionMenu::setCurrent(long index) {
    if (index < 0 || index >= long(entries.size())) return false;
    value = float(index);
    setDirty();
    return true;
}

void COptionMenu::draw(CDrawContext* context) {
    CBitmap* bg = (popupOpen && bgWhenClick) ? bgWhenClick : background;
    if (bg) bg->draw(context, size);
    else drawBack(context);
    if (const char* t = getEntry(getCurrent()); t && !(style & kNoTextStyle)) drawText(context, t, size);
    setDirty(false);
}

CMouseEventResult COptionMenu::onMouseDown(CPoint&, const long& buttons) {
    lastButton = buttons;
    if (!(buttons & (kLButton | kRButton | kApple))) return kMouseDownEventHandledButDontNeedMovedOrUpEvents;
    beginEdit();
    if (CFrame* f = getFrame()) f->setFocusView(this);
    return kMouseDownEventHandledButDontNeedMovedOrUpEvents;
}

void COptionMenu::takeFocus() {
    CFrame* f = getFrame();
    if (popupOpen || !f) return;
    popupOpen = true;
    f->setModalView(this);
    if (PlatformWindow* w = f->getPlatformWindow()) w->openMenu(this);
    setDirty();
}

void COptionMenu::looseFocus() {
    if (!popupOpen) return;
    if (CFrame* f = getFrame(); f && f->getPlatformWindow()) f->getPlatformWindow()->closeMenu(this);
    popupClosed(nullptr, -1);
}

void COptionMenu::popupClosed(COptionMenu* menu, long index) {
    if (!popupOpen) return;
    popupOpen = false;
    CFrame* f = getFrame();
    if (f && f->getModalView() == this) f->setModalView(nullptr);
    setDirty();
    if (menu && index >= 0) {
        lastMenu = menu;
        lastResult = index;
        if (menu != this) menu->value = float(index);
        else value = float(index);
        valueChanged();
    }
    if (isEditing()) endEdit();
    if (f && f->getFocusView() == this) f->setFocusView(nullptr);
}

}  // namespace VSTGUI

#pragma once
// Key events to VstKeyCode through xkbcommon, with the keymap of the X server's core keyboard.

#include <cstdint>

#include "../Geometry.h"

struct xcb_connection_t;
struct xkb_context;
struct xkb_keymap;
struct xkb_state;

namespace VSTGUI {

class XkbKeyboard {
public:
    explicit XkbKeyboard(xcb_connection_t* connection);
    ~XkbKeyboard();
    XkbKeyboard(const XkbKeyboard&) = delete;
    XkbKeyboard& operator=(const XkbKeyboard&) = delete;

    bool isValid() const { return keymap != nullptr; }
    uint8_t eventBase() const { return firstEvent; }
    // Reloads the keymap (after the server's mapping changed).
    void reload();
    // True for an XKB event that asks for a reload.
    bool isKeymapChange(const void* xcbEvent) const;
    // Translates with the modifiers and group of the event's own state field.
    VstKeyCode translate(uint8_t keycode, uint16_t state);

private:
    xcb_connection_t* conn;
    xkb_context* context = nullptr;
    xkb_keymap* keymap = nullptr;
    xkb_state* state = nullptr;
    int32_t deviceId = -1;
    uint8_t firstEvent = 0;
};

}  // namespace VSTGUI

#include "XkbKeyboard.h"

#include <xcb/xcb.h>
#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>
// xkb.h has a member named `explicit`, which C++ does not accept.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

namespace VSTGUI {

XkbKeyboard::XkbKeyboard(xcb_connection_t* c) : conn(c) {
    uint8_t baseError = 0;
    if (!xkb_x11_setup_xkb_extension(conn, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
                                     XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &firstEvent, &baseError))
        return;
    context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (!context) return;
    deviceId = xkb_x11_get_core_keyboard_device_id(conn);
    if (deviceId < 0) return;
    reload();

    const uint16_t events = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    const uint16_t mapParts = XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP |
                              XCB_XKB_MAP_PART_EXPLICIT_COMPONENTS | XCB_XKB_MAP_PART_KEY_ACTIONS |
                              XCB_XKB_MAP_PART_VIRTUAL_MODS | XCB_XKB_MAP_PART_VIRTUAL_MOD_MAP;
    xcb_xkb_select_events(conn, xcb_xkb_device_spec_t(deviceId), events, 0, events, mapParts, mapParts, nullptr);
}

XkbKeyboard::~XkbKeyboard() {
    if (state) xkb_state_unref(state);
    if (keymap) xkb_keymap_unref(keymap);
    if (context) xkb_context_unref(context);
}

void XkbKeyboard::reload() {
    if (!context || deviceId < 0) return;
    xkb_keymap* km = xkb_x11_keymap_new_from_device(context, conn, deviceId, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!km) return;
    xkb_state* st = xkb_x11_state_new_from_device(km, conn, deviceId);
    if (!st) {
        xkb_keymap_unref(km);
        return;
    }
    if (state) xkb_state_unref(state);
    if (keymap) xkb_keymap_unref(keymap);
    keymap = km;
    state = st;
}

bool XkbKeyboard::isKeymapChange(const void* ev) const {
    const auto* e = static_cast<const xcb_generic_event_t*>(ev);
    if (!keymap || (e->response_type & 0x7f) != firstEvent) return false;
    const uint8_t xkbType = e->pad0;
    return xkbType == XCB_XKB_NEW_KEYBOARD_NOTIFY || xkbType == XCB_XKB_MAP_NOTIFY;
}

VstKeyCode XkbKeyboard::translate(uint8_t keycode, uint16_t x11State) {
    VstKeyCode key;
    if (x11State & XCB_MOD_MASK_SHIFT) key.modifier |= MODIFIER_SHIFT;
    if (x11State & XCB_MOD_MASK_CONTROL) key.modifier |= MODIFIER_CONTROL;
    if (x11State & XCB_MOD_MASK_1) key.modifier |= MODIFIER_ALTERNATE;
    if (x11State & XCB_MOD_MASK_4) key.modifier |= MODIFIER_COMMAND;
    if (!state) return key;
    // The real modifiers come first in a keymap read from the server, in the core order.
    const uint32_t mods = x11State & 0xff;
    const uint32_t lock = mods & XCB_MOD_MASK_LOCK;
    xkb_state_update_mask(state, mods & ~lock, 0, lock, 0, 0, (x11State >> 13) & 3);
    const xkb_keysym_t sym = xkb_state_key_get_one_sym(state, keycode);
    switch (sym) {
        case XKB_KEY_BackSpace: key.virt = VKEY_BACK; break;
        case XKB_KEY_Tab:
        case XKB_KEY_ISO_Left_Tab: key.virt = VKEY_TAB; break;
        case XKB_KEY_Return: key.virt = VKEY_RETURN; break;
        case XKB_KEY_KP_Enter: key.virt = VKEY_ENTER; break;
        case XKB_KEY_Escape: key.virt = VKEY_ESCAPE; break;
        case XKB_KEY_Delete:
        case XKB_KEY_KP_Delete: key.virt = VKEY_DELETE; break;
        case XKB_KEY_Left:
        case XKB_KEY_KP_Left: key.virt = VKEY_LEFT; break;
        case XKB_KEY_Right:
        case XKB_KEY_KP_Right: key.virt = VKEY_RIGHT; break;
        case XKB_KEY_Up:
        case XKB_KEY_KP_Up: key.virt = VKEY_UP; break;
        case XKB_KEY_Down:
        case XKB_KEY_KP_Down: key.virt = VKEY_DOWN; break;
        case XKB_KEY_Home:
        case XKB_KEY_KP_Home: key.virt = VKEY_HOME; break;
        case XKB_KEY_End:
        case XKB_KEY_KP_End: key.virt = VKEY_END; break;
        case XKB_KEY_Page_Up: key.virt = VKEY_PAGEUP; break;
        case XKB_KEY_Page_Down: key.virt = VKEY_PAGEDOWN; break;
        case XKB_KEY_Insert: key.virt = VKEY_INSERT; break;
        case XKB_KEY_space:
            key.virt = VKEY_SPACE;
            key.character = ' ';
            break;
        default: {
            const uint32_t cp = xkb_state_key_get_utf32(state, keycode);
            if (cp >= 32 && cp != 127) key.character = long(cp);
        }
    }
    return key;
}

}  // namespace VSTGUI

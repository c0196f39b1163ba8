#include "MenuPopup.h"

#include <cairo.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "../CDrawContext.h"
#include "../COptionMenu.h"
#include "PlatformWindow.h"
#include "XkbKeyboard.h"

namespace VSTGUI {

namespace {
constexpr const char* kFont = "sans-serif";
constexpr double kFontSize = 12;

double textWidth(const char* text) {
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
    cairo_t* cr = cairo_create(s);
    cairo_select_font_face(cr, kFont, CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(cr, kFontSize);
    cairo_text_extents_t te;
    cairo_text_extents(cr, text, &te);
    cairo_destroy(cr);
    cairo_surface_destroy(s);
    return te.x_advance;
}
}  // namespace

MenuPopup::MenuPopup(PlatformWindow* h, COptionMenu* o) : host(h), menuOwner(o) {}

MenuPopup::~MenuPopup() {
    xcb_connection_t* c = host->connection();
    if (grabbed) {
        xcb_ungrab_pointer(c, XCB_CURRENT_TIME);
        xcb_ungrab_keyboard(c, XCB_CURRENT_TIME);
    }
    closeLevelsFrom(0);
    xcb_flush(c);
}

bool MenuPopup::open() {
    const CRect r = menuOwner->getFrameRect();
    const CPoint at = host->toRoot(CPoint(r.left, r.bottom));
    if (!openLevel(menuOwner, at.x, at.y, r.width())) return false;
    xcb_connection_t* c = host->connection();
    const uint32_t w = levels[0].window;
    // Grabs work only on a viewable window: the map above is processed first.
    xcb_grab_pointer_reply_t* gp = xcb_grab_pointer_reply(
        c,
        xcb_grab_pointer(c, 0, w,
                         XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE | XCB_EVENT_MASK_POINTER_MOTION,
                         XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, XCB_CURRENT_TIME),
        nullptr);
    xcb_grab_keyboard_reply_t* gk = xcb_grab_keyboard_reply(
        c, xcb_grab_keyboard(c, 0, w, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC), nullptr);
    grabbed = (gp && gp->status == XCB_GRAB_STATUS_SUCCESS) || (gk && gk->status == XCB_GRAB_STATUS_SUCCESS);
    std::free(gp);
    std::free(gk);
    xcb_flush(c);
    return true;
}

bool MenuPopup::openLevel(COptionMenu* menu, CCoord x, CCoord y, CCoord minWidth) {
    Level level;
    level.menu = menu;
    double w = minWidth;
    CCoord top = kPadding;
    for (long i = 0; i < menu->getNbEntries(); ++i) {
        const CCoord h = menu->isSeparator(i) ? kSeparatorHeight : kItemHeight;
        level.items.emplace_back(0, top, 0, top + h);
        top += h;
        w = std::max(w, textWidth(menu->getEntry(i)) + 44);
    }
    const CCoord width = CCoord(std::ceil(w));
    const CCoord height = top + kPadding;
    for (CRect& item : level.items) item.right = width;
    int sw = 0, sh = 0;
    host->screenSize(sw, sh);
    // Kept on the screen.
    if (x + width > sw) x = std::max<CCoord>(0, CCoord(sw) - width);
    if (y + height > sh) y = std::max<CCoord>(0, CCoord(sh) - height);
    level.frame = CRect(x, y, x + width, y + height);

    xcb_connection_t* c = host->connection();
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    level.window = xcb_generate_id(c);
    const uint32_t values[] = {screen->black_pixel, 1,
                               XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE |
                                   XCB_EVENT_MASK_POINTER_MOTION | XCB_EVENT_MASK_KEY_PRESS};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, level.window, screen->root, int16_t(x), int16_t(y), uint16_t(width),
                      uint16_t(height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    level.surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, int(width), int(height));
    xcb_map_window(c, level.window);
    levels.push_back(level);
    paint(levels.back());

    MenuLayoutReport report;
    report.level = int(levels.size() - 1);
    report.window = level.window;
    report.frame = level.frame;
    for (CRect item : level.items) report.items.push_back(item.offset(x, y));
    host->reportMenuLevel(report);
    return true;
}

void MenuPopup::closeLevelsFrom(size_t from) {
    xcb_connection_t* c = host->connection();
    while (levels.size() > from) {
        Level& l = levels.back();
        xcb_destroy_window(c, l.window);
        cairo_surface_destroy(l.surface);
        levels.pop_back();
    }
}

void MenuPopup::paint(Level& level) {
    const int w = int(level.frame.width()), h = int(level.frame.height());
    {
        CDrawContext ctx(level.surface);
        ctx.setFillColor(CColor{40, 40, 44, 255});
        ctx.fillRect(CRect(0, 0, CCoord(w), CCoord(h)));
        ctx.setFrameColor(CColor{110, 110, 118, 255});
        ctx.drawRect(CRect(0, 0, CCoord(w), CCoord(h)));
        ctx.setFont(kFont, CCoord(kFontSize));
        for (long i = 0; i < long(level.items.size()); ++i) {
            const CRect& r = level.items[size_t(i)];
            COptionMenu* m = level.menu;
            if (m->isSeparator(i)) {
                ctx.setFrameColor(CColor{90, 90, 96, 255});
                ctx.moveTo(CPoint(4, r.top + 3));
                ctx.lineTo(CPoint(CCoord(w) - 4, r.top + 3));
                continue;
            }
            if (i == level.hover && m->isEnabled(i)) {
                ctx.setFillColor(CColor{70, 110, 170, 255});
                ctx.fillRect(CRect(1, r.top, CCoord(w) - 1, r.bottom));
            }
            ctx.setFontColor(m->isEnabled(i) ? kWhiteCColor : CColor{130, 130, 130, 255});
            ctx.drawString(m->getEntry(i), CRect(20, r.top, CCoord(w) - 20, r.bottom), kLeftText);
            if (m->showsCheck(i)) ctx.drawString("\xE2\x9C\x93", CRect(4, r.top, 18, r.bottom), kLeftText);
            if (m->getSubMenu(i)) ctx.drawString("\xE2\x96\xB8", CRect(CCoord(w) - 16, r.top, CCoord(w) - 4, r.bottom), kLeftText);
        }
    }
    cairo_surface_flush(level.surface);
    xcb_connection_t* c = host->connection();
    const uint8_t* data = cairo_image_surface_get_data(level.surface);
    const int stride = cairo_image_surface_get_stride(level.surface);
    // Small enough to send in one request per 64 rows.
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    const xcb_gcontext_t gc = xcb_generate_id(c);
    xcb_create_gc(c, gc, level.window, 0, nullptr);
    for (int row = 0; row < h; row += 64) {
        const int rows = std::min(64, h - row);
        xcb_put_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, level.window, gc, uint16_t(w), uint16_t(rows), 0, int16_t(row), 0,
                      screen->root_depth, uint32_t(rows * stride), data + size_t(row) * size_t(stride));
    }
    xcb_free_gc(c, gc);
    xcb_flush(c);
}

bool MenuPopup::find(const CPoint& p, size_t& level, long& item) const {
    for (size_t l = levels.size(); l-- > 0;) {
        if (!levels[l].frame.pointInside(p)) continue;
        level = l;
        item = -1;
        const CPoint local(p.x - levels[l].frame.left, p.y - levels[l].frame.top);
        for (long i = 0; i < long(levels[l].items.size()); ++i)
            if (levels[l].items[size_t(i)].pointInside(local)) item = i;
        return true;
    }
    return false;
}

void MenuPopup::hoverAt(const CPoint& p) {
    size_t l = 0;
    long item = -1;
    if (!find(p, l, item)) return;
    Level& level = levels[l];
    if (item == level.hover) return;
    level.hover = item;
    closeLevelsFrom(l + 1);
    paint(levels[l]);
    if (item >= 0) {
        if (COptionMenu* sub = level.menu->getSubMenu(item)) {
            const CRect& r = level.items[size_t(item)];
            openLevel(sub, level.frame.right - 2, level.frame.top + r.top - kPadding, 0);
        }
    }
}

void MenuPopup::moveHover(int step) {
    Level& level = levels.back();
    const long n = long(level.items.size());
    if (n == 0) return;
    long i = level.hover;
    for (long tries = 0; tries < n; ++tries) {
        i = i < 0 ? (step > 0 ? 0 : n - 1) : (i + step + n) % n;
        if (level.menu->isEnabled(i)) break;
    }
    level.hover = i;
    paint(level);
}

void MenuPopup::activate(size_t l, long item, bool fromKeyboard) {
    Level& level = levels[l];
    if (item < 0 || !level.menu->isEnabled(item)) return;
    if (COptionMenu* sub = level.menu->getSubMenu(item)) {
        if (fromKeyboard) {
            if (levels.size() == l + 1) {
                const CRect& r = level.items[size_t(item)];
                openLevel(sub, level.frame.right - 2, level.frame.top + r.top - kPadding, 0);
            }
            moveHover(1);
        }
        return;
    }
    finish(level.menu, item);
}

void MenuPopup::finish(COptionMenu* menu, long index) {
    // Destroys this object.
    host->menuFinished(menuOwner, menu, index);
}

bool MenuPopup::handleEvent(const void* raw) {
    const auto* ev = static_cast<const xcb_generic_event_t*>(raw);
    const uint8_t type = ev->response_type & 0x7f;
    switch (type) {
        case XCB_EXPOSE: {
            const auto* e = reinterpret_cast<const xcb_expose_event_t*>(ev);
            for (Level& l : levels)
                if (l.window == e->window) {
                    if (e->count == 0) paint(l);
                    return true;
                }
            return false;
        }
        case XCB_MOTION_NOTIFY: {
            const auto* e = reinterpret_cast<const xcb_motion_notify_event_t*>(ev);
            hoverAt(CPoint(e->root_x, e->root_y));
            return true;
        }
        case XCB_BUTTON_PRESS: {
            const auto* e = reinterpret_cast<const xcb_button_press_event_t*>(ev);
            if (e->detail >= 4) return true;
            size_t l = 0;
            long item = -1;
            if (!find(CPoint(e->root_x, e->root_y), l, item)) {
                finish(nullptr, -1);
                return true;
            }
            pressedInside = true;
            return true;
        }
        case XCB_BUTTON_RELEASE: {
            const auto* e = reinterpret_cast<const xcb_button_release_event_t*>(ev);
            if (e->detail >= 4) return true;
            size_t l = 0;
            long item = -1;
            if (find(CPoint(e->root_x, e->root_y), l, item)) activate(l, item, false);
            return true;
        }
        case XCB_KEY_PRESS: {
            const auto* e = reinterpret_cast<const xcb_key_press_event_t*>(ev);
            XkbKeyboard* keys = host->keyboard();
            if (!keys) return true;
            const VstKeyCode key = keys->translate(e->detail, e->state);
            switch (key.virt) {
                case VKEY_UP: moveHover(-1); break;
                case VKEY_DOWN: moveHover(1); break;
                case VKEY_RIGHT:
                case VKEY_RETURN:
                case VKEY_ENTER:
                case VKEY_SPACE:
                    activate(levels.size() - 1, levels.back().hover, true);
                    break;
                case VKEY_LEFT:
                    if (levels.size() > 1) closeLevelsFrom(levels.size() - 1);
                    break;
                case VKEY_ESCAPE:
                    if (levels.size() > 1) closeLevelsFrom(levels.size() - 1);
                    else finish(nullptr, -1);
                    break;
                default:
                    break;
            }
            return true;
        }
        case XCB_KEY_RELEASE:
            return true;
        default:
            return false;
    }
}

}  // namespace VSTGUI

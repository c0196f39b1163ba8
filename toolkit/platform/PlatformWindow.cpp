#include "PlatformWindow.h"

#include <cairo.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "../CDrawContext.h"
#include "../CFrame.h"
#include "../COptionMenu.h"
#include "MenuPopup.h"
#include "XkbKeyboard.h"

namespace VSTGUI {

namespace {
PlatformWindow* activeWindow = nullptr;
constexpr uint32_t kDoubleClickMs = 400;

uint32_t internAtom(xcb_connection_t* c, const char* name) {
    xcb_intern_atom_reply_t* r = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(name)), name), nullptr);
    const uint32_t atom = r ? r->atom : 0;
    std::free(r);
    return atom;
}

// A 24-bit TrueColor visual: children of 32-bit parents must not inherit theirs.
xcb_visualid_t findVisual24(const xcb_screen_t* screen) {
    if (screen->root_depth == 24) return screen->root_visual;
    for (auto d = xcb_screen_allowed_depths_iterator(screen); d.rem; xcb_depth_next(&d)) {
        if (d.data->depth != 24) continue;
        for (auto v = xcb_depth_visuals_iterator(d.data); v.rem; xcb_visualtype_next(&v))
            if (v.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR) return v.data->visual_id;
    }
    return screen->root_visual;
}
}  // namespace

PlatformWindow* PlatformWindow::active() { return activeWindow; }

PlatformWindow::PlatformWindow(CFrame* f) : frame(f) {}

PlatformWindow::~PlatformWindow() {
    popup.reset();
    if (activeWindow == this) activeWindow = nullptr;
    if (runLoop) {
        runLoop->unregisterTimer(this);
        runLoop->unregisterFd(this);
    }
    context.reset();
    destroyBackBuffer();
    if (conn) {
        if (!broken) {
            if (cursorHidden) xcb_xfixes_show_cursor(conn, window);
            if (textInput && previousFocus) xcb_set_input_focus(conn, XCB_INPUT_FOCUS_PARENT, previousFocus, XCB_CURRENT_TIME);
            if (gc) xcb_free_gc(conn, gc);
            if (window) xcb_destroy_window(conn, window);
            if (colormap) xcb_free_colormap(conn, colormap);
            xcb_flush(conn);
        }
        keys.reset();
        xcb_disconnect(conn);
    }
}

bool PlatformWindow::open(RunLoop* loop, unsigned long parentWindow, int w, int h, const char* title) {
    conn = xcb_connect(nullptr, nullptr);
    if (!conn || xcb_connection_has_error(conn)) {
        broken = true;
        return false;
    }
    const xcb_setup_t* setup = xcb_get_setup(conn);
    xcb_screen_t* screen = xcb_setup_roots_iterator(setup).data;
    if (!screen) {
        broken = true;
        return false;
    }
    root = screen->root;
    screenWidth = screen->width_in_pixels;
    screenHeight = screen->height_in_pixels;
    width = w < 1 ? 1 : w;
    height = h < 1 ? 1 : h;

    const xcb_visualid_t visual = findVisual24(screen);
    colormap = xcb_generate_id(conn);
    xcb_create_colormap(conn, XCB_COLORMAP_ALLOC_NONE, colormap, root, visual);
    window = xcb_generate_id(conn);
    const uint32_t parent = parentWindow ? uint32_t(parentWindow) : root;
    const uint32_t mask = XCB_CW_BACK_PIXMAP | XCB_CW_BORDER_PIXEL | XCB_CW_BIT_GRAVITY | XCB_CW_EVENT_MASK | XCB_CW_COLORMAP;
    const uint32_t values[] = {XCB_BACK_PIXMAP_NONE, 0, XCB_GRAVITY_NORTH_WEST,
                               XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE |
                                   XCB_EVENT_MASK_POINTER_MOTION | XCB_EVENT_MASK_LEAVE_WINDOW |
                                   XCB_EVENT_MASK_STRUCTURE_NOTIFY,
                               colormap};
    xcb_void_cookie_t made = xcb_create_window_checked(conn, 24, window, parent, 0, 0, uint16_t(width), uint16_t(height), 0,
                                                       XCB_WINDOW_CLASS_INPUT_OUTPUT, visual, mask, values);
    if (xcb_generic_error_t* err = xcb_request_check(conn, made)) {
        std::free(err);
        window = 0;
        return false;
    }
    const char* name = title && *title ? title : "Tessarine";
    xcb_change_property(conn, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                        uint32_t(std::strlen(name)), name);
    if (parentWindow) {
        const uint32_t xembed[] = {0, 1};
        if (uint32_t atom = internAtom(conn, "_XEMBED_INFO"))
            xcb_change_property(conn, XCB_PROP_MODE_REPLACE, window, atom, atom, 32, 2, xembed);
    } else {
        const uint32_t protocols = internAtom(conn, "WM_PROTOCOLS");
        wmDeleteWindow = internAtom(conn, "WM_DELETE_WINDOW");
        if (protocols && wmDeleteWindow)
            xcb_change_property(conn, XCB_PROP_MODE_REPLACE, window, protocols, XCB_ATOM_ATOM, 32, 1, &wmDeleteWindow);
    }
    gc = xcb_generate_id(conn);
    const uint32_t gcValues[] = {0};
    xcb_create_gc(conn, gc, window, XCB_GC_GRAPHICS_EXPOSURES, gcValues);

    // Requests above this are refused, and xcb would drop the connection.
    maxRequestBytes = size_t(xcb_get_maximum_request_length(conn)) * 4;
    if (maxRequestBytes > 16u << 20) maxRequestBytes = 16u << 20;

    // TESSARINE_NO_SHM=1 forces the PutImage path, to check it on a local server.
    const char* noShm = std::getenv("TESSARINE_NO_SHM");
    const bool shmAllowed = !(noShm && *noShm && *noShm != '0');
    if (const xcb_query_extension_reply_t* ext = xcb_get_extension_data(conn, &xcb_shm_id);
        shmAllowed && ext && ext->present) {
        xcb_shm_query_version_reply_t* v = xcb_shm_query_version_reply(conn, xcb_shm_query_version(conn), nullptr);
        shmAvailable = v != nullptr;
        std::free(v);
    }
    if (const xcb_query_extension_reply_t* ext = xcb_get_extension_data(conn, &xcb_xfixes_id); ext && ext->present) {
        xcb_xfixes_query_version_reply_t* v =
            xcb_xfixes_query_version_reply(conn, xcb_xfixes_query_version(conn, 4, 0), nullptr);
        xfixes = v != nullptr;
        std::free(v);
    }
    keys = std::make_unique<XkbKeyboard>(conn);
    if (!createBackBuffer(width, height)) return false;

    xcb_map_window(conn, window);
    xcb_flush(conn);
    runLoop = loop;
    if (runLoop) {
        runLoop->registerFd(this, xcb_get_file_descriptor(conn));
        runLoop->registerTimer(this, 10);
    }
    return true;
}

bool PlatformWindow::createBackBuffer(int w, int h) {
    context.reset();
    destroyBackBuffer();
    const size_t bytes = size_t(w) * size_t(h) * 4;
    if (shmAvailable) {
        const int id = shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
        if (id >= 0) {
            void* addr = shmat(id, nullptr, 0);
            if (addr != reinterpret_cast<void*>(-1)) {
                const uint32_t seg = xcb_generate_id(conn);
                xcb_generic_error_t* err = xcb_request_check(conn, xcb_shm_attach_checked(conn, seg, uint32_t(id), 0));
                if (!err) {
                    shmAddress = static_cast<uint8_t*>(addr);
                    shmSegment = seg;
                } else {
                    std::free(err);
                    shmdt(addr);
                    shmAvailable = false;  // e.g. a server on another machine
                }
            }
            // Freed by the system once both sides have detached.
            shmctl(id, IPC_RMID, nullptr);
        }
    }
    if (shmAddress) {
        std::memset(shmAddress, 0, bytes);
        surface = cairo_image_surface_create_for_data(shmAddress, CAIRO_FORMAT_ARGB32, w, h, w * 4);
    } else {
        surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
    }
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        destroyBackBuffer();
        return false;
    }
    context = std::make_unique<CDrawContext>(surface);
    return true;
}

void PlatformWindow::destroyBackBuffer() {
    if (surface) cairo_surface_destroy(surface);
    surface = nullptr;
    if (shmSegment && conn && !broken) xcb_shm_detach(conn, shmSegment);
    shmSegment = 0;
    if (shmAddress) shmdt(shmAddress);
    shmAddress = nullptr;
}

void PlatformWindow::resize(int w, int h) {
    if (broken || (w == width && h == height)) return;
    width = w < 1 ? 1 : w;
    height = h < 1 ? 1 : h;
    const uint32_t values[] = {uint32_t(width), uint32_t(height)};
    xcb_configure_window(conn, window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
    // Shrinking brings no Expose: the whole picture is drawn again.
    createBackBuffer(width, height);
    frame->invalidateAll();
    redraw();
}

void PlatformWindow::redraw() {
    if (broken || !context) return;
    std::vector<CRect> rects = frame->renderDirty(context.get());
    if (!mapped) {
        // Nothing reaches the screen before the map; keep the areas for then.
        for (const CRect& r : rects) exposed.push_back(r);
        return;
    }
    for (const CRect& r : exposed) rects.push_back(r);
    exposed.clear();
    if (rects.empty()) return;
    present(rects);
    if (!presented) {
        presented = true;
        if (onPresented) onPresented();
    }
}

void PlatformWindow::present(const std::vector<CRect>& rects) {
    cairo_surface_flush(surface);
    for (const CRect& rect : rects) {
        CRect r(std::floor(rect.left), std::floor(rect.top), std::ceil(rect.right), std::ceil(rect.bottom));
        r.bound(CRect(0, 0, CCoord(width), CCoord(height)));
        if (!r.isEmpty()) putImage(r);
    }
    if (shmSegment) {
        // The server reads the segment asynchronously: wait until it has, before drawing again.
        std::free(xcb_get_input_focus_reply(conn, xcb_get_input_focus(conn), nullptr));
    } else {
        xcb_flush(conn);
    }
}

void PlatformWindow::putImage(const CRect& r) {
    const int x = int(r.left), y = int(r.top), w = int(r.width()), h = int(r.height());
    if (shmSegment) {
        xcb_shm_put_image(conn, window, gc, uint16_t(width), uint16_t(height), uint16_t(x), uint16_t(y), uint16_t(w),
                          uint16_t(h), int16_t(x), int16_t(y), depth, XCB_IMAGE_FORMAT_Z_PIXMAP, 0, shmSegment, 0);
        return;
    }
    const uint8_t* data = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    const size_t rowBytes = size_t(w) * 4;
    const size_t limit = maxRequestBytes > 1024 ? maxRequestBytes - 1024 : maxRequestBytes;
    const int rowsPerRequest = std::max(1, int(limit / rowBytes));
    for (int row = 0; row < h; row += rowsPerRequest) {
        const int rows = std::min(rowsPerRequest, h - row);
        scratch.resize(rowBytes * size_t(rows));
        for (int i = 0; i < rows; ++i)
            std::memcpy(scratch.data() + size_t(i) * rowBytes, data + size_t(y + row + i) * size_t(stride) + size_t(x) * 4,
                        rowBytes);
        xcb_put_image(conn, XCB_IMAGE_FORMAT_Z_PIXMAP, window, gc, uint16_t(w), uint16_t(rows), int16_t(x),
                      int16_t(y + row), 0, depth, uint32_t(scratch.size()), scratch.data());
    }
}

bool PlatformWindow::writeBackBufferPng(const char* path) const {
    if (!surface) return false;
    cairo_surface_flush(surface);
    // The window shows no alpha: the file gets the same opaque pixels.
    const int w = cairo_image_surface_get_width(surface), h = cairo_image_surface_get_height(surface);
    cairo_surface_t* rgb = cairo_image_surface_create(CAIRO_FORMAT_RGB24, w, h);
    const uint8_t* src = cairo_image_surface_get_data(surface);
    uint8_t* dst = cairo_image_surface_get_data(rgb);
    const int ss = cairo_image_surface_get_stride(surface), ds = cairo_image_surface_get_stride(rgb);
    for (int y = 0; y < h; ++y) std::memcpy(dst + y * ds, src + y * ss, size_t(w) * 4);
    cairo_surface_mark_dirty(rgb);
    const bool ok = cairo_surface_write_to_png(rgb, path) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(rgb);
    return ok;
}

void PlatformWindow::updateEventMask() {
    uint32_t mask = XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_BUTTON_PRESS | XCB_EVENT_MASK_BUTTON_RELEASE |
                    XCB_EVENT_MASK_POINTER_MOTION | XCB_EVENT_MASK_LEAVE_WINDOW | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    if (textInput) mask |= XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_KEY_RELEASE;
    xcb_change_window_attributes(conn, window, XCB_CW_EVENT_MASK, &mask);
}

void PlatformWindow::beginTextInput() {
    if (broken || textInput) return;
    textInput = true;
    xcb_get_input_focus_reply_t* r = xcb_get_input_focus_reply(conn, xcb_get_input_focus(conn), nullptr);
    previousFocus = r ? r->focus : 0;
    std::free(r);
    updateEventMask();
    xcb_set_input_focus(conn, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    xcb_flush(conn);
}

void PlatformWindow::endTextInput() {
    if (broken || !textInput) return;
    textInput = false;
    updateEventMask();
    // Give the keyboard back to whoever had it, if that window still exists.
    if (previousFocus > XCB_INPUT_FOCUS_POINTER_ROOT && previousFocus != window) {
        xcb_void_cookie_t c =
            xcb_set_input_focus_checked(conn, XCB_INPUT_FOCUS_PARENT, previousFocus, XCB_CURRENT_TIME);
        std::free(xcb_request_check(conn, c));
    } else {
        xcb_set_input_focus(conn, XCB_INPUT_FOCUS_POINTER_ROOT, XCB_INPUT_FOCUS_POINTER_ROOT, XCB_CURRENT_TIME);
    }
    previousFocus = 0;
    xcb_flush(conn);
}

void PlatformWindow::openMenu(COptionMenu* menu) {
    if (broken) return;
    popup.reset();
    popup = std::make_unique<MenuPopup>(this, menu);
    if (!popup->open()) {
        popup.reset();
        menu->popupClosed(nullptr, -1);
    }
}

void PlatformWindow::closeMenu(COptionMenu* menu) {
    if (popup && popup->owner() == menu) popup.reset();
}

void PlatformWindow::menuFinished(COptionMenu* owner, COptionMenu* menu, long index) {
    // The pop-up is gone before its owner hears the answer, which may open another.
    popup.reset();
    owner->popupClosed(menu, index);
}

bool PlatformWindow::queryPointer(int& x, int& y) const {
    if (broken) return false;
    xcb_query_pointer_reply_t* r = xcb_query_pointer_reply(conn, xcb_query_pointer(conn, root), nullptr);
    if (!r) return false;
    x = r->root_x;
    y = r->root_y;
    std::free(r);
    return true;
}

void PlatformWindow::warpPointer(int x, int y) {
    if (broken) return;
    xcb_warp_pointer(conn, XCB_NONE, root, 0, 0, 0, 0, int16_t(x), int16_t(y));
    xcb_flush(conn);
}

void PlatformWindow::showCursor(bool show) {
    if (broken || !xfixes || show == !cursorHidden) return;
    if (show) xcb_xfixes_show_cursor(conn, window);
    else xcb_xfixes_hide_cursor(conn, window);
    cursorHidden = !show;
    xcb_flush(conn);
}

bool PlatformWindow::screenSize(int& w, int& h) const {
    if (!conn) return false;
    w = screenWidth;
    h = screenHeight;
    return true;
}

CPoint PlatformWindow::toRoot(const CPoint& p) const {
    if (broken) return p;
    xcb_translate_coordinates_reply_t* r = xcb_translate_coordinates_reply(
        conn, xcb_translate_coordinates(conn, window, root, int16_t(p.x), int16_t(p.y)), nullptr);
    if (!r) return p;
    CPoint out(r->dst_x, r->dst_y);
    std::free(r);
    return out;
}

long PlatformWindow::buttonWord(uint16_t state) const {
    long b = 0;
    if (state & XCB_BUTTON_MASK_1) b |= kLButton;
    if (state & XCB_BUTTON_MASK_2) b |= kMButton;
    if (state & XCB_BUTTON_MASK_3) b |= kRButton;
    if (state & XCB_MOD_MASK_SHIFT) b |= kShift;
    if (state & XCB_MOD_MASK_CONTROL) b |= kControl;
    if (state & XCB_MOD_MASK_1) b |= kAlt;
    if (state & XCB_MOD_MASK_4) b |= kApple;
    return b;
}

void PlatformWindow::onFdReady(int) { drainEvents(); }

void PlatformWindow::onTimer() {
    if (broken) return;
    frame->onTimer();
    drainEvents();
}

void PlatformWindow::drainEvents() {
    if (broken) return;
    while (xcb_generic_event_t* ev = xcb_poll_for_event(conn)) {
        handleEvent(ev);
        std::free(ev);
        if (broken) return;
    }
    // Handlers may wait for replies, and xcb then queues events that poll() will not report.
    while (!broken) {
        xcb_generic_event_t* ev = xcb_poll_for_queued_event(conn);
        if (!ev) break;
        handleEvent(ev);
        std::free(ev);
    }
    if (!broken && xcb_connection_has_error(conn)) {
        // The server is gone: stop listening, never crash the host.
        broken = true;
        if (runLoop) {
            runLoop->unregisterFd(this);
            runLoop->unregisterTimer(this);
        }
    }
}

void PlatformWindow::handleEvent(const void* raw) {
    const auto* ev = static_cast<const xcb_generic_event_t*>(raw);
    const uint8_t type = ev->response_type & 0x7f;
    if (type == 0) return;  // an error of an unchecked request: nothing to do about it
    if (keys && keys->isKeymapChange(ev)) {
        keys->reload();
        return;
    }
    if (popup && popup->handleEvent(ev)) return;

    switch (type) {
        case XCB_EXPOSE: {
            const auto* e = reinterpret_cast<const xcb_expose_event_t*>(ev);
            if (e->window != window) break;
            exposed.emplace_back(e->x, e->y, e->x + e->width, e->y + e->height);
            if (e->count == 0) redraw();
            break;
        }
        case XCB_MAP_NOTIFY: {
            const auto* e = reinterpret_cast<const xcb_map_notify_event_t*>(ev);
            if (e->window != window) break;
            mapped = true;
            exposed.emplace_back(0, 0, width, height);
            redraw();
            break;
        }
        case XCB_UNMAP_NOTIFY:
            if (reinterpret_cast<const xcb_unmap_notify_event_t*>(ev)->window == window) mapped = false;
            break;
        case XCB_CONFIGURE_NOTIFY: {
            const auto* e = reinterpret_cast<const xcb_configure_notify_event_t*>(ev);
            if (e->window == window && (e->width != width || e->height != height) && e->width > 0 && e->height > 0) {
                width = e->width;
                height = e->height;
                createBackBuffer(width, height);
                frame->invalidateAll();
                redraw();
            }
            break;
        }
        case XCB_MAPPING_NOTIFY:
            if (keys) keys->reload();
            break;
        case XCB_BUTTON_PRESS: {
            const auto* e = reinterpret_cast<const xcb_button_press_event_t*>(ev);
            activeWindow = this;
            CPoint where(e->event_x, e->event_y);
            long buttons = buttonWord(e->state);
            if (e->detail >= 4 && e->detail <= 7) {
                const float d = (e->detail == 4 || e->detail == 6) ? 1.f : -1.f;
                const CMouseWheelAxis axis = e->detail <= 5 ? kMouseWheelAxisY : kMouseWheelAxisX;
                frame->setMouseState(where, buttons);
                frame->onWheel(where, axis, d, buttons);
                break;
            }
            buttons |= e->detail == 1 ? long(kLButton) : e->detail == 2 ? long(kMButton) : e->detail == 3 ? long(kRButton) : 0L;
            if (e->detail == lastPressButton && e->time - lastPressTime < kDoubleClickMs &&
                std::fabs(where.x - lastPressWhere.x) < 4 && std::fabs(where.y - lastPressWhere.y) < 4) {
                buttons |= kDoubleClick;
                lastPressButton = 0;
            } else {
                lastPressButton = e->detail;
            }
            lastPressTime = e->time;
            lastPressWhere = where;
            frame->setMouseState(where, buttons);
            frame->onMouseDown(where, buttons);
            break;
        }
        case XCB_BUTTON_RELEASE: {
            const auto* e = reinterpret_cast<const xcb_button_release_event_t*>(ev);
            if (e->detail >= 4 && e->detail <= 7) break;
            CPoint where(e->event_x, e->event_y);
            const long buttons = buttonWord(e->state);  // still holds the released button
            const long released = e->detail == 1 ? long(kLButton) : e->detail == 2 ? long(kMButton) : long(kRButton);
            frame->setMouseState(where, buttons & ~released);
            frame->onMouseUp(where, buttons);
            break;
        }
        case XCB_MOTION_NOTIFY: {
            const auto* e = reinterpret_cast<const xcb_motion_notify_event_t*>(ev);
            activeWindow = this;
            CPoint where(e->event_x, e->event_y);
            const long buttons = buttonWord(e->state);
            frame->setMouseState(where, buttons);
            frame->onMouseMoved(where, buttons);
            break;
        }
        case XCB_LEAVE_NOTIFY: {
            const auto* e = reinterpret_cast<const xcb_leave_notify_event_t*>(ev);
            CPoint where(e->event_x, e->event_y);
            frame->onMouseExited(where, buttonWord(e->state));
            break;
        }
        case XCB_KEY_PRESS:
        case XCB_KEY_RELEASE: {
            const auto* e = reinterpret_cast<const xcb_key_press_event_t*>(ev);
            if (!keys) break;
            VstKeyCode key = keys->translate(e->detail, e->state);
            if (type == XCB_KEY_PRESS) frame->onKeyDown(key);
            else frame->onKeyUp(key);
            break;
        }
        case XCB_CLIENT_MESSAGE: {
            const auto* e = reinterpret_cast<const xcb_client_message_event_t*>(ev);
            if (wmDeleteWindow && e->data.data32[0] == wmDeleteWindow && onClose) onClose();
            break;
        }
        default:
            break;
    }
}

}  // namespace VSTGUI

#pragma once
// A frame's X11 window on a connection of its own: a child of a host's window or a window of
// its own. The back buffer is a cairo image surface; only dirty rectangles are sent, through
// MIT-SHM when the server offers it, else PutImage in pieces the server accepts.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "../Geometry.h"
#include "RunLoop.h"

struct xcb_connection_t;
typedef struct _cairo_surface cairo_surface_t;

namespace VSTGUI {

class CFrame;
class CDrawContext;
class COptionMenu;
class MenuPopup;
class XkbKeyboard;

// Where a pop-up menu's entries lie on the screen, for callers that drive it from outside.
struct MenuLayoutReport {
    int level = 0;
    uint32_t window = 0;
    CRect frame;               // root coordinates
    std::vector<CRect> items;  // root coordinates, one per entry
};

class PlatformWindow : public RunLoop::FdHandler, public RunLoop::TimerHandler {
public:
    explicit PlatformWindow(CFrame* frame);
    ~PlatformWindow() override;
    PlatformWindow(const PlatformWindow&) = delete;
    PlatformWindow& operator=(const PlatformWindow&) = delete;

    bool open(RunLoop* runLoop, unsigned long parentWindow, int width, int height, const char* title);
    uint32_t windowId() const { return window; }
    xcb_connection_t* connection() const { return conn; }
    XkbKeyboard* keyboard() const { return keys.get(); }

    // Draws the frame's dirty regions and sends them, with any exposed areas.
    void redraw();
    void resize(int width, int height);
    cairo_surface_t* backBuffer() const { return surface; }
    bool writeBackBufferPng(const char* path) const;
    bool usesSharedMemory() const { return shmSegment != 0; }
    // True once the first complete picture has reached the server.
    bool isPresented() const { return presented; }
    void setPresentedCallback(std::function<void()> cb) { onPresented = std::move(cb); }
    void setCloseCallback(std::function<void()> cb) { onClose = std::move(cb); }

    // Keyboard focus for text entry: key events are selected only in between.
    void beginTextInput();
    void endTextInput();

    void openMenu(COptionMenu* menu);
    void closeMenu(COptionMenu* menu);
    void setMenuObserver(std::function<void(const MenuLayoutReport&)> cb) { menuObserver = std::move(cb); }
    void reportMenuLevel(const MenuLayoutReport& r) const { if (menuObserver) menuObserver(r); }
    // The pop-up asks to be closed after a choice (menu null: none).
    void menuFinished(COptionMenu* owner, COptionMenu* menu, long index);

    bool queryPointer(int& rootX, int& rootY) const;
    void warpPointer(int rootX, int rootY);
    void showCursor(bool show);
    bool screenSize(int& width, int& height) const;
    // Window coordinates to the root window's.
    CPoint toRoot(const CPoint& p) const;

    // The window that last had pointer activity, for cursor control outside any view.
    static PlatformWindow* active();

    void onFdReady(int fd) override;
    void onTimer() override;

private:
    void handleEvent(const void* event);
    void drainEvents();
    bool createBackBuffer(int width, int height);
    void destroyBackBuffer();
    void present(const std::vector<CRect>& rects);
    void putImage(const CRect& r);
    void updateEventMask();
    long buttonWord(uint16_t state) const;

    CFrame* frame;
    RunLoop* runLoop = nullptr;
    xcb_connection_t* conn = nullptr;
    uint32_t window = 0;
    uint32_t root = 0;
    uint32_t gc = 0;
    uint32_t colormap = 0;
    uint8_t depth = 24;
    int width = 0, height = 0;
    int screenWidth = 0, screenHeight = 0;
    cairo_surface_t* surface = nullptr;
    std::unique_ptr<CDrawContext> context;
    uint8_t* shmAddress = nullptr;
    uint32_t shmSegment = 0;
    bool shmAvailable = false;
    size_t maxRequestBytes = 256 * 1024;
    std::vector<uint8_t> scratch;
    std::vector<CRect> exposed;
    std::unique_ptr<XkbKeyboard> keys;
    std::unique_ptr<MenuPopup> popup;
    bool textInput = false;
    uint32_t previousFocus = 0;
    bool cursorHidden = false;
    bool xfixes = false;
    bool mapped = false;
    bool presented = false;
    bool broken = false;
    uint32_t lastPressTime = 0;
    int lastPressButton = 0;
    CPoint lastPressWhere;
    uint32_t wmDeleteWindow = 0;
    std::function<void()> onPresented;
    std::function<void()> onClose;
    std::function<void(const MenuLayoutReport&)> menuObserver;
};

}  // namespace VSTGUI

#pragma once
// Points, rectangles and colours in the shape the editor code expects. Coordinates are floats;
// a rectangle holds left and top, excludes right and bottom.

#include <algorithm>
#include <cstdint>

namespace VSTGUI {

using CCoord = float;

struct CPoint {
    CCoord x = 0, y = 0;
    CPoint() = default;
    CPoint(CCoord x_, CCoord y_) : x(x_), y(y_) {}
    CPoint& offset(CCoord dx, CCoord dy) { x += dx; y += dy; return *this; }
    CPoint& operator()(CCoord x_, CCoord y_) { x = x_; y = y_; return *this; }
    bool operator==(const CPoint& o) const { return x == o.x && y == o.y; }
    bool operator!=(const CPoint& o) const { return !(*this == o); }
    bool isInside(const struct CRect& r) const;
};

struct CRect {
    CCoord left = 0, top = 0, right = 0, bottom = 0;
    CRect() = default;
    CRect(CCoord l, CCoord t, CCoord r, CCoord b) : left(l), top(t), right(r), bottom(b) {}
    CRect(const CPoint& origin, const CPoint& size)
        : left(origin.x), top(origin.y), right(origin.x + size.x), bottom(origin.y + size.y) {}

    CRect& operator()(CCoord l, CCoord t, CCoord r, CCoord b) { left = l; top = t; right = r; bottom = b; return *this; }
    bool operator==(const CRect& o) const { return left == o.left && top == o.top && right == o.right && bottom == o.bottom; }
    bool operator!=(const CRect& o) const { return !(*this == o); }

    CCoord width() const { return right - left; }
    CCoord height() const { return bottom - top; }
    CCoord getWidth() const { return width(); }
    CCoord getHeight() const { return height(); }
    CPoint getTopLeft() const { return {left, top}; }
    bool isEmpty() const { return right <= left || bottom <= top; }

    CRect& setWidth(CCoord w) { right = left + w; return *this; }
    CRect& setHeight(CCoord h) { bottom = top + h; return *this; }
    CRect& offset(CCoord dx, CCoord dy) { left += dx; right += dx; top += dy; bottom += dy; return *this; }
    CRect& moveTo(CCoord x, CCoord y) { return offset(x - left, y - top); }
    CRect& inset(CCoord dx, CCoord dy) { left += dx; right -= dx; top += dy; bottom -= dy; return *this; }
    // Intersection; an empty result keeps right >= left and bottom >= top.
    CRect& bound(const CRect& r) {
        left = std::max(left, r.left); top = std::max(top, r.top);
        right = std::max(left, std::min(right, r.right)); bottom = std::max(top, std::min(bottom, r.bottom));
        return *this;
    }
    CRect& unite(const CRect& r) {
        if (r.isEmpty()) return *this;
        if (isEmpty()) return *this = r;
        left = std::min(left, r.left); top = std::min(top, r.top);
        right = std::max(right, r.right); bottom = std::max(bottom, r.bottom);
        return *this;
    }
    bool rectOverlap(const CRect& r) const { return r.left < right && r.right > left && r.top < bottom && r.bottom > top; }
    bool pointInside(const CPoint& p) const { return p.x >= left && p.x < right && p.y >= top && p.y < bottom; }
};

inline bool CPoint::isInside(const CRect& r) const { return r.pointInside(*this); }

struct CColor {
    uint8_t red = 0, green = 0, blue = 0, alpha = 255;
    bool operator==(const CColor& o) const { return red == o.red && green == o.green && blue == o.blue && alpha == o.alpha; }
    bool operator!=(const CColor& o) const { return !(*this == o); }
};

// From the editor's packed form: red in the low byte, alpha opaque.
inline CColor colorFromRGB(uint32_t rgb) {
    return {uint8_t(rgb & 255), uint8_t((rgb >> 8) & 255), uint8_t((rgb >> 16) & 255), 255};
}

inline constexpr CColor kTransparentCColor = {255, 255, 255, 0};
inline constexpr CColor kBlackCColor = {0, 0, 0, 255};
inline constexpr CColor kWhiteCColor = {255, 255, 255, 255};
inline constexpr CColor kGreyCColor = {127, 127, 127, 255};
inline constexpr CColor kRedCColor = {255, 0, 0, 255};
inline constexpr CColor kGreenCColor = {0, 255, 0, 255};
inline constexpr CColor kBlueCColor = {0, 0, 255, 255};
inline constexpr CColor kYellowCColor = {255, 255, 0, 255};

// Mouse button word.
enum CButton : long {
    kLButton = 1 << 1,
    kMButton = 1 << 2,
    kRButton = 1 << 3,
    kShift = 1 << 4,
    kControl = 1 << 5,
    kAlt = 1 << 6,
    kApple = 1 << 7,
    kDoubleClick = 1 << 10,
};

enum CMouseEventResult {
    kMouseEventNotImplemented = 0,
    kMouseEventHandled = 1,
    kMouseEventNotHandled = 2,
    kMouseDownEventHandledButDontNeedMovedOrUpEvents = 3,
};

enum CMouseWheelAxis { kMouseWheelAxisX = 0, kMouseWheelAxisY = 1 };

// Keys as the editor receives them: `character` is a Unicode code point (0 for special keys),
// `virt` one of the VKEY codes, `modifier` a combination of the MODIFIER bits.
struct VstKeyCode {
    long character = 0;
    unsigned char virt = 0;
    unsigned char modifier = 0;
};

enum VstVirtualKey : unsigned char {
    VKEY_BACK = 1, VKEY_TAB, VKEY_CLEAR, VKEY_RETURN, VKEY_PAUSE, VKEY_ESCAPE, VKEY_SPACE, VKEY_NEXT,
    VKEY_END, VKEY_HOME, VKEY_LEFT, VKEY_UP, VKEY_RIGHT, VKEY_DOWN, VKEY_PAGEUP, VKEY_PAGEDOWN,
    VKEY_SELECT, VKEY_PRINT, VKEY_ENTER, VKEY_SNAPSHOT, VKEY_INSERT, VKEY_DELETE, VKEY_HELP,
};

enum VstModifierKey : unsigned char {
    MODIFIER_SHIFT = 1 << 0,
    MODIFIER_ALTERNATE = 1 << 1,
    MODIFIER_COMMAND = 1 << 2,
    MODIFIER_CONTROL = 1 << 3,
};

}  // namespace VSTGUI

// Draws the editor's images and writes them as <number>.png into a folder; the build embeds them
// as PNG resources named by their number. `--sheet out.png` lays them all out on one page to look at.
//
//   make-images <output folder>
//   make-images --sheet <out.png>
//
// The numbers the build embeds are read from the table kImages at the end of this file (one entry
// a line, "    {number, ..."), so an image is added by adding its line.
//
// One look throughout: charcoal panels with soft vertical gradients, hairline edges, light text,
// and one blue accent for what is on or chosen. Multi-state images stack their frames downward.

#define STB_TRUETYPE_IMPLEMENTATION
#include <cairo.h>
#include <stb/stb_truetype.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#ifndef TESS_UI_FONT
#define TESS_UI_FONT "/usr/share/fonts/opentype/league-spartan/LeagueSpartan-Bold.otf"
#endif
// League Spartan's small x-height blurs at 6 to 8 pixels; this face, narrowed, stays legible there.
#ifndef TESS_STRIP_FONT
#define TESS_STRIP_FONT "/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf"
#endif

namespace {

// ---------------------------------------------------------------------------------------------
// Colours

struct Rgb {
    double r, g, b;
};

constexpr Rgb hex(unsigned v) {
    return {((v >> 16) & 0xFF) / 255.0, ((v >> 8) & 0xFF) / 255.0, (v & 0xFF) / 255.0};
}

const Rgb kBase = hex(0x17191c);      // deepest background
const Rgb kPanelTop = hex(0x2c3035);  // panel gradient
const Rgb kPanelBottom = hex(0x212428);
const Rgb kWell = hex(0x111315);      // inset fields
const Rgb kEdge = hex(0x3a3f46);      // hairlines
const Rgb kEdgeLight = hex(0x4b525b);
const Rgb kText = hex(0xdde1e6);
const Rgb kTextDim = hex(0x8d949e);
const Rgb kTextOff = hex(0x50565e);
const Rgb kAccent = hex(0x5aa9dc);
const Rgb kAccentDeep = hex(0x2a5877);
const Rgb kWarn = hex(0xe2553f);

void setColour(cairo_t* cr, Rgb c, double a = 1.0) { cairo_set_source_rgba(cr, c.r, c.g, c.b, a); }

// ---------------------------------------------------------------------------------------------
// Text: outlines from the font file as cairo paths, so the images do not depend on the fonts
// installed where they are built.

struct Font {
    std::vector<unsigned char> bytes;
    stbtt_fontinfo info{};
    bool ok = false;

    explicit Font(const char* path) {
        std::ifstream in(path, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        if (bytes.empty()) return;
        ok = stbtt_InitFont(&info, bytes.data(), stbtt_GetFontOffsetForIndex(bytes.data(), 0)) != 0;
    }
    // Pixels per font unit for an em of `px` pixels.
    double scale(double px) const { return stbtt_ScaleForMappingEmToPixels(&info, static_cast<float>(px)); }
};

const Font& uiFont() {
    static const Font font(TESS_UI_FONT);
    return font;
}

const Font& stripFont() {
    static const Font font(TESS_STRIP_FONT);
    return font;
}

// Adds one glyph's outline with its origin at (x, baseline); sx, sy scale font units to pixels.
void glyphPath(cairo_t* cr, const Font& font, int glyph, double x, double baseline, double sx, double sy) {
    stbtt_vertex* v = nullptr;
    const int n = stbtt_GetGlyphShape(&font.info, glyph, &v);
    double cx = 0, cy = 0;
    auto X = [&](double fx) { return x + fx * sx; };
    auto Y = [&](double fy) { return baseline - fy * sy; };
    for (int i = 0; i < n; ++i) {
        const double px = X(v[i].x), py = Y(v[i].y);
        switch (v[i].type) {
            case STBTT_vmove:
                if (i > 0) cairo_close_path(cr);
                cairo_move_to(cr, px, py);
                break;
            case STBTT_vline:
                cairo_line_to(cr, px, py);
                break;
            case STBTT_vcurve: {  // quadratic, raised to a cubic
                const double qx = X(v[i].cx), qy = Y(v[i].cy);
                cairo_curve_to(cr, cx + 2.0 / 3.0 * (qx - cx), cy + 2.0 / 3.0 * (qy - cy), px + 2.0 / 3.0 * (qx - px),
                               py + 2.0 / 3.0 * (qy - py), px, py);
                break;
            }
            case STBTT_vcubic:
                cairo_curve_to(cr, X(v[i].cx), Y(v[i].cy), X(v[i].cx1), Y(v[i].cy1), px, py);
                break;
            default:
                break;
        }
        cx = px;
        cy = py;
    }
    if (n > 0) cairo_close_path(cr);
    stbtt_FreeShape(&font.info, v);
}

std::vector<int> glyphsOf(const Font& font, const char* text) {
    std::vector<int> glyphs;
    for (const char* p = text; *p != 0; ++p)
        glyphs.push_back(stbtt_FindGlyphIndex(&font.info, static_cast<unsigned char>(*p)));
    return glyphs;
}

// Width of `text` with an em of `px` pixels and `tracking` extra pixels between letters.
double textWidth(const char* text, double px, double tracking = 0.0) {
    const Font& font = uiFont();
    const std::vector<int> glyphs = glyphsOf(font, text);
    const double s = font.scale(px);
    double w = 0;
    for (size_t i = 0; i < glyphs.size(); ++i) {
        int advance, lsb;
        stbtt_GetGlyphHMetrics(&font.info, glyphs[i], &advance, &lsb);
        w += advance * s;
        if (i + 1 < glyphs.size()) w += stbtt_GetGlyphKernAdvance(&font.info, glyphs[i], glyphs[i + 1]) * s + tracking;
    }
    return w;
}

void textPath(cairo_t* cr, const char* text, double px, double x, double baseline, double tracking = 0.0) {
    const Font& font = uiFont();
    const std::vector<int> glyphs = glyphsOf(font, text);
    const double s = font.scale(px);
    for (size_t i = 0; i < glyphs.size(); ++i) {
        glyphPath(cr, font, glyphs[i], x, baseline, s, s);
        int advance, lsb;
        stbtt_GetGlyphHMetrics(&font.info, glyphs[i], &advance, &lsb);
        x += advance * s;
        if (i + 1 < glyphs.size()) x += stbtt_GetGlyphKernAdvance(&font.info, glyphs[i], glyphs[i + 1]) * s + tracking;
    }
}

// Capital height in pixels for an em of `px`.
double capHeight(double px) {
    int x0 = 0, y0 = 0, x1 = 0, y1 = 0;
    const Font& font = uiFont();
    stbtt_GetGlyphBox(&font.info, stbtt_FindGlyphIndex(&font.info, 'H'), &x0, &y0, &x1, &y1);
    return y1 * font.scale(px);
}

// Capitals centred in a box, baseline on a whole pixel so that their feet stay crisp.
void label(cairo_t* cr, const char* text, double px, double x, double y, double w, double h, Rgb colour,
           double tracking = 0.6) {
    const double tw = textWidth(text, px, tracking);
    const double baseline = std::round(y + (h + capHeight(px)) / 2.0);
    setColour(cr, colour);
    textPath(cr, text, px, std::round(x + (w - tw) / 2.0), baseline, tracking);
    cairo_fill(cr);
}

// ---------------------------------------------------------------------------------------------
// Shapes

void roundedRect(cairo_t* cr, double x, double y, double w, double h, double r) {
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + w - r, y + r, r, -M_PI / 2, 0);
    cairo_arc(cr, x + w - r, y + h - r, r, 0, M_PI / 2);
    cairo_arc(cr, x + r, y + h - r, r, M_PI / 2, M_PI);
    cairo_arc(cr, x + r, y + r, r, M_PI, 3 * M_PI / 2);
    cairo_close_path(cr);
}

void fillVertical(cairo_t* cr, double y0, double y1, Rgb top, Rgb bottom, double alpha = 1.0) {
    cairo_pattern_t* p = cairo_pattern_create_linear(0, y0, 0, y1);
    cairo_pattern_add_color_stop_rgba(p, 0, top.r, top.g, top.b, alpha);
    cairo_pattern_add_color_stop_rgba(p, 1, bottom.r, bottom.g, bottom.b, alpha);
    cairo_set_source(cr, p);
    cairo_fill_preserve(cr);
    cairo_pattern_destroy(p);
}

// A hairline just inside the current path's edge.
void hairline(cairo_t* cr, Rgb colour, double alpha = 1.0) {
    setColour(cr, colour, alpha);
    cairo_set_line_width(cr, 1.0);
    cairo_stroke(cr);
}

// A raised panel filling (x, y, w, h), edges on pixel centres.
void panel(cairo_t* cr, double x, double y, double w, double h, double r, Rgb top = kPanelTop,
           Rgb bottom = kPanelBottom) {
    roundedRect(cr, x + 0.5, y + 0.5, w - 1, h - 1, r);
    fillVertical(cr, y, y + h, top, bottom);
    hairline(cr, kEdge);
    // Light catches the top edge.
    cairo_move_to(cr, x + r + 0.5, y + 1.5);
    cairo_line_to(cr, x + w - r - 0.5, y + 1.5);
    setColour(cr, hex(0xffffff), 0.06);
    cairo_set_line_width(cr, 1.0);
    cairo_stroke(cr);
}

// A sunken field.
void well(cairo_t* cr, double x, double y, double w, double h, double r) {
    roundedRect(cr, x + 0.5, y + 0.5, w - 1, h - 1, r);
    fillVertical(cr, y, y + h, hex(0x0d0f11), kWell);
    hairline(cr, hex(0x000000), 0.6);
    cairo_move_to(cr, x + r, y + h - 0.5);
    cairo_line_to(cr, x + w - r, y + h - 0.5);
    setColour(cr, hex(0xffffff), 0.07);
    cairo_set_line_width(cr, 1.0);
    cairo_stroke(cr);
}

// ---------------------------------------------------------------------------------------------
// Images

struct Canvas {
    cairo_surface_t* surface;
    cairo_t* cr;
    Canvas(int w, int h) : surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h)), cr(cairo_create(surface)) {}
    // Hands the surface over; the drawing context goes.
    cairo_surface_t* finish() {
        cairo_destroy(cr);
        cairo_surface_flush(surface);
        return surface;
    }
};

// Button states: the look of one frame.
enum class State { Normal, Pressed, On, Disabled, Focused };

void buttonFace(cairo_t* cr, double x, double y, double w, double h, State s) {
    switch (s) {
        case State::Normal:
        case State::Focused:
            panel(cr, x, y, w, h, 3);
            break;
        case State::Pressed:
            panel(cr, x, y, w, h, 3, hex(0x1c1f22), hex(0x25292d));
            break;
        case State::On:
            panel(cr, x, y, w, h, 3, hex(0x3a7aa6), kAccentDeep);
            break;
        case State::Disabled:
            panel(cr, x, y, w, h, 3, hex(0x222427), hex(0x1d1f22));
            break;
    }
    if (s == State::Focused) {
        roundedRect(cr, x + 0.5, y + 0.5, w - 1, h - 1, 3);
        hairline(cr, kAccent);
    }
}

Rgb labelColour(State s) {
    switch (s) {
        case State::On:
            return hex(0xffffff);
        case State::Disabled:
            return kTextOff;
        case State::Pressed:
            return kAccent;
        default:
            return kText;
    }
}

// A text button with one frame per state, stacked downward.
cairo_surface_t* textButton(int w, int h, const char* text, std::vector<State> states, double px = 9.5) {
    Canvas c(w, h * static_cast<int>(states.size()));
    for (size_t i = 0; i < states.size(); ++i) {
        const double y = static_cast<double>(h) * static_cast<double>(i);
        buttonFace(c.cr, 0, y, w, h, states[i]);
        label(c.cr, text, px, 0, y, w, h, labelColour(states[i]));
    }
    return c.finish();
}

// A glyph strip: the glyph order in cells, white on opaque black, each glyph pushed against the
// left of its cell and squeezed to the cell where it is wider.
cairo_surface_t* glyphStrip(int width, int height, int cell, double capPixels, double baselineRow) {
    constexpr double kNarrow = 0.9;
    static const char* kOrder = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz.%-,+#:/";
    Canvas c(width, height);
    cairo_set_source_rgb(c.cr, 0, 0, 0);
    cairo_paint(c.cr);
    const Font& font = stripFont();
    int hx0 = 0, hy0 = 0, hx1 = 0, hy1 = 1;
    stbtt_GetGlyphBox(&font.info, stbtt_FindGlyphIndex(&font.info, 'H'), &hx0, &hy0, &hx1, &hy1);
    const double s = capPixels / hy1;  // capitals exactly capPixels tall
    // Lower case scaled so that its x-height also lands on a whole pixel.
    int xx0 = 0, xy0 = 0, xx1 = 0, xy1 = 1;
    stbtt_GetGlyphBox(&font.info, stbtt_FindGlyphIndex(&font.info, 'x'), &xx0, &xy0, &xx1, &xy1);
    const double lowerScale = s * std::round(xy1 * s) / (xy1 * s);
    const int count = std::min(width / cell, static_cast<int>(std::strlen(kOrder)));
    for (int i = 0; i < count; ++i) {
        const int glyph = stbtt_FindGlyphIndex(&font.info, static_cast<unsigned char>(kOrder[i]));
        int x0, y0, x1, y1;
        if (stbtt_GetGlyphBox(&font.info, glyph, &x0, &y0, &x1, &y1) == 0) continue;
        const double sy = kOrder[i] >= 'a' && kOrder[i] <= 'z' ? lowerScale : s;
        // Ink narrowed a little and rounded to whole columns, so that the measured width is the
        // glyph's and its right edge is not a faint column.
        const double inkWidth = std::clamp(std::round((x1 - x0) * sy * kNarrow), 1.0, static_cast<double>(cell));
        const double sx = inkWidth / (x1 - x0);
        cairo_save(c.cr);
        cairo_rectangle(c.cr, i * cell, 0, cell, height);
        cairo_clip(c.cr);
        glyphPath(c.cr, font, glyph, i * cell - x0 * sx, baselineRow, sx, sy);
        cairo_set_source_rgb(c.cr, 1, 1, 1);
        cairo_fill(c.cr);
        cairo_restore(c.cr);
    }
    return c.finish();
}

cairo_surface_t* strip101() { return glyphStrip(476, 9, 7, 6.0, 7.0); }
cairo_surface_t* strip102() { return glyphStrip(621, 11, 9, 7.0, 8.0); }

// The floating setup panel: title bar with its close cross, the list of pages at the left.
cairo_surface_t* setupBackground() {
    const int w = 632, h = 403;
    Canvas c(w, h);
    cairo_t* cr = c.cr;
    cairo_rectangle(cr, 0, 0, w, h);
    fillVertical(cr, 0, h, hex(0x25282c), hex(0x1c1e21));
    cairo_new_path(cr);
    cairo_rectangle(cr, 0, 0, w, 25);
    fillVertical(cr, 0, 25, hex(0x30343a), hex(0x26292e));
    cairo_new_path(cr);
    cairo_rectangle(cr, 0, 25, 150, h - 25);
    setColour(cr, hex(0x000000), 0.18);
    cairo_fill(cr);
    cairo_move_to(cr, 0, 25.5);
    cairo_line_to(cr, w, 25.5);
    setColour(cr, hex(0x000000), 0.7);
    cairo_set_line_width(cr, 1);
    cairo_stroke(cr);
    cairo_move_to(cr, 150.5, 26);
    cairo_line_to(cr, 150.5, h);
    setColour(cr, kEdge);
    cairo_stroke(cr);
    // Accent tick beside the title.
    cairo_rectangle(cr, 8, 8, 3, 9);
    setColour(cr, kAccent);
    cairo_fill(cr);
    // Close cross in the right corner of the title bar.
    cairo_set_line_width(cr, 1.6);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_move_to(cr, w - 18, 8);
    cairo_line_to(cr, w - 9, 17);
    cairo_move_to(cr, w - 9, 8);
    cairo_line_to(cr, w - 18, 17);
    setColour(cr, kTextDim);
    cairo_stroke(cr);
    cairo_rectangle(cr, 0.5, 0.5, w - 1, h - 1);
    hairline(cr, kEdgeLight);
    return c.finish();
}

// The preset box: a name field between the arrows on top, a groove for the flag, bank and file
// buttons below.
cairo_surface_t* presetBox() {
    const int w = 282, h = 54;
    Canvas c(w, h);
    panel(c.cr, 0, 0, w, h, 4, hex(0x2a2e33), hex(0x1f2226));
    well(c.cr, 27, 4, 228, 20, 3);
    well(c.cr, 4, 29, 274, 21, 3);
    return c.finish();
}

// Soft shadow under the top row, tiled across.
cairo_surface_t* topRowShadow() {
    Canvas c(16, 4);
    cairo_rectangle(c.cr, 0, 0, 16, 4);
    cairo_pattern_t* p = cairo_pattern_create_linear(0, 0, 0, 4);
    cairo_pattern_add_color_stop_rgba(p, 0, 0, 0, 0, 0.55);
    cairo_pattern_add_color_stop_rgba(p, 1, 0, 0, 0, 0.0);
    cairo_set_source(c.cr, p);
    cairo_fill(c.cr);
    cairo_pattern_destroy(p);
    return c.finish();
}

// Page marker: a ring (not shown) over a filled dot (shown).
cairo_surface_t* pageMarker() {
    Canvas c(12, 24);
    cairo_arc(c.cr, 6, 6, 3.5, 0, 2 * M_PI);
    setColour(c.cr, kTextOff);
    cairo_set_line_width(c.cr, 1.2);
    cairo_stroke(c.cr);
    cairo_arc(c.cr, 6, 18, 4, 0, 2 * M_PI);
    setColour(c.cr, kAccent);
    cairo_fill(c.cr);
    return c.finish();
}

// The scale tray: two slider grooves, their labels at the left.
cairo_surface_t* scaleTray() {
    const int w = 200, h = 44;
    Canvas c(w, h);
    panel(c.cr, 0, 0, w, h, 4, hex(0x2a2e33), hex(0x1f2226));
    label(c.cr, "SHIFT", 9, 6, 4, 40, 16, kTextDim);
    label(c.cr, "SCALE", 9, 6, 24, 40, 16, kTextDim);
    well(c.cr, 50, 9, 142, 6, 3);
    well(c.cr, 50, 29, 142, 6, 3);
    return c.finish();
}

// The tray's opener: a chevron down (closed), then up and lit (open).
cairo_surface_t* trayArrows() {
    Canvas c(12, 20);
    cairo_set_line_width(c.cr, 1.6);
    cairo_set_line_cap(c.cr, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(c.cr, CAIRO_LINE_JOIN_ROUND);
    cairo_move_to(c.cr, 2.5, 3.5);
    cairo_line_to(c.cr, 6, 7);
    cairo_line_to(c.cr, 9.5, 3.5);
    setColour(c.cr, kTextDim);
    cairo_stroke(c.cr);
    cairo_move_to(c.cr, 2.5, 16.5);
    cairo_line_to(c.cr, 6, 13);
    cairo_line_to(c.cr, 9.5, 16.5);
    setColour(c.cr, kAccent);
    cairo_stroke(c.cr);
    return c.finish();
}

cairo_surface_t* flagEQ() { return textButton(34, 18, "EQ", {State::Normal, State::On}); }
cairo_surface_t* flagDSP() { return textButton(34, 18, "DSP", {State::Normal, State::On}); }
cairo_surface_t* flagUI() { return textButton(34, 18, "UI", {State::Normal, State::On}); }

// Bank or preset: which one the load and save buttons act on.
cairo_surface_t* bankSwitch() {
    const int w = 58, h = 18;
    Canvas c(w, 2 * h);
    const char* names[2] = {"PRESET", "BANK"};
    for (int i = 0; i < 2; ++i) {
        buttonFace(c.cr, 0, i * h, w, h, State::Normal);
        label(c.cr, names[i], 9, 0, i * h, w, h, kAccent);
    }
    return c.finish();
}

// A slider handle: a light cap with an accent groove across its length.
cairo_surface_t* handle(int w, int h) {
    Canvas c(w, h);
    panel(c.cr, 0, 0, w, h, 2, hex(0xc9ced5), hex(0x8f969f));
    if (w < h) {
        cairo_move_to(c.cr, w / 2.0, 3);
        cairo_line_to(c.cr, w / 2.0, h - 3);
    } else {
        cairo_move_to(c.cr, 3, h / 2.0);
        cairo_line_to(c.cr, w - 3, h / 2.0);
    }
    setColour(c.cr, kAccentDeep);
    cairo_set_line_width(c.cr, 1);
    cairo_stroke(c.cr);
    return c.finish();
}

cairo_surface_t* handleH() { return handle(9, 14); }
cairo_surface_t* handleV() { return handle(14, 9); }

// The lit span between a slider's rest and its value.
cairo_surface_t* rangeHandle() {
    Canvas c(3, 14);
    cairo_rectangle(c.cr, 0, 4, 3, 6);
    setColour(c.cr, kAccent);
    cairo_fill(c.cr);
    return c.finish();
}

// Icon buttons: normal, pressed, disabled.
using Icon = void (*)(cairo_t*, double cx, double cy);

cairo_surface_t* iconButton(int size, Icon icon) {
    const State states[3] = {State::Normal, State::Pressed, State::Disabled};
    Canvas c(size, 3 * size);
    for (int i = 0; i < 3; ++i) {
        buttonFace(c.cr, 0, i * size, size, size, states[i]);
        setColour(c.cr, labelColour(states[i]));
        icon(c.cr, size / 2.0, i * size + size / 2.0);
    }
    return c.finish();
}

void triangleLeft(cairo_t* cr, double cx, double cy) {
    cairo_move_to(cr, cx + 2.5, cy - 4.5);
    cairo_line_to(cr, cx - 3.5, cy);
    cairo_line_to(cr, cx + 2.5, cy + 4.5);
    cairo_close_path(cr);
    cairo_fill(cr);
}

void triangleRight(cairo_t* cr, double cx, double cy) {
    cairo_move_to(cr, cx - 2.5, cy - 4.5);
    cairo_line_to(cr, cx + 3.5, cy);
    cairo_line_to(cr, cx - 2.5, cy + 4.5);
    cairo_close_path(cr);
    cairo_fill(cr);
}

// A hooked arrow; mirror -1 points it right.
void hookArrow(cairo_t* cr, double cx, double cy, double mirror) {
    cairo_save(cr);
    cairo_translate(cr, cx, cy);
    cairo_scale(cr, mirror, 1);
    cairo_set_line_width(cr, 1.7);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_arc(cr, 0.5, 1.5, 4, -M_PI / 2, M_PI / 2);
    cairo_move_to(cr, 0.5, 5.5);
    cairo_line_to(cr, -2.5, 5.5);
    cairo_stroke(cr);
    cairo_move_to(cr, -4.5, -2.5);
    cairo_line_to(cr, 0.5, -6.0);
    cairo_line_to(cr, 0.5, 1.0);
    cairo_close_path(cr);
    cairo_fill(cr);
    cairo_restore(cr);
}

void undoIcon(cairo_t* cr, double cx, double cy) { hookArrow(cr, cx, cy, 1); }
void redoIcon(cairo_t* cr, double cx, double cy) { hookArrow(cr, cx, cy, -1); }

void crossIcon(cairo_t* cr, double cx, double cy) {
    cairo_set_line_width(cr, 1.6);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_move_to(cr, cx - 3, cy - 3);
    cairo_line_to(cr, cx + 3, cy + 3);
    cairo_move_to(cr, cx + 3, cy - 3);
    cairo_line_to(cr, cx - 3, cy + 3);
    cairo_stroke(cr);
}

cairo_surface_t* prevButton() { return iconButton(20, triangleLeft); }
cairo_surface_t* nextButton() { return iconButton(20, triangleRight); }
cairo_surface_t* undoButton() { return iconButton(20, undoIcon); }
cairo_surface_t* redoButton() { return iconButton(20, redoIcon); }
cairo_surface_t* loadButton() { return textButton(36, 18, "LOAD", {State::Normal, State::Pressed, State::Disabled}); }
cairo_surface_t* saveButton() { return textButton(36, 18, "SAVE", {State::Normal, State::Pressed, State::Disabled}); }
cairo_surface_t* closeButton() { return iconButton(16, crossIcon); }

// The top row: a 25-pixel bar tiled across the editor.
cairo_surface_t* topRowTile() {
    Canvas c(16, 25);
    cairo_rectangle(c.cr, 0, 0, 16, 25);
    fillVertical(c.cr, 0, 25, hex(0x2d3136), hex(0x212428));
    cairo_new_path(c.cr);
    cairo_set_line_width(c.cr, 1);
    cairo_move_to(c.cr, 0, 0.5);
    cairo_line_to(c.cr, 16, 0.5);
    setColour(c.cr, hex(0xffffff), 0.07);
    cairo_stroke(c.cr);
    cairo_move_to(c.cr, 0, 24.5);
    cairo_line_to(c.cr, 16, 24.5);
    setColour(c.cr, hex(0x0b0c0e));
    cairo_stroke(c.cr);
    return c.finish();
}

cairo_surface_t* presetsButton() { return textButton(64, 19, "PRESETS", {State::Normal, State::On}); }
cairo_surface_t* setupButton() { return textButton(56, 19, "SETUP", {State::Normal, State::On}); }
cairo_surface_t* analyserButton() { return textButton(72, 19, "ANALYSER", {State::Normal, State::On}); }

// Bypass: a power sign, lit when the processing runs.
cairo_surface_t* bypassButton() {
    const int w = 22, h = 19;
    Canvas c(w, 2 * h);
    for (int i = 0; i < 2; ++i) {
        const double cy = i * h + h / 2.0;
        buttonFace(c.cr, 0, i * h, w, h, State::Normal);
        setColour(c.cr, i == 0 ? kTextOff : kAccent);
        cairo_set_line_width(c.cr, 1.6);
        cairo_set_line_cap(c.cr, CAIRO_LINE_CAP_ROUND);
        cairo_arc(c.cr, w / 2.0, cy + 0.5, 4.5, -M_PI / 2 + 0.75, 3 * M_PI / 2 - 0.75);
        cairo_stroke(c.cr);
        cairo_move_to(c.cr, w / 2.0, cy - 5);
        cairo_line_to(c.cr, w / 2.0, cy);
        cairo_stroke(c.cr);
    }
    return c.finish();
}

// Clip light: dark, then lit red.
cairo_surface_t* clipButton() {
    const int w = 30, h = 19;
    Canvas c(w, 2 * h);
    buttonFace(c.cr, 0, 0, w, h, State::Normal);
    label(c.cr, "CLIP", 8.5, 0, 0, w, h, kTextOff);
    panel(c.cr, 0, h, w, h, 3, hex(0xf0684f), hex(0xb8331f));
    label(c.cr, "CLIP", 8.5, 0, h, w, h, hex(0xffffff));
    return c.finish();
}

// Snapshot menu: one row per entry A to H; the right column while the menu is open.
cairo_surface_t* snapshotMenu() {
    const int w = 24, h = 19;
    Canvas c(2 * w, 8 * h);
    const char* names[8] = {"A", "B", "C", "D", "E", "F", "G", "H"};
    for (int col = 0; col < 2; ++col)
        for (int row = 0; row < 8; ++row) {
            buttonFace(c.cr, col * w, row * h, w, h, col == 0 ? State::Normal : State::Focused);
            label(c.cr, names[row], 10, col * w, row * h, w, h, kAccent, 0);
        }
    return c.finish();
}

// "Copy to": plain, then open.
cairo_surface_t* copyToMenu() { return textButton(60, 19, "COPY TO", {State::Normal, State::Focused}); }

// The channel menu of the top row: six rows, one per view of the channels.
cairo_surface_t* channelMenu() {
    const int w = 64, h = 19;
    const char* names[6] = {"MID", "SIDE", "LEFT", "RIGHT", "STEREO", "GROUPS"};
    Canvas c(w, 6 * h);
    for (int row = 0; row < 6; ++row) {
        buttonFace(c.cr, 0, row * h, w, h, State::Normal);
        label(c.cr, names[row], 9, 0, row * h, w - 8, h, kText);
        cairo_move_to(c.cr, w - 12, row * h + 8);
        cairo_line_to(c.cr, w - 6, row * h + 8);
        cairo_line_to(c.cr, w - 9, row * h + 12);
        cairo_close_path(c.cr);
        setColour(c.cr, kTextDim);
        cairo_fill(c.cr);
    }
    return c.finish();
}

// The mark: four ascending bars, one lit.
void mark(cairo_t* cr, double x, double bottom, double scale) {
    const double heights[4] = {5, 9, 13, 8};
    for (int i = 0; i < 4; ++i) {
        cairo_rectangle(cr, x + i * 4 * scale, bottom - heights[i] * scale, 3 * scale, heights[i] * scale);
        setColour(cr, i == 2 ? kAccent : kTextDim);
        cairo_fill(cr);
    }
}

cairo_surface_t* logo() {
    Canvas c(120, 25);
    mark(c.cr, 4, 18, 1.0);
    setColour(c.cr, kText);
    textPath(c.cr, "TESSARINE", 11, 24, 17, 1.2);
    cairo_fill(c.cr);
    return c.finish();
}

cairo_surface_t* separator() {
    Canvas c(2, 19);
    cairo_rectangle(c.cr, 0, 2, 1, 15);
    setColour(c.cr, hex(0x000000), 0.6);
    cairo_fill(c.cr);
    cairo_rectangle(c.cr, 1, 2, 1, 15);
    setColour(c.cr, hex(0xffffff), 0.07);
    cairo_fill(c.cr);
    return c.finish();
}

cairo_surface_t* wizardTile() {
    Canvas c(16, 25);
    cairo_rectangle(c.cr, 0, 0, 16, 25);
    fillVertical(c.cr, 0, 25, hex(0x30343a), hex(0x25282d));
    cairo_new_path(c.cr);
    cairo_move_to(c.cr, 0, 24.5);
    cairo_line_to(c.cr, 16, 24.5);
    setColour(c.cr, hex(0x000000), 0.7);
    cairo_set_line_width(c.cr, 1);
    cairo_stroke(c.cr);
    return c.finish();
}

// Title strip at the wizard's top left: the mark, then room for the title drawn at x 50.
cairo_surface_t* wizardTitle() {
    Canvas c(200, 25);
    cairo_surface_t* tile = wizardTile();
    cairo_set_source_surface(c.cr, tile, 0, 0);
    cairo_pattern_set_extend(cairo_get_source(c.cr), CAIRO_EXTEND_REPEAT);
    cairo_paint(c.cr);
    cairo_surface_destroy(tile);
    cairo_rectangle(c.cr, 0, 0, 4, 24);
    setColour(c.cr, kAccent);
    cairo_fill(c.cr);
    mark(c.cr, 16, 19, 1.0);
    return c.finish();
}

// A stylised response: a gentle low shelf, a bell and a high cut.
void responseCurve(cairo_t* cr, double x, double y, double w, double h) {
    for (int i = 0; i <= 100; ++i) {
        const double t = i / 100.0;
        const double shelf = 0.18 / (1 + std::exp((t - 0.22) * 30));
        const double bell = -0.28 * std::exp(-std::pow((t - 0.55) / 0.08, 2));
        const double cut = t > 0.85 ? -std::pow((t - 0.85) / 0.15, 2) * 0.4 : 0;
        const double px = x + t * w, py = y + h * (0.5 - shelf - bell - cut);
        if (i == 0)
            cairo_move_to(cr, px, py);
        else
            cairo_line_to(cr, px, py);
    }
}

// Decoration shown over the wizard on a double click in its corner.
cairo_surface_t* wizardOverlay() {
    const int w = 300, h = 180;
    Canvas c(w, h);
    cairo_t* cr = c.cr;
    panel(cr, 0, 0, w, h, 6, hex(0x2a2e33), hex(0x191b1e));
    well(cr, 16, 16, w - 32, 104, 4);
    cairo_set_line_width(cr, 1);
    for (int i = 1; i < 8; ++i) {
        cairo_move_to(cr, 16 + i * (w - 32) / 8.0 + 0.5, 18);
        cairo_line_to(cr, 16 + i * (w - 32) / 8.0 + 0.5, 118);
    }
    setColour(cr, hex(0xffffff), 0.05);
    cairo_stroke(cr);
    responseCurve(cr, 20, 22, w - 40, 92);
    cairo_set_line_width(cr, 2);
    setColour(cr, kAccent);
    cairo_stroke(cr);
    mark(cr, 18, 152, 1.2);
    setColour(cr, kText);
    textPath(cr, "TESSARINE", 18, 44, 152, 1.5);
    cairo_fill(cr);
    setColour(cr, kTextDim);
    textPath(cr, "by Ondelane", 11, 46, 168, 0.4);
    cairo_fill(cr);
    return c.finish();
}

// Previews of the five layouts the wizard offers, one frame each.
cairo_surface_t* wizardChoices() {
    const int w = 244, h = 144;
    Canvas c(w, 5 * h);
    cairo_t* cr = c.cr;
    for (int f = 0; f < 5; ++f) {
        const double top = f * h;
        const bool graph = f == 0 || f == 2 || f == 4;
        const bool boxes = f != 0;
        const bool knobs = f == 3 || f == 4;
        panel(cr, 0, top, w, h, 5, hex(0x25282c), hex(0x1b1d20));
        cairo_rectangle(cr, 6, top + 6, w - 12, 10);
        setColour(cr, hex(0x34383e));
        cairo_fill(cr);
        double y = top + 20;
        const double stripsHeight = (boxes ? 22 : 0) + (knobs ? 30 : 0);
        if (graph) {
            const double gh = h - 26 - stripsHeight - (stripsHeight > 0 ? 4 : 0);
            well(cr, 6, y, w - 12, gh, 3);
            responseCurve(cr, 10, y + 4, w - 20, gh - 8);
            cairo_set_line_width(cr, 1.5);
            setColour(cr, kAccent);
            cairo_stroke(cr);
            y += gh + 4;
        }
        const int strips = 8;
        const double sw = (w - 12.0) / strips;
        const double stripTop = y;
        const double rows = boxes ? (graph || knobs ? 2 : 5) : 0;
        for (int s = 0; s < strips && (boxes || knobs); ++s) {
            const double sx = 6 + s * sw;
            double yy = stripTop;
            if (knobs) {
                cairo_arc(cr, sx + sw / 2, yy + 12, 8, 0, 2 * M_PI);
                setColour(cr, hex(0x3a3f46));
                cairo_fill(cr);
                cairo_move_to(cr, sx + sw / 2, yy + 12);
                cairo_line_to(cr, sx + sw / 2 + 6 * std::cos(-2.2 + s * 0.5), yy + 12 + 6 * std::sin(-2.2 + s * 0.5));
                setColour(cr, kAccent);
                cairo_set_line_width(cr, 1.5);
                cairo_stroke(cr);
                yy += 30;
            }
            const double rowsHere = knobs && !graph ? 3 : rows;
            const double bh = boxes && !graph && !knobs ? (h - 26 - 4) / 5.0 - 3 : 8;
            for (int r = 0; r < rowsHere; ++r) {
                cairo_rectangle(cr, sx + 3, yy + r * (bh + 3), sw - 6, bh);
                setColour(cr, r == 0 && s == 2 ? kAccentDeep : hex(0x121416));
                cairo_fill(cr);
            }
        }
    }
    return c.finish();
}

using Draw = cairo_surface_t* (*)();

struct ImageDef {
    int number;
    const char* what;
    Draw draw;
};

// Every image the build embeds. Keep one entry a line: the build reads the numbers from here.
const ImageDef kImages[] = {
    {101, "glyph strip, cells of 7", strip101},
    {102, "glyph strip, cells of 9", strip102},
    {210, "setup panel", setupBackground},
    {211, "preset box", presetBox},
    {213, "shadow under the top row, tiled", topRowShadow},
    {215, "page marker: off, on", pageMarker},
    {220, "scale tray", scaleTray},
    {221, "scale tray opener: closed, open", trayArrows},
    {230, "EQ flag: off, on", flagEQ},
    {231, "DSP flag: off, on", flagDSP},
    {232, "UI flag: off, on", flagUI},
    {233, "preset or bank", bankSwitch},
    {400, "horizontal slider handle", handleH},
    {401, "vertical slider handle", handleV},
    {402, "slider range mark", rangeHandle},
    {501, "previous: normal, pressed, disabled", prevButton},
    {502, "next: normal, pressed, disabled", nextButton},
    {503, "undo: normal, pressed, disabled", undoButton},
    {504, "redo: normal, pressed, disabled", redoButton},
    {505, "load: normal, pressed, disabled", loadButton},
    {506, "save: normal, pressed, disabled", saveButton},
    {507, "close: normal, pressed, disabled", closeButton},
    {800, "top row, tiled", topRowTile},
    {801, "presets: off, on", presetsButton},
    {802, "setup: off, on", setupButton},
    {803, "analyser: off, on", analyserButton},
    {804, "bypass: bypassed, running", bypassButton},
    {805, "clip light: off, on", clipButton},
    {806, "snapshot menu A-H; right column open", snapshotMenu},
    {807, "copy to: closed, open", copyToMenu},
    {808, "channel menu, six rows", channelMenu},
    {809, "logo", logo},
    {810, "separator", separator},
    {900, "wizard title bar, tiled", wizardTile},
    {901, "wizard title strip", wizardTitle},
    {902, "wizard overlay picture", wizardOverlay},
    {903, "wizard layout previews, five frames of 144", wizardChoices},
};

bool writeAll(const std::string& folder) {
    bool ok = true;
    for (const ImageDef& image : kImages) {
        cairo_surface_t* s = image.draw();
        const std::string path = folder + "/" + std::to_string(image.number) + ".png";
        if (cairo_surface_write_to_png(s, path.c_str()) != CAIRO_STATUS_SUCCESS) {
            std::fprintf(stderr, "make-images: cannot write %s\n", path.c_str());
            ok = false;
        }
        cairo_surface_destroy(s);
    }
    return ok;
}

// All images on one page, each over a checker so transparency shows, with its number and size;
// the glyph strips also enlarged four times.
bool writeSheet(const std::string& path) {
    const int pageWidth = 1400, margin = 16, captionHeight = 16;
    struct Placed {
        const ImageDef* def;
        cairo_surface_t* surface;
        int x, y, scale;
    };
    std::vector<Placed> placed;
    int x = margin, y = margin, rowHeight = 0;
    auto place = [&](const ImageDef& def, int scale) {
        cairo_surface_t* s = def.draw();
        const int w = cairo_image_surface_get_width(s) * scale;
        const int h = cairo_image_surface_get_height(s) * scale + captionHeight;
        const int slot = std::max(w, 110);
        if (x + slot > pageWidth - margin && x > margin) {
            x = margin;
            y += rowHeight + margin;
            rowHeight = 0;
        }
        placed.push_back({&def, s, x, y, scale});
        x += slot + margin;
        rowHeight = std::max(rowHeight, h);
    };
    for (const ImageDef& def : kImages) place(def, 1);
    for (const ImageDef& def : kImages)
        if (def.number == 101 || def.number == 102) place(def, 2);
    const int pageHeight = y + rowHeight + margin;

    cairo_surface_t* page = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, pageWidth, pageHeight);
    cairo_t* cr = cairo_create(page);
    setColour(cr, hex(0x3c3c3c));
    cairo_paint(cr);
    for (const Placed& p : placed) {
        const int w = cairo_image_surface_get_width(p.surface) * p.scale;
        const int h = cairo_image_surface_get_height(p.surface) * p.scale;
        for (int cy = 0; cy < h; cy += 8)
            for (int cx = 0; cx < w; cx += 8) {
                cairo_rectangle(cr, p.x + cx, p.y + captionHeight + cy, std::min(8, w - cx), std::min(8, h - cy));
                setColour(cr, ((cx + cy) / 8) % 2 ? hex(0x606060) : hex(0x808080));
                cairo_fill(cr);
            }
        cairo_save(cr);
        cairo_translate(cr, p.x, p.y + captionHeight);
        cairo_scale(cr, p.scale, p.scale);
        cairo_set_source_surface(cr, p.surface, 0, 0);
        cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
        cairo_paint(cr);
        cairo_restore(cr);
        char caption[64];
        std::snprintf(caption, sizeof caption, "%d  %dx%d%s", p.def->number, cairo_image_surface_get_width(p.surface),
                      cairo_image_surface_get_height(p.surface), p.scale > 1 ? "  (x2)" : "");
        setColour(cr, hex(0xffffff));
        textPath(cr, caption, 11, p.x, p.y + 11);
        cairo_fill(cr);
        cairo_surface_destroy(p.surface);
    }
    cairo_destroy(cr);
    const bool ok = cairo_surface_write_to_png(page, path.c_str()) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(page);
    if (!ok) std::fprintf(stderr, "make-images: cannot write %s\n", path.c_str());
    return ok;
}

}  // namespace

int main(int argc, char** argv) {
    for (const auto& [font, path] : {std::pair{&uiFont(), TESS_UI_FONT}, std::pair{&stripFont(), TESS_STRIP_FONT}})
        if (!font->ok) {
            std::fprintf(stderr, "make-images: cannot read the font %s\n", path);
            return 1;
        }
    bool ok;
    if (argc == 3 && std::strcmp(argv[1], "--sheet") == 0)
        ok = writeSheet(argv[2]);
    else if (argc == 2 && argv[1][0] != '-')
        ok = writeAll(argv[1]);
    else {
        std::fprintf(stderr, "usage: make-images <output folder> | --sheet <out.png>\n");
        return 2;
    }
    cairo_debug_reset_static_data();
    return ok ? 0 : 1;
}

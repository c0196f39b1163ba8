// Shows every stock control of the toolkit in a window of its own and reports what happens on
// stdout, one line per event:
//   CONTROL tag=<n> kind=<class> rect=<l>,<t>,<r>,<b>   (frame coordinates, before READY)
//   READY window=0x<id>                                 (mapped and first picture sent)
//   valueChanged tag=<n> value=<v> [text=<t>] [item=<entry>]
//   POPUP level=<l> window=0x<id> rect=... / ITEM level=<l> index=<i> rect=...  (root coordinates)
// Commands on stdin: "dump <file.png>" writes the back buffer ("DUMPED <file>"),
// "get <tag>" answers "VALUE tag=<n> value=<v>", "freeze" stops the animations ("FROZEN"),
// "quit" ends.
// --screenshot <file.png> writes the first complete picture and exits (offscreen without X).

#include <unistd.h>

#include <cairo.h>
#include <fontconfig/fontconfig.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "BitmapFont.h"
#include "CButtons.h"
#include "CDIB.h"
#include "CFrame.h"
#include "CGViewContainer.h"
#include "CKnob.h"
#include "CMovieBitmap.h"
#include "COptionMenu.h"
#include "CParamDisplay.h"
#include "CSlider.h"
#include "CSplashScreen.h"
#include "CSwitches.h"
#include "CTextEdit.h"
#include "CVuMeter.h"
#include "TextDrawing.h"
#include "TrueTypeText.h"
#include "platform/PlatformWindow.h"
#include "platform/RunLoop.h"

using namespace VSTGUI;

namespace {

// An image strip of `frames` stacked frames, each drawn by `paint`.
template <typename Paint> CBitmap* makeStrip(int w, int h, int frames, Paint paint) {
    auto* b = new CBitmap(CCoord(w), CCoord(h * frames));
    CDrawContext ctx(b->getSurface());
    for (int i = 0; i < frames; ++i) {
        ctx.setOffset(CPoint(0, CCoord(i * h)));
        ctx.setClipRect(CRect(0, 0, CCoord(w), CCoord(h)));
        paint(ctx, CRect(0, 0, CCoord(w), CCoord(h)), i);
    }
    return b;
}

// A generated image by number. As a CDIB its surface is flushed once on loading, which drops
// the PNG data cairo keeps attached to decoded images; drawing a plain CBitmap of a PNG marks
// its surface dirty with that data still attached, which cairo refuses.
CBitmap* image(int number) { return new CDIB(number); }

CColor mix(const CColor& a, const CColor& b, float t) {
    return {uint8_t(a.red + (b.red - a.red) * t), uint8_t(a.green + (b.green - a.green) * t),
            uint8_t(a.blue + (b.blue - a.blue) * t), 255};
}

CColor withAlpha(CColor c, uint8_t alpha) {
    c.alpha = alpha;
    return c;
}

// Red in the low byte, as the text calls take it.
uint32_t packed(const CColor& c) { return uint32_t(c.red) | uint32_t(c.green) << 8 | uint32_t(c.blue) << 16; }

const CColor kBack{21, 23, 27, 255};
const CColor kPanel{29, 32, 37, 255};
const CColor kPanelEdge{43, 47, 54, 255};
const CColor kWell{17, 19, 22, 255};
const CColor kOff{52, 57, 65, 255};
const CColor kText{214, 219, 226, 255};
const CColor kDim{128, 135, 146, 255};
const CColor kAccent{88, 160, 220, 255};
const CColor kOn{96, 196, 132, 255};

void arc(CDrawContext& c, double cx, double cy, double r, double from, double to, const CColor& colour, double width) {
    cairo_t* cr = c.getCairo();
    cairo_save(cr);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
    cairo_new_path(cr);
    cairo_arc(cr, cx, cy, r, from, to);
    cairo_set_source_rgba(cr, colour.red / 255.0, colour.green / 255.0, colour.blue / 255.0, colour.alpha / 255.0);
    cairo_set_line_width(cr, width);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_stroke(cr);
    cairo_restore(cr);
}

void roundedRect(CDrawContext& c, const CRect& r, double radius, const CColor& fill, const CColor& edge) {
    cairo_t* cr = c.getCairo();
    cairo_save(cr);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
    const double x0 = r.left + 0.5, y0 = r.top + 0.5, x1 = r.right - 0.5, y1 = r.bottom - 0.5;
    cairo_new_path(cr);
    cairo_arc(cr, x1 - radius, y0 + radius, radius, -M_PI / 2, 0);
    cairo_arc(cr, x1 - radius, y1 - radius, radius, 0, M_PI / 2);
    cairo_arc(cr, x0 + radius, y1 - radius, radius, M_PI / 2, M_PI);
    cairo_arc(cr, x0 + radius, y0 + radius, radius, M_PI, 1.5 * M_PI);
    cairo_close_path(cr);
    cairo_set_source_rgba(cr, fill.red / 255.0, fill.green / 255.0, fill.blue / 255.0, fill.alpha / 255.0);
    cairo_fill_preserve(cr);
    cairo_set_source_rgba(cr, edge.red / 255.0, edge.green / 255.0, edge.blue / 255.0, edge.alpha / 255.0);
    cairo_set_line_width(cr, 1);
    cairo_stroke(cr);
    cairo_restore(cr);
}

// A dial face for the knobs: a dark disc, a groove over the knob's travel and, from `amount`
// 0..1, the lit part of the groove.
void dialFace(CDrawContext& c, const CRect& r, float amount, bool lit) {
    const double cx = (r.left + r.right) / 2.0, cy = (r.top + r.bottom) / 2.0, radius = r.width() / 2.0;
    const double from = 0.75 * M_PI, to = 2.25 * M_PI;
    arc(c, cx, cy, radius - 4, from, to, kOff, 3);
    if (lit && amount > 0.001f) arc(c, cx, cy, radius - 4, from, from + (to - from) * amount, kAccent, 3);
    c.setDrawMode(kAntialias);
    c.setFillColor(CColor{38, 42, 49, 255});
    c.drawEllipse(CRect(r).inset(CCoord(radius * 0.38), CCoord(radius * 0.38)), kDrawFilled);
    c.setDrawMode(kCopyMode);
}

// Text in the embedded font; nothing when it is missing.
void label(CDrawContext* c, const CRect& r, const char* text, float size, const CColor& colour, bool centre = true) {
    if (const stbtt_fontinfo* font = FontCache::get("FUTURAB"))
        drawText(c, r, font, text, size, centre, true, packed(colour));
}

// A panel with a title: the sections of the window.
struct Panel : CView {
    const char* title;
    Panel(const CRect& r, const char* t) : CView(r), title(t) {}
    void draw(CDrawContext* c) override {
        c->setFillColor(kBack);
        c->fillRect(size);
        roundedRect(*c, size, 5, kPanel, kPanelEdge);
        label(c, CRect(size.left + 14, size.top + 8, size.right, size.top + 24), title, 12.f, kDim, false);
        setDirty(false);
    }
};

// The class name under a control.
struct Caption : CView {
    const char* text;
    Caption(const CRect& r, const char* t) : CView(r), text(t) {
        setTransparency(true);
        setMouseEnabled(false);
    }
    void draw(CDrawContext* c) override {
        label(c, size, text, 10.5f, kDim);
        setDirty(false);
    }
};

// The window's title bar: the logo image and a line of text.
struct Header : CView {
    CBitmap* logo;
    explicit Header(const CRect& r) : CView(r), logo(image(809)) {}
    ~Header() override { logo->forget(); }
    void draw(CDrawContext* c) override {
        c->setFillColor(CColor{15, 17, 20, 255});
        c->fillRect(size);
        c->setFillColor(kPanelEdge);
        c->fillRect(CRect(size.left, size.bottom - 1, size.right, size.bottom));
        if (logo->isLoaded())
            logo->drawTransparent(c, CRect(size.left + 14, size.top + 9, size.left + 134, size.top + 34));
        c->setFillColor(kPanelEdge);
        c->fillRect(CRect(size.left + 150, size.top + 12, size.left + 151, size.bottom - 12));
        label(c, CRect(size.left + 166, size.top, size.right, size.bottom), "Toolkit gallery: every stock control",
              12.f, kDim, false);
        setDirty(false);
    }
};

// A bitmap scaled into the view, as a thumbnail.
struct Thumbnail : CView {
    CBitmap* image;
    const char* hint;
    Thumbnail(const CRect& r, CBitmap* b, const char* h) : CView(r), image(b), hint(h) { image->remember(); }
    ~Thumbnail() override { image->forget(); }
    void draw(CDrawContext* c) override {
        if (image->isLoaded()) {
            cairo_t* cr = c->getCairo();
            cairo_save(cr);
            cairo_rectangle(cr, size.left, size.top, size.width(), size.height());
            cairo_clip(cr);
            cairo_translate(cr, size.left, size.top);
            cairo_scale(cr, size.width() / image->getWidth(), size.width() / image->getWidth());
            cairo_set_source_surface(cr, image->getSurface(), 0, 0);
            cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_GOOD);
            cairo_paint_with_alpha(cr, 0.55);
            cairo_restore(cr);
        }
        c->setFillColor(CColor{0, 0, 0, 120});
        c->fillRect(CRect(size.left, size.bottom - 20, size.right, size.bottom));
        label(c, CRect(size.left, size.bottom - 20, size.right, size.bottom), hint, 10.5f, kText);
        setDirty(false);
    }
};

// Response curves drawn with the context's curve calls: four bell-shaped bands over a
// logarithmic frequency axis, each filled and outlined, and their sum on top.
struct Graph : CView {
    explicit Graph(const CRect& r) : CView(r) {}
    static constexpr double kTop = 15, kRange = 30;  // dB at the top, dB over the height
    double xOf(double hz) const { return size.width() * std::log(hz / 20.0) / std::log(1000.0); }
    double yOf(double db) const { return (kTop - db) / kRange * size.height(); }
    void draw(CDrawContext* c) override {
        const int w = int(size.width());
        c->setFillColor(kWell);
        c->fillRect(size);
        c->setDrawMode(kCopyMode);
        c->setLineWidth(1);
        for (double decade : {20.0, 100.0, 1000.0, 10000.0})
            for (int m = 1; m < 10; ++m) {
                const double hz = decade * m;
                if (hz > 20000 || (decade == 20.0 && m > 4)) continue;
                const CCoord x = size.left + CCoord(std::floor(xOf(hz)));
                c->setFrameColor(m == 1 ? CColor{44, 49, 57, 255} : CColor{30, 33, 39, 255});
                c->moveTo(CPoint(x, size.top));
                c->lineTo(CPoint(x, size.bottom - 1));
            }
        for (int db = -12; db <= 12; db += 6) {
            const CCoord y = size.top + CCoord(std::floor(yOf(db)));
            c->setFrameColor(db == 0 ? CColor{58, 64, 74, 255} : CColor{36, 40, 47, 255});
            c->moveTo(CPoint(size.left, y));
            c->lineTo(CPoint(size.right - 1, y));
        }

        struct Band {
            double hz, db, width;  // width in octaves
            CColor colour;
        };
        const Band bands[] = {{80, 5, 1.6, {232, 170, 80, 255}},
                              {420, -6.5, 1.1, {96, 196, 132, 255}},
                              {2400, 4, 0.8, {88, 160, 220, 255}},
                              {9000, -3.5, 1.4, {196, 120, 210, 255}}};
        std::vector<float> sum(size_t(w), 0.f);
        std::vector<float> ys(size_t(w), 0.f);
        const double zero = size.top + yOf(0);
        const float x0 = size.left + 0.5f;
        for (const Band& b : bands) {
            for (int i = 0; i < w; ++i) {
                const double hz = 20.0 * std::pow(1000.0, (i + 0.5) / w);
                const double d = std::log2(hz / b.hz) / b.width;
                const double gain = b.db * std::exp(-d * d * 2.0);
                sum[size_t(i)] += float(gain);
                ys[size_t(i)] = float(size.top + yOf(gain));
            }
            c->fillUnderCurve(ys.data(), w, x0, 1, float(zero), withAlpha(b.colour, 46));
            c->drawCurve(ys.data(), w, x0, 1, withAlpha(b.colour, 210), 1.5f);
        }
        for (int i = 0; i < w; ++i) ys[size_t(i)] = float(size.top + yOf(sum[size_t(i)]));
        c->fillUnderCurve(ys.data(), w, x0, 1, float(zero), CColor{255, 255, 255, 22});
        c->drawCurve(ys.data(), w, x0, 1, CColor{240, 244, 250, 255}, 2.f);
        // Handles on the bands' centres.
        c->setDrawMode(kAntialias);
        for (const Band& b : bands) {
            const CCoord x = size.left + CCoord(xOf(b.hz)), y = size.top + CCoord(yOf(b.db));
            c->setFillColor(b.colour);
            c->drawEllipse(CRect(x - 5, y - 5, x + 5, y + 5), kDrawFilled);
            c->setFillColor(kWell);
            c->drawEllipse(CRect(x - 2, y - 2, x + 2, y + 2), kDrawFilled);
        }
        c->setDrawMode(kCopyMode);
        const struct {
            double hz;
            const char* text;
        } marks[] = {{100, "100"}, {1000, "1k"}, {10000, "10k"}};
        for (const auto& m : marks) {
            const CCoord x = size.left + CCoord(xOf(m.hz));
            label(c, CRect(x + 3, size.bottom - 16, x + 40, size.bottom - 2), m.text, 10.f, kDim, false);
        }
        for (int db : {12, 6, -6, -12}) {
            char text[8];
            std::snprintf(text, sizeof text, "%+d", db);
            const CCoord y = size.top + CCoord(yOf(db));
            label(c, CRect(size.left + 4, y - 13, size.left + 40, y - 1), text, 10.f, kDim, false);
        }
        setDirty(false);
    }
};

class Gallery : public CControlListener, public VSTGUIEditorInterface, public RunLoop::FdHandler {
public:
    Gallery() {
        frame = new CFrame(CRect(0, 0, 900, 600), this);
        frame->setBackgroundColor(kBack);
        build();
    }
    ~Gallery() override {
        delete frame;
    }

    void valueChanged(CControl* c) override {
        std::printf("valueChanged tag=%ld value=%.4f", c->getTag(), double(c->getValue()));
        if (auto* t = dynamic_cast<CTextEdit*>(c)) std::printf(" text=%s", t->getText());
        if (auto* m = dynamic_cast<COptionMenu*>(c)) {
            long index = -1;
            if (COptionMenu* last = m->getLastItemMenu(index); last && last->getEntry(index))
                std::printf(" item=%s", last->getEntry(index));
        }
        std::printf("\n");
        if (c->getTag() == 7 && movie) movie->setValue(c->getValue());
        if (c->getTag() == 9 && display) display->setValue(c->getValue());
    }
    void beginEdit(long tag) override { std::printf("beginEdit tag=%ld\n", tag); }
    void endEdit(long tag) override { std::printf("endEdit tag=%ld\n", tag); }

    CFrame* getFrame() const override { return frame; }

    void tick() {
        // A meter that moves, so idle redraws have something to do.
        if (!frozen) {
            phase += 0.05f;
            if (vu) vu->setValue(0.5f + 0.45f * std::sin(phase));
            if (anim && anim->isWindowOpened() && ++animCount % 5 == 0) anim->nextPix();
        }
        frame->idle();
    }

    void onFdReady(int fd) override {
        char buf[512];
        const ssize_t n = ::read(fd, buf, sizeof buf);
        if (n <= 0) {
            loop.stop();
            return;
        }
        pending.append(buf, size_t(n));
        size_t nl;
        while ((nl = pending.find('\n')) != std::string::npos) {
            command(pending.substr(0, nl));
            pending.erase(0, nl + 1);
        }
    }

    void command(const std::string& line) {
        if (line.rfind("dump ", 0) == 0) {
            frame->idle();
            const std::string path = line.substr(5);
            const bool ok = frame->getPlatformWindow() && frame->getPlatformWindow()->writeBackBufferPng(path.c_str());
            std::printf(ok ? "DUMPED %s\n" : "DUMPFAILED %s\n", path.c_str());
        } else if (line.rfind("get ", 0) == 0) {
            const long tag = std::atol(line.c_str() + 4);
            auto it = controls.find(tag);
            std::printf("VALUE tag=%ld value=%.4f\n", tag, it == controls.end() ? -1.0 : double(it->second->getValue()));
        } else if (line == "freeze") {
            frozen = true;
            frame->idle();
            std::printf("FROZEN\n");
        } else if (line == "quit") {
            loop.stop();
        }
    }

    int run(const char* screenshot) {
        setvbuf(stdout, nullptr, _IOLBF, 0);
        if (!frame->open(&loop, 0, "Tessarine toolkit gallery")) {
            if (!screenshot) {
                std::fprintf(stderr, "tessarine-gallery: cannot open a window (is DISPLAY set?)\n");
                return 1;
            }
            // Without X the picture is drawn offscreen.
            COffscreenContext ctx(int(frame->getWidth()), int(frame->getHeight()));
            frame->invalidateAll();
            frame->renderDirty(&ctx);
            return cairo_surface_write_to_png(ctx.getSurface(), screenshot) == CAIRO_STATUS_SUCCESS ? 0 : 1;
        }
        PlatformWindow* w = frame->getPlatformWindow();
        w->setMenuObserver([](const MenuLayoutReport& r) {
            std::printf("POPUP level=%d window=0x%x rect=%d,%d,%d,%d\n", r.level, r.window, int(r.frame.left),
                        int(r.frame.top), int(r.frame.right), int(r.frame.bottom));
            for (size_t i = 0; i < r.items.size(); ++i)
                std::printf("ITEM level=%d index=%zu rect=%d,%d,%d,%d\n", r.level, i, int(r.items[i].left),
                            int(r.items[i].top), int(r.items[i].right), int(r.items[i].bottom));
        });
        w->setCloseCallback([this] { loop.stop(); });
        w->setPresentedCallback([this, w, screenshot] {
            if (screenshot) {
                w->writeBackBufferPng(screenshot);
                loop.stop();
                return;
            }
            std::printf("READY window=0x%x\n", w->windowId());
        });
        frame->setTimerHandler([this] { tick(); });
        if (!screenshot) loop.registerFd(this, 0);
        loop.run();
        loop.unregisterFd(this);
        frame->close();
        return 0;
    }

private:
    template <typename T> T* add(T* view, const char* kind, long tag = -1, CViewContainer* parent = nullptr) {
        (parent ? parent : frame)->addView(view);
        if (auto* c = dynamic_cast<CControl*>(view); c && tag >= 0) {
            c->setListener(this);
            c->setTag(tag);
            controls[tag] = c;
            const CRect r = view->getFrameRect();
            std::printf("CONTROL tag=%ld kind=%s rect=%d,%d,%d,%d\n", tag, kind, int(r.left), int(r.top), int(r.right),
                        int(r.bottom));
        }
        return view;
    }

    // A caption with the control's class centred under `r`.
    void caption(const CRect& r, const char* text, CCoord width = 104) {
        const CCoord cx = std::floor((r.left + r.right) / 2);
        frame->addView(new Caption(CRect(cx - width / 2, r.bottom + 6, cx + width / 2, r.bottom + 20), text));
    }

    void build() {
        frame->addView(new Header(CRect(0, 0, 900, 44)));
        frame->addView(new Panel(CRect(16, 56, 436, 206), "BUTTONS AND SWITCHES"));
        frame->addView(new Panel(CRect(16, 218, 436, 398), "KNOBS, SLIDERS, METER"));
        frame->addView(new Panel(CRect(16, 410, 436, 584), "TEXT AND MENUS"));
        frame->addView(new Panel(CRect(452, 56, 884, 340), "CURVES: fillUnderCurve, drawCurve"));
        frame->addView(new Panel(CRect(452, 352, 884, 584), "IMAGE STRIPS"));

        // Buttons from the generated images: two frames (off, on) or three (normal, pressed, disabled).
        auto* bypass = image(804);
        const CRect onOff(75, 95, 97, 114);
        add(new COnOffButton(onOff, this, 1, bypass), "COnOffButton", 1);
        caption(onOff, "COnOffButton");
        bypass->forget();
        auto* previous = image(501);
        const CRect kick(216, 94, 236, 114);
        add(new CKickButton(kick, this, 2, 20, previous), "CKickButton", 2);
        caption(kick, "CKickButton");
        previous->forget();
        auto* presets = image(801);
        const CRect movieButton(334, 95, 398, 114);
        add(new CMovieButton(movieButton, this, 3, 19, presets), "CMovieButton", 3);
        caption(movieButton, "CMovieButton");
        presets->forget();

        // Rocker: pressed left, resting, pressed right.
        auto rocker = makeStrip(64, 22, 3, [](CDrawContext& c, const CRect& r, int i) {
            roundedRect(c, r, 4, CColor{36, 40, 47, 255}, kPanelEdge);
            if (i != 1) {
                const CRect half = i == 0 ? CRect(1, 1, 32, 21) : CRect(32, 1, 63, 21);
                c.setFillColor(withAlpha(kAccent, 110));
                c.fillRect(half);
            }
            c.setFillColor(kPanelEdge);
            c.fillRect(CRect(31.5f, 4, 32.5f, 18));
            c.setDrawMode(kAntialias);
            c.setFillColor(kText);
            const CPoint left[] = {{13, 11}, {19, 7}, {19, 15}}, right[] = {{51, 11}, {45, 7}, {45, 15}};
            c.drawPolygon(left, 3, kDrawFilled);
            c.drawPolygon(right, 3, kDrawFilled);
            c.setDrawMode(kCopyMode);
        });
        const CRect rockerRect(54, 151, 118, 173);
        add(new CRockerSwitch(rockerRect, this, 4, 22, rocker), "CRockerSwitch", 4);
        caption(rockerRect, "CRockerSwitch");
        rocker->forget();

        // Three flag images side by side, one of them on in each frame.
        {
            CBitmap* flags[] = {image(230), image(231), image(232)};
            auto strip = makeStrip(102, 18, 3, [&](CDrawContext& c, const CRect&, int i) {
                for (int f = 0; f < 3; ++f)
                    flags[f]->drawTransparent(&c, CRect(CCoord(34 * f), 0, CCoord(34 * f + 34), 18),
                                              CPoint(0, f == i ? 18 : 0));
            });
            for (CBitmap* b : flags) b->forget();
            const CRect r(175, 153, 277, 171);
            add(new CHorizontalSwitch(r, this, 6, 3, 18, 3, strip), "CHorizontalSwitch", 6);
            caption(r, "CHorizontalSwitch");
            strip->forget();
        }

        // A hidden page over a visible one: clicks fall through to what lies behind.
        const CRect pageRect(324, 145, 408, 179);
        auto* page = add(new CGViewContainer(pageRect, frame, nullptr), "CGViewContainer");
        page->setBackgroundColor(kWell);
        auto* clip = image(805);
        add(new COnOffButton(CRect(27, 7, 57, 26), this, 18, clip), "COnOffButton", 18, page);
        clip->forget();
        auto* hidden = add(new CGViewContainer(pageRect, frame, nullptr, true), "CGViewContainer");
        hidden->setBackgroundColor(kRedCColor);
        caption(pageRect, "CGViewContainer");

        // Knobs: one drawn on a dial, one and a movie from the same strip of 31 frames.
        auto dial = makeStrip(56, 56, 1, [](CDrawContext& c, const CRect& r, int) { dialFace(c, r, 0, false); });
        const CRect knobRect(38, 242, 94, 298);
        auto* knob = add(new CKnob(knobRect, this, 7, dial, nullptr), "CKnob", 7);
        knob->setColorHandle(kAccent);
        knob->setInsetValue(12);
        knob->setValue(0.5f);
        caption(knobRect, "CKnob");
        dial->forget();

        const int frames = 31;
        auto knobStrip = makeStrip(56, 56, frames, [&](CDrawContext& c, const CRect& r, int i) {
            dialFace(c, r, float(i) / float(frames - 1), true);
        });
        const CRect animRect(128, 242, 184, 298);
        auto* animKnob = add(new CAnimKnob(animRect, this, 8, frames, 56, knobStrip), "CAnimKnob", 8);
        animKnob->setValue(0.25f);
        caption(animRect, "CAnimKnob");
        const CRect movieRect(218, 242, 274, 298);
        movie = add(new CMovieBitmap(movieRect, this, 14, frames, 56, knobStrip), "CMovieBitmap", 14);
        movie->setValue(0.5f);
        caption(movieRect, "CMovieBitmap");
        knobStrip->forget();

        // Sliders with the generated handles over drawn grooves.
        const int travel = 130;
        auto track = makeStrip(14, travel, 1, [&](CDrawContext& c, const CRect&, int) {
            roundedRect(c, CRect(5, 0, 9, CCoord(travel)), 2, kWell, kPanelEdge);
        });
        auto* vHandle = image(401);
        const CRect vRect(300, 240, 314, 240 + travel);
        auto* vslider = add(new CSlider(vRect, this, 9, CPoint(0, 0), travel, vHandle, track, CPoint(),
                                        CSlider::kVertical | CSlider::kBottom),
                            "CSlider", 9);
        vslider->setValue(0.5f);
        caption(vRect, "CSlider", 80);
        track->forget();
        vHandle->forget();
        auto htrack = makeStrip(200, 14, 1, [](CDrawContext& c, const CRect&, int) {
            roundedRect(c, CRect(0, 5, 200, 9), 2, kWell, kPanelEdge);
        });
        auto* hHandle = image(400);
        const CRect hRect(40, 348, 240, 362);
        auto* hslider = add(new CSlider(hRect, this, 10, 40, 40 + 200 - 9, hHandle, htrack, CPoint(),
                                        CSlider::kHorizontal | CSlider::kLeft),
                            "CSlider", 10);
        hslider->setValue(0.35f);
        caption(hRect, "CSlider");
        htrack->forget();
        hHandle->forget();

        // A meter of lit and unlit segments, green to red.
        const CRect vuRect(380, 240, 392, 240 + travel);
        const auto segments = [&](bool lit) {
            return makeStrip(12, travel, 1, [lit, travel](CDrawContext& c, const CRect&, int) {
                for (int y = travel - 5; y >= 0; y -= 5) {
                    const float t = 1.f - float(y) / float(travel);
                    const CColor hot = t < 0.7f ? kOn : t < 0.9f ? CColor{230, 190, 80, 255} : CColor{230, 90, 80, 255};
                    c.setFillColor(lit ? hot : mix(kWell, hot, 0.18f));
                    c.fillRect(CRect(0, CCoord(y), 12, CCoord(y + 4)));
                }
            });
        };
        CBitmap* vuOn = segments(true);
        CBitmap* vuOff = segments(false);
        vu = add(new CVuMeter(vuRect, vuOn, vuOff, travel / 5), "CVuMeter", 17);
        vu->setValue(0.72f);
        vuOn->forget();
        vuOff->forget();
        caption(vuRect, "CVuMeter", 80);

        // Text: the menu shows its choice as one of the six frames of the channel image.
        struct ChannelMenu : COptionMenu {
            COptionMenu* more = nullptr;
            using COptionMenu::COptionMenu;
            void draw(CDrawContext* c) override {
                long index = -1;
                const COptionMenu* last = getLastItemMenu(index);
                const long shown = (last && last == more && index >= 0) ? 4 + index : getCurrent();
                if (background) background->drawTransparent(c, size, CPoint(0, CCoord(19 * shown)));
                setDirty(false);
            }
        };
        auto* channels = image(808);
        const CRect menuRect(54, 443, 118, 462);
        auto* menu =
            add(new ChannelMenu(menuRect, this, 11, channels, nullptr, kCheckStyle | kNoTextStyle), "COptionMenu", 11);
        channels->forget();
        menu->addEntry("Mid");
        menu->addEntry("Side");
        menu->addEntry("Left");
        menu->addEntry("Right");
        auto* more = new COptionMenu(CRect(0, 0, 10, 10), nullptr, 0);
        more->addEntry("Stereo");
        more->addEntry("Groups");
        menu->addEntry(more, "More");
        menu->more = more;
        more->forget();
        caption(menuRect, "COptionMenu");

        const CRect editRect(166, 441, 286, 463);
        auto* edit = add(new CTextEdit(editRect, this, 12, "1.00"), "CTextEdit", 12);
        edit->setBackColor(kWell);
        edit->setFrameColor(kOff);
        edit->setFontColor(kText);
        caption(editRect, "CTextEdit");

        const CRect displayRect(326, 441, 406, 463);
        display = add(new CParamDisplay(displayRect), "CParamDisplay", 13);
        display->setBackColor(kWell);
        display->setFrameColor(kOff);
        display->setFontColor(kAccent);
        display->setValue(0.5f);
        caption(displayRect, "CParamDisplay");

        const CRect labelRect(46, 516, 206, 538);
        auto* text = add(new CTextLabel(labelRect, "Label text"), "CTextLabel");
        text->setBackColor(kPanel);
        text->setFrameColor(kPanel);
        text->setFontColor(kText);
        caption(labelRect, "CTextLabel");

        // Text from the glyph strip, written straight into the pixels.
        struct GlyphText : CView {
            CDIB strip{102};
            BitmapFont font{strip.pixelBuffer()};
            explicit GlyphText(const CRect& r) : CView(r) { setTransparency(true); }
            void draw(CDrawContext* c) override {
                cairo_surface_t* s = cairo_get_target(c->getCairo());
                if (!strip.pixels || cairo_surface_get_type(s) != CAIRO_SURFACE_TYPE_IMAGE) return;
                // Only the part inside the clip, so nothing beyond it is touched.
                CRect clip = c->getAbsoluteClipRect();
                CRect area = size;
                area.offset(c->getOffset().x, c->getOffset().y);
                clip.bound(area);
                if (clip.isEmpty()) return;
                cairo_surface_flush(s);
                PixelBuffer target{cairo_image_surface_get_data(s) + int(clip.top) * cairo_image_surface_get_stride(s) +
                                       int(clip.left) * 4,
                                   int(clip.width()), int(clip.height()), cairo_image_surface_get_stride(s)};
                const char* text = "GAIN +4.5 dB  Q 0.71";
                const int x = int(area.left + (area.width() - CCoord(font.textWidth(text))) / 2 - clip.left);
                const int y = int(area.top + (area.height() - CCoord(font.rows())) / 2 - clip.top);
                font.drawText(target, x, y, text, packed(kAccent));
                cairo_surface_mark_dirty(s);
                setDirty(false);
            }
        };
        const CRect glyphRect(236, 516, 406, 538);
        frame->addView(new GlyphText(glyphRect));
        caption(glyphRect, "BitmapFont (strip 102)", 150);

        // The demo graph.
        frame->addView(new Graph(CRect(466, 84, 870, 326)));

        // A vertical switch of eight positions, each frame the letters with one of them lit.
        {
            auto* letters = image(806);
            auto strip = makeStrip(24, 152, 8, [&](CDrawContext& c, const CRect&, int i) {
                letters->drawTransparent(&c, CRect(0, 0, 24, 152));
                c.setFillColor(kWell);
                c.fillRect(CRect(0, CCoord(19 * i), 24, CCoord(19 * i + 19)));
                letters->drawTransparent(&c, CRect(0, CCoord(19 * i), 24, CCoord(19 * i + 19)),
                                         CPoint(24, CCoord(19 * i)));
            });
            letters->forget();
            const CRect r(492, 384, 516, 536);
            add(new CVerticalSwitch(r, this, 5, 8, 152, 8, strip), "CVerticalSwitch", 5);
            caption(r, "CVerticalSwitch", 100);
            strip->forget();
        }

        // The layout previews: shown dimmed until a click starts the animation over them.
        auto* previews = image(903);
        const CRect animationRect(532, 384, 776, 528);
        frame->addView(new Thumbnail(animationRect, previews, "CLICK TO PLAY"));
        anim = add(new CAutoAnimation(animationRect, this, 15, 5, 144, previews), "CAutoAnimation", 15);
        caption(animationRect, "CAutoAnimation");
        previews->forget();

        auto* overlay = image(902);
        const CRect splashRect(788, 384, 872, 434);
        frame->addView(new Thumbnail(splashRect, overlay, "SHOW"));
        add(new CSplashScreen(splashRect, this, 16, overlay, CRect(300, 210, 600, 390)), "CSplashScreen", 16);
        caption(splashRect, "CSplashScreen");
        overlay->forget();

        auto* load = image(505);
        auto* save = image(506);
        add(new CKickButton(CRect(788, 474, 824, 492), this, 19, 18, load), "CKickButton", 19);
        add(new CKickButton(CRect(836, 474, 872, 492), this, 20, 18, save), "CKickButton", 20);
        caption(CRect(788, 474, 872, 492), "CKickButton");
        load->forget();
        save->forget();
    }

    CFrame* frame;
    PollRunLoop loop;
    std::map<long, CControl*> controls;
    CMovieBitmap* movie = nullptr;
    CParamDisplay* display = nullptr;
    CVuMeter* vu = nullptr;
    CAutoAnimation* anim = nullptr;
    std::string pending;
    float phase = 0;
    int animCount = 0;
    bool frozen = false;
};

}  // namespace

int main(int argc, char** argv) {
    const char* screenshot = nullptr;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--screenshot") == 0 && i + 1 < argc) screenshot = argv[++i];
        else {
            std::fprintf(stderr, "usage: tessarine-gallery [--screenshot out.png]\n");
            return 2;
        }
    }
    int rc;
    {
        Gallery gallery;
        rc = gallery.run(screenshot);
    }
    // Lets leak checkers tell the program's memory from cairo's font caches.
    cairo_debug_reset_static_data();
    FcFini();
    return rc;
}

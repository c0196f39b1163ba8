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
        paint(ctx, CRect(0, 0, CCoord(w), CCoord(h)), i);
    }
    return b;
}

CColor mix(const CColor& a, const CColor& b, float t) {
    return {uint8_t(a.red + (b.red - a.red) * t), uint8_t(a.green + (b.green - a.green) * t),
            uint8_t(a.blue + (b.blue - a.blue) * t), 255};
}

const CColor kPanel{34, 38, 44, 255};
const CColor kOff{60, 64, 72, 255};
const CColor kOn{80, 200, 120, 255};
const CColor kAccent{90, 150, 230, 255};

class Gallery : public CControlListener, public VSTGUIEditorInterface, public RunLoop::FdHandler {
public:
    Gallery() {
        frame = new CFrame(CRect(0, 0, 640, 400), this);
        frame->setBackgroundColor(kPanel);
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

    void build() {
        auto button = makeStrip(40, 40, 2, [](CDrawContext& c, const CRect& r, int i) {
            c.setFillColor(i ? kOn : kOff);
            c.fillRect(CRect(r).inset(2, 2));
        });
        add(new COnOffButton(CRect(20, 20, 60, 60), this, 1, button), "COnOffButton", 1);
        add(new CKickButton(CRect(70, 20, 110, 60), this, 2, 40, button), "CKickButton", 2);
        add(new CMovieButton(CRect(120, 20, 160, 60), this, 3, 40, button), "CMovieButton", 3);

        auto rocker = makeStrip(60, 30, 3, [](CDrawContext& c, const CRect& r, int i) {
            c.setFillColor(kOff);
            c.fillRect(r);
            c.setFillColor(kAccent);
            if (i == 0) c.fillRect(CRect(2, 2, 28, 28));
            if (i == 2) c.fillRect(CRect(32, 2, 58, 28));
        });
        add(new CRockerSwitch(CRect(170, 25, 230, 55), this, 4, 30, rocker), "CRockerSwitch", 4);
        rocker->forget();

        auto positions = makeStrip(30, 60, 3, [](CDrawContext& c, const CRect& r, int i) {
            c.setFillColor(kOff);
            c.fillRect(r);
            c.setFillColor(kAccent);
            c.fillRect(CRect(2, 2 + 20 * i, 28, 18 + 20 * i));
        });
        auto* vs = add(new CVerticalSwitch(CRect(240, 10, 270, 70), this, 5, 3, 60, 3, positions), "CVerticalSwitch", 5);
        (void)vs;
        positions->forget();
        auto hpositions = makeStrip(60, 30, 3, [](CDrawContext& c, const CRect& r, int i) {
            c.setFillColor(kOff);
            c.fillRect(r);
            c.setFillColor(kAccent);
            c.fillRect(CRect(2 + 20 * i, 2, 18 + 20 * i, 28));
        });
        add(new CHorizontalSwitch(CRect(280, 25, 340, 55), this, 6, 3, 30, 3, hpositions), "CHorizontalSwitch", 6);
        hpositions->forget();

        auto dial = makeStrip(60, 60, 1, [](CDrawContext& c, const CRect& r, int) {
            c.setDrawMode(kAntialias);
            c.setFillColor(kOff);
            c.drawEllipse(CRect(r).inset(3, 3), kDrawFilled);
        });
        auto* knob = add(new CKnob(CRect(20, 90, 80, 150), this, 7, dial, nullptr), "CKnob", 7);
        knob->setColorHandle(kOn);
        knob->setInsetValue(8);
        knob->setValue(0.5f);
        dial->forget();

        const int frames = 31;
        auto knobStrip = makeStrip(60, 60, frames, [&](CDrawContext& c, const CRect& r, int i) {
            const float t = float(i) / float(frames - 1);
            c.setDrawMode(kAntialias);
            c.setFillColor(mix(kOff, kAccent, t));
            c.drawEllipse(CRect(r).inset(3, 3), kDrawFilled);
        });
        auto* animKnob = add(new CAnimKnob(CRect(90, 90, 150, 150), this, 8, frames, 60, knobStrip), "CAnimKnob", 8);
        animKnob->setValue(0.25f);
        movie = add(new CMovieBitmap(CRect(160, 90, 220, 150), this, 14, frames, 60, knobStrip), "CMovieBitmap", 14);
        movie->setValue(0.5f);
        knobStrip->forget();

        auto track = makeStrip(30, 200, 1, [](CDrawContext& c, const CRect&, int) {
            c.setFillColor(kOff);
            c.fillRect(CRect(12, 0, 18, 200));
        });
        auto handle = makeStrip(30, 16, 1, [](CDrawContext& c, const CRect& r, int) {
            c.setFillColor(kWhiteCColor);
            c.fillRect(r);
        });
        // Handle travels 184 pixels: 200 minus its own height.
        auto* vslider = add(new CSlider(CRect(360, 10, 390, 210), this, 9, CPoint(0, 0), 200, handle, track, CPoint(),
                                        CSlider::kVertical | CSlider::kBottom),
                            "CSlider", 9);
        vslider->setValue(0.5f);
        track->forget();
        auto htrack = makeStrip(200, 30, 1, [](CDrawContext& c, const CRect&, int) {
            c.setFillColor(kOff);
            c.fillRect(CRect(0, 12, 200, 18));
        });
        auto hhandle = makeStrip(16, 30, 1, [](CDrawContext& c, const CRect& r, int) {
            c.setFillColor(kWhiteCColor);
            c.fillRect(r);
        });
        add(new CSlider(CRect(400, 20, 600, 50), this, 10, 400, 584, hhandle, htrack, CPoint(),
                        CSlider::kHorizontal | CSlider::kLeft),
            "CSlider", 10);
        htrack->forget();
        hhandle->forget();
        handle->forget();

        auto* menu = add(new COptionMenu(CRect(20, 170, 160, 192), this, 11, nullptr, nullptr, kCheckStyle), "COptionMenu", 11);
        menu->setBackColor(kOff);
        menu->addEntry("Alpha");
        menu->addEntry("Beta");
        menu->addEntry("-");
        menu->addEntry("Gamma");
        auto* sub = new COptionMenu(CRect(0, 0, 10, 10), nullptr, 0);
        sub->addEntry("Sub One");
        sub->addEntry("Sub Two");
        menu->addEntry(sub, "More");
        sub->forget();

        auto* edit = add(new CTextEdit(CRect(20, 210, 160, 232), this, 12, "1.00"), "CTextEdit", 12);
        edit->setBackColor(CColor{20, 22, 26, 255});
        edit->setFrameColor(kAccent);

        display = add(new CParamDisplay(CRect(400, 60, 480, 82)), "CParamDisplay", 13);
        display->setValue(0.5f);
        add(new CTextLabel(CRect(490, 60, 620, 82), "CTextLabel"), "CTextLabel");

        auto frames8 = makeStrip(40, 40, 8, [](CDrawContext& c, const CRect& r, int i) {
            c.setFillColor(kOff);
            c.fillRect(r);
            c.setFillColor(kOn);
            c.fillRect(CRect(2, 2, 2 + CCoord(i) * 4.5f, 38));
        });
        anim = add(new CAutoAnimation(CRect(180, 170, 220, 210), this, 15, 8, 40, frames8), "CAutoAnimation", 15);
        frames8->forget();

        auto splash = makeStrip(200, 120, 1, [](CDrawContext& c, const CRect& r, int) {
            c.setFillColor(kAccent);
            c.fillRect(r);
            c.setFontColor(kWhiteCColor);
            c.setFont("sans-serif", 18);
            c.drawString("Splash", r);
        });
        add(new CSplashScreen(CRect(230, 170, 270, 210), this, 16, splash, CRect(200, 240, 400, 360)), "CSplashScreen", 16);
        splash->forget();

        vu = add(new CVuMeter(CRect(600, 100, 620, 300), nullptr, nullptr, 20), "CVuMeter", 17);

        // A hidden page over a visible one: clicks fall through to what lies behind.
        auto* page = add(new CGViewContainer(CRect(400, 100, 580, 200), frame, nullptr), "CGViewContainer");
        page->setBackgroundColor(CColor{50, 54, 62, 255});
        add(new COnOffButton(CRect(10, 10, 50, 50), this, 18, button), "COnOffButton", 18, page);
        auto* hidden = add(new CGViewContainer(CRect(400, 100, 580, 200), frame, nullptr, true), "CGViewContainer");
        hidden->setBackgroundColor(kRedCColor);
        button->forget();

        if (const stbtt_fontinfo* font = FontCache::get("FUTURAB")) {
            struct Caption : CView {
                const stbtt_fontinfo* font;
                Caption(const CRect& r, const stbtt_fontinfo* f) : CView(r), font(f) { setTransparency(true); }
                void draw(CDrawContext* c) override {
                    drawText(c, size, font, "TESSARINE toolkit", 20.f, true, true, 0xe0e0e0);
                }
            };
            add(new Caption(CRect(20, 250, 360, 290), font), "Caption");
        }
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

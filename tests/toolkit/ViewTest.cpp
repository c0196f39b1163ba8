// View trees without a window: mouse dispatch, hiding, captures, control value math, text
// entry and dirty-region redraws.

#include <gtest/gtest.h>

#include <vector>

#include "CButtons.h"
#include "CDIB.h"
#include "CFrame.h"
#include "CGFrame.h"
#include "CGViewContainer.h"
#include "CKnob.h"
#include "COptionMenu.h"
#include "CSlider.h"
#include "CTextEdit.h"

using namespace VSTGUI;

namespace {

struct Recorder : CControlListener, VSTGUIEditorInterface {
    std::vector<long> changed;
    std::vector<float> values;
    std::vector<long> begins, ends;
    void valueChanged(CControl* c) override {
        changed.push_back(c->getTag());
        values.push_back(c->getValue());
    }
    void beginEdit(long tag) override { begins.push_back(tag); }
    void endEdit(long tag) override { ends.push_back(tag); }
};

// Records where each mouse event arrived, in its own size coordinates.
struct Probe : CView {
    std::vector<CPoint> downs, moves, ups;
    CMouseEventResult result;
    explicit Probe(const CRect& r, CMouseEventResult res = kMouseEventHandled) : CView(r), result(res) {}
    CMouseEventResult onMouseDown(CPoint& w, const long&) override {
        downs.push_back(w);
        return result;
    }
    CMouseEventResult onMouseMoved(CPoint& w, const long&) override {
        moves.push_back(w);
        return kMouseEventHandled;
    }
    CMouseEventResult onMouseUp(CPoint& w, const long&) override {
        ups.push_back(w);
        return kMouseEventHandled;
    }
};

CMouseEventResult down(CFrame& f, CCoord x, CCoord y, long buttons = kLButton) {
    CPoint p(x, y);
    return f.onMouseDown(p, buttons);
}
void move(CFrame& f, CCoord x, CCoord y, long buttons = kLButton) {
    CPoint p(x, y);
    f.onMouseMoved(p, buttons);
}
void up(CFrame& f, CCoord x, CCoord y, long buttons = kLButton) {
    CPoint p(x, y);
    f.onMouseUp(p, buttons);
}

}  // namespace

TEST(Dispatch, NestedContainersGiveLocalPointsAndCaptureTheTaker) {
    CFrame frame(CRect(0, 0, 300, 200));
    auto* outer = new CViewContainer(CRect(100, 50, 250, 180));
    auto* inner = new CViewContainer(CRect(10, 10, 120, 100));
    auto* probe = new Probe(CRect(5, 5, 25, 25));
    auto* other = new Probe(CRect(0, 0, 300, 200));
    frame.addView(other);
    frame.addView(outer);
    outer->addView(inner);
    inner->addView(probe);

    EXPECT_EQ(down(frame, 100 + 10 + 12, 50 + 10 + 13), kMouseEventHandled);
    ASSERT_EQ(probe->downs.size(), 1u);
    EXPECT_EQ(probe->downs[0], CPoint(12, 13));
    EXPECT_TRUE(other->downs.empty());  // the topmost view under the point took it

    // Moves and the release go to the captured view even outside it.
    move(frame, 10, 10);
    up(frame, 10, 10);
    ASSERT_EQ(probe->moves.size(), 1u);
    EXPECT_EQ(probe->moves[0], CPoint(10 - 110, 10 - 60));
    ASSERT_EQ(probe->ups.size(), 1u);
    EXPECT_TRUE(other->moves.empty());

    // Outside the nested views the click goes to the view behind them.
    EXPECT_EQ(down(frame, 5, 5), kMouseEventHandled);
    EXPECT_EQ(other->downs.size(), 1u);
    up(frame, 5, 5);

    CPoint origin(0, 0);
    probe->localToFrame(origin);
    EXPECT_EQ(origin, CPoint(110, 60));
    EXPECT_EQ(probe->getFrameRect(), CRect(115, 65, 135, 85));
}

TEST(Dispatch, NotHandledFallsToTheViewBehind) {
    CFrame frame(CRect(0, 0, 100, 100));
    auto* behind = new Probe(CRect(0, 0, 100, 100));
    auto* front = new Probe(CRect(0, 0, 100, 100), kMouseEventNotHandled);
    frame.addView(behind);
    frame.addView(front);
    down(frame, 50, 50);
    EXPECT_EQ(front->downs.size(), 1u);
    EXPECT_EQ(behind->downs.size(), 1u);
}

TEST(CGViewContainer, HiddenTakesNoClickAndShowingRestoresIt) {
    Recorder rec;
    CFrame frame(CRect(0, 0, 200, 200), &rec);
    auto* below = new COnOffButton(CRect(10, 10, 50, 50), &rec, 1, nullptr);
    auto* page = new CGViewContainer(CRect(0, 0, 100, 100), &frame, nullptr, true);
    auto* onPage = new COnOffButton(CRect(10, 10, 50, 50), &rec, 2, nullptr);
    frame.addView(below);
    frame.addView(page);
    page->addView(onPage);

    EXPECT_FALSE(page->hitTest(CPoint(20, 20)));
    CPoint p(20, 20);
    EXPECT_EQ(page->onMouseDown(p, kLButton), kMouseEventNotHandled);
    EXPECT_FALSE(page->onWheel(CPoint(20, 20), 1.f));
    down(frame, 20, 20);
    EXPECT_EQ(rec.changed, std::vector<long>({1}));

    page->setHidden(false);
    EXPECT_TRUE(page->getMouseEnabled());
    EXPECT_TRUE(page->hitTest(CPoint(100, 100)));  // both edges belong to it
    down(frame, 20, 20);
    EXPECT_EQ(rec.changed, std::vector<long>({1, 2}));
    EXPECT_EQ(rec.begins, std::vector<long>({1, 2}));
    EXPECT_EQ(rec.ends, std::vector<long>({1, 2}));
}

TEST(CGViewContainer, MouseUpWithoutCaptureIsNotHandled) {
    CFrame frame(CRect(0, 0, 100, 100));
    auto* page = new CGViewContainer(CRect(10, 10, 90, 90), &frame, nullptr);
    auto* probe = new Probe(CRect(0, 0, 20, 20));
    frame.addView(page);
    page->addView(probe);
    CPoint p(15, 15);
    EXPECT_EQ(page->onMouseUp(p, kLButton), kMouseEventNotHandled);
    EXPECT_EQ(page->onMouseDown(p, kLButton), kMouseEventHandled);
    CPoint q(50, 60);
    EXPECT_EQ(page->onMouseUp(q, kLButton), kMouseEventHandled);
    EXPECT_EQ(probe->ups.back(), CPoint(40, 50));
    EXPECT_EQ(page->onMouseUp(q, kLButton), kMouseEventNotHandled);  // capture cleared
}

TEST(CGFrame, TheHostMayTakeAClickFirst) {
    struct Host : iVSTFrameCallbackInterface {
        bool take = true;
        long asked = 0;
        void getTagUnderPoint(CCoord x, CCoord, long& tag) override { tag = x < 50 ? 7 : -1; }
        bool onClickTag(long, long tag) override {
            asked = tag;
            return take;
        }
    } host;
    CGFrame frame(CRect(0, 0, 100, 100), nullptr, &host);
    auto* probe = new Probe(CRect(0, 0, 100, 100));
    frame.addView(probe);
    EXPECT_EQ(down(frame, 10, 10), kMouseDownEventHandledButDontNeedMovedOrUpEvents);
    EXPECT_EQ(host.asked, 7);
    EXPECT_TRUE(probe->downs.empty());
    host.take = false;
    down(frame, 10, 10);
    down(frame, 60, 10);  // no tag there
    EXPECT_EQ(probe->downs.size(), 2u);
}

TEST(GrabFromParents, CopiesFromTheNearestFittingBackground) {
    CFrame frame(CRect(0, 0, 100, 100));
    auto* section = new CDIB(60, 60, true);
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 60; ++x) section->pixels[y * section->stride + x * 4] = uint8_t(x + 2 * y);
    auto* outer = new CViewContainer(CRect(5, 5, 65, 65), &frame, section);
    section->forget();
    auto* loaded = new CDIB(987655);  // no such image: a loaded-kind bitmap without pixels
    auto* middle = new CViewContainer(CRect(10, 20, 50, 60), &frame, loaded);
    loaded->forget();
    auto* view = new CView(CRect(3, 4, 7, 8));
    frame.addView(outer);
    outer->addView(middle);
    middle->addView(view);

    CDIB target(4, 4, true);
    // Any background: the middle one, which has no pixels, so nothing is copied.
    EXPECT_EQ(grabFromParents(view, &target, 0, 0, -1), loaded);
    EXPECT_EQ(target.pixels[0], 0);
    // Only sections: the outer one, with the offsets of both parents added.
    EXPECT_EQ(grabFromParents(view, &target, 0, 0, 1), section);
    EXPECT_EQ(target.pixels[0], uint8_t(13 + 2 * 24));
    EXPECT_EQ(target.pixels[3 * target.stride + 3 * 4], uint8_t(16 + 2 * 27));

    auto* lone = new CView(CRect(0, 0, 4, 4));
    frame.addView(lone);
    CDIB untouched(4, 4, true);
    EXPECT_EQ(grabFromParents(lone, &untouched, 0, 0, -1), nullptr);
    EXPECT_EQ(untouched.pixels[0], 0);
}

TEST(nCGViewContainer, FreezesWhatLayBehindItOnAttach) {
    CFrame frame(CRect(0, 0, 50, 50));
    auto* bg = new CDIB(50, 50, true);
    bg->pixels[(12 * 50 + 11) * 4 + 1] = 99;
    auto* holder = new CViewContainer(CRect(0, 0, 50, 50), &frame, bg);
    bg->forget();
    frame.addView(holder);
    auto* snap = new nCGViewContainer(CRect(10, 10, 30, 30), &frame);
    holder->addView(snap);
    EXPECT_EQ(snap->getBackground(), snap->getSnapshot());
    EXPECT_EQ(snap->getSnapshot()->pixels[(2 * 20 + 1) * 4 + 1], 99);
}

TEST(ControlMath, VerticalSliderMapsTravelAndShiftIsTenTimesFiner) {
    Recorder rec;
    CFrame frame(CRect(0, 0, 100, 300), &rec);
    // 200 pixels of range with a 16-pixel handle: 184 pixels of travel, value 0 at the bottom.
    auto* handle = new CBitmap(30, 16);
    auto* s = new CSlider(CRect(10, 10, 40, 210), &rec, 3, CPoint(0, 0), 200, handle, nullptr, CPoint(),
                          CSlider::kVertical | CSlider::kBottom);
    handle->forget();
    frame.addView(s);
    s->setValue(0);
    EXPECT_EQ(s->handleRect(), CRect(10, 194, 40, 210));
    s->setValue(1);
    EXPECT_EQ(s->handleRect(), CRect(10, 10, 40, 26));

    s->setValue(0.5f);
    const CRect h = s->handleRect();
    const CCoord y = (h.top + h.bottom) / 2;
    down(frame, 20, y);
    EXPECT_FLOAT_EQ(s->getValue(), 0.5f);  // on the handle: no jump
    move(frame, 20, y - 46);
    EXPECT_NEAR(s->getValue(), 0.75f, 1e-5);
    move(frame, 20, y - 46 - 46, kLButton | kShift);  // switching to fine continues from here
    EXPECT_NEAR(s->getValue(), 0.75f, 1e-5);
    move(frame, 20, y - 46 - 92, kLButton | kShift);
    EXPECT_NEAR(s->getValue(), 0.775f, 1e-5);
    move(frame, 20, -500, kLButton | kShift);
    move(frame, 20, -900);
    EXPECT_FLOAT_EQ(s->getValue(), 1.f);  // bounded
    up(frame, 20, -900);
    EXPECT_EQ(rec.begins, std::vector<long>({3}));
    EXPECT_EQ(rec.ends, std::vector<long>({3}));

    // A press on the track away from the handle centres the handle there.
    down(frame, 20, 10 + 8 + 184 * 0.25f);
    EXPECT_NEAR(s->getValue(), 0.75f, 1e-4);
    up(frame, 20, 0);
}

TEST(ControlMath, KnobDragWheelAndDefault) {
    Recorder rec;
    CFrame frame(CRect(0, 0, 100, 100), &rec);
    auto* k = new CKnob(CRect(0, 0, 60, 60), &rec, 4, nullptr, nullptr);
    frame.addView(k);
    k->setValue(0.5f);
    k->setDefaultValue(0.2f);
    down(frame, 30, 30);
    move(frame, 30, -20);  // 50 pixels up of 200
    EXPECT_NEAR(k->getValue(), 0.75f, 1e-5);
    up(frame, 30, -20);
    down(frame, 30, 30, kLButton | kShift);
    move(frame, 30, 80, kLButton | kShift);
    EXPECT_NEAR(k->getValue(), 0.725f, 1e-5);
    up(frame, 30, 80);

    k->setWheelInc(0.1f);
    EXPECT_TRUE(frame.onWheel(CPoint(30, 30), kMouseWheelAxisY, 1.f, 0));
    EXPECT_NEAR(k->getValue(), 0.825f, 1e-5);
    EXPECT_TRUE(frame.onWheel(CPoint(30, 30), kMouseWheelAxisY, -1.f, kShift));
    EXPECT_NEAR(k->getValue(), 0.815f, 1e-5);
    EXPECT_FALSE(frame.onWheel(CPoint(30, 30), kMouseWheelAxisX, 1.f, 0));  // knobs ignore the horizontal wheel

    EXPECT_EQ(down(frame, 30, 30, kLButton | kControl), kMouseDownEventHandledButDontNeedMovedOrUpEvents);
    EXPECT_FLOAT_EQ(k->getValue(), 0.2f);
    EXPECT_EQ(rec.begins.size(), rec.ends.size());

    // The handle runs from bottom left (minimum) over the top to bottom right (maximum).
    CPoint p;
    k->setValue(0);
    k->valueToPoint(p);
    EXPECT_LT(p.x, 30);
    EXPECT_GT(p.y, 30);
    k->setValue(0.5f);
    k->valueToPoint(p);
    EXPECT_NEAR(p.x, 30, 1e-3);
    EXPECT_LT(p.y, 30);
}

TEST(ControlMath, AnimKnobFramesCoverTheRange) {
    CAnimKnob k(CRect(0, 0, 10, 10), nullptr, 0, 31, 10, nullptr);
    k.setValue(0);
    EXPECT_EQ(k.frameIndex(), 0);
    k.setValue(1);
    EXPECT_EQ(k.frameIndex(), 30);
    k.setValue(0.5f);
    EXPECT_EQ(k.frameIndex(), 15);
    k.setInverseBitmap(true);
    k.setValue(1);
    EXPECT_EQ(k.frameIndex(), 0);
}

TEST(TextEdit, TypingReturnCommitsAndEscapeCancels) {
    Recorder rec;
    CFrame frame(CRect(0, 0, 200, 100), &rec);
    auto* edit = new CTextEdit(CRect(0, 0, 100, 20), &rec, 9, "1.00");
    frame.addView(edit);
    down(frame, 10, 10);
    ASSERT_TRUE(edit->isEditing());
    EXPECT_EQ(frame.getFocusView(), edit);
    const auto key = [&](long ch, unsigned char virt = 0) {
        VstKeyCode k;
        k.character = ch;
        k.virt = virt;
        return frame.onKeyDown(k);
    };
    key('2');  // replaces the whole old text
    key('.');
    key('5');
    key(0, VKEY_LEFT);
    key(0, VKEY_BACK);
    key(0xE9);  // é, two bytes of UTF-8
    EXPECT_EQ(edit->getEditText(), "2\xC3\xA9" "5");
    key(0, VKEY_BACK);
    key('.');
    EXPECT_TRUE(rec.changed.empty());
    EXPECT_EQ(key(0, VKEY_RETURN), 1);
    EXPECT_STREQ(edit->getText(), "2.5");
    EXPECT_EQ(rec.changed, std::vector<long>({9}));
    EXPECT_FALSE(edit->isEditing());
    EXPECT_EQ(frame.getFocusView(), nullptr);
    EXPECT_EQ(key('x'), -1);  // no focus, no taker

    down(frame, 10, 10);
    key('7');
    key(0, VKEY_ESCAPE);
    EXPECT_STREQ(edit->getText(), "2.5");
    EXPECT_EQ(rec.changed.size(), 1u);

    // A click elsewhere commits.
    down(frame, 10, 10);
    key('8');
    down(frame, 150, 50);
    EXPECT_STREQ(edit->getText(), "8");
    EXPECT_EQ(rec.changed.size(), 2u);
}

TEST(OptionMenu, SubMenuChoiceIsReportedThroughTheLastItem) {
    Recorder rec;
    CFrame frame(CRect(0, 0, 200, 100), &rec);
    auto* menu = new COptionMenu(CRect(0, 0, 100, 20), &rec, 11);
    frame.addView(menu);
    menu->addEntry("A");
    menu->addEntry("-");
    auto* sub = new COptionMenu(CRect(), nullptr, 0);
    sub->addEntry("S0");
    sub->addEntry("S1");
    menu->addEntry(sub, "More");
    sub->forget();
    EXPECT_TRUE(menu->isSeparator(1));
    EXPECT_FALSE(menu->isEnabled(1));
    EXPECT_EQ(menu->getSubMenu(2), sub);

    down(frame, 10, 10);
    EXPECT_TRUE(menu->isPopupOpen());
    EXPECT_EQ(frame.getModalView(), menu);
    menu->popupClosed(sub, 1);
    long index = -1;
    EXPECT_EQ(menu->getLastItemMenu(index), sub);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(rec.changed, std::vector<long>({11}));
    EXPECT_EQ(frame.getModalView(), nullptr);
    EXPECT_EQ(rec.ends, std::vector<long>({11}));

    down(frame, 10, 10);
    menu->popupClosed(menu, 2);
    EXPECT_EQ(menu->getCurrent(), 2);
    down(frame, 10, 10);
    menu->popupClosed(nullptr, -1);  // dismissed
    EXPECT_EQ(rec.changed.size(), 2u);
    EXPECT_EQ(rec.begins.size(), rec.ends.size());
}

TEST(Redraw, OnlyDirtyRegionsAreDrawn) {
    CFrame frame(CRect(0, 0, 100, 100));
    auto* a = new COnOffButton(CRect(10, 10, 30, 30), nullptr, 1, nullptr);
    auto* inner = new CViewContainer(CRect(50, 50, 90, 90));
    auto* b = new COnOffButton(CRect(5, 5, 15, 15), nullptr, 2, nullptr);
    frame.addView(a);
    frame.addView(inner);
    inner->addView(b);
    COffscreenContext ctx(100, 100);
    EXPECT_FALSE(frame.renderDirty(&ctx).empty());
    EXPECT_TRUE(frame.renderDirty(&ctx).empty());
    b->setValue(1);
    EXPECT_EQ(frame.renderDirty(&ctx), std::vector<CRect>({CRect(55, 55, 65, 65)}));
    a->invalid();
    b->setDirty();
    const auto rects = frame.renderDirty(&ctx);
    EXPECT_EQ(rects.size(), 2u);
    inner->setVisible(false);
    EXPECT_EQ(frame.renderDirty(&ctx), std::vector<CRect>({CRect(50, 50, 90, 90)}));
}

// The host's view onto an editor: size, open and close, the timer on the frame's run loop, and
// the editor resizing itself.

#include <gtest/gtest.h>

#include "HostSupport.h"
#include "VST3Wrap.h"
#include "VST3WrapEditorView.h"

using namespace host;

namespace {

class FakeEditor : public AEffEditor {
public:
    bool onWheel(float distance) override {
        wheel += distance;
        return true;
    }
    void setParameter(int32_t, float) override {}
    Rect getRect() const override { return rect; }
    bool open(void* parent) override {
        openedWith = parent;
        return true;
    }
    void close() override { ++closes; }
    void idle() override { ++idles; }
    int32_t parameterAt(int32_t x, int32_t y) override { return x == 10 && y == 20 ? 51 : -1; }

    Rect rect{0, 0, 472, 760};
    void* openedWith = nullptr;
    int closes = 0;
    int idles = 0;
    float wheel = 0;
};

class Frame : public IPlugFrame, public Host {
public:
    Frame() : Host(true) {}
    tresult PLUGIN_API resizeView(IPlugView*, ViewRect* r) override {
        resized = *r;
        ++resizes;
        return kResultOk;
    }
    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        if (FUnknownPrivate::iidEqual(iid, IPlugFrame::iid)) {
            *obj = static_cast<IPlugFrame*>(this);
            return kResultOk;
        }
        return Host::queryInterface(iid, obj);
    }
    uint32 PLUGIN_API addRef() override { return 1; }
    uint32 PLUGIN_API release() override { return 1; }
    ViewRect resized;
    int resizes = 0;
};

} // namespace

TEST(Vst3EditorView, FollowsTheEditorThroughTheFramesLoop) {
    auto* wrap = new VST3Wrap();
    FakeEditor editor;
    auto* view = new VST3WrapEditorView(wrap, &editor);
    ViewRect size;
    view->getSize(&size);
    EXPECT_EQ(size.getWidth(), 760);
    EXPECT_EQ(size.getHeight(), 472);
    EXPECT_EQ(view->isPlatformTypeSupported(kPlatformTypeX11EmbedWindowID), kResultTrue);
    EXPECT_NE(view->isPlatformTypeSupported(kPlatformTypeHWND), kResultTrue);

    Frame frame;
    view->setFrame(&frame);
    int window = 0;
    ASSERT_EQ(view->attached(&window, kPlatformTypeX11EmbedWindowID), kResultOk);
    EXPECT_EQ(editor.openedWith, &window);
    // The view's own timer, and the tick of every instance now that a loop is known.
    EXPECT_EQ(frame.timerCount(), 2u);

    frame.fireTimers();
    EXPECT_EQ(editor.idles, 1);
    EXPECT_EQ(frame.resizes, 0);
    editor.rect = {0, 0, 600, 1100};
    frame.fireTimers();
    ASSERT_EQ(frame.resizes, 1);
    EXPECT_EQ(frame.resized.getWidth(), 1100);
    EXPECT_EQ(frame.resized.getHeight(), 600);

    Vst::ParamID id = 0;
    EXPECT_EQ(view->findParameter(10, 20, id), kResultTrue);
    EXPECT_EQ(id, 51u);
    EXPECT_NE(view->findParameter(11, 20, id), kResultTrue);
    view->onWheel(2.5f);
    EXPECT_FLOAT_EQ(editor.wheel, 2.5f);

    view->removed();
    EXPECT_EQ(editor.closes, 1);
    view->setFrame(nullptr);
    EXPECT_EQ(frame.timerCount(), 0u);
    view->release();
    wrap->release();
}

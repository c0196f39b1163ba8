#include "VST3WrapEditorView.h"

#include <cstring>

#include "RunLoopTicks.h"
#include "VST3Wrap.h"

using namespace Steinberg;

namespace {

ViewRect rectOf(const AEffEditor::Rect& r) { return ViewRect(r.left, r.top, r.right, r.bottom); }

} // namespace

VST3WrapEditorView::VST3WrapEditorView(VST3Wrap* wrap, AEffEditor* ed) : owner(wrap), editor(ed) {
    rect = rectOf(editor->getRect());
    owner->addRef();
}

VST3WrapEditorView::~VST3WrapEditorView() {
    stopTimer();
    RunLoopTicks::withdraw(this);
    owner->release();
}

tresult PLUGIN_API VST3WrapEditorView::isPlatformTypeSupported(FIDString type) {
    return type && std::strcmp(type, kPlatformTypeX11EmbedWindowID) == 0 ? kResultTrue : kResultFalse;
}

tresult PLUGIN_API VST3WrapEditorView::attached(void* parent, FIDString type) {
    if (isPlatformTypeSupported(type) != kResultTrue || !parent) return kResultFalse;
    if (!editor->open(parent)) return kResultFalse;
    open = true;
    startTimer();
    return CPluginView::attached(parent, type);
}

tresult PLUGIN_API VST3WrapEditorView::removed() {
    stopTimer();
    if (open) editor->close();
    open = false;
    return CPluginView::removed();
}

tresult PLUGIN_API VST3WrapEditorView::onWheel(float distance) {
    return editor->onWheel(distance) ? kResultTrue : kResultFalse;
}

tresult PLUGIN_API VST3WrapEditorView::setFrame(IPlugFrame* frame) {
    stopTimer();
    RunLoopTicks::withdraw(this);
    CPluginView::setFrame(frame);
    if (frame) {
        Linux::IRunLoop* loop = nullptr;
        if (frame->queryInterface(Linux::IRunLoop::iid, reinterpret_cast<void**>(&loop)) == kResultOk && loop) {
            // The frame keeps its loop alive for as long as it is our frame.
            RunLoopTicks::offer(this, loop);
            loop->release();
        }
    }
    if (open) startTimer();
    return kResultTrue;
}

void VST3WrapEditorView::startTimer() {
    if (timerLoop || !plugFrame) return;
    Linux::IRunLoop* loop = nullptr;
    if (plugFrame->queryInterface(Linux::IRunLoop::iid, reinterpret_cast<void**>(&loop)) != kResultOk || !loop) return;
    if (loop->registerTimer(this, 10) == kResultOk) timerLoop = loop;
    loop->release();
}

void VST3WrapEditorView::stopTimer() {
    if (timerLoop) timerLoop->unregisterTimer(this);
    timerLoop = nullptr;
}

void PLUGIN_API VST3WrapEditorView::onTimer() {
    editor->idle();
    // The editor may change its own size; the host is asked to follow.
    const ViewRect now = rectOf(editor->getRect());
    if (open && plugFrame && (now.getWidth() != rect.getWidth() || now.getHeight() != rect.getHeight())) {
        rect = now;
        plugFrame->resizeView(this, &rect);
    }
}

tresult PLUGIN_API VST3WrapEditorView::findParameter(int32 x, int32 y, Vst::ParamID& id) {
    const int32_t tag = editor->parameterAt(x, y);
    if (tag < 0) return kResultFalse;
    id = Vst::ParamID(tag);
    return kResultTrue;
}

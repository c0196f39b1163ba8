#pragma once
// The root of a view tree. It owns the platform window while open, keeps the modal and focus
// views, collects dirty regions and redraws only those on idle, and leads control gestures to
// the editor.

#include <functional>
#include <memory>
#include <vector>

#include "CViewContainer.h"

namespace VSTGUI {

class CFrame;
class PlatformWindow;
class RunLoop;

// What the frame knows of the editor that owns it.
class VSTGUIEditorInterface {
public:
    virtual ~VSTGUIEditorInterface() = default;
    virtual void beginEdit(long /*tag*/) {}
    virtual void endEdit(long /*tag*/) {}
    virtual CFrame* getFrame() const { return frame; }

protected:
    CFrame* frame = nullptr;
};

class CFrame : public CViewContainer {
public:
    // The size's origin is taken as 0, 0.
    explicit CFrame(const CRect& size, VSTGUIEditorInterface* editor = nullptr);
    ~CFrame() override;

    // Opens the window: a child of the X11 window `parentWindow`, or a window of its own with 0.
    bool open(RunLoop* runLoop, unsigned long parentWindow = 0, const char* title = "");
    void close();
    bool isOpen() const { return window != nullptr; }
    PlatformWindow* getPlatformWindow() const { return window.get(); }

    // Redraws the dirty regions into the window.
    virtual void idle();
    // Run on the window's 10 ms timer instead of idle(), e.g. by the editor that calls idle().
    void setTimerHandler(std::function<void()> handler) { timerHandler = std::move(handler); }
    void onTimer();

    bool setModalView(CView* view);
    CView* getModalView() const { return modalView; }
    void setFocusView(CView* view);
    CView* getFocusView() const { return focusView; }

    VSTGUIEditorInterface* getEditor() const { return editor; }
    void setEditor(VSTGUIEditorInterface* e) { editor = e; }
    void beginEdit(long tag);
    void endEdit(long tag);

    CFrame* getFrame() const override { return const_cast<CFrame*>(this); }
    bool setSize(CCoord width, CCoord height);

    void addDirtyRect(const CRect& rect);
    // Draws every dirty region into `context` (frame coordinates) and returns them, merged.
    std::vector<CRect> renderDirty(CDrawContext* context);
    // Marks the whole frame for redrawing.
    void invalidateAll() { addDirtyRect(size); }

    bool getCurrentMouseLocation(CPoint& where) const;
    long getCurrentMouseButtons() const;
    // The platform reports the pointer here before dispatching.
    void setMouseState(const CPoint& where, long buttons) { mouseWhere = where; mouseButtons = buttons; }

    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseUp(CPoint& where, const long& buttons) override;
    CMouseEventResult onMouseMoved(CPoint& where, const long& buttons) override;
    bool onWheel(const CPoint& where, const CMouseWheelAxis& axis, const float& distance, const long& buttons) override;
    using CViewContainer::onWheel;
    long onKeyDown(VstKeyCode& key) override;
    long onKeyUp(VstKeyCode& key) override;

    // A view leaving the tree stops being modal, focused or captured.
    void viewRemoved(CView* view);

protected:
    VSTGUIEditorInterface* editor;
    std::unique_ptr<PlatformWindow> window;
    std::function<void()> timerHandler;
    std::vector<CRect> dirtyRects;
    CView* modalView = nullptr;
    CView* focusView = nullptr;
    CView* modalCapture = nullptr;
    CPoint mouseWhere;
    long mouseButtons = 0;
};

}  // namespace VSTGUI

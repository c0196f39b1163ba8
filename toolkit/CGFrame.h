#pragma once
// The editor's frame: the host may take a click on a parameter's control before any view.

#include "CFrame.h"
#include "CGViewContainer.h"

namespace VSTGUI {

class iVSTFrameCallbackInterface {
public:
    virtual ~iVSTFrameCallbackInterface() = default;
    // The tag of the control under a frame point, or -1 in `tag`.
    virtual void getTagUnderPoint(CCoord x, CCoord y, long& tag) = 0;
    // True when the click is taken.
    virtual bool onClickTag(long flags, long tag) = 0;
};

class CGFrame : public CFrame, public iCGinterface {
public:
    CGFrame(const CRect& size, VSTGUIEditorInterface* editor, iVSTFrameCallbackInterface* callback = nullptr);

    void setCallback(iVSTFrameCallbackInterface* cb) { callback = cb; }
    iVSTFrameCallbackInterface* getCallback() const { return callback; }
    CView* getView() override { return this; }

    CMouseEventResult onMouseDown(CPoint& where, const long& buttons) override;
    // To the modal view if any, else to the view under the point.
    bool onWheel(const CPoint& where, const CMouseWheelAxis& axis, const float& distance, const long& buttons) override;
    using CFrame::onWheel;

protected:
    iVSTFrameCallbackInterface* callback;
};

}  // namespace VSTGUI

#pragma once
// Marks for controls: a learn frame and a selection frame, each with its own colour; and the
// two tint flags some text controls carry.

#include "CDrawContext.h"

namespace VSTGUI {

class CHighlightControl {
public:
    virtual ~CHighlightControl() = default;
    virtual void setLearnFrame(bool on, const CColor& colour) {
        learnFrame = on;
        learnColour = colour;
    }
    virtual void setSelectFrame(bool on, const CColor& colour) {
        selectFrame = on;
        selectColour = colour;
    }
    virtual void drawHighlight(CDrawContext* context, const CRect& rect);

    bool hasLearnFrame() const { return learnFrame; }
    bool hasSelectFrame() const { return selectFrame; }

protected:
    bool learnFrame = false;
    bool selectFrame = false;
    CColor learnColour;
    CColor selectColour;
};

class nTintable {
public:
    virtual ~nTintable() = default;
    virtual bool getTint(int which) const { return which == 0 ? tint0 : tint1; }
    virtual void setTint(int which, bool on) { (which == 0 ? tint0 : tint1) = on; }

protected:
    bool tint0 = false;
    bool tint1 = false;
};

}  // namespace VSTGUI

#pragma once
// A view with a value, a range, a tag and a listener. Gestures go through the frame to the
// editor, so the host sees begin and end of every edit.

#include "CView.h"

namespace VSTGUI {

class CControl;

class CControlListener {
public:
    virtual ~CControlListener() = default;
    virtual void valueChanged(CControl* control) = 0;
    virtual void controlBeginEdit(CControl*) {}
    virtual void controlEndEdit(CControl*) {}
};

class CControl : public CView {
public:
    CControl(const CRect& size, CControlListener* listener = nullptr, long tag = 0, CBitmap* background = nullptr);

    virtual void setValue(float val) { value = val; }
    virtual float getValue() const { return value; }
    virtual void setMin(float val) { vmin = val; }
    virtual float getMin() const { return vmin; }
    virtual void setMax(float val) { vmax = val; }
    virtual float getMax() const { return vmax; }
    virtual void setDefaultValue(float val) { defaultValue = val; }
    virtual float getDefaultValue() const { return defaultValue; }
    virtual void setOldValue(float val) { oldValue = val; }
    virtual float getOldValue() const { return oldValue; }
    virtual void setTag(long val) { tag = val; }
    virtual long getTag() const { return tag; }
    virtual void setListener(CControlListener* l) { listener = l; }
    CControlListener* getListener() const { return listener; }
    virtual void setWheelInc(float val) { wheelInc = val; }
    virtual float getWheelInc() const { return wheelInc; }

    virtual void beginEdit();
    virtual void endEdit();
    bool isEditing() const { return editing > 0; }

    // Keeps the value within min and max.
    virtual void bounceValue();
    // Control-click resets to the default value; true when it did.
    virtual bool checkDefaultValue(long buttons);

    // Dirty while the value differs from the one last drawn.
    bool isDirty() const override;
    void setDirty(bool val = true) override;

    // Tells the listener.
    void valueChanged();

protected:
    // A drag's new value, kept within bounds; the listener hears of it and the control is
    // redrawn only when it really changed.
    void dragTo(float newValue);
    // One wheel notch as knobs and sliders take it, `fineFactor` times finer with Shift, as one
    // edit gesture.
    void wheelStep(float distance, long buttons, float fineFactor);
    // Draws the frame of a vertical strip of `frames` images that stands for the value.
    void drawValueFrame(CDrawContext* context, const CPoint& offset, long frames, CCoord heightOfOneImage);
public:

protected:
    CControlListener* listener;
    long tag;
    float value = 0;
    float oldValue = 1;
    float vmin = 0;
    float vmax = 1;
    float defaultValue = 0.5f;
    float wheelInc = 0.1f;
    int editing = 0;
};

}  // namespace VSTGUI

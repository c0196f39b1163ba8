#pragma once
// Views that carry a tag and a value without being controls, and the control that stands in
// for one of them in tag dispatch.

#include "CControl.h"

namespace VSTGUI {

class iControl {
public:
    virtual ~iControl() = default;
    virtual long getTag() const { return tag; }
    virtual float getValue() const { return value; }
    virtual void setValue(float v) { value = v; }
    virtual void setDirty(bool = true) {}
    virtual void setViewSize(CRect&, bool = true) {}
    virtual CRect& getViewSize(CRect& rect) const { return rect; }
    virtual void setBackground(CBitmap*) {}
    // The view's rectangle.
    virtual CRect getControlRect() const = 0;

protected:
    int32_t tag = -1;
    float value = 0;
};

// Not a child of any view: it forwards to the wrapped iControl.
class iControlWrapper : public CControl {
public:
    explicit iControlWrapper(iControl* wrapped);

    long getTag() const override { return wrapped->getTag(); }
    float getValue() const override { return wrapped->getValue(); }
    void setValue(float v) override { wrapped->setValue(v); }
    void setDirty(bool val = true) override;
    void setViewSize(CRect& rect, bool invalidate = true) override { wrapped->setViewSize(rect, invalidate); }
    CRect& getViewSize(CRect& rect) const override { return wrapped->getViewSize(rect); }
    void setBackground(CBitmap* bitmap) override { wrapped->setBackground(bitmap); }
    bool isDirty() const override { return false; }
    iControlWrapper* newCopy() const { return new iControlWrapper(wrapped); }
    iControl* getWrapped() const { return wrapped; }

protected:
    iControl* wrapped;
};

}  // namespace VSTGUI

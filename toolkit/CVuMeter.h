#pragma once
// A meter of LEDs: the "on" image up to the value, the "off" image above it. Falling values
// drop by at most the decrease step per update.

#include "CControl.h"

namespace VSTGUI {

class CVuMeter : public CControl {
public:
    enum { kHorizontal = 1 << 0, kVertical = 1 << 1 };
    CVuMeter(const CRect& size, CBitmap* onBitmap, CBitmap* offBitmap, long nbLed, long style = kVertical);
    ~CVuMeter() override;

    void setValue(float val) override;
    void setDecreaseStepValue(float v) { decreaseValue = v; }
    void draw(CDrawContext* context) override;
    // The number of LEDs lit for the current value.
    long litLeds() const;

protected:
    CBitmap* onBitmap;
    CBitmap* offBitmap;
    long nbLed;
    long style;
    float decreaseValue = 0.1f;
};

}  // namespace VSTGUI

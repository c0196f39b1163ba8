#pragma once
// The band's real-time filter: up to four direct-form-1 biquads in double precision,
// with every coefficient change spread linearly over 1000 samples.

#include "EQ.h"
#include "SectionPipeline.h"

constexpr int32_t kRampLength = 1000;

class DF1Cascade : public EQ {
public:
    DF1Cascade();

    void clearState() override;
    void setIdentity(bool immediate) override;
    void processDouble(double* buffer, int32_t count) override;
    void processFloat(float* buffer, int32_t count) override;
    int32_t getCoefficients(double* out) const override;
    double digitalMagnitude(double frequency) const override;
    void digitalResponse(double frequency, double* re, double* im) const override;
    void setCoefficients(const double* sections, int32_t count) override;

    // processDouble would return at once: a flat band with no ramp running.
    bool isSkipped() const { return flat && rampCount < 1; }
    // No ramp runs and there is something to run: the sections may join a vector pipeline.
    bool isSteady() const { return rampCount < 0 && sectionCount >= 1 && !flat; }
    // For a steady cascade: applies the block-start denormal guard and hands out its sections.
    int32_t steadyLanes(SectionLane* out);

    int32_t getSectionCount() const { return sectionCount; }
    int32_t getRampCount() const { return rampCount; }
    const DigitalSection& getCurrent(int i) const { return current[i]; }
    const DigitalSection& getTarget(int i) const { return target[i]; }
    // Direct access for tests of the denormal guard.
    double* stateOf(int section) { return state[section]; }

protected:
    double state[kMaxSections][4]; // x1, x2, y1, y2
    DigitalSection current[kMaxSections];
    // Written by the designer's thread, read by the audio block; the sections go through
    // atomic views in the .cpp.
    Relaxed<int32_t> sectionCount{1};
    Relaxed<int32_t> rampCount{0};
    DigitalSection target[kMaxSections];
    DigitalSection delta[kMaxSections];
};

#pragma once
// The concrete band: designs its analogue sections and turns them into digital ones.

#include "DF1Cascade.h"
#include "SectionMatch.h"

class MarlowenEQ : public DF1Cascade {
public:
    MarlowenEQ() = default;
    void design() override;
    const SectionMatcher& getMatcher() const { return matcher; }

    // Takes another channel's finished design of the same band instead of designing again.
    void shareDesign(const MarlowenEQ& first) {
        double coefficients[kMaxSections * 5];
        const int32_t count = first.getCoefficients(coefficients);
        sections = first.sections;
        dirty = 0;
        designPending = 0;
        setCoefficients(coefficients, count);
        setFlat(first.getFlat());
    }

private:
    SectionMatcher matcher{44100};
};

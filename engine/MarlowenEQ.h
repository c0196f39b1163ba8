#pragma once
// The concrete band: designs its analogue sections and turns them into digital ones.

#include "DF1Cascade.h"
#include "SectionMatch.h"

class MarlowenEQ : public DF1Cascade {
public:
    MarlowenEQ() = default;
    void design() override;
    const SectionMatcher& getMatcher() const { return matcher; }

private:
    SectionMatcher matcher{44100};
};

#pragma once
// Runs a chain of steady DF1 sections over a stereo pair with the two channels in SIMD lanes.
// Consecutive sections run a few samples apart, so that several recurrences are in flight at
// once instead of one: four sections in two AVX vectors where the processor has AVX, else
// pairs in SSE2. Every section computes exactly its own recurrence, in the same order of
// operations as the scalar loop, with no fused multiply-add: the output is bit-identical.

#include <cstdint>

#include "Sections.h"

struct SectionLane {
    const DigitalSection* coefficients;
    double* state; // x1, x2, y1, y2
};

constexpr int kMaxPipelineSections = 32 * kMaxSections;

void runStereoPipeline(const SectionLane* left, const SectionLane* right, int count, double* l,
                       double* r, int32_t samples);

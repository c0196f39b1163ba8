#pragma once
// Runs a chain of steady DF1 sections over a stereo pair with the two channels in SIMD lanes
// and each pair of consecutive sections one sample apart, so that four recurrences are in
// flight at once instead of one. Every section computes exactly its own recurrence, in the
// same order of operations as the scalar loop: the output is bit-identical.

#include <cstdint>

#include "Sections.h"

struct SectionLane {
    const DigitalSection* coefficients;
    double* state; // x1, x2, y1, y2
};

constexpr int kMaxPipelineSections = 32 * kMaxSections;

void runStereoPipeline(const SectionLane* left, const SectionLane* right, int count, double* l,
                       double* r, int32_t samples);

#pragma once
// Peak Q laws, the special peak designs and the shelf models, normalised to a band frequency of 1.

#include <cstdint>

#include "Sections.h"

// The Q a peak or band pass really uses, by subtype. A = 10^(gain/40), P = 10^(-shift*0.12/20).
// Some laws rewrite A, which is why it is passed by reference.
double peakQLaw(int32_t subtype, double& A, double q, double P);

// Types 3 (peak) and 7 (band pass). Returns the section count.
int peakSections(int32_t type, int32_t subtype, double gainDb, double q, double shift,
                 AnalogueSection* out);

// Types 2 (low shelf) and 5 (high shelf). frequency is the band frequency in Hz, which the
// circuit models need. Returns the section count.
int shelfSections(bool high, int32_t subtype, double gainDb, double q, double shift,
                  double frequency, AnalogueSection* out);

// Factors c0 x^4 + c1 x^3 + c2 x^2 + c3 x + c4 (c0 != 0) into
// c0 (x^2 + p1 x + q1)(x^2 + p2 x + q2).
void factorQuartic(const double c[5], double& p1, double& q1, double& p2, double& q2);

#pragma once
// Low-pass prototypes of the cut families, normalised to a corner of 1.

#include <cstdint>

#include "EQ.h"
#include "Sections.h"

// Fills up to four sections (second-order ones first, then the first-order one of an odd
// order) and returns the count. q is the user's Q, or the ripple in dB for the ripple families.
int cutFamilySections(int32_t subtype, int32_t order, double q, AnalogueSection* out);

// Pole pairs (re, im) and the real pole, if any, of the Bessel family in the -3.01 dB
// normalisation, in section order. Returns the number of pairs.
int besselPoles(int32_t order, double (*pairs)[2], double* realPole);

// The same poles derived from the Bessel polynomial, for every order 1 to 8.
int deriveBesselPoles(int32_t order, double (*pairs)[2], double* realPole);

#pragma once
// FIR impulses from the analogue response of a channel's bands: the full equaliser of the FIR
// modes, and the short minimum-phase correction that brings the IIR cascade onto the analogue
// curve. Runs on the thread that rebuilds the bank; the work buffers grow there.

#include <cstdint>
#include <vector>

#include "Fft.h"
#include "WindowShape.h"

class EQ;

// Reused between builds so a rebuild allocates only when a length grows.
struct FirWorkspace {
    std::vector<double> grid;   // complex bins of the padded grid
    std::vector<double> series; // magnitude, phase per bin
    std::vector<double> parallelSum;
    std::vector<double> cepstrum;
    FftTables gridTables;       // for padded grids
    FftTables cepstrumTables;
};

// The impulse of `length` taps for mode 2 to 6 of the bank, from `count` bands of one channel
// in band order, on a grid of length * pad points at `rate`. `ip`/`w` are FFT tables good for
// 2 * length doubles (the convolver's), used when pad is 1. Returns the peak phase in radians.
double buildImpulse(const EQ* const* bands, int32_t count, int32_t mode, double rate, int32_t length,
                    int32_t pad, WindowShape& window, int32_t* ip, double* w, FirWorkspace& work,
                    double* out);

// The minimum-phase correction of `length` taps: analogue over digital magnitude, limited to
// 100 (40 dB) and to 1 where both curves vanish.
void buildCorrection(const EQ* const* bands, int32_t count, double rate, int32_t length, WindowShape& window,
                     FirWorkspace& work, double* out);

// Turns bins 0 .. N/2 (complex, interleaved) in `buffer` into a real impulse of N / pad taps
// at its start: centred and fully windowed, or, with `zeroLatency`, rotated right by
// ceil(delay) samples and half-windowed from its start.
void shapeImpulse(double* buffer, int32_t N, int32_t pad, bool zeroLatency, double delay, WindowShape& window,
                  int32_t* ip, double* w);

// The minimum-phase impulse with the magnitude response of x[0 .. n), by the real cepstrum.
void minimumPhase(double* x, int32_t n, FirWorkspace& work);

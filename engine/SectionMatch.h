#pragma once
// Conversion of analogue sections to digital ones: closed forms that match the analogue
// magnitude at reference points and at Nyquist, and a quasi-Newton refinement.

#include <cstdint>

#include "Sections.h"

// Moves poles of 1 + a1 z^-1 + a2 z^-2 outside the unit circle to their reciprocals. The
// magnitude keeps its shape and is multiplied by the returned factor.
double reflectPolesInside(double& a1, double& a2);

// Bilinear transform of a section in rad/s, prewarped at fw Hz.
DigitalSection bilinearWarped(const AnalogueSection& s, double fw, double fs);

// First-order section with high-frequency gain hi, DC gain dc and corner f Hz.
DigitalSection matchFirstOrder(double fs, double f, double hi, double dc);
// Parametric bell of gain G dB at f Hz with the given Q, matched at Nyquist.
DigitalSection matchPeak(double fs, double gainDb, double f, double q);
DigitalSection matchLowPass(double fs, double f, double q);
DigitalSection matchHighPass(double fs, double f, double q);
// Any second-order section with all three numerator terms (mostly shelves); s is in rad/s
// with d2 = 1. When *inverted is set the result is the design of the reciprocal section.
DigitalSection matchGeneral(double fs, const AnalogueSection& s, bool* inverted);

// Least squares of a rows x cols system (both <= 4, row-major a) by SVD, dropping
// singular values below the largest / 1e6. Returns false when every direction was dropped.
bool solveLeastSquares(const double* a, int rows, int cols, const double* b, double* x);

constexpr int kMatchPoints = 128;

class SectionMatcher {
public:
    explicit SectionMatcher(double gridRate = 44100);

    // Grid point k in radians per sample of the grid's own rate.
    double gridPoint(int k) const { return t[k]; }
    double getGridRate() const { return gridRate; }

    // Refines `section` toward `targets` (kMatchPoints magnitudes at the grid points).
    // dcZeros (0, 1 or 2) zeros at z = 1 are kept where they are: the fit weighs linear
    // magnitude and would otherwise trade a high pass's DC block for a better fit elsewhere.
    // Returns whether the section was replaced.
    bool refine(DigitalSection& section, const double* targets, double limit, int iterations,
                double tolerance, int dcZeros = 0);

private:
    friend struct SectionMatcherTestAccess;

    void buildGrid();
    void resetHessian();
    // Error of the search point p against the targets with the best gain, returned in gain.
    // Poles of p outside the unit circle are reflected inside, in place.
    double errorAt(double* p, double& gain);
    // Gradient of the error at p with the gain held fixed.
    void gradientAt(const double* p, double gain, double* out);

    double x[4] = {0, 0, 0, 0}; // b1/b0, b2/b0, a1, a2
    double g = 1;
    double xPrev[4] = {0, 0, 0, 0};
    double hinv[4][4];
    double grad[4], gradPrev[4], step[4];
    double t[kMatchPoints], cos2t[kMatchPoints], cost[kMatchPoints], sin2t[kMatchPoints],
        sint[kMatchPoints];
    double target[kMatchPoints];
    double mag[kMatchPoints];
    double lnLow = 0, lnHigh = 0, lnSpan = 0, gridRate = 44100;
    double stepLimit = 0;
    int heldZeros = 0;

    // Keeps a direction in the subspace that leaves the zeros at z = 1 in place.
    void constrainDirection(double* v) const;
    void constrainPoint(double* p) const;
};

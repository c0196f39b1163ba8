#pragma once
// The window that shapes an FIR impulse: one of 16 kinds with an optional parameter, kept as
// a table of the last length asked for. Runs on the build thread; the table allocates.

#include <cstdint>
#include <vector>

enum WindowKind : int32_t {
    kWindowRectangular = 0,
    kWindowHann,
    kWindowHamming,
    kWindowTukey,
    kWindowCosine,
    kWindowLanczos,
    kWindowTriangular,
    kWindowGaussian,
    kWindowBartlettHann,
    kWindowBlackman,
    kWindowKaiser,
    kWindowNutall,
    kWindowBlackmanHarris,
    kWindowBlackmanNutall,
    kWindowFlatTop,
    kWindowRectParam,
    kWindowKindCount
};

class WindowShape {
public:
    // Labels of the kinds, in kind order; kWindowKindCount of them.
    static const char* const* labels();

    // The parameter of a kind from its control position v in 0 .. 1; 0 for kinds without one.
    static float mapParameter(int32_t kind, float v);

    // Modified Bessel function I0, Abramowitz and Stegun 9.8.1 and 9.8.2.
    static double besselI0(double x);

    // Both reset the table, which is rebuilt at its next use.
    void setKind(int32_t k);
    void setParameter(float p); // already mapped

    int32_t getKind() const { return kind; }
    float getParameter() const { return parameter; }

    // The window of `length` points; rebuilt when the length or a setting changed.
    const double* tableFor(int32_t length);

    // buffer[i] *= window of L points at i, for i < L.
    void applyFull(double* buffer, int32_t L);
    // buffer[i] *= window of 2L points at L + i, for i < L: peak at 0, decaying to the end.
    void applyHalf(double* buffer, int32_t L);

private:
    void build(int32_t length);

    int32_t kind = kWindowKaiser;
    float parameter = 12;
    std::vector<double> table;
    int32_t tableLength = 0;
};

#include "FirDesign.h"

#include <algorithm>
#include <cmath>
#include <complex>

#include "EQ.h"

namespace {

int32_t nextPowerOfTwo(int32_t n) {
    int32_t m = 1;
    while (m < n) m <<= 1;
    return m;
}

// H of a band at f. Where the denominator vanishes each part is 1 if the numerator's part is
// 0, else 0.
std::complex<double> complexResponse(const AnalogueSectionSet& set, double f) {
    std::complex<double> num = 1, den = 1;
    for (int32_t i = 0; i < set.count; ++i) {
        std::complex<double> n, d;
        evaluateSection(set.sections[i], f, n, d);
        num *= n;
        den *= d;
    }
    if (std::norm(den) == 0) return {num.real() == 0 ? 1.0 : 0.0, num.imag() == 0 ? 1.0 : 0.0};
    return num / den;
}

}  // namespace

void shapeImpulse(double* buffer, int32_t N, int32_t pad, bool zeroLatency, double delay, WindowShape& window,
                  int32_t* ip, double* w) {
    for (int32_t k = 1; k < N / 2; ++k) {
        buffer[2 * (N - k)] = buffer[2 * k];
        buffer[2 * (N - k) + 1] = -buffer[2 * k + 1];
    }
    buffer[N] = std::hypot(buffer[N], buffer[N + 1]);
    buffer[N + 1] = 0;
    buffer[1] = 0;
    cdft(2 * N, 1, buffer, ip, w);
    for (int32_t i = 0; i < N; ++i) buffer[i] = buffer[2 * i];

    const int32_t L = N / pad;
    if (zeroLatency) {
        // The samples that wrap round are the pre-ring the phase asks for.
        const int32_t shift = int32_t(std::ceil(delay)) % N;
        if (shift > 0) std::rotate(buffer, buffer + (N - shift), buffer + N);
        window.applyHalf(buffer, L);
    } else {
        std::rotate(buffer, buffer + N / 2, buffer + N);
        if (pad > 1) std::copy(buffer + (pad - 1) * L / 2, buffer + (pad - 1) * L / 2 + L, buffer);
        window.applyFull(buffer, L);
    }
}

void minimumPhase(double* x, int32_t n, FirWorkspace& work) {
    const int32_t M = nextPowerOfTwo(n);
    const int32_t points = 2 * M;
    work.cepstrum.assign(size_t(2 * points), 0.0);
    work.cepstrumTables.reserve(2 * points);
    double* c = work.cepstrum.data();
    int32_t* ip = work.cepstrumTables.ip.data();
    double* w = work.cepstrumTables.w.data();
    for (int32_t i = 0; i < n; ++i) c[2 * i] = x[i];

    cdft(2 * points, -1, c, ip, w);
    const double floor = std::exp(-100.0);
    for (int32_t i = 0; i < points; ++i) {
        c[2 * i] = std::log(std::max(std::hypot(c[2 * i], c[2 * i + 1]), floor));
        c[2 * i + 1] = 0;
    }
    cdft(2 * points, 1, c, ip, w);
    // Fold the cepstrum onto its causal half.
    const double scale = 1.0 / points;
    c[0] *= scale;
    c[1] = 0;
    c[2 * M] *= scale;
    c[2 * M + 1] = 0;
    for (int32_t i = 1; i < M; ++i) {
        c[2 * i] *= 2 * scale;
        c[2 * i + 1] = 0;
    }
    std::fill(c + 2 * (M + 1), c + 2 * points, 0.0);
    cdft(2 * points, -1, c, ip, w);
    for (int32_t i = 0; i < points; ++i) {
        const double magnitude = std::exp(c[2 * i]), angle = c[2 * i + 1];
        c[2 * i] = magnitude * std::cos(angle);
        c[2 * i + 1] = magnitude * std::sin(angle);
    }
    cdft(2 * points, 1, c, ip, w);
    for (int32_t i = 0; i < n; ++i) x[i] = c[2 * i] * scale;
}

double buildImpulse(const EQ* const* bands, int32_t count, int32_t mode, double rate, int32_t length, int32_t pad,
                    WindowShape& window, int32_t* ip, double* w, FirWorkspace& work, double* out) {
    const int32_t N = length * pad;
    const int32_t bins = N / 2 + 1;
    work.series.assign(size_t(2 * bins), 0.0);
    double* series = work.series.data();  // magnitude, phase
    for (int32_t k = 0; k < bins; ++k) series[2 * k] = 1.0 / N;
    bool anyParallel = false;
    double phaseScale = (mode >= 2 && mode <= 4) ? 1 : 0;
    const double step = rate / N;

    AnalogueSectionSet set;
    for (int32_t b = 0; b < count; ++b) {
        const EQ* band = bands[b];
        // An off band is exactly 1 at every bin.
        if (band == nullptr || band->getOff() != 0) continue;
        band->analogueSections(&set, false);
        if (mode == 6) phaseScale = band->getPhase();
        if (band->getParallel()) {
            if (!anyParallel) {
                work.parallelSum.assign(size_t(2 * bins), 0.0);
                for (int32_t k = 0; k < bins; ++k) work.parallelSum[size_t(2 * k)] = 1;
                anyParallel = true;
            }
            for (int32_t k = 0; k < bins; ++k) {
                const std::complex<double> h = complexResponse(set, k * step);
                work.parallelSum[size_t(2 * k)] += h.real() - 1;
                work.parallelSum[size_t(2 * k + 1)] += h.imag();
            }
            continue;
        }
        for (int32_t k = 0; k < bins; ++k) {
            series[2 * k] *= sectionsMagnitude(set, k * step);
            // Linear and Free without band phase need no phase at all.
            if (phaseScale != 0) series[2 * k + 1] += phaseScale * sectionsPhase(set, k * step);
        }
    }

    double peakPhase = 0;
    work.grid.assign(size_t(2 * N), 0.0);
    double* grid = work.grid.data();
    for (int32_t k = 0; k < bins; ++k) {
        const double magnitude = series[2 * k], phase = series[2 * k + 1];
        peakPhase = std::max(peakPhase, std::fabs(phase));
        std::complex<double> v = std::polar(magnitude, phase);
        if (anyParallel) {
            std::complex<double> p(work.parallelSum[size_t(2 * k)], work.parallelSum[size_t(2 * k + 1)]);
            if (mode == 5) p = std::abs(p);  // a linear-phase sum keeps only its magnitude
            v *= p;
        }
        grid[2 * k] = v.real();
        grid[2 * k + 1] = v.imag();
    }

    int32_t* gridIp = ip;
    double* gridW = w;
    if (pad > 1) {
        work.gridTables.reserve(2 * N);
        gridIp = work.gridTables.ip.data();
        gridW = work.gridTables.w.data();
    }
    shapeImpulse(grid, N, pad, mode == 3, peakPhase / kPi, window, gridIp, gridW);
    if (mode == 2) minimumPhase(grid, length, work);
    std::copy(grid, grid + length, out);
    return peakPhase;
}

void buildCorrection(const EQ* const* bands, int32_t count, double rate, int32_t length, WindowShape& window,
                     FirWorkspace& work, double* out) {
    const int32_t N = length;
    bool anyParallel = false;
    for (int32_t b = 0; b < count; ++b)
        if (bands[b] != nullptr && bands[b]->getOff() == 0 && bands[b]->getParallel()) anyParallel = true;

    work.grid.assign(size_t(2 * N), 0.0);
    double* grid = work.grid.data();
    AnalogueSectionSet set;
    for (int32_t k = 0; k <= N / 2; ++k) {
        const double f = k * rate / N;
        double ana = 1, dig = 1;
        std::complex<double> anaSum = 1, digSum = 1;
        for (int32_t b = 0; b < count; ++b) {
            const EQ* band = bands[b];
            if (band == nullptr) continue;
            if (band->getParallel()) {
                band->analogueSections(&set, false);
                anaSum += complexResponse(set, f) - 1.0;
                double re = 0, im = 0;
                band->digitalResponse(f, &re, &im);
                digSum += std::complex<double>(re, im);
            } else {
                ana *= band->analogueMagnitude(f, false);
                dig *= band->digitalMagnitude(f);
            }
        }
        if (anyParallel) {
            ana *= std::abs(anaSum);
            dig *= std::abs(digSum);
        }
        const double ratio = std::min(std::max(ana, 1e-4) / std::max(dig, 1e-4), 100.0);
        grid[2 * k] = k == 0 ? 1 : ratio;
    }
    work.gridTables.reserve(2 * N);
    shapeImpulse(grid, N, 1, false, 0, window, work.gridTables.ip.data(), work.gridTables.w.data());
    minimumPhase(grid, N, work);
    for (int32_t i = 0; i < N; ++i) out[i] = grid[i] / N;
}

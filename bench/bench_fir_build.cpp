// Impulse build time per length: 8 bands (peaks, shelves, a cut) on one channel in "Linear"
// mode, against the one inverse FFT of the same grid that any build needs, measured in the
// same run. Also the 262144-tap impulse on an x8 grid.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

#include "EQBank.h"
#include "FirDesign.h"
#include "MedianTime.h"

int main() {
    EQBank bank(1024, 64, 8, 1);
    bank.setSampleRate(48000);
    const struct {
        int32_t type;
        float hz, gain, q;
    } bands[8] = {{kEQHighPass, 30, 0, 0.707f}, {kEQLowShelf, 120, 3, 0.7f}, {kEQPeak, 300, -2, 1.2f},
                  {kEQPeak, 900, 1.5f, 2}, {kEQPeak, 2500, 3, 1}, {kEQPeak, 5000, -2, 3},
                  {kEQHighShelf, 10000, 2, 0.7f}, {kEQPeak, 15000, 1, 1}};
    for (int32_t b = 0; b < 8; ++b) {
        bank.setType(bands[b].type, b, 1);
        bank.setFrequency(bands[b].hz, b, 1);
        bank.setGain(bands[b].gain, b, 1);
        bank.setQ(bands[b].q, b, 1);
        bank.setOff(0, b, 1);
    }
    bank.setMode(kModeIIR);
    std::vector<const EQ*> list;
    for (int32_t b = 0; b < 8; ++b) list.push_back(bank.getEQ(b, 0));

    std::printf("Impulse build, 8 bands, 48 kHz, \"Linear\" (median)\n");
    std::printf("%8s %4s %12s %16s %8s\n", "taps", "pad", "build ms", "inverse FFT ms", "ratio");
    const auto row = [&](int32_t length, int32_t pad, int runs) {
        const int32_t points = length * pad;
        FftTables tables;
        tables.reserve(2 * points);
        FirWorkspace work;
        WindowShape window;
        std::vector<double> out(static_cast<size_t>(length));
        const double build = medianMs(runs, [&] {
            buildImpulse(list.data(), 8, kModeLinear, 48000, length, pad, window, tables.ip.data(), tables.w.data(),
                         work, out.data());
        });
        std::vector<double> grid(size_t(2 * points), 1.0);
        const double fft = medianMs(runs, [&] { cdft(2 * points, 1, grid.data(), tables.ip.data(), tables.w.data()); });
        std::printf("%8d %4d %12.2f %16.2f %8.1f%s\n", length, pad, build, fft, build / fft,
                    length == 8192 && pad == 1 ? "   target <= 5 ms" : "");
    };
    for (int32_t length = 1024; length <= 262144; length *= 2) row(length, 1, length <= 16384 ? 21 : 5);
    row(262144, 8, 3);
    return 0;
}

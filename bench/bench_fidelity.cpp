// Fidelity of the matched digital design against the analogue prototype, beside the plain
// bilinear transform prewarped at the band frequency, computed in the same program.

#include <cmath>
#include <complex>
#include <cstdio>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "MarlowenEQ.h"

namespace {

struct Case {
    std::string name;
    int32_t type, subtype, order;
    float frequency, gain, q;
};

std::vector<Case> cases() {
    std::vector<Case> list;
    char text[96];
    for (float gain : {12.f, -12.f})
        for (float q : {0.5f, 1.f, 4.f})
            for (float f : {1000.f, 5000.f, 10000.f, 16000.f}) {
                std::snprintf(text, sizeof text, "peak %+.0f dB Q %.1f %.0f Hz", gain, q, f);
                list.push_back({text, kEQPeak, kPeakOndelane, 2, f, gain, q});
            }
    for (int32_t type : {kEQLowShelf, kEQHighShelf})
        for (float gain : {12.f, -12.f})
            for (float f : {100.f, 1000.f, 10000.f}) {
                std::snprintf(text, sizeof text, "%s %+.0f dB %.0f Hz",
                              type == kEQLowShelf ? "low shelf" : "high shelf", gain, f);
                list.push_back({text, type, kShelfOndelane, 2, f, gain, 0.707f});
            }
    for (int32_t type : {kEQHighPass, kEQLowPass})
        for (int32_t order : {2, 4, 8})
            for (float f : {50.f, 1000.f, 15000.f}) {
                std::snprintf(text, sizeof text, "%s Butterworth %d %.0f Hz",
                              type == kEQHighPass ? "high pass" : "low pass", order, f);
                list.push_back({text, type, kCutButterworth, order, f, 0, 0.707f});
            }
    for (float f : {1000.f, 10000.f}) {
        std::snprintf(text, sizeof text, "notch Q 2 %.0f Hz", f);
        list.push_back({text, kEQNotch, 0, 2, f, 0, 2});
    }
    return list;
}

double toDb(double m) { return 20 * std::log10(std::max(m, 1e-30)); }

// Largest |digital/analogue| in dB over 20 Hz to 20 kHz, capped at 0.99 Nyquist; a notch is
// measured outside a quarter octave round its centre, where both are near zero.
double maxError(const EQ& band, const std::vector<DigitalSection>& digital, double fs,
                bool notch, double floorDb) {
    const int points = 2000;
    const double top = std::min(20000.0, 0.99 * fs / 2);
    double worst = 0;
    for (int i = 0; i < points; ++i) {
        const double f = 20 * std::pow(top / 20, double(i) / (points - 1));
        if (notch && std::fabs(std::log2(f / band.getFrequency())) < 0.125) continue;
        const std::complex<double> z1 = std::polar(1.0, -kTwoPi * f / fs);
        std::complex<double> h = 1;
        for (const DigitalSection& d : digital)
            h *= (d.b0 + d.b1 * z1 + d.b2 * z1 * z1) / (1.0 + d.a1 * z1 + d.a2 * z1 * z1);
        const double analogue = toDb(band.analogueMagnitude(f, false));
        if (analogue < floorDb) continue;
        worst = std::max(worst, std::fabs(toDb(std::abs(h)) - analogue));
    }
    return worst;
}

} // namespace

void table(double floorDb) {
    const double rates[] = {44100, 48000, 96000};
    if (floorDb < -1000)
        std::printf("Max |digital / analogue| error in dB over 20 Hz - 20 kHz (2000 log points)\n");
    else
        std::printf("\nThe same where the analogue curve is above %.0f dB (the audible range of a "
                    "cut filter)\n", floorDb);
    std::printf("%-36s", "band");
    for (double fs : rates) std::printf(" %9.0f %9s", fs, "bilinear");
    std::printf("\n");
    int flagged = 0, lost = 0;
    for (const Case& c : cases()) {
        std::printf("%-36s", c.name.c_str());
        std::string notes;
        for (double fs : rates) {
            MarlowenEQ band;
            band.setSampleRate(float(fs));
            band.setType(c.type);
            band.setSubtype(c.subtype);
            band.setOrder(c.order);
            band.setFrequency(c.frequency);
            band.setGain(c.gain);
            band.setQ(c.q);
            band.setShift(0);
            band.setOff(0);
            band.design();
            double coefficients[20];
            const int count = band.getCoefficients(coefficients);
            std::vector<DigitalSection> matched(static_cast<size_t>(count));
            for (int i = 0; i < count; ++i)
                matched[size_t(i)] = {coefficients[5 * i], coefficients[5 * i + 1],
                                      coefficients[5 * i + 2], coefficients[5 * i + 3],
                                      coefficients[5 * i + 4]};
            DigitalSection cookbook[kMaxSections];
            const int bilinearCount =
                bilinearBand(band, std::min<double>(c.frequency, 0.45 * fs), fs, cookbook);
            const std::vector<DigitalSection> bilinear(cookbook, cookbook + bilinearCount);
            const bool notch = c.type == kEQNotch;
            const double m = maxError(band, matched, fs, notch, floorDb);
            const double b = maxError(band, bilinear, fs, notch, floorDb);
            std::printf(" %9.3f %9.3f", m, b);
            if (m > 0.5) {
                ++flagged;
                notes += " [>0.5 dB at " + std::to_string(int(fs)) + "]";
            }
            if (c.frequency > 2000 && m >= b) {
                ++lost;
                notes += " [not better than bilinear at " + std::to_string(int(fs)) + "]";
            }
        }
        std::printf("%s\n", notes.c_str());
    }
    std::printf("\ncases above 0.5 dB: %d; cases above 2 kHz where bilinear is as good: %d\n",
                flagged, lost);
}

int main() {
    table(-INFINITY);
    table(-60);
    return 0;
}

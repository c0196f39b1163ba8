// Designs one band from the command line and prints its analogue and digital magnitude
// side by side, with the error of the digital design, at log-spaced frequencies.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>

#include "MarlowenEQ.h"

namespace {

struct TypeName {
    const char* name;
    int32_t type;
};
const TypeName kTypes[] = {
    {"peak", kEQPeak},         {"highpass", kEQHighPass}, {"hpf", kEQHighPass},
    {"lowpass", kEQLowPass},   {"lpf", kEQLowPass},       {"lowshelf", kEQLowShelf},
    {"highshelf", kEQHighShelf}, {"notch", kEQNotch},     {"bandpass", kEQBandPass},
    {"allpass", kEQAllPass},   {"none", kEQNone},
};

void usage() {
    std::puts(
        "usage: tessarine-design [options]\n"
        "  --type T       peak, highpass, lowpass, lowshelf, highshelf, notch, bandpass, allpass\n"
        "  --subtype S    family or model by name (e.g. Ondelane, Butterworth, \"Pultec Boost\")\n"
        "                 or by number; --subtype list shows the names for the type\n"
        "  --freq HZ      band frequency (default 1000)\n"
        "  --gain DB      gain in dB (default 0)\n"
        "  --q Q          Q, or ripple in dB for Chebyshev and Elliptic (default 0.707)\n"
        "  --shift PCT    shift in percent, -100 to 100 (default 0)\n"
        "  --order N      order of a cut filter, 1 to 8 (default 2)\n"
        "  --rate HZ      sample rate (default 48000)\n"
        "  --points N     number of frequencies printed (default 31)");
}

bool parseType(const char* text, int32_t* type) {
    for (const TypeName& t : kTypes)
        if (strcasecmp(text, t.name) == 0) {
            *type = t.type;
            return true;
        }
    return false;
}

bool parseSubtype(int32_t type, const char* text, int32_t* subtype) {
    int32_t count = 0;
    const char* const* labels = subtypeLabels(type, &count);
    for (int32_t i = 0; i < count; ++i)
        if (strcasecmp(text, labels[i]) == 0) {
            *subtype = i;
            return true;
        }
    char* end = nullptr;
    const long v = std::strtol(text, &end, 10);
    if (end == text || *end) return false;
    *subtype = int32_t(v);
    return true;
}

double toDb(double m) { return m > 0 ? 20 * std::log10(m) : -INFINITY; }

} // namespace

int main(int argc, char** argv) {
    int32_t type = kEQPeak, subtype = 0, order = 2, points = 31;
    double freq = 1000, gain = 0, q = 0.707, shift = 0, rate = 48000;
    const char* subtypeText = nullptr;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "-h" || arg == "--help") {
            usage();
            return 0;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "missing value for %s\n", arg.c_str());
            return 2;
        }
        const char* value = argv[++i];
        if (arg == "--type") {
            if (!parseType(value, &type)) {
                std::fprintf(stderr, "unknown type '%s'\n", value);
                return 2;
            }
        } else if (arg == "--subtype") {
            subtypeText = value;
        } else if (arg == "--freq") {
            freq = std::atof(value);
        } else if (arg == "--gain") {
            gain = std::atof(value);
        } else if (arg == "--q") {
            q = std::atof(value);
        } else if (arg == "--shift") {
            shift = std::atof(value);
        } else if (arg == "--order") {
            order = std::atoi(value);
        } else if (arg == "--rate") {
            rate = std::atof(value);
        } else if (arg == "--points") {
            points = std::atoi(value);
        } else {
            std::fprintf(stderr, "unknown option %s\n", arg.c_str());
            usage();
            return 2;
        }
    }
    int32_t labelCount = 0;
    const char* const* labels = subtypeLabels(type, &labelCount);
    if (subtypeText && std::strcmp(subtypeText, "list") == 0) {
        for (int32_t i = 0; i < labelCount; ++i) std::printf("%d %s\n", i, labels[i]);
        return 0;
    }
    if (subtypeText && !parseSubtype(type, subtypeText, &subtype)) {
        std::fprintf(stderr, "unknown subtype '%s' (try --subtype list)\n", subtypeText);
        return 2;
    }
    if (!(rate >= 8000 && rate <= 768000) || !(freq > 0) || !(q > 0) || order < 1 || order > 8 ||
        points < 2 || points > 10000) {
        std::fprintf(stderr, "out of range: rate 8000-768000, freq > 0, q > 0, order 1-8\n");
        return 2;
    }

    MarlowenEQ band;
    band.setSampleRate(float(rate));
    band.setType(type);
    band.setSubtype(subtype);
    band.setFrequency(float(std::fmin(std::fmax(freq, 10.0), 22000.0)));
    band.setGain(float(gain));
    band.setQ(float(q));
    band.setShift(float(shift));
    band.setOrder(order);
    band.setOff(0);
    band.design();

    double coefficients[kMaxSections * 5];
    const int32_t sections = band.getCoefficients(coefficients);
    const char* typeName = "none";
    for (const TypeName& t : kTypes)
        if (t.type == type) {
            typeName = t.name;
            break;
        }
    const char* subtypeName = subtype >= 0 && subtype < labelCount ? labels[subtype] : "";
    std::printf("%s %s at %.1f Hz, gain %.2f dB, Q %.3f, order %d, %.0f Hz sample rate\n",
                typeName, subtypeName, band.getFrequency(), gain, q, order, rate);
    std::printf("%d digital section%s%s\n\n", sections, sections == 1 ? "" : "s",
                band.getFlat() ? " (flat)" : "");
    std::printf("%12s %12s %12s %10s\n", "Hz", "analogue dB", "digital dB", "error dB");
    const double low = 20, high = 0.99 * rate / 2;
    double worst = 0;
    for (int32_t i = 0; i < points; ++i) {
        const double f = low * std::pow(high / low, double(i) / (points - 1));
        const double a = band.analogueMagnitude(f, false);
        const double d = band.digitalMagnitude(f);
        const double error = toDb(d) - toDb(a);
        if (std::isfinite(error)) worst = std::fmax(worst, std::fabs(error));
        std::printf("%12.1f %12.3f %12.3f %10.4f\n", f, toDb(a), toDb(d), error);
    }
    std::printf("\nlargest error: %.4f dB\n", worst);
    return 0;
}

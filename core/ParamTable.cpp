#include "ParamTable.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

struct Seed {
    const char* name; // global name, or the field after "Channel N " / "BandN "
    const char* label;
    float value, min, max;
    int32_t curve;
};

constexpr Seed kGlobalSeeds[kChannelFirst] = {
    {"Bypass", "On/Off", 0, 0, 1, kCurveSwitch},
    {"Gain", "dB", 0, -36, 36, kCurveLinear},
    {"Scale", "dB", 18, -36, 36, kCurveLinear},
    {"Shift", "%", 100, 50, 200, kCurveLog},
    {"Mode", "IIR/FIR", 0, 0, 1, kCurveInt},
    {"Parallel", "Off,Peaks,Shelves", 0, 0, 2, kCurveInt},
    {"A/B", "", 0, 0, 7, kCurveInt},
    {"IRLength", "Samples", 3, 0, 8, kCurveInt},
    {"IRWindow", "", 10, 0, 15, kCurveInt},
    {"IRWindowParam", "", 0.5f, 0, 1, kCurveLinear},
    {"IRPhase", "", 4, 0, 7, kCurveInt},
    {"IRPad", "", 0, 0, 3, kCurveInt},
    {"D+Len", "Samples", 0, 0, 6, kCurveInt},
    {"MS State", "", 8, 0, 15, kCurveInt},
};

constexpr Seed kChannelSeeds[kChannelStride] = {
    {"Level", "Level", 1, 0, 8, kCurveCube},
    {"Phase", "Norm/Inv", 0, 0, 1, kCurveSwitch},
    {"Mute", "Off/On", 0, 0, 1, kCurveSwitch},
    {"Solo", "Off/On", 0, 0, 1, kCurveSwitch},
};

constexpr Seed kBandSeeds[kBandStride] = {
    {"State", "Off/Byp/On", 0, 0, 2, kCurveInt},
    {"Groups", "", 255, 0, 255, kCurveInt},
    {"Type", "Peak/HPF/LSh/HSh/LPF/Notch", 1, 1, 6, kCurveInt},
    {"Subtype", "", 1, 1, 32, kCurveInt},
    {"Gain", "dB", 0, -1, 1, kCurveLinear},
    {"Frequency", "Hz", 80, 10, 22000, kCurveLog},
    {"Q", "Q", 0.707f, 0.1f, 50, kCurveLog},
    {"Shift", "%", 0, -100, 100, kCurveLinear},
    {"Slope", "dB", 18, 6, 48, kCurveSixes},
    {"Phase", "%", 0, -100, 100, kCurveLinear},
};

void fillRecord(ParamInfo& p, const Seed& s) {
    std::snprintf(p.label, sizeof p.label, "%s", s.label);
    p.value = s.value;
    p.min = s.min;
    p.max = s.max;
    p.curve = s.curve;
    p.normal = curveNormal(s.curve, s.value, s.min, s.max);
}

std::array<ParamInfo, kNumParams> buildDefaults() {
    std::array<ParamInfo, kNumParams> table{};
    for (int32_t i = 0; i < kChannelFirst; ++i) {
        std::snprintf(table[i].name, sizeof table[i].name, "%s", kGlobalSeeds[i].name);
        fillRecord(table[i], kGlobalSeeds[i]);
    }
    for (int32_t c = 0; c < kNumChannels; ++c) {
        for (int32_t f = 0; f < kChannelStride; ++f) {
            ParamInfo& p = table[channelParam(c, f)];
            std::snprintf(p.name, sizeof p.name, "Channel %d %s", c + 1, kChannelSeeds[f].name);
            fillRecord(p, kChannelSeeds[f]);
        }
    }
    for (int32_t b = 0; b < kNumBands; ++b) {
        for (int32_t k = 0; k < kBandStride; ++k) {
            ParamInfo& p = table[bandParam(b, k)];
            std::snprintf(p.name, sizeof p.name, "Band%d %s", b + 1, kBandSeeds[k].name);
            fillRecord(p, kBandSeeds[k]);
        }
    }
    return table;
}

bool inTable(int32_t index) { return index >= 0 && index < kNumParams; }

// Clamp that sends NaN to the low end, so no caller ever sees NaN from a curve.
double clampTo(double x, double lo, double hi) {
    if (!(x >= lo)) return lo;
    if (!(x <= hi)) return hi;
    return x;
}

double curveValueD(int32_t curve, double n, double min, double max) {
    n = clampTo(n, 0.0, 1.0);
    const double r = max - min;
    double v;
    switch (curve) {
    case kCurveLinear: v = min + r * n; break;
    case kCurveLog:
        if (min <= 0.0 || max <= 0.0) return min;
        v = min * std::exp(std::log(max / min) * n);
        break;
    case kCurveSquare: v = min + r * n * n; break;
    case kCurveCube: v = min + r * n * n * n; break;
    // Integer curves cut 0..1 into R + 1 equal slices, one per integer; 1e-5 absorbs float error
    // in normals that were computed as the lower edge of a slice.
    case kCurveInt: v = std::floor((r + 1.0) * n + min + 1e-5); break;
    case kCurveSixes: {
        const double x = std::floor((r + 1.0) * n + min + 0.5);
        v = x - std::fmod(x, 6.0);
        break;
    }
    // Floor of R n: only a normal of exactly 1.0 switches on.
    case kCurveSwitch: v = std::floor(r * n + min); break;
    case kCurveTwelves: {
        const double x = std::floor((r + 1.0) * n + min);
        v = x - std::fmod(x, 12.0);
        break;
    }
    case kCurveCentre: {
        const double y = 2.0 * n - 1.0;
        v = min + r * (0.5 * y * y * y + 0.5);
        break;
    }
    case kCurveOctaves:
        if (min <= 0.0 || max <= 0.0) return min;
        v = std::floor(min * std::exp2(std::floor(std::log(max / min) * n / std::log(2.0))));
        break;
    default: return min;
    }
    return clampTo(v, min, max);
}

double curveNormalD(int32_t curve, double v, double min, double max) {
    v = clampTo(v, min, max);
    const double r = max - min;
    double n;
    switch (curve) {
    case kCurveLinear:
    case kCurveSwitch: n = r != 0.0 ? (v - min) / r : 0.0; break;
    case kCurveLog:
        if (min <= 0.0 || max <= min) return 0.0;
        n = std::log(v / min) / std::log(max / min);
        break;
    case kCurveSquare: n = r != 0.0 ? std::sqrt((v - min) / r) : 0.0; break;
    case kCurveCube: n = r != 0.0 ? std::cbrt((v - min) / r) : 0.0; break;
    case kCurveInt:
    case kCurveSixes:
    case kCurveTwelves: n = (v - min) / (r + 1.0); break;
    case kCurveCentre: {
        if (r == 0.0) return 0.0;
        const double y = 2.0 * (v - min) / r - 1.0;
        n = 0.5 * std::cbrt(y) + 0.5; // cbrt keeps the sign
        break;
    }
    // Not the exact inverse of the forward curve; kept in the form the format has always had.
    case kCurveOctaves:
        if (min <= 0.0 || max <= min) return 0.0;
        n = std::floor(std::log(v / min)) / std::log(max / min);
        break;
    default: return 0.0;
    }
    return clampTo(n, 0.0, 1.0);
}

// The factor that a band's Frequency display carries.
double frequencyFactor(const DisplayContext& ctx) { return ctx.fShift * 0.01 * ctx.pitchFactor; }

bool labelIs(const ParamInfo& p, const char* s) { return std::strcmp(p.label, s) == 0; }

} // namespace

const std::array<ParamInfo, kNumParams>& defaultParamInfo() {
    static const std::array<ParamInfo, kNumParams> table = buildDefaults();
    return table;
}

int32_t paramKind(int32_t index) {
    if (index < kBandFirst || index >= kNumParams) return -1;
    return (index - kBandFirst) % kBandStride;
}

int32_t paramBand(int32_t index) {
    if (index < kBandFirst || index >= kNumParams) return -1;
    return (index - kBandFirst) / kBandStride;
}

bool paramIsChannelLevel(int32_t index) {
    return index >= kChannelFirst && index < kBandFirst &&
           (index - kChannelFirst) % kChannelStride == kChannelFieldLevel;
}

bool paramIsDsp(int32_t index) {
    switch (index) {
    case kMode: case kIRLength: case kIRWindow: case kIRWindowParam:
    case kIRPhase: case kIRPad: case kDPlusLen:
        return true;
    default:
        return false;
    }
}

float curveValue(int32_t curve, float normal, float min, float max) {
    return static_cast<float>(curveValueD(curve, normal, min, max));
}

float curveNormal(int32_t curve, float value, float min, float max) {
    return static_cast<float>(curveNormalD(curve, value, min, max));
}

float paramCurveValue(int32_t index, float normal) {
    if (!inTable(index)) return 0.0f;
    const ParamInfo& p = defaultParamInfo()[index];
    return curveValue(p.curve, normal, p.min, p.max);
}

float paramCurveNormal(int32_t index, float value) {
    if (!inTable(index)) return 0.0f;
    const ParamInfo& p = defaultParamInfo()[index];
    return curveNormal(p.curve, value, p.min, p.max);
}

int32_t paramStepCount(int32_t index) {
    if (!inTable(index)) return 0;
    const ParamInfo& p = defaultParamInfo()[index];
    if (p.curve < kCurveInt) return 0;
    if (p.curve == kCurveSwitch) return 1;
    int32_t s = static_cast<int32_t>(p.max - p.min);
    if (p.curve == kCurveTwelves) s /= 12;
    else if (p.curve == kCurveSixes) s /= 6;
    return s + 1;
}

int32_t paramStepSize(int32_t index) {
    if (!inTable(index)) return 1;
    switch (defaultParamInfo()[index].curve) {
    case kCurveSixes: return 6;
    case kCurveTwelves: return 12;
    default: return 1;
    }
}

bool paramIsSwitch(int32_t index) {
    return inTable(index) && defaultParamInfo()[index].curve == kCurveSwitch;
}

float displayValue(int32_t index, float normal, const DisplayContext& ctx) {
    if (!inTable(index)) return 0.0f;
    double v = paramCurveValue(index, normal);
    switch (paramKind(index)) {
    case kKindGain: v *= ctx.scale; break;
    case kKindFrequency: v *= frequencyFactor(ctx); break;
    case kKindQ:
        if (ctx.effectiveQ)
            v = ctx.effectiveQ(ctx.effectiveQUser, static_cast<float>(v), paramBand(index));
        break;
    default: break;
    }
    return static_cast<float>(v);
}

float normalFromDisplay(int32_t index, float number, const DisplayContext& ctx) {
    if (!inTable(index)) return 0.0f;
    double v = number;
    switch (paramKind(index)) {
    case kKindGain: v = ctx.scale != 0.0f ? v / ctx.scale : 0.0; break;
    case kKindFrequency: {
        const double f = frequencyFactor(ctx);
        v = f != 0.0 ? v / f : 0.0;
        break;
    }
    default: break;
    }
    const ParamInfo& p = defaultParamInfo()[index];
    return static_cast<float>(curveNormalD(p.curve, v, p.min, p.max));
}

void noteText(double hz, char* text, size_t size) {
    static const char* const kNames[12] = {"C", "C#", "D", "D#", "E", "F",
                                           "F#", "G", "G#", "A", "A#", "B"};
    if (!text || size == 0) return;
    if (!(hz > 0.0) || !std::isfinite(hz)) {
        std::snprintf(text, size, "-");
        return;
    }
    const double x = std::log(hz / 440.0) / std::log(2.0);
    const double o = std::floor(x + 0.5);
    const double y = 12.0 * (x - o);
    const double s = std::floor(y + 0.5);
    const int cents = static_cast<int>(std::floor(100.0 * (y - s) + 0.5));
    const int octave = static_cast<int>(o) + (s > 2.0 ? 5 : 4);
    const int semitone = (static_cast<int>(s) + 21) % 12; // s lies in -6..6
    std::snprintf(text, size, "%s%d%+02d", kNames[semitone], octave, cents);
}

bool paramDisplayAt(int32_t index, float normal, char* text, size_t size, bool asNote,
                    const DisplayContext& ctx) {
    if (!inTable(index) || !text || size == 0) return false;
    const ParamInfo& p = defaultParamInfo()[index];
    const double v = displayValue(index, normal, ctx);
    const int iv = static_cast<int>(v);

    if (index == kIRLength) { std::snprintf(text, size, "%d", 1024 << iv); return true; }
    if (index == kDPlusLen) {
        if (v == 0.0) std::snprintf(text, size, "Off");
        else std::snprintf(text, size, "%d", 8 << iv);
        return true;
    }
    if (index == kIRPad) { std::snprintf(text, size, "%d", 1 << iv); return true; }
    if (paramIsChannelLevel(index)) {
        if (v < 1e-6) std::snprintf(text, size, "-");
        else std::snprintf(text, size, "%.1f", 20.0 * std::log10(v));
        return true;
    }

    const int32_t kind = paramKind(index);
    if (p.curve != kCurveSwitch && p.curve != kCurveInt && p.curve != kCurveSixes) {
        if (asNote && labelIs(p, "Hz")) {
            noteText(v, text, size);
        } else if (!ctx.simpleNumbers) {
            if (kind == kKindGain) std::snprintf(text, size, "%.2f %s", v, p.label);
            else if (kind == kKindFrequency) std::snprintf(text, size, "%.0f Hz", v);
            else if (labelIs(p, "Hz"))
                std::snprintf(text, size, std::fabs(v) > 1000.0 ? "%.0f Hz" : "%.1f Hz", v);
            else if (labelIs(p, "dB")) std::snprintf(text, size, "%.2f dB", v);
            else if (labelIs(p, "%")) std::snprintf(text, size, "%.0f %%", v);
            else std::snprintf(text, size, std::fabs(v) < 1000.0 ? "%.2f %s" : "%.0f %s", v, p.label);
        } else {
            if (kind == kKindGain) std::snprintf(text, size, "%.1f %s", v, p.label);
            else if (kind == kKindFrequency) {
                if (v > 1000.0) std::snprintf(text, size, "%.2f kHz", v * 0.001);
                else std::snprintf(text, size, "%.1f Hz", v);
            } else if (labelIs(p, "Hz")) {
                if (v > 1000.0) std::snprintf(text, size, "%.1f kHz", v * 0.001);
                else std::snprintf(text, size, "%.0f Hz", v);
            } else if (labelIs(p, "dB")) std::snprintf(text, size, "%.1f dB", v);
            else if (labelIs(p, "%")) std::snprintf(text, size, "%.0f %%", v);
            else std::snprintf(text, size, v < 1000.0 ? "%.2f %s" : "%.0f %s", v, p.label);
        }
        return true;
    }

    // Stepped parameters: the host sees the number and the raw label.
    if (p.curve == kCurveSwitch) std::snprintf(text, size, "%s", v < 0.5 ? "Off" : "On");
    else std::snprintf(text, size, "%d %s", iv, p.label);
    return true;
}

bool noteFrequency(const char* text, double* hz) {
    if (!text || !hz) return false;
    // Semitones from A of a..g; c..g belong to the octave that starts below A.
    static const int kOffsets[7] = {0, 2, 3, 5, 7, 8, 10};
    const char* s = text;
    while (*s && !(std::tolower(static_cast<unsigned char>(*s)) >= 'a' &&
                   std::tolower(static_cast<unsigned char>(*s)) <= 'g'))
        ++s;
    if (!*s) return false;
    const int letter = std::tolower(static_cast<unsigned char>(*s)) - 'a';
    ++s;
    int semitone = kOffsets[letter];
    if (*s == '#') { ++semitone; ++s; }
    bool negative = false;
    if (*s == '-') { negative = true; ++s; }
    int octave = 0;
    while (std::isdigit(static_cast<unsigned char>(*s)) && octave < 100) octave = octave * 10 + (*s++ - '0');
    if (negative) octave = -octave;
    if (letter >= 2) --octave;
    int cents = 0;
    if (*s == '-' || *s == '+') {
        const bool down = *s == '-';
        ++s;
        while (std::isdigit(static_cast<unsigned char>(*s)) && cents < 100000) cents = cents * 10 + (*s++ - '0');
        if (down) cents = -cents;
    }
    *hz = 440.0 * std::exp2(semitone / 12.0 + cents / 1200.0 + octave - 4);
    return true;
}

float normalFromText(int32_t index, const char* text, bool asNote, const DisplayContext& ctx) {
    if (!inTable(index)) return 0.0f;
    const float fallback = defaultParamInfo()[index].normal;
    if (!text) return fallback;

    if (paramIsChannelLevel(index)) {
        const double dB = std::atof(text);
        if (dB != 0.0 && !std::isnormal(dB)) return 0.0f; // inf, NaN: silence
        return normalFromDisplay(index, static_cast<float>(std::pow(10.0, dB * 0.05)), ctx);
    }
    if (asNote) {
        double hz = 0.0;
        if (!noteFrequency(text, &hz)) return fallback;
        return normalFromDisplay(index, static_cast<float>(hz), ctx);
    }
    char copy[32];
    std::snprintf(copy, sizeof copy, "%s", text);
    double factor = 1.0;
    if (char* k = std::strchr(copy, 'k')) {
        *k = '.';
        factor = 1000.0;
    }
    const double number = std::atof(copy) * factor;
    if (number == 0.0 && !std::strchr(copy, '0')) return fallback;
    return normalFromDisplay(index, static_cast<float>(number), ctx);
}

ProgramSlot::ProgramSlot() {
    std::snprintf(name, sizeof name, "-");
    const auto& defaults = defaultParamInfo();
    for (int32_t i = 0; i < kNumParams; ++i) values[i] = defaults[i].normal;
}

void ProgramSlot::setName(const char* text) {
    if (!text) return;
    std::snprintf(name, sizeof name, "%s", text);
}

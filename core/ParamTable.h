#pragma once
// The flat table of the effect's 366 automatable parameters: their enumerators, default records,
// the curves between the host's 0..1 normal and the stored value, step counts and the texts a
// host shows. Everything here is free of the effect object; what a text depends on beyond the
// table (scale, shift, pitch, number format) comes in through DisplayContext.

#include <array>
#include <cstddef>
#include <cstdint>

constexpr int32_t kNumPrograms = 20;
constexpr int32_t kNumABSlots = 8;
constexpr int32_t kNumBands = 32;
constexpr int32_t kBandStride = 10;
constexpr int32_t kBandFirst = 46;
constexpr int32_t kNumChannels = 8;
constexpr int32_t kChannelStride = 4;
constexpr int32_t kChannelFirst = 14;

// Position of a parameter inside its band block.
enum ParamKind : int32_t {
    kKindState = 0, kKindGroups, kKindType, kKindSubtype, kKindGain,
    kKindFrequency, kKindQ, kKindShift, kKindSlope, kKindPhase
};

// Position of a parameter inside its channel block.
enum ChannelField : int32_t {
    kChannelFieldLevel = 0, kChannelFieldPhase, kChannelFieldMute, kChannelFieldSolo
};

enum ParamCurve : int32_t {
    kCurveLinear = 0, kCurveLog, kCurveSquare, kCurveCube, kCurveInt,
    kCurveSixes, kCurveSwitch, kCurveTwelves, kCurveCentre, kCurveOctaves
};

// The parameter enumerators are generated from these lists so that the C++ enumeration and the
// tag text (TagTable.cpp) cannot drift apart. kBypass comes separately because the tag text
// restarts its counter there.
#define TESS_GLOBAL_PARAMS_AFTER_BYPASS(X)                                                        \
    X(kGain) X(kScale) X(kFShift) X(kMode) X(kParallel) X(kABBank) X(kIRLength) X(kIRWindow)      \
    X(kIRWindowParam) X(kIRPhase) X(kIRPad) X(kDPlusLen) X(kMsState)

#define TESS_CHANNEL_BLOCK(X, c)                                                                  \
    X(kChannel##c##Level) X(kChannel##c##Phase) X(kChannel##c##Mute) X(kChannel##c##Solo)

#define TESS_BAND_BLOCK(X, b)                                                                     \
    X(kBand##b##State) X(kBand##b##Groups) X(kBand##b##Type) X(kBand##b##Subtype)                 \
    X(kBand##b##Gain) X(kBand##b##Frequency) X(kBand##b##Q) X(kBand##b##Shift)                    \
    X(kBand##b##Slope) X(kBand##b##Phase)

#define TESS_FOR_1_TO_8(M, X) M(X, 1) M(X, 2) M(X, 3) M(X, 4) M(X, 5) M(X, 6) M(X, 7) M(X, 8)
#define TESS_FOR_1_TO_32(M, X)                                                                    \
    TESS_FOR_1_TO_8(M, X) M(X, 9) M(X, 10) M(X, 11) M(X, 12) M(X, 13) M(X, 14) M(X, 15) M(X, 16)  \
    M(X, 17) M(X, 18) M(X, 19) M(X, 20) M(X, 21) M(X, 22) M(X, 23) M(X, 24) M(X, 25) M(X, 26)     \
    M(X, 27) M(X, 28) M(X, 29) M(X, 30) M(X, 31) M(X, 32)

// Every parameter enumerator after kBypass, in index order.
#define TESS_PARAMS_AFTER_BYPASS(X)                                                               \
    TESS_GLOBAL_PARAMS_AFTER_BYPASS(X)                                                            \
    TESS_FOR_1_TO_8(TESS_CHANNEL_BLOCK, X)                                                        \
    TESS_FOR_1_TO_32(TESS_BAND_BLOCK, X)

#define TESS_PARAM_ENUMERATOR(name) name,
enum ParamIndex : int32_t {
    kBypass = 0,
    TESS_PARAMS_AFTER_BYPASS(TESS_PARAM_ENUMERATOR)
    kNumParams
};
#undef TESS_PARAM_ENUMERATOR

static_assert(kNumParams == 366);
static_assert(kChannel1Level == kChannelFirst && kChannel8Solo == kBandFirst - 1);
static_assert(kBand1State == kBandFirst && kBand32Phase == kNumParams - 1);
static_assert(kBand3Gain == kBandFirst + 2 * kBandStride + kKindGain);

// One parameter's record. In the default table `value` is the default and `normal` its normal.
struct ParamInfo {
    char name[32];
    char label[32];
    float value;
    float min;
    float max;
    int32_t curve;
    float normal;
};

// The 366 default records, built once per process (names, labels, bounds, curves, and the
// normal of every default computed by the inverse curve).
const std::array<ParamInfo, kNumParams>& defaultParamInfo();

// Index of a band's parameter (band 0..31) and of a channel's parameter (channel 0..7).
constexpr int32_t bandParam(int32_t band, int32_t kind) { return kBandFirst + kBandStride * band + kind; }
constexpr int32_t channelParam(int32_t channel, int32_t field) {
    return kChannelFirst + kChannelStride * channel + field;
}

// Kind (kKindState..kKindPhase) and band (0..31) of a band parameter; -1 for any other index.
int32_t paramKind(int32_t index);
int32_t paramBand(int32_t index);
// True for a channel block's Level parameter.
bool paramIsChannelLevel(int32_t index);
// True for the parameters that shape the processing rather than the curve (the "DSP" set).
bool paramIsDsp(int32_t index);

// The curves. `normal` is clamped to 0..1 and the value to min..max; an unknown curve gives min
// (value) or 0 (normal). NaN counts as the low end.
float curveValue(int32_t curve, float normal, float min, float max);
float curveNormal(int32_t curve, float value, float min, float max);
// The same, with the bounds and curve of the parameter; 0 outside the table.
float paramCurveValue(int32_t index, float normal);
float paramCurveNormal(int32_t index, float value);

// Positions (not gaps) of a stepped parameter, 0 for a continuous one or outside the table.
int32_t paramStepCount(int32_t index);
// 6 for the sixes curve, 12 for twelves, else 1.
int32_t paramStepSize(int32_t index);
bool paramIsSwitch(int32_t index);

// What a displayed number depends on besides the parameter itself.
struct DisplayContext {
    float scale = 18.0f;        // stored kScale: the dB a band gain of 1.0 means
    float fShift = 100.0f;      // stored kFShift in percent
    double pitchFactor = 1.0;   // MIDI transposition times pitch bend
    bool simpleNumbers = false; // "Number format" is "Simple"
    // When set, a band's Q is shown as the engine's effective Q (the "Show True Q" preference).
    float (*effectiveQ)(const void* user, float q, int32_t band) = nullptr;
    const void* effectiveQUser = nullptr;
};

// The number the user reads for a normal, and back. The inverse does not undo the true-Q mapping.
float displayValue(int32_t index, float normal, const DisplayContext& ctx);
float normalFromDisplay(int32_t index, float number, const DisplayContext& ctx);

// Host text of a parameter at a normal. Returns false and leaves `text` alone outside the table.
bool paramDisplayAt(int32_t index, float normal, char* text, size_t size, bool asNote,
                    const DisplayContext& ctx);
// Note name of a frequency, e.g. "A4+0" for 440 Hz, "C#5-12".
void noteText(double hz, char* text, size_t size);

// What the user typed into a parameter's field, as a normal: a channel Level reads decibels,
// other fields read a number where "k" stands for a decimal point times 1000 ("2k5" = 2500), or a
// note name when `asNote`. Text that holds no number gives the parameter's default normal.
float normalFromText(int32_t index, const char* text, bool asNote, const DisplayContext& ctx);
// Frequency of a note name such as "a4", "C#3+20", "g-1"; false when it holds no letter a..g.
bool noteFrequency(const char* text, double* hz);

// A host program or an A/B slot: a short name and one normal per parameter.
struct ProgramSlot {
    static constexpr size_t kNameSize = 24;
    char name[kNameSize];
    float values[kNumParams];

    ProgramSlot(); // name "-", every value the default normal
    // Copies at most kNameSize - 1 characters; null leaves the name alone.
    void setName(const char* text);
};

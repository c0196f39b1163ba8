#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "ParamTable.h"

namespace {

std::string text(int32_t index, float normal, const DisplayContext& ctx = {}, bool asNote = false) {
    char buf[64] = "untouched";
    paramDisplayAt(index, normal, buf, sizeof buf, asNote, ctx);
    return buf;
}

float valueOfText(int32_t index, const char* typed, bool asNote = false, const DisplayContext& ctx = {}) {
    return paramCurveValue(index, normalFromText(index, typed, asNote, ctx));
}

} // namespace

TEST(ParamTable, RecordsAndDefaults) {
    const auto& t = defaultParamInfo();
    EXPECT_STREQ(t[kBypass].name, "Bypass");
    EXPECT_STREQ(t[kMsState].name, "MS State");
    EXPECT_STREQ(t[kChannel1Level].name, "Channel 1 Level");
    EXPECT_STREQ(t[kChannel8Solo].name, "Channel 8 Solo");
    EXPECT_STREQ(t[kBand1State].name, "Band1 State");
    EXPECT_STREQ(t[kBand32Phase].name, "Band32 Phase");
    EXPECT_STREQ(t[kBand7Type].label, "Peak/HPF/LSh/HSh/LPF/Notch");
    EXPECT_EQ(t[kBand12Frequency].curve, kCurveLog);
    EXPECT_FLOAT_EQ(t[kBand1Slope].normal, 12.0f / 43.0f);
    // Every default survives the trip through its own normal.
    for (int32_t i = 0; i < kNumParams; ++i)
        EXPECT_NEAR(paramCurveValue(i, t[i].normal), t[i].value, 1e-4f * (1 + std::fabs(t[i].value))) << t[i].name;
    EXPECT_TRUE(paramIsDsp(kIRPhase));
    EXPECT_FALSE(paramIsDsp(kMsState));
}

TEST(ParamTable, ContinuousCurvesRoundTripAndClamp) {
    for (int32_t curve : {kCurveLinear, kCurveLog, kCurveSquare, kCurveCube, kCurveCentre}) {
        for (float v : {0.1f, 0.5f, 3.0f, 17.0f, 49.9f, 50.0f})
            EXPECT_NEAR(curveValue(curve, curveNormal(curve, v, 0.1f, 50.0f), 0.1f, 50.0f), v, 1e-3f * v)
                << "curve " << curve;
        EXPECT_FLOAT_EQ(curveValue(curve, 1.7f, 0.1f, 50.0f), 50.0f);
        EXPECT_FLOAT_EQ(curveValue(curve, -3.0f, 0.1f, 50.0f), 0.1f);
        EXPECT_FLOAT_EQ(curveValue(curve, NAN, 0.1f, 50.0f), 0.1f);
        EXPECT_FLOAT_EQ(curveNormal(curve, 1e9f, 0.1f, 50.0f), 1.0f);
    }
    EXPECT_FLOAT_EQ(curveValue(kCurveCentre, 0.5f, -10, 10), 0.0f);
    EXPECT_FLOAT_EQ(curveNormal(kCurveCentre, -10.0f + 20.0f * 0.4375f, -10, 10), 0.25f); // y = -1/8
    EXPECT_FLOAT_EQ(curveValue(kCurveOctaves, 1.0f, 1, 256), 256.0f);
    EXPECT_FLOAT_EQ(curveValue(kCurveOctaves, 0.55f, 1, 256), 16.0f);
    EXPECT_FLOAT_EQ(curveValue(42, 0.5f, 3, 9), 3.0f);
    EXPECT_FLOAT_EQ(curveNormal(42, 5.0f, 3, 9), 0.0f);
}

TEST(ParamTable, IntegerSlicesAndSwitches) {
    // State 0..2: three equal slices, the inverse at each lower edge.
    EXPECT_EQ(paramCurveValue(kBand1State, 1.0f / 3 - 1e-3f), 0.0f);
    EXPECT_EQ(paramCurveValue(kBand1State, 1.0f / 3), 1.0f);
    EXPECT_EQ(paramCurveValue(kBand1State, 2.0f / 3 - 1e-3f), 1.0f);
    EXPECT_EQ(paramCurveValue(kBand1State, 2.0f / 3), 2.0f);
    EXPECT_EQ(paramCurveValue(kBand1State, 1.0f), 2.0f);
    // A hair below an edge, as float arithmetic elsewhere may deliver, still counts as the edge.
    EXPECT_EQ(paramCurveValue(kBand1State, 1.0f / 3 - 1e-6f), 1.0f);
    for (int32_t i = 0; i < kNumParams; ++i) {
        const ParamInfo& p = defaultParamInfo()[i];
        if (p.curve != kCurveInt) continue;
        for (float v = p.min; v <= p.max; v += 1.0f)
            ASSERT_EQ(paramCurveValue(i, paramCurveNormal(i, v)), v) << p.name;
    }
    for (int v = 6; v <= 48; v += 6)
        EXPECT_EQ(paramCurveValue(kBand2Slope, paramCurveNormal(kBand2Slope, float(v))), float(v));
    EXPECT_EQ(curveValue(kCurveTwelves, 0.99f, 0, 47), 36.0f);
    // A switch is on only at exactly 1.0.
    EXPECT_EQ(paramCurveValue(kBypass, 0.99f), 0.0f);
    EXPECT_EQ(paramCurveValue(kBypass, 1.0f), 1.0f);
}

TEST(ParamTable, KindBandAndSteps) {
    EXPECT_EQ(paramKind(45), -1);
    EXPECT_EQ(paramBand(45), -1);
    EXPECT_EQ(paramKind(46), kKindState);
    EXPECT_EQ(paramBand(46), 0);
    EXPECT_EQ(paramKind(365), kKindPhase);
    EXPECT_EQ(paramBand(365), 31);
    EXPECT_EQ(paramKind(366), -1);
    EXPECT_EQ(paramBand(-1), -1);
    EXPECT_EQ(paramKind(kBand17Q), kKindQ);
    EXPECT_EQ(paramBand(kBand17Q), 16);

    EXPECT_EQ(paramStepCount(kIRLength), 9);
    EXPECT_EQ(paramStepCount(kBypass), 1);
    EXPECT_EQ(paramStepCount(kBand1Slope), 8);
    EXPECT_EQ(paramStepCount(kBand1Gain), 0);
    EXPECT_EQ(paramStepCount(kBand1Groups), 256);
    EXPECT_EQ(paramStepCount(-1), 0);
    EXPECT_EQ(paramStepSize(kBand1Slope), 6);
    EXPECT_EQ(paramStepSize(kBand1Type), 1);
    EXPECT_TRUE(paramIsSwitch(kChannel3Mute));
    EXPECT_FALSE(paramIsSwitch(kMode));
}

TEST(ParamTable, DisplayValueScalesAndShifts) {
    DisplayContext ctx;
    ctx.scale = -12.0f;
    EXPECT_FLOAT_EQ(displayValue(kBand1Gain, 1.0f, ctx), -12.0f);
    EXPECT_FLOAT_EQ(displayValue(kBand1Gain, 0.0f, ctx), 12.0f);
    EXPECT_NEAR(paramCurveValue(kBand1Gain, normalFromDisplay(kBand1Gain, 6.0f, ctx)), -0.5f, 1e-6f);
    ctx.scale = 0.0f; // every gain is 0 dB and any typed gain means a flat band
    EXPECT_FLOAT_EQ(normalFromDisplay(kBand1Gain, 6.0f, ctx), 0.5f);

    ctx.fShift = 200.0f;
    const float n15k = paramCurveNormal(kBand4Frequency, 15000.0f);
    EXPECT_NEAR(displayValue(kBand4Frequency, n15k, ctx), 30000.0f, 1.0f);
    EXPECT_NEAR(normalFromDisplay(kBand4Frequency, 30000.0f, ctx), n15k, 1e-6f);
    ctx.pitchFactor = 0.5;
    EXPECT_NEAR(displayValue(kBand4Frequency, n15k, ctx), 15000.0f, 1.0f);
    EXPECT_FLOAT_EQ(displayValue(kGain, 1.0f, ctx), 36.0f); // globals carry no factor

    ctx.effectiveQ = [](const void*, float q, int32_t band) { return q * 10.0f + float(band); };
    EXPECT_NEAR(displayValue(kBand3Q, paramCurveNormal(kBand3Q, 2.0f), ctx), 22.0f, 1e-3f);
    EXPECT_EQ(displayValue(kNumParams, 0.5f, ctx), 0.0f);
}

TEST(ParamTable, DisplayTexts) {
    EXPECT_EQ(text(kBypass, 0.99f), "Off");
    EXPECT_EQ(text(kBypass, 1.0f), "On");
    EXPECT_EQ(text(kBand1State, 1.0f), "2 Off/Byp/On");
    EXPECT_EQ(text(kBand1Type, paramCurveNormal(kBand1Type, 3)), "3 Peak/HPF/LSh/HSh/LPF/Notch");
    EXPECT_EQ(text(kBand1Slope, 12.0f / 43.0f), "18 dB");
    EXPECT_EQ(text(kIRLength, defaultParamInfo()[kIRLength].normal), "8192");
    EXPECT_EQ(text(kIRLength, 1.0f), "262144");
    EXPECT_EQ(text(kDPlusLen, 0.0f), "Off");
    EXPECT_EQ(text(kDPlusLen, 1.0f), "512");
    EXPECT_EQ(text(kIRPad, 1.0f), "8");
    EXPECT_EQ(text(kChannel2Level, 0.0f), "-");
    EXPECT_EQ(text(kChannel2Level, 0.5f), "0.0");
    EXPECT_EQ(text(kChannel2Level, 1.0f), "18.1");
    EXPECT_EQ(text(kGain, 0.25f), "-18.00 dB");
    EXPECT_EQ(text(kFShift, 0.5f), "100 %");
    EXPECT_EQ(text(kBand1Shift, 0.25f), "-50 %");
    EXPECT_EQ(text(kIRWindowParam, 0.25f), "0.25 ");

    DisplayContext precise, simple;
    simple.simpleNumbers = true;
    EXPECT_EQ(text(kBand1Gain, 0.0f, precise), "-18.00 dB");
    EXPECT_EQ(text(kBand1Gain, 0.0f, simple), "-18.0 dB");
    const float n80 = defaultParamInfo()[kBand1Frequency].normal;
    const float n15k = paramCurveNormal(kBand1Frequency, 15000.0f);
    EXPECT_EQ(text(kBand1Frequency, n80, precise), "80 Hz");
    EXPECT_EQ(text(kBand1Frequency, n15k, precise), "15000 Hz");
    EXPECT_EQ(text(kBand1Frequency, n80, simple), "80.0 Hz");
    EXPECT_EQ(text(kBand1Frequency, n15k, simple), "15.00 kHz");
    EXPECT_EQ(text(kBand1Q, defaultParamInfo()[kBand1Q].normal, precise), "0.71 Q");
    EXPECT_EQ(text(kGain, 0.25f, simple), "-18.0 dB");

    char buf[8] = "keep";
    EXPECT_FALSE(paramDisplayAt(kNumParams, 0.5f, buf, sizeof buf, false, precise));
    EXPECT_FALSE(paramDisplayAt(-1, 0.5f, buf, sizeof buf, false, precise));
    EXPECT_STREQ(buf, "keep");
}

TEST(ParamTable, NoteTexts) {
    const float n440 = paramCurveNormal(kBand1Frequency, 440.0f);
    EXPECT_EQ(text(kBand1Frequency, n440, {}, true), "A4+0");
    EXPECT_EQ(text(kGain, 0.5f, {}, true), "0.00 dB"); // only Hz fields become notes
    char buf[16];
    const std::pair<double, const char*> cases[] = {
        {261.6256, "C4+0"}, {466.1638, "A#4+0"}, {415.3047, "G#4+0"},
        {622.254, "D#5+0"}, {450.0, "A4+39"}, {430.0, "A4-40"}, {27.5, "A0+0"}};
    for (const auto& [hz, note] : cases) {
        noteText(hz, buf, sizeof buf);
        EXPECT_STREQ(buf, note) << hz;
    }
}

TEST(ParamTable, TypedText) {
    EXPECT_NEAR(valueOfText(kBand1Frequency, "2k5"), 2500.0f, 0.1f);
    EXPECT_NEAR(valueOfText(kBand1Frequency, "1.5kHz"), 1500.0f, 0.1f);
    EXPECT_NEAR(valueOfText(kBand1Frequency, "440 Hz"), 440.0f, 0.05f);
    EXPECT_FLOAT_EQ(valueOfText(kBand1Frequency, "99999"), 22000.0f);
    EXPECT_FLOAT_EQ(valueOfText(kBand1Frequency, "-5"), 10.0f);
    EXPECT_FLOAT_EQ(valueOfText(kBand1Frequency, "junk"), 80.0f); // default
    EXPECT_FLOAT_EQ(valueOfText(kBand1Frequency, nullptr), 80.0f);
    EXPECT_FLOAT_EQ(valueOfText(kGain, "0"), 0.0f);
    EXPECT_FLOAT_EQ(valueOfText(kScale, ""), 18.0f);
    EXPECT_FLOAT_EQ(normalFromText(kBand1Q, "nan", false, {}), 0.0f);
    EXPECT_FLOAT_EQ(valueOfText(kBand1Slope, "30"), 30.0f);
    EXPECT_EQ(normalFromText(kNumParams, "5", false, {}), 0.0f);

    EXPECT_NEAR(valueOfText(kChannel1Level, "0"), 1.0f, 1e-5f);
    EXPECT_NEAR(valueOfText(kChannel1Level, "-6"), 0.501187f, 1e-5f);
    EXPECT_EQ(normalFromText(kChannel1Level, "inf", false, {}), 0.0f);
    EXPECT_FLOAT_EQ(valueOfText(kChannel1Level, "400"), 8.0f);

    EXPECT_NEAR(valueOfText(kBand1Frequency, "a4", true), 440.0f, 0.05f);
    EXPECT_NEAR(valueOfText(kBand1Frequency, "C4", true), 261.626f, 0.05f);
    EXPECT_NEAR(valueOfText(kBand1Frequency, "a#4", true), 466.164f, 0.05f);
    EXPECT_NEAR(valueOfText(kBand1Frequency, "A4+50", true), 452.893f, 0.05f);
    EXPECT_NEAR(valueOfText(kBand1Frequency, "a-1", true), 13.75f, 0.01f);
    EXPECT_FLOAT_EQ(valueOfText(kBand1Frequency, "xyz", true), 80.0f);
    EXPECT_FLOAT_EQ(valueOfText(kBand1Frequency, "b99999999999", true), 22000.0f);
    DisplayContext shifted;
    shifted.fShift = 200.0f;
    EXPECT_NEAR(valueOfText(kBand1Frequency, "a4", true, shifted), 220.0f, 0.05f);
}

TEST(ParamTable, ProgramSlot) {
    ProgramSlot slot;
    EXPECT_STREQ(slot.name, "-");
    EXPECT_FLOAT_EQ(slot.values[kScale], 0.75f);
    EXPECT_FLOAT_EQ(slot.values[kBand32Slope], 12.0f / 43.0f);
    slot.setName("A name that is much too long for a slot");
    EXPECT_EQ(std::strlen(slot.name), 23u);
    EXPECT_STREQ(slot.name, "A name that is much too");
    slot.setName(nullptr);
    EXPECT_STREQ(slot.name, "A name that is much too");
}

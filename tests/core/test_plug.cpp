// The effect's parameters and their transfer into the bank and the audio path.

#include <cmath>

#include "PlugFixture.h"
#include "TagTable.h"

namespace {

constexpr uint32_t kAll = ~0u;

bool soundsOn(const TestPlug& p, int32_t band, int32_t channel) { return p.eq(band, channel).getOff() == 0; }

} // namespace

TEST_F(PlugTest, SetParameterWritesThreePlacesAndHandsTheEditorEverything) {
    TestPlug p;
    RecordingEditor ed;
    p.attach(&ed);
    p.setParameter(kBand2Q, 0.3f);
    EXPECT_EQ(p.getParameter(kBand2Q), 0.3f);
    EXPECT_EQ(p.program(0).values[kBand2Q], 0.3f);
    EXPECT_EQ(p.abSlot(0).values[kBand2Q], 0.3f);
    EXPECT_FLOAT_EQ(p.paramValue(kBand2Q), paramCurveValue(kBand2Q, 0.3f));
    EXPECT_EQ(p.program(1).values[kBand2Q], p.defaultNormal(kBand2Q));
    ASSERT_EQ(ed.countOf(kBand2Q), 1);

    // Out-of-range normals are kept raw; the curve clamps the value.
    p.setParameter(kBand2Q, 1.5f);
    EXPECT_EQ(p.getParameter(kBand2Q), 1.5f);
    EXPECT_FLOAT_EQ(p.paramValue(kBand2Q), 50.0f);

    // Only a normal of 1.0 bypasses.
    p.setParameter(kBypass, 0.99f);
    EXPECT_EQ(p.paramValue(kBypass), 0.0f);
    EXPECT_TRUE(p.setBypass(true));
    EXPECT_EQ(p.paramValue(kBypass), 1.0f);

    // Beyond the table: a notification for the editor and nothing else.
    hostCalls().clear();
    p.setParameterAutomated(kGUIInstancesChanged, 1.0f);
    EXPECT_EQ(ed.countOf(kGUIInstancesChanged), 1);
    EXPECT_TRUE(hostCalls().empty());
    EXPECT_EQ(p.getParameter(kGUIInstancesChanged), 0.0f);
    EXPECT_EQ(p.defaultNormal(-1), 0.0f);
    char text[kParamTextSize] = "untouched";
    p.getParameterName(400, text);
    p.getParameterDisplay(-3, text);
    EXPECT_STREQ(text, "untouched");
}

TEST_F(PlugTest, ScaleAndShiftReachDisplaysEditorAndFilters) {
    TestPlug p;
    RecordingEditor ed;
    p.attach(&ed);
    p.set(kBand1State, 2);
    p.set(kBand1Gain, 0.5f);
    p.set(kScale, -12);
    EXPECT_FLOAT_EQ(p.displayValue(kBand1Gain, 1.0f), -12.0f);
    EXPECT_FLOAT_EQ(p.displayValue(kBand1Gain, 0.0f), 12.0f);
    EXPECT_FLOAT_EQ(p.eq(0, 0).getGain(), -6.0f);
    // Every band's gain text depends on the scale, so the editor hears of all 32.
    EXPECT_EQ(ed.countOf(kBand32Gain), 1);
    EXPECT_EQ(ed.countOf(kBand32Frequency), 0);
    p.set(kScale, 0);
    EXPECT_EQ(p.eq(0, 0).getGain(), 0.0f);
    EXPECT_EQ(p.normalFromDisplay(kBand1Gain, 5.0f), 0.5f); // value 0, no division

    p.set(kBand1Frequency, 15000);
    p.set(kFShift, 200);
    EXPECT_NEAR(p.displayValue(kBand1Frequency, p.getParameter(kBand1Frequency)), 30000.0f, 2.0f);
    EXPECT_EQ(p.eq(0, 0).getFrequency(), 22000.0f); // the filter is clamped, the display not
    EXPECT_EQ(ed.countOf(kBand32Frequency), 1);
    p.set(kBand1Frequency, 6);
    EXPECT_EQ(p.eq(0, 0).getFrequency(), 20.0f); // 10 Hz stored, doubled
    p.set(kFShift, 50);
    EXPECT_EQ(p.eq(0, 0).getFrequency(), 10.0f); // 5 Hz clamped up

    char text[kParamTextSize];
    p.paramDisplayAt(kBand1Frequency, paramCurveNormal(kBand1Frequency, 880), text, true);
    EXPECT_STREQ(text, "A4+0"); // halved by the shift
}

TEST_F(PlugTest, BandTypesGainsAndOrdersPushedToTheEngine) {
    TestPlug p;
    p.set(kBand1State, 2);
    p.set(kBand1Type, 2); // HPF
    p.set(kBand1Gain, 1);
    p.set(kBand1Slope, 48);
    EXPECT_EQ(p.eq(0, 0).getType(), kEQHighPass);
    EXPECT_EQ(p.eq(0, 0).getGain(), 0.0f);
    EXPECT_EQ(p.eq(0, 0).getOrder(), 8);
    p.set(kBand1Type, 1);
    EXPECT_EQ(p.eq(0, 0).getType(), kEQPeak);
    EXPECT_EQ(p.eq(0, 0).getGain(), 18.0f);
    EXPECT_EQ(p.eq(0, 0).getOrder(), 2);
    const int32_t codes[6] = {kEQPeak, kEQHighPass, kEQLowShelf, kEQHighShelf, kEQLowPass, kEQNotch};
    for (int32_t t = 1; t <= 6; ++t) {
        p.set(kBand2Type, float(t));
        EXPECT_EQ(p.eq(1, 1).getType(), codes[t - 1]);
    }
    p.set(kBand1Subtype, 4);
    p.set(kBand1Shift, -40);
    p.set(kBand1Phase, 50);
    EXPECT_EQ(p.eq(0, 1).getSubtype(), 3);
    EXPECT_NEAR(p.eq(0, 1).getShift(), -40.0f, 1e-4);
    EXPECT_NEAR(p.eq(0, 1).getPhase(), 0.5f, 1e-6);

    // "Off" and "Byp" sound alike; only "On" sounds.
    for (float state : {0.0f, 1.0f}) {
        p.set(kBand1State, state);
        EXPECT_FALSE(soundsOn(p, 0, 0));
    }
}

// Which channels a band sounds on, for every channel count; groups read from the top bit.
TEST_F(PlugTest, GroupMasksByChannelCount) {
    TestPlug p;
    p.set(kBand1State, 2);
    const auto channelsOf = [&](float groups) {
        p.set(kBand1Groups, groups);
        uint32_t mask = 0;
        for (int32_t c = 0; c < p.bandEQ().getChannels(); ++c) mask |= soundsOn(p, 0, c) ? 1u << c : 0;
        return mask;
    };
    p.setChannels(2);
    EXPECT_EQ(channelsOf(128), 1u);
    EXPECT_EQ(channelsOf(64), 2u);
    EXPECT_EQ(channelsOf(192), 3u);
    EXPECT_EQ(channelsOf(0), 0u);
    EXPECT_EQ(channelsOf(4), 0u);
    p.setGroupMask(0, 3); // group 1 now holds both channels
    EXPECT_EQ(channelsOf(128), 3u);
    p.setGroupMask(0, 1);

    p.setChannels(3);
    EXPECT_EQ(channelsOf(32), 4u);
    EXPECT_EQ(channelsOf(8), 0u); // the top-bit step does not bite at three
    EXPECT_EQ(channelsOf(224), 7u);

    // At 4 to 7 channels a Groups of exactly 1 << count is cut by one first: its single group
    // is lost, and the groups from 8 - count to the last take its place.
    for (int32_t n = 4; n <= 7; ++n) {
        p.setChannels(n);
        uint32_t expected = 0;
        for (int32_t c = 8 - n; c < n; ++c) expected |= 1u << c;
        EXPECT_EQ(channelsOf(float(1u << n)), expected) << n << " channels";
        EXPECT_EQ(channelsOf(float((1u << n) | 1)), 1u << (7 - n)) << n; // not cut
        EXPECT_EQ(channelsOf(255), (1u << n) - 1) << n;
    }
    p.setChannels(8);
    EXPECT_EQ(channelsOf(255), 255u);
    EXPECT_EQ(channelsOf(1), 128u);
}

TEST_F(PlugTest, ChannelGainsPhaseMuteAndSoloModes) {
    TestPlug p;
    p.setChannels(2);
    AudioPath& path = p.audioPath();
    p.set(kGain, 6);
    p.set(kChannel2Phase, 1);
    const double g = std::pow(10.0, 6.0 / 20.0);
    EXPECT_NEAR(path.getChannelGainTarget(0), g, 1e-6);
    EXPECT_NEAR(path.getChannelGainTarget(1), -g, 1e-6);

    // "Select" (the default) costs no gain: the block sums the soloed channels.
    p.set(kChannel2Solo, 1);
    EXPECT_NEAR(path.getChannelGainTarget(0), g, 1e-6);
    setGlobal(kSettingSoloMode, 1); // "Mute"
    p.reloadGlobals();
    p.set(kChannel2Solo, 1);
    EXPECT_EQ(path.getChannelGainTarget(0), 0.0);
    EXPECT_NEAR(path.getChannelGainTarget(1), -g, 1e-6);
    p.set(kChannel2Mute, 1); // mute beats solo
    EXPECT_EQ(path.getChannelGainTarget(1), 0.0);
}

TEST_F(PlugTest, ModePushIsGatedByTimeSamplesAndForce) {
    TestPlug p;
    p.set(kBand1State, 2);
    p.transferParams(true);
    const auto pushed = [&] { return !p.eq(0, 0).isDirty(); };

    // Same 25 ms bucket, few samples: bands are set, the design waits.
    p.set(kBand1Gain, 0.5f);
    EXPECT_EQ(p.eq(0, 0).getGain(), 9.0f);
    EXPECT_FALSE(pushed());
    EXPECT_TRUE(p.isTransferPending());
    p.idleTick();
    EXPECT_TRUE(p.isTransferPending());

    fakeNow() += 25; // next bucket at 40 a second
    p.idleTick();
    EXPECT_TRUE(pushed());
    EXPECT_FALSE(p.isTransferPending());

    // A stopped clock: 4096 processed samples let the next transfer through.
    p.set(kBand1Gain, 0.25f);
    EXPECT_FALSE(pushed());
    std::vector<float> l(4096), r(4096);
    float* io[2] = {l.data(), r.data()};
    p.processReplacing(io, io, 4095);
    p.idleTick();
    EXPECT_FALSE(pushed());
    p.processReplacing(io, io, 1);
    p.idleTick();
    EXPECT_TRUE(pushed());

    // endEdit forces the last value of a gesture through.
    p.beginEdit(kBand1Gain);
    p.set(kBand1Gain, 0.75f);
    EXPECT_FALSE(pushed());
    p.endEdit(kBand1Gain);
    EXPECT_TRUE(pushed());
}

// An editor that calls back into the transfer from inside it, and notes what it saw.
class ReentrantEditor : public RecordingEditor {
public:
    explicit ReentrantEditor(TestPlug& plug) : plug(plug) {}
    void setParameter(int32_t index, float normal) override {
        RecordingEditor::setParameter(index, normal);
        if (index == kGUIGroupNamesChanged && !sawPending) {
            plug.transferParams(true);
            sawPending = plug.isTransferPending();
        }
        if (plug.isLoading() && index == kBand1Gain) pendingWhileLoading = plug.isTransferPending();
    }
    TestPlug& plug;
    bool sawPending = false;
    bool pendingWhileLoading = false;
};

TEST_F(PlugTest, ReentryAndLoadingLeaveTheTransferPending) {
    TestPlug p;
    p.setChannels(2);
    ReentrantEditor ed(p);
    p.attach(&ed);
    // A change of the Mid/Side state renames the stereo channels inside the transfer.
    p.set(kMsState, 0);
    EXPECT_TRUE(ed.sawPending);
    EXPECT_STREQ(p.channelNameAt(0), "Left");
    p.set(kMsState, 8);
    EXPECT_STREQ(p.channelNameAt(1), "Side");

    // During an A/B switch the forced transfer sets bands but holds the mode push back.
    fakeNow() += 1000;
    p.set(kBand1State, 2);
    p.copyToAB(1);
    p.set(kBand1Gain, 0.5f);
    ed.pendingWhileLoading = false;
    p.selectAB(1);
    EXPECT_TRUE(ed.pendingWhileLoading);
    EXPECT_FALSE(p.isTransferPending()); // the closing forced transfer ran
    EXPECT_EQ(p.eq(0, 0).getGain(), 0.0f);
    EXPECT_FALSE(p.eq(0, 0).isDirty());
}

TEST_F(PlugTest, ABParameterSwitchesSlots) {
    TestPlug p;
    RecordingEditor ed;
    p.attach(&ed);
    p.set(kBand1Gain, 0.8f);
    hostCalls().clear();
    p.setParameter(kABBank, 2 / 7.0f);
    EXPECT_EQ(p.getCurrentAB(), 2);
    EXPECT_FLOAT_EQ(p.paramValue(kBand1Gain), 0.0f);      // slot C holds the defaults
    EXPECT_FLOAT_EQ(p.abSlot(0).values[kBand1Gain], 0.9f);
    // "All": every parameter is shown to the host as an edit.
    EXPECT_EQ(callsWith(audioMasterBeginEdit).size(), size_t(kNumParams));
    EXPECT_EQ(callsWith(audioMasterAutomate).size(), size_t(kNumParams));
    EXPECT_EQ(ed.countOf(kABBank), 0); // the slot's own A/B value is not handed over

    // A write to the slot that is current takes the common path.
    p.setParameter(kBand1Gain, 0.1f);
    EXPECT_EQ(p.abSlot(2).values[kBand1Gain], 0.1f);
    p.setParameter(kABBank, 0.0f);
    EXPECT_EQ(p.getCurrentAB(), 0);
    EXPECT_FLOAT_EQ(p.paramValue(kBand1Gain), 0.8f);

    setGlobal(kSettingABAutomation, 0); // "Just AB"
    p.reloadGlobals();
    hostCalls().clear();
    p.setParameter(kABBank, 1.0f);
    EXPECT_EQ(p.getCurrentAB(), 7);
    EXPECT_TRUE(hostCalls().empty());
    // A program recall writes into the slot that is current.
    p.setProgram(0);
    EXPECT_EQ(p.abSlot(7).values[kBand1Gain], p.program(0).values[kBand1Gain]);
    EXPECT_EQ(ed.programs, std::vector<int32_t>{0});
}

TEST_F(PlugTest, EditGesturesFeedTheUndoHistoryAndTheHost) {
    TestPlug p;
    p.beginEdit(kBand3Gain);
    EXPECT_FALSE(p.beginEdit(kBand3Gain)); // already open: one entry
    p.set(kBand3Gain, 0.2f);
    p.endEdit(kBand3Gain);
    ASSERT_EQ(p.undoEntries().size(), 1u);
    EXPECT_EQ(p.undoEntries()[0].paramIndex, kBand3Gain);
    EXPECT_EQ(p.undoEntries()[0].value, p.defaultNormal(kBand3Gain));

    // Back where it began: no step.
    const float began = p.getParameter(kBand3Gain);
    p.beginEdit(kBand3Gain);
    p.setParameterAutomated(kBand3Gain, 0.9f);
    p.setParameterAutomated(kBand3Gain, began);
    p.endEdit(kBand3Gain);
    EXPECT_EQ(p.undoEntries().size(), 1u);

    hostCalls().clear();
    p.setParameterAutomated(kBand4Q, 0.4f); // opens its own gesture, once
    p.setParameterAutomated(kBand4Q, 0.3f);
    EXPECT_TRUE(p.isEditTouched(kBand4Q));
    EXPECT_TRUE(p.endEdit(kBand4Q));
    EXPECT_FALSE(p.endEdit(kBand4Q));
    EXPECT_EQ(p.undoEntries().size(), 2u);
    EXPECT_EQ(callsWith(audioMasterBeginEdit).size(), 1u);
    EXPECT_EQ(callsWith(audioMasterAutomate).size(), 2u);
    EXPECT_EQ(callsWith(audioMasterEndEdit).size(), 1u);
    EXPECT_FALSE(p.beginEdit(kNumParams));
}

TEST_F(PlugTest, ResumeAndLatencyReachTheHost) {
    TestPlug p;
    p.setParameter(kChannel1Level, 0.2f); // a ramp would start here
    p.setChannels(6);
    const auto wantMidi = callsWith(audioMasterWantMidi);
    ASSERT_EQ(wantMidi.size(), 2u);
    EXPECT_EQ(wantMidi[0].value, 1);
    EXPECT_EQ(p.bandEQ().getChannels(), 6);
    EXPECT_STREQ(p.channelNameAt(5), "6");
    EXPECT_STREQ(p.channelName(4), "Center");
    EXPECT_EQ(p.audioPath().channelMapAt(1), 2);

    p.set(kMode, 1);
    p.set(kIRPhase, 0); // "Linear"
    p.endEdit(kMode);   // no gesture open: nothing forced
    p.transferParams(true);
    EXPECT_EQ(p.bandEQ().getMode(), kModeLinear);
    EXPECT_EQ(p.initialDelay(), 0); // reported from the tick, not at once
    p.idleTick();
    EXPECT_EQ(p.initialDelay(), 4096);
    EXPECT_EQ(callsWith(audioMasterIOChanged).size(), 1u);
    p.set(kIRLength, 4);
    p.transferParams(true);
    p.idleTick();
    p.idleTick();
    EXPECT_EQ(p.initialDelay(), 8192);
    EXPECT_EQ(callsWith(audioMasterIOChanged).size(), 2u);
    p.set(kIRPhase, 1); // "Full Minimum" has no latency
    p.transferParams(true);
    p.idleTick();
    EXPECT_EQ(p.initialDelay(), 0);
}

// In "Linear" the effect's output is the bank's impulse, arriving after the latency it reports.
TEST_F(PlugTest, LinearFirModeSoundsItsImpulseAtTheReportedLatency) {
    TestPlug p;
    p.setChannels(2);
    p.set(kBand1State, 2);
    p.set(kBand1Gain, 0.5f);
    p.set(kBand1Frequency, 1000);
    p.set(kMode, 1);
    p.set(kIRPhase, 0);
    p.set(kIRLength, 1); // 2048 taps
    p.transferParams(true);
    p.idleTick();
    ASSERT_EQ(p.initialDelay(), 1024);
    const double* h = p.bandEQ().getImpulse(0);
    ASSERT_NE(h, nullptr);
    std::vector<float> left(4096, 0.0f), right(4096, 0.0f);
    left[0] = right[0] = 1.0f;
    for (int32_t at = 0; at < 4096; at += 256) {
        float* io[2] = {left.data() + at, right.data() + at};
        p.processReplacing(io, io, 256);
    }
    size_t peak = 0;
    for (size_t i = 0; i < left.size(); ++i)
        if (std::fabs(left[i]) > std::fabs(left[peak])) peak = i;
    EXPECT_EQ(peak, 1024u);
    for (int32_t i = 0; i < 2048; i += 17) ASSERT_NEAR(left[size_t(i)], h[i], 1e-6) << i;
}

// The audio thread's whole share: blocks in both precisions, host parameter changes and MIDI
// transpositions between them, with every band sounding.
TEST_F(PlugTest, SteadyStateBlocksAllocateNothing) {
    TestPlug p;
    p.setChannels(2);
    for (int32_t b = 0; b < kNumBands; ++b) {
        p.set(bandParam(b, kKindState), 2);
        p.set(bandParam(b, kKindGain), 0.2f);
        p.set(bandParam(b, kKindFrequency), 40.0f * float(b + 1));
    }
    p.transferParams(true);
    std::vector<float> fl(256, 0.1f), fr(256, -0.1f);
    std::vector<double> dl(256, 0.2), dr(256, 0.3);
    float* f[2] = {fl.data(), fr.data()};
    double* d[2] = {dl.data(), dr.data()};
    VstMidiEvent note;
    note.type = kVstMidiType;
    note.midiData[0] = 0x90;
    note.midiData[2] = 100;
    VstEvent* list[1] = {&note};
    VstEvents events;
    events.numEvents = 1;
    events.events = list;
    p.processReplacing(f, f, 256);
    hostCalls().clear();
    hostCalls().reserve(4000); // the recording host's own list must not count

    startCountingAllocations();
    for (int i = 0; i < 1000; ++i) {
        p.processReplacing(f, f, 256);
        p.processDoubleReplacing(d, d, 256);
        p.setParameter(kBand5Gain, float(i % 10) / 10.0f);
        note.midiData[1] = uint8_t(48 + i % 24);
        p.processEvents(&events);
    }
    const long allocations = stopCountingAllocations();
    EXPECT_EQ(allocations, 0);
    EXPECT_NE(p.getPitchFactor(), 1.0);
}

// Instances and their names, the tick, MIDI transposition and AutoListen.

#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <thread>

#include "PlugFixture.h"
#include "TagTable.h"
#include "StringStore.h"
#include "UISettings.h"

namespace {

VstMidiEvent midi(uint8_t status, uint8_t d1, uint8_t d2) {
    VstMidiEvent e;
    e.type = kVstMidiType;
    e.midiData[0] = status;
    e.midiData[1] = d1;
    e.midiData[2] = d2;
    return e;
}

int32_t send(Plug& p, VstMidiEvent e) {
    VstEvent* list[1] = {&e};
    VstEvents events;
    events.numEvents = 1;
    events.events = list;
    return p.processEvents(&events);
}

} // namespace

TEST_F(PlugTest, InstanceNamesAndTheOthers) {
    auto first = std::make_unique<TestPlug>();
    auto second = std::make_unique<TestPlug>();
    EXPECT_STREQ(first->getInstanceName(), "EQ: 1");
    EXPECT_STREQ(second->getInstanceName(), "EQ: 2");
    RecordingEditor firstEd, secondEd;
    first->attach(&firstEd);
    second->attach(&secondEd);

    // A name is a count, not an id: after a removal it can repeat.
    first.reset();
    EXPECT_FALSE(isAlive(reinterpret_cast<Plug*>(&firstEd)));
    EXPECT_EQ(secondEd.countOf(kGUIInstancesChanged), 1);
    auto third = std::make_unique<TestPlug>();
    EXPECT_STREQ(third->getInstanceName(), "EQ: 2");
    EXPECT_FALSE(third->isInstanceNameSet());
    EXPECT_TRUE(otherInstanceNames(second.get()) == std::vector<std::string>{"EQ: 2"});

    auto fourth = std::make_unique<TestPlug>();
    // Self at index 1 of three.
    EXPECT_EQ(otherInstanceAt(third.get(), 0), second.get());
    EXPECT_EQ(otherInstanceAt(third.get(), 1), fourth.get());
    EXPECT_EQ(otherInstanceAt(third.get(), 2), nullptr);
    EXPECT_EQ(instanceAt(3), nullptr);
    EXPECT_EQ(instanceIndex(nullptr), -1);

    const int before = secondEd.countOf(kGUIInstancesChanged);
    third->setInstanceName("A name of forty characters, far too long");
    EXPECT_EQ(std::strlen(third->getInstanceName()), 31u);
    EXPECT_TRUE(third->isInstanceNameSet());
    EXPECT_EQ(secondEd.countOf(kGUIInstancesChanged), before + 1);
    third.reset();
    fourth.reset();
    EXPECT_TRUE(otherInstanceNames(second.get()).empty());
}

TEST_F(PlugTest, AudioHasRunUntilTheLastInstanceGoes) {
    {
        TestPlug p;
        EXPECT_FALSE(audioHasRun());
        float l[8] = {}, r[8] = {};
        float* io[2] = {l, r};
        p.processReplacing(io, io, 8);
        EXPECT_TRUE(audioHasRun());
    }
    EXPECT_FALSE(audioHasRun());
    EXPECT_EQ(instanceCount(), 0);
}

TEST_F(PlugTest, TickListFollowsInstancesAndPicksUpPendingTransfers) {
    auto a = std::make_unique<TestPlug>();
    auto b = std::make_unique<TestPlug>();
    EXPECT_EQ(tickListSize(), 2);
    EXPECT_TRUE(manualTicks().running);
    b->transferParams(true);
    b->set(kBand1Gain, 0.3f);
    ASSERT_TRUE(b->isTransferPending());
    fakeNow() += 30;
    tickInstances();
    EXPECT_FALSE(b->isTransferPending());
    a.reset();
    EXPECT_EQ(tickListSize(), 1);
    EXPECT_TRUE(manualTicks().running);
    b.reset();
    EXPECT_EQ(tickListSize(), 0);
    EXPECT_FALSE(manualTicks().running); // the timer stops with the last instance
}

// The module's own timer thread, where no host run loop is offered. A plain Plug: a subclass
// would still be under construction when the timer first sees it.
TEST_F(PlugTest, TimerThreadDeliversTheTick) {
    setProcessClockSource(nullptr);
    setTickDriver(nullptr);
    {
        Plug p(recordingHost);
        p.transferParams(true);
        p.setParameter(kBand1Gain, 0.3f); // same bucket at once: held back
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
        while (p.isTransferPending() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_FALSE(p.isTransferPending());
    }
    setTickDriver(&manualTicks());
}

TEST_F(PlugTest, MidiNotesAndBendTransposeEveryBand) {
    TestPlug p;
    p.set(kBand1Frequency, 1000);
    EXPECT_EQ(send(p, midi(0x91, 72, 1)), 1); // any channel, any velocity above 0
    EXPECT_DOUBLE_EQ(p.getPitchFactor(), 2.0);
    EXPECT_NEAR(p.eq(0, 0).getFrequency(), 2000.0f, 0.01f);
    EXPECT_EQ(p.getParameter(kFShift), p.defaultNormal(kFShift)); // the hook keeps its value
    EXPECT_EQ(callsWith(audioMasterBeginEdit).back().index, kFShift);
    EXPECT_TRUE(p.undoEntries().empty());
    EXPECT_FALSE(p.isEditTouched(kFShift));

    send(p, midi(0x81, 72, 64)); // note-off: the last note stays in force
    send(p, midi(0x90, 11, 100));
    send(p, midi(0x90, 109, 100));
    send(p, midi(0x90, 108, 0));
    send(p, midi(0xB0, 1, 100)); // a controller
    EXPECT_DOUBLE_EQ(p.getPitchFactor(), 2.0);
    send(p, midi(0x90, 60, 100));
    EXPECT_DOUBLE_EQ(p.getPitchFactor(), 1.0);

    send(p, midi(0xE0, 0, 64)); // centre
    EXPECT_DOUBLE_EQ(p.getPitchFactor(), 1.0);
    p.editorState().ui.set("Misc", "MIDI Bend Range", 2); // 3 semitones
    p.reloadEditorDependents();
    send(p, midi(0xE3, 127, 127));
    const double bend = std::pow(2.0, 8191.0 * 0.25 / 8192.0);
    EXPECT_NEAR(p.getPitchFactor(), bend, 1e-6);
    EXPECT_LT(p.getPitchFactor(), std::pow(2.0, 0.25));
    send(p, midi(0x90, 48, 100)); // a note and a bend multiply
    EXPECT_NEAR(p.getPitchFactor(), bend / 2, 1e-6);
    char text[kParamTextSize];
    p.paramDisplayAt(kBand1Frequency, paramCurveNormal(kBand1Frequency, 880), text, true);
    EXPECT_EQ(std::string(text).substr(0, 2), "C5"); // 880 Hz times 0.59: displays follow

    setGlobal(kSettingMIDIDisabled, 1);
    p.reloadGlobals();
    EXPECT_EQ(send(p, midi(0x90, 72, 100)), 1);
    EXPECT_NEAR(p.getPitchFactor(), bend / 2, 1e-6);
    EXPECT_EQ(p.canDo("receiveVstMidiEvent"), 1);
    EXPECT_EQ(p.canDo("bypass"), 1);
    EXPECT_EQ(p.canDo("sendVstMidiEvent"), 0);
}

TEST_F(PlugTest, AutoListenFollowsTheGesture) {
    TestPlug p;
    p.setChannels(2);
    for (int32_t b : {0, 1}) {
        p.set(bandParam(b, kKindState), 2);
        p.set(bandParam(b, kKindType), 2); // HPF: heard through a low pass
        p.set(bandParam(b, kKindGroups), 128);
    }
    RecordingEditor ed;
    p.attach(&ed);

    p.setAutoListen(true);
    p.beginEdit(kBand1Gain); // a gain drag does not listen
    EXPECT_FALSE(p.isListening());
    p.endEdit(kBand1Gain);

    p.beginEdit(kBand1Frequency);
    EXPECT_EQ(p.getListenBand(), 0);
    EXPECT_EQ(p.eq(0, 0).getType(), kEQLowPass);
    EXPECT_EQ(p.eq(0, 0).getGain(), 0.0f);    // "Correct": its own (none for a cut)
    EXPECT_EQ(p.eq(1, 0).getOff(), 1);        // every other band is silent
    EXPECT_EQ(p.audioPath().getChannelGainTarget(0), 1.0);
    p.beginEdit(kBand2Frequency);             // the first listen holds
    EXPECT_EQ(p.getListenBand(), 0);
    p.endEdit(kBand2Frequency);
    EXPECT_TRUE(p.isListening());
    p.endEdit(kBand1Gain);                    // other parameters of the band do not end it
    EXPECT_TRUE(p.isListening());
    const int shown = ed.countOf(kBand1Frequency);
    p.endEdit(kBand1Frequency);
    EXPECT_FALSE(p.isListening());
    EXPECT_EQ(ed.countOf(kBand1Frequency), shown + 1);
    EXPECT_EQ(p.eq(0, 0).getType(), kEQHighPass); // restored by the forced transfer
    EXPECT_EQ(p.eq(1, 0).getOff(), 0);

    // The listen overrides of gain and Q, and a peak heard through a band pass.
    setGlobal(kSettingAutoListenGain, 1);
    setGlobal(kSettingAutoListenQ, 1);
    p.reloadGlobals();
    p.set(kBand2Type, 1);
    p.set(kBand2Gain, -0.5f);
    p.beginEdit(kBand2Q);
    EXPECT_EQ(p.eq(1, 0).getType(), kEQBandPass);
    EXPECT_EQ(p.eq(1, 0).getGain(), 12.0f);
    EXPECT_EQ(p.eq(1, 0).getQ(), 12.0f);
    p.endEdit(kBand2Q);
    EXPECT_EQ(p.eq(1, 0).getGain(), -9.0f);
    setGlobal(kSettingAutoListenGain, 2); // "0dB"
    setGlobal(kSettingAutoListenIgnoresQ, 1);
    p.reloadGlobals();
    p.beginEdit(kBand2Q);
    EXPECT_FALSE(p.isListening());
    p.endEdit(kBand2Q);
    p.beginEdit(kBand2Frequency);
    EXPECT_EQ(p.eq(1, 0).getGain(), 0.0f);
    p.endEdit(kBand2Frequency);

    // "Mute" solo mode silences the channels outside the listened band's groups.
    setGlobal(kSettingSoloMode, 1);
    p.reloadGlobals();
    p.beginEdit(kBand1Frequency);
    EXPECT_EQ(p.audioPath().getChannelGainTarget(1), 1.0); // listen mask is not a solo mask
    p.endEdit(kBand1Frequency);
    setGlobal(kSettingSoloMode, 0);
    p.reloadGlobals();
    p.beginEdit(kBand1Frequency);
    EXPECT_EQ(p.audioPath().getChannelGainTarget(1), 0.0);
    p.resume(); // a restart ends any listen
    EXPECT_FALSE(p.isListening());
    p.endEdit(kBand1Frequency);

    setGlobal(kSettingAutoListenDisabled, 1);
    p.reloadGlobals();
    p.setAutoListen(true);
    p.beginEdit(kBand1Frequency);
    EXPECT_FALSE(p.isListening());
}

TEST_F(PlugTest, InstancesReadTheGlobalsAndTheirOwnUIDocument) {
    TestPlug p;
    // The first instance of a machine has written every default into the store.
    std::string stored;
    ASSERT_TRUE(StringStore().read(kValueGlobals, &stored));
    for (const char* name : {kSettingFFTThrottle, kSettingSoloMode, kSettingProToolsOptShift})
        EXPECT_NE(stored.find(name), std::string::npos) << name;
    EXPECT_EQ(GlobalSettings::instance().getValue(kSettingFFTThrottle), 1);
    EXPECT_EQ(p.audioGlobals().fftThrottle, 20);

    RecordingEditor ed;
    p.attach(&ed);
    setGlobal(kSettingClipThreshold, 1); // -0.1 dB
    p.reloadGlobals();
    EXPECT_EQ(ed.prefsReloads, 1);
    std::vector<float> l(16, 0.995f), r(16, 0.0f);
    float* io[2] = {l.data(), r.data()};
    p.set(kMsState, 0);
    p.processReplacing(io, io, 16);
    EXPECT_TRUE(p.getClipped());

    // Each instance has its own UI settings; the effect reads them on request only.
    TestPlug other;
    p.editorState().ui.set("Misc", "Number format", 1);
    p.editorState().ui.set("Misc", "Show True Q", 1);
    p.reloadEditorDependents();
    other.reloadEditorDependents();
    EXPECT_TRUE(p.editorDependents().simpleNumbers);
    EXPECT_FALSE(other.editorDependents().simpleNumbers);
    char text[kParamTextSize];
    p.paramDisplayAt(kBand1Frequency, paramCurveNormal(kBand1Frequency, 2500), text, false);
    EXPECT_STREQ(text, "2.50 kHz");
    other.paramDisplayAt(kBand1Frequency, paramCurveNormal(kBand1Frequency, 2500), text, false);
    EXPECT_STREQ(text, "2500 Hz");
    // "Show True Q": a boosted peak shows the engine's effective Q.
    for (TestPlug* q : {&p, &other}) {
        q->set(kBand1State, 2);
        q->set(kBand1Gain, 0.5f);
        q->set(kBand1Q, 2);
    }
    const float qNormal = paramCurveNormal(kBand1Q, 2);
    EXPECT_FLOAT_EQ(p.displayValue(kBand1Q, qNormal), p.bandEQ().getBandEffectiveQ(2, 0));
    EXPECT_NE(p.displayValue(kBand1Q, qNormal), 2.0f);
    EXPECT_FLOAT_EQ(other.displayValue(kBand1Q, qNormal), 2.0f);
}

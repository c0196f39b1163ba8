// The built module driven through its exports, as a host drives it.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <numbers>

#include "HostSupport.h"
#include "public.sdk/source/common/memorystream.h"

using namespace host;

namespace {

// Every test here gets a fresh home, settings and data folder.
const bool kTemporaryHome = [] {
    char pattern[] = "/tmp/tessarine-vst3-XXXXXX";
    const std::string folder = mkdtemp(pattern);
    setenv("HOME", folder.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (folder + "/config").c_str(), 1);
    setenv("XDG_DATA_HOME", (folder + "/data").c_str(), 1);
    return true;
}();

Module& module() {
    static Module m(TESS_MODULE_FILE);
    return m;
}

// Band 1 as an active peak: on, peak, at `frequency`, `gain` dB, Q 1.
void peakBand(Instance& plug, Changes& changes, const char* frequency, const char* gain) {
    for (auto [title, text] : {std::pair{"Band1 State", "2"}, {"Band1 Type", "1"}, {"Band1 Frequency", frequency},
                               {"Band1 Gain", gain}, {"Band1 Q", "1"}}) {
        const ParamID id = plug.idOf(title);
        changes.add(id, plug.normalOf(id, text));
    }
}

} // namespace

TEST(Vst3Module, FactoryDescribesOneEffectClass) {
    IPluginFactory* again = reinterpret_cast<IPluginFactory* (*)()>(dlsym(module().handle, "GetPluginFactory"))();
    EXPECT_EQ(again, module().factory);
    // Ours and this one: a third reference now gives 3.
    EXPECT_EQ(again->addRef(), 3u);
    again->release();
    again->release();

    PFactoryInfo factoryInfo;
    ASSERT_EQ(module().factory->getFactoryInfo(&factoryInfo), kResultOk);
    EXPECT_STREQ(factoryInfo.vendor, "Ondelane");
    EXPECT_EQ(factoryInfo.flags, PFactoryInfo::kUnicode);
    EXPECT_EQ(module().factory->countClasses(), 1);

    IPluginFactory2* factory2 = nullptr;
    ASSERT_EQ(module().factory->queryInterface(IPluginFactory2::iid, reinterpret_cast<void**>(&factory2)), kResultOk);
    PClassInfo2 info;
    ASSERT_EQ(factory2->getClassInfo2(0, &info), kResultOk);
    factory2->release();
    EXPECT_STREQ(info.category, "Audio Module Class");
    EXPECT_STREQ(info.subCategories, "Fx|EQ");
    EXPECT_STREQ(info.name, "Tessarine");
    EXPECT_STREQ(info.version, "1.0");
    EXPECT_STREQ(info.sdkVersion, "VST 3.0.2");
    EXPECT_EQ(info.cardinality, 0x7FFFFFFF);
    // "565345" + "TsRn" + "Tessarine" in hex, numbers little-endian as COM lays them out.
    const uint8_t expected[16] = {0x54, 0x45, 0x53, 0x56, 0x52, 0x73, 0x54, 0x6E,
                                  0x65, 0x73, 0x73, 0x61, 0x72, 0x69, 0x6E, 0x65};
    EXPECT_EQ(std::memcmp(info.cid, expected, 16), 0);

    // Only the three entry points leave the module.
    for (const char* hidden : {"InitDll", "ExitDll", "_ZN9Steinberg7FObject7addRefEv"})
        EXPECT_EQ(dlsym(module().handle, hidden), nullptr) << hidden;
}

TEST(Vst3Module, InstanceAnswersItsInterfacesAndDescribesParameters) {
    Host h(false);
    Instance plug(module(), h);
    ASSERT_TRUE(plug.ok());
    for (const TUID& iid : {IUnitInfo::iid, IMidiMapping::iid, IConnectionPoint::iid}) {
        FUnknown* face = nullptr;
        EXPECT_EQ(plug.component->queryInterface(iid, reinterpret_cast<void**>(&face)), kResultOk);
        if (face) face->release();
    }
    // A second initialise, as some hosts send, is refused without harm.
    EXPECT_EQ(plug.controller->initialize(static_cast<IHostApplication*>(&h)), kResultFalse);

    ASSERT_EQ(plug.controller->getParameterCount(), 368);
    ParameterInfo info;
    int bypassFlags = 0;
    for (int32 i = 0; i < 368; ++i) {
        ASSERT_EQ(plug.controller->getParameterInfo(i, info), kResultOk);
        EXPECT_EQ(info.unitId, 0);
        EXPECT_TRUE(info.flags & ParameterInfo::kCanAutomate);
        if (info.flags & ParameterInfo::kIsBypass) {
            ++bypassFlags;
            EXPECT_EQ(narrow(info.title), "Bypass");
        }
    }
    EXPECT_EQ(bypassFlags, 1);
    EXPECT_NE(plug.controller->getParameterInfo(368, info), kResultOk);

    plug.controller->getParameterInfo(366, info);
    EXPECT_EQ(info.id, kProg);
    EXPECT_EQ(narrow(info.title), "Program");
    EXPECT_EQ(info.stepCount, 20);
    EXPECT_TRUE(info.flags & ParameterInfo::kIsProgramChange);
    plug.controller->getParameterInfo(367, info);
    EXPECT_EQ(info.id, kPitc);
    EXPECT_EQ(narrow(info.title), "Pitch Bend");
    EXPECT_DOUBLE_EQ(info.defaultNormalizedValue, 0.5);

    // Steps, not positions: a 6-way type has 5, a switch keeps 1, a continuous value 0.
    const auto infoOf = [&](const char* title) {
        plug.controller->getParameterInfo(int32(plug.idOf(title)), info);
        return info;
    };
    EXPECT_EQ(infoOf("Band1 Type").stepCount, 5);
    EXPECT_EQ(infoOf("Band1 State").stepCount, 2);
    EXPECT_EQ(infoOf("Bypass").stepCount, 1);
    EXPECT_EQ(infoOf("Band1 Frequency").stepCount, 0);
    EXPECT_EQ(narrow(infoOf("Band1 Frequency").units), "Hz");
    EXPECT_NEAR(infoOf("Band1 Frequency").defaultNormalizedValue,
                plug.controller->plainParamToNormalized(plug.idOf("Band1 Frequency"), 80.0), 1e-6);

    IMidiMapping* mapping = nullptr;
    plug.component->queryInterface(IMidiMapping::iid, reinterpret_cast<void**>(&mapping));
    ParamID mapped = 0;
    EXPECT_EQ(mapping->getMidiControllerAssignment(0, 3, kPitchBend, mapped), kResultOk);
    EXPECT_EQ(mapped, kPitc);
    EXPECT_NE(mapping->getMidiControllerAssignment(0, 0, kCtrlModWheel, mapped), kResultOk);
    mapping->release();

    IUnitInfo* units = nullptr;
    plug.component->queryInterface(IUnitInfo::iid, reinterpret_cast<void**>(&units));
    ProgramListInfo list;
    ASSERT_EQ(units->getProgramListInfo(0, list), kResultOk);
    EXPECT_EQ(narrow(list.name), "Presets");
    EXPECT_EQ(list.programCount, 20);
    String128 name;
    EXPECT_EQ(units->getProgramName(0, 0, name), kResultOk);
    EXPECT_FALSE(narrow(name).empty());
    EXPECT_NE(units->getProgramName(0, 20, name), kResultOk);
    EXPECT_NE(units->selectUnit(1), kResultOk);
    units->release();
}

TEST(Vst3Module, TextsConvertBothWays) {
    Host h(false);
    Instance plug(module(), h);
    const ParamID frequency = plug.idOf("Band1 Frequency");
    const double normal2000 = plug.controller->plainParamToNormalized(frequency, 2000.0);
    EXPECT_NEAR(plug.normalOf(frequency, "2k"), normal2000, 1e-9);
    EXPECT_NEAR(plug.normalOf(frequency, "2000"), normal2000, 1e-9);
    EXPECT_NEAR(plug.normalOf(frequency, "1k5"), plug.controller->plainParamToNormalized(frequency, 1500.0), 1e-9);
    EXPECT_NEAR(plug.controller->normalizedParamToPlain(frequency, normal2000), 2000.0, 0.05);

    String128 text;
    plug.controller->getParamStringByValue(kProg, 0.0, text);
    EXPECT_EQ(narrow(text), "1");
    plug.controller->getParamStringByValue(kProg, 0.5, text);
    EXPECT_EQ(narrow(text), "11");
    plug.controller->getParamStringByValue(kPitc, 0.75, text);
    EXPECT_EQ(narrow(text), "0.500000");
    plug.controller->getParamStringByValue(frequency, normal2000, text);
    EXPECT_NE(narrow(text).find("2"), std::string::npos);
}

TEST(Vst3Module, PeakBandSoundsInBothPrecisions) {
    for (int32 size : {kSample32, kSample64}) {
        // The redesign after a change waits for the tick, which the host's loop gives here.
        Host h(true);
        Instance plug(module(), h);
        ASSERT_EQ(plug.processor->canProcessSampleSize(size), kResultOk);
        plug.start(48000, 512, size);
        Changes changes;
        peakBand(plug, changes, "1000", "12");
        const int32 frames = 512;
        std::vector<float> in32(2 * frames), out32(2 * frames);
        std::vector<double> in64(2 * frames), out64(2 * frames);
        double peak = 0;
        for (int block = 0; block < 40; ++block) {
            for (int32 c = 0; c < 2; ++c)
                for (int32 i = 0; i < frames; ++i) {
                    const double t = double(block * frames + i) / 48000;
                    in32[size_t(c * frames + i)] = float(0.25 * std::sin(2 * std::numbers::pi * 1000 * t));
                    in64[size_t(c * frames + i)] = in32[size_t(c * frames + i)];
                }
            if (size == kSample32) {
                plug.run(in32, out32, 2, frames, block == 0 ? &changes : nullptr);
                peak = peakOf(out32, 1, frames, 256);
            } else {
                plug.run(in64, out64, 2, frames, block == 0 ? &changes : nullptr);
                peak = peakOf(out64, 1, frames, 256);
            }
            h.fireTimers();
        }
        EXPECT_NEAR(20 * std::log10(peak / 0.25), 12.0, 0.1) << "sample size " << size;
        plug.stop();
    }
}

TEST(Vst3Module, OnlyTheFirstPointOfAQueueApplies) {
    Host h(false);
    Instance plug(module(), h);
    plug.start(48000, 256, kSample32);
    const ParamID gain = plug.idOf("Gain");
    Changes changes;
    int32 index = 0;
    IParamValueQueue* queue = changes.addParameterData(gain, index);
    queue->addPoint(0, 0.2, index);
    queue->addPoint(100, 0.5, index);
    queue->addPoint(200, 0.8, index);
    std::vector<float> in(512, 0.f), out(512);
    plug.run(in, out, 2, 256, &changes);
    EXPECT_NEAR(plug.controller->getParamNormalized(gain), 0.2, 1e-6);
    plug.stop();
}

TEST(Vst3Module, SurroundFiveOneIsReorderedAndOtherLayoutsAreNot) {
    // "Channel 5" of the effect is the centre at 5.1 (host index 2), but at 5.0 the effect's own
    // map alone applies and takes host index 1.
    for (auto [arrangement, channels, silenced] : {std::tuple{SpeakerArr::k51, 6, 2}, {SpeakerArr::k50, 5, 1}}) {
        Host h(false);
        Instance plug(module(), h);
        SpeakerArrangement arr = arrangement;
        ASSERT_EQ(plug.processor->setBusArrangements(&arr, 1, &arr, 1), kResultOk);
        ProcessSetup setup{kRealtime, kSample32, 256, 48000};
        plug.processor->setupProcessing(setup);
        plug.processor->setProcessing(true);
        Changes changes;
        changes.add(plug.idOf("Channel 5 Mute"), 1.0);
        std::vector<float> in(size_t(channels * 256), 0.5f), out(in.size(), 9.f);
        for (int block = 0; block < 20; ++block) plug.run(in, out, channels, 256, block == 0 ? &changes : nullptr);
        for (int32 c = 0; c < channels; ++c) {
            if (c == silenced) EXPECT_LT(peakOf(out, c, 256, 64), 1e-3) << "channel " << c;
            else EXPECT_NEAR(peakOf(out, c, 256, 64), 0.5, 1e-3) << "channel " << c;
        }
    }
}

TEST(Vst3Module, BusArrangementsFollowTheirBranches) {
    Host h(false);
    Instance plug(module(), h);
    SpeakerArrangement mono = SpeakerArr::kMono, stereo = SpeakerArr::kStereo, quad = SpeakerArr::k40Music;
    SpeakerArrangement arr = 0;
    EXPECT_NE(plug.processor->setBusArrangements(&mono, 1, &mono, 2), kResultOk);
    EXPECT_NE(plug.processor->setBusArrangements(&quad, 1, &stereo, 1), kResultOk);

    ASSERT_EQ(plug.processor->setBusArrangements(&mono, 1, &mono, 1), kResultOk);
    plug.processor->getBusArrangement(kOutput, 0, arr);
    EXPECT_EQ(arr, SpeakerArr::kMono);
    BusInfo bus;
    plug.component->getBusInfo(kAudio, kInput, 0, bus);
    EXPECT_EQ(narrow(bus.name), "Mono In");
    EXPECT_EQ(bus.channelCount, 1);

    // Stereo after mono: the buses turn stereo, the effect keeps its one channel, so the right
    // output is left as the host gave it while the left is processed.
    ASSERT_EQ(plug.processor->setBusArrangements(&stereo, 1, &stereo, 1), kResultOk);
    plug.processor->getBusArrangement(kInput, 0, arr);
    EXPECT_EQ(arr, SpeakerArr::kStereo);
    ProcessSetup setup{kRealtime, kSample32, 256, 48000};
    plug.processor->setupProcessing(setup);
    plug.processor->setProcessing(true);
    std::vector<float> in(512, 0.5f), out(512, 9.f);
    for (int block = 0; block < 4; ++block) plug.run(in, out, 2, 256);
    EXPECT_NEAR(out[100], 0.5f, 1e-4);
    EXPECT_EQ(out[256 + 100], 9.f);

    // Up to 8 channels pass when input equals output.
    SpeakerArrangement eight = SpeakerArr::k71Cine;
    EXPECT_EQ(plug.processor->setBusArrangements(&eight, 1, &eight, 1), kResultOk);
    plug.component->getBusInfo(kAudio, kOutput, 0, bus);
    EXPECT_EQ(narrow(bus.name), "Surround Out");
    EXPECT_EQ(bus.channelCount, 8);

    // Shapes it refuses leave the host's buffers alone.
    std::vector<float> three(768, 0.5f), untouched(768, 9.f);
    plug.run(three, untouched, 3, 256);
    EXPECT_EQ(untouched[0], 9.f);
}

TEST(Vst3Module, LatencyReachesTheHostThroughItsRunLoop) {
    Host h(true);
    Instance plug(module(), h);
    EXPECT_GE(h.timerCount(), 1u);
    plug.start(48000, 256, kSample32);
    EXPECT_EQ(plug.processor->getLatencySamples(), 0u);
    Changes changes;
    changes.add(plug.idOf("Mode"), 1.0); // FIR, "Linear" by default
    std::vector<float> in(512, 0.f), out(512);
    plug.run(in, out, 2, 256, &changes);
    h.takeCalls();
    for (int i = 0; i < 50 && plug.processor->getLatencySamples() == 0; ++i) {
        plug.run(in, out, 2, 256);
        h.fireTimers();
    }
    EXPECT_EQ(plug.processor->getLatencySamples(), 4096u);
    const auto calls = h.takeCalls();
    const auto restart = std::find_if(calls.begin(), calls.end(), [](const auto& c) { return c.kind == 'r'; });
    ASSERT_NE(restart, calls.end());
    EXPECT_EQ(restart->id, ParamID(kLatencyChanged));
    EXPECT_EQ(restart->thread, std::this_thread::get_id());
    plug.stop();
}

TEST(Vst3Module, LatencyReachesTheHostWithoutARunLoop) {
    Host h(false);
    Instance plug(module(), h);
    plug.start(48000, 256, kSample32);
    Changes changes;
    changes.add(plug.idOf("Mode"), 1.0);
    std::vector<float> in(512, 0.f), out(512);
    plug.run(in, out, 2, 256, &changes);
    // The module's own timer thread announces it.
    bool announced = false;
    for (int i = 0; i < 400 && !announced; ++i) {
        plug.run(in, out, 2, 256);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        for (const auto& call : h.takeCalls()) announced |= call.kind == 'r' && call.id == ParamID(kLatencyChanged);
    }
    EXPECT_TRUE(announced);
    EXPECT_EQ(plug.processor->getLatencySamples(), 4096u);
    plug.stop();
}

TEST(Vst3Module, StateRoundTripsThroughTheHost) {
    Host h(false);
    MemoryStream saved;
    double frequencyNormal = 0;
    {
        Instance plug(module(), h);
        plug.start(48000, 256, kSample32);
        plug.controller->setParamNormalized(kProg, 3.0 / 20);
        EXPECT_NEAR(plug.controller->getParamNormalized(kProg), 3.0 / 20, 1e-9);
        Changes changes;
        peakBand(plug, changes, "3150", "-4.5");
        std::vector<float> in(512, 0.f), out(512);
        plug.run(in, out, 2, 256, &changes);
        frequencyNormal = plug.controller->getParamNormalized(plug.idOf("Band1 Frequency"));
        ASSERT_EQ(plug.component->getState(&saved), kResultOk);
        plug.stop();
    }
    Instance other(module(), h);
    ASSERT_EQ(other.component->setState(&saved), kResultOk);
    EXPECT_NEAR(other.controller->getParamNormalized(kProg), 3.0 / 20, 1e-9);
    EXPECT_NEAR(other.controller->getParamNormalized(other.idOf("Band1 Frequency")), frequencyNormal, 1e-6);
    EXPECT_NEAR(other.controller->normalizedParamToPlain(other.idOf("Band1 Gain"),
                                                         other.controller->getParamNormalized(other.idOf("Band1 Gain"))),
                -4.5, 0.01);

    // Bytes that are no state change nothing and are refused or ignored without harm.
    MemoryStream junk;
    int32 written = 0;
    junk.write(const_cast<char*>("ZIP garbage"), 11, &written);
    other.component->setState(&junk);
    MemoryStream empty;
    EXPECT_NE(other.component->setState(&empty), kResultOk);
    EXPECT_NEAR(other.controller->getParamNormalized(other.idOf("Band1 Frequency")), frequencyNormal, 1e-6);
}

TEST(Vst3Module, PitchBendAndNotesShowAsEditsOffTheAudioThread) {
    Host h(true);
    Instance plug(module(), h);
    plug.start(48000, 256, kSample32);
    const ParamID shift = plug.idOf("Shift");

    // A bend set by the host comes back as one edit of the frequency shift, at once.
    h.takeCalls();
    plug.controller->setParamNormalized(kPitc, 1.0);
    auto calls = h.takeCalls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_EQ(calls[0].kind, 'b');
    EXPECT_EQ(calls[1].kind, 'p');
    EXPECT_EQ(calls[1].id, shift);
    EXPECT_EQ(calls[2].kind, 'e');

    // A note inside process: nothing reaches the host during the block, the edit follows on
    // the next tick of the host's loop.
    Events notes;
    Event on{};
    on.type = Event::kNoteOnEvent;
    on.noteOn.pitch = 72;
    on.noteOn.velocity = 0.8f;
    notes.list.push_back(on);
    std::vector<float> in(512, 0.f), out(512);
    plug.run(in, out, 2, 256, nullptr, &notes);
    calls = h.takeCalls();
    EXPECT_TRUE(calls.empty());
    h.fireTimers();
    calls = h.takeCalls();
    ASSERT_FALSE(calls.empty());
    for (const auto& call : calls) EXPECT_FALSE(call.fromProcess);
    EXPECT_TRUE(std::any_of(calls.begin(), calls.end(), [&](const auto& c) { return c.kind == 'p' && c.id == shift; }));
    plug.stop();
}

TEST(Vst3Module, ThreadsSetStateWhileAudioRuns) {
    Host h(false);
    Instance plug(module(), h);
    plug.start(48000, 64, kSample64);
    MemoryStream flat, peaked;
    plug.component->getState(&flat);
    Changes changes;
    peakBand(plug, changes, "500", "9");
    std::vector<double> in(128, 0.1), out(128);
    plug.run(in, out, 2, 64, &changes);
    plug.component->getState(&peaked);

    std::atomic<bool> done{false};
    std::atomic<bool> finite{true};
    std::thread audio([&] {
        std::vector<double> ain(128, 0.1), aout(128);
        while (!done) {
            plug.run(ain, aout, 2, 64);
            for (double v : aout) finite = finite && std::isfinite(v) && std::abs(v) < 10;
        }
    });
    for (int i = 0; i < 30; ++i) {
        MemoryStream& s = i % 2 ? flat : peaked;
        s.seek(0, IBStream::kIBSeekSet, nullptr);
        EXPECT_EQ(plug.component->setState(&s), kResultOk);
    }
    done = true;
    audio.join();
    EXPECT_TRUE(finite);
    plug.stop();
}

// Saved states: the byte form, the documents' shape, and what loading takes and leaves.

#include <cjson/cJSON.h>
#include <zlib.h>

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "ChunkCodec.h"
#include "Instances.h"
#include "PlugFixture.h"
#include "PresetFolders.h"
#include "StringStore.h"
#include "TagTable.h"

namespace {

std::vector<uint8_t> chunkOf(Plug& plug, bool isPreset) {
    void* data = nullptr;
    const int32_t size = plug.getChunk(&data, isPreset);
    const auto* bytes = static_cast<const uint8_t*>(data);
    return {bytes, bytes + size};
}

void load(Plug& plug, std::vector<uint8_t> bytes, bool isPreset) {
    EXPECT_EQ(plug.setChunk(bytes.data(), int32_t(bytes.size()), isPreset), int32_t(bytes.size()));
}

void loadText(Plug& plug, const std::string& text, bool isPreset) {
    load(plug, std::vector<uint8_t>(text.begin(), text.end() + 1), isPreset);
}

std::string textOf(const std::vector<uint8_t>& chunk) {
    std::string text;
    unwrapChunk(chunk.data(), chunk.size(), &text);
    return text;
}

std::vector<std::string> keysOf(const cJSON* node) {
    std::vector<std::string> keys;
    for (const cJSON* c = node != nullptr ? node->child : nullptr; c != nullptr; c = c->next) keys.push_back(c->string);
    return keys;
}

using Keys = std::vector<std::string>;

// Every normal of every program and slot, and the names.
std::vector<float> wholeState(const Plug& plug) {
    std::vector<float> v;
    for (int p = 0; p < kNumPrograms; ++p) v.insert(v.end(), plug.program(p).values, plug.program(p).values + kNumParams);
    for (int s = 0; s < kNumABSlots; ++s) v.insert(v.end(), plug.abSlot(s).values, plug.abSlot(s).values + kNumParams);
    return v;
}

class ChunkTest : public PlugTest {
protected:
    void SetUp() override {
        PlugTest::SetUp();
        setFlags(-1);
    }
    void setFlags(int32_t flags) { writeLoadingFlags(StringStore(), flags); }
};

} // namespace

TEST_F(ChunkTest, WrapperIsTheTagAndALevel9StreamOfTheTextWithItsZero) {
    TestPlug plug;
    const std::vector<uint8_t> chunk = chunkOf(plug, false);
    ASSERT_GT(chunk.size(), 6u);
    EXPECT_EQ(std::string(chunk.begin(), chunk.begin() + 4), "ZIP ");
    EXPECT_EQ(chunk[4], 0x78);  // zlib header
    EXPECT_EQ(chunk[5], 0xDA);  // best compression

    // The stream inflates to the formatted printer's text and its terminating zero.
    std::vector<uint8_t> raw(1 << 20);
    uLongf rawSize = raw.size();
    ASSERT_EQ(uncompress(raw.data(), &rawSize, chunk.data() + 4, uLong(chunk.size() - 4)), Z_OK);
    const std::string text = textOf(chunk);
    EXPECT_EQ(rawSize, text.size() + 1);
    EXPECT_EQ(raw[rawSize - 1], 0);
    EXPECT_EQ(text.rfind("{\n\t\"presets\":\t[{\n\t\t\t\"parameters\":\t{\n\t\t\t\t\"kBypass\":\t0,\n"
                        "\t\t\t\t\"kGain\":\t0.500000,\n", 0), 0u);
}

TEST_F(ChunkTest, NumbersFollowTheSavedFormat) {
    EXPECT_EQ(formatNumber(0), "0");
    EXPECT_EQ(formatNumber(-3), "-3");
    EXPECT_EQ(formatNumber(0.1234567), "0.123457");
    EXPECT_EQ(formatNumber(0.5), "0.500000");
    EXPECT_EQ(formatNumber(1e-7), "1.000000e-07");
    EXPECT_EQ(formatNumber(4294967296.0), "4294967296");
    EXPECT_EQ(formatNumber(2.5e9 + 0.5), "2.500000e+09");
    EXPECT_EQ(formatNumber(1e300), "1.000000e+300");
}

TEST_F(ChunkTest, BankRoundTripsToSixDecimals) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    TestPlug a;
    a.setChannels(4);
    for (int p = kNumPrograms - 1; p >= 0; --p) {
        a.setProgram(p);
        for (int i = 0; i < kNumParams; ++i)
            if (i != kABBank) a.setParameter(i, unit(rng));
        a.setProgramName(("Prog " + std::to_string(p) + " with a long long name").c_str());
        Plug::BandOrder order;
        for (int b = 0; b < kNumBands; ++b) order[size_t(b)] = (b * 7 + p) % kNumBands;
        a.setBandOrder(p, order);
    }
    for (int s = 1; s < kNumABSlots; ++s) {
        a.setProgram(s);
        a.copyToAB(s);
    }
    a.setGroupMask(3, 12);
    a.setInstanceName("Drum bus");

    TestPlug b;
    b.setChannels(4);
    load(b, chunkOf(a, false), false);
    const std::vector<float> sa = wholeState(a), sb = wholeState(b);
    ASSERT_EQ(sa.size(), sb.size());
    for (size_t i = 0; i < sa.size(); ++i) ASSERT_NEAR(sa[i], sb[i], 5.1e-7) << "value " << i;
    for (int p = 0; p < kNumPrograms; ++p) {
        EXPECT_STREQ(b.program(p).name, a.program(p).name);
        EXPECT_EQ(b.bandOrder(p), a.bandOrder(p));
    }
    EXPECT_EQ(b.getGroupMask(3), 12u);
    EXPECT_EQ(b.getProgram(), a.getProgram());
    EXPECT_EQ(b.getCurrentAB(), a.getCurrentAB());
    // The live state is the loaded program's.
    for (int i = 0; i < kNumParams; ++i)
        if (i != kABBank) {
            ASSERT_NEAR(b.getParameter(i), a.getParameter(i), 5.1e-7) << i;
        }
}

TEST_F(ChunkTest, DocumentsHaveTheirKeysInOrderUnderEveryFlagCombination) {
    TestPlug plug;
    plug.setInstanceName("Lead");
    cJSON* bank = cJSON_Parse(textOf(chunkOf(plug, false)).c_str());
    EXPECT_EQ(keysOf(bank), (Keys{"presets", "AB", "settings", "uiprefs", "routing", "instanceName"}));
    const cJSON* preset0 = cJSON_GetArrayItem(cJSON_GetObjectItem(bank, "presets"), 0);
    EXPECT_EQ(keysOf(preset0), (Keys{"parameters", "name", "bandOrder"}));
    EXPECT_EQ(cJSON_GetArraySize(cJSON_GetObjectItem(bank, "presets")), kNumPrograms);
    EXPECT_EQ(cJSON_GetArraySize(cJSON_GetObjectItem(bank, "AB")), kNumABSlots);
    const Keys params = keysOf(cJSON_GetObjectItem(preset0, "parameters"));
    ASSERT_EQ(params.size(), size_t(kNumParams));
    EXPECT_EQ(params.front(), "kBypass");
    EXPECT_EQ(params.back(), "kBand32Phase");
    EXPECT_EQ(keysOf(cJSON_GetObjectItem(bank, "settings")),
              (Keys{"currentAB", "lastAB", "currentPreset", "analyserState", "prePost", "analyserType",
                    "analyserSourceChn1", "analyserSourceChn2", "analyserSourceInst1", "analyserSourceInst2"}));
    EXPECT_EQ(keysOf(cJSON_GetObjectItem(bank, "routing")), (Keys{"groups", "groupnames"}));
    cJSON_Delete(bank);

    for (int32_t flags = 0; flags < 8; ++flags) {
        SCOPED_TRACE(flags);
        setFlags(flags);
        cJSON* doc = cJSON_Parse(textOf(chunkOf(plug, true)).c_str());
        Keys expected{"parameters", "name"};
        if (flags & kLoadEQ) expected.push_back("bandOrder");
        if (flags & kLoadUI) expected.insert(expected.end(), {"settings", "uiprefs"});
        expected.insert(expected.end(), {"routing", "instanceName"});
        EXPECT_EQ(keysOf(doc), expected);
        const Keys p = keysOf(cJSON_GetObjectItem(doc, "parameters"));
        const size_t dsp = 7;
        EXPECT_EQ(p.size(), ((flags & kLoadEQ) ? kNumParams - dsp : 0) + ((flags & kLoadDSP) ? dsp : 0));
        for (const std::string& key : p) {
            const bool isDsp = plug.isDspParam(tagTable().tagFromName(key.c_str()));
            EXPECT_TRUE(isDsp ? (flags & kLoadDSP) : (flags & kLoadEQ)) << key;
        }
        if (flags & kLoadUI) {
            EXPECT_EQ(keysOf(cJSON_GetObjectItem(doc, "settings")).front(), "analyserState");
        }
        cJSON_Delete(doc);
    }
}

TEST_F(ChunkTest, PresetLoadTakesOnlyWhatTheFlagsAllow) {
    TestPlug a;
    a.set(kBand2Gain, 0.5f);
    a.set(kIRLength, 3);
    a.setProgramName("Source");
    TestPlug b;
    const float gain0 = b.getParameter(kBand2Gain), length0 = b.getParameter(kIRLength);
    setFlags(-1);
    const std::vector<uint8_t> preset = chunkOf(a, true);

    setFlags(kLoadDSP);
    load(b, preset, true);
    EXPECT_EQ(b.getParameter(kBand2Gain), gain0);
    EXPECT_NEAR(b.getParameter(kIRLength), a.getParameter(kIRLength), 1e-6);
    EXPECT_STREQ(b.program(b.getProgram()).name, "Source");

    b.set(kIRLength, 0);
    setFlags(kLoadEQ);
    load(b, preset, true);
    EXPECT_NEAR(b.getParameter(kBand2Gain), a.getParameter(kBand2Gain), 1e-6);
    EXPECT_NE(b.getParameter(kIRLength), length0);
    EXPECT_EQ(b.paramValue(kIRLength), 0.0f);
}

TEST_F(ChunkTest, PlainTextLoadsExactlyAsAWrappedChunk) {
    TestPlug a;
    a.set(kBand5Frequency, 1234.0f);
    a.setProgramName("Plain");
    const std::vector<uint8_t> wrapped = chunkOf(a, false);
    TestPlug viaWrapped, viaPlain;
    load(viaWrapped, wrapped, false);
    loadText(viaPlain, textOf(wrapped), false);
    EXPECT_EQ(wholeState(viaPlain), wholeState(viaWrapped));
    EXPECT_STREQ(viaPlain.program(0).name, "Plain");
}

TEST_F(ChunkTest, BankLengthsAndMissingSections) {
    TestPlug plug;
    const float keep = plug.program(5).values[kBand1Gain];
    // 3 presets: programs 3..19 untouched; no "AB": every slot takes the present values.
    std::string text = R"({"presets":[)";
    for (int p = 0; p < 3; ++p)
        text += std::string(p ? "," : "") + R"({"name":"P)" + std::to_string(p) +
                R"(","parameters":{"kBand1Gain":0.75}})";
    text += "]}";
    loadText(plug, text, false);
    EXPECT_STREQ(plug.program(2).name, "P2");
    EXPECT_FLOAT_EQ(plug.program(2).values[kBand1Gain], 0.75f);
    EXPECT_STREQ(plug.program(3).name, "-");
    EXPECT_EQ(plug.program(5).values[kBand1Gain], keep);
    for (int s = 0; s < kNumABSlots; ++s) EXPECT_FLOAT_EQ(plug.abSlot(s).values[kBand1Gain], 0.75f) << s;

    // 25 presets: the first 20 load, names are cut to 23 characters.
    text = R"({"presets":[)";
    for (int p = 0; p < 25; ++p)
        text += std::string(p ? "," : "") + R"({"name":"Name number )" + std::to_string(p) +
                R"( that goes on","parameters":{"kBand1Gain":)" + std::to_string(p / 100.0) + "}}";
    text += R"(],"AB":[{"parameters":{"kBand1Gain":0.9}}]})";
    loadText(plug, text, false);
    EXPECT_STREQ(plug.program(19).name, std::string("Name number 19 that goes on").substr(0, 23).c_str());
    EXPECT_FLOAT_EQ(plug.program(19).values[kBand1Gain], 0.19f);
    EXPECT_FLOAT_EQ(plug.abSlot(0).values[kBand1Gain], 0.9f);
    EXPECT_FLOAT_EQ(plug.abSlot(1).values[kBand1Gain], 0.75f);  // "AB" with one element
}

TEST_F(ChunkTest, BandOrderStoresAtMost32AndKeepsTheRest) {
    TestPlug plug;
    Plug::BandOrder before = plug.bandOrder(1);
    std::string numbers;
    for (int i = 0; i < 40; ++i) {
        if (i > 0) numbers += ",";
        numbers += std::to_string(40 - i);
    }
    loadText(plug, R"({"presets":[{},{"bandOrder":[)" + numbers + "]}]}", false);
    for (int i = 0; i < kNumBands; ++i) EXPECT_EQ(plug.bandOrder(1)[size_t(i)], 40 - i);
    loadText(plug, R"({"presets":[{},{"bandOrder":[5,-1]}]})", false);
    EXPECT_EQ(plug.bandOrder(1)[0], 5);
    EXPECT_EQ(plug.bandOrder(1)[1], -1);
    EXPECT_EQ(plug.bandOrder(1)[2], 38);  // behind the end marker, as it stood
    EXPECT_EQ(before[0], -1);             // a new program's list is empty
}

TEST_F(ChunkTest, RoutingGroupNamesOnlyFromThreeChannelsUp) {
    const std::string text =
        R"({"routing":{"groups":[3,12,48,192,0,0,0,0,99],"groupnames":["Kick","Snare","Hat","Toms","x"]}})";
    TestPlug stereo;
    stereo.setChannels(2);
    const std::string layoutName = stereo.channelNameAt(0);
    loadText(stereo, text, false);
    EXPECT_EQ(stereo.getGroupMask(1), 12u);
    EXPECT_EQ(stereo.channelNameAt(0), layoutName);

    TestPlug quad;
    quad.setChannels(4);
    hostCalls().clear();
    RecordingEditor editor;
    quad.attach(&editor);
    loadText(quad, text, false);
    EXPECT_EQ(quad.getGroupMask(3), 192u);
    EXPECT_STREQ(quad.channelNameAt(0), "Kick");
    EXPECT_STREQ(quad.channelNameAt(3), "Toms");
    EXPECT_STREQ(quad.channelNameAt(4), "5");
    EXPECT_EQ(editor.countOf(kGUIGroupNamesChanged), 4);
}

TEST_F(ChunkTest, UnknownKeysAndParametersAreSkippedAndDisorderIsFoundByName) {
    TestPlug plug;
    const float before = plug.program(0).values[kBand1Frequency];
    loadText(plug,
             R"({"future":{"x":1},"presets":[{"parameters":{"kBand3Gain":0.25,"kNoSuchThing":0.5,)"
             R"("kGUIPresetMenu":0.5,"kbypass":1,"kBypass":1,"kBand3Q":0.125,"kBand1Frequency":"loud"}}]})",
             false);
    EXPECT_FLOAT_EQ(plug.program(0).values[kBand3Gain], 0.25f);
    EXPECT_FLOAT_EQ(plug.program(0).values[kBand3Q], 0.125f);
    EXPECT_FLOAT_EQ(plug.program(0).values[kBypass], 1.0f);
    EXPECT_EQ(plug.program(0).values[kBand1Frequency], before);
}

TEST_F(ChunkTest, DamagedChunksChangeNothing) {
    TestPlug a;
    a.set(kBand4Gain, -0.5f);
    const std::vector<uint8_t> good = chunkOf(a, false);
    TestPlug b;
    const std::vector<float> before = wholeState(b);
    RecordingEditor editor;
    b.attach(&editor);
    const auto unchanged = [&] {
        EXPECT_EQ(wholeState(b), before);
        EXPECT_EQ(editor.countOf(kBand4Gain), 0);
    };
    load(b, std::vector<uint8_t>(good.begin(), good.begin() + long(good.size() / 2)), false);
    unchanged();
    std::vector<uint8_t> corrupt(good);
    corrupt[corrupt.size() / 3] ^= 0x55;
    load(b, corrupt, false);
    unchanged();
    loadText(b, "[1,2,3]", false);  // valid JSON, but not a state
    loadText(b, "{\"presets\": [", true);
    unchanged();
    EXPECT_EQ(b.setChunk(nullptr, 10, false), 0);
}

TEST_F(ChunkTest, InstanceNameIsTakenOnlyBeforeAudioHasRun) {
    ASSERT_EQ(instanceCount(), 0);
    TestPlug plug;
    plug.setChannels(2);
    loadText(plug, R"({"instanceName":"A name that is longer than thirty-one characters"})", false);
    EXPECT_STREQ(plug.getInstanceName(), "A name that is longer than thir");
    EXPECT_TRUE(plug.isInstanceNameSet());

    float buffer[2][16] = {};
    float* io[2] = {buffer[0], buffer[1]};
    plug.processReplacing(io, io, 16);
    ASSERT_TRUE(audioHasRun());
    loadText(plug, R"({"instanceName":"Later"})", true);
    EXPECT_STREQ(plug.getInstanceName(), "A name that is longer than thir");
}

TEST_F(ChunkTest, EditorStateFollowsTheUIFlag) {
    TestPlug a;
    a.editorState().analyserOn = true;
    a.editorState().analyserType = 2;
    a.editorState().lastAB = 5;
    a.editorState().ui.set("Meters", "Scale", 2);
    a.setProgram(4);
    const std::vector<uint8_t> bank = chunkOf(a, false);

    setFlags(kLoadEQ | kLoadDSP);
    TestPlug b;
    load(b, bank, false);
    EXPECT_FALSE(b.editorState().analyserOn);
    EXPECT_EQ(b.getProgram(), 0);

    setFlags(-1);
    load(b, bank, false);
    EXPECT_TRUE(b.editorState().analyserOn);
    EXPECT_EQ(b.editorState().analyserType, 2);
    EXPECT_EQ(b.editorState().lastAB, 5);
    EXPECT_EQ(b.getProgram(), 4);
    EXPECT_EQ(b.editorState().ui.get("Meters", "Scale"), a.editorState().ui.get("Meters", "Scale"));
}

TEST_F(ChunkTest, LoadingClearsTheUndoHistory) {
    TestPlug plug;
    plug.beginEdit(kBand1Gain);
    plug.setParameterAutomated(kBand1Gain, 0.9f);
    plug.endEdit(kBand1Gain);
    ASSERT_TRUE(plug.canUndo());
    load(plug, chunkOf(plug, true), true);
    EXPECT_FALSE(plug.canUndo());
    EXPECT_FALSE(plug.canRedo());
}

TEST_F(ChunkTest, DefaultBankThenFactoryBankAtConstruction) {
    const std::string folder = userBankFolder();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
    const std::string resources = dataHome() + "/bundle-resources";
    std::filesystem::create_directories(resources);
    setResourcesFolder(resources);

    TestPlug source;
    source.setProgramName("From factory");
    const std::vector<uint8_t> factory = chunkOf(source, false);
    writeFile(resources + "/Factory Bank.tsi", factory.data(), factory.size());
    {
        TestPlug fresh;
        EXPECT_STREQ(fresh.program(0).name, "From factory");
        EXPECT_TRUE(fresh.editorState().wizardPending);
        EXPECT_TRUE(std::filesystem::is_directory(folder));
        fresh.setProgramName("Mine");
        fresh.ensureDefaultBank();
    }
    TestPlug next;
    EXPECT_STREQ(next.program(0).name, "Mine");
    EXPECT_FALSE(next.editorState().wizardPending);
    EXPECT_EQ(next.getDefaultBankPath(), folder + "/Default Bank.tsi");
    setResourcesFolder("");
    std::filesystem::remove_all(folder, ignored);
}

// The preset tree on disk and the browser that the preset menu drives, with real files in the
// test's own home and a scripted file chooser.

#include <cjson/cJSON.h>

#include <deque>
#include <filesystem>
#include <optional>

#include "ChunkCodec.h"
#include "PlugFixture.h"
#include "PlugPresetHost.h"
#include "PresetBrowser.h"
#include "PresetFolders.h"
#include "PresetLibrary.h"
#include "StringStore.h"

namespace fs = std::filesystem;

namespace {

// Answers each request with the next scripted path (nullopt cancels) and remembers it.
class ScriptedChooser : public FileChooser {
public:
    void choose(const FileRequest& request, std::function<void(const std::string*)> done) override {
        requests.push_back(request);
        std::optional<std::string> answer;
        if (!answers.empty()) {
            answer = answers.front();
            answers.pop_front();
        }
        done(answer ? &*answer : nullptr);
    }
    std::deque<std::optional<std::string>> answers;
    std::vector<FileRequest> requests;
};

std::vector<std::string> keysOf(const cJSON* node) {
    std::vector<std::string> keys;
    for (const cJSON* c = node != nullptr ? node->child : nullptr; c != nullptr; c = c->next) keys.push_back(c->string);
    return keys;
}

void writeText(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    writeFile(path.string(), text.data(), text.size());
}

// A preset document setting band 1's gain, optionally named.
std::string presetText(float gain, const char* name = nullptr) {
    std::string text = R"({"parameters":{"kBand1Gain":)" + std::to_string(gain) + "}";
    if (name) text += std::string(R"(,"name":")") + name + "\"";
    return text + "}";
}

class PresetTest : public PlugTest {
protected:
    void SetUp() override {
        PlugTest::SetUp();
        writeLoadingFlags(StringStore(), -1);
        folder = presetFolder();
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }
    void TearDown() override {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
        PlugTest::TearDown();
    }
    float gain() { return plug.program(plug.getProgram()).values[kBand1Gain]; }
    const char* name() { return plug.program(plug.getProgram()).name; }

    std::string folder;
    TestPlug plug;
    PlugPresetHost host{plug};
    ScriptedChooser chooser;
};

}  // namespace

TEST_F(PresetTest, FolderScanListsPresetsByNumberThenFoldersAndBanksAsSubLists) {
    writeText(folder + "10 A.tsi", presetText(0.1f));
    writeText(folder + "2 B.tsi", presetText(0.2f));
    writeText(folder + "C.tsi", presetText(0.3f));
    writeText(folder + "1 Sub/inner.tsi", presetText(0.4f));
    writeText(folder + ".hidden.tsi", presetText(0.5f));
    writeText(folder + "loud.TSI", presetText(0.5f));
    writeText(folder + "notes.txt", "x");
    writeText(folder + "two.dots.tsi", presetText(0.6f));
    writeText(folder + "broken.tsi", "{ not json");
    writeText(folder + "X.tsb", R"({"presets":[{"name":"b","parameters":{}},{"NAME":"a","parameters":{}}]})");

    PresetBrowser browser(host, &chooser);
    browser.rebuild();
    EXPECT_EQ(keysOf(browser.root()),
              (std::vector<std::string>{"C", "broken", "two.dots", "2 B", "10 A", "X", "1 Sub"}));
    EXPECT_EQ(keysOf(cJSON_GetObjectItem(browser.root(), "1 Sub")), std::vector<std::string>{"inner"});
    EXPECT_EQ(keysOf(cJSON_GetObjectItem(browser.root(), "X")), (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(cJSON_IsNull(cJSON_GetObjectItem(browser.root(), "broken")));

    // The order rules on their own.
    EXPECT_TRUE(presetEntryLess({false, "9 z", nullptr}, {true, "0 a", nullptr}));
    EXPECT_TRUE(presetEntryLess({false, "2", nullptr}, {false, "10", nullptr}));
    EXPECT_TRUE(presetEntryLess({false, "B", nullptr}, {false, "a", nullptr}));
    EXPECT_FALSE(presetEntryLess({false, "a", nullptr}, {false, "a", nullptr}));
}

TEST_F(PresetTest, ChoosingAPresetLoadsItUnderTheListsNameAndPrevNextStopAtTheEnds) {
    writeText(folder + "Vocals/1 Air.tsi", presetText(0.1f, "Name in file"));
    writeText(folder + "Vocals/2 Body.tsi", presetText(0.2f));
    writeText(folder + "Vocals/3 Broken.tsi", "garbage");
    PresetBrowser browser(host, &chooser);
    browser.rebuild();
    const cJSON* vocals = cJSON_GetObjectItem(browser.root(), "Vocals");
    ASSERT_NE(vocals, nullptr);

    plug.setProgram(3);
    browser.loadFromList(vocals, 0);
    EXPECT_EQ(plug.getProgram(), 3);
    EXPECT_FLOAT_EQ(gain(), 0.1f);
    EXPECT_STREQ(name(), "1 Air");
    EXPECT_FALSE(browser.prevEnabled());
    EXPECT_TRUE(browser.nextEnabled());

    browser.next();
    EXPECT_FLOAT_EQ(gain(), 0.2f);
    EXPECT_STREQ(name(), "2 Body");
    browser.next();  // a file that did not parse loads nothing
    EXPECT_FLOAT_EQ(gain(), 0.2f);
    EXPECT_STREQ(name(), "2 Body");
    EXPECT_FALSE(browser.nextEnabled());

    plug.setParameter(kBand1Gain, 0.9f);
    browser.next();  // at the end: the index stays
    EXPECT_EQ(browser.currentListIndex(), 2);
    browser.prev();
    browser.prev();
    browser.prev();  // at the start the same preset loads again
    EXPECT_EQ(browser.currentListIndex(), 0);
    EXPECT_FLOAT_EQ(gain(), 0.1f);
    EXPECT_FALSE(browser.prevEnabled());
}

TEST_F(PresetTest, TheRootRecallsProgramsAndSkipsDashNames) {
    PresetBrowser browser(host, &chooser);
    browser.rebuild();
    plug.setProgramNameIndexed("Kick", 0);
    plug.setProgramNameIndexed("Snare", 2);
    EXPECT_EQ(browser.programEntries(), (std::vector<std::string>{"Kick", "Snare"}));

    browser.loadFromList(browser.root(), 2);
    EXPECT_EQ(plug.getProgram(), 2);
    EXPECT_EQ(browser.currentList(), browser.root());
    browser.next();
    EXPECT_EQ(plug.getProgram(), 3);
    EXPECT_TRUE(browser.prevEnabled());
    plug.setProgram(19);
    browser.next();
    EXPECT_EQ(plug.getProgram(), 19);
    plug.setProgram(0);
    browser.prev();
    EXPECT_EQ(plug.getProgram(), 0);
}

TEST_F(PresetTest, SaveAndOpenThroughTheChooser) {
    PresetBrowser browser(host, &chooser);
    plug.setParameter(kBand1Gain, 0.25f);
    plug.setProgramName("Saved");
    const std::string target = folder + "Mine/Saved one.tsi";
    fs::create_directories(folder + "Mine");
    chooser.answers = {target};
    browser.savePreset();
    ASSERT_EQ(chooser.requests.size(), 1u);
    EXPECT_TRUE(chooser.requests[0].save);
    EXPECT_EQ(chooser.requests[0].title, "Choose destination filename");
    EXPECT_EQ(chooser.requests[0].type, "tsi");
    EXPECT_EQ(fs::path(chooser.requests[0].initialPath).filename(), "Tessarine Preset.tsi");
    // The saved file is listed at once.
    EXPECT_EQ(keysOf(cJSON_GetObjectItem(browser.root(), "Mine")), std::vector<std::string>{"Saved one"});

    // Load Preset of a file without a name leaves "Imported".
    const std::string nameless = fs::path(folder).parent_path().string() + "/nameless.tsi";
    writeText(nameless, presetText(0.75f));
    chooser.answers = {nameless};
    browser.openPreset();
    EXPECT_EQ(chooser.requests.back().title, "Select preset file");
    EXPECT_FLOAT_EQ(gain(), 0.75f);
    EXPECT_STREQ(name(), "Imported");

    // A cancelled dialog changes nothing.
    chooser.answers = {std::nullopt};
    browser.openPreset();
    EXPECT_FLOAT_EQ(gain(), 0.75f);
    chooser.answers = {target};
    browser.openPreset();
    EXPECT_FLOAT_EQ(gain(), 0.25f);
    EXPECT_STREQ(name(), "Saved");
}

TEST_F(PresetTest, AnOpenedBankBecomesTheListPrevAndNextWalk) {
    const std::string bankFile = dataHome() + "/some.tsb";
    writeText(bankFile, R"({"presets":[{"name":"Zed","parameters":{"kBand1Gain":0.3}},{"name":"-"},)"
                        R"({"name":"Alpha","parameters":{"kBand1Gain":0.1}}]})");
    PresetBrowser browser(host, &chooser);
    browser.rebuild();
    const std::string before = plug.program(5).name;
    chooser.answers = {bankFile};
    browser.openBank();
    EXPECT_EQ(chooser.requests.back().title, "Select preset bank");
    EXPECT_EQ(keysOf(browser.currentList()), (std::vector<std::string>{"Alpha", "Zed"}));
    EXPECT_FLOAT_EQ(gain(), 0.1f);
    EXPECT_STREQ(name(), "Alpha");
    EXPECT_EQ(plug.program(5).name, before);  // the 20 programs are not replaced
    browser.next();
    EXPECT_STREQ(name(), "Zed");
    EXPECT_FALSE(browser.nextEnabled());
}

TEST_F(PresetTest, UiprefsOfAPresetApplyOnlyWithTheUIFlag) {
    writeText(folder + "Looks/Big.tsi", R"({"name":"Big","uiprefs":{"Layout":{"UI Size":{"value":4}}}})");
    PresetBrowser browser(host, &chooser);
    browser.rebuild();
    const cJSON* looks = cJSON_GetObjectItem(browser.root(), "Looks");
    const int32_t size = plug.editorState().ui.get("Layout", "UI Size");
    ASSERT_NE(size, 4);
    browser.setLoadingFlag(2, false);
    EXPECT_EQ(plug.getLoadingFlags() & kLoadUI, 0);
    browser.loadFromList(looks, 0);
    EXPECT_EQ(plug.editorState().ui.get("Layout", "UI Size"), size);
    browser.setLoadingFlag(2, true);
    browser.loadFromList(looks, 0);
    EXPECT_EQ(plug.editorState().ui.get("Layout", "UI Size"), 4);
}

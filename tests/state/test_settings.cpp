#include <cjson/cJSON.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "GlobalSettings.h"
#include "Resources.h"
#include "StringStore.h"
#include "UISettings.h"

namespace fs = std::filesystem;

namespace {

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

void writeFile(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

// Every user-level path points into a fresh temporary folder for the length of a test.
class SettingsTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tess-settings-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        root_ = pattern;
        for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME"}) {
            const char* old = std::getenv(name);
            saved_.push_back({name, old != nullptr ? old : "", old != nullptr});
        }
        setenv("HOME", root_.c_str(), 1);
        setenv("XDG_CONFIG_HOME", (root_ / "config").c_str(), 1);
        setenv("XDG_DATA_HOME", (root_ / "data").c_str(), 1);
    }
    void TearDown() override {
        for (const Saved& s : saved_) {
            if (s.present) setenv(s.name, s.value.c_str(), 1);
            else unsetenv(s.name);
        }
        std::error_code ec;
        fs::remove_all(root_, ec);
    }

    fs::path folder() const { return root_ / "config" / "Ondelane" / "Tessarine"; }
    fs::path globalsFile() const { return folder() / "globals"; }

    struct Saved {
        const char* name;
        std::string value;
        bool present;
    };
    fs::path root_;
    std::vector<Saved> saved_;
};

std::vector<std::string> memberNames(const cJSON* object) {
    std::vector<std::string> names;
    for (const cJSON* c = object != nullptr ? object->child : nullptr; c != nullptr; c = c->next)
        names.push_back(c->string != nullptr ? c->string : "");
    return names;
}

}  // namespace

// ---- Resources ----

TEST(Resources, EmbedsTheFilesByteForByteAndFindsThemIgnoringCase) {
    fs::path source = fs::path(__FILE__).parent_path().parent_path().parent_path() / "resources";
    for (const char* name : {"defaults", "uisettings"}) {
        ResourceData data{nullptr, 0};
        ASSERT_TRUE(findResource("JSON", name, &data)) << name;
        std::string onDisk = readFile(source / (std::string(name) + ".json"));
        ASSERT_FALSE(onDisk.empty());
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(data.data), data.size), onDisk);
        EXPECT_EQ(data.data[data.size], 0) << "text resources end in a zero byte";
    }
    ResourceData upper{nullptr, 0}, lower{nullptr, 0};
    EXPECT_TRUE(findResource("json", "DEFAULTS", &upper));
    EXPECT_TRUE(findResource("Json", "UiSettings", &lower));
    EXPECT_NE(upper.data, lower.data);

    ResourceData untouched{nullptr, 7};
    EXPECT_FALSE(findResource("XML", "defaults", &untouched));
    EXPECT_FALSE(findResource("JSON", "default", &untouched));
    EXPECT_FALSE(findResource("JSON", 101, &untouched));
    EXPECT_EQ(untouched.data, nullptr);
    EXPECT_EQ(untouched.size, 7u);
}

TEST(Resources, DocumentsHoldTheSettingsInDisplayOrder) {
    UISettings ui;
    ASSERT_NE(ui.document(), nullptr);
    EXPECT_EQ(memberNames(ui.document()), (std::vector<std::string>{"Layout", "Graph", "BandStrips",
                                                                     "Meters", "Analyser", "Misc"}));
    const cJSON* bend = ui.find("Misc", "MIDI Bend Range");
    const cJSON* choices = cJSON_GetObjectItem(bend, "values");
    ASSERT_EQ(cJSON_GetArraySize(choices), 13);
    EXPECT_STREQ(cJSON_GetStringValue(cJSON_GetArrayItem(choices, 12)), "24");
    for (const cJSON* section = ui.document()->child; section; section = section->next)
        for (const cJSON* setting = section->child; setting; setting = setting->next) {
            int count = cJSON_GetArraySize(cJSON_GetObjectItem(setting, "values"));
            int value = cJSON_GetObjectItem(setting, "value")->valueint;
            EXPECT_TRUE(value >= 0 && value < count) << section->string << "/" << setting->string;
            EXPECT_EQ(cJSON_GetObjectItem(setting, "page"), nullptr);
        }
}

// ---- String store ----

TEST_F(SettingsTest, StoreLivesUnderTheConfigHomeAndStartsEmpty) {
    StringStore store;
    EXPECT_EQ(fs::path(store.folder()), folder());
    std::string text = "untouched";
    EXPECT_FALSE(store.read(kValueGlobals, &text));
    EXPECT_EQ(text, "untouched");

    // A relative XDG_CONFIG_HOME is not valid and falls back to HOME/.config.
    setenv("XDG_CONFIG_HOME", "relative", 1);
    EXPECT_EQ(fs::path(StringStore().folder()), root_ / ".config" / "Ondelane" / "Tessarine");
    unsetenv("XDG_CONFIG_HOME");
    EXPECT_EQ(fs::path(StringStore().folder()), root_ / ".config" / "Ondelane" / "Tessarine");
}

TEST_F(SettingsTest, StoreReplacesAValueWholeThroughANewFile) {
    StringStore store;
    ASSERT_TRUE(store.write(kValuePath, "a long first value that is longer than the second"));
    // A second name for the old file: an in-place rewrite would change what it shows.
    fs::path snapshot = root_ / "snapshot";
    ASSERT_EQ(link((folder() / kValuePath).c_str(), snapshot.c_str()), 0);

    ASSERT_TRUE(store.write(kValuePath, "short"));
    std::string text;
    ASSERT_TRUE(store.read(kValuePath, &text));
    EXPECT_EQ(text, "short");
    EXPECT_EQ(readFile(snapshot), "a long first value that is longer than the second");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder()), fs::directory_iterator()), 1)
        << "no temporary file is left behind";

    EXPECT_FALSE(store.read(kValuePath, &text, 4)) << "longer than the limit reads as absent";
    EXPECT_FALSE(store.write("../escape", "x"));
}

TEST_F(SettingsTest, UnwritableFolderKeepsTheOldValue) {
    StringStore store;
    ASSERT_TRUE(store.write(kValueGlobals, "{\"old\":1}"));
    int dir = open(folder().c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_GE(dir, 0);
    int flags = 0;
    bool immutable = false;
    if (geteuid() == 0) {
        // Permissions do not stop root; the immutable attribute does.
        immutable = ioctl(dir, FS_IOC_GETFLAGS, &flags) == 0 &&
                    (flags |= FS_IMMUTABLE_FL, ioctl(dir, FS_IOC_SETFLAGS, &flags) == 0);
        if (!immutable) {
            close(dir);
            GTEST_SKIP() << "cannot make a folder unwritable as root here";
        }
    } else {
        chmod(folder().c_str(), 0500);
    }

    EXPECT_FALSE(store.write(kValueGlobals, "{\"new\":2}"));
    std::string text;
    EXPECT_TRUE(store.read(kValueGlobals, &text));
    EXPECT_EQ(text, "{\"old\":1}");

    if (immutable) {
        flags &= ~FS_IMMUTABLE_FL;
        ioctl(dir, FS_IOC_SETFLAGS, &flags);
    }
    close(dir);
    chmod(folder().c_str(), 0700);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder()), fs::directory_iterator()), 1);
}

TEST_F(SettingsTest, StoreBlockedByAFileFailsQuietly) {
    writeFile(root_ / "config" / "Ondelane", "a file where the folder should be");
    StringStore store;
    EXPECT_FALSE(store.write(kValueGlobals, "{}"));
    std::string text;
    EXPECT_FALSE(store.read(kValueGlobals, &text));
    int32_t loading = 5;
    EXPECT_FALSE(readLoadingFlags(store, &loading));
    EXPECT_EQ(loading, 5);
}

TEST_F(SettingsTest, LoadingFlagsRoundTripAsDecimalText) {
    StringStore store;
    ASSERT_TRUE(writeLoadingFlags(store, -1));
    EXPECT_EQ(readFile(folder() / kValueLoadingFlags), "-1");
    int32_t flags = 0;
    ASSERT_TRUE(readLoadingFlags(store, &flags));
    EXPECT_EQ(flags, -1);
}

// ---- Global settings ----

TEST_F(SettingsTest, FreshMachineWritesAllDefaultsOnce) {
    GlobalSettings first;
    EXPECT_EQ(first.overrides(), nullptr);
    EXPECT_EQ(first.getValue(kSettingFFTThrottle), -1);
    ASSERT_TRUE(first.installDefaultsFromResource());

    std::string stored = readFile(globalsFile());
    EXPECT_EQ(stored.find_first_of("\n\t"), std::string::npos) << "unformatted: " << stored;
    EXPECT_EQ(stored.find(": "), std::string::npos) << "unformatted: " << stored;
    cJSON* parsed = cJSON_Parse(stored.c_str());
    ASSERT_NE(parsed, nullptr);
    std::vector<std::string> rows;
    for (int i = 0; i < first.settingCount(); ++i) rows.push_back(first.settingName(i));
    EXPECT_EQ(rows.size(), 11u);
    EXPECT_EQ(memberNames(parsed), rows);
    EXPECT_EQ(cJSON_GetObjectItem(parsed, "A/B Toggle")->valueint, 1);
    cJSON_Delete(parsed);

    EXPECT_EQ(first.getValue(kSettingFFTThrottle), 1);
    EXPECT_EQ(first.getValue("fft UPDATE throttle"), 1);
    AudioGlobals audio;
    audio.fftThrottle = 0;
    readAudioGlobals(first, &audio);
    EXPECT_EQ(audio.fftThrottle.load(), 20);

    // A later instance reads the stored choices and leaves them as they are.
    first.setValue(kSettingClipThreshold, 1);
    GlobalSettings second;
    second.installDefaultsFromResource();
    EXPECT_EQ(second.getValue("clip THRESHOLD"), 1);
    EXPECT_EQ(cJSON_GetObjectItem(second.overrides(), kSettingClipThreshold)->valuedouble, 1.0);
}

TEST_F(SettingsTest, GetValueFallsBackInItsOrder) {
    writeFile(globalsFile(), "{\"MIDI Disabled\":1}");
    GlobalSettings settings;
    EXPECT_EQ(settings.getValue("midi disabled"), 1);
    EXPECT_EQ(settings.getValue(kSettingSoloMode), 0) << "no defaults yet";

    settings.installDefaults("{\"Solo Mode\":{\"value\":1},\"Bare\":{\"page\":1}}");
    EXPECT_EQ(readFile(globalsFile()), "{\"MIDI Disabled\":1}") << "overrides existed: no save";
    EXPECT_EQ(settings.getValue("SOLO MODE"), 1);
    EXPECT_EQ(settings.getValue("Nothing"), -2);
    EXPECT_EQ(settings.getValue("Bare"), -3);
    EXPECT_EQ(settings.settingPage(0), 0);
    EXPECT_EQ(settings.choiceCount(1), 0);

    // An appended override wins over the row from then on, and is stored at once.
    settings.setValue("solo mode", 0);
    EXPECT_EQ(settings.getValue(kSettingSoloMode), 0);
    GlobalSettings reread;
    EXPECT_EQ(reread.getValue(kSettingSoloMode), 0);
    EXPECT_EQ(reread.getValue(kSettingMIDIDisabled), 1);
}

TEST_F(SettingsTest, UnusableStoredGlobalsAreIgnored) {
    const std::string oversized = "{\"A\":1" + std::string(8200, ' ') + "}";
    for (const std::string& bad : {std::string("{\"FFT Update throttle\":"), std::string("[1,2]"),
                                   std::string("7"), std::string(""), oversized}) {
        writeFile(globalsFile(), bad);
        GlobalSettings settings;
        EXPECT_EQ(settings.overrides(), nullptr) << bad.substr(0, 30);
        settings.setValue(kSettingFFTThrottle, 2);
        EXPECT_EQ(readFile(globalsFile()), bad) << "no overrides: setValue does nothing";

        settings.installDefaultsFromResource();
        EXPECT_EQ(settings.getValue(kSettingFFTThrottle), 1);
        cJSON* stored = cJSON_Parse(readFile(globalsFile()).c_str());
        EXPECT_EQ(cJSON_GetArraySize(stored), 11);
        cJSON_Delete(stored);
    }
    // A text where a number belongs is replaced by a number under the same key.
    writeFile(globalsFile(), "{\"Solo Mode\":\"Mute\"}");
    GlobalSettings settings;
    settings.setValue("solo mode", 1);
    EXPECT_EQ(readFile(globalsFile()), "{\"Solo Mode\":1}");
}

TEST_F(SettingsTest, PreferencesListWalksTheRows) {
    GlobalSettings settings;
    EXPECT_EQ(settings.settingCount(), 0);
    EXPECT_EQ(settings.settingName(0), nullptr);
    settings.installDefaultsFromResource();
    EXPECT_STREQ(settings.settingName(0), "FFT Update throttle");
    EXPECT_EQ(settings.settingPage(8), 1);
    EXPECT_EQ(settings.settingPage(9), 0);
    EXPECT_EQ(settings.choiceCount(8), 3);
    EXPECT_STREQ(settings.choiceText(8, 2), "Nonempty");
    EXPECT_EQ(settings.choiceText(8, 3), nullptr);
    EXPECT_EQ(settings.settingName(11), nullptr);
    EXPECT_EQ(settings.choiceCount(11), 0);
    EXPECT_EQ(settings.settingPage(-1), 0);
}

TEST_F(SettingsTest, DerivedFieldsForEveryIndex) {
    GlobalSettings settings;
    // No overrides: every read gives -1, which takes the "other index" branch of each rule.
    AudioGlobals audio;
    readAudioGlobals(settings, &audio);
    EXPECT_EQ(audio.fftThrottle.load(), 40);
    EXPECT_FALSE(audio.autoListenEnabled.load());
    EXPECT_TRUE(audio.midiDisabled.load());
    EXPECT_FALSE(audio.soloMuteMode.load());
    EXPECT_TRUE(audio.soloSelectMode.load());
    EXPECT_TRUE(audio.abAutomation.load());
    EXPECT_EQ(audio.clipThreshold.load(), 0.988553);

    settings.installDefaultsFromResource();
    struct Case {
        int32_t index;
        int32_t throttle;
        bool listenEnabled, midiOff, muteMode, abAll;
        double clip;
    };
    for (const Case& c : {Case{0, 10, true, false, false, false, 1.0},
                          Case{1, 20, false, true, true, true, 0.988553},
                          Case{2, 40, false, true, false, true, 0.988553},
                          Case{9, 40, false, true, false, true, 0.988553},
                          Case{-5, 40, false, true, false, true, 0.988553}}) {
        for (const char* name : {kSettingFFTThrottle, kSettingAutoListenDisabled, kSettingMIDIDisabled,
                                 kSettingSoloMode, kSettingABAutomation, kSettingClipThreshold,
                                 kSettingAutoListenGain, kSettingAutoListenQ,
                                 kSettingAutoListenIgnoresQ, kSettingABToggle, kSettingProToolsOptShift})
            settings.setValue(name, c.index);
        readAudioGlobals(settings, &audio);
        SCOPED_TRACE(c.index);
        EXPECT_EQ(audio.fftThrottle.load(), c.throttle);
        EXPECT_EQ(audio.autoListenEnabled.load(), c.listenEnabled);
        EXPECT_EQ(audio.midiDisabled.load(), c.midiOff);
        EXPECT_EQ(audio.soloMuteMode.load(), c.muteMode);
        EXPECT_EQ(audio.soloSelectMode.load(), !c.muteMode);
        EXPECT_EQ(audio.abAutomation.load(), c.abAll);
        EXPECT_EQ(audio.clipThreshold.load(), c.clip);
        EXPECT_EQ(audio.autoListenGain.load(), c.index);
        EXPECT_EQ(audio.autoListenQ.load(), c.index);
        EXPECT_EQ(audio.autoListenIgnoresQ.load(), c.index);
        EditorGlobals editor;
        readEditorGlobals(settings, &editor);
        EXPECT_EQ(editor.abToggleMode, c.index);
        EXPECT_EQ(editor.proToolsOptShift, c.index);
    }
}

// ---- UI settings ----

TEST(UISettingsDoc, LookupsBySectionAndName) {
    UISettings ui;
    EXPECT_EQ(ui.get("Layout", "UI Size"), 2);
    EXPECT_EQ(ui.get("LAYOUT", "ui size"), 2);
    EXPECT_EQ(ui.get("Layout", "Graph"), 1);
    EXPECT_EQ(ui.get("Graph", "Range"), 3);
    EXPECT_EQ(ui.get("Analyser", "range"), 0);
    EXPECT_EQ(ui.get("Layout", "Nothing"), 0);
    EXPECT_EQ(ui.get("Nothing", "UI Size"), 0);

    ui.set("graph", "RANGE", 5);
    const cJSON* value = cJSON_GetObjectItem(ui.find("Graph", "Range"), "value");
    EXPECT_EQ(value->valueint, 5);
    EXPECT_EQ(value->valuedouble, 5.0);
    EXPECT_EQ(ui.get("Analyser", "Range"), 0) << "same name, other section";
    ui.set("Graph", "Nothing", 4);
    EXPECT_EQ(ui.find("Graph", "Nothing"), nullptr);

    UISettings broken("{\"Layout\":");
    EXPECT_EQ(broken.document(), nullptr);
    EXPECT_EQ(broken.get("Layout", "UI Size"), 0);
    broken.set("Layout", "UI Size", 3);
    broken.merge(ui.document());
    EXPECT_EQ(broken.document(), nullptr);
}

TEST(UISettingsDoc, EditorDependents) {
    UISettings ui;
    EditorDependents deps;
    readEditorDependents(&ui, &deps);
    EXPECT_EQ(deps.bendRange.load(), 0.25);
    EXPECT_FALSE(deps.simpleNumbers.load());

    ui.set("Misc", "MIDI Bend Range", 12);
    ui.set("Misc", "Number format", 1);
    ui.set("Misc", "Show True Q", 1);
    ui.set("Meters", "Ballistic Type", 3);
    readEditorDependents(&ui, &deps);
    EXPECT_EQ(deps.bendRange.load(), 2.0);
    EXPECT_TRUE(deps.simpleNumbers.load());
    EXPECT_TRUE(deps.showTrueQ.load());
    EXPECT_EQ(deps.meterBallisticType.load(), 0) << "read from \"Meter\", which does not exist";
    ui.set("Misc", "MIDI Bend Range", 11);
    readEditorDependents(&ui, &deps);
    EXPECT_EQ(deps.bendRange.load(), 1.0);

    readEditorDependents(nullptr, &deps);
    EXPECT_EQ(deps.bendRange.load(), 1.0) << "no editor: kept";
    UISettings empty(nullptr);
    readEditorDependents(&empty, &deps);
    EXPECT_DOUBLE_EQ(deps.bendRange.load(), 1.0 / 12.0);
    EXPECT_FALSE(deps.showTrueQ.load());
}

TEST(UISettingsDoc, MergeKeepsTheLiveStructure) {
    UISettings live;
    for (cJSON* section = live.document()->child; section; section = section->next)
        cJSON_AddNumberToObject(section, "open", 0);
    live.set("Graph", "Handles", 2);

    // Reordered sections and settings, names in other case, an extra section and setting,
    // a missing section ("Graph"), an "open" of its own and an index outside the choices.
    UISettings loaded(R"({
        "Misc": {"MIDI Bend Range": {"value": 12}, "Hide Mouse": {"value": 1}},
        "Future": {"UI Size": {"value": 4}},
        "layout": {"Keyboard": {"value": 0}, "open": 1, "Newer": {"value": 3},
                   "ui size": {"value": 42}, "Graph": {"values": []}},
        "Meters": {"Scale": {"value": 2}},
        "Analyser": 5
    })");
    live.merge(loaded.document());

    EXPECT_EQ(live.get("Misc", "MIDI Bend Range"), 12);
    EXPECT_EQ(live.get("Misc", "Hide Mouse"), 1);
    EXPECT_EQ(live.get("Misc", "Refresh Rate"), 2);
    EXPECT_EQ(live.get("Layout", "Keyboard"), 0);
    EXPECT_EQ(live.get("Layout", "UI Size"), 42);
    EXPECT_EQ(cJSON_GetObjectItem(live.find("Layout", "UI Size"), "value")->valuedouble, 42.0);
    EXPECT_EQ(live.get("Layout", "Graph"), 1) << "loaded setting without a value";
    EXPECT_EQ(live.get("Graph", "Handles"), 2) << "section missing from the loaded document";
    EXPECT_EQ(live.get("Meters", "Scale"), 2);
    EXPECT_EQ(live.get("Analyser", "Decay"), 2);
    EXPECT_EQ(live.find("Layout", "Newer"), nullptr);
    EXPECT_EQ(cJSON_GetObjectItem(live.document(), "Future"), nullptr);
    EXPECT_EQ(cJSON_GetObjectItem(cJSON_GetObjectItem(live.document(), "Layout"), "open")->valueint, 0);
    EXPECT_EQ(memberNames(live.document()), (std::vector<std::string>{"Layout", "Graph", "BandStrips",
                                                                       "Meters", "Analyser", "Misc"}));

    cJSON* array = cJSON_Parse("[{\"UI Size\":{\"value\":0}}]");
    mergeUISettings(array, live.document());
    mergeUISettings(nullptr, live.document());
    EXPECT_EQ(live.get("Layout", "UI Size"), 42);
    cJSON_Delete(array);
}

#pragma once
// What the preset menu, its Prev and Next buttons, the load and save buttons and the loading
// flag buttons do, without a window: the editor shows this object's lists and forwards its
// controls here. Files are chosen through a FileChooser, which may answer later.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

struct cJSON;

// What the browser needs of the effect.
class PresetHost {
public:
    virtual ~PresetHost() = default;
    virtual int32_t programCount() = 0;
    virtual int32_t currentProgram() = 0;
    virtual void selectProgram(int32_t program) = 0;
    virtual std::string programName(int32_t program) = 0;
    virtual void renameProgram(int32_t program, const char* name) = 0;
    virtual void loadPresetInto(const cJSON* node, int32_t program) = 0;
    virtual void loadEditorState(const cJSON* root, bool isPreset) = 0;
    virtual int32_t loadingFlags() = 0;
    virtual void setLoadingFlags(int32_t flags) = 0;
    virtual std::vector<uint8_t> saveState(bool isPreset) = 0;
    virtual void loadState(const std::vector<uint8_t>& data, bool isPreset) = 0;
};

struct FileRequest {
    bool save = false;
    std::string title;
    std::string initialPath;
    std::string type;  // extension without the dot
};

class FileChooser {
public:
    virtual ~FileChooser() = default;
    // Calls `done` once, with the chosen path or null when cancelled, now or later on the
    // editor's thread.
    virtual void choose(const FileRequest& request, std::function<void(const std::string* path)> done) = 0;
};

class PresetBrowser {
public:
    PresetBrowser(PresetHost& host, FileChooser* chooser);
    ~PresetBrowser();
    PresetBrowser(const PresetBrowser&) = delete;
    PresetBrowser& operator=(const PresetBrowser&) = delete;

    // Lists the preset folder afresh; the list Prev and Next walk goes back to the root.
    void rebuild();
    // The program names the menu shows above the folder's entries ("-" is left out).
    std::vector<std::string> programEntries();

    const cJSON* root() const { return presetRoot; }
    const cJSON* currentList() const { return list; }
    int32_t currentListIndex() const { return listIndex; }

    // A choice in a menu: `list` is the object of the menu chosen in, `index` the entry's
    // position in it. At the root, positions below the program count recall a program.
    void loadFromList(const cJSON* list, int32_t index);
    void prev();
    void next();
    bool prevEnabled() const;
    bool nextEnabled() const;

    void saveBank();
    void savePreset();
    // Reads a preset file into the current program, named "Imported" unless the file names it.
    void openPreset();
    // A bank file becomes the list Prev and Next walk; its first preset is loaded.
    void openBank();
    // The EQ, DSP and UI buttons (bits 0, 1, 2).
    void setLoadingFlag(int32_t bit, bool on);

private:
    void step(int32_t direction);
    void loadChild(const cJSON* child);
    // Asks the chooser; the answer reaches `answered` unless this object is gone by then.
    void ask(bool save, const char* title, std::string initialPath, const char* type,
             void (PresetBrowser::*answered)(const std::string* path));
    void writeBank(const std::string* path);
    void writePreset(const std::string* path);
    void writeState(const std::string* path, bool isPreset);
    void readPreset(const std::string* path);
    void readBank(const std::string* path);

    PresetHost& host;
    FileChooser* chooser;
    cJSON* presetRoot = nullptr;
    cJSON* loadedBank = nullptr;
    const cJSON* list = nullptr;
    int32_t listIndex = 0;
    // Answers of a chooser that arrive after this object is gone are dropped.
    std::shared_ptr<PresetBrowser*> self;
};

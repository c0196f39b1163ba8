#include "PresetBrowser.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cstring>

#include "ChunkCodec.h"
#include "PresetFolders.h"
#include "PresetLibrary.h"

namespace {

constexpr int32_t kNameLimit = 23;

int32_t childCount(const cJSON* node) { return node != nullptr ? cJSON_GetArraySize(node) : 0; }

}  // namespace

PresetBrowser::PresetBrowser(PresetHost& host_, FileChooser* chooser_)
    : host(host_), chooser(chooser_), self(std::make_shared<PresetBrowser*>(this)) {
    presetRoot = cJSON_CreateObject();
    list = presetRoot;
}

PresetBrowser::~PresetBrowser() {
    *self = nullptr;
    cJSON_Delete(presetRoot);
    cJSON_Delete(loadedBank);
}

void PresetBrowser::rebuild() {
    cJSON_Delete(presetRoot);
    presetRoot = cJSON_CreateObject();
    list = presetRoot;
    listIndex = 0;
    scanPresetFolder(presetRoot, presetFolder());
}

std::vector<std::string> PresetBrowser::programEntries() {
    std::vector<std::string> names;
    for (int32_t i = 0; i < host.programCount(); ++i) {
        std::string name = host.programName(i);
        if (name != "-") names.push_back(std::move(name));
    }
    return names;
}

void PresetBrowser::loadChild(const cJSON* child) {
    // A file that did not parse stays listed but loads nothing.
    if (child == nullptr || cJSON_IsNull(child)) return;
    const int32_t flags = host.loadingFlags();
    const int32_t current = host.currentProgram();
    host.loadPresetInto(child, current);
    host.selectProgram(current);
    // The list's name wins over the one in the file.
    if (child->string != nullptr) {
        const std::string name(child->string, std::min<size_t>(std::strlen(child->string), kNameLimit));
        host.renameProgram(current, name.c_str());
    }
    if (flags & kLoadUI) host.loadEditorState(child, true);
}

void PresetBrowser::loadFromList(const cJSON* target, int32_t index) {
    if (target == nullptr) return;
    if (target == presetRoot && index >= 0 && index < host.programCount()) {
        host.selectProgram(index);
        return;
    }
    loadChild(index >= 0 ? cJSON_GetArrayItem(target, index) : nullptr);
    listIndex = index;
    list = target;
}

void PresetBrowser::step(int32_t direction) {
    if (list == nullptr) return;
    if (list == presetRoot) {
        const int32_t program = host.currentProgram() + direction;
        if (program < 0 || program >= host.programCount()) return;
        host.selectProgram(program);
        listIndex = program;
        return;
    }
    const int32_t last = childCount(list) - 1;
    if (direction < 0 && listIndex >= 1) --listIndex;
    if (direction > 0 && listIndex < last) ++listIndex;
    // At the ends the same preset loads again.
    loadFromList(list, listIndex);
}

void PresetBrowser::prev() { step(-1); }
void PresetBrowser::next() { step(+1); }

bool PresetBrowser::prevEnabled() const {
    if (list == nullptr) return false;
    if (list == presetRoot) return listIndex > 0;
    return listIndex > 0 && childCount(list) > 1;
}

bool PresetBrowser::nextEnabled() const {
    if (list == nullptr) return false;
    if (list == presetRoot) return listIndex < host.programCount() - 1;
    const int32_t n = childCount(list);
    return listIndex < n - 1 && n > 1;
}

void PresetBrowser::ask(bool save, const char* title, std::string initialPath, const char* type,
                        void (PresetBrowser::*answered)(const std::string* path)) {
    if (chooser == nullptr) return;
    std::weak_ptr<PresetBrowser*> alive = self;
    chooser->choose({save, title, std::move(initialPath), type}, [alive, answered](const std::string* path) {
        const auto owner = alive.lock();
        if (owner && *owner != nullptr) ((**owner).*answered)(path);
    });
}

void PresetBrowser::saveBank() {
    ask(true, "Choose destination filename", desktopFolder() + "/Tessarine bank.tsb", "tsb", &PresetBrowser::writeBank);
}

void PresetBrowser::savePreset() {
    ask(true, "Choose destination filename", desktopFolder() + "/Tessarine Preset.tsi", "tsi",
        &PresetBrowser::writePreset);
}

void PresetBrowser::writeBank(const std::string* path) { writeState(path, false); }
void PresetBrowser::writePreset(const std::string* path) { writeState(path, true); }

void PresetBrowser::writeState(const std::string* path, bool isPreset) {
    if (path != nullptr) {
        const std::vector<uint8_t> data = host.saveState(isPreset);
        writeFile(*path, data.data(), data.size());
    }
    // The new file shows in the menu at once; a cancel rebuilds all the same.
    rebuild();
}

void PresetBrowser::openPreset() {
    ask(false, "Select preset file", desktopFolder(), "tsi", &PresetBrowser::readPreset);
}

void PresetBrowser::readPreset(const std::string* path) {
    std::vector<uint8_t> data;
    if (path == nullptr || !readFile(*path, &data)) return;
    host.renameProgram(host.currentProgram(), "Imported");
    host.loadState(data, true);
}

void PresetBrowser::openBank() { ask(false, "Select preset bank", desktopFolder(), "tsb", &PresetBrowser::readBank); }

void PresetBrowser::readBank(const std::string* path) {
    cJSON* doc = path != nullptr ? readStateFile(*path) : nullptr;
    if (doc == nullptr) return;
    cJSON* bank = bankPresetList(doc, true);
    cJSON_Delete(doc);
    if (bank == nullptr) return;
    cJSON_Delete(loadedBank);
    loadedBank = bank;
    list = bank;
    listIndex = 0;
    loadChild(bank->child);
}

void PresetBrowser::setLoadingFlag(int32_t bit, bool on) {
    if (bit < 0 || bit > 30) return;
    int32_t flags = host.loadingFlags();
    flags = on ? (flags | (1 << bit)) : (flags & ~(1 << bit));
    host.setLoadingFlags(flags);
}

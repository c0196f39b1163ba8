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

void PresetBrowser::save(bool isPreset) {
    if (chooser == nullptr) return;
    FileRequest request;
    request.save = true;
    request.title = "Choose destination filename";
    request.initialPath = desktopFolder() + (isPreset ? "/Tessarine Preset.tsi" : "/Tessarine bank.tsb");
    request.type = isPreset ? "tsi" : "tsb";
    std::weak_ptr<PresetBrowser*> alive = self;
    chooser->choose(request, [alive, isPreset](const std::string* path) {
        const auto owner = alive.lock();
        if (!owner || *owner == nullptr) return;
        PresetBrowser& browser = **owner;
        if (path != nullptr) {
            const std::vector<uint8_t> data = browser.host.saveState(isPreset);
            writeFile(*path, data.data(), data.size());
        }
        // The new file shows in the menu at once; a cancel rebuilds all the same.
        browser.rebuild();
    });
}

void PresetBrowser::saveBank() { save(false); }
void PresetBrowser::savePreset() { save(true); }

void PresetBrowser::openPreset() {
    if (chooser == nullptr) return;
    FileRequest request;
    request.title = "Select preset file";
    request.initialPath = desktopFolder();
    request.type = "tsi";
    std::weak_ptr<PresetBrowser*> alive = self;
    chooser->choose(request, [alive](const std::string* path) {
        const auto owner = alive.lock();
        if (!owner || *owner == nullptr || path == nullptr) return;
        PresetBrowser& browser = **owner;
        std::vector<uint8_t> data;
        if (!readFile(*path, &data)) return;
        browser.host.renameProgram(browser.host.currentProgram(), "Imported");
        browser.host.loadState(data, true);
    });
}

void PresetBrowser::openBank() {
    if (chooser == nullptr) return;
    FileRequest request;
    request.title = "Select preset bank";
    request.initialPath = desktopFolder();
    request.type = "tsb";
    std::weak_ptr<PresetBrowser*> alive = self;
    chooser->choose(request, [alive](const std::string* path) {
        const auto owner = alive.lock();
        if (!owner || *owner == nullptr || path == nullptr) return;
        PresetBrowser& browser = **owner;
        cJSON* doc = readStateFile(*path);
        if (doc == nullptr) return;
        cJSON* bank = bankPresetList(doc, true);
        cJSON_Delete(doc);
        if (bank == nullptr) return;
        cJSON_Delete(browser.loadedBank);
        browser.loadedBank = bank;
        browser.list = bank;
        browser.listIndex = 0;
        browser.loadChild(bank->child);
    });
}

void PresetBrowser::setLoadingFlag(int32_t bit, bool on) {
    if (bit < 0 || bit > 30) return;
    int32_t flags = host.loadingFlags();
    flags = on ? (flags | (1 << bit)) : (flags & ~(1 << bit));
    host.setLoadingFlags(flags);
}

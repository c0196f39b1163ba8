#include "PresetLibrary.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

#include "ChunkCodec.h"

namespace {

namespace fs = std::filesystem;

// Deep enough for any real tree; a link loop stops here.
constexpr int kMaxDepth = 32;

std::string withoutExtension(const std::string& name, std::string* extension) {
    const size_t dot = name.rfind('.');
    if (dot == std::string::npos) {
        extension->clear();
        return name;
    }
    *extension = name.substr(dot + 1);
    return name.substr(0, dot);
}

void addSorted(cJSON* node, std::vector<PresetEntry>& entries) {
    std::stable_sort(entries.begin(), entries.end(), presetEntryLess);
    for (PresetEntry& e : entries) {
        cJSON* item = e.item != nullptr ? e.item : cJSON_CreateNull();
        if (item != nullptr) cJSON_AddItemToObject(node, e.name.c_str(), item);
    }
}

void scan(cJSON* node, const fs::path& folder, int depth) {
    std::vector<PresetEntry> entries;
    std::error_code error;
    fs::directory_iterator it(folder, error);
    for (; !error && it != fs::directory_iterator(); it.increment(error)) {
        const std::string fileName = it->path().filename().string();
        if (fileName.empty() || fileName[0] == '.') continue;
        std::string extension;
        const std::string name = withoutExtension(fileName, &extension);
        std::error_code typeError;
        if (it->is_directory(typeError)) {
            if (depth >= kMaxDepth) continue;
            cJSON* object = cJSON_CreateObject();
            if (object == nullptr) continue;
            scan(object, it->path(), depth + 1);
            entries.push_back({true, name, object});
        } else if (extension == "tsi") {
            bool readable = false;
            cJSON* doc = readStateFile(it->path().string(), &readable);
            if (readable) entries.push_back({false, name, doc});
        } else if (extension == "tsb") {
            cJSON* doc = readStateFile(it->path().string());
            cJSON* bank = bankPresetList(doc, false);
            cJSON_Delete(doc);
            if (bank != nullptr) entries.push_back({true, name, bank});
        }
    }
    addSorted(node, entries);
}

}  // namespace

bool presetEntryLess(const PresetEntry& a, const PresetEntry& b) {
    if (a.isMenu != b.isMenu) return b.isMenu;
    const int na = std::atoi(a.name.c_str()), nb = std::atoi(b.name.c_str());
    if (na != nb) return na < nb;
    return std::strcmp(a.name.c_str(), b.name.c_str()) < 0;
}

void scanPresetFolder(cJSON* node, const std::string& folder) {
    if (node != nullptr) scan(node, fs::path(folder), 0);
}

cJSON* bankPresetList(cJSON* bank, bool skipDash) {
    cJSON* list = cJSON_CreateObject();
    if (list == nullptr) return nullptr;
    cJSON* presets = cJSON_GetObjectItemCaseSensitive(bank, "presets");
    std::vector<PresetEntry> entries;
    while (cJSON_IsArray(presets) && presets->child != nullptr) {
        cJSON* preset = cJSON_DetachItemFromArray(presets, 0);
        const cJSON* name = cJSON_GetObjectItem(preset, "name");
        const char* text = cJSON_IsString(name) ? name->valuestring : "";
        if (skipDash && std::strcmp(text, "-") == 0) {
            cJSON_Delete(preset);
            continue;
        }
        entries.push_back({false, text, preset});
    }
    addSorted(list, entries);
    return list;
}

cJSON* readStateFile(const std::string& path, bool* readable) {
    std::vector<uint8_t> data;
    const bool read = readFile(path, &data);
    if (readable != nullptr) *readable = read;
    if (!read) return nullptr;
    std::string text;
    unwrapChunk(data.data(), data.size(), &text);
    return parseDocument(text);
}

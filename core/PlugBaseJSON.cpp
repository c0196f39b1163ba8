#include "PlugBaseJSON.h"

#include <cjson/cJSON.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "ChunkCodec.h"
#include "TagTable.h"

PlugBaseJSON::PlugBaseJSON(audioMasterCallback master) : PlugBase(master) {}

int32_t PlugBaseJSON::getChunk(void** data, bool isPreset) {
    cJSON* doc = saveToJSON(isPreset);
    char* printed = doc != nullptr ? cJSON_Print(doc) : nullptr;
    cJSON_Delete(doc);
    const char* text = printed != nullptr ? printed : "{}";
    const size_t length = std::strlen(text) + 1;
    std::vector<uint8_t> wrapped;
    if (wrapChunk(text, length, &wrapped)) {
        chunkBuffer.swap(wrapped);
    } else {
        // The compressor could not run: hand over the plain text, which loads just the same.
        chunkBuffer.assign(text, text + length);
    }
    cJSON_free(printed);
    *data = chunkBuffer.data();
    return int32_t(chunkBuffer.size());
}

int32_t PlugBaseJSON::setChunk(void* data, int32_t byteSize, bool isPreset) {
    if (data == nullptr) return 0;
    std::string text;
    unwrapChunk(data, size_t(std::max(byteSize, 0)), &text);
    cJSON_Delete(loadFromJSON(text, isPreset));
    transferParams(true);
    return byteSize;
}

void PlugBaseJSON::saveParams(cJSON* node, const float* values, ParamFilter filter, int32_t flags) const {
    cJSON* parameters = cJSON_AddObjectToObject(node, "parameters");
    if (parameters == nullptr) return;
    const TagTable& table = tagTable();
    for (int32_t i = 0; i < kNumParams; ++i) {
        if (filter != nullptr && !filter(this, i, flags)) continue;
        addNumber(parameters, table.entry(size_t(i)).name, double(loadRelaxed(values[i])));
    }
}

void PlugBaseJSON::loadParams(const cJSON* parameters, float* values, ParamFilter filter, int32_t flags) {
    if (!cJSON_IsObject(parameters)) return;
    const TagTable& table = tagTable();
    int32_t index = 0;
    for (const cJSON* child = parameters->child; child != nullptr; child = child->next) {
        const char* key = child->string;
        if (key == nullptr) continue;
        const TagTable::Entry* expected = size_t(index) < table.size() ? &table.entry(size_t(index)) : nullptr;
        if (expected == nullptr || expected->value != index || std::strcmp(expected->name, key) != 0)
            index = table.tagFromName(key);
        if (inTable(index) && cJSON_IsNumber(child) && (filter == nullptr || filter(this, index, flags))) {
            // A file may hold anything; a normal outside 0..1 is brought back to its range.
            const double v = child->valuedouble;
            const float normal = std::isfinite(v) ? float(std::clamp(v, 0.0, 1.0)) : defaultNormal(index);
            storeRelaxed(values[index], adaptParamOnLoad(index, normal));
        }
        // After an unknown name this restarts the counter at 0; the name check that follows keeps
        // it correct.
        ++index;
    }
}

void PlugBaseJSON::saveProgramParams(cJSON* node, int32_t program) {
    saveParams(node, programs[size_t(program)].values, nullptr, 0);
}

void PlugBaseJSON::saveABParams(cJSON* node, int32_t slot) {
    saveParams(node, abSlots[size_t(slot)].values, nullptr, 0);
}

void PlugBaseJSON::loadProgramParams(const cJSON* node, int32_t program) {
    loadParams(cJSON_GetObjectItemCaseSensitive(node, "parameters"), programs[size_t(program)].values, nullptr, 0);
}

void PlugBaseJSON::loadABParams(const cJSON* node, int32_t slot) {
    loadParams(cJSON_GetObjectItemCaseSensitive(node, "parameters"), abSlots[size_t(slot)].values, nullptr, 0);
}

cJSON* PlugBaseJSON::saveToJSON(bool isPreset) {
    cJSON* root = cJSON_CreateObject();
    if (root == nullptr || isPreset) return root;
    cJSON* presets = cJSON_AddArrayToObject(root, "presets");
    for (int32_t p = 0; presets != nullptr && p < kNumPrograms; ++p) {
        cJSON* preset = cJSON_CreateObject();
        if (preset == nullptr) continue;
        saveProgramParams(preset, p);
        cJSON_AddStringToObject(preset, "name", programs[size_t(p)].name);
        saveProgramExtras(preset, p);
        cJSON_AddItemToArray(presets, preset);
    }
    cJSON* slots = cJSON_AddArrayToObject(root, "AB");
    for (int32_t s = 0; slots != nullptr && s < numAB; ++s) {
        cJSON* slot = cJSON_CreateObject();
        if (slot == nullptr) continue;
        saveABParams(slot, s);
        cJSON_AddItemToArray(slots, slot);
    }
    return root;
}

cJSON* PlugBaseJSON::loadFromJSON(const std::string& text, bool isPreset) {
    cJSON* doc = parseDocument(text);
    if (doc == nullptr || isPreset) return doc;
    beforeLoad(doc);
    loadingInProgress = true;
    const cJSON* presets = cJSON_GetObjectItemCaseSensitive(doc, "presets");
    int32_t p = 0;
    for (const cJSON* preset = cJSON_IsArray(presets) ? presets->child : nullptr;
         preset != nullptr && p < kNumPrograms; preset = preset->next, ++p) {
        const cJSON* name = cJSON_GetObjectItemCaseSensitive(preset, "name");
        if (cJSON_IsString(name)) programs[size_t(p)].setName(name->valuestring);
        loadProgramParams(preset, p);
        loadProgramExtras(preset, p);
    }
    setProgram(getProgram());
    loadingInProgress = true;
    const cJSON* slots = cJSON_GetObjectItemCaseSensitive(doc, "AB");
    if (slots == nullptr) {
        for (int32_t s = 0; s < numAB; ++s) copyToAB(s);
    } else {
        int32_t s = 0;
        for (const cJSON* slot = cJSON_IsArray(slots) ? slots->child : nullptr; slot != nullptr && s < numAB;
             slot = slot->next, ++s)
            loadABParams(slot, s);
    }
    loadingInProgress = false;
    return doc;
}

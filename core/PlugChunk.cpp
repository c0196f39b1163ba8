// Plug's part of the saved state: the band orders, the loading flags, the editor's settings,
// routing and the instance name, and the Default Bank.

#include <cjson/cJSON.h>

#include <cstring>
#include <filesystem>

#include "ChunkCodec.h"
#include "Instances.h"
#include "Plug.h"
#include "PresetFolders.h"
#include "StringStore.h"
#include "TagTable.h"

namespace {

bool presetTakes(const PlugBaseJSON* self, int32_t index, int32_t flags) {
    const bool dsp = static_cast<const Plug*>(self)->isDspParam(index);
    return dsp ? (flags & kLoadDSP) != 0 : (flags & kLoadEQ) != 0;
}

void addBandOrder(cJSON* node, const Plug::BandOrder& order) {
    cJSON* list = cJSON_AddArrayToObject(node, "bandOrder");
    for (int32_t band : order)
        if (list != nullptr) appendNumber(list, band);
}

// Numbers not present keep their old value; more than 32 are ignored.
void readBandOrder(const cJSON* node, Plug::BandOrder* order) {
    const cJSON* list = cJSON_GetObjectItemCaseSensitive(node, "bandOrder");
    if (!cJSON_IsArray(list)) return;
    size_t i = 0;
    for (const cJSON* item = list->child; item != nullptr && i < order->size(); item = item->next, ++i)
        if (cJSON_IsNumber(item)) (*order)[i] = item->valueint;
}

const cJSON* member(const cJSON* node, const char* key) { return cJSON_GetObjectItemCaseSensitive(node, key); }

}  // namespace

void Plug::saveProgramExtras(cJSON* preset, int32_t program) { addBandOrder(preset, bandOrders[size_t(program)]); }

void Plug::loadProgramExtras(const cJSON* preset, int32_t program) { readBandOrder(preset, &bandOrders[size_t(program)]); }

void Plug::setBandOrder(int32_t program, const BandOrder& order) {
    if (program >= 0 && program < kNumPrograms) bandOrders[size_t(program)] = order;
}

int32_t Plug::getLoadingFlags() {
    int32_t stored = 0;
    if (readLoadingFlags(StringStore(), &stored)) loadingFlags = stored;
    return loadingFlags;
}

void Plug::setLoadingFlags(int32_t flags) {
    writeLoadingFlags(StringStore(), flags);
    loadingFlags = flags;
}

cJSON* Plug::saveToJSON(bool isPreset) {
    cJSON* root = PlugBaseJSON::saveToJSON(isPreset);
    if (root == nullptr) return nullptr;
    const int32_t flags = isPreset ? getLoadingFlags() : -1;
    if (isPreset) {
        const int32_t current = getProgram();
        saveParams(root, programs[size_t(current)].values, presetTakes, flags);
        cJSON_AddStringToObject(root, "name", programs[size_t(current)].name);
        if (flags & kLoadEQ) addBandOrder(root, bandOrders[size_t(current)]);
    }
    if (!isPreset || (flags & kLoadUI)) saveEditorState(root, isPreset);

    cJSON* routing = cJSON_AddObjectToObject(root, "routing");
    if (routing != nullptr) {
        cJSON* groups = cJSON_AddArrayToObject(routing, "groups");
        for (uint32_t mask : groupMasks)
            if (groups != nullptr) appendNumber(groups, mask);
        cJSON* names = cJSON_AddArrayToObject(routing, "groupnames");
        for (int32_t c = 0; names != nullptr && c < outputCount(); ++c)
            cJSON_AddItemToArray(names, cJSON_CreateString(channelNameAt(c)));
    }
    if (instanceNameSet) cJSON_AddStringToObject(root, "instanceName", instanceName);
    return root;
}

void Plug::saveEditorState(cJSON* root, bool isPreset) {
    const EditorState& ed = *editorSeam;
    cJSON* settings = cJSON_AddObjectToObject(root, "settings");
    if (settings != nullptr) {
        if (!isPreset) {
            addNumber(settings, "currentAB", getCurrentAB());
            addNumber(settings, "lastAB", ed.lastAB);
            addNumber(settings, "currentPreset", getProgram());
        }
        cJSON_AddBoolToObject(settings, "analyserState", ed.analyserOn);
        cJSON_AddBoolToObject(settings, "prePost", ed.metersPre);
        addNumber(settings, "analyserType", ed.analyserType);
        addNumber(settings, "analyserSourceChn1", ed.analyserSource[0]);
        addNumber(settings, "analyserSourceChn2", ed.analyserSource[1]);
        cJSON_AddStringToObject(settings, "analyserSourceInst1", ed.analyserSourceInstance[0].c_str());
        cJSON_AddStringToObject(settings, "analyserSourceInst2", ed.analyserSourceInstance[1].c_str());
    }
    const cJSON* ui = ed.ui.document();
    cJSON* copy = ui != nullptr ? cJSON_Duplicate(ui, true) : cJSON_CreateObject();
    if (copy != nullptr) cJSON_AddItemToObject(root, "uiprefs", copy);
}

void Plug::loadEditorState(const cJSON* root, bool isPreset) {
    EditorState& ed = *editorSeam;
    const cJSON* settings = member(root, "settings");
    if (cJSON_IsObject(settings)) {
        if (!isPreset) {
            const cJSON* preset = member(settings, "currentPreset");
            if (cJSON_IsNumber(preset) && preset->valueint >= 0 && preset->valueint < kNumPrograms) {
                curProgram = preset->valueint;
                if (editor) editor->programChanged(curProgram);
            }
            const cJSON* ab = member(settings, "currentAB");
            if (cJSON_IsNumber(ab)) selectAB(ab->valueint);
            const cJSON* last = member(settings, "lastAB");
            if (cJSON_IsNumber(last) && last->valueint >= 0 && last->valueint < numAB) ed.lastAB = last->valueint;
        }
        if (const cJSON* on = member(settings, "analyserState"); on != nullptr) ed.analyserOn = cJSON_IsTrue(on);
        if (const cJSON* pre = member(settings, "prePost"); pre != nullptr) {
            ed.metersPre = cJSON_IsTrue(pre);
            setMetersPre(ed.metersPre);
        }
        if (const cJSON* type = member(settings, "analyserType"); cJSON_IsNumber(type)) ed.analyserType = type->valueint;

        // A source is restored only where its instance is found again by name.
        const std::vector<std::string> others = otherInstanceNames(this);
        static constexpr const char* kChannelKeys[2] = {"analyserSourceChn1", "analyserSourceChn2"};
        static constexpr const char* kInstanceKeys[2] = {"analyserSourceInst1", "analyserSourceInst2"};
        for (int s = 0; s < 2; ++s) {
            const cJSON* channel = member(settings, kChannelKeys[s]);
            const cJSON* instance = member(settings, kInstanceKeys[s]);
            if (!cJSON_IsNumber(channel) || !cJSON_IsString(instance)) continue;
            for (size_t i = 0; i < others.size(); ++i) {
                if (others[i] != instance->valuestring) continue;
                ed.analyserSource[s] = (channel->valueint & 0xff) | int32_t((i + 1) << 8);
                ed.analyserSourceInstance[s] = instance->valuestring;
            }
        }
    }
    const cJSON* uiprefs = member(root, "uiprefs");
    if (cJSON_IsObject(uiprefs)) {
        ed.ui.merge(uiprefs);
        reloadEditorDependents();
        if (editor) editor->reloadPrefs();
    }
}

void Plug::loadPresetInto(const cJSON* node, int32_t program) {
    if (node == nullptr || program < 0 || program >= kNumPrograms) return;
    beforeLoad(node);
    const int32_t flags = getLoadingFlags();
    const cJSON* name = member(node, "name");
    if (cJSON_IsString(name)) programs[size_t(program)].setName(name->valuestring);
    loadParams(member(node, "parameters"), programs[size_t(program)].values, presetTakes, flags);
    if (flags & kLoadEQ) readBandOrder(node, &bandOrders[size_t(program)]);
}

cJSON* Plug::loadFromJSON(const std::string& text, bool isPreset) {
    cJSON* doc;
    if (isPreset) {
        doc = parseDocument(text);
        if (doc == nullptr) return nullptr;
        loadPresetInto(doc, getProgram());
        setProgram(getProgram());
    } else {
        doc = PlugBaseJSON::loadFromJSON(text, false);
        if (doc == nullptr) return nullptr;
        if (editor) editor->programChanged(getProgram());
    }

    clearUndo();
    if (getLoadingFlags() & kLoadUI) {
        loadingInProgress = true;
        loadEditorState(doc, isPreset);
        loadingInProgress = false;
    }

    const cJSON* routing = member(doc, "routing");
    if (cJSON_IsObject(routing)) {
        const cJSON* groups = member(routing, "groups");
        size_t g = 0;
        for (const cJSON* item = cJSON_IsArray(groups) ? groups->child : nullptr; item != nullptr && g < groupMasks.size();
             item = item->next, ++g)
            if (cJSON_IsNumber(item)) groupMasks[g] = uint32_t(std::clamp(item->valueint, 0, 255));
        // Mono and stereo keep the names their layout gives.
        const cJSON* names = member(routing, "groupnames");
        const int32_t channels = outputCount();
        int32_t c = 0;
        for (const cJSON* item = (channels >= 3 && cJSON_IsArray(names)) ? names->child : nullptr;
             item != nullptr && c < std::min(channels, AudioPath::kMaxChannels); item = item->next, ++c) {
            if (!cJSON_IsString(item)) continue;
            std::snprintf(channelNames[c], kChannelNameSize, "%s", item->valuestring);
            setParameter(kGUIGroupNamesChanged, 1.0f);
        }
    }
    // A project being opened restores the name; a state recalled while audio runs does not.
    const cJSON* name = member(doc, "instanceName");
    if (cJSON_IsString(name) && !audioHasRun()) setInstanceName(name->valuestring);
    return doc;
}

void Plug::loadDefaultBank() {
    if (userBankFolder().empty()) return;
    defaultBankFile = defaultBankPath();
    std::vector<uint8_t> data;
    if (readFile(defaultBankFile, &data) || readFile(factoryBankPath(), &data))
        setChunk(data.data(), int32_t(data.size()), false);
    std::error_code ignored;
    if (!std::filesystem::exists(defaultBankFile, ignored)) {
        editorSeam->wizardPending = true;
        std::filesystem::create_directories(std::filesystem::path(defaultBankFile).parent_path(), ignored);
    }
}

void Plug::ensureDefaultBank() {
    std::vector<uint8_t> existing;
    if (defaultBankFile.empty() || readFile(defaultBankFile, &existing)) return;
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(defaultBankFile).parent_path(), ignored);
    void* data = nullptr;
    const int32_t size = getChunk(&data, false);
    writeFile(defaultBankFile, data, size_t(size));
}

#include "GlobalSettings.h"

#include <cjson/cJSON.h>

#include "Resources.h"

namespace {

// The registry read went through a buffer of this size, terminating zero included.
constexpr size_t kGlobalsBufferSize = 8192;

}  // namespace

GlobalSettings& GlobalSettings::instance() {
    static GlobalSettings settings;
    return settings;
}

GlobalSettings::GlobalSettings(const char* keyPath)
    : registryKey_(keyPath != nullptr ? keyPath : ""), store_(registryKey_.c_str()) {
    loadOverrides();
}

GlobalSettings::~GlobalSettings() {
    cJSON_Delete(overrides_);
    cJSON_Delete(defaults_);
}

void GlobalSettings::loadOverrides() {
    cJSON_Delete(overrides_);
    overrides_ = nullptr;
    std::string text;
    if (!store_.read(kValueGlobals, &text, kGlobalsBufferSize - 1) || text.empty()) return;
    cJSON* parsed = cJSON_ParseWithLength(text.data(), text.size());
    // Anything but an object cannot hold settings and would be lost on the next save.
    if (parsed != nullptr && !cJSON_IsObject(parsed)) {
        cJSON_Delete(parsed);
        parsed = nullptr;
    }
    overrides_ = parsed;
}

void GlobalSettings::installDefaults(const char* text) {
    if (defaults_ == nullptr && text != nullptr) defaults_ = cJSON_Parse(text);
    if (overrides_ != nullptr) return;
    overrides_ = cJSON_CreateObject();
    if (overrides_ == nullptr) return;
    if (defaults_ != nullptr) {
        for (const cJSON* r = defaults_->child; r != nullptr; r = r->next) {
            if (r->string == nullptr) continue;
            const cJSON* value = cJSON_GetObjectItem(r, "value");
            cJSON_AddNumberToObject(overrides_, r->string, value != nullptr ? value->valueint : 0);
        }
    }
    saveOverrides();
}

bool GlobalSettings::installDefaultsFromResource() {
    ResourceData resource;
    if (!findResource("JSON", "defaults", &resource)) return false;
    installDefaults(reinterpret_cast<const char*>(resource.data));
    return true;
}

void GlobalSettings::saveOverrides() {
    if (overrides_ == nullptr) return;
    char* text = cJSON_PrintUnformatted(overrides_);
    if (text == nullptr) return;
    try {
        store_.write(kValueGlobals, text);
    } catch (...) {
    }
    cJSON_free(text);
}

int32_t GlobalSettings::getValue(const char* name) const {
    if (overrides_ == nullptr) return -1;
    if (const cJSON* item = cJSON_GetObjectItem(overrides_, name)) return item->valueint;
    if (defaults_ == nullptr) return 0;
    const cJSON* r = cJSON_GetObjectItem(defaults_, name);
    if (r == nullptr) return -2;
    const cJSON* value = cJSON_GetObjectItem(r, "value");
    if (value == nullptr) return -3;
    return value->valueint;
}

void GlobalSettings::setValue(const char* name, int32_t index) {
    if (overrides_ == nullptr || name == nullptr) return;
    cJSON* item = cJSON_GetObjectItem(overrides_, name);
    if (item == nullptr) {
        cJSON_AddNumberToObject(overrides_, name, index);
    } else if (cJSON_IsNumber(item)) {
        cJSON_SetNumberValue(item, index);
    } else {
        // A hand-edited store may hold a text here; a number takes its place under the same key.
        cJSON* number = cJSON_CreateNumber(index);
        if (number == nullptr) return;
        number->string = item->string;
        item->string = nullptr;
        cJSON_ReplaceItemViaPointer(overrides_, item, number);
    }
    saveOverrides();
}

const cJSON* GlobalSettings::row(int i) const {
    return defaults_ != nullptr && i >= 0 ? cJSON_GetArrayItem(defaults_, i) : nullptr;
}

int GlobalSettings::settingCount() const {
    return defaults_ != nullptr ? cJSON_GetArraySize(defaults_) : 0;
}

const char* GlobalSettings::settingName(int i) const {
    const cJSON* r = row(i);
    return r != nullptr ? r->string : nullptr;
}

int GlobalSettings::settingPage(int i) const {
    const cJSON* page = cJSON_GetObjectItem(row(i), "page");
    return page != nullptr ? page->valueint : 0;
}

int GlobalSettings::choiceCount(int i) const {
    const cJSON* values = cJSON_GetObjectItem(row(i), "values");
    return cJSON_IsArray(values) ? cJSON_GetArraySize(values) : 0;
}

const char* GlobalSettings::choiceText(int i, int j) const {
    const cJSON* values = cJSON_GetObjectItem(row(i), "values");
    if (!cJSON_IsArray(values) || j < 0) return nullptr;
    return cJSON_GetStringValue(cJSON_GetArrayItem(values, j));
}

void readAudioGlobals(const GlobalSettings& settings, AudioGlobals* out) {
    if (out == nullptr) return;
    int32_t throttle = settings.getValue(kSettingFFTThrottle);
    out->fftThrottle = throttle == 0 ? 10 : throttle == 1 ? 20 : 40;
    out->autoListenGain = settings.getValue(kSettingAutoListenGain);
    out->autoListenQ = settings.getValue(kSettingAutoListenQ);
    out->autoListenIgnoresQ = settings.getValue(kSettingAutoListenIgnoresQ);
    out->autoListenEnabled = settings.getValue(kSettingAutoListenDisabled) == 0;
    out->midiDisabled = settings.getValue(kSettingMIDIDisabled) != 0;
    int32_t solo = settings.getValue(kSettingSoloMode);
    out->soloMuteMode = solo == 1;
    out->soloSelectMode = solo != 1;
    out->abAutomation = settings.getValue(kSettingABAutomation) != 0;
    out->clipThreshold = settings.getValue(kSettingClipThreshold) == 0 ? 1.0 : 0.988553;
}

void readEditorGlobals(const GlobalSettings& settings, EditorGlobals* out) {
    if (out == nullptr) return;
    out->abToggleMode = settings.getValue(kSettingABToggle);
    out->proToolsOptShift = settings.getValue(kSettingProToolsOptShift);
}

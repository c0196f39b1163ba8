#include "UISettings.h"

#include <cjson/cJSON.h>

#include <cstring>

#include "Resources.h"

namespace {

bool sameName(const cJSON* item, const char* name) {
    return item != nullptr && item->string != nullptr && name != nullptr &&
           std::strcmp(item->string, name) == 0;
}

// The member of `source` matching `name`: the one under the cursor when its name is exactly
// the same, else the first whose name matches ignoring case. Null when there is none.
const cJSON* matchMember(const cJSON* source, const cJSON* cursor, const char* name) {
    if (sameName(cursor, name)) return cursor;
    return cJSON_GetObjectItem(source, name);
}

}  // namespace

UISettings::UISettings() {
    ResourceData resource;
    if (findResource("JSON", "uisettings", &resource))
        document_ = cJSON_ParseWithLength(reinterpret_cast<const char*>(resource.data), resource.size);
}

UISettings::UISettings(const char* text) {
    if (text != nullptr) document_ = cJSON_Parse(text);
}

UISettings::~UISettings() { cJSON_Delete(document_); }

cJSON* UISettings::find(const char* section, const char* name) const {
    return cJSON_GetObjectItem(cJSON_GetObjectItem(document_, section), name);
}

int32_t UISettings::get(const char* section, const char* name) const {
    const cJSON* value = cJSON_GetObjectItem(find(section, name), "value");
    return value != nullptr ? value->valueint : 0;
}

void UISettings::set(const char* section, const char* name, int32_t index) {
    cJSON* value = cJSON_GetObjectItem(find(section, name), "value");
    if (value != nullptr) cJSON_SetNumberValue(value, index);
}

void UISettings::merge(const cJSON* source) { mergeUISettings(source, document_); }

void mergeUISettings(const cJSON* source, cJSON* target) {
    if (source == nullptr || target == nullptr) return;
    const cJSON* sectionCursor = source->child;
    for (cJSON* section = target->child; section != nullptr; section = section->next) {
        // A failed match leaves the cursor at the end, so the next section is searched for.
        sectionCursor = matchMember(source, sectionCursor, section->string);
        if (sectionCursor == nullptr) continue;

        const cJSON* settingCursor = sectionCursor->child;
        for (cJSON* setting = section->child; setting != nullptr; setting = setting->next) {
            if (sameName(setting, "open")) continue;
            settingCursor = matchMember(sectionCursor, settingCursor, setting->string);
            if (settingCursor == nullptr) continue;
            const cJSON* from = cJSON_GetObjectItem(settingCursor, "value");
            cJSON* to = cJSON_GetObjectItem(setting, "value");
            if (from != nullptr && to != nullptr) {
                to->valueint = from->valueint;
                to->valuedouble = from->valuedouble;
            }
            settingCursor = settingCursor->next;
        }
        sectionCursor = sectionCursor->next;
    }
}

double bendRangeForIndex(int32_t index) {
    return index == 12 ? 2.0 : (index + 1.0) / 12.0;
}

void readEditorDependents(const UISettings* ui, EditorDependents* out) {
    if (ui == nullptr || out == nullptr) return;
    out->simpleNumbers = ui->get("Misc", "Number format") != 0;
    out->meterBallisticType = ui->get("Meter", "Ballistic Type");
    out->showTrueQ = ui->get("Misc", "Show True Q") != 0;
    out->bendRange = bendRangeForIndex(ui->get("Misc", "MIDI Bend Range"));
}

#include "TagTable.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#define TESS_TAG_TEXT_ENTRY(name) #name ", "

// The editor tags are spelt out here rather than generated from TESS_GUI_TAGS, so that a slip in
// either list shows up as a difference between the parsed numbers and the C++ enumerators.
const char* const kTagText =
    "kBypass=0, " TESS_PARAMS_AFTER_BYPASS(TESS_TAG_TEXT_ENTRY) "kNumParams, "
    "kGUIEQGraph=500, kGUIPresetMenu, kGUIProcessMode, kGUIStereoMode, kGUIAnalyser, kGUIConsole, "
    "kGUIVU, kGUISetup, kGUIPageChange, kGUIPresetPage, kGUISave, kGUILoad, kGUIUndo, kGUIRedo, "
    "kGUIPresetPrev, kGUIPresetNext, kGUIPresetName, kGUIABMenu, kGUIABMenuAlt, kGUICopyTo, "
    "kGUIMeterPrePost, kGUIFlat, kGUIPrefsChange, kGUIClip, kGUIMeterReadout, "
    "kGUIBox1=526, kGUIBox2, kGUIBox3, kGUIBox4, kGUIPresetBox, kGUIAbout, kGUISetupPage, "
    "kGUIStripsChanged, kGUIPhaseGraph, kGUIIRGraph, kGUIChannelCount, kGUISurround, "
    "kGUIMeterSection, kGUIUIPrefsChange, kGUISelectOnly, kGUIMasterMeter1, kGUIMasterMeter2, "
    "kGUIGroupNamesChanged, kGUIUseMS1, kGUIBox5, kGUIStereoMode2, kGUIInstancesChanged, "
    "kGUIInstanceName, kGUIKeyboard, kGUIScaleTray, kGUIOpenScaleTray, kGUIAnalyserUpdated, "
    "kGUIMeterFade, kGUILoadPreset, kGUISavePreset, kGUIPresetEQ, kGUIPresetDSP, kGUIPresetUI, "
    "kGUIPresetBank, kGUIPleaseRebuildStrips, kGUIWizardOpen, kGUIWizardCompleted, "
    "kGUIReloadFreqDefault, kGUISelectToggle, kGUIChannel12Link, kGUIChannel34Link, "
    "kGUIChannel56Link, kGUIChannel78Link, kGUIChannel1Meter, kGUIChannel2Meter, "
    "kGUIChannel3Meter, kGUIChannel4Meter, kGUIChannel5Meter, kGUIChannel6Meter, "
    "kGUIChannel7Meter, kGUIChannel8Meter, "
    "kGUISelectedBand=700, "
    "kNumPrograms=20";

#undef TESS_TAG_TEXT_ENTRY

void TagTable::parseTagText(const char* text) {
    if (!text) return;
    int32_t counter = 0;
    const char* p = text;
    while (*p) {
        const char* end = std::strchr(p, ',');
        if (!end) end = p + std::strlen(p);

        char field[sizeof(Entry::name)];
        const size_t len = std::min(static_cast<size_t>(end - p), sizeof field - 1);
        std::memcpy(field, p, len);
        field[len] = 0;
        p = *end ? end + 1 : end;

        if (char* eq = std::strchr(field, '=')) {
            counter = static_cast<int32_t>(std::strtol(eq + 1, nullptr, 10));
            *eq = 0;
        }
        char* name = field;
        while (*name && static_cast<unsigned char>(*name) < 33) ++name;
        char* cut = name;
        while (static_cast<unsigned char>(*cut) >= 33) ++cut;
        *cut = 0;
        // An empty field (a doubled or trailing comma) names nothing and takes no number.
        if (!*name) continue;

        Entry e{};
        std::memcpy(e.name, name, static_cast<size_t>(cut - name) + 1);
        e.value = counter++;
        entries.push_back(e);
    }
}

int32_t TagTable::tagFromName(const char* name) const {
    if (!name) return -1;
    for (const Entry& e : entries)
        if (std::strcmp(e.name, name) == 0) return e.value;
    return -1;
}

const char* TagTable::nameFromTag(int32_t value) const {
    for (const Entry& e : entries)
        if (e.value == value) return e.name;
    return nullptr;
}

const TagTable& tagTable() {
    static const TagTable table = [] {
        TagTable t;
        t.parseTagText(kTagText);
        return t;
    }();
    return table;
}

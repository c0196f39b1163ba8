#pragma once
// The process-wide map between the names of parameters and editor tags and their numbers. The UI
// description and the saved state name parameters and tags by these names.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ParamTable.h"

// Editor tags: notifications and controls that share the parameters' number space from 500 up.
// V gives an explicit value, X takes the previous one plus one.
#define TESS_GUI_TAGS(X, V)                                                                       \
    V(kGUIEQGraph, 500) X(kGUIPresetMenu) X(kGUIProcessMode) X(kGUIStereoMode) X(kGUIAnalyser)    \
    X(kGUIConsole) X(kGUIVU) X(kGUISetup) X(kGUIPageChange) X(kGUIPresetPage) X(kGUISave)         \
    X(kGUILoad) X(kGUIUndo) X(kGUIRedo) X(kGUIPresetPrev) X(kGUIPresetNext) X(kGUIPresetName)     \
    X(kGUIABMenu) X(kGUIABMenuAlt) X(kGUICopyTo) X(kGUIMeterPrePost) X(kGUIFlat)                  \
    X(kGUIPrefsChange) X(kGUIClip) X(kGUIMeterReadout)                                            \
    V(kGUIBox1, 526) X(kGUIBox2) X(kGUIBox3) X(kGUIBox4) X(kGUIPresetBox) X(kGUIAbout)            \
    X(kGUISetupPage) X(kGUIStripsChanged) X(kGUIPhaseGraph) X(kGUIIRGraph) X(kGUIChannelCount)    \
    X(kGUISurround) X(kGUIMeterSection) X(kGUIUIPrefsChange) X(kGUISelectOnly)                    \
    X(kGUIMasterMeter1) X(kGUIMasterMeter2) X(kGUIGroupNamesChanged) X(kGUIUseMS1) X(kGUIBox5)    \
    X(kGUIStereoMode2) X(kGUIInstancesChanged) X(kGUIInstanceName) X(kGUIKeyboard)                \
    X(kGUIScaleTray) X(kGUIOpenScaleTray) X(kGUIAnalyserUpdated) X(kGUIMeterFade)                 \
    X(kGUILoadPreset) X(kGUISavePreset) X(kGUIPresetEQ) X(kGUIPresetDSP) X(kGUIPresetUI)          \
    X(kGUIPresetBank) X(kGUIPleaseRebuildStrips) X(kGUIWizardOpen) X(kGUIWizardCompleted)         \
    X(kGUIReloadFreqDefault) X(kGUISelectToggle) X(kGUIChannel12Link) X(kGUIChannel34Link)        \
    X(kGUIChannel56Link) X(kGUIChannel78Link) X(kGUIChannel1Meter) X(kGUIChannel2Meter)           \
    X(kGUIChannel3Meter) X(kGUIChannel4Meter) X(kGUIChannel5Meter) X(kGUIChannel6Meter)           \
    X(kGUIChannel7Meter) X(kGUIChannel8Meter)                                                     \
    V(kGUISelectedBand, 700)

#define TESS_GUI_TAG_NEXT(name) name,
#define TESS_GUI_TAG_AT(name, value) name = value,
enum GUITag : int32_t { TESS_GUI_TAGS(TESS_GUI_TAG_NEXT, TESS_GUI_TAG_AT) };
#undef TESS_GUI_TAG_NEXT
#undef TESS_GUI_TAG_AT

// The effect sends these two by number.
static_assert(kGUIGroupNamesChanged == 543 && kGUIInstancesChanged == 547);
static_assert(kGUIChannel1Meter == 569 && kGUIChannel8Meter == 576);

// The enumeration text: comma-separated names, blanks round a name ignored, "name=number"
// restarting the counter. Parameters in index order, kNumParams, the editor tags, kNumPrograms.
extern const char* const kTagText;

class TagTable {
public:
    struct Entry {
        char name[48];
        int32_t value;
    };

    // Appends every entry of an enumeration text; null does nothing.
    void parseTagText(const char* text);
    // First entry with this name; -1 when none or name is null.
    int32_t tagFromName(const char* name) const;
    // Name of the first entry with this value; null when none.
    const char* nameFromTag(int32_t value) const;

    size_t size() const { return entries.size(); }
    const Entry& entry(size_t i) const { return entries[i]; }

private:
    std::vector<Entry> entries;
};

// The process-wide table, parsed from kTagText on first use.
const TagTable& tagTable();

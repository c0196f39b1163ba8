#pragma once
// One instance's UI settings: sections of settings, each an index (`value`) into its choice
// texts (`values`). Created from the "uisettings" resource; saved with the instance's state.
// Sections and names are matched ignoring case, as cJSON's lookups do.

#include <cstdint>

#include "Relaxed.h"

struct cJSON;

class UISettings {
public:
    // From the "uisettings" resource; empty when it is missing or does not parse.
    UISettings();
    // From `text`; empty when it is null or does not parse.
    explicit UISettings(const char* text);
    ~UISettings();
    UISettings(const UISettings&) = delete;
    UISettings& operator=(const UISettings&) = delete;

    // The document, null when empty. Owned here.
    cJSON* document() { return document_; }
    const cJSON* document() const { return document_; }

    // The setting's object, or null.
    cJSON* find(const char* section, const char* name) const;
    // The setting's index; 0 when the section, the setting or its `value` is missing.
    int32_t get(const char* section, const char* name) const;
    // Writes the index (integer and double alike); nothing when the setting or its `value` is
    // missing. Saves nothing.
    void set(const char* section, const char* name, int32_t index);

    // Takes the values of a loaded document: mergeUISettings(source, document()).
    void merge(const cJSON* source);

private:
    cJSON* document_ = nullptr;
};

// Copies into `target` the values of the settings that `source` also has. The target's
// structure always wins: unknown sections and settings of the source are ignored, settings
// missing from it keep their value, and a member named "open" is never touched. Indices are
// copied unchecked.
void mergeUISettings(const cJSON* source, cJSON* target);

// What the effect reads from its editor's UI settings (reloadEditorDependents).
struct EditorDependents {
    Relaxed<bool> simpleNumbers{false};
    Relaxed<int32_t> meterBallisticType{0};
    Relaxed<bool> showTrueQ{false};
    Relaxed<double> bendRange{1.0};  // octaves at full pitch bend
};

// Octaves of bend at full scale for the "MIDI Bend Range" index: 2.0 for the choice "24"
// (index 12), else (index + 1) / 12.
double bendRangeForIndex(int32_t index);

// Fills `out` from the editor's settings; without an editor (`ui` null) `out` keeps its values.
// The ballistic type is read from section "Meter", which the document does not have: the
// effect's meters therefore always use type 0, while the editor's own meters read "Meters".
void readEditorDependents(const UISettings* ui, EditorDependents* out);

#pragma once
// The process-wide settings of the page "Global Prefs": the "defaults" resource gives the
// rows (name, default index, page, choice texts); the user's choices live in `overrides`, a
// flat object of name to index, stored as the value "globals" of the settings key.

#include <cstdint>
#include <string>

#include "Relaxed.h"
#include "StringStore.h"

struct cJSON;

inline constexpr const char* kSettingFFTThrottle = "FFT Update throttle";
inline constexpr const char* kSettingAutoListenGain = "AutoListen Gain";
inline constexpr const char* kSettingAutoListenQ = "AutoListen Q";
inline constexpr const char* kSettingAutoListenIgnoresQ = "AutoListen Ignores Q";
inline constexpr const char* kSettingAutoListenDisabled = "AutoListen Disabled";
inline constexpr const char* kSettingMIDIDisabled = "MIDI Disabled";
inline constexpr const char* kSettingSoloMode = "Solo Mode";
inline constexpr const char* kSettingABAutomation = "A/B Automation";
inline constexpr const char* kSettingABToggle = "A/B Toggle";
inline constexpr const char* kSettingClipThreshold = "Clip threshold";
inline constexpr const char* kSettingProToolsOptShift = "ProTools Opt/Shift";

class GlobalSettings {
public:
    // The one object of the process, created (and its overrides loaded) on first use.
    static GlobalSettings& instance();

    // Reads the stored overrides at once. Tests build their own objects.
    explicit GlobalSettings(const char* keyPath = kTessarineKey);
    ~GlobalSettings();
    GlobalSettings(const GlobalSettings&) = delete;
    GlobalSettings& operator=(const GlobalSettings&) = delete;

    // Replaces `overrides` by the stored "globals" text; absent when that is missing, empty,
    // longer than 8191 bytes, or not a JSON object.
    void loadOverrides();
    // Parses `text` into `defaults` unless they exist; then, only when `overrides` is absent,
    // builds it from the rows' default indices and saves it.
    void installDefaults(const char* text);
    // installDefaults with the "defaults" resource; false when the resource is missing.
    bool installDefaultsFromResource();
    void saveOverrides();

    // The overriding index, else the row's default. Negative results say why neither exists:
    // -1 no overrides, -2 no such row, -3 a row without "value"; 0 when no defaults.
    int32_t getValue(const char* name) const;
    // Updates or appends the override and saves at once; nothing without overrides.
    void setValue(const char* name, int32_t index);

    // The rows of `defaults` by position, for the preferences list. Out of range: 0 or null.
    int settingCount() const;
    const char* settingName(int i) const;
    int settingPage(int i) const;
    int choiceCount(int i) const;
    const char* choiceText(int i, int j) const;

    const std::string& registryKey() const { return registryKey_; }
    const cJSON* overrides() const { return overrides_; }
    const cJSON* defaults() const { return defaults_; }

private:
    const cJSON* row(int i) const;

    std::string registryKey_;
    StringStore store_;
    cJSON* overrides_ = nullptr;
    cJSON* defaults_ = nullptr;
};

// What the audio side keeps of the globals; the effect holds one and refreshes it in
// reloadGlobals. Initial values are those of the resource's defaults.
struct AudioGlobals {
    Relaxed<int32_t> fftThrottle{20};  // mode pushes per second in FIR mode
    Relaxed<int32_t> autoListenGain{0};
    Relaxed<int32_t> autoListenQ{0};
    Relaxed<int32_t> autoListenIgnoresQ{0};
    Relaxed<bool> autoListenEnabled{true};
    Relaxed<bool> midiDisabled{false};
    Relaxed<bool> soloMuteMode{false};
    Relaxed<bool> soloSelectMode{true};
    Relaxed<bool> abAutomation{true};
    Relaxed<double> clipThreshold{1.0};  // linear level
};

// The index of every setting is taken as read, unchecked: an unknown or out-of-range index
// falls to the last branch of each rule, as does a negative "not found" result.
void readAudioGlobals(const GlobalSettings& settings, AudioGlobals* out);

// The two globals read by the editor's reloadPrefs, as raw indices: the A/B toggle mode, and
// whether the modifier masks are swapped (not 0).
struct EditorGlobals {
    int32_t abToggleMode = 1;
    int32_t proToolsOptShift = 0;
};
void readEditorGlobals(const GlobalSettings& settings, EditorGlobals* out);

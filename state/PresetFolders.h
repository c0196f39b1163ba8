#pragma once
// Where banks and presets live. The "Path" value of the settings key overrides everything;
// without it the user's "Default Bank.tsi" and "Presets/" lie under
// $XDG_DATA_HOME/Ondelane/Tessarine (or ~/.local/share/...), and "Factory Bank.tsi" in the
// bundle's Resources folder.

#include <string>

inline constexpr const char* kDefaultBankName = "Default Bank.tsi";
inline constexpr const char* kFactoryBankName = "Factory Bank.tsi";

// Bits of the loading flags: which parts of a preset are written and taken.
inline constexpr int kLoadEQ = 1;   // non-DSP parameters and the band order
inline constexpr int kLoadDSP = 2;  // the processing-mode parameters
inline constexpr int kLoadUI = 4;   // "settings" and "uiprefs"

// $XDG_DATA_HOME when absolute, else $HOME/.local/share; empty when neither exists.
std::string dataHome();
// The "Path" value, or empty.
std::string pathSetting();
// The folder of the preset tree, ending in '/'.
std::string presetFolder();
// The folder of "Default Bank.tsi", no trailing '/'.
std::string userBankFolder();
// Full paths of the two banks read at construction.
std::string defaultBankPath();
std::string factoryBankPath();

// The bundle's Resources folder, set once by the module entry; empty until then.
void setResourcesFolder(const std::string& folder);
std::string resourcesFolder();

// $HOME/Desktop when it exists, else $HOME: where the file dialogs start.
std::string desktopFolder();

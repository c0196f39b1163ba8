#pragma once
// What the module entry leaves for the rest of the plug-in.

#include <string>

// Raised by ModuleEntry: parameter step counts take the host's convention from then on.
bool moduleInitialised();
void setModuleInitialised(bool on);
// The folder of the loaded module file, ending in '/'; empty before ModuleEntry.
const std::string& moduleFolder();
void setModuleFolder(const std::string& path);

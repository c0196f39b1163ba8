#include "ModuleState.h"

#include <atomic>

namespace {
std::atomic<bool> initialisedFlag{false};
std::string folder;
} // namespace

bool moduleInitialised() { return initialisedFlag.load(std::memory_order_relaxed); }
void setModuleInitialised(bool on) { initialisedFlag.store(on, std::memory_order_relaxed); }
const std::string& moduleFolder() { return folder; }
void setModuleFolder(const std::string& path) { folder = path; }

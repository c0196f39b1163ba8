#include "PresetFolders.h"

#include <cstdlib>
#include <filesystem>
#include <mutex>

#include "StringStore.h"

namespace {

std::mutex& resourcesMutex() {
    static std::mutex m;
    return m;
}

std::string& resourcesValue() {
    static std::string folder;
    return folder;
}

std::string withoutTrailingSlash(std::string s) {
    while (s.size() > 1 && s.back() == '/') s.pop_back();
    return s;
}

}  // namespace

std::string dataHome() {
    const char* xdg = std::getenv("XDG_DATA_HOME");
    if (xdg != nullptr && xdg[0] == '/') return xdg;
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] != '\0') return std::string(home) + "/.local/share";
    return {};
}

std::string pathSetting() {
    std::string value;
    if (!StringStore().read(kValuePath, &value, 2048)) return {};
    return value;
}

std::string userBankFolder() {
    const std::string path = pathSetting();
    if (path.size() >= 2) return withoutTrailingSlash(path);
    const std::string data = dataHome();
    return data.empty() ? std::string() : data + "/Ondelane/Tessarine";
}

std::string presetFolder() { return userBankFolder() + "/Presets/"; }

std::string defaultBankPath() { return userBankFolder() + "/" + kDefaultBankName; }

std::string factoryBankPath() {
    if (pathSetting().size() >= 2) return userBankFolder() + "/" + kFactoryBankName;
    const std::string resources = resourcesFolder();
    return resources.empty() ? std::string() : withoutTrailingSlash(resources) + "/" + kFactoryBankName;
}

void setResourcesFolder(const std::string& folder) {
    std::lock_guard<std::mutex> lock(resourcesMutex());
    resourcesValue() = folder;
}

std::string resourcesFolder() {
    std::lock_guard<std::mutex> lock(resourcesMutex());
    return resourcesValue();
}

std::string desktopFolder() {
    const char* home = std::getenv("HOME");
    const std::string base = home != nullptr ? home : "";
    std::error_code ignored;
    if (!base.empty() && std::filesystem::is_directory(base + "/Desktop", ignored)) return base + "/Desktop";
    return base;
}

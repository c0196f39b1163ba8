// Writes a bundle's moduleinfo.json from what its factory answers.
// Usage: make-moduleinfo <module.so> <moduleinfo.json>

#include <dlfcn.h>

#include <cstdio>
#include <string>

#include "pluginterfaces/base/ipluginbase.h"

using namespace Steinberg;

namespace {

std::string quoted(const char* text) {
    std::string out = "\"";
    for (const char* c = text; *c; ++c) {
        if (*c == '"' || *c == '\\') out += '\\';
        if (uint8_t(*c) >= 0x20) out += *c;
    }
    return out + "\"";
}

std::string subCategoryList(const char* text) {
    std::string out = "[";
    std::string item;
    bool first = true;
    for (const char* c = text;; ++c) {
        if (*c == '|' || *c == 0) {
            if (!item.empty()) {
                out += (first ? "" : ", ") + quoted(item.c_str());
                first = false;
            }
            item.clear();
            if (!*c) break;
        } else {
            item += *c;
        }
    }
    return out + "]";
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: make-moduleinfo <module.so> <moduleinfo.json>\n");
        return 2;
    }
    void* module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!module) {
        std::fprintf(stderr, "make-moduleinfo: %s\n", dlerror());
        return 1;
    }
    auto entry = reinterpret_cast<bool (*)(void*)>(dlsym(module, "ModuleEntry"));
    auto exit = reinterpret_cast<bool (*)()>(dlsym(module, "ModuleExit"));
    auto getFactory = reinterpret_cast<IPluginFactory* (*)()>(dlsym(module, "GetPluginFactory"));
    if (!entry || !exit || !getFactory || !entry(module)) {
        std::fprintf(stderr, "make-moduleinfo: %s lacks the module entry points\n", argv[1]);
        return 1;
    }
    IPluginFactory* factory = getFactory();
    IPluginFactory2* factory2 = nullptr;
    if (!factory || factory->queryInterface(IPluginFactory2::iid, reinterpret_cast<void**>(&factory2)) != kResultOk) {
        std::fprintf(stderr, "make-moduleinfo: no IPluginFactory2\n");
        return 1;
    }
    PFactoryInfo info;
    factory->getFactoryInfo(&info);

    std::string json = "{\n  \"Name\": \"Tessarine\",\n  \"Version\": \"1.0\",\n  \"Factory Info\": {\n";
    json += "    \"Vendor\": " + quoted(info.vendor) + ",\n    \"URL\": " + quoted(info.url) + ",\n";
    json += "    \"E-Mail\": " + quoted(info.email) + ",\n    \"Flags\": {\n";
    json += std::string("      \"Unicode\": ") + ((info.flags & PFactoryInfo::kUnicode) ? "true" : "false") + ",\n";
    json += std::string("      \"Classes Discardable\": ") + ((info.flags & PFactoryInfo::kClassesDiscardable) ? "true" : "false") + ",\n";
    json += std::string("      \"Component Non Discardable\": ") +
            ((info.flags & PFactoryInfo::kComponentNonDiscardable) ? "true" : "false") + "\n    }\n  },\n";
    json += "  \"Compatibility\": [],\n  \"Classes\": [";
    const int32 count = factory->countClasses();
    for (int32 i = 0; i < count; ++i) {
        PClassInfo2 c;
        if (factory2->getClassInfo2(i, &c) != kResultOk) continue;
        char cid[33];
        for (int b = 0; b < 16; ++b) std::snprintf(cid + 2 * b, 3, "%02X", unsigned(uint8_t(c.cid[b])));
        json += i ? ",\n" : "\n";
        json += "    {\n      \"CID\": " + quoted(cid) + ",\n      \"Category\": " + quoted(c.category) + ",\n";
        json += "      \"Name\": " + quoted(c.name) + ",\n      \"Vendor\": " + quoted(c.vendor) + ",\n";
        json += "      \"Version\": " + quoted(c.version) + ",\n      \"SDKVersion\": " + quoted(c.sdkVersion) + ",\n";
        json += "      \"Sub Categories\": " + subCategoryList(c.subCategories) + ",\n";
        json += "      \"Class Flags\": " + std::to_string(c.classFlags) + ",\n";
        json += "      \"Cardinality\": " + std::to_string(c.cardinality) + ",\n      \"Snapshots\": []\n    }";
    }
    json += "\n  ]\n}\n";
    factory2->release();
    factory->release();
    exit();
    // The module is left loaded: its static objects may still run threads being joined.

    FILE* out = std::fopen(argv[2], "wb");
    if (!out || std::fwrite(json.data(), 1, json.size(), out) != json.size() || std::fclose(out) != 0) {
        std::fprintf(stderr, "make-moduleinfo: cannot write %s\n", argv[2]);
        return 1;
    }
    return 0;
}

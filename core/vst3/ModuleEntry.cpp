// The module's three exports and the factory behind GetPluginFactory.

#include <dlfcn.h>

#include <atomic>
#include <filesystem>
#include <cstring>
#include <new>
#include <string>

#include "ClassId.h"
#include "ModuleState.h"
#include "PresetFolders.h"
#include "VST3Wrap.h"
#include "pluginterfaces/base/ipluginbase.h"

using namespace Steinberg;

namespace {

const char* const kVendor = "Ondelane";
const char* const kVendorUrl = "https://ondelane.com";
const char* const kVendorEmail = "mailto:support@ondelane.com";

class Factory final : public IPluginFactory3 {
public:
    Factory() {
        std::memcpy(cid, tessarineClassId().data(), sizeof cid);
    }
    ~Factory();

    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        if (FUnknownPrivate::iidEqual(iid, FUnknown::iid) || FUnknownPrivate::iidEqual(iid, IPluginFactory::iid) ||
            FUnknownPrivate::iidEqual(iid, IPluginFactory2::iid) ||
            FUnknownPrivate::iidEqual(iid, IPluginFactory3::iid)) {
            addRef();
            *obj = static_cast<IPluginFactory3*>(this);
            return kResultOk;
        }
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return ++references; }
    uint32 PLUGIN_API release() override {
        const uint32 left = --references;
        if (left == 0) delete this;
        return left;
    }

    tresult PLUGIN_API getFactoryInfo(PFactoryInfo* info) override {
        if (!info) return kInvalidArgument;
        *info = PFactoryInfo(kVendor, kVendorUrl, kVendorEmail, PFactoryInfo::kUnicode);
        return kResultOk;
    }
    int32 PLUGIN_API countClasses() override { return 1; }
    tresult PLUGIN_API getClassInfo(int32 index, PClassInfo* info) override {
        if (index != 0 || !info) return kInvalidArgument;
        *info = PClassInfo(cid, PClassInfo::kManyInstances, kVstAudioEffectClass, "Tessarine");
        return kResultOk;
    }
    tresult PLUGIN_API getClassInfo2(int32 index, PClassInfo2* info) override {
        if (index != 0 || !info) return kInvalidArgument;
        *info = PClassInfo2(cid, PClassInfo::kManyInstances, kVstAudioEffectClass, "Tessarine", 0, "Fx|EQ", "",
                            "1.0", "VST 3.0.2");
        return kResultOk;
    }
    tresult PLUGIN_API getClassInfoUnicode(int32 index, PClassInfoW* info) override {
        PClassInfo2 ascii;
        const tresult result = getClassInfo2(index, &ascii);
        if (result == kResultOk && info) info->fromAscii(ascii);
        return result;
    }
    tresult PLUGIN_API setHostContext(FUnknown*) override { return kResultOk; }

    tresult PLUGIN_API createInstance(FIDString classId, FIDString iid, void** obj) override {
        if (!obj) return kInvalidArgument;
        *obj = nullptr;
        if (!classId || !FUnknownPrivate::iidEqual(classId, cid)) return kNoInterface;
        auto* wrap = new (std::nothrow) VST3Wrap();
        if (!wrap) return kOutOfMemory;
        Vst::IAudioProcessor* face = wrap;
        const tresult result = face->queryInterface(iid, obj);
        face->release(); // the object now lives by the reference just handed out
        return result;
    }

private:
    std::atomic<uint32> references{1};
    // The SDK compares ids as two 64-bit words.
    alignas(8) TUID cid;
};

Factory* factory = nullptr;

Factory::~Factory() {
    if (factory == this) factory = nullptr;
}

} // namespace

extern "C" {

SMTG_EXPORT_SYMBOL IPluginFactory* PLUGIN_API GetPluginFactory() {
    if (factory) {
        factory->addRef();
        return factory;
    }
    factory = new (std::nothrow) Factory();
    return factory;
}

SMTG_EXPORT_SYMBOL bool ModuleEntry(void*) {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&GetPluginFactory), &info) && info.dli_fname) {
        const std::string path = info.dli_fname;
        setModuleFolder(path.substr(0, path.rfind('/') + 1));
        // Contents/x86_64-linux/ -> Contents/Resources/, where the factory bank lives.
        setResourcesFolder(std::filesystem::path(moduleFolder() + "../Resources").lexically_normal().string());
    }
    setModuleInitialised(true);
    return true;
}

SMTG_EXPORT_SYMBOL bool ModuleExit() { return true; }

} // extern "C"

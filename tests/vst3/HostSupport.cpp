#include "HostSupport.h"

#include <stdexcept>

#include "pluginterfaces/base/funknown.h"

namespace host {

Module::Module(const char* path) {
    handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!handle) throw std::runtime_error(dlerror());
    auto entry = reinterpret_cast<bool (*)(void*)>(dlsym(handle, "ModuleEntry"));
    auto get = reinterpret_cast<IPluginFactory* (*)()>(dlsym(handle, "GetPluginFactory"));
    if (!entry || !get || !entry(handle)) throw std::runtime_error("module entry points missing");
    factory = get();
}

Module::~Module() {
    if (factory) factory->release();
    if (auto exit = reinterpret_cast<bool (*)()>(dlsym(handle, "ModuleExit"))) exit();
    // Not unloaded: the module's tick thread object lives in its statics.
}

tresult PLUGIN_API Host::getName(String128 name) {
    const char* text = "Tessarine test host";
    size_t i = 0;
    for (; text[i]; ++i) name[i] = char16(text[i]);
    name[i] = 0;
    return kResultOk;
}

tresult PLUGIN_API Host::registerTimer(Linux::ITimerHandler* handler, Linux::TimerInterval ms) {
    timers.emplace_back(handler, ms);
    return kResultOk;
}

tresult PLUGIN_API Host::unregisterTimer(Linux::ITimerHandler* handler) {
    std::erase_if(timers, [&](const auto& t) { return t.first == handler; });
    return kResultOk;
}

void Host::fireTimers() {
    const auto copy = timers;
    for (const auto& t : copy) t.first->onTimer();
}

tresult PLUGIN_API Host::queryInterface(const TUID iid, void** obj) {
    if (FUnknownPrivate::iidEqual(iid, IHostApplication::iid) || FUnknownPrivate::iidEqual(iid, FUnknown::iid)) {
        *obj = static_cast<IHostApplication*>(this);
        return kResultOk;
    }
    if (FUnknownPrivate::iidEqual(iid, IComponentHandler::iid)) {
        *obj = static_cast<IComponentHandler*>(this);
        return kResultOk;
    }
    if (runLoopOffered && FUnknownPrivate::iidEqual(iid, Linux::IRunLoop::iid)) {
        *obj = static_cast<Linux::IRunLoop*>(this);
        return kResultOk;
    }
    *obj = nullptr;
    return kNoInterface;
}

tresult Host::record(char kind, ParamID id, ParamValue v) {
    std::lock_guard<std::mutex> lock(callLock);
    calls.push_back({kind, id, v, processing.load(), std::this_thread::get_id()});
    return kResultOk;
}

std::vector<Host::Call> Host::takeCalls() {
    std::lock_guard<std::mutex> lock(callLock);
    return std::exchange(calls, {});
}

void Changes::add(ParamID id, ParamValue value, int32 offset) {
    int32 index = 0;
    IParamValueQueue* q = addParameterData(id, index);
    q->addPoint(offset, value, index);
}

IParamValueQueue* PLUGIN_API Changes::getParameterData(int32 index) {
    return index >= 0 && index < int32(queues.size()) ? &queues[size_t(index)] : nullptr;
}

IParamValueQueue* PLUGIN_API Changes::addParameterData(const ParamID& id, int32& index) {
    for (size_t i = 0; i < queues.size(); ++i)
        if (queues[i].id == id) {
            index = int32(i);
            return &queues[i];
        }
    queues.emplace_back();
    queues.back().id = id;
    index = int32(queues.size() - 1);
    return &queues.back();
}

tresult PLUGIN_API Changes::Queue::getPoint(int32 i, int32& offset, ParamValue& v) {
    if (i < 0 || i >= int32(points.size())) return kResultFalse;
    offset = points[size_t(i)].first;
    v = points[size_t(i)].second;
    return kResultOk;
}

tresult PLUGIN_API Changes::Queue::addPoint(int32 offset, ParamValue v, int32& index) {
    points.emplace_back(offset, v);
    index = int32(points.size() - 1);
    return kResultOk;
}

tresult PLUGIN_API Events::getEvent(int32 i, Event& e) {
    if (i < 0 || i >= int32(list.size())) return kResultFalse;
    e = list[size_t(i)];
    return kResultOk;
}

std::string narrow(const char16* text) {
    std::string out;
    for (; *text; ++text) out += char(*text);
    return out;
}

Instance::Instance(Module& module, Host& h) : host(h) {
    PClassInfo info;
    if (module.factory->getClassInfo(0, &info) != kResultOk) return;
    if (module.factory->createInstance(info.cid, IComponent::iid, reinterpret_cast<void**>(&component)) != kResultOk)
        return;
    component->initialize(static_cast<IHostApplication*>(&host));
    component->queryInterface(IAudioProcessor::iid, reinterpret_cast<void**>(&processor));
    component->queryInterface(IEditController::iid, reinterpret_cast<void**>(&controller));
    if (controller) controller->setComponentHandler(&host);
}

Instance::~Instance() {
    if (controller) {
        controller->setComponentHandler(nullptr);
        controller->release();
    }
    if (processor) processor->release();
    if (component) {
        component->terminate();
        component->release();
    }
}

ParamID Instance::idOf(const char* title) {
    ParameterInfo info;
    for (int32 i = 0; i < controller->getParameterCount(); ++i)
        if (controller->getParameterInfo(i, info) == kResultOk && narrow(info.title) == title) return info.id;
    throw std::runtime_error(std::string("no parameter ") + title);
}

ParamValue Instance::normalOf(ParamID id, const char* text) {
    char16 wide[128] = {};
    for (size_t i = 0; text[i] && i < 127; ++i) wide[i] = char16(text[i]);
    ParamValue v = -1;
    controller->getParamValueByString(id, wide, v);
    return v;
}

void Instance::start(double rate, int32 maxBlock, int32 size, int32 channels) {
    sampleSize = size;
    SpeakerArrangement arr = channels == 1 ? SpeakerArr::kMono : SpeakerArr::kStereo;
    processor->setBusArrangements(&arr, 1, &arr, 1);
    ProcessSetup setup{kRealtime, size, maxBlock, rate};
    processor->setupProcessing(setup);
    component->setActive(true);
    processor->setProcessing(true);
}

void Instance::stop() {
    processor->setProcessing(false);
    component->setActive(false);
}

} // namespace host

#include "SingleComponentEffect.h"

using namespace Steinberg;
using namespace Steinberg::Vst;

SingleComponentEffect::SingleComponentEffect()
    : audioInputs(kAudio, kInput), audioOutputs(kAudio, kOutput), eventInputs(kEvent, kInput),
      eventOutputs(kEvent, kOutput) {
    processSetup.processMode = kRealtime;
    processSetup.symbolicSampleSize = kSample32;
    processSetup.maxSamplesPerBlock = 1024;
    processSetup.sampleRate = 44100.0;
}

tresult PLUGIN_API SingleComponentEffect::initialize(FUnknown* context) {
    return EditControllerEx1::initialize(context);
}

tresult PLUGIN_API SingleComponentEffect::terminate() {
    parameters.removeAll();
    removeAllBusses();
    return EditControllerEx1::terminate();
}

BusList* SingleComponentEffect::busList(MediaType type, BusDirection dir) {
    if (type == kAudio) return dir == kInput ? &audioInputs : &audioOutputs;
    if (type == kEvent) return dir == kInput ? &eventInputs : &eventOutputs;
    return nullptr;
}

int32 PLUGIN_API SingleComponentEffect::getBusCount(MediaType type, BusDirection dir) {
    BusList* list = busList(type, dir);
    return list ? int32(list->size()) : 0;
}

tresult PLUGIN_API SingleComponentEffect::getBusInfo(MediaType type, BusDirection dir, int32 index, BusInfo& info) {
    BusList* list = busList(type, dir);
    if (!list || index < 0 || index >= int32(list->size())) return kInvalidArgument;
    Bus* bus = list->at(size_t(index));
    info.mediaType = type;
    info.direction = dir;
    return bus->getInfo(info) ? kResultTrue : kResultFalse;
}

tresult PLUGIN_API SingleComponentEffect::activateBus(MediaType type, BusDirection dir, int32 index, TBool state) {
    BusList* list = busList(type, dir);
    if (!list || index < 0 || index >= int32(list->size())) return kInvalidArgument;
    list->at(size_t(index))->setActive(state);
    return kResultTrue;
}

tresult PLUGIN_API SingleComponentEffect::getBusArrangement(BusDirection dir, int32 index, SpeakerArrangement& arr) {
    BusList* list = busList(kAudio, dir);
    if (!list || index < 0 || index >= int32(list->size())) return kInvalidArgument;
    arr = static_cast<AudioBus*>(list->at(size_t(index)).get())->getArrangement();
    return kResultTrue;
}

AudioBus* SingleComponentEffect::addAudioInput(const TChar* name, SpeakerArrangement arr, BusType type) {
    auto* bus = new AudioBus(name, type, type == kMain ? BusInfo::kDefaultActive : 0, arr);
    audioInputs.push_back(IPtr<Bus>(bus, false));
    return bus;
}

AudioBus* SingleComponentEffect::addAudioOutput(const TChar* name, SpeakerArrangement arr) {
    auto* bus = new AudioBus(name, kMain, BusInfo::kDefaultActive, arr);
    audioOutputs.push_back(IPtr<Bus>(bus, false));
    return bus;
}

EventBus* SingleComponentEffect::addEventInput(const TChar* name, int32 channels) {
    auto* bus = new EventBus(name, kMain, BusInfo::kDefaultActive, channels);
    eventInputs.push_back(IPtr<Bus>(bus, false));
    return bus;
}

void SingleComponentEffect::removeAudioBusses() {
    audioInputs.clear();
    audioOutputs.clear();
}

void SingleComponentEffect::removeAllBusses() {
    removeAudioBusses();
    eventInputs.clear();
    eventOutputs.clear();
}

tresult PLUGIN_API SingleComponentEffect::queryInterface(const TUID iid, void** obj) {
    // The component faces first; everything else the controller base knows.
    if (FUnknownPrivate::iidEqual(iid, IComponent::iid)) {
        addRef();
        *obj = static_cast<IComponent*>(this);
        return kResultOk;
    }
    if (FUnknownPrivate::iidEqual(iid, IAudioProcessor::iid)) {
        addRef();
        *obj = static_cast<IAudioProcessor*>(this);
        return kResultOk;
    }
    if (FUnknownPrivate::iidEqual(iid, IPluginBase::iid)) {
        addRef();
        *obj = static_cast<IPluginBase*>(static_cast<IComponent*>(this));
        return kResultOk;
    }
    return EditControllerEx1::queryInterface(iid, obj);
}

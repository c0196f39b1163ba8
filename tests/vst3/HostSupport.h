#pragma once
// A small VST 3 host for tests: loads the built module with dlopen, offers a host context with a
// component handler and a run loop whose timers the test fires, and runs blocks of audio.

#include <dlfcn.h>

#include <atomic>
#include <cstring>
#include <functional>
#include <mutex>
#include <cmath>
#include <algorithm>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "pluginterfaces/base/ipluginbase.h"
#include "pluginterfaces/gui/iplugview.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "pluginterfaces/vst/ivstevents.h"
#include "pluginterfaces/vst/ivsthostapplication.h"
#include "pluginterfaces/vst/ivstparameterchanges.h"
#include "pluginterfaces/vst/ivstmessage.h"
#include "pluginterfaces/vst/ivstmidicontrollers.h"
#include "pluginterfaces/vst/ivstunits.h"

namespace host {

using namespace Steinberg;
using namespace Steinberg::Vst;

constexpr ParamID kProg = 0x70726f67;
constexpr ParamID kPitc = 0x70697463;

struct Module {
    void* handle = nullptr;
    IPluginFactory* factory = nullptr;
    explicit Module(const char* path);
    ~Module();
};

// Records what the plug-in tells the host, and from which thread.
class Host : public IHostApplication, public IComponentHandler, public Linux::IRunLoop {
public:
    explicit Host(bool offerRunLoop) : runLoopOffered(offerRunLoop) {}

    tresult PLUGIN_API getName(String128 name) override;
    tresult PLUGIN_API createInstance(TUID, TUID, void** obj) override {
        *obj = nullptr;
        return kResultFalse;
    }
    tresult PLUGIN_API beginEdit(ParamID id) override { return record('b', id, 0); }
    tresult PLUGIN_API performEdit(ParamID id, ParamValue v) override { return record('p', id, v); }
    tresult PLUGIN_API endEdit(ParamID id) override { return record('e', id, 0); }
    tresult PLUGIN_API restartComponent(int32 flags) override { return record('r', ParamID(flags), 0); }

    tresult PLUGIN_API registerEventHandler(Linux::IEventHandler*, Linux::FileDescriptor) override { return kResultOk; }
    tresult PLUGIN_API unregisterEventHandler(Linux::IEventHandler*) override { return kResultOk; }
    tresult PLUGIN_API registerTimer(Linux::ITimerHandler* handler, Linux::TimerInterval ms) override;
    tresult PLUGIN_API unregisterTimer(Linux::ITimerHandler* handler) override;

    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override;
    uint32 PLUGIN_API addRef() override { return 1; }
    uint32 PLUGIN_API release() override { return 1; }

    // Fires every registered timer once, as the host's loop would.
    void fireTimers();
    size_t timerCount() const { return timers.size(); }

    struct Call {
        char kind;
        ParamID id;
        ParamValue value;
        bool fromProcess;
        std::thread::id thread;
    };
    std::vector<Call> takeCalls();
    std::atomic<bool> processing{false};

private:
    tresult record(char kind, ParamID id, ParamValue v);
    bool runLoopOffered;
    std::vector<std::pair<Linux::ITimerHandler*, Linux::TimerInterval>> timers;
    std::vector<Call> calls;
    std::mutex callLock;
};

// Parameter changes for one block, one queue per id.
class Changes : public IParameterChanges {
public:
    void add(ParamID id, ParamValue value, int32 offset = 0);
    void clear() { queues.clear(); }
    int32 PLUGIN_API getParameterCount() override { return int32(queues.size()); }
    IParamValueQueue* PLUGIN_API getParameterData(int32 index) override;
    IParamValueQueue* PLUGIN_API addParameterData(const ParamID& id, int32& index) override;
    tresult PLUGIN_API queryInterface(const TUID, void** obj) override {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return 1; }
    uint32 PLUGIN_API release() override { return 1; }

private:
    struct Queue : IParamValueQueue {
        ParamID id = 0;
        std::vector<std::pair<int32, ParamValue>> points;
        ParamID PLUGIN_API getParameterId() override { return id; }
        int32 PLUGIN_API getPointCount() override { return int32(points.size()); }
        tresult PLUGIN_API getPoint(int32 i, int32& offset, ParamValue& v) override;
        tresult PLUGIN_API addPoint(int32 offset, ParamValue v, int32& index) override;
        tresult PLUGIN_API queryInterface(const TUID, void** obj) override {
            *obj = nullptr;
            return kNoInterface;
        }
        uint32 PLUGIN_API addRef() override { return 1; }
        uint32 PLUGIN_API release() override { return 1; }
    };
    std::vector<Queue> queues;
};

class Events : public IEventList {
public:
    std::vector<Event> list;
    int32 PLUGIN_API getEventCount() override { return int32(list.size()); }
    tresult PLUGIN_API getEvent(int32 i, Event& e) override;
    tresult PLUGIN_API addEvent(Event& e) override {
        list.push_back(e);
        return kResultOk;
    }
    tresult PLUGIN_API queryInterface(const TUID, void** obj) override {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return 1; }
    uint32 PLUGIN_API release() override { return 1; }
};

// One instance of the plug-in, initialised against `host`, with its interfaces.
struct Instance {
    IComponent* component = nullptr;
    IAudioProcessor* processor = nullptr;
    IEditController* controller = nullptr;
    Host& host;
    Instance(Module& module, Host& host);
    ~Instance();
    bool ok() const { return component && processor && controller; }

    ParamID idOf(const char* title);
    ParamValue normalOf(ParamID id, const char* text);
    // setupProcessing, then setActive and setProcessing.
    void start(double rate, int32 maxBlock, int32 sampleSize, int32 channels = 2);
    void stop();

    // Runs one block: `in` and `out` hold channels x frames samples, channel after channel.
    template <typename T>
    void run(std::vector<T>& in, std::vector<T>& out, int32 channels, int32 frames, Changes* changes = nullptr,
             Events* events = nullptr);
    int32 sampleSize = kSample32;
};

// The peak amplitude of a channel's last `frames` samples.
template <typename T> double peakOf(const std::vector<T>& buffer, int32 channel, int32 frames, int32 count) {
    double peak = 0;
    for (int32 i = frames - count; i < frames; ++i)
        peak = std::max(peak, std::abs(double(buffer[size_t(channel * frames + i)])));
    return peak;
}

std::string narrow(const char16* text);

template <typename T>
void Instance::run(std::vector<T>& in, std::vector<T>& out, int32 channels, int32 frames, Changes* changes,
                   Events* events) {
    std::vector<T*> inPtrs(static_cast<size_t>(channels)), outPtrs(static_cast<size_t>(channels));
    for (int32 c = 0; c < channels; ++c) {
        inPtrs[size_t(c)] = in.data() + size_t(c * frames);
        outPtrs[size_t(c)] = out.data() + size_t(c * frames);
    }
    AudioBusBuffers inBus{}, outBus{};
    inBus.numChannels = outBus.numChannels = channels;
    if constexpr (sizeof(T) == 4) {
        inBus.channelBuffers32 = reinterpret_cast<Sample32**>(inPtrs.data());
        outBus.channelBuffers32 = reinterpret_cast<Sample32**>(outPtrs.data());
    } else {
        inBus.channelBuffers64 = reinterpret_cast<Sample64**>(inPtrs.data());
        outBus.channelBuffers64 = reinterpret_cast<Sample64**>(outPtrs.data());
    }
    ProcessData data{};
    data.processMode = kRealtime;
    data.symbolicSampleSize = sizeof(T) == 4 ? kSample32 : kSample64;
    data.numSamples = frames;
    data.numInputs = 1;
    data.numOutputs = 1;
    data.inputs = &inBus;
    data.outputs = &outBus;
    data.inputParameterChanges = changes;
    data.inputEvents = events;
    host.processing = true;
    processor->process(data);
    host.processing = false;
}

} // namespace host

#include "PluginHost.h"

#include "pluginterfaces/base/ipluginbase.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"
#include "pluginterfaces/vst/ivsteditcontroller.h"
#include "pluginterfaces/vst/ivsthostapplication.h"
#include "pluginterfaces/vst/ivstmessage.h"
#include "pluginterfaces/vst/ivstparameterchanges.h"
#include "pluginterfaces/vst/ivstprocesscontext.h"
#include "pluginterfaces/vst/ivstunits.h"
#include "pluginterfaces/vst/vstspeaker.h"
#include "public.sdk/source/common/memorystream.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fstream>
#include <iterator>

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace tess::host {
namespace {

std::string narrow(const char16* s, size_t max = 128) {
    std::string out;
    for (size_t i = 0; i < max && s[i]; ++i) {
        const uint32_t c = static_cast<uint16_t>(s[i]);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            // Surrogate halves come out as they are; titles here are plain text.
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

void widen(const std::string& s, String128 out) {
    size_t n = 0;
    for (size_t i = 0; i < s.size() && n < 127;) {
        const auto b = static_cast<unsigned char>(s[i]);
        uint32_t c = b;
        size_t len = 1;
        if (b >= 0xE0 && i + 2 < s.size()) {
            c = ((b & 0x0F) << 12) | ((s[i + 1] & 0x3F) << 6) | (s[i + 2] & 0x3F);
            len = 3;
        } else if (b >= 0xC0 && i + 1 < s.size()) {
            c = ((b & 0x1F) << 6) | (s[i + 1] & 0x3F);
            len = 2;
        }
        out[n++] = static_cast<char16>(c);
        i += len;
    }
    out[n] = 0;
}

std::string lower(std::string_view s) {
    std::string r(s);
    for (char& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return r;
}

std::string trim(const std::string& s) {
    const auto a = s.find_first_not_of(" \t");
    if (a == std::string::npos) return {};
    return s.substr(a, s.find_last_not_of(" \t") - a + 1);
}

bool sameIid(const TUID a, const TUID b) { return std::memcmp(a, b, sizeof(TUID)) == 0; }

// The host's face towards the module: application name and restart requests. Lives as long
// as the host, so reference counting is not needed.
struct HostContext : IHostApplication, IComponentHandler {
    bool restartRequested = false;

    tresult PLUGIN_API getName(String128 name) override {
        widen("tessarine-host", name);
        return kResultOk;
    }
    tresult PLUGIN_API createInstance(TUID, TUID, void** obj) override {
        if (obj) *obj = nullptr;
        return kNotImplemented;
    }
    tresult PLUGIN_API beginEdit(ParamID) override { return kResultOk; }
    tresult PLUGIN_API performEdit(ParamID, ParamValue) override { return kResultOk; }
    tresult PLUGIN_API endEdit(ParamID) override { return kResultOk; }
    tresult PLUGIN_API restartComponent(int32) override {
        restartRequested = true;
        return kResultOk;
    }
    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        if (sameIid(iid, FUnknown::iid) || sameIid(iid, IHostApplication::iid)) {
            *obj = static_cast<IHostApplication*>(this);
            return kResultOk;
        }
        if (sameIid(iid, IComponentHandler::iid)) {
            *obj = static_cast<IComponentHandler*>(this);
            return kResultOk;
        }
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return 1; }
    uint32 PLUGIN_API release() override { return 1; }
};

// One point per parameter and block; the host owns these for its whole life.
struct PointQueue : IParamValueQueue {
    ParamID id = 0;
    ParamValue value = 0.0;
    ParamID PLUGIN_API getParameterId() override { return id; }
    int32 PLUGIN_API getPointCount() override { return 1; }
    tresult PLUGIN_API getPoint(int32 index, int32& offset, ParamValue& v) override {
        if (index != 0) return kInvalidArgument;
        offset = 0;
        v = value;
        return kResultOk;
    }
    tresult PLUGIN_API addPoint(int32, ParamValue, int32&) override { return kNotImplemented; }
    tresult PLUGIN_API queryInterface(const TUID, void** obj) override {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return 1; }
    uint32 PLUGIN_API release() override { return 1; }
};

struct Changes : IParameterChanges {
    std::vector<PointQueue> queues; // sized once; count says how many are in use
    int32 count = 0;

    void set(ParamID id, ParamValue v) {
        for (int32 i = 0; i < count; ++i) {
            if (queues[size_t(i)].id == id) {
                queues[size_t(i)].value = v;
                return;
            }
        }
        if (count == int32(queues.size())) return; // every parameter is already queued
        queues[size_t(count)].id = id;
        queues[size_t(count)].value = v;
        ++count;
    }
    int32 PLUGIN_API getParameterCount() override { return count; }
    IParamValueQueue* PLUGIN_API getParameterData(int32 index) override {
        return index >= 0 && index < count ? &queues[size_t(index)] : nullptr;
    }
    IParamValueQueue* PLUGIN_API addParameterData(const ParamID&, int32&) override { return nullptr; }
    tresult PLUGIN_API queryInterface(const TUID, void** obj) override {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return 1; }
    uint32 PLUGIN_API release() override { return 1; }
};

using EntryFn = bool (*)(void*);
using ExitFn = bool (*)();
using FactoryFn = IPluginFactory* (*)();

SpeakerArrangement arrangementFor(int channels) {
    static const SpeakerArrangement kByCount[8] = {
        SpeakerArr::kMono, SpeakerArr::kStereo, SpeakerArr::k30Cine, SpeakerArr::k40Music,
        SpeakerArr::k50,   SpeakerArr::k51,     SpeakerArr::k61Cine, SpeakerArr::k71Cine};
    return kByCount[channels - 1];
}

template <typename T> void releaseAndClear(T*& p) {
    if (p) p->release();
    p = nullptr;
}

} // namespace

struct PluginHost::Impl {
    std::string path;
    void* so = nullptr;
    bool entered = false;
    IPluginFactory* factory = nullptr;
    IComponent* component = nullptr;
    IAudioProcessor* processor = nullptr;
    IEditController* controller = nullptr;
    IUnitInfo* units = nullptr;
    bool separateController = false;
    bool componentInitialised = false;
    bool controllerInitialised = false;
    bool active = false;
    bool processing = false;
    HostContext context;
    Changes changes;
    ProcessContext time{};
    AudioBusBuffers inBus{}, outBus{};
    ProcessData data{};
    std::vector<double> silence; // for empty blocks, either precision
    std::vector<void*> silencePtrs;

    [[noreturn]] void fail(const std::string& what) const { throw HostError(path + ": " + what); }

    ~Impl() {
        if (processing && processor) processor->setProcessing(false);
        if (active && component) component->setActive(false);
        if (controller) controller->setComponentHandler(nullptr);
        releaseAndClear(units);
        if (separateController && controller && controllerInitialised) controller->terminate();
        if (component && componentInitialised) component->terminate();
        releaseAndClear(processor);
        releaseAndClear(controller);
        releaseAndClear(component);
        releaseAndClear(factory);
        if (entered) {
            if (auto exitFn = reinterpret_cast<ExitFn>(dlsym(so, "ModuleExit"))) exitFn();
        }
        if (so) dlclose(so);
    }
};

std::filesystem::path PluginHost::binaryOf(const std::filesystem::path& module) {
    namespace fs = std::filesystem;
    std::error_code ec;
    if (fs::is_directory(module, ec)) {
        const fs::path dir = module / "Contents" / "x86_64-linux";
        const fs::path named = dir / (module.stem().string() + ".so");
        if (fs::exists(named, ec)) return named;
        // A bundle whose binary carries another name still has just one ".so" here.
        if (fs::is_directory(dir, ec)) {
            for (const auto& e : fs::directory_iterator(dir, ec))
                if (e.path().extension() == ".so") return e.path();
        }
        throw HostError(module.string() + ": no shared object in Contents/x86_64-linux");
    }
    if (!fs::exists(module, ec)) throw HostError(module.string() + ": no such plug-in");
    return module;
}

PluginHost::PluginHost(const std::filesystem::path& module) : impl_(std::make_unique<Impl>()) {
    Impl& m = *impl_;
    m.path = module.string();
    const std::string binary = binaryOf(module).string();
    m.so = dlopen(binary.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m.so) m.fail(std::string("cannot load: ") + dlerror());

    auto entry = reinterpret_cast<EntryFn>(dlsym(m.so, "ModuleEntry"));
    auto getFactory = reinterpret_cast<FactoryFn>(dlsym(m.so, "GetPluginFactory"));
    if (!entry || !getFactory) m.fail("not a VST 3 module (ModuleEntry or GetPluginFactory missing)");
    if (!entry(m.so)) m.fail("ModuleEntry refused to start");
    m.entered = true;
    m.factory = getFactory();
    if (!m.factory) m.fail("GetPluginFactory returned no factory");

    PClassInfo info{};
    bool found = false;
    for (int32 i = 0, n = m.factory->countClasses(); i < n && !found; ++i) {
        if (m.factory->getClassInfo(i, &info) == kResultOk &&
            std::strncmp(info.category, kVstAudioEffectClass, PClassInfo::kCategorySize) == 0)
            found = true;
    }
    if (!found) m.fail("the module offers no audio effect class");
    className_.assign(info.name, strnlen(info.name, PClassInfo::kNameSize));

    // Class ids are compared as 64-bit words on some SDK paths: hand one over aligned.
    alignas(8) TUID cid;
    std::memcpy(cid, info.cid, sizeof cid);
    void* obj = nullptr;
    if (m.factory->createInstance(cid, IComponent::iid, &obj) != kResultOk || !obj)
        m.fail("cannot create " + className_);
    m.component = static_cast<IComponent*>(obj);
    obj = nullptr;
    if (m.component->queryInterface(IAudioProcessor::iid, &obj) != kResultOk || !obj)
        m.fail(className_ + " is not an audio processor");
    m.processor = static_cast<IAudioProcessor*>(obj);

    if (m.component->initialize(static_cast<IHostApplication*>(&m.context)) != kResultOk)
        m.fail("initialize failed");
    m.componentInitialised = true;

    obj = nullptr;
    if (m.component->queryInterface(IEditController::iid, &obj) == kResultOk && obj) {
        m.controller = static_cast<IEditController*>(obj);
    } else {
        alignas(8) TUID controllerCid;
        if (m.component->getControllerClassId(controllerCid) != kResultOk)
            m.fail("no edit controller");
        obj = nullptr;
        if (m.factory->createInstance(controllerCid, IEditController::iid, &obj) != kResultOk || !obj)
            m.fail("cannot create the edit controller");
        m.controller = static_cast<IEditController*>(obj);
        m.separateController = true;
        if (m.controller->initialize(static_cast<IHostApplication*>(&m.context)) != kResultOk)
            m.fail("the edit controller's initialize failed");
        m.controllerInitialised = true;
        // Let the two halves talk when they can; a missing connection point is no error.
        IConnectionPoint* a = nullptr;
        IConnectionPoint* b = nullptr;
        m.component->queryInterface(IConnectionPoint::iid, reinterpret_cast<void**>(&a));
        m.controller->queryInterface(IConnectionPoint::iid, reinterpret_cast<void**>(&b));
        if (a && b) {
            a->connect(b);
            b->connect(a);
        }
        releaseAndClear(a);
        releaseAndClear(b);
    }
    m.controller->setComponentHandler(&m.context);
    obj = nullptr;
    if (m.controller->queryInterface(IUnitInfo::iid, &obj) == kResultOk) m.units = static_cast<IUnitInfo*>(obj);

    const int32 count = m.controller->getParameterCount();
    params_.reserve(size_t(std::max(count, 0)));
    for (int32 i = 0; i < count; ++i) {
        ParameterInfo pi{};
        if (m.controller->getParameterInfo(i, pi) != kResultOk) continue;
        ParamEntry e;
        e.id = pi.id;
        e.title = narrow(pi.title);
        e.units = narrow(pi.units);
        e.stepCount = pi.stepCount;
        e.defaultNormal = pi.defaultNormalizedValue;
        e.flags = pi.flags;
        params_.push_back(std::move(e));
    }
    m.changes.queues.resize(params_.size() + 1);
}

PluginHost::~PluginHost() = default;

const ParamEntry* PluginHost::findParam(std::string_view title) const {
    for (const auto& p : params_)
        if (p.title == title) return &p;
    const std::string want = lower(title);
    for (const auto& p : params_)
        if (lower(p.title) == want) return &p;
    return nullptr;
}

double PluginHost::plainOf(const ParamEntry& p, double normal) {
    return impl_->controller->normalizedParamToPlain(p.id, normal);
}

double PluginHost::normalOf(const ParamEntry& p) { return impl_->controller->getParamNormalized(p.id); }

std::string PluginHost::textOf(const ParamEntry& p, double normal) {
    String128 s{};
    if (impl_->controller->getParamStringByValue(p.id, normal, s) != kResultOk) return {};
    return narrow(s);
}

double PluginHost::normalFromText(const ParamEntry& p, const std::string& raw) {
    std::string text = trim(raw);
    const std::string l = lower(text);
    // Switches and states read more naturally as words: "on" is the top of the range.
    const bool on = l == "on" || l == "true" || l == "yes";
    if (on || l == "off" || l == "false" || l == "no") {
        char v[32];
        std::snprintf(v, sizeof v, "%.17g", plainOf(p, on ? 1.0 : 0.0));
        text = v;
    }

    // The number as the module will read it: a "k" stands for the decimal point and a
    // factor of 1000 ("2k" is 2000, "1k5" is 1500).
    std::string digits = text;
    double factor = 1.0;
    if (const auto k = digits.find_first_of("kK"); k != std::string::npos) {
        digits[k] = '.';
        factor = 1000.0;
    }
    char* end = nullptr;
    const double number = std::strtod(digits.c_str(), &end);
    if (end == digits.c_str() || !std::isfinite(number))
        throw HostError("\"" + p.title + "\": \"" + raw + "\" is not a number");
    const double plain = number * factor;

    double lo = plainOf(p, 0.0), hi = plainOf(p, 1.0);
    if (lo > hi) std::swap(lo, hi);
    const double slack = 1e-6 * std::max({1.0, std::fabs(lo), std::fabs(hi)});
    if (plain < lo - slack || plain > hi + slack) {
        char range[128];
        std::snprintf(range, sizeof range, "%g .. %g", lo, hi);
        throw HostError("\"" + p.title + "\": " + raw + " is out of range (" + range +
                        (p.units.empty() ? "" : " " + p.units) + ")");
    }

    String128 wide{};
    widen(text, wide);
    ParamValue normal = -1.0;
    if (impl_->controller->getParamValueByString(p.id, wide, normal) != kResultOk)
        throw HostError("\"" + p.title + "\": the plug-in does not accept \"" + raw + "\"");
    if (!(normal >= 0.0 && normal <= 1.0))
        throw HostError("\"" + p.title + "\": " + raw + " is out of range");
    return normal;
}

void PluginHost::setParam(uint32_t id, double normal) { impl_->changes.set(id, normal); }

void PluginHost::setControllerParam(uint32_t id, double normal) {
    impl_->controller->setParamNormalized(id, normal);
}

std::vector<std::string> PluginHost::programNames() {
    std::vector<std::string> names;
    IUnitInfo* u = impl_->units;
    if (!u || u->getProgramListCount() < 1) return names;
    ProgramListInfo list{};
    if (u->getProgramListInfo(0, list) != kResultOk) return names;
    for (int32 i = 0; i < list.programCount; ++i) {
        String128 s{};
        names.push_back(u->getProgramName(list.id, i, s) == kResultOk ? narrow(s) : std::string());
    }
    return names;
}

void PluginHost::selectProgram(int index) {
    const ParamEntry* prog = nullptr;
    for (const auto& p : params_)
        if (p.flags & ParameterInfo::kIsProgramChange) prog = &p;
    if (!prog) throw HostError(impl_->path + ": the plug-in has no program parameter");
    IEditController* c = impl_->controller;
    auto selected = [&] { return std::lround(c->normalizedParamToPlain(prog->id, c->getParamNormalized(prog->id))); };
    double normal = c->plainParamToNormalized(prog->id, index);
    c->setParamNormalized(prog->id, normal);
    if (selected() != index) {
        // A normal on the edge of a step may round down; aim at the middle of the step.
        normal += 0.5 / std::max(prog->stepCount, 1);
        c->setParamNormalized(prog->id, normal);
        if (selected() != index) throw HostError(impl_->path + ": program " + std::to_string(index + 1) + " was not selected");
    }
    // A processor of its own hears of it through the next block.
    if (impl_->separateController) setParam(prog->id, normal);
}

void PluginHost::setState(const void* bytes, size_t size) {
    Impl& m = *impl_;
    MemoryStream stream(const_cast<void*>(bytes), static_cast<TSize>(size));
    if (m.component->setState(&stream) != kResultOk) m.fail("the plug-in refused the state");
    if (m.separateController) {
        int64 pos = 0;
        stream.seek(0, IBStream::kIBSeekSet, &pos);
        m.controller->setComponentState(&stream);
    }
}

void PluginHost::loadStateFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw HostError(file.string() + ": cannot read");
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.empty()) throw HostError(file.string() + ": empty file");
    try {
        setState(bytes.data(), bytes.size());
    } catch (const HostError&) {
        throw HostError(file.string() + ": the plug-in refused this state");
    }
}

void PluginHost::start(const ProcessConfig& c) {
    Impl& m = *impl_;
    if (running_) stop();
    if (c.channels < 1 || c.channels > 8) m.fail("channel count must be 1 to 8");
    if (c.maxBlock < 1) m.fail("block size must be at least 1");
    const int32 size = c.doublePrecision ? kSample64 : kSample32;
    if (m.processor->canProcessSampleSize(size) != kResultTrue)
        m.fail(c.doublePrecision ? "no 64-bit processing" : "no 32-bit processing");

    SpeakerArrangement in = arrangementFor(c.channels), out = in;
    if (m.processor->setBusArrangements(&in, 1, &out, 1) != kResultTrue) {
        // A module may propose its own; accept it only if the counts still match.
        SpeakerArrangement got = 0;
        if (m.processor->getBusArrangement(kInput, 0, got) != kResultTrue ||
            SpeakerArr::getChannelCount(got) != c.channels)
            m.fail("no layout with " + std::to_string(c.channels) + " channel(s)");
    }
    m.component->activateBus(kAudio, kInput, 0, true);
    m.component->activateBus(kAudio, kOutput, 0, true);

    ProcessSetup setup{c.realtime ? kRealtime : kOffline, size, c.maxBlock, c.sampleRate};
    if (m.processor->setupProcessing(setup) != kResultOk) m.fail("setupProcessing failed");
    if (m.component->setActive(true) != kResultOk) m.fail("setActive failed");
    m.active = true;
    m.processor->setProcessing(true); // many modules answer not-implemented here
    m.processing = true;
    config_ = c;
    running_ = true;

    m.time = ProcessContext{};
    m.time.sampleRate = c.sampleRate;
    m.time.tempo = 120.0;
    m.time.timeSigNumerator = m.time.timeSigDenominator = 4;
    m.time.state = ProcessContext::kPlaying | ProcessContext::kTempoValid | ProcessContext::kTimeSigValid;

    m.inBus = AudioBusBuffers{};
    m.outBus = AudioBusBuffers{};
    m.inBus.numChannels = m.outBus.numChannels = c.channels;
    m.data = ProcessData{};
    m.data.processMode = setup.processMode;
    m.data.symbolicSampleSize = size;
    m.data.numInputs = m.data.numOutputs = 1;
    m.data.inputs = &m.inBus;
    m.data.outputs = &m.outBus;
    m.data.inputParameterChanges = &m.changes;
    m.data.processContext = &m.time;
    m.silence.assign(size_t(c.channels) * 4, 0.0);
    m.silencePtrs.resize(size_t(c.channels));
    for (int ch = 0; ch < c.channels; ++ch) m.silencePtrs[size_t(ch)] = m.silence.data() + 4 * ch;
}

void PluginHost::settle(int waitMs) {
    Impl& m = *impl_;
    if (!running_) m.fail("settle called before start");
    const bool any = m.changes.count > 0;
    const PointQueue last = any ? m.changes.queues[size_t(m.changes.count - 1)] : PointQueue{};
    processRaw(m.silencePtrs.data(), m.silencePtrs.data(), 0, config_.doublePrecision);
    if (!any || waitMs <= 0) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(waitMs));
    setParam(last.id, last.value);
    processRaw(m.silencePtrs.data(), m.silencePtrs.data(), 0, config_.doublePrecision);
}

void PluginHost::stop() {
    Impl& m = *impl_;
    if (m.processing) m.processor->setProcessing(false);
    m.processing = false;
    if (m.active) m.component->setActive(false);
    m.active = false;
    running_ = false;
}

void PluginHost::processRaw(void** in, void** out, int n, bool dbl) {
    Impl& m = *impl_;
    if (!running_) m.fail("process called before start");
    if (dbl != config_.doublePrecision) m.fail("sample size differs from the one set up");
    if (n < 0 || n > config_.maxBlock) m.fail("block larger than the size set up");
    if (dbl) {
        m.inBus.channelBuffers64 = reinterpret_cast<Sample64**>(in);
        m.outBus.channelBuffers64 = reinterpret_cast<Sample64**>(out);
    } else {
        m.inBus.channelBuffers32 = reinterpret_cast<Sample32**>(in);
        m.outBus.channelBuffers32 = reinterpret_cast<Sample32**>(out);
    }
    m.inBus.silenceFlags = m.outBus.silenceFlags = 0;
    m.data.numSamples = n;
    const tresult r = m.processor->process(m.data);
    m.changes.count = 0;
    m.time.projectTimeSamples += n;
    m.time.continousTimeSamples += n;
    m.time.projectTimeMusic = m.time.projectTimeSamples / config_.sampleRate * 2.0; // 120 bpm
    if (r != kResultOk) m.fail("process failed");
}

void PluginHost::process(float* const* in, float* const* out, int n) {
    processRaw(reinterpret_cast<void**>(const_cast<float**>(in)), reinterpret_cast<void**>(const_cast<float**>(out)),
               n, false);
}

void PluginHost::process(double* const* in, double* const* out, int n) {
    processRaw(reinterpret_cast<void**>(const_cast<double**>(in)),
               reinterpret_cast<void**>(const_cast<double**>(out)), n, true);
}

int PluginHost::latencySamples() { return static_cast<int>(impl_->processor->getLatencySamples()); }

bool PluginHost::takeRestartRequest() {
    const bool r = impl_->context.restartRequested;
    impl_->context.restartRequested = false;
    return r;
}

} // namespace tess::host

#include "VST3Wrap.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <vector>

#include "ModuleState.h"
#include "Plug.h"
#include "Relaxed.h"
#include "RunLoopTicks.h"
#include "VST3WrapEditorView.h"
#include "pluginterfaces/base/ibstream.h"
#include "pluginterfaces/gui/iplugview.h"
#include "pluginterfaces/vst/ivstevents.h"
#include "pluginterfaces/vst/ivstparameterchanges.h"
#include "pluginterfaces/vst/ivstprocesscontext.h"

using namespace Steinberg;
using namespace Steinberg::Vst;

namespace {

// Set while `process` runs on this thread: host calls the effect makes then are deferred.
thread_local bool tInProcess = false;

struct ProcessMark {
    ProcessMark() { tInProcess = true; }
    ~ProcessMark() { tInProcess = false; }
};

void widen(const char* text, String128 out) {
    size_t i = 0;
    for (; i < 127 && text[i]; ++i) out[i] = char16(uint8_t(text[i]));
    out[i] = 0;
}

constexpr int32_t kSurround51[6] = {0, 2, 1, 4, 5, 3};

template <typename T> void reorder51(T** channels) {
    T* old[6];
    std::copy(channels, channels + 6, old);
    for (int i = 0; i < 6; ++i) channels[i] = old[kSurround51[i]];
}

// A number as atof reads it, but independent of the process's locale.
double readNumber(const char* text) {
    while (*text == ' ' || *text == '\t') ++text;
    if (*text == '+') ++text;
    double value = 0;
    std::from_chars(text, text + std::strlen(text), value);
    return value;
}

} // namespace

VST3Wrap::VST3Wrap() {
    effect = new Plug(&VST3Wrap::hostCallback);
    storeRelaxed(effect->getAeffect()->user, static_cast<void*>(this));
    effect->setAfterTick([](void* self) { static_cast<VST3Wrap*>(self)->flushDeferredHostCalls(); }, this);
    numPrograms = effect->getAeffect()->numPrograms;
    numParams = effect->getAeffect()->numParams;
    PlugBase::setWheelHookAllowed(false);
    timeInfo = std::make_unique<VstTimeInfo>();
}

VST3Wrap::~VST3Wrap() {
    RunLoopTicks::withdraw(this);
    delete effect;
}

// --- Host callback ---

VstIntPtr VST3Wrap::hostCallback(AEffect* e, int32_t opcode, int32_t index, VstIntPtr, void*, float opt) {
    // The tick may call before the constructor has finished: then there is no one to answer.
    auto* self = e ? static_cast<VST3Wrap*>(loadRelaxed(e->user)) : nullptr;
    return self ? self->answerEffect(opcode, index, opt) : 0;
}

VstIntPtr VST3Wrap::answerEffect(int32_t opcode, int32_t index, float opt) {
    switch (opcode) {
    case audioMasterAutomate:
    case audioMasterIOChanged:
    case audioMasterBeginEdit:
    case audioMasterEndEdit:
        if (tInProcess) {
            // The host's handler may lock or allocate: never call it from the audio thread.
            const uint32_t tail = deferredTail.load(std::memory_order_relaxed);
            if (tail - deferredHead.load(std::memory_order_acquire) < kDeferredCapacity) {
                deferred[tail % kDeferredCapacity] = {opcode, index, opt};
                deferredTail.store(tail + 1, std::memory_order_release);
            }
            return 0;
        }
        if (opcode == audioMasterAutomate) performEdit(ParamID(index), opt);
        else if (opcode == audioMasterBeginEdit) beginEdit(ParamID(index));
        else if (opcode == audioMasterEndEdit) endEdit(ParamID(index));
        else if (componentHandler) componentHandler->restartComponent(kLatencyChanged);
        return 0;
    case 7: // audioMasterGetTime, whatever the filter
        return reinterpret_cast<VstIntPtr>(timeInfo.get());
    default:
        return 0;
    }
}

void VST3Wrap::flushDeferredHostCalls() {
    uint32_t head = deferredHead.load(std::memory_order_relaxed);
    const uint32_t tail = deferredTail.load(std::memory_order_acquire);
    for (; head != tail; ++head) {
        const DeferredCall call = deferred[head % kDeferredCapacity];
        answerEffect(call.opcode, call.index, call.value);
    }
    deferredHead.store(head, std::memory_order_release);
}

// --- Lifecycle ---

tresult PLUGIN_API VST3Wrap::initialize(FUnknown* context) {
    if (initialised) return kResultFalse;
    const tresult result = SingleComponentEffect::initialize(context);
    if (result != kResultOk) return result;
    initialised = true;

    AEffect* e = effect->getAeffect();
    addAudioInput(u"Stereo In", SpeakerArr::kStereo);
    if (e->numInputs > e->numOutputs) addAudioInput(u"Sidechain", SpeakerArr::kStereo, kAux);
    addAudioOutput(u"Stereo Out", SpeakerArr::kStereo);
    hasMidiInput = effect->canDo("receiveVstMidiEvent") > 0 ? 1 : 0;
    if (hasMidiInput) addEventInput(u"MIDI In", 1);

    // A host that offers its run loop on the context gets the tick on its own thread.
    if (context) {
        Linux::IRunLoop* loop = nullptr;
        if (context->queryInterface(Linux::IRunLoop::iid, reinterpret_cast<void**>(&loop)) == kResultOk && loop) {
            RunLoopTicks::offer(this, loop);
            loop->release(); // the context, held until terminate, keeps it alive
        }
    }
    return kResultOk;
}

tresult PLUGIN_API VST3Wrap::terminate() {
    if (!initialised) return kResultOk;
    initialised = false;
    RunLoopTicks::withdraw(this);
    return SingleComponentEffect::terminate();
}

tresult PLUGIN_API VST3Wrap::queryInterface(const TUID iid, void** obj) {
    if (FUnknownPrivate::iidEqual(iid, IUnitInfo::iid)) {
        addRef();
        *obj = static_cast<IUnitInfo*>(this);
        return kResultOk;
    }
    if (FUnknownPrivate::iidEqual(iid, IMidiMapping::iid)) {
        addRef();
        *obj = static_cast<IMidiMapping*>(this);
        return kResultOk;
    }
    return SingleComponentEffect::queryInterface(iid, obj);
}

// --- State ---

tresult PLUGIN_API VST3Wrap::getState(IBStream* stream) {
    if (!stream) return kInvalidArgument;
    void* data = nullptr;
    const int32_t size = effect->getChunk(&data, false);
    if (size <= 0 || !data) return kResultFalse;
    int32 written = 0;
    return stream->write(data, size, &written) == kResultOk && written == size ? kResultOk : kResultFalse;
}

tresult PLUGIN_API VST3Wrap::setState(IBStream* stream) {
    if (!stream) return kInvalidArgument;
    int64 size = 0;
    if (stream->seek(0, IBStream::kIBSeekEnd, &size) != kResultOk || size <= 0) return kResultFalse;
    // A chunk is a few hundred kilobytes at most; anything far larger is not ours.
    constexpr int64 kLargestChunk = int64(256) << 20;
    if (size > kLargestChunk || stream->seek(0, IBStream::kIBSeekSet, nullptr) != kResultOk) return kResultFalse;
    std::vector<char> data(size_t(size) + 1, 0);
    int32 read = 0;
    if (stream->read(data.data(), int32(size), &read) != kResultOk || read <= 0) return kResultFalse;
    effect->setChunk(data.data(), read, false);
    return kResultOk;
}

// --- Processor ---

tresult PLUGIN_API VST3Wrap::canProcessSampleSize(int32 size) {
    if (size == kSample32) return kResultOk;
    if (size == kSample64 && (effect->getAeffect()->flags & effFlagsCanDoubleReplacing)) return kResultOk;
    return kResultFalse;
}

uint32 PLUGIN_API VST3Wrap::getLatencySamples() {
    // Written by the tick, read here on the host's thread.
    return uint32(std::max(0, loadRelaxed(effect->getAeffect()->initialDelay)));
}

uint32 PLUGIN_API VST3Wrap::getTailSamples() { return uint32(std::max(0, effect->getGetTailSize())); }

tresult PLUGIN_API VST3Wrap::setupProcessing(ProcessSetup& setup) {
    processSetup = setup;
    effect->setSampleRate(float(setup.sampleRate));
    effect->setBlockSize(setup.maxSamplesPerBlock);
    effect->suspend();
    effect->resume();
    return kResultOk;
}

tresult PLUGIN_API VST3Wrap::setProcessing(TBool state) {
    if (state) effect->resume();
    else effect->suspend();
    return kResultOk;
}

void VST3Wrap::rebuildBusses(const char16_t* in, const char16_t* out, SpeakerArrangement arr) {
    AEffect* e = effect->getAeffect();
    removeAudioBusses();
    addAudioInput(in, arr);
    if (e->numInputs > e->numOutputs) addAudioInput(u"Sidechain", arr, kAux);
    addAudioOutput(out, arr);
}

tresult PLUGIN_API VST3Wrap::setBusArrangements(SpeakerArrangement* inputs, int32 numIns, SpeakerArrangement* outputs,
                                                int32 numOuts) {
    if (numIns < 1 || numIns > 2 || numOuts != 1 || !inputs || !outputs || audioInputs.empty()) return kResultFalse;
    const SpeakerArrangement current = static_cast<AudioBus*>(audioInputs.at(0).get())->getArrangement();
    const SpeakerArrangement in = inputs[0];
    const SpeakerArrangement out = outputs[0];
    const int32_t channels = int32_t(std::popcount(uint64(in)));

    if (in == SpeakerArr::kMono && out == SpeakerArr::kMono) {
        if (current == SpeakerArr::kMono) return kResultOk;
        rebuildBusses(u"Mono In", u"Mono Out", SpeakerArr::kMono);
        if (effect->allowsSurround()) {
            effect->setNumInputs(channels);
            effect->setNumOutputs(channels);
        }
        return kResultOk;
    }
    if (in == SpeakerArr::kStereo && out == SpeakerArr::kStereo) {
        if (current == SpeakerArr::kStereo) return kResultOk;
        // The effect's channel counts stay as they were.
        rebuildBusses(u"Stereo In", u"Stereo Out", SpeakerArr::kStereo);
        return kResultOk;
    }
    if (!effect->allowsSurround() || in != out) return kResultFalse;
    // The effect's arrays are fixed at 8 channels.
    if (channels < 1 || channels > 8) return kResultFalse;
    if (current == in) return kResultOk;
    removeAudioBusses();
    addAudioInput(u"Surround In", in);
    addAudioOutput(u"Surround Out", in);
    effect->setNumInputs(channels);
    effect->setNumOutputs(channels);
    effect->resume();
    return kResultOk;
}

void VST3Wrap::fillTimeInfo(const ProcessContext& context) {
    VstTimeInfo& t = *timeInfo;
    t.samplePos = double(context.projectTimeSamples);
    t.sampleRate = context.sampleRate;
    const uint32 state = context.state;
    int32_t flags = int32_t(state & (kVstTransportPlaying | kVstTransportCycleActive | kVstTransportRecording));
    if (state & ProcessContext::kSystemTimeValid) {
        t.nanoSeconds = double(context.systemTime);
        flags |= kVstNanosValid;
    }
    if (state & ProcessContext::kProjectTimeMusicValid) {
        t.ppqPos = context.projectTimeMusic;
        flags |= kVstPpqPosValid;
    }
    if (state & ProcessContext::kBarPositionValid) {
        t.barStartPos = context.barPositionMusic;
        flags |= kVstBarsValid;
    }
    if (state & ProcessContext::kCycleValid) {
        t.cycleStartPos = context.cycleStartMusic;
        t.cycleEndPos = context.cycleEndMusic;
        flags |= kVstCyclePosValid;
    }
    if (state & ProcessContext::kTempoValid) {
        t.tempo = context.tempo;
        flags |= kVstTempoValid;
    }
    if (state & ProcessContext::kTimeSigValid) {
        t.timeSigNumerator = context.timeSigNumerator;
        t.timeSigDenominator = context.timeSigDenominator;
        flags |= kVstTimeSigValid;
    }
    if (state & ProcessContext::kClockValid) {
        t.samplesToNextClock = context.samplesToNextClock;
        flags |= kVstClockValid;
    }
    t.flags = flags;
}

template <typename T, typename Buffers>
void VST3Wrap::runBlock(ProcessData& data, int32 n, Buffers buffersOf) {
    T** inputs = buffersOf(data.inputs[0]);
    T** outputs = buffersOf(data.outputs[0]);
    if (!inputs || !outputs) return;
    T* in[8] = {};
    T* out[8] = {};
    for (int32 c = 0; c < n; ++c) {
        in[c] = inputs[c];
        out[c] = outputs[c];
        if (!in[c] || !out[c]) return;
    }
    // The sidechain's channels ride behind the main ones; the effect does not read them.
    if (data.numInputs == 2 && n < 8 && data.inputs[1].numChannels > 0) {
        if (T** side = buffersOf(data.inputs[1])) {
            in[n] = side[0];
            if (n == 2 && data.inputs[1].numChannels > 1) in[n + 1] = side[1];
        }
    }
    if (n == 6) {
        reorder51(in);
        reorder51(out);
    }
    if constexpr (sizeof(T) == sizeof(float)) effect->processReplacing(in, out, data.numSamples);
    else effect->processDoubleReplacing(in, out, data.numSamples);
}

tresult PLUGIN_API VST3Wrap::process(ProcessData& data) {
    if (data.numInputs < 1 || data.numInputs > 2 || data.numOutputs != 1 || !data.inputs || !data.outputs)
        return kResultOk;
    const int32 n = data.inputs[0].numChannels;
    if (n != data.outputs[0].numChannels) return kResultOk;
    if (n != 1 && n != 2 && !effect->allowsSurround()) return kResultOk;
    if (n < 1 || n > 8) return kResultOk;

    ProcessMark mark;
    if (data.processContext) fillTimeInfo(*data.processContext);

    // The first point of each queue stands for the whole block.
    if (IParameterChanges* changes = data.inputParameterChanges) {
        const int32 count = changes->getParameterCount();
        for (int32 i = 0; i < count; ++i) {
            IParamValueQueue* queue = changes->getParameterData(i);
            if (!queue || queue->getPointCount() <= 0) continue;
            int32 offset = 0;
            ParamValue value = 0;
            if (queue->getPoint(0, offset, value) == kResultOk)
                effect->setParameter(int32_t(queue->getParameterId()), float(value));
        }
    }

    if (IEventList* events = data.inputEvents) {
        const int32 count = events->getEventCount();
        for (int32 i = 0; i < count; ++i) {
            Event e{};
            if (events->getEvent(i, e) != kResultOk) continue;
            if (e.type != Event::kNoteOnEvent && e.type != Event::kNoteOffEvent) continue;
            const bool on = e.type == Event::kNoteOnEvent;
            VstMidiEvent midi;
            midi.type = kVstMidiType;
            midi.byteSize = 32;
            midi.deltaFrames = 0;
            midi.midiData[0] = on ? 144 : 128;
            midi.midiData[1] = uint8_t(on ? e.noteOn.pitch : e.noteOff.pitch);
            midi.midiData[2] = uint8_t(int32_t((on ? e.noteOn.velocity : e.noteOff.velocity) * 127.0f));
            VstEvent* list[1] = {&midi};
            VstEvents one;
            one.numEvents = 1;
            one.events = list;
            effect->processEvents(&one);
        }
    }

    // The effect reads as many channels as it was set to: a host that sends fewer than that
    // (after a stereo arrangement followed a wider one) is not processed.
    const AEffect* e = effect->getAeffect();
    if (data.numSamples <= 0 || e->numInputs > n || e->numOutputs > n) return kResultOk;

    if (data.symbolicSampleSize == kSample32) runBlock<float>(data, n, [](AudioBusBuffers& b) { return b.channelBuffers32; });
    else if (data.symbolicSampleSize == kSample64) runBlock<double>(data, n, [](AudioBusBuffers& b) { return b.channelBuffers64; });
    return kResultOk;
}

// --- Parameters ---

int32 PLUGIN_API VST3Wrap::getParameterCount() { return numParams + 1 + hasMidiInput; }

tresult PLUGIN_API VST3Wrap::getParameterInfo(int32 index, ParameterInfo& info) {
    if (index < 0 || index >= getParameterCount()) return kResultFalse;
    info = ParameterInfo{};
    info.unitId = 0;
    if (index < numParams) {
        char text[kParamTextSize] = {};
        info.id = ParamID(index);
        effect->getParameterName(index, text);
        widen(text, info.title);
        widen(text, info.shortTitle);
        const bool bypass = std::strcmp(text, "Bypass") == 0;
        text[0] = 0;
        effect->getParameterLabel(index, text);
        widen(text, info.units);
        int32_t steps = paramStepCount(index);
        if (moduleInitialised() && steps >= 2) --steps;
        info.stepCount = steps;
        info.defaultNormalizedValue = effect->defaultNormal(index);
        info.flags = ParameterInfo::kCanAutomate | (bypass ? ParameterInfo::kIsBypass : 0);
    } else if (index == numParams) {
        info.id = kProgramParamId;
        widen("Program", info.title);
        widen("Program", info.shortTitle);
        info.stepCount = numPrograms;
        info.defaultNormalizedValue = 0.0;
        info.flags = ParameterInfo::kCanAutomate | ParameterInfo::kIsProgramChange;
    } else {
        info.id = kPitchParamId;
        widen("Pitch Bend", info.title);
        widen("Pitch Bend", info.shortTitle);
        info.stepCount = 0;
        info.defaultNormalizedValue = 0.5;
        info.flags = ParameterInfo::kCanAutomate;
    }
    return kResultOk;
}

ParamValue PLUGIN_API VST3Wrap::getParamNormalized(ParamID id) {
    if (id == kProgramParamId) return plainParamToNormalized(id, effect->getProgram());
    return effect->getParameter(int32_t(id));
}

tresult PLUGIN_API VST3Wrap::setParamNormalized(ParamID id, ParamValue value) {
    if (id == kPitchParamId) {
        const int32_t bend = std::clamp(int32_t(value * 16384.0), 0, 16383);
        VstMidiEvent midi;
        midi.type = kVstMidiType;
        midi.byteSize = 32;
        midi.midiData[0] = 224;
        midi.midiData[1] = uint8_t(bend & 127);
        midi.midiData[2] = uint8_t((bend >> 7) & 127);
        VstEvent* list[1] = {&midi};
        VstEvents one;
        one.numEvents = 1;
        one.events = list;
        effect->processEvents(&one);
    } else if (id == kProgramParamId) {
        effect->setProgram(int32_t(normalizedParamToPlain(id, value)));
    }
    // Real parameters reach the effect through process.
    return kResultOk;
}

ParamValue PLUGIN_API VST3Wrap::normalizedParamToPlain(ParamID id, ParamValue value) {
    if (id == kPitchParamId) return value;
    if (id == kProgramParamId) return double(int32_t(numPrograms * value));
    if (id >= ParamID(numParams)) return 0;
    return effect->displayValue(int32_t(id), float(value));
}

ParamValue PLUGIN_API VST3Wrap::plainParamToNormalized(ParamID id, ParamValue value) {
    if (id == kPitchParamId) return value;
    if (id == kProgramParamId) return value / numPrograms;
    if (id >= ParamID(numParams)) return 0;
    return effect->normalFromDisplay(int32_t(id), float(value));
}

tresult PLUGIN_API VST3Wrap::getParamStringByValue(ParamID id, ParamValue value, String128 text) {
    char buffer[kParamTextSize] = {};
    if (id == kPitchParamId) std::snprintf(buffer, sizeof buffer, "%f", 2.0 * value - 1.0);
    else if (id == kProgramParamId) std::snprintf(buffer, sizeof buffer, "%d", int32_t(normalizedParamToPlain(id, value)) + 1);
    else if (id < ParamID(numParams)) effect->paramDisplayAt(int32_t(id), float(value), buffer, false);
    else return kResultFalse;
    widen(buffer, text);
    return kResultOk;
}

tresult PLUGIN_API VST3Wrap::getParamValueByString(ParamID id, TChar* text, ParamValue& value) {
    if (!text) return kResultFalse;
    char narrow[129] = {};
    for (size_t i = 0; i < 128 && text[i]; ++i) narrow[i] = char(text[i] & 0xFF);
    double factor = 1.0;
    // "1k5" typed means 1500.
    if (char* k = std::strchr(narrow, 'k')) {
        *k = '.';
        factor = 1000.0;
    }
    value = plainParamToNormalized(id, readNumber(narrow) * factor);
    return kResultOk;
}

IPlugView* PLUGIN_API VST3Wrap::createView(FIDString) {
    AEffEditor* editor = effect->getEditor();
    return editor ? new VST3WrapEditorView(this, editor) : nullptr;
}

// --- Units and MIDI ---

tresult PLUGIN_API VST3Wrap::getUnitInfo(int32 index, UnitInfo& info) {
    if (index != 0) return kResultFalse;
    info.id = 0;
    info.parentUnitId = kNoParentUnitId;
    widen("Unit", info.name);
    info.programListId = 0;
    return kResultOk;
}

tresult PLUGIN_API VST3Wrap::getProgramListInfo(int32 index, ProgramListInfo& info) {
    if (index != 0) return kResultFalse;
    info.id = 0;
    widen("Presets", info.name);
    info.programCount = effect->getAeffect()->numPrograms;
    return kResultOk;
}

tresult PLUGIN_API VST3Wrap::getProgramName(ProgramListID, int32 index, String128 name) {
    char text[kParamTextSize] = {};
    if (!effect->getProgramNameIndexed(0, index, text)) return kResultFalse;
    widen(text, name);
    return kResultOk;
}

tresult PLUGIN_API VST3Wrap::getMidiControllerAssignment(int32, int16, CtrlNumber controller, ParamID& id) {
    if (controller != kPitchBend) return kResultFalse;
    id = kPitchParamId;
    return kResultOk;
}

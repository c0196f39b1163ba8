#include "Plug.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <thread>
#include <type_traits>

#include "Instances.h"
#include "ProcessClock.h"
#include "TagTable.h"

namespace {

// Engine type by band Type (1..6), normally and while a band is listened to. Listening to a cut
// or shelf sounds the region it acts on, to a peak or notch the region round its centre.
constexpr int32_t kTypeCodes[6] = {kEQPeak, kEQHighPass, kEQLowShelf, kEQHighShelf, kEQLowPass, kEQNotch};
constexpr int32_t kListenTypeCodes[6] = {kEQBandPass, kEQLowPass, kEQLowPass, kEQHighPass, kEQHighPass, kEQBandPass};
// Process mode by kIRPhase: "Linear", "Full Minimum", "Zero-latency Analogue", "Analogue".
constexpr int32_t kFirModeCodes[4] = {kModeLinear, kModeFullMinimum, kModeZeroLatencyAnalogue, kModeAnalogue};

constexpr int32_t kBandTypeHPF = 2;
constexpr int32_t kBandTypeLPF = 5;
constexpr int32_t kRebuildSamples = 4096;
constexpr int32_t kIIRRebuildRate = 40;

int32_t timeBucket(int32_t rate) {
    // 32-bit arithmetic, wrapping with the clock.
    return int32_t((processClockMs() * uint32_t(rate)) / 1000u);
}

} // namespace

Plug::Plug(audioMasterCallback master)
    : PlugBaseJSON(master), editorSeam(std::make_unique<EditorState>()),
      bank(kDefaultImpulseLength, kDefaultCorrectionLength, kNumBands, 2) {
    setUniqueID(fourCharacters('n', 'R', 's', 'T'));
    setNumInputs(2);
    setNumOutputs(2);
    canProcessReplacing(true);
    canDoubleReplacing(true);
    programsAreChunks(true);
    for (int32_t i : {kMode, kIRLength, kIRWindow, kIRWindowParam, kIRPhase, kIRPad, kDPlusLen})
        dspParam[size_t(i)] = 1;
    abParamIndex = kABBank;

    GlobalSettings::instance().installDefaultsFromResource();
    reloadGlobals();
    reloadEditorDependents();

    registerInstance(this);
    std::snprintf(instanceName, sizeof instanceName, "EQ: %d", instanceCount());
    instanceNameSet = false;
    for (BandOrder& order : bandOrders) order.fill(-1);
    remakeChannelNames(outputCount());
    loadDefaultBank();
    // Last, so that the tick never meets a half-built instance.
    addToTickList(this);
}

Plug::~Plug() {
    removeFromTickList(this);
    unregisterInstance(this);
    path.ensureBuffers(0, 0);
}

int32_t Plug::outputCount() const { return std::clamp(cEffect.numOutputs, 1, AudioPath::kMaxChannels); }

bool Plug::isEditTouched(int32_t index) const {
    return inTable(index) && editTouched[size_t(index)].load(std::memory_order_relaxed) != 0;
}

DisplayContext Plug::displayContext() const {
    DisplayContext ctx;
    ctx.scale = storedValue(kScale);
    ctx.fShift = storedValue(kFShift);
    ctx.pitchFactor = pitchFactor;
    ctx.simpleNumbers = dependents.simpleNumbers;
    if (dependents.showTrueQ) {
        ctx.effectiveQ = [](const void* user, float q, int32_t band) {
            return static_cast<const EQBank*>(user)->getBandEffectiveQ(q, band);
        };
        ctx.effectiveQUser = &bank;
    }
    return ctx;
}

// --- Settings ---

void Plug::reloadGlobals() {
    readAudioGlobals(GlobalSettings::instance(), &globals);
    abAutomation = globals.abAutomation.load();
    path.setSoloModes(globals.soloMuteMode, globals.soloSelectMode);
    path.setClipThreshold(globals.clipThreshold);
    if (!globals.autoListenEnabled) autoListenArmed = false;
    if (editor) editor->reloadPrefs();
}

void Plug::reloadEditorDependents() { readEditorDependents(&editorSeam->ui, &dependents); }

// --- Lifecycle and audio ---

void Plug::resume() {
    callMaster(audioMasterWantMidi, 0, 1, nullptr, 0);
    reloadGlobals();
    const int32_t outputs = outputCount();
    if (outputs != namedChannels) remakeChannelNames(outputs);
    {
        // The tick may be in the middle of a transfer on its own thread: the engine's channels
        // are remade only once it is out.
        while (transferBusy.exchange(true)) std::this_thread::yield();
        bank.setChannels(outputs);
        bank.setSampleRate(sampleRate);
        listenBand = -1;
        path.resume(outputs, sampleRate, dependents.meterBallisticType);
        transferBusy.store(false);
    }
    callMaster(audioMasterWantMidi, 0, 1, nullptr, 0);
    transferParams(true);
    path.snapGains();
}

void Plug::setSampleRate(float rate) {
    sampleRate = rate;
    // The engine takes the rate at resume, which the host sends next.
    transferParams(false);
}

template <typename T> void Plug::process(T** inputs, T** outputs, int32_t frames) {
    markAudioRun();
    const bool bypass = storedValue(kBypass) != 0.0f;
    if constexpr (std::is_same_v<T, float>)
        path.processFloat(inputs, outputs, frames, cEffect.numInputs, cEffect.numOutputs, bank, bypass);
    else
        path.processDouble(inputs, outputs, frames, cEffect.numInputs, cEffect.numOutputs, bank, bypass);
    if (frames > 0) samplesSinceRebuild = samplesSinceRebuild + uint32_t(frames);
}

void Plug::processReplacing(float** inputs, float** outputs, int32_t frames) {
    process(inputs, outputs, frames);
}

void Plug::processDoubleReplacing(double** inputs, double** outputs, int32_t frames) {
    process(inputs, outputs, frames);
}

void Plug::idleTick() {
    PlugBase::idleTick();
    updateLatency();
    if (transferPending) transferParams(false);
    if (auto hook = afterTick.load(std::memory_order_acquire)) hook(afterTickUser.load(std::memory_order_relaxed));
}

void Plug::updateLatency() {
    const int32_t latency = bank.getLatency();
    if (latency == cEffect.initialDelay) return;
    setInitialDelay(latency);
    ioChanged();
}

// --- Parameters ---

void Plug::setParameter(int32_t index, float normal) {
    PlugBase::setParameter(index, normal);
    if (!editor) return;
    // Gain and frequency texts depend on these two.
    if (index == kScale || index == kFShift) {
        const int32_t kind = index == kScale ? kKindGain : kKindFrequency;
        for (int32_t b = 0; b < kNumBands; ++b)
            editor->setParameter(bandParam(b, kind), storedNormal(bandParam(b, kind)));
    }
}

void Plug::setParameterAutomated(int32_t index, float normal) {
    if (!inTable(index)) {
        setParameter(index, normal);
        return;
    }
    // The gesture stays open; the control that started it closes it.
    if (!isEditTouched(index)) beginEdit(index);
    AudioEffect::setParameterAutomated(index, normal);
}

void Plug::setProgram(int32_t program) {
    if (program < 0 || program >= kNumPrograms) return;
    PlugBase::setProgram(program);
    if (editor) editor->programChanged(program);
    transferParams(true);
}

void Plug::selectAB(int32_t slot) {
    PlugBase::selectAB(slot);
    transferParams(true);
}

bool Plug::startsListening(int32_t index) const {
    const int32_t kind = paramKind(index);
    return kind == kKindFrequency || (kind == kKindQ && globals.autoListenIgnoresQ == 0);
}

bool Plug::beginEdit(int32_t index) {
    if (autoListenArmed && listenBand == -1) {
        if (startsListening(index)) listenBand = paramBand(index);
        transferParams(false);
    }
    if (!inTable(index) || isEditTouched(index)) return false;
    editTouched[size_t(index)].store(1, std::memory_order_relaxed);
    return PlugBase::beginEdit(index);
}

bool Plug::endEdit(int32_t index) {
    if (listenBand != -1 && paramBand(index) == listenBand && startsListening(index)) {
        listenBand = -1;
        // The end of the listen shows at once.
        if (editor && inTable(index)) editor->setParameter(index, storedNormal(index));
    }
    if (!isEditTouched(index)) return false;
    editTouched[size_t(index)].store(0, std::memory_order_relaxed);
    return PlugBase::endEdit(index);
}

// --- The transfer ---

void Plug::transferParams(bool force) {
    if (transferBusy.exchange(true)) {
        transferPending = true;
        return;
    }
    const int32_t listening = listenBand;
    const int32_t* typeCodes = listening != -1 ? kListenTypeCodes : kTypeCodes;
    uint32_t listenMask = 0;
    const double frequencyFactor = double(storedValue(kFShift)) * 0.01 * pitchFactor;
    const float scale = storedValue(kScale);
    const int32_t outputs = outputCount();

    for (int32_t b = 0; b < kNumBands; ++b) {
        const auto stored = [&](int32_t kind) { return storedValue(bandParam(b, kind)); };
        uint32_t groups = uint32_t(stored(kKindGroups));
        // Kept as designed: at 4 to 7 channels this takes the group of the last channel out.
        if (groups == 1u << outputs) groups -= 1;
        uint32_t mask = 0;
        for (int32_t c = 0; c < outputs; ++c)
            if (groups & (1u << (7 - c))) mask |= groupMasks[size_t(c)];

        const int32_t type = int32_t(stored(kKindType));
        int32_t code = type >= 1 && type <= 6 ? typeCodes[type - 1] : kEQNone;
        if (b == listening) listenMask = mask;

        bank.setOff(1, b, ~mask);
        if (listening != -1) {
            bank.setOff(b == listening ? 0 : 1, b, mask);
            if (b != listening) code = kEQNone;
        } else {
            // "Off" and "Byp" sound alike.
            bank.setOff(stored(kKindState) == 2.0f ? 0 : 1, b, mask);
        }
        bank.setType(code, b, ~0u);
        bank.setSubtype(int32_t(stored(kKindSubtype)) - 1, b, ~0u);

        float gain = stored(kKindGain) * scale;
        const bool cut = type == kBandTypeHPF || type == kBandTypeLPF;
        if (cut) gain = 0;
        if (listening != -1 && globals.autoListenGain != 0) gain = globals.autoListenGain == 1 ? 12.0f : 0.0f;
        bank.setGain(gain, b, ~0u);

        const double f = std::clamp(double(stored(kKindFrequency)) * frequencyFactor, 10.0, 22000.0);
        bank.setFrequency(float(f), b, ~0u);
        float q = stored(kKindQ);
        if (listening != -1 && globals.autoListenQ != 0) q = 12.0f;
        bank.setQ(q, b, ~0u);
        bank.setShift(stored(kKindShift), b, ~0u);
        bank.setPhase(stored(kKindPhase) * 0.01f, b, ~0u);
        bank.setOrder(cut ? int32_t(stored(kKindSlope) / 6.0f) : 2, b, ~0u);
    }
    path.setListenMask(listenMask);

    uint32_t muteMask = 0, soloMask = 0, phaseMask = 0;
    for (int32_t c = 0; c < outputs; ++c) {
        if (storedValue(channelParam(c, kChannelFieldMute)) != 0) muteMask |= 1u << c;
        if (storedValue(channelParam(c, kChannelFieldSolo)) != 0) soloMask |= 1u << c;
        if (storedValue(channelParam(c, kChannelFieldPhase)) != 0) phaseMask |= 1u << c;
    }
    const double master = std::pow(10.0, double(storedValue(kGain)) / 20.0);
    for (int32_t c = 0; c < AudioPath::kMaxChannels; ++c) {
        const uint32_t bit = 1u << c;
        double gain = (phaseMask & bit ? -1.0 : 1.0) * master *
                      double(storedValue(channelParam(c, kChannelFieldLevel)));
        if (globals.soloMuteMode) {
            if (soloMask && !(soloMask & bit)) gain = 0;
        } else if (listenMask && !(listenMask & bit)) {
            gain = 0;
        }
        if (muteMask & bit) gain = 0;
        path.setChannelGainTarget(c, gain);
    }
    // "Select" solo costs no gain here: the block sums the soloed channels.
    path.setSoloMask(soloMask);

    getMsMask();
    bank.setParallel(int32_t(storedValue(kParallel)));

    int32_t rate = kIIRRebuildRate;
    int32_t code = kModeIIRCorrected;
    if (int32_t(storedValue(kMode)) == 0) {
        const int32_t dPlus = int32_t(storedValue(kDPlusLen));
        if (dPlus == 0) code = kModeIIR;
        else bank.setCorrectionLength(8 << dPlus);
    } else {
        bank.setWindowKind(int32_t(storedValue(kIRWindow)));
        bank.setWindowParameter(storedValue(kIRWindowParam));
        bank.setPad(1 << int32_t(storedValue(kIRPad)));
        bank.setImpulseLength(1024 << int32_t(storedValue(kIRLength)));
        const int32_t phase = int32_t(storedValue(kIRPhase));
        code = phase >= 0 && phase < 4 ? kFirModeCodes[phase] : kModeFree;
        rate = globals.fftThrottle;
    }

    // The mode push rebuilds the filters (in FIR mode the impulse), so it is rationed by time,
    // with a fallback on processed samples for a host whose clock seems to stand still.
    const int32_t bucket = timeBucket(rate);
    const bool due = samplesSinceRebuild >= uint32_t(kRebuildSamples) || bucket != lastRebuildBucket || force;
    if (due && !loadingInProgress) {
        if (samplesSinceRebuild >= uint32_t(kRebuildSamples)) samplesSinceRebuild = 0;
        if (outputs == 2) {
            bool linked = true;
            for (int32_t b = 0; b < kNumBands; ++b)
                if (storedValue(bandParam(b, kKindState)) == 2.0f && storedValue(bandParam(b, kKindGroups)) < 192.0f)
                    linked = false;
            allBandsLinked = linked;
            bank.setLinked(linked);
        } else {
            bank.setLinked(false);
        }
        bank.setMode(code);
        lastRebuildBucket = timeBucket(code >= kModeFullMinimum ? int32_t(globals.fftThrottle) : kIIRRebuildRate);
        transferPending = false;
    } else {
        transferPending = true;
    }
    transferBusy.store(false);
}

// --- Channels ---

void Plug::remakeChannelNames(int32_t count) {
    const bool midSide = (path.getMsMask() & 1) != 0;
    for (int32_t c = 0; c < AudioPath::kMaxChannels; ++c) {
        if (count == 1) std::snprintf(channelNames[c], kChannelNameSize, "Mono");
        else if (count == 2) std::snprintf(channelNames[c], kChannelNameSize, "%s",
                                          c == 0 ? (midSide ? "Mid" : "Left") : (midSide ? "Side" : "Right"));
        else std::snprintf(channelNames[c], kChannelNameSize, "%d", c + 1);
    }
    namedChannels = count;
    setParameter(kGUIGroupNamesChanged, 1.0f);
}

const char* Plug::channelNameAt(int32_t i) const { return channelNames[i & 7]; }

const char* Plug::channelName(int32_t i) const {
    return AudioPath::channelLabel(path.channelCount(), i, path.getMsMask() & 1);
}

uint32_t Plug::getMsMask() {
    const uint32_t ms = AudioPath::reverseNibble(uint32_t(storedValue(kMsState)));
    if (ms != path.getMsMask()) {
        path.setMsMask(ms);
        if (outputCount() == 2) remakeChannelNames(2);
    }
    return ms;
}

void Plug::setMsMask(uint32_t state) {
    const float normal = paramCurveNormal(kMsState, float(state));
    beginEdit(kMsState);
    setParameterAutomated(kMsState, normal);
    endEdit(kMsState);
    // Stored unreversed, as the routing page wrote it; the next getMsMask or transfer puts the
    // pair mask right.
    path.setMsMask(state);
}

// --- Instances ---

void Plug::setInstanceName(const char* text) {
    if (!text) return;
    std::snprintf(instanceName, kInstanceNameSize, "%s", text);
    instanceNameSet = true;
    notifyInstances();
}

// --- MIDI ---

int32_t Plug::canDo(const char* text) {
    if (!text) return 0;
    for (const char* yes : {"bypass", "receiveVstEvents", "receiveVstMidiEvent"})
        if (std::strcmp(text, yes) == 0) return 1;
    return 0;
}

int32_t Plug::processEvents(VstEvents* events) {
    if (globals.midiDisabled || !events || !events->events) return 1;
    for (int32_t i = 0; i < events->numEvents; ++i) {
        const VstEvent* e = events->events[i];
        if (!e || e->type != kVstMidiType) continue;
        const auto* midi = static_cast<const VstMidiEvent*>(e);
        const int32_t status = midi->midiData[0], d1 = midi->midiData[1], d2 = midi->midiData[2];
        if ((status & 0xE0) == 0x80) {
            // Note-offs are skipped: the last note held stays in force.
            if (!(status & 0x10) || d2 == 0 || d1 < 12 || d1 > 108) continue;
            midiPitch = std::pow(2.0, (d1 - 60) / 12.0);
        } else if ((status & 0xF0) == 0xE0) {
            const int32_t v = (d2 & 127) * 128 + (d1 & 127);
            bendPitch = std::pow(2.0, (v - 8192) * double(dependents.bendRange) / 8192.0);
        } else {
            continue;
        }
        pitchFactor = double(float(midiPitch * bendPitch));
        // kFShift is the one hook for anything that scales frequency: an edit of it with its
        // own value runs the transfer, refreshes the editor and shows the host an edit.
        UndoMute mute;
        beginEdit(kFShift);
        setParameterAutomated(kFShift, getParameter(kFShift));
        endEdit(kFShift);
    }
    return 1;
}

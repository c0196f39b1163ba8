#pragma once
// The VST 2 shapes the effect is written against, as plain structs of this program.

#include <cstdint>

class AudioEffect;
struct AEffect;

using VstIntPtr = intptr_t;
using audioMasterCallback = VstIntPtr (*)(AEffect* effect, int32_t opcode, int32_t index,
                                          VstIntPtr value, void* ptr, float opt);

// Host callback opcodes the effect sends.
enum AudioMasterOpcode : int32_t {
    audioMasterAutomate = 0,
    audioMasterWantMidi = 6,
    audioMasterIOChanged = 13,
    audioMasterGetVendorString = 32,
    audioMasterBeginEdit = 43,
    audioMasterEndEdit = 44,
};

enum AEffectFlags : int32_t {
    effFlagsCanReplacing = 0x10,
    effFlagsCanDoubleReplacing = 0x1000,
};

constexpr int32_t fourCharacters(char a, char b, char c, char d) {
    return int32_t((uint32_t(uint8_t(a)) << 24) | (uint32_t(uint8_t(b)) << 16) |
                   (uint32_t(uint8_t(c)) << 8) | uint32_t(uint8_t(d)));
}

// The fields of the effect record that this program uses.
struct AEffect {
    int32_t numPrograms = 0;
    int32_t numParams = 0;
    int32_t numInputs = 2;
    int32_t numOutputs = 2;
    int32_t flags = 0;
    int32_t initialDelay = 0;
    void* user = nullptr;     // the adapter finds itself here
    int32_t uniqueID = 0;
    AudioEffect* object = nullptr;
};

enum VstEventType : int32_t { kVstMidiType = 1 };

struct VstEvent {
    int32_t type = 0;
    int32_t byteSize = 0;
    int32_t deltaFrames = 0;
    int32_t flags = 0;
};

struct VstMidiEvent : VstEvent {
    int32_t noteLength = 0;
    int32_t noteOffset = 0;
    uint8_t midiData[4] = {0, 0, 0, 0};
    int8_t detune = 0;
    uint8_t noteOffVelocity = 0;
};

struct VstEvents {
    int32_t numEvents = 0;
    VstEvent** events = nullptr;
};

// The host's transport as a VST 2 host fills it: 88 bytes.
struct VstTimeInfo {
    double samplePos = 0;
    double sampleRate = 0;
    double nanoSeconds = 0;
    double ppqPos = 0;
    double tempo = 0;
    double barStartPos = 0;
    double cycleStartPos = 0;
    double cycleEndPos = 0;
    int32_t timeSigNumerator = 0;
    int32_t timeSigDenominator = 0;
    int32_t smpteOffset = 0;
    int32_t smpteFrameRate = 0;
    int32_t samplesToNextClock = 0;
    int32_t flags = 0;
};
static_assert(sizeof(VstTimeInfo) == 88);

enum VstTimeInfoFlags : int32_t {
    kVstTransportChanged = 1,
    kVstTransportPlaying = 2,
    kVstTransportCycleActive = 4,
    kVstTransportRecording = 8,
    kVstNanosValid = 0x100,
    kVstPpqPosValid = 0x200,
    kVstTempoValid = 0x400,
    kVstBarsValid = 0x800,
    kVstCyclePosValid = 0x1000,
    kVstTimeSigValid = 0x2000,
    kVstClockValid = 0x8000,
};

enum VstPinFlags : int32_t {
    kVstPinIsActive = 1,
    kVstPinIsStereo = 2,
    kVstPinUseSpeaker = 4,
};

struct VstPinProperties {
    char label[64] = {};
    int32_t flags = 0;
    int32_t arrangementType = 0;
    char shortLabel[8] = {};
};

struct VstSpeakerProperties {
    float azimuth = 0, elevation = 0, radius = 0;
    char name[64] = {};
    int32_t type = 0;
};

struct VstSpeakerArrangement {
    int32_t type = 0;
    int32_t numChannels = 0;
    VstSpeakerProperties speakers[8];
};

// What the effect needs of its editor; the editor layer implements it. The effect may call
// setParameter from any thread, the audio thread included: an editor only records the value.
class AEffEditor {
public:
    virtual ~AEffEditor() = default;
    virtual bool onWheel(float distance) = 0;
    // A parameter's new normal, or a notification tag from 500 upward.
    virtual void setParameter(int32_t index, float normal) = 0;
    // The global settings changed: re-read what the editor keeps of them.
    virtual void reloadPrefs() {}
    virtual void programChanged(int32_t) {}

    // The window side, driven by the host's view on its user-interface thread.
    struct Rect {
        int32_t top = 0, left = 0, bottom = 0, right = 0;
    };
    virtual Rect getRect() const { return {}; }
    // `parent` is the host's native window (an X11 window id on Linux).
    virtual bool open(void* parent) { return parent != nullptr; }
    virtual void close() {}
    // Every 10 ms while open.
    virtual void idle() {}
    // The parameter under a point of the editor, or -1.
    virtual int32_t parameterAt(int32_t /*x*/, int32_t /*y*/) { return -1; }
};

#include "AudioEffect.h"

#include <cstdio>
#include <cstring>

namespace {

const int32_t kInputArrangements[4] = {0, 1, 7, 11};

void fillPin(VstPinProperties* p, const char* format, int32_t index, int32_t flags,
             int32_t arrangement) {
    std::snprintf(p->label, sizeof p->label, format, index + 1);
    p->flags = flags;
    p->arrangementType = arrangement;
}

} // namespace

AudioEffect::AudioEffect(audioMasterCallback master, int32_t programs, int32_t params)
    : audioMaster(master), numPrograms(programs), numParams(params) {
    cEffect.numPrograms = programs;
    cEffect.numParams = params;
    cEffect.object = this;
}

VstIntPtr AudioEffect::callMaster(int32_t opcode, int32_t index, VstIntPtr value, void* ptr,
                                  float opt) {
    return audioMaster ? audioMaster(&cEffect, opcode, index, value, ptr, opt) : 0;
}

void AudioEffect::setParameterAutomated(int32_t index, float value) {
    setParameter(index, value);
    callMaster(audioMasterAutomate, index, 0, nullptr, value);
}

int32_t AudioEffect::getChunk(void**, bool) { return 0; }
int32_t AudioEffect::setChunk(void*, int32_t, bool) { return 0; }

void AudioEffect::canProcessReplacing(bool on) {
    cEffect.flags = on ? cEffect.flags | effFlagsCanReplacing : cEffect.flags & ~effFlagsCanReplacing;
}

void AudioEffect::canDoubleReplacing(bool on) {
    cEffect.flags = on ? cEffect.flags | effFlagsCanDoubleReplacing
                       : cEffect.flags & ~effFlagsCanDoubleReplacing;
}

bool AudioEffectX::beginEdit(int32_t index) {
    return callMaster(audioMasterBeginEdit, index, 0, nullptr, 0) != 0;
}

bool AudioEffectX::endEdit(int32_t index) {
    return callMaster(audioMasterEndEdit, index, 0, nullptr, 0) != 0;
}

bool AudioEffectX::getProgramNameIndexed(int32_t, int32_t, char* text) {
    text[0] = 0;
    return false;
}

bool AudioEffectX::ioChanged() { return callMaster(audioMasterIOChanged, 0, 0, nullptr, 0) != 0; }

bool AudioEffectX::getHostVendorString(char* text) {
    text[0] = 0;
    return callMaster(audioMasterGetVendorString, 0, 0, text, 0) != 0;
}

bool AudioEffectX::getInputProperties(int32_t index, VstPinProperties* p) {
    if (index < 0 || index >= cEffect.numInputs) return false;
    int32_t flags = cEffect.numOutputs == 2 ? kVstPinIsActive | kVstPinIsStereo | kVstPinUseSpeaker
                                            : kVstPinIsActive | kVstPinUseSpeaker;
    char vendor[256];
    getHostVendorString(vendor);
    if (std::strcmp(vendor, "Ableton") == 0) flags &= ~kVstPinUseSpeaker;
    fillPin(p, "Input %d", index, flags, kInputArrangements[cEffect.numInputs & 3]);
    return true;
}

bool AudioEffectX::getOutputProperties(int32_t index, VstPinProperties* p) {
    if (index < 0 || index >= cEffect.numOutputs) return false;
    const int32_t flags = cEffect.numOutputs == 2
                              ? kVstPinIsActive | kVstPinIsStereo | kVstPinUseSpeaker
                              : kVstPinIsActive | kVstPinUseSpeaker;
    fillPin(p, "Output %d", index, flags, cEffect.numOutputs == 1 ? 0 : 1);
    return true;
}

bool AudioEffectX::getVendorString(char* text) {
    std::strcpy(text, "Ondelane");
    return true;
}

bool AudioEffectX::getProductString(char* text) {
    std::strcpy(text, "Tessarine");
    return true;
}

VstIntPtr AudioEffectX::vendorSpecific(int32_t op, int32_t index, VstIntPtr, float opt) {
    // Wheel events forwarded by some hosts as vendor calls.
    const bool wheel = op == fourCharacters('s', 't', 'C', 'A') || op == fourCharacters('s', 't', 'C', 'a');
    if (editor && wheel && index == fourCharacters('W', 'h', 'e', 'e'))
        return editor->onWheel(opt) ? 1 : 0;
    return 0;
}

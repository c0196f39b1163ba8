#pragma once
// The effect base in the shape of VST 2: the host callback, the effect record and the
// virtual operations in the order the interface gives them. The adapter is its only caller.

#include <cstdint>

#include "Relaxed.h"
#include "VstTypes.h"

class AudioEffect {
public:
    AudioEffect(audioMasterCallback master, int32_t programs, int32_t params);
    AudioEffect(const AudioEffect&) = delete;
    AudioEffect& operator=(const AudioEffect&) = delete;
    virtual ~AudioEffect() = default;

    virtual void open() {}
    virtual void close() {}
    virtual void suspend() {}
    virtual void resume() {}
    virtual void setSampleRate(float rate) { sampleRate = rate; }
    virtual void setBlockSize(int32_t size) { blockSize = size; }
    virtual void processReplacing(float** inputs, float** outputs, int32_t frames) = 0;
    virtual void processDoubleReplacing(double** inputs, double** outputs, int32_t frames) = 0;
    virtual void setParameter(int32_t index, float value) = 0;
    virtual float getParameter(int32_t index) = 0;
    virtual void setParameterAutomated(int32_t index, float value);
    virtual int32_t getProgram() { return curProgram; }
    virtual void setProgram(int32_t program) { curProgram = program; }
    virtual void setProgramName(const char*) {}
    virtual void getProgramName(char* name) { name[0] = 0; }
    virtual void getParameterLabel(int32_t, char* label) { label[0] = 0; }
    virtual void getParameterDisplay(int32_t, char* text) { text[0] = 0; }
    virtual void getParameterName(int32_t, char* text) { text[0] = 0; }
    virtual int32_t getChunk(void** data, bool isPreset);
    virtual int32_t setChunk(void* data, int32_t size, bool isPreset);
    virtual void setUniqueID(int32_t id) { cEffect.uniqueID = id; }
    virtual void setNumInputs(int32_t n) { cEffect.numInputs = n; }
    virtual void setNumOutputs(int32_t n) { cEffect.numOutputs = n; }
    virtual void canProcessReplacing(bool on);
    virtual void canDoubleReplacing(bool on);
    virtual void programsAreChunks(bool) {}
    virtual void setInitialDelay(int32_t delay) { storeRelaxed(cEffect.initialDelay, delay); }
    virtual AEffEditor* getEditor() { return editor; }
    virtual AEffect* getAeffect() { return &cEffect; }
    virtual float getSampleRate() { return sampleRate; }
    virtual int32_t getBlockSize() { return blockSize; }

protected:
    // Calls the host; every call is a no-op giving 0 without a callback.
    VstIntPtr callMaster(int32_t opcode, int32_t index, VstIntPtr value, void* ptr, float opt);

    audioMasterCallback audioMaster = nullptr;
    AEffEditor* editor = nullptr;
    float sampleRate = 44100;
    int32_t blockSize = 1024;
    int32_t numPrograms = 0;
    int32_t numParams = 0;
    int32_t curProgram = 0;
    AEffect cEffect;
};

class AudioEffectX : public AudioEffect {
public:
    using AudioEffect::AudioEffect;

    virtual bool canParameterBeAutomated(int32_t) { return true; }
    virtual bool string2parameter(int32_t, char*) { return false; }
    virtual bool beginEdit(int32_t index);
    virtual bool endEdit(int32_t index);
    virtual bool getProgramNameIndexed(int32_t, int32_t, char* text);
    virtual bool ioChanged();
    virtual bool getInputProperties(int32_t index, VstPinProperties* properties);
    virtual bool getOutputProperties(int32_t index, VstPinProperties* properties);
    virtual bool setSpeakerArrangement(VstSpeakerArrangement*, VstSpeakerArrangement*) {
        return false;
    }
    virtual bool getSpeakerArrangement(VstSpeakerArrangement**, VstSpeakerArrangement**) {
        return false;
    }
    virtual bool setBypass(bool) { return false; }
    virtual int32_t processEvents(VstEvents*) { return 0; }
    virtual int32_t getGetTailSize() { return 0; }
    virtual bool getEffectName(char*) { return false; }
    virtual bool getVendorString(char* text);
    virtual bool getProductString(char* text);
    virtual int32_t getVendorVersion() { return 1; }
    virtual VstIntPtr vendorSpecific(int32_t op, int32_t index, VstIntPtr value, float opt);
    virtual int32_t canDo(const char*) { return 0; }
    virtual int32_t getVstVersion() { return 2400; }
    virtual int32_t getPlugCategory() { return 1; }

    // The host's vendor text, empty without a callback.
    bool getHostVendorString(char* text);
};

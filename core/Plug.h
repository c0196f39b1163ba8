#pragma once
// The equaliser effect: what its parameters mean, the transfer of stored values into the bank,
// the audio path, settings, MIDI transposition and AutoListen, and its place among the
// instances of the process.

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <algorithm>

#include "AudioPath.h"
#include "EQBank.h"
#include "EditorState.h"
#include "GlobalSettings.h"
#include "PlugBaseJSON.h"

class Plug : public PlugBaseJSON {
public:
    static constexpr int32_t kDefaultImpulseLength = 8192;
    static constexpr int32_t kDefaultCorrectionLength = 64;
    static constexpr int32_t kInstanceNameSize = 32;
    static constexpr int32_t kChannelNameSize = 32;

    explicit Plug(audioMasterCallback master);
    ~Plug() override;

    void resume() override;
    void setSampleRate(float rate) override;
    void processReplacing(float** inputs, float** outputs, int32_t frames) override;
    void processDoubleReplacing(double** inputs, double** outputs, int32_t frames) override;
    void setParameter(int32_t index, float normal) override;
    void setParameterAutomated(int32_t index, float normal) override;
    void setProgram(int32_t program) override;
    bool beginEdit(int32_t index) override;
    bool endEdit(int32_t index) override;
    int32_t processEvents(VstEvents* events) override;
    int32_t canDo(const char* text) override;

    void selectAB(int32_t slot) override;
    void idleTick() override;
    // Runs at the end of each tick, on the tick's thread: how a wrapper passes on what the
    // audio thread left for the host.
    void setAfterTick(void (*hook)(void*), void* user) {
        afterTickUser.store(user, std::memory_order_relaxed);
        afterTick.store(hook, std::memory_order_release);
    }
    bool allowsSurround() override { return true; }
    void transferParams(bool force) override;

    EQBank& bandEQ() { return bank; }
    AudioPath& audioPath() { return path; }
    const EQBank& bandEQ() const { return bank; }
    void getAnalyserSamples(double* dst, int32_t count, int32_t source) {
        path.getAnalyserSamples(dst, count, source);
    }
    int32_t channelCount() const { return path.channelCount(); }
    float channelMeter(int32_t i) const { return path.channelMeter(i); }
    float masterMeter(int32_t i) const { return path.masterMeter(i); }
    bool getClipped() const { return path.getClipped(); }
    void setClipped(bool on) { path.setClipped(on); }
    void setMetersPre(bool on) { path.setMetersPre(on); }
    void ensureBuffers(int32_t capacity, int32_t channels) { path.ensureBuffers(capacity, channels); }

    // Copies the global settings the audio side uses, then lets the editor re-read its own.
    void reloadGlobals();
    // Reads what the effect needs from the instance's UI settings.
    void reloadEditorDependents();
    // Tells the host when the engine's latency differs from the reported one.
    void updateLatency();

    // The graphs' listen button; has no effect while AutoListen is disabled.
    void setAutoListen(bool on) { autoListenArmed = on && globals.autoListenEnabled; }
    bool isListening() const { return listenBand != -1; }
    int32_t getListenBand() const { return listenBand; }
    double getPitchFactor() const { return pitchFactor; }

    const char* getInstanceName() const { return instanceName; }
    bool isInstanceNameSet() const { return instanceNameSet; }
    // At most 31 characters are kept; every editor hears of it.
    void setInstanceName(const char* text);

    // The logical label of a channel ("Left", "Mid", "Ls" ...).
    const char* channelName(int32_t i) const;
    // The user's editable name of a channel, defaulting by count.
    const char* channelNameAt(int32_t i) const;
    // The Mid/Side pair mask, brought in line with kMsState first.
    uint32_t getMsMask();
    // Writes kMsState as one edit gesture (the routing page).
    void setMsMask(uint32_t state);

    uint32_t getGroupMask(int32_t group) const { return groupMasks[size_t(group & 7)]; }
    void setGroupMask(int32_t group, uint32_t mask) { groupMasks[size_t(group & 7)] = mask; }
    bool isTransferPending() const { return transferPending; }
    bool isEditTouched(int32_t index) const;
    bool isDspParam(int32_t index) const { return inTable(index) && dspParam[size_t(index)]; }

    // --- Saved state ---
    using BandOrder = std::array<int32_t, kNumBands>;
    cJSON* saveToJSON(bool isPreset) override;
    cJSON* loadFromJSON(const std::string& text, bool isPreset) override;
    // Applies one preset object to a program, as far as the loading flags allow.
    void loadPresetInto(const cJSON* node, int32_t program);
    // The editor's part of a state: "settings" and "uiprefs".
    void saveEditorState(cJSON* root, bool isPreset);
    void loadEditorState(const cJSON* root, bool isPreset);
    // Refreshed from the stored value when there is one.
    int32_t getLoadingFlags();
    void setLoadingFlags(int32_t flags);
    // The strips' band list of a program: band numbers, a -1 ending the list.
    const BandOrder& bandOrder(int32_t program) const { return bandOrders[size_t(std::clamp(program, 0, kNumPrograms - 1))]; }
    void setBandOrder(int32_t program, const BandOrder& order);
    // Loads "Default Bank.tsi", or else "Factory Bank.tsi"; with neither the built-in defaults
    // stay. A missing Default Bank makes the first-run wizard due.
    void loadDefaultBank();
    // Writes the present state as the Default Bank unless one can be read.
    void ensureDefaultBank();
    const std::string& getDefaultBankPath() const { return defaultBankFile; }

    EditorState& editorState() { return *editorSeam; }
    const AudioGlobals& audioGlobals() const { return globals; }
    const EditorDependents& editorDependents() const { return dependents; }

protected:
    DisplayContext displayContext() const override;
    // A program's band order travels with it in a bank.
    void saveProgramExtras(cJSON* preset, int32_t program) override;
    void loadProgramExtras(const cJSON* preset, int32_t program) override;

private:
    template <typename T> void process(T** inputs, T** outputs, int32_t frames);
    void remakeChannelNames(int32_t count);
    int32_t outputCount() const;
    // Listening starts with a drag of a band's frequency, or its Q unless Q is set aside.
    bool startsListening(int32_t index) const;

    // Held here until the editor object exists to own it.
    std::unique_ptr<EditorState> editorSeam;
    AudioGlobals globals;
    EditorDependents dependents;
    EQBank bank;
    AudioPath path;

    std::atomic<void (*)(void*)> afterTick{nullptr};
    std::atomic<void*> afterTickUser{nullptr};
    // Read by the transfer on the audio and tick threads while a state load writes them.
    std::array<Relaxed<uint32_t>, 8> groupMasks{1u, 2u, 4u, 8u, 16u, 32u, 64u, 128u};
    std::atomic<bool> transferBusy{false};
    Relaxed<bool> transferPending{false};
    Relaxed<bool> allBandsLinked{false};
    std::array<std::atomic<uint8_t>, kNumParams> editTouched{};
    std::array<uint8_t, kNumParams> dspParam{};

    Relaxed<double> midiPitch{1.0};
    Relaxed<double> bendPitch{1.0};
    Relaxed<double> pitchFactor{1.0};
    Relaxed<bool> autoListenArmed{false};
    Relaxed<int32_t> listenBand{-1};

    std::array<BandOrder, kNumPrograms> bandOrders;
    int32_t loadingFlags = -1;
    std::string defaultBankFile;

    char instanceName[kInstanceNameSize] = {};
    bool instanceNameSet = false;
    char channelNames[AudioPath::kMaxChannels][kChannelNameSize] = {};
    int32_t namedChannels = 0;
};

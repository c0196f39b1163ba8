#pragma once
// The one class that makes the effect a VST 3 plug-in: component, processor and controller in
// one object holding a Plug. To the effect it plays the VST 2 host through a callback; to the
// host it offers a unit with a program list, a MIDI mapping for pitch bend and an editor view.

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "SingleComponentEffect.h"
#include "VstTypes.h"
#include "pluginterfaces/vst/ivstmidicontrollers.h"
#include "pluginterfaces/vst/ivstunits.h"

class Plug;

// The two parameters the host sees beyond the effect's own, as four characters big-endian.
constexpr Steinberg::Vst::ParamID kProgramParamId = 0x70726f67; // "prog"
constexpr Steinberg::Vst::ParamID kPitchParamId = 0x70697463;   // "pitc"

class VST3Wrap : public SingleComponentEffect, public Steinberg::Vst::IMidiMapping {
public:
    VST3Wrap();
    ~VST3Wrap() override;

    // IPluginBase
    tresult PLUGIN_API initialize(Steinberg::FUnknown* context) SMTG_OVERRIDE;
    tresult PLUGIN_API terminate() SMTG_OVERRIDE;

    // IComponent and IEditController share one state.
    tresult PLUGIN_API getState(Steinberg::IBStream* stream) SMTG_OVERRIDE;
    tresult PLUGIN_API setState(Steinberg::IBStream* stream) SMTG_OVERRIDE;
    tresult PLUGIN_API setComponentState(Steinberg::IBStream*) SMTG_OVERRIDE { return Steinberg::kResultOk; }

    // IAudioProcessor
    tresult PLUGIN_API setBusArrangements(Steinberg::Vst::SpeakerArrangement* inputs, int32 numIns,
                                          Steinberg::Vst::SpeakerArrangement* outputs, int32 numOuts) SMTG_OVERRIDE;
    tresult PLUGIN_API canProcessSampleSize(int32 symbolicSampleSize) SMTG_OVERRIDE;
    Steinberg::uint32 PLUGIN_API getLatencySamples() SMTG_OVERRIDE;
    tresult PLUGIN_API setupProcessing(Steinberg::Vst::ProcessSetup& setup) SMTG_OVERRIDE;
    tresult PLUGIN_API setProcessing(Steinberg::TBool state) SMTG_OVERRIDE;
    tresult PLUGIN_API process(Steinberg::Vst::ProcessData& data) SMTG_OVERRIDE;
    Steinberg::uint32 PLUGIN_API getTailSamples() SMTG_OVERRIDE;

    // IEditController
    int32 PLUGIN_API getParameterCount() SMTG_OVERRIDE;
    tresult PLUGIN_API getParameterInfo(int32 index, Steinberg::Vst::ParameterInfo& info) SMTG_OVERRIDE;
    Steinberg::Vst::ParamValue PLUGIN_API getParamNormalized(Steinberg::Vst::ParamID id) SMTG_OVERRIDE;
    tresult PLUGIN_API setParamNormalized(Steinberg::Vst::ParamID id, Steinberg::Vst::ParamValue value) SMTG_OVERRIDE;
    Steinberg::Vst::ParamValue PLUGIN_API normalizedParamToPlain(Steinberg::Vst::ParamID id,
                                                                 Steinberg::Vst::ParamValue value) SMTG_OVERRIDE;
    Steinberg::Vst::ParamValue PLUGIN_API plainParamToNormalized(Steinberg::Vst::ParamID id,
                                                                 Steinberg::Vst::ParamValue value) SMTG_OVERRIDE;
    tresult PLUGIN_API getParamStringByValue(Steinberg::Vst::ParamID id, Steinberg::Vst::ParamValue value,
                                             Steinberg::Vst::String128 text) SMTG_OVERRIDE;
    tresult PLUGIN_API getParamValueByString(Steinberg::Vst::ParamID id, Steinberg::Vst::TChar* text,
                                             Steinberg::Vst::ParamValue& value) SMTG_OVERRIDE;
    Steinberg::IPlugView* PLUGIN_API createView(Steinberg::FIDString name) SMTG_OVERRIDE;

    // IUnitInfo
    int32 PLUGIN_API getUnitCount() SMTG_OVERRIDE { return 1; }
    tresult PLUGIN_API getUnitInfo(int32 index, Steinberg::Vst::UnitInfo& info) SMTG_OVERRIDE;
    int32 PLUGIN_API getProgramListCount() SMTG_OVERRIDE { return 1; }
    tresult PLUGIN_API getProgramListInfo(int32 index, Steinberg::Vst::ProgramListInfo& info) SMTG_OVERRIDE;
    tresult PLUGIN_API getProgramName(Steinberg::Vst::ProgramListID list, int32 index,
                                      Steinberg::Vst::String128 name) SMTG_OVERRIDE;
    tresult PLUGIN_API getProgramInfo(Steinberg::Vst::ProgramListID, int32, Steinberg::Vst::CString,
                                      Steinberg::Vst::String128) SMTG_OVERRIDE {
        return Steinberg::kResultFalse;
    }
    tresult PLUGIN_API hasProgramPitchNames(Steinberg::Vst::ProgramListID, int32) SMTG_OVERRIDE {
        return Steinberg::kResultFalse;
    }
    tresult PLUGIN_API getProgramPitchName(Steinberg::Vst::ProgramListID, int32, Steinberg::int16,
                                           Steinberg::Vst::String128) SMTG_OVERRIDE {
        return Steinberg::kResultFalse;
    }
    Steinberg::Vst::UnitID PLUGIN_API getSelectedUnit() SMTG_OVERRIDE { return 0; }
    tresult PLUGIN_API selectUnit(Steinberg::Vst::UnitID id) SMTG_OVERRIDE {
        return id == 0 ? Steinberg::kResultOk : Steinberg::kResultFalse;
    }
    tresult PLUGIN_API getUnitByBus(Steinberg::Vst::MediaType, Steinberg::Vst::BusDirection, int32, int32,
                                    Steinberg::Vst::UnitID&) SMTG_OVERRIDE {
        return Steinberg::kResultFalse;
    }
    tresult PLUGIN_API setUnitProgramData(int32, int32, Steinberg::IBStream*) SMTG_OVERRIDE {
        return Steinberg::kResultOk;
    }

    // IMidiMapping
    tresult PLUGIN_API getMidiControllerAssignment(int32 bus, Steinberg::int16 channel,
                                                   Steinberg::Vst::CtrlNumber controller,
                                                   Steinberg::Vst::ParamID& id) SMTG_OVERRIDE;

    OBJ_METHODS(VST3Wrap, SingleComponentEffect)
    tresult PLUGIN_API queryInterface(const Steinberg::TUID iid, void** obj) SMTG_OVERRIDE;
    REFCOUNT_METHODS(SingleComponentEffect)

    Plug* getEffect() const { return effect; }
    // Host calls the effect made on the audio thread, passed on from the tick.
    void flushDeferredHostCalls();

private:
    static VstIntPtr hostCallback(AEffect* e, int32_t opcode, int32_t index, VstIntPtr value, void* ptr, float opt);
    VstIntPtr answerEffect(int32_t opcode, int32_t index, float opt);
    void rebuildBusses(const char16_t* in, const char16_t* out, Steinberg::Vst::SpeakerArrangement arr);
    void fillTimeInfo(const Steinberg::Vst::ProcessContext& context);
    // One block of `n` channels in the sample type T, `buffersOf` picking a bus's pointers.
    template <typename T, typename Buffers>
    void runBlock(Steinberg::Vst::ProcessData& data, int32 n, Buffers buffersOf);

    Plug* effect = nullptr;
    int32_t numPrograms = 0;
    int32_t numParams = 0;
    int32_t hasMidiInput = 0;
    std::unique_ptr<VstTimeInfo> timeInfo;
    bool initialised = false;

    // A single-producer, single-consumer ring: the audio thread writes, the tick reads.
    struct DeferredCall {
        int32_t opcode;
        int32_t index;
        float value;
    };
    static constexpr uint32_t kDeferredCapacity = 256;
    std::array<DeferredCall, kDeferredCapacity> deferred{};
    std::atomic<uint32_t> deferredHead{0};
    std::atomic<uint32_t> deferredTail{0};
};

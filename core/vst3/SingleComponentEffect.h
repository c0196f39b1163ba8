#pragma once
// One object that is component, audio processor and edit controller at once: the base that
// Debian's SDK subset lacks. It keeps the bus lists, answers the bus queries and the interface
// lookup; the adapter above it fills in processing, state and parameters.

#include "public.sdk/source/vst/vstbus.h"
#include "public.sdk/source/vst/vsteditcontroller.h"
#include "pluginterfaces/vst/ivstaudioprocessor.h"
#include "pluginterfaces/vst/ivstcomponent.h"

class SingleComponentEffect : public Steinberg::Vst::EditControllerEx1,
                              public Steinberg::Vst::IComponent,
                              public Steinberg::Vst::IAudioProcessor {
public:
    using tresult = Steinberg::tresult;
    using int32 = Steinberg::int32;

    SingleComponentEffect();

    // IPluginBase: one override for the component and the controller face alike.
    tresult PLUGIN_API initialize(Steinberg::FUnknown* context) SMTG_OVERRIDE;
    tresult PLUGIN_API terminate() SMTG_OVERRIDE;

    // IComponent
    tresult PLUGIN_API getControllerClassId(Steinberg::TUID) SMTG_OVERRIDE { return Steinberg::kNotImplemented; }
    tresult PLUGIN_API setIoMode(Steinberg::Vst::IoMode) SMTG_OVERRIDE { return Steinberg::kNotImplemented; }
    int32 PLUGIN_API getBusCount(Steinberg::Vst::MediaType type, Steinberg::Vst::BusDirection dir) SMTG_OVERRIDE;
    tresult PLUGIN_API getBusInfo(Steinberg::Vst::MediaType type, Steinberg::Vst::BusDirection dir, int32 index,
                                  Steinberg::Vst::BusInfo& info) SMTG_OVERRIDE;
    tresult PLUGIN_API getRoutingInfo(Steinberg::Vst::RoutingInfo&, Steinberg::Vst::RoutingInfo&) SMTG_OVERRIDE {
        return Steinberg::kNotImplemented;
    }
    tresult PLUGIN_API activateBus(Steinberg::Vst::MediaType type, Steinberg::Vst::BusDirection dir, int32 index,
                                   Steinberg::TBool state) SMTG_OVERRIDE;
    tresult PLUGIN_API setActive(Steinberg::TBool) SMTG_OVERRIDE { return Steinberg::kResultOk; }

    // IAudioProcessor
    tresult PLUGIN_API getBusArrangement(Steinberg::Vst::BusDirection dir, int32 index,
                                         Steinberg::Vst::SpeakerArrangement& arr) SMTG_OVERRIDE;
    Steinberg::uint32 PLUGIN_API getTailSamples() SMTG_OVERRIDE { return 0; }

    // Both faces of the object share one reference count.
    OBJ_METHODS(SingleComponentEffect, Steinberg::Vst::EditControllerEx1)
    tresult PLUGIN_API queryInterface(const Steinberg::TUID iid, void** obj) SMTG_OVERRIDE;
    REFCOUNT_METHODS(Steinberg::Vst::EditControllerEx1)

protected:
    Steinberg::Vst::AudioBus* addAudioInput(const Steinberg::Vst::TChar* name, Steinberg::Vst::SpeakerArrangement arr,
                                            Steinberg::Vst::BusType type = Steinberg::Vst::kMain);
    Steinberg::Vst::AudioBus* addAudioOutput(const Steinberg::Vst::TChar* name, Steinberg::Vst::SpeakerArrangement arr);
    Steinberg::Vst::EventBus* addEventInput(const Steinberg::Vst::TChar* name, int32 channels);
    void removeAudioBusses();
    void removeAllBusses();
    Steinberg::Vst::BusList* busList(Steinberg::Vst::MediaType type, Steinberg::Vst::BusDirection dir);

    Steinberg::Vst::BusList audioInputs;
    Steinberg::Vst::BusList audioOutputs;
    Steinberg::Vst::BusList eventInputs;
    Steinberg::Vst::BusList eventOutputs;
    Steinberg::Vst::ProcessSetup processSetup{};
};

#pragma once
// The host's window onto the effect's editor. The view's size is the editor's rectangle; a
// 10 ms timer on the host's run loop drives the editor's idle and notices when the editor has
// changed its own size, which it then asks the host to follow.

#include "VstTypes.h"
#include "pluginterfaces/gui/iplugview.h"
#include "pluginterfaces/vst/ivstplugview.h"
#include "public.sdk/source/common/pluginview.h"

class VST3Wrap;

class VST3WrapEditorView : public Steinberg::CPluginView,
                           public Steinberg::Vst::IParameterFinder,
                           public Steinberg::Linux::ITimerHandler {
public:
    VST3WrapEditorView(VST3Wrap* owner, AEffEditor* editor);
    ~VST3WrapEditorView() override;

    Steinberg::tresult PLUGIN_API isPlatformTypeSupported(Steinberg::FIDString type) SMTG_OVERRIDE;
    Steinberg::tresult PLUGIN_API attached(void* parent, Steinberg::FIDString type) SMTG_OVERRIDE;
    Steinberg::tresult PLUGIN_API removed() SMTG_OVERRIDE;
    Steinberg::tresult PLUGIN_API onWheel(float distance) SMTG_OVERRIDE;
    Steinberg::tresult PLUGIN_API setFrame(Steinberg::IPlugFrame* frame) SMTG_OVERRIDE;
    Steinberg::tresult PLUGIN_API findParameter(Steinberg::int32 x, Steinberg::int32 y,
                                                Steinberg::Vst::ParamID& id) SMTG_OVERRIDE;
    void PLUGIN_API onTimer() SMTG_OVERRIDE;

    OBJ_METHODS(VST3WrapEditorView, Steinberg::CPluginView)
    DEFINE_INTERFACES
        DEF_INTERFACE(Steinberg::Vst::IParameterFinder)
        DEF_INTERFACE(Steinberg::Linux::ITimerHandler)
    END_DEFINE_INTERFACES(Steinberg::CPluginView)
    REFCOUNT_METHODS(Steinberg::CPluginView)

private:
    void startTimer();
    void stopTimer();

    VST3Wrap* owner;
    AEffEditor* editor;
    bool open = false;
    Steinberg::Linux::IRunLoop* timerLoop = nullptr;
};

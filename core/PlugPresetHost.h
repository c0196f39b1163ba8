#pragma once
// The effect as the preset browser sees it.

#include "Plug.h"
#include "PresetBrowser.h"

class PlugPresetHost : public PresetHost {
public:
    explicit PlugPresetHost(Plug& plug) : plug(plug) {}

    int32_t programCount() override { return kNumPrograms; }
    int32_t currentProgram() override { return plug.getProgram(); }
    void selectProgram(int32_t program) override { plug.setProgram(program); }
    std::string programName(int32_t program) override;
    void renameProgram(int32_t program, const char* name) override { plug.setProgramNameIndexed(name, program); }
    void loadPresetInto(const cJSON* node, int32_t program) override { plug.loadPresetInto(node, program); }
    void loadEditorState(const cJSON* root, bool isPreset) override { plug.loadEditorState(root, isPreset); }
    int32_t loadingFlags() override { return plug.getLoadingFlags(); }
    void setLoadingFlags(int32_t flags) override { plug.setLoadingFlags(flags); }
    std::vector<uint8_t> saveState(bool isPreset) override;
    void loadState(const std::vector<uint8_t>& data, bool isPreset) override;

private:
    Plug& plug;
};

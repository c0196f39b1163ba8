#include "PlugPresetHost.h"

std::string PlugPresetHost::programName(int32_t program) {
    char text[ProgramSlot::kNameSize] = {};
    plug.getProgramNameIndexed(0, program, text);
    return text;
}

std::vector<uint8_t> PlugPresetHost::saveState(bool isPreset) {
    void* data = nullptr;
    const int32_t size = plug.getChunk(&data, isPreset);
    const auto* bytes = static_cast<const uint8_t*>(data);
    return std::vector<uint8_t>(bytes, bytes + size);
}

void PlugPresetHost::loadState(const std::vector<uint8_t>& data, bool isPreset) {
    std::vector<uint8_t> copy(data);
    plug.setChunk(copy.data(), int32_t(copy.size()), isPreset);
}

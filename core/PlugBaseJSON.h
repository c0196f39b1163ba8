#pragma once
// The saved state of an effect as one JSON document: a bank (20 programs, 8 A/B slots and all
// that goes with them) or a preset (the current program). This layer owns the byte wrapper and
// the program and slot lists; Plug adds what is particular to the equaliser.

#include <cstdint>
#include <string>
#include <vector>

#include "PlugBase.h"

struct cJSON;

class PlugBaseJSON : public PlugBase {
public:
    explicit PlugBaseJSON(audioMasterCallback master);

    // The bytes stay valid until the next call or the end of the instance; the caller must not
    // free them.
    int32_t getChunk(void** data, bool isPreset) override;
    // Always returns `byteSize`: a chunk that does not parse changes no parameter.
    int32_t setChunk(void* data, int32_t byteSize, bool isPreset) override;

    // Builds the document; the caller deletes it.
    virtual cJSON* saveToJSON(bool isPreset);
    // Parses and applies; returns the document (the caller deletes it), null when the text is
    // not a JSON object, in which case nothing was applied.
    virtual cJSON* loadFromJSON(const std::string& text, bool isPreset);

    // Append a "parameters" object holding every parameter of a program or a slot.
    void saveProgramParams(cJSON* node, int32_t program);
    void saveABParams(cJSON* node, int32_t slot);
    // Read the "parameters" member of `node` into a program or a slot.
    void loadProgramParams(const cJSON* node, int32_t program);
    void loadABParams(const cJSON* node, int32_t slot);

protected:
    // Called after parsing, before anything is applied.
    virtual void beforeLoad(const cJSON* doc) { (void)doc; }
    // What a subclass keeps per program beside its parameters: written after the program's
    // "name" in a bank, read with the program's parameters.
    virtual void saveProgramExtras(cJSON* preset, int32_t program) { (void)preset, (void)program; }
    virtual void loadProgramExtras(const cJSON* preset, int32_t program) { (void)preset, (void)program; }
    // Every value read from a document passes here, so a later version can migrate old values
    // in one place.
    virtual float adaptParamOnLoad(int32_t index, float value) { (void)index; return value; }

    // Which parameters a walk may take; null takes all.
    using ParamFilter = bool (*)(const PlugBaseJSON* self, int32_t index, int32_t flags);
    void saveParams(cJSON* node, const float* values, ParamFilter filter, int32_t flags) const;
    // Walks a "parameters" object into `values`: in-order entries are matched without a search,
    // others by name; unknown names are skipped and missing ones keep their value.
    void loadParams(const cJSON* parameters, float* values, ParamFilter filter, int32_t flags);

private:
    std::vector<uint8_t> chunkBuffer;
};

// Builds "Factory Bank.tsi" from its readable source: an effect with built-in defaults takes
// each program's bands in the units the editor shows, and its bank state is written as it
// would be saved.
//
//   make-factory-bank <source.json> <output.tsi>

#include <cjson/cJSON.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "ChunkCodec.h"
#include "Plug.h"

namespace {

VstIntPtr silentHost(AEffect*, int32_t, int32_t, VstIntPtr, void*, float) { return 0; }

int fail(const std::string& message) {
    std::fprintf(stderr, "make-factory-bank: %s\n", message.c_str());
    return 1;
}

int32_t typeCode(const char* name) {
    static const char* const kTypes[] = {"Peak", "HPF", "Low Shelf", "High Shelf", "LPF", "Notch"};
    for (int32_t i = 0; i < 6; ++i)
        if (std::strcmp(name, kTypes[i]) == 0) return i + 1;
    return 0;
}

// Writes a value given in displayed units as a host would.
void setShown(Plug& plug, int32_t index, double number) {
    plug.setParameter(index, plug.normalFromDisplay(index, float(number)));
}

void setValue(Plug& plug, int32_t index, double value) {
    plug.setParameter(index, paramCurveNormal(index, float(value)));
}

bool applyBand(Plug& plug, int32_t band, const cJSON* source, std::string* error) {
    const cJSON* type = cJSON_GetObjectItemCaseSensitive(source, "type");
    const int32_t code = cJSON_IsString(type) ? typeCode(type->valuestring) : 0;
    if (code == 0) {
        *error = "band " + std::to_string(band + 1) + ": unknown type";
        return false;
    }
    setValue(plug, bandParam(band, kKindType), code);
    setValue(plug, bandParam(band, kKindState), 2);
    const struct {
        const char* key;
        int32_t kind;
    } shown[] = {{"frequency", kKindFrequency}, {"gain", kKindGain}, {"q", kKindQ}, {"slope", kKindSlope}};
    for (const auto& field : shown) {
        const cJSON* v = cJSON_GetObjectItemCaseSensitive(source, field.key);
        if (cJSON_IsNumber(v)) setShown(plug, bandParam(band, field.kind), v->valuedouble);
    }
    const cJSON* groups = cJSON_GetObjectItemCaseSensitive(source, "groups");
    if (cJSON_IsArray(groups)) {
        // Group 1 is the top bit; on a Mid/Side pair group 1 holds Mid and group 2 Side.
        int32_t mask = 0;
        const cJSON* g;
        cJSON_ArrayForEach(g, groups) {
            if (!cJSON_IsString(g)) continue;
            if (std::strcmp(g->valuestring, "Mid") == 0) mask |= 128;
            else if (std::strcmp(g->valuestring, "Side") == 0) mask |= 64;
        }
        setValue(plug, bandParam(band, kKindGroups), mask);
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return fail("usage: make-factory-bank <source.json> <output.tsi>");
    std::vector<uint8_t> source;
    if (!readFile(argv[1], &source)) return fail(std::string("cannot read ") + argv[1]);
    source.push_back(0);
    cJSON* doc = cJSON_Parse(reinterpret_cast<const char*>(source.data()));
    const cJSON* programs = cJSON_GetObjectItemCaseSensitive(doc, "programs");
    if (!cJSON_IsArray(programs) || cJSON_GetArraySize(programs) != kNumPrograms)
        return fail("the source must hold \"programs\" with 20 entries");

    // Start from the built-in defaults, whatever this machine has saved.
    const std::filesystem::path scratch = std::filesystem::temp_directory_path() /
                                          ("tessarine-factory-" + std::to_string(::getpid()));
    setenv("XDG_CONFIG_HOME", (scratch / "config").c_str(), 1);
    setenv("XDG_DATA_HOME", (scratch / "data").c_str(), 1);
    int status = 0;
    {
        Plug plug(silentHost);
        std::vector<float> defaults(kNumParams);
        for (int32_t i = 0; i < kNumParams; ++i) defaults[size_t(i)] = plug.defaultNormal(i);

        int32_t p = 0;
        const cJSON* program;
        cJSON_ArrayForEach(program, programs) {
            plug.setProgram(p);
            for (int32_t i = 0; i < kNumParams; ++i)
                if (i != kABBank) plug.setParameter(i, defaults[size_t(i)]);
            const cJSON* name = cJSON_GetObjectItemCaseSensitive(program, "name");
            if (!cJSON_IsString(name) || std::strlen(name->valuestring) > 23) {
                status = fail("program " + std::to_string(p + 1) + ": a name of at most 23 characters is needed");
                break;
            }
            plug.setProgramName(name->valuestring);
            const cJSON* mode = cJSON_GetObjectItemCaseSensitive(program, "mode");
            if (cJSON_IsString(mode) && std::strcmp(mode->valuestring, "FIR") == 0) setValue(plug, kMode, 1);

            Plug::BandOrder order;
            order.fill(-1);
            int32_t band = 0;
            std::string error;
            const cJSON* described;
            cJSON_ArrayForEach(described, cJSON_GetObjectItemCaseSensitive(program, "bands")) {
                if (band >= kNumBands || !applyBand(plug, band, described, &error)) {
                    status = fail(std::string(name->valuestring) + ": " + (error.empty() ? "too many bands" : error));
                    break;
                }
                order[size_t(band)] = band;
                ++band;
            }
            if (status != 0) break;
            plug.setBandOrder(p, order);
            ++p;
        }
        if (status == 0) {
            plug.setProgram(0);
            for (int32_t s = 0; s < kNumABSlots; ++s) plug.copyToAB(s);
            void* data = nullptr;
            const int32_t size = plug.getChunk(&data, false);
            if (!writeFile(argv[2], data, size_t(size))) status = fail(std::string("cannot write ") + argv[2]);
        }
    }
    cJSON_Delete(doc);
    std::error_code ignored;
    std::filesystem::remove_all(scratch, ignored);
    return status;
}

// Feeds setChunk whatever it is given. The first byte chooses the form: bit 0 a preset rather
// than a bank, bit 1 wraps the rest first, so that mutated text also travels the compressed
// path. Whenever the text does not parse, the effect's state must be exactly as before.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "ChunkCodec.h"
#include "Plug.h"

#include <cjson/cJSON.h>

namespace {

VstIntPtr silentHost(AEffect*, int32_t, int32_t, VstIntPtr, void*, float) { return 0; }

// A Plug whose whole saved state can be compared cheaply.
class FuzzPlug : public Plug {
public:
    FuzzPlug() : Plug(silentHost) {}
    std::vector<uint8_t> fingerprint() {
        std::vector<uint8_t> out;
        const auto add = [&out](const void* p, size_t n) {
            const auto* b = static_cast<const uint8_t*>(p);
            out.insert(out.end(), b, b + n);
        };
        for (int32_t p = 0; p < kNumPrograms; ++p) {
            add(&program(p), sizeof(ProgramSlot));
            add(bandOrder(p).data(), sizeof(BandOrder));
        }
        for (int32_t s = 0; s < kNumABSlots; ++s) add(&abSlot(s), sizeof(ProgramSlot));
        for (int32_t i = 0; i < kNumParams; ++i) {
            const float v = getParameter(i);
            add(&v, sizeof v);
        }
        for (int32_t g = 0; g < 8; ++g) {
            const uint32_t m = getGroupMask(g);
            add(&m, sizeof m);
        }
        const int32_t numbers[] = {getProgram(), getCurrentAB(), editorState().lastAB, editorState().analyserType};
        add(numbers, sizeof numbers);
        add(getInstanceName(), std::strlen(getInstanceName()));
        for (int32_t c = 0; c < 8; ++c) add(channelNameAt(c), std::strlen(channelNameAt(c)));
        char* ui = cJSON_PrintUnformatted(editorState().ui.document());
        if (ui != nullptr) add(ui, std::strlen(ui));
        cJSON_free(ui);
        return out;
    }
};

FuzzPlug& plug() {
    static FuzzPlug* instance = [] {
        // Settings and banks go to a folder of this run, never the user's.
        const std::string home = std::filesystem::temp_directory_path() / ("tessarine-fuzz-" + std::to_string(getpid()));
        setenv("HOME", home.c_str(), 1);
        setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
        setenv("XDG_DATA_HOME", (home + "/data").c_str(), 1);
        static const std::string folder = home;
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(folder, ignored);
        });
        auto* p = new FuzzPlug;
        p->setNumInputs(4);
        p->setNumOutputs(4);
        p->resume();
        return p;
    }();
    return *instance;
}

void writeSeed(const std::string& folder, const char* name, uint8_t mode, const void* data, size_t size) {
    std::vector<uint8_t> bytes{mode};
    const auto* b = static_cast<const uint8_t*>(data);
    bytes.insert(bytes.end(), b, b + size);
    writeFile(folder + "/" + name, bytes.data(), bytes.size());
}

}  // namespace

// Valid chunks of each form to start mutating from.
void writeFuzzSeeds(const std::string& folder) {
    std::filesystem::create_directories(folder);
    FuzzPlug& p = plug();
    p.setProgramName("Seed");
    p.setParameter(kBand1State, 1.0f);
    p.setInstanceName("Seed instance");
    for (int form = 0; form < 2; ++form) {
        void* data = nullptr;
        const int32_t size = p.getChunk(&data, form == 1);
        writeSeed(folder, form ? "preset-wrapped" : "bank-wrapped", uint8_t(form), data, size_t(size));
        std::string text;
        unwrapChunk(data, size_t(size), &text);
        writeSeed(folder, form ? "preset-plain" : "bank-plain", uint8_t(form), text.data(), text.size());
        writeSeed(folder, form ? "preset-text-to-wrap" : "bank-text-to-wrap", uint8_t(form | 2), text.data(), text.size());
    }
    const char small[] = R"({"presets":[{"name":"a","parameters":{"kBand1Gain":0.3},"bandOrder":[1,-1]}],)"
                         R"("AB":[],"routing":{"groups":[1],"groupnames":["x"]},"instanceName":"n"})";
    writeSeed(folder, "small", 0, small, sizeof small - 1);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    FuzzPlug& p = plug();
    const bool isPreset = data[0] & 1;
    std::vector<uint8_t> chunk(data + 1, data + size);
    if (data[0] & 2) {
        std::vector<uint8_t> wrapped;
        if (wrapChunk(reinterpret_cast<const char*>(chunk.data()), chunk.size(), &wrapped)) chunk.swap(wrapped);
    }
    std::string text;
    unwrapChunk(chunk.data(), chunk.size(), &text);
    cJSON* doc = parseDocument(text);
    const bool parses = doc != nullptr;
    cJSON_Delete(doc);

    const std::vector<uint8_t> before = parses ? std::vector<uint8_t>() : p.fingerprint();
    const int32_t returned = p.setChunk(chunk.empty() ? nullptr : chunk.data(), int32_t(chunk.size()), isPreset);
    if (!chunk.empty() && returned != int32_t(chunk.size())) {
        std::fprintf(stderr, "setChunk returned %d for %zu bytes\n", returned, chunk.size());
        std::abort();
    }
    if (!parses && p.fingerprint() != before) {
        std::fprintf(stderr, "a chunk that does not parse changed the state\n");
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    if (const char* folder = std::getenv("TESS_FUZZ_SEEDS")) writeFuzzSeeds(folder);
    return 0;
}

// Saving and loading state: getChunk and setChunk of a full bank, each against the JSON work it
// cannot avoid (printing, parsing) measured in the same run; and the scan of a preset tree of
// 500 presets in 20 folders against reading the same files.

#include <unistd.h>

#include <cjson/cJSON.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "ChunkCodec.h"
#include "Instances.h"
#include "MedianTime.h"
#include "Plug.h"
#include "PresetLibrary.h"

namespace {

class NoTicks : public TickDriver {
public:
    void start(void (*)()) override {}
    void stop() override {}
};


// Every program and slot holds different values, as a worked-on project does; the processing
// mode stays IIR, since FIR builds have a bench of their own.
void fillBank(Plug& plug) {
    std::mt19937 rng(3);
    std::uniform_real_distribution<float> unit(0, 1);
    for (int p = kNumPrograms - 1; p >= 0; --p) {
        plug.setProgram(p);
        for (int i = 0; i < kNumParams; ++i)
            if (i != kABBank && !plug.isDspParam(i)) plug.setParameter(i, unit(rng));
        plug.setProgramName(("Program " + std::to_string(p)).c_str());
    }
    for (int s = 1; s < kNumABSlots; ++s) plug.copyToAB(s);
}

}  // namespace

int main() {
    char pattern[] = "/tmp/tessarine-bench-XXXXXX";
    const std::string home = mkdtemp(pattern);
    setenv("HOME", home.c_str(), 1);
    setenv("XDG_CONFIG_HOME", (home + "/config").c_str(), 1);
    setenv("XDG_DATA_HOME", (home + "/data").c_str(), 1);
    static NoTicks noTicks;
    setTickDriver(&noTicks);

    {
        Plug plug(nullptr);
        plug.setNumInputs(2);
        plug.setNumOutputs(2);
        plug.resume();
        fillBank(plug);

        constexpr int kRuns = 21;
        void* data = nullptr;
        int32_t size = 0;
        const double get = medianMs(kRuns, [&] { size = plug.getChunk(&data, false); });
        std::vector<uint8_t> chunk(static_cast<uint8_t*>(data), static_cast<uint8_t*>(data) + size);
        const double print = medianMs(kRuns, [&] {
            cJSON* doc = plug.saveToJSON(false);
            char* text = cJSON_Print(doc);
            cJSON_free(text);
            cJSON_Delete(doc);
        });
        std::string text;
        unwrapChunk(chunk.data(), chunk.size(), &text);
        const double set = medianMs(kRuns, [&] { plug.setChunk(chunk.data(), int32_t(chunk.size()), false); });
        const double parse = medianMs(kRuns, [&] { cJSON_Delete(parseDocument(text)); });

        std::printf("Full bank (20 programs, 8 A/B slots, stereo), median of %d\n", kRuns);
        std::printf("%-10s %10s %22s %8s %10s\n", "call", "ms", "baseline ms", "ratio", "target");
        std::printf("%-10s %10.2f %14.2f (print) %8.2f %10s\n", "getChunk", get, print, get / print, "< 20 ms");
        std::printf("%-10s %10.2f %14.2f (parse) %8.2f %10s\n", "setChunk", set, parse, set / parse, "< 20 ms");
        std::printf("chunk: %d bytes wrapped, %zu bytes of text\n\n", size, text.size() + 1);

        // 500 presets in 20 folders, each a real preset of this bank.
        const std::string tree = home + "/presets/";
        std::vector<uint8_t> preset;
        for (int f = 0; f < 20; ++f) {
            std::filesystem::create_directories(tree + "Folder " + std::to_string(f));
            for (int i = 0; i < 25; ++i) {
                plug.setProgram((f + i) % kNumPrograms);
                const int32_t n = plug.getChunk(&data, true);
                writeFile(tree + "Folder " + std::to_string(f) + "/" + std::to_string(i) + " Preset.tsi", data, size_t(n));
            }
        }
        size_t presets = 0;
        const double scan = medianMs(9, [&] {
            cJSON* root = cJSON_CreateObject();
            scanPresetFolder(root, tree);
            presets = 0;
            for (const cJSON* f = root->child; f; f = f->next) presets += size_t(cJSON_GetArraySize(f));
            cJSON_Delete(root);
        });
        const double read = medianMs(9, [&] {
            std::vector<uint8_t> bytes;
            for (const auto& e : std::filesystem::recursive_directory_iterator(tree))
                if (e.is_regular_file()) readFile(e.path().string(), &bytes);
        });
        std::printf("Preset folder scan, %zu presets in 20 folders, median of 9\n", presets);
        std::printf("%-10s %10s %22s %8s %10s\n", "", "ms", "baseline ms", "ratio", "target");
        std::printf("%-10s %10.2f %14.2f (read) %9.2f %10s\n", "scan", scan, read, scan / read, "< 300 ms");
    }
    std::filesystem::remove_all(home);
    return 0;
}

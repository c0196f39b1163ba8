// Runs the chunk fuzz target without libFuzzer: valid seeds, mutated by a seeded generator (bit
// flips, byte changes, cuts, insertions, splices of two seeds, random bytes), for a given time.
//
//   fuzz_chunk_seeded [seconds] [seed]

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "ChunkCodec.h"

void writeFuzzSeeds(const std::string& folder);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

using Bytes = std::vector<uint8_t>;

Bytes mutate(const std::vector<Bytes>& seeds, std::mt19937_64& rng) {
    auto pick = [&rng](size_t n) { return n == 0 ? size_t(0) : size_t(rng() % n); };
    Bytes b = seeds[pick(seeds.size())];
    const int rounds = 1 + int(rng() % 8);
    for (int r = 0; r < rounds; ++r) {
        switch (rng() % 7) {
        case 0: if (!b.empty()) b[pick(b.size())] ^= uint8_t(1u << (rng() % 8)); break;
        case 1: if (!b.empty()) b[pick(b.size())] = uint8_t(rng()); break;
        case 2: b.resize(pick(b.size() + 1)); break;
        case 3: b.insert(b.begin() + long(pick(b.size() + 1)), uint8_t("{}[]\",:0-e.tfn\\"[rng() % 15])); break;
        case 4: {
            const Bytes& other = seeds[pick(seeds.size())];
            const size_t at = pick(b.size() + 1), from = pick(other.size() + 1);
            b.resize(at);
            b.insert(b.end(), other.begin() + long(from), other.end());
            break;
        }
        case 5:
            if (b.size() > 2) {
                const size_t from = pick(b.size()), to = std::min(b.size(), from + 1 + pick(64));
                b.erase(b.begin() + long(from), b.begin() + long(to));
            }
            break;
        default: {
            Bytes noise(pick(256));
            for (uint8_t& x : noise) x = uint8_t(rng());
            if (!noise.empty()) noise[0] = uint8_t(rng() % 4);
            b = noise;
        }
        }
    }
    return b;
}

}  // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 5.0;
    const uint64_t seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
    const std::string folder = std::filesystem::temp_directory_path() / ("tessarine-seeds-" + std::to_string(seed));
    writeFuzzSeeds(folder);
    std::vector<Bytes> seeds;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        Bytes b;
        if (readFile(entry.path().string(), &b)) seeds.push_back(std::move(b));
    }
    std::filesystem::remove_all(folder);
    std::mt19937_64 rng(seed);
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    long runs = 0;
    for (const Bytes& s : seeds) LLVMFuzzerTestOneInput(s.data(), s.size()), ++runs;
    while (std::chrono::steady_clock::now() < end) {
        const Bytes b = mutate(seeds, rng);
        LLVMFuzzerTestOneInput(b.data(), b.size());
        ++runs;
    }
    std::printf("fuzz_chunk_seeded: %ld inputs in %.0f s, no finding\n", runs, seconds);
    return 0;
}

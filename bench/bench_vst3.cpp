// The whole plug-in through its VST 3 interface, timed the way the LV2 peer host times its
// peers: 48 kHz stereo pink noise made before timing, fixed blocks, 1 s untimed warm-up,
// audio-thread CPU time per frame, median over several passes, FTZ/DAZ on. Each figure is
// also given against a memcpy passthrough measured the same way in the same run.
//
//   bench_vst3 [--plugin PATH] [-s SEC] [-r PASSES] [-b 256,64] [--only NAME]
//
// Lines starting with RESULT are for scripts (bench/compare_lsp.sh).

#include "MedianTime.h"
#include "PluginHost.h"

#include <pmmintrin.h>
#include <xmmintrin.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using tess::host::PluginHost;

namespace {

constexpr double kRate = 48000.0;

double nowNs(clockid_t c) {
    timespec ts;
    clock_gettime(c, &ts);
    return double(ts.tv_sec) * 1e9 + double(ts.tv_nsec);
}

double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    const size_t n = v.size();
    return n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
}

// The peer host's noise: xorshift white through Kellett's pink filter, peak about 0.25.
void pinkNoise(std::vector<float>& l, std::vector<float>& r) {
    uint64_t rng = 0x9E3779B97F4A7C15ull;
    auto urand = [&] {
        rng ^= rng << 13;
        rng ^= rng >> 7;
        rng ^= rng << 17;
        return float(double(rng >> 40) * (2.0 / 16777216.0) - 1.0);
    };
    struct Pink {
        float b0 = 0, b1 = 0, b2 = 0, b3 = 0, b4 = 0, b5 = 0, b6 = 0;
        float operator()(float w) {
            b0 = 0.99886f * b0 + w * 0.0555179f;
            b1 = 0.99332f * b1 + w * 0.0750759f;
            b2 = 0.96900f * b2 + w * 0.1538520f;
            b3 = 0.86650f * b3 + w * 0.3104856f;
            b4 = 0.55000f * b4 + w * 0.5329522f;
            b5 = -0.7616f * b5 - w * 0.0168980f;
            const float o = b0 + b1 + b2 + b3 + b4 + b5 + b6 + w * 0.5362f;
            b6 = w * 0.115926f;
            return o * 0.11f;
        }
    } pl, pr;
    for (size_t i = 0; i < l.size(); ++i) {
        const float a = urand(), b = urand();
        l[i] = 0.25f * pl(a);
        r[i] = 0.25f * pr(b);
    }
}

struct Figures {
    double cpuMin, cpuMed, cpuMax, wallMed;
};

// One pass = nblocks blocks through `block(b)`; times per frame over `passes` passes.
template <typename Block> Figures timePasses(int passes, size_t nblocks, size_t frames, Block block, size_t warmBlocks) {
    for (size_t b = 0; b < warmBlocks; ++b) block(b % nblocks);
    std::vector<double> cpu, wall;
    for (int p = 0; p < passes; ++p) {
        const double w0 = nowNs(CLOCK_MONOTONIC), c0 = nowNs(CLOCK_THREAD_CPUTIME_ID);
        for (size_t b = 0; b < nblocks; ++b) block(b);
        const double c1 = nowNs(CLOCK_THREAD_CPUTIME_ID), w1 = nowNs(CLOCK_MONOTONIC);
        cpu.push_back((c1 - c0) / double(frames));
        wall.push_back((w1 - w0) / double(frames));
    }
    return {*std::min_element(cpu.begin(), cpu.end()), median(cpu), *std::max_element(cpu.begin(), cpu.end()),
            median(wall)};
}

struct Setup {
    const char* name;
    const char* what;
    bool dbl;
    // Band settings as display text, applied through the module's own conversion.
    std::vector<std::pair<std::string, std::string>> params;
};

std::string num(double v) {
    char s[32];
    std::snprintf(s, sizeof s, "%.3f", v);
    return s;
}

// `peaks` bells alternating +6/-6 dB, Q 1, log-spaced 30 Hz .. 16 kHz, after `first` bands.
void addPeaks(Setup& s, int first, int peaks) {
    for (int k = 0; k < peaks; ++k) {
        const std::string b = "Band" + std::to_string(first + k + 1) + " ";
        const double f = peaks == 1 ? std::sqrt(30.0 * 16000.0) : 30.0 * std::pow(16000.0 / 30.0, k / double(peaks - 1));
        s.params.push_back({b + "State", "2"});
        s.params.push_back({b + "Type", "1"});
        s.params.push_back({b + "Frequency", num(f)});
        s.params.push_back({b + "Gain", k % 2 == 0 ? "6" : "-6"});
        s.params.push_back({b + "Q", "1"});
    }
}

std::vector<Setup> setups() {
    std::vector<Setup> v;
    Setup a{"iir32", "32 peak bands, IIR, 32-bit", false, {{"Mode", "0"}}};
    addPeaks(a, 0, 32);
    v.push_back(a);
    Setup a64 = a;
    a64.name = "iir32_f64";
    a64.what = "32 peak bands, IIR, 64-bit";
    a64.dbl = true;
    v.push_back(a64);
    // Eight order-8 cuts (4 high-pass below, 4 low-pass above) and 24 bells, in 64-bit.
    Setup c{"cuts8_peaks24_f64", "4 HPF + 4 LPF 48 dB/oct + 24 peaks, IIR, 64-bit", true, {{"Mode", "0"}}};
    const double hp[4] = {20, 25, 32, 40}, lp[4] = {12000, 14000, 16000, 18000};
    for (int k = 0; k < 8; ++k) {
        const std::string b = "Band" + std::to_string(k + 1) + " ";
        c.params.push_back({b + "State", "2"});
        c.params.push_back({b + "Type", k < 4 ? "2" : "5"});
        c.params.push_back({b + "Frequency", num(k < 4 ? hp[k] : lp[k - 4])});
        c.params.push_back({b + "Slope", "48"});
    }
    addPeaks(c, 8, 24);
    v.push_back(c);
    return v;
}

fs::path defaultPlugin(const char* argv0) {
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (ec) exe = argv0;
    return exe.parent_path().parent_path() / "bundle" / "Tessarine.vst3";
}

template <typename T> struct Buffers {
    std::vector<std::vector<T>> in, out;
    T* ip[2];
    T* op[2];
    explicit Buffers(int block) : in(2, std::vector<T>(size_t(block))), out(in) {
        for (int c = 0; c < 2; ++c) ip[c] = in[size_t(c)].data(), op[c] = out[size_t(c)].data();
    }
};

// Runs the noise through the plug-in; returns the figures and the output/input level in dB
// from an extra untimed pass (a check that the bands took effect).
template <typename T>
Figures timePlugin(PluginHost& host, const std::vector<T>& L, const std::vector<T>& R, int block, size_t nblocks,
                   size_t warmBlocks, int passes, double* gainDb) {
    Buffers<T> buf(block);
    auto run = [&](size_t b) {
        std::memcpy(buf.ip[0], L.data() + b * size_t(block), size_t(block) * sizeof(T));
        std::memcpy(buf.ip[1], R.data() + b * size_t(block), size_t(block) * sizeof(T));
        host.process(buf.ip, buf.op, block);
    };
    const Figures f = timePasses(passes, nblocks, nblocks * size_t(block), run, warmBlocks);
    double ei = 0, eo = 0;
    for (size_t b = 0; b < nblocks; ++b) {
        run(b);
        for (int k = 0; k < block; ++k) {
            ei += double(L[b * size_t(block) + size_t(k)]) * double(L[b * size_t(block) + size_t(k)]);
            eo += double(buf.op[0][k]) * double(buf.op[0][k]);
        }
    }
    *gainDb = 10.0 * std::log10(eo / std::max(ei, 1e-30));
    return f;
}

} // namespace

int main(int argc, char** argv) {
    double seconds = 5;
    int passes = 7;
    std::vector<int> blocks = {256, 64};
    std::string only;
    fs::path plugin;
    for (int i = 1; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--plugin" && i + 1 < argc) plugin = argv[++i];
        else if (a == "-s" && i + 1 < argc) seconds = std::atof(argv[++i]);
        else if (a == "-r" && i + 1 < argc) passes = std::atoi(argv[++i]);
        else if (a == "--only" && i + 1 < argc) only = argv[++i];
        else if (a == "-b" && i + 1 < argc) {
            blocks.clear();
            for (const char* p = argv[++i]; *p;) {
                blocks.push_back(std::atoi(p));
                while (*p && *p != ',') ++p;
                if (*p == ',') ++p;
            }
        } else {
            std::fprintf(stderr, "usage: bench_vst3 [--plugin PATH] [-s SEC] [-r PASSES] [-b 256,64] [--only NAME]\n");
            return 2;
        }
    }
    if (plugin.empty()) plugin = defaultPlugin(argv[0]);
    if (seconds <= 0 || passes < 1 || blocks.empty() || std::count_if(blocks.begin(), blocks.end(), [](int b) { return b < 1; })) {
        std::fprintf(stderr, "bench_vst3: bad arguments\n");
        return 2;
    }

    _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
    _MM_SET_DENORMALS_ZERO_MODE(_MM_DENORMALS_ZERO_ON);

    std::printf("bench_vst3: %s\n48 kHz stereo pink noise, %g s x %d passes, 1 s warm-up, FTZ/DAZ on, "
                "audio-thread CPU ns per stereo frame (median; min..max)\n\n",
                plugin.c_str(), seconds, passes);
    std::printf("%-18s %5s %10s %21s %10s %12s %9s %8s\n", "config", "block", "cpu med", "cpu min..max", "wall med",
                "x memcpy", "out/in dB", "latency");

    try {
        const auto all = setups();
        for (int block : blocks) {
            const size_t nblocks = size_t(seconds * kRate / block + 0.5);
            const size_t warm = size_t(1.0 * kRate / block + 0.5);
            std::vector<float> L(nblocks * size_t(block)), R(L.size());
            pinkNoise(L, R);
            const std::vector<double> L64(L.begin(), L.end()), R64(R.begin(), R.end());

            // Baseline: the same copy into input buffers, then a copy to the outputs.
            Buffers<float> mb(block);
            const Figures base = timePasses(passes, nblocks, nblocks * size_t(block), [&](size_t b) {
                std::memcpy(mb.ip[0], L.data() + b * size_t(block), size_t(block) * sizeof(float));
                std::memcpy(mb.ip[1], R.data() + b * size_t(block), size_t(block) * sizeof(float));
                std::memcpy(mb.op[0], mb.ip[0], size_t(block) * sizeof(float));
                std::memcpy(mb.op[1], mb.ip[1], size_t(block) * sizeof(float));
            }, warm);
            std::printf("%-18s %5d %10.3f %10.3f..%-10.3f %10.3f %12s %9s %8s\n", "memcpy", block, base.cpuMed,
                        base.cpuMin, base.cpuMax, base.wallMed, "1", "", "");
            std::printf("RESULT config=memcpy block=%d cpu_med=%.4f cpu_min=%.4f cpu_max=%.4f wall_med=%.4f\n", block,
                        base.cpuMed, base.cpuMin, base.cpuMax, base.wallMed);

            for (const Setup& s : all) {
                if (!only.empty() && only != s.name) continue;
                // A fresh instance per configuration, so none inherits another's bands.
                PluginHost host(plugin);
                tess::host::ProcessConfig cfg;
                cfg.channels = 2;
                cfg.sampleRate = kRate;
                cfg.maxBlock = block;
                cfg.realtime = true;
                cfg.doublePrecision = s.dbl;
                host.start(cfg);
                for (const auto& [name, value] : s.params) {
                    const auto* p = host.findParam(name);
                    if (!p) throw tess::host::HostError("no parameter \"" + name + "\"");
                    host.setParam(p->id, host.normalFromText(*p, value));
                }
                // The equaliser rations filter rebuilds by wall time, which a 1 s warm-up at
                // full speed does not span.
                host.settle(120);
                double gain = 0;
                const Figures f = s.dbl ? timePlugin(host, L64, R64, block, nblocks, warm, passes, &gain)
                                        : timePlugin(host, L, R, block, nblocks, warm, passes, &gain);
                std::printf("%-18s %5d %10.3f %10.3f..%-10.3f %10.3f %12.1f %9.2f %8d\n", s.name, block, f.cpuMed,
                            f.cpuMin, f.cpuMax, f.wallMed, f.cpuMed / base.cpuMed, gain, host.latencySamples());
                std::printf("RESULT config=%s block=%d cpu_med=%.4f cpu_min=%.4f cpu_max=%.4f wall_med=%.4f "
                            "memcpy_med=%.4f\n",
                            s.name, block, f.cpuMed, f.cpuMin, f.cpuMax, f.wallMed, base.cpuMed);
                std::fflush(stdout);
            }
            std::printf("\n");
        }

        if (only.empty()) {
            // Instantiation: a second instance while the first keeps the module loaded, so the
            // figure is the instance's own cost (factory, initialize, setup, activate).
            tess::host::ProcessConfig cfg;
            cfg.maxBlock = 512;
            cfg.realtime = true;
            const int runs = 15;
            PluginHost keeper(plugin);
            std::vector<double> inst;
            for (int i = 0; i < runs; ++i) {
                const auto t0 = std::chrono::steady_clock::now();
                auto second = std::make_unique<PluginHost>(plugin);
                second->start(cfg);
                inst.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count());
                second.reset();
            }
            const double instMs = median(inst);

            const fs::path bankFile = plugin / "Contents" / "Resources" / "Factory Bank.tsi";
            std::ifstream in(bankFile, std::ios::binary);
            const std::vector<char> bank((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
            double stateMs = -1;
            if (!bank.empty()) {
                PluginHost host(plugin);
                host.start(cfg);
                stateMs = medianMs(runs, [&] { host.setState(bank.data(), bank.size()); });
                host.stop();
            }
            std::printf("instantiation (factory, createInstance, initialize, parameter list, setup, activate): "
                        "median %.2f ms (%.2f of the 50 ms budget)\n",
                        instMs, instMs / 50.0);
            if (stateMs >= 0)
                std::printf("setState of the factory bank (%zu bytes): median %.2f ms (%.2f of the 50 ms budget)\n",
                            bank.size(), stateMs, stateMs / 50.0);
            else
                std::printf("setState: %s not found, skipped\n", bankFile.c_str());
            std::printf("RESULT config=instantiate ms_med=%.3f\nRESULT config=setstate_bank ms_med=%.3f\n", instMs,
                        stateMs);
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "bench_vst3: %s\n", e.what());
        return 1;
    }
    return 0;
}

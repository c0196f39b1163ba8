// Design cost: EQBank::setMode after a frequency change, one dirty band of each kind and all
// 32 bands dirty; the baseline is the plain bilinear design of the same analogue sections.

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "EQBank.h"

namespace {

struct Kind {
    std::string name;
    int32_t type, subtype, order;
};

std::vector<Kind> kinds() {
    std::vector<Kind> list;
    int32_t count = 0;
    const char* const* peaks = subtypeLabels(kEQPeak, &count);
    for (int32_t s = 0; s < count; ++s) list.push_back({std::string("peak ") + peaks[s], kEQPeak, s, 2});
    const char* const* shelves = subtypeLabels(kEQLowShelf, &count);
    for (int32_t s = 0; s < count; ++s) {
        list.push_back({std::string("low shelf ") + shelves[s], kEQLowShelf, s, 2});
        list.push_back({std::string("high shelf ") + shelves[s], kEQHighShelf, s, 2});
    }
    const char* const* cuts = subtypeLabels(kEQLowPass, &count);
    for (int32_t s = 0; s < count; ++s)
        for (int32_t order : {2, 4, 8}) {
            list.push_back({std::string("low pass ") + cuts[s] + " " + std::to_string(order),
                            kEQLowPass, s, order});
            list.push_back({std::string("high pass ") + cuts[s] + " " + std::to_string(order),
                            kEQHighPass, s, order});
        }
    list.push_back({"notch", kEQNotch, 0, 2});
    list.push_back({"band pass", kEQBandPass, 0, 2});
    return list;
}

void setBand(EQBank& bank, int band, const Kind& k, float freq) {
    bank.setType(k.type, band, 3);
    bank.setSubtype(k.subtype, band, 3);
    bank.setOrder(k.order, band, 3);
    bank.setGain(k.type == kEQHighPass || k.type == kEQLowPass ? 0.f : 6.f, band, 3);
    bank.setQ(k.subtype == kCutChebyshev || k.subtype == kCutElliptic ? 0.5f : 1.2f, band, 3);
    bank.setShift(20, band, 3);
    bank.setFrequency(freq, band, 3);
    bank.setOff(0, band, 3);
}

const std::vector<Kind>& allKinds() {
    static const std::vector<Kind> list = kinds();
    return list;
}

// One dirty band: alternate its frequency and redesign.
void BM_OneBand(benchmark::State& state) {
    const Kind& k = allKinds()[size_t(state.range(0))];
    EQBank bank(8192, 64, 32, 2);
    bank.setSampleRate(48000);
    setBand(bank, 0, k, 1000);
    bank.setMode(kModeIIR);
    bool flip = false;
    for (auto _ : state) {
        bank.setFrequency(flip ? 1000.f : 1090.f, 0, 3);
        flip = !flip;
        bank.setMode(kModeIIR);
    }
    state.SetLabel(k.name);
}

// Baseline: the same band's analogue sections turned digital by the bilinear transform alone.
void BM_OneBandBilinear(benchmark::State& state) {
    const Kind& k = allKinds()[size_t(state.range(0))];
    EQBank bank(8192, 64, 32, 2);
    bank.setSampleRate(48000);
    setBand(bank, 0, k, 1000);
    EQ* band = bank.getEQ(0, 0);
    bool flip = false;
    for (auto _ : state) {
        band->setFrequency(flip ? 1000.f : 1090.f);
        flip = !flip;
        DigitalSection out[kMaxSections];
        const int count = bilinearBand(*band, band->getFrequency(), 48000, out);
        static_cast<DF1Cascade*>(band)->setCoefficients(&out[0].b0, count);
        benchmark::DoNotOptimize(out);
    }
    state.SetLabel(k.name);
}

// All 32 bands dirty with mixed kinds, as after loading a preset.
void BM_AllBands(benchmark::State& state) {
    const bool bilinear = state.range(0) != 0;
    EQBank bank(8192, 64, 32, 2);
    bank.setSampleRate(48000);
    const auto& list = allKinds();
    for (int b = 0; b < 32; ++b)
        setBand(bank, b, list[size_t(b * 7) % list.size()], float(40 * std::pow(400.0, b / 31.0)));
    bank.setMode(kModeIIR);
    float shift = 0;
    for (auto _ : state) {
        shift = shift == 0 ? 0.01f : 0;
        for (int b = 0; b < 32; ++b) {
            EQ* band = bank.getEQ(b, 0);
            bank.setFrequency(band->getFrequency() + (shift ? 1 : -1), b, 3);
        }
        if (!bilinear) {
            bank.setMode(kModeIIR);
            continue;
        }
        // Like the bank, design the first channel and hand the result to the second.
        for (int b = 0; b < 32; ++b) {
            EQ* band = bank.getEQ(b, 0);
            DigitalSection out[kMaxSections];
            const int count = bilinearBand(*band, band->getFrequency(), 48000, out);
            for (int c = 0; c < 2; ++c)
                static_cast<DF1Cascade*>(bank.getEQ(b, c))->setCoefficients(&out[0].b0, count);
            benchmark::DoNotOptimize(out);
        }
    }
}

void registerAll() {
    for (size_t i = 0; i < allKinds().size(); ++i) {
        benchmark::RegisterBenchmark("BM_OneBand", BM_OneBand)
            ->Arg(int64_t(i))->Repetitions(5)->Unit(benchmark::kMicrosecond)
            ->ReportAggregatesOnly(true);
        benchmark::RegisterBenchmark("BM_OneBandBilinear", BM_OneBandBilinear)
            ->Arg(int64_t(i))->Repetitions(5)->Unit(benchmark::kMicrosecond)
            ->ReportAggregatesOnly(true);
    }
    for (int bilinear : {0, 1})
        benchmark::RegisterBenchmark("BM_AllBands", BM_AllBands)
            ->Arg(bilinear)->Repetitions(5)->Unit(benchmark::kMicrosecond)
            ->ReportAggregatesOnly(true);
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    registerAll();
    CollectingReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    auto get = [&](const std::string& name) {
        auto it = reporter.nsPerIteration.find(name + "/repeats:5");
        return it == reporter.nsPerIteration.end() ? NAN : it->second / 1000;
    };
    std::printf("\nDesign cost after a frequency change, 48 kHz, stereo bank (median of 5)\n");
    std::printf("%-34s %12s %14s %8s\n", "band", "setMode us", "bilinear us", "ratio");
    double slowest = 0;
    std::string slowestName;
    for (size_t i = 0; i < allKinds().size(); ++i) {
        const double m = get("BM_OneBand/" + std::to_string(i));
        const double b = get("BM_OneBandBilinear/" + std::to_string(i));
        if (std::isnan(m)) continue;
        std::printf("%-34s %12.2f %14.2f %8.1f\n", allKinds()[i].name.c_str(), m, b, m / b);
        if (m > slowest) slowest = m, slowestName = allKinds()[i].name;
    }
    const double all = get("BM_AllBands/0"), allBilinear = get("BM_AllBands/1");
    std::printf("\nslowest single band: %s, %.2f us (target at most 1000 us)\n",
                slowestName.c_str(), slowest);
    std::printf("all 32 bands dirty: %.2f us, bilinear %.2f us, ratio %.1f\n", all, allBilinear,
                all / allBilinear);
    return 0;
}

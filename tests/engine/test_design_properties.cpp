// Property test over random band settings: every design must be stable and finite.

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "TestSupport.h"

using namespace testing_support;

namespace {

int32_t subtypeCount(int32_t type) {
    int32_t count = 0;
    subtypeLabels(type, &count);
    return count;
}

void checkRandomDesigns(float rate, unsigned seed, int trials) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int32_t> typeDist(0, 8), orderDist(1, 8), coin(0, 1);
    std::uniform_real_distribution<double> unit(0, 1);
    int failures = 0;
    for (int trial = 0; trial < trials && failures < 5; ++trial) {
        BandSettings s;
        s.rate = rate;
        s.type = typeDist(rng);
        const int32_t n = subtypeCount(s.type);
        s.subtype = n ? std::uniform_int_distribution<int32_t>(0, n - 1)(rng) : 0;
        s.order = orderDist(rng);
        s.frequency = float(10 * std::pow(2200.0, unit(rng)));
        s.gain = float(-30 + 60 * unit(rng));
        if (unit(rng) < 0.05) s.gain = 0;
        s.q = float(0.1 * std::pow(500.0, unit(rng)));
        s.shift = float(-100 + 200 * unit(rng));
        MarlowenEQ band;
        applySettings(band, s);
        band.setParallel(uint8_t(coin(rng)));
        band.design();

        double c[20];
        const int count = band.getCoefficients(c);
        const auto describe = [&] {
            return testing::Message() << "rate " << rate << " type " << s.type << " subtype "
                                      << s.subtype << " order " << s.order << " f "
                                      << s.frequency << " gain " << s.gain << " q " << s.q
                                      << " shift " << s.shift;
        };
        bool ok = count >= 1 && count <= 4;
        for (int i = 0; ok && i < count * 5; ++i) ok = std::isfinite(c[i]);
        for (int i = 0; ok && i < count; ++i) ok = poleRadius(c[5 * i + 3], c[5 * i + 4]) < 1;
        for (double f : {20.0, 1000.0, 0.49 * rate})
            ok = ok && std::isfinite(band.digitalMagnitude(f)) &&
                 std::isfinite(band.analogueMagnitude(f, false));
        // A short run of noise stays finite and bounded.
        std::vector<double> x(512);
        for (double& v : x) v = unit(rng) * 2 - 1;
        band.processDouble(x.data(), int32_t(x.size()));
        for (double v : x) ok = ok && std::isfinite(v) && std::fabs(v) < 1e6;
        if (!ok) {
            ++failures;
            ADD_FAILURE() << describe() << " sections " << count << " first " << c[0] << " "
                          << c[1] << " " << c[2] << " " << c[3] << " " << c[4];
        }
    }
}

} // namespace

TEST(DesignProperties, StableAndFiniteAt44100) { checkRandomDesigns(44100, 11, 4000); }
TEST(DesignProperties, StableAndFiniteAt48000) { checkRandomDesigns(48000, 12, 4000); }
TEST(DesignProperties, StableAndFiniteAt96000) { checkRandomDesigns(96000, 13, 4000); }
TEST(DesignProperties, StableAndFiniteAt192000) { checkRandomDesigns(192000, 14, 4000); }

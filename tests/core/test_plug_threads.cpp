// The audio thread against the user-interface thread: blocks run while parameters, slot
// switches and forced transfers arrive from another thread. The test script also runs this
// under ThreadSanitizer, which checks that every shared field is accessed atomically.

#include <atomic>
#include <cmath>
#include <random>
#include <thread>

#include "PlugFixture.h"

TEST_F(PlugTest, ThreadsBlocksRunWhileParametersChangeElsewhere) {
    TestPlug p;
    p.setChannels(2);
    for (int32_t b = 0; b < 8; ++b) p.set(bandParam(b, kKindState), 2);
    p.copyToAB(1);

    std::atomic<bool> done{false};
    std::atomic<int> blocks{0};
    std::atomic<bool> allFinite{true};
    std::thread audio([&] {
        std::mt19937 rng(3);
        std::uniform_real_distribution<float> noise(-0.5f, 0.5f);
        std::vector<float> l(128), r(128);
        float* io[2] = {l.data(), r.data()};
        while (!done.load()) {
            for (size_t i = 0; i < l.size(); ++i) l[i] = noise(rng), r[i] = noise(rng);
            p.processReplacing(io, io, 128);
            for (size_t i = 0; i < l.size(); ++i)
                if (!std::isfinite(l[i]) || !std::isfinite(r[i])) allFinite = false;
            blocks.fetch_add(1);
        }
    });

    std::mt19937 rng(4);
    std::uniform_int_distribution<int32_t> band(0, 7), kind(kKindType, kKindPhase);
    std::uniform_real_distribution<float> normal(0, 1);
    for (int i = 0; i < 3000; ++i) {
        p.setParameter(bandParam(band(rng), kind(rng)), normal(rng));
        if (i % 50 == 0) p.transferParams(true);
        if (i % 400 == 0) p.setParameter(kABBank, float(i / 400 % 2) / 7.0f);
        if (i % 100 == 0) p.setParameter(kChannel1Level, normal(rng));
    }
    while (blocks.load() < 50) std::this_thread::yield();
    done = true;
    audio.join();
    EXPECT_TRUE(allFinite.load());
}

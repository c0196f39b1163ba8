#pragma once
// The median wall time of repeated calls, for benches that time whole operations.

#include <algorithm>
#include <chrono>
#include <type_traits>
#include <vector>

// Milliseconds; `call` may take the run's index.
template <typename Call> double medianMs(int runs, Call call) {
    std::vector<double> times;
    times.reserve(size_t(runs));
    for (int i = 0; i < runs; ++i) {
        const auto t0 = std::chrono::steady_clock::now();
        if constexpr (std::is_invocable_v<Call, int>) call(i);
        else call();
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count());
    }
    std::nth_element(times.begin(), times.begin() + runs / 2, times.end());
    return times[size_t(runs / 2)];
}

#include "ProcessClock.h"

#include <atomic>
#include <chrono>

namespace {

uint32_t steadyMs() {
    using namespace std::chrono;
    return uint32_t(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

std::atomic<uint32_t (*)()> clockSource{steadyMs};

} // namespace

uint32_t processClockMs() { return clockSource.load(std::memory_order_relaxed)(); }

void setProcessClockSource(uint32_t (*source)()) {
    clockSource.store(source ? source : steadyMs, std::memory_order_relaxed);
}

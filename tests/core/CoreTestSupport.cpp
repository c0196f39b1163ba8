#include "CoreTestSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>

namespace {

// Every test program of the core gets a fresh home and settings folder of its own.
class TemporaryHome : public ::testing::Environment {
public:
    void SetUp() override {
        char pattern[] = "/tmp/tessarine-core-XXXXXX";
        folder = mkdtemp(pattern);
        setenv("HOME", folder.c_str(), 1);
        setenv("XDG_CONFIG_HOME", (folder + "/config").c_str(), 1);
        setenv("XDG_DATA_HOME", (folder + "/data").c_str(), 1);
        setTickDriver(&manualTicks());
    }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }

private:
    std::string folder;
};

[[maybe_unused]] ::testing::Environment* const temporaryHome =
    ::testing::AddGlobalTestEnvironment(new TemporaryHome);

} // namespace

std::vector<HostCall>& hostCalls() {
    static std::vector<HostCall> calls;
    return calls;
}

std::string& hostVendor() {
    static std::string vendor;
    return vendor;
}

VstIntPtr recordingHost(AEffect*, int32_t opcode, int32_t index, VstIntPtr value, void* ptr, float opt) {
    hostCalls().push_back({opcode, index, value, opt});
    if (opcode == audioMasterGetVendorString && ptr) std::strcpy(static_cast<char*>(ptr), hostVendor().c_str());
    return 1;
}

std::vector<HostCall> callsWith(int32_t opcode) {
    std::vector<HostCall> out;
    for (const HostCall& c : hostCalls())
        if (c.opcode == opcode) out.push_back(c);
    return out;
}

int RecordingEditor::countOf(int32_t index) const {
    int n = 0;
    for (const Value& v : received) n += v.index == index;
    return n;
}

ManualTickDriver& manualTicks() {
    static ManualTickDriver driver;
    return driver;
}

namespace {
std::atomic<bool> counting{false};
std::atomic<long> counted{0};
} // namespace

void startCountingAllocations() {
    counted = 0;
    counting = true;
}

long stopCountingAllocations() {
    counting = false;
    return counted.load();
}

// Out of line, so that the compiler does not pair an inlined free with a new expression.
__attribute__((noinline)) void* operator new(size_t size) {
    if (counting.load(std::memory_order_relaxed)) counted.fetch_add(1);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
__attribute__((noinline)) void* operator new(size_t size, const std::nothrow_t&) noexcept {
    if (counting.load(std::memory_order_relaxed)) counted.fetch_add(1);
    return std::malloc(size ? size : 1);
}
__attribute__((noinline)) void operator delete(void* p) noexcept { std::free(p); }
__attribute__((noinline)) void operator delete(void* p, size_t) noexcept { std::free(p); }
__attribute__((noinline)) void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }

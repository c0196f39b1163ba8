#pragma once
// A Plug under test: the recording host, an attachable editor, channel counts set as a host
// would (counts, then resume), stored values written in their own units, and a clock to step.

#include <gtest/gtest.h>

#include "CoreTestSupport.h"
#include "GlobalSettings.h"
#include "Plug.h"
#include "ProcessClock.h"

inline uint32_t& fakeNow() {
    static uint32_t now = 100000;
    return now;
}

class TestPlug : public Plug {
public:
    TestPlug() : Plug(recordingHost) {}
    ~TestPlug() override { editor = nullptr; }
    void attach(AEffEditor* e) { editor = e; }
    void setChannels(int32_t n) {
        setNumInputs(n);
        setNumOutputs(n);
        resume();
    }
    // Writes a parameter by its stored value rather than its normal.
    void set(int32_t index, float value) { setParameter(index, paramCurveNormal(index, value)); }
    const EQ& eq(int32_t band, int32_t channel) const { return *bandEQ().getEQ(band, channel); }
    int32_t initialDelay() { return getAeffect()->initialDelay; }
};

// Fresh host traffic, a standing clock, and global settings put back after each test.
class PlugTest : public ::testing::Test {
protected:
    void SetUp() override {
        hostCalls().clear();
        hostVendor().clear();
        setProcessClockSource([] { return fakeNow(); });
    }
    void TearDown() override {
        setProcessClockSource(nullptr);
        for (auto& [name, index] : savedGlobals) GlobalSettings::instance().setValue(name, index);
    }
    // Sets a global setting for this test only; the instance reads it at reloadGlobals.
    void setGlobal(const char* name, int32_t index) {
        savedGlobals.emplace_back(name, GlobalSettings::instance().getValue(name));
        GlobalSettings::instance().setValue(name, index);
    }

private:
    std::vector<std::pair<const char*, int32_t>> savedGlobals;
};

#pragma once
// What the core tests share: a host callback that records its traffic, an editor that records
// what the effect hands it, and a tick driver that the test steps by hand.

#include <string>
#include <vector>

#include "Instances.h"
#include "VstTypes.h"

struct HostCall {
    int32_t opcode, index;
    VstIntPtr value;
    float opt;
};

// The recording host's traffic and the vendor text it answers with.
std::vector<HostCall>& hostCalls();
std::string& hostVendor();
VstIntPtr recordingHost(AEffect* effect, int32_t opcode, int32_t index, VstIntPtr value, void* ptr,
                        float opt);
// The recorded calls with this opcode, as (index, opt) pairs in order.
std::vector<HostCall> callsWith(int32_t opcode);

class RecordingEditor : public AEffEditor {
public:
    bool onWheel(float distance) override {
        lastWheel = distance;
        return true;
    }
    void setParameter(int32_t index, float normal) override { received.push_back({index, normal}); }
    void reloadPrefs() override { ++prefsReloads; }
    void programChanged(int32_t program) override { programs.push_back(program); }
    // How often the effect handed this index over.
    int countOf(int32_t index) const;

    struct Value {
        int32_t index;
        float normal;
    };
    std::vector<Value> received;
    std::vector<int32_t> programs;
    int prefsReloads = 0;
    float lastWheel = 0;
};

// Installed for the whole test program, so that no timer thread runs behind a test's back.
class ManualTickDriver : public TickDriver {
public:
    void start(void (*)()) override { ++starts; running = true; }
    void stop() override { running = false; }
    int starts = 0;
    bool running = false;
};
ManualTickDriver& manualTicks();

// Counts every operator new of the process between the two calls.
void startCountingAllocations();
long stopCountingAllocations();

#include "RunLoopTicks.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "Instances.h"
#include "pluginterfaces/gui/iplugview.h"

using namespace Steinberg;

namespace {

class RunLoopDriver final : public TickDriver, public Linux::ITimerHandler {
public:
    void start(void (*function)()) override {
        stop();
        tick = function;
        if (loop && loop->registerTimer(this, 10) == kResultOk) registered = loop;
    }
    void stop() override {
        // Unregistered from the loop it was registered with, which may no longer be `loop`.
        if (registered) registered->unregisterTimer(this);
        registered = nullptr;
    }
    void PLUGIN_API onTimer() override {
        if (tick) tick();
    }

    // Static object: the loop's references do not own it.
    tresult PLUGIN_API queryInterface(const TUID iid, void** obj) override {
        if (FUnknownPrivate::iidEqual(iid, Linux::ITimerHandler::iid) || FUnknownPrivate::iidEqual(iid, FUnknown::iid)) {
            *obj = static_cast<Linux::ITimerHandler*>(this);
            return kResultOk;
        }
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 PLUGIN_API addRef() override { return 1; }
    uint32 PLUGIN_API release() override { return 1; }

    Linux::IRunLoop* loop = nullptr;

private:
    void (*tick)() = nullptr;
    Linux::IRunLoop* registered = nullptr;
};

RunLoopDriver& driver() {
    static RunLoopDriver d;
    return d;
}

// Owners with their loops, the oldest first; the first one drives the tick. All of this runs
// on the host's user-interface thread.
std::vector<std::pair<const void*, Linux::IRunLoop*>>& offers() {
    static std::vector<std::pair<const void*, Linux::IRunLoop*>> list;
    return list;
}

void settle() {
    auto& list = offers();
    Linux::IRunLoop* wanted = list.empty() ? nullptr : list.front().second;
    RunLoopDriver& d = driver();
    if (wanted == d.loop) return;
    d.loop = wanted;
    setTickDriver(wanted ? &d : nullptr);
}

} // namespace

namespace RunLoopTicks {

void offer(const void* owner, Linux::IRunLoop* loop) {
    withdraw(owner);
    if (!loop) return;
    offers().emplace_back(owner, loop);
    settle();
}

void withdraw(const void* owner) {
    auto& list = offers();
    const auto before = list.size();
    list.erase(std::remove_if(list.begin(), list.end(), [&](const auto& e) { return e.first == owner; }), list.end());
    if (list.size() != before) settle();
}

} // namespace RunLoopTicks

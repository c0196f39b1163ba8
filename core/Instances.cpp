#include "Instances.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

#include "Plug.h"
#include "TagTable.h"

namespace {

std::vector<Plug*>& instances() {
    static std::vector<Plug*> list;
    return list;
}

std::atomic<bool> audioRan{false};

// The module's own timer, for hosts that offer no run loop.
class ThreadTickDriver : public TickDriver {
public:
    ~ThreadTickDriver() override { stop(); }
    void start(void (*tick)()) override {
        stop();
        running.store(true);
        worker = std::thread([this, tick] {
            auto next = std::chrono::steady_clock::now();
            while (running.load()) {
                next += std::chrono::milliseconds(10);
                std::this_thread::sleep_until(next);
                if (running.load()) tick();
            }
        });
    }
    void stop() override {
        running.store(false);
        if (worker.joinable()) worker.join();
    }

private:
    std::atomic<bool> running{false};
    std::thread worker;
};

ThreadTickDriver& threadDriver() {
    static ThreadTickDriver driver;
    return driver;
}

TickDriver* tickDriver = nullptr;
// The walk of the tick runs on the driver's thread while instances come and go on the host's
// user-interface thread; the lock keeps an instance alive until its tick has returned.
std::mutex tickMutex;
std::vector<Plug*> tickList;

TickDriver& driver() { return tickDriver ? *tickDriver : threadDriver(); }

} // namespace

int32_t instanceCount() { return int32_t(instances().size()); }

Plug* instanceAt(int32_t i) {
    return i >= 0 && i < instanceCount() ? instances()[size_t(i)] : nullptr;
}

bool isAlive(const Plug* p) { return instanceIndex(p) >= 0; }

int32_t instanceIndex(const Plug* p) {
    const auto& list = instances();
    const auto it = std::find(list.begin(), list.end(), p);
    return it == list.end() ? -1 : int32_t(it - list.begin());
}

Plug* otherInstanceAt(const Plug* self, int32_t i) {
    return instanceAt(i >= instanceIndex(self) ? i + 1 : i);
}

std::vector<std::string> otherInstanceNames(const Plug* self) {
    std::vector<std::string> names;
    for (Plug* p : instances())
        if (p != self) names.emplace_back(p->getInstanceName());
    return names;
}

void notifyInstances() {
    for (Plug* p : instances()) p->setParameter(kGUIInstancesChanged, 1.0f);
}

void registerInstance(Plug* p) {
    instances().push_back(p);
    notifyInstances();
}

void unregisterInstance(Plug* p) {
    auto& list = instances();
    list.erase(std::remove(list.begin(), list.end(), p), list.end());
    notifyInstances();
    if (list.empty()) audioRan.store(false, std::memory_order_relaxed);
}

bool audioHasRun() { return audioRan.load(std::memory_order_relaxed); }
void markAudioRun() { audioRan.store(true, std::memory_order_relaxed); }

void setTickDriver(TickDriver* d) {
    driver().stop();
    tickDriver = d;
    std::lock_guard<std::mutex> lock(tickMutex);
    if (!tickList.empty()) driver().start(tickInstances);
}

void tickInstances() {
    std::lock_guard<std::mutex> lock(tickMutex);
    // By index: an entry may go during the walk.
    for (size_t i = 0; i < tickList.size(); ++i) tickList[i]->idleTick();
}

void addToTickList(Plug* p) {
    {
        std::lock_guard<std::mutex> lock(tickMutex);
        tickList.push_back(p);
    }
    // Restarted, so that the timer belongs to the thread of the latest instance.
    driver().start(tickInstances);
}

void removeFromTickList(Plug* p) {
    driver().stop();
    bool others;
    {
        std::lock_guard<std::mutex> lock(tickMutex);
        tickList.erase(std::remove(tickList.begin(), tickList.end(), p), tickList.end());
        others = !tickList.empty();
    }
    if (others) driver().start(tickInstances);
}

int32_t tickListSize() {
    std::lock_guard<std::mutex> lock(tickMutex);
    return int32_t(tickList.size());
}

#pragma once
// The process-wide lists of effect instances: one in order of creation, which editors read to
// reach each other's names and analysers, and one that the 10 ms tick walks.

#include <cstdint>
#include <string>
#include <vector>

class Plug;

int32_t instanceCount();
// The i-th instance, null beyond the end.
Plug* instanceAt(int32_t i);
// Views keep plain pointers to other instances and check them with this before each use.
bool isAlive(const Plug* p);
int32_t instanceIndex(const Plug* p);
// The i-th instance counted without `self`; null beyond the end.
Plug* otherInstanceAt(const Plug* self, int32_t i);
// The names of every instance but `self`, in list order.
std::vector<std::string> otherInstanceNames(const Plug* self);
// Every instance's editor hears of a change of the list.
void notifyInstances();

// Called by Plug's constructor and destructor only.
void registerInstance(Plug* p);
void unregisterInstance(Plug* p);

// Set by every audio block; cleared when the last instance goes. A name saved in a state is
// applied only while it is clear, so a project load restores names and a later preset does not.
bool audioHasRun();
void markAudioRun();

// What drives the 10 ms tick: a timer of the host's run loop, or a thread of the module.
class TickDriver {
public:
    virtual ~TickDriver() = default;
    // Calls `tick` about every 10 ms on the driver's thread until stop(); starting a running
    // driver restarts it.
    virtual void start(void (*tick)()) = 0;
    virtual void stop() = 0;
};

// Replaces the driver (null restores the module's own thread). Only while no instance exists.
void setTickDriver(TickDriver* driver);
// One tick: idleTick() of every listed instance.
void tickInstances();
void addToTickList(Plug* p);
void removeFromTickList(Plug* p);
int32_t tickListSize();

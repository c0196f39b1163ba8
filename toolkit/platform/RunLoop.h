#pragma once
// The event loop the toolkit runs in: file descriptors to watch and periodic timers. A host's
// run loop (VST 3's IRunLoop on Linux) can stand behind this interface; PollRunLoop is a plain
// poll() loop for tools and tests.

#include <chrono>
#include <vector>

namespace VSTGUI {

class RunLoop {
public:
    struct FdHandler {
        virtual ~FdHandler() = default;
        virtual void onFdReady(int fd) = 0;
    };
    struct TimerHandler {
        virtual ~TimerHandler() = default;
        virtual void onTimer() = 0;
    };

    virtual ~RunLoop() = default;
    virtual bool registerFd(FdHandler* handler, int fd) = 0;
    virtual void unregisterFd(FdHandler* handler) = 0;
    virtual bool registerTimer(TimerHandler* handler, int intervalMs) = 0;
    virtual void unregisterTimer(TimerHandler* handler) = 0;
};

class PollRunLoop : public RunLoop {
public:
    bool registerFd(FdHandler* handler, int fd) override;
    void unregisterFd(FdHandler* handler) override;
    bool registerTimer(TimerHandler* handler, int intervalMs) override;
    void unregisterTimer(TimerHandler* handler) override;

    // Waits at most `maxWaitMs` (-1: until something happens) and runs what is due.
    void runOnce(int maxWaitMs = -1);
    // Runs until stop() is called.
    void run();
    void stop() { stopped = true; }
    bool isStopped() const { return stopped; }

private:
    using Clock = std::chrono::steady_clock;
    struct Fd {
        FdHandler* handler;
        int fd;
    };
    struct Timer {
        TimerHandler* handler;
        std::chrono::milliseconds interval;
        Clock::time_point due;
    };
    std::vector<Fd> fds;
    std::vector<Timer> timers;
    bool stopped = false;
};

}  // namespace VSTGUI

#include <poll.h>

#include <algorithm>

#include "RunLoop.h"

namespace VSTGUI {

bool PollRunLoop::registerFd(FdHandler* handler, int fd) {
    if (!handler || fd < 0) return false;
    fds.push_back({handler, fd});
    return true;
}

void PollRunLoop::unregisterFd(FdHandler* handler) {
    // Entries are cleared, not erased, so a dispatch in progress stays valid.
    for (Fd& f : fds)
        if (f.handler == handler) f.handler = nullptr;
}

bool PollRunLoop::registerTimer(TimerHandler* handler, int intervalMs) {
    if (!handler || intervalMs <= 0) return false;
    const auto interval = std::chrono::milliseconds(intervalMs);
    timers.push_back({handler, interval, Clock::now() + interval});
    return true;
}

void PollRunLoop::unregisterTimer(TimerHandler* handler) {
    for (Timer& t : timers)
        if (t.handler == handler) t.handler = nullptr;
}

void PollRunLoop::runOnce(int maxWaitMs) {
    std::erase_if(fds, [](const Fd& f) { return !f.handler; });
    std::erase_if(timers, [](const Timer& t) { return !t.handler; });

    auto now = Clock::now();
    int wait = maxWaitMs;
    for (const Timer& t : timers) {
        const int ms = int(std::max<long long>(0, std::chrono::ceil<std::chrono::milliseconds>(t.due - now).count()));
        wait = wait < 0 ? ms : std::min(wait, ms);
    }
    std::vector<pollfd> pfds;
    pfds.reserve(fds.size());
    for (const Fd& f : fds) pfds.push_back({f.fd, POLLIN, 0});
    const int n = ::poll(pfds.data(), nfds_t(pfds.size()), wait);

    const size_t fdCount = pfds.size();
    if (n > 0) {
        for (size_t i = 0; i < fdCount; ++i) {
            if (!(pfds[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
            if (FdHandler* h = fds[i].handler) h->onFdReady(fds[i].fd);
        }
    }
    now = Clock::now();
    const size_t timerCount = timers.size();
    for (size_t i = 0; i < timerCount; ++i) {
        if (!timers[i].handler || timers[i].due > now) continue;
        // Late ticks are not caught up: the next one is one interval from now.
        timers[i].due = now + timers[i].interval;
        timers[i].handler->onTimer();
    }
}

void PollRunLoop::run() {
    stopped = false;
    while (!stopped) runOnce();
}

}  // namespace VSTGUI

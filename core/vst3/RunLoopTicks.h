#pragma once
// The 10 ms tick on the host's run loop. Hosts on Linux offer a Steinberg::Linux::IRunLoop on
// the context given to `initialize` or on the frame of an attached view; while any such loop is
// known, the tick of every instance runs as a timer of it, on the host's user-interface thread.
// With none, the module's own timer thread takes over again.

namespace Steinberg::Linux {
class IRunLoop;
}

namespace RunLoopTicks {
// `owner` identifies who offers the loop (an effect or a view); one loop per owner.
void offer(const void* owner, Steinberg::Linux::IRunLoop* loop);
void withdraw(const void* owner);
} // namespace RunLoopTicks

#pragma once

#include <vector>

// Lets system calls of the executable's own code fail. Link with zel_system_faults, which wraps
// them at link time; what libraries call stays as it is. Any thread.

namespace zel_test {

enum class system_call {
    pipe2,
    epoll_create1,
    epoll_ctl,
    epoll_wait,
    of_channel,  ///< so many are the channel's and the poller's; those of files:
    fseek = of_channel,
    ftell,
    fread,
    fclose,
    count
};

/// The n-th call from now on (1 is the next) fails with `error`.
void fail_system_call(system_call call, int nth, int error);
/// Calls so far, by any thread.
int calls_of(system_call call);
/// The time-outs in milliseconds of the pollers' waits since the last look, of the first 256.
std::vector<int> take_poll_timeouts();
/// Ends a pending failure. True if it has struck.
bool stop_failing_system_calls();

}  // namespace zel_test

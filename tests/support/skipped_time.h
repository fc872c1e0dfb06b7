#pragma once

#include <functional>

// Lets time pass at once: usleep and the steady clock of the executable's own code. Link with
// zel_skipped_time, which wraps both at link time.

namespace zel_test {

/// From now on the calling thread's `usleep` calls `step` instead of sleeping, and the thread's
/// clock goes on by as much. An empty one ends that and sets the clock right again.
void skip_sleeps(std::function<void()> step);

}  // namespace zel_test

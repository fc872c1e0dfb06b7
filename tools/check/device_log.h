#pragma once

#include <string>
#include <vector>

#include "library_log.h"

/// Holds back what the product logs while it lives. One at a time; when it ends, messages go where
/// they went before.
class device_log {
  public:
    device_log() = default;
    device_log(const device_log&) = delete;
    device_log& operator=(const device_log&) = delete;
    ~device_log() { log.take(); }

    /// The messages since the last take without debug messages, oldest first: without function and
    /// line, cut to what can be printed.
    std::vector<std::string> take();

  private:
    held_library_log log;
};

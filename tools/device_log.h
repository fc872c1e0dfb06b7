#pragma once

#include <string>
#include <vector>

/// Holds back what the product logs while it lives: the messages, without function and line, cut to
/// what can be printed, oldest first. One at a time; when it ends, messages go to the standard error stream.
class device_log {
  public:
    device_log();
    device_log(const device_log&) = delete;
    device_log& operator=(const device_log&) = delete;
    ~device_log();

    /// The messages since the last take, without debug messages.
    std::vector<std::string> take();
};

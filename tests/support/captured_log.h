#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Stands in for the Android log: linking it replaces `__android_log_print` in the whole executable.

namespace zel_test {

/// One message as the log got it: `text` includes the function and line prefix, a null tag is "".
struct log_entry {
    int prio;
    std::string tag;
    std::string text;
};

// All of these: any thread.

/// The messages since the last take or clear, oldest first; none are left.
std::vector<log_entry> take_log();
void clear_log();
bool log_has(std::string_view substring);
/// As above, from `operation`.
bool log_has(std::string_view operation, std::string_view substring);
std::size_t log_count(std::string_view substring, std::string_view operation = {});

}  // namespace zel_test

#pragma once

#include <cstddef>
#include <string_view>

// Stands in for the Android log: linking it replaces `__android_log_print` in the whole executable.

namespace zel_test {

// All of these: any thread.

void clear_log();
bool log_has(std::string_view substring);
/// As above, from `operation`.
bool log_has(std::string_view operation, std::string_view substring);
std::size_t log_count(std::string_view substring, std::string_view operation = {});

}  // namespace zel_test

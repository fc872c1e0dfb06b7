#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Stands in for the Android log: linking it replaces `__android_log_print` in the whole executable.
// Tests include expect_log.h.

namespace zel_test {

// All of these: any thread.

void clear_log();
/// Entries with `substring`, from `operation` if one is named.
std::size_t log_count(std::string_view substring, std::string_view operation = {});
/// "E open: open fc fail": priority, operation, message, the oldest first.
std::vector<std::string> log_entries();

}  // namespace zel_test

#pragma once

#include <string>

namespace zel_test {

/// A folder of this process's own for files that a test writes, removed at its end: tests of one
/// executable run side by side, each in a process, and several checkouts share a machine.
const std::string& test_folder();

}  // namespace zel_test

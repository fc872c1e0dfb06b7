#pragma once

#include <string>

namespace zel_test {

/// A folder of this process's own for files that a test writes, removed at its end: tests of one
/// executable run side by side, each in a process, and several checkouts share a machine.
const std::string& test_folder();

/// Writes a file there, which replaces one of that name; its path.
std::string write_file(const std::string& name, const std::string& text);
/// The same for the one file that a test needs at a time.
inline std::string file_with(const std::string& text) {
    return write_file("coefficients.json", text);
}

/// A readable file without weights: the mixing stage then passes channels through, not silence.
inline const std::string& identity_mixing() {
    static const std::string path =
        write_file("identity_mixing.json", R"({"MixingCoefficientEnable": false})");
    return path;
}

}  // namespace zel_test

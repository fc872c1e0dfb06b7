#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zel_test {

/// The project's folder.
inline const std::string kRoot = ZEL_PROJECT_DIR;

/// Empty when the file cannot be read.
inline std::string content(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace zel_test

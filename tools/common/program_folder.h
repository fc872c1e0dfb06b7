#pragma once

#include <filesystem>
#include <string>

/// Folder of the running program; empty where the system doesn't tell.
inline std::filesystem::path program_folder() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path();
}

/// Folder of the sample coefficient files beside an installed program; empty where there is none.
inline std::string sample_folder() {
    std::error_code ignored;
    const auto folder = program_folder().parent_path() / "share/zel_format_converter";
    return std::filesystem::is_directory(folder, ignored) ? folder.string() : "";
}

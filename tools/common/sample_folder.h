#pragma once

#include <unistd.h>

#include <string>

/// Folder of the sample coefficient files beside an installed program; empty where there is none.
inline std::string sample_folder() {
    char self[4096];
    const ssize_t length = readlink("/proc/self/exe", self, sizeof(self));
    std::string folder(self, length > 0 ? static_cast<std::size_t>(length) : 0);
    folder = folder.substr(0, folder.rfind('/'));  // of the program
    folder = folder.substr(0, folder.rfind('/')) + "/share/zel_format_converter";
    return access(folder.c_str(), X_OK) == 0 ? folder : "";
}

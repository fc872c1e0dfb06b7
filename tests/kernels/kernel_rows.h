#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "zel_kernel_choice.h"

// The sets of kernels that this CPU can run, and taking one of them for a while.

/// All but the plain ones.
inline std::vector<std::string> vector_kernels() {
    std::vector<std::string> names;
    for (const zel_kernel_set& set : zel_kernel_sets()) {
        if (set.name != zel_kernel_sets().front().name && set.supported()) {
            names.emplace_back(set.name);
        }
    }
    return names;
}

/// Stages set up during its life use that kernel.
class with_kernel {
  public:
    explicit with_kernel(const std::string& name) : previous(zel_kernel_in_use()) {
        taken = zel_use_kernel(name.c_str());
    }
    ~with_kernel() { zel_use_kernel(previous); }
    with_kernel(const with_kernel&) = delete;
    with_kernel& operator=(const with_kernel&) = delete;

    bool taken = false;

  private:
    const char* previous;
};

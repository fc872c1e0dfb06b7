#pragma once

#include <string>

/// Files that the stages are to use instead of the platform's; empty stands for the platform's.
struct coefficient_paths {
    std::string mixing;
    std::string delay;
};

/// Hands the files to the library by card 70's controls, for the next stream. What is wrong, or
/// empty.
std::string use_coefficient_paths(const coefficient_paths& files);

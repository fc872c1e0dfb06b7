#pragma once

#include <string>

/// Exit codes of the tool.
enum exit_code {
    EXIT_OK = 0,
    EXIT_USAGE = 1,
    EXIT_OPEN = 2,
    EXIT_READ = 3,
    EXIT_WRITE = 4,
    EXIT_PROBLEMS = 5
};

/// Tells what is wrong on the standard error stream; `code` again.
exit_code fail(exit_code code, const std::string& text);

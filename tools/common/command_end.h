#pragma once

#include <string>
#include <vector>

// How a command ends, and what it must not do before.

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
void warn(const std::string& text);

/// From now on an interrupt (Ctrl-C) or a request to terminate is only noted, for a clean end; a
/// second one ends the program at once.
void catch_interrupts();
bool interrupted();

/// EXIT_USAGE with a message when `out` is named like another kind of file than `extension`, or is
/// one of the inputs or a file that card 70 uses.
exit_code check_output(const std::string& out, const char* extension,
                       std::vector<std::string> inputs);

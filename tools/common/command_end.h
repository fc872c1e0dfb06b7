#pragma once

#include <stdexcept>
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

/// Ends a command with a message.
struct command_failure : std::runtime_error {
    command_failure(exit_code end, const std::string& text) : std::runtime_error(text), code(end) {}
    exit_code code;
};

/// Tells what is wrong on the standard error stream; `code` again.
exit_code fail(exit_code code, const std::string& text);
void warn(const std::string& text);

/// From now on an interrupt (Ctrl-C) or a request to terminate is only noted, for a clean end; a
/// second one ends the program at once.
void catch_interrupts();
bool interrupted();

/// Writes a file in one step: whoever reads it meanwhile gets all of the old one or of the new.
/// Keeps its permissions, and the links that lead to it. Throws.
void replace_file(const std::string& path, const std::string& text);

/// Throws when `out` is named like another kind of file than `extension`, or is one of the inputs
/// or a file that card 70 uses.
void check_output(const std::string& out, const char* extension, std::vector<std::string> inputs);

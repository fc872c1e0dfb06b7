#pragma once

#include <CLI/CLI.hpp>
#include <string>

/// Description, exit codes, environment and files: what the program's own help says.
void add_program_help(CLI::App* app);

/// The manual page of the whole program in roff's man macros, made from the same texts as the help.
std::string manual_page(const CLI::App& app);

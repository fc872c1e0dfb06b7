#pragma once

#include <CLI/CLI.hpp>

/// Adds the subcommand "check". When the command line names it, it runs while the command line is
/// parsed and leaves its exit code in `*code`.
void add_check_command(CLI::App* app, int* code);

#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "command_end.h"

/// What the command line asks for, to be carried out once it has been read.
using tool_action = std::function<exit_code()>;

// Each adds its subcommand to the program; the subcommand sets `*action` when it is named.

void add_capture_command(CLI::App* app, tool_action* action);
void add_convert_command(CLI::App* app, tool_action* action);
void add_check_command(CLI::App* app, tool_action* action);
void add_controls_command(CLI::App* app, tool_action* action);
void add_info_command(CLI::App* app, tool_action* action);
void add_new_command(CLI::App* app, tool_action* action);
void add_plot_command(CLI::App* app, tool_action* action);

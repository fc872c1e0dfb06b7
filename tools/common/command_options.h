#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "card_state.h"
#include "simulated_card.h"
#include "virtual_stream.h"

// Options that several subcommands share, with the same names and words.

/// A number from `least` to `most`; CLI11's own range takes "nan", too.
CLI::Validator number_from(double least, double most);

/// Rate, channels and width; `any_bits`: also one that the library does not deliver.
void add_client_options(CLI::App* command, stream_format* client, bool any_bits = false);
/// Period size and count.
void add_buffer_options(CLI::App* command, stream_format* client);
void add_coefficient_options(CLI::App* command, coefficient_paths* files);
/// Width and layout; `channels_and_rate`: those two as well.
void add_card_options(CLI::App* command, card_setup* card, bool channels_and_rate,
                      const std::string& otherwise);
void add_log_flag(CLI::App* command, bool* log);
void add_json_flag(CLI::App* command, bool* wanted);

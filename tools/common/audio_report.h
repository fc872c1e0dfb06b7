#pragma once

#include "chain_report.h"
#include "json_value.h"
#include "level_meter.h"

// What several subcommands print of a stream.

/// A table: channel, level, peak.
void print_levels(const level_meter& level);
json_value levels_json(const level_meter& level);

/// The card's stream, the chain and the files in use, a line each.
void print_chain(const chain_report& chain);
json_value chain_json(const chain_report& chain);
/// Tells on the standard error stream what a listener would not expect.
void warn_of(const chain_report& chain);
void warn(const std::string& text);

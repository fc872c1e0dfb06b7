#pragma once

#include "chain_report.h"
#include "json_value.h"
#include "level_meter.h"

// What several subcommands print of a stream.

/// A table: channel, level, peak.
void print_levels(const level_meter& level);
json_value levels_json(const level_meter& level);

/// The card's stream and the chain, in two lines.
void print_chain(const chain_report& chain);
json_value chain_json(const chain_report& chain);
/// Tells on the standard error stream when a coefficient file is not what is in use.
void warn_of_fallbacks(const chain_report& chain);

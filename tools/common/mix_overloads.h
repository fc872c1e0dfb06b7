#pragma once

#include <cstdint>
#include <string>

#include "chain_report.h"

/// The mixed samples that were beyond what the chain's width holds while the card played the first
/// `frames` frames of a file, whose channels repeat over the card's; tells of them as a warning.
/// Weights and delays are the stages'; only the order of adding may differ from theirs.
std::uint64_t warn_of_overloads(const chain_report& chain, const std::string& file,
                                std::uint64_t frames);

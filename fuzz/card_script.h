#pragma once

#include "fuzz_input.h"

// The scripted card as the stream fuzzers use it. Client thread.

namespace zel_fuzz {

/// Every byte of the samples that the card delivers.
inline constexpr std::uint8_t kSampleByte = 1;

/// A card that works, delivers at once, and of which no event is waited for. Only while no stream
/// is open: the worker holds controls of it.
void reset_card();
/// Changes a control of the card, announces a change, or makes a call of the card fail.
void disturb_card(input& in);

}  // namespace zel_fuzz

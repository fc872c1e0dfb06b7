#pragma once

#include <cstdint>
#include <vector>

// Slow models of what a stream's samples go through, written apart from the product: whole streams
// instead of blocks, one vector per channel.

namespace zel_test {

using channel_samples = std::vector<std::int32_t>;
using stream_samples = std::vector<channel_samples>;

stream_samples shifted_right(const stream_samples& in, int bits);
stream_samples shifted_left(const stream_samples& in, int bits);

/// Channel c late by delays_ms[c] at `rate`, zeros first.
stream_samples delayed(const stream_samples& in, const std::vector<int>& delays_ms, int rate);

/// Weighted sums in float, rounded after every product and sum, in input order.
stream_samples mixed(const stream_samples& in, const std::vector<std::vector<float>>& matrix);

/// Every third output of the 237-tap filter over 16-bit samples, window ending three frames back.
stream_samples decimated(const stream_samples& in);

}  // namespace zel_test

#include "stream_model.h"

#include <dlfcn.h>

#include <algorithm>
#include <cmath>

namespace zel_test {

namespace {

template <typename Change>
stream_samples each(const stream_samples& in, Change change) {
    stream_samples out = in;
    for (channel_samples& channel : out) {
        std::transform(channel.begin(), channel.end(), channel.begin(), change);
    }
    return out;
}

const float* filter() {
    static const auto* taps =
        static_cast<const float*>(dlsym(dlopen(ZEL_PLUGIN_FILE, RTLD_NOW), "res_coeff"));
    return taps;
}

/// x[n], zero before the stream.
float at(const channel_samples& channel, std::int64_t n) {
    return n < 0 ? 0.0F : static_cast<float>(channel[static_cast<std::size_t>(n)]);
}

std::int32_t filtered(const channel_samples& channel, std::int64_t first, bool folded) {
    const float* c = filter();
    volatile float sum = 0.0F;
    for (int t = 0; t < (folded ? 118 : 237); ++t) {
        const float pair =
            folded ? at(channel, first + t) + at(channel, first + 236 - t) : at(channel, first + t);
        volatile float product = c[t] * pair;
        sum = sum + product;
    }
    if (folded) {
        volatile float product = c[118] * at(channel, first + 118);
        sum = sum + product;
    }
    return static_cast<std::int32_t>(std::clamp(static_cast<double>(sum), -32768.0, 32767.0));
}

}  // namespace

stream_samples shifted_right(const stream_samples& in, int bits) {
    return each(in, [=](std::int32_t s) { return s >> bits; });
}

stream_samples shifted_left(const stream_samples& in, int bits) {
    return each(in, [=](std::int32_t s) { return s * (1 << bits); });
}

stream_samples delayed(const stream_samples& in, const std::vector<int>& delays_ms, int rate) {
    stream_samples out = in;
    for (std::size_t c = 0; c < out.size(); ++c) {
        out[c].insert(out[c].begin(), static_cast<std::size_t>(delays_ms[c] * rate / 1000), 0);
        out[c].resize(in[c].size());
    }
    return out;
}

stream_samples mixed(const stream_samples& in, const std::vector<std::vector<float>>& matrix) {
    stream_samples out(matrix.size(), channel_samples(in[0].size()));
    for (std::size_t o = 0; o < matrix.size(); ++o) {
        for (std::size_t f = 0; f < in[0].size(); ++f) {
            volatile float sum = 0.0F;
            for (std::size_t i = 0; i < in.size(); ++i) {
                volatile float product = static_cast<float>(in[i][f]) * matrix[o][i];
                sum = sum + product;
            }
            out[o][f] = static_cast<std::int32_t>(
                std::clamp(static_cast<double>(sum), -2147483648.0, 2147483647.0));
        }
    }
    return out;
}

stream_samples decimated(const stream_samples& in) {
    const bool folded = in.size() > 2;
    stream_samples out(in.size());
    for (std::size_t c = 0; c < in.size(); ++c) {
        for (std::size_t k = 0; k < in[c].size() / 3; ++k) {
            out[c].push_back(filtered(in[c], static_cast<std::int64_t>(3 * k) - 237, folded));
        }
    }
    return out;
}

}  // namespace zel_test

#include "chain_model.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

#include "zel_loopback_signal.h"

namespace zel_test {

namespace {

constexpr int kCardRate = 48000;
constexpr std::int64_t kBlockFrames = 1536;
constexpr int kTaps = 237;

/// Inputs that output o of a layout takes at a half and at a quarter, counted from o on.
struct layout_weights {
    const char* name;
    unsigned int half, quarter;
};
constexpr layout_weights kLayouts[] = {{"1.0", 0, 1}, {"4.0", 1, 0}, {"5.1", 2, 3}};

std::int32_t to_int(float value) {
    return static_cast<std::int32_t>(
        std::clamp(static_cast<double>(value), -2147483648.0, 2147483647.0));
}

const float* taps() {
    static const auto* found =
        static_cast<const float*>(dlsym(dlopen(ZEL_PLUGIN_FILE, RTLD_NOW), "res_coeff"));
    return found;
}

}  // namespace

std::vector<int> delays_for(unsigned int channels) {
    std::vector<int> delays(channels);
    for (unsigned int c = 0; c < channels; ++c) {
        delays[c] = static_cast<int>(c % 3 * 40);
    }
    return delays;
}

weight_matrix matrix_for(const char* layout, unsigned int in, unsigned int out) {
    weight_matrix matrix(out, std::vector<float>(in));
    const auto* entry = std::find_if(std::begin(kLayouts), std::end(kLayouts),
                                     [=](const auto& l) { return std::string(l.name) == layout; });
    for (unsigned int o = 0; o < out; ++o) {
        if (entry != std::end(kLayouts)) {
            matrix[o][(o + entry->half) % in] += 0.5F;
            matrix[o][(o + entry->quarter) % in] += 0.25F;
        } else if (o < in) {
            matrix[o][o] = 1.0F;
        }
    }
    return matrix;
}

const char* write_coefficients() {
    static const std::string folder = testing::TempDir();
    std::ostringstream delays;
    std::ostringstream weights;
    const auto list = [](std::ostream& out, const auto& values) {
        for (std::size_t k = 0; k < values.size(); ++k) {
            out << (k > 0 ? "," : "") << values[k];
        }
    };
    for (unsigned int in = 1; in <= 16; ++in) {
        delays << (in > 1 ? "," : "") << "{\"InputChannel\":" << in << ",\"Parameters\":[";
        list(delays, delays_for(in));
        delays << "]}";
        for (unsigned int out = 1; out <= 8; ++out) {
            for (const layout_weights& layout : kLayouts) {
                weights << (weights.tellp() > 0 ? "," : "") << "{\"InputChannel\":" << in
                        << ",\"InputChannelLayout\":\"" << layout.name
                        << "\",\"OutputChannel\":" << out << ",\"Parameters\":[";
                std::vector<float> flat;
                for (const auto& row : matrix_for(layout.name, in, out)) {
                    flat.insert(flat.end(), row.begin(), row.end());
                }
                list(weights, flat);
                weights << "]}";
            }
        }
    }
    std::ofstream(folder + "/voice_channel_delay_coef.json")
        << "{\"DelayCoefficientEnable\":true,\"ChannelDelayMilliseconds\":[" << delays.str()
        << "]}";
    std::ofstream(folder + "/voice_channel_mixing_coef.json")
        << "{\"MixingCoefficientEnable\":true,\"MixingWeighting\":[" << weights.str() << "]}";
    return folder.c_str();
}

chain_model::chain_model(const stream_setup& wanted, weight_matrix weights)
    : setup(wanted),
      matrix(std::move(weights)),
      converts(wanted.client_rate != kCardRate),
      truncates(wanted.card_bits > 16 && (wanted.client_bits == 16 || converts)),
      window(kTaps, std::vector<std::int32_t>(wanted.client_channels)) {
    for (const int ms : delays_for(setup.card_channels)) {
        delay_lines.emplace_back(static_cast<std::size_t>(ms * kCardRate / 1000), 0);
    }
}

void chain_model::set_volume(int even, int odd) {
    volume[0] = even;
    volume[1] = odd;
}

std::int32_t chain_model::card_sample(std::int64_t n, unsigned int channel) const {
    const std::int64_t full = zel_loopback_ramp(static_cast<std::uint64_t>(n), channel);
    const std::int64_t scaled = full * volume[channel % 2] / 100;
    const auto word = static_cast<std::int32_t>(scaled >> (32 - setup.card_bits));
    return truncates ? static_cast<std::int16_t>(word >> 16) : word;
}

/// The frame at the front of the delay lines.
std::vector<std::int32_t> chain_model::mixed_frame() const {
    std::vector<std::int32_t> out(setup.client_channels);
    for (std::size_t o = 0; o < out.size(); ++o) {
        float sum = 0.0F;
        for (std::size_t i = 0; i < delay_lines.size(); ++i) {
            const float product = static_cast<float>(delay_lines[i].front()) * matrix[o][i];
            sum = sum + product;
        }
        const std::int32_t mixed = to_int(sum);
        const bool narrow = setup.card_bits == 16 || truncates;
        out[o] = narrow ? static_cast<std::int16_t>(mixed) : mixed;
    }
    return out;
}

/// The filter over the window; up to two channels in direct form, more folded.
std::int32_t chain_model::filtered(unsigned int channel) const {
    const float* c = taps();
    const bool folded = setup.client_channels > 2;
    const auto at = [&](int t) {
        return static_cast<float>(window[static_cast<std::size_t>(t)][channel]);
    };
    float sum = 0.0F;
    for (int t = 0; t < (folded ? kTaps / 2 : kTaps); ++t) {
        const float product = c[t] * (folded ? at(t) + at(kTaps - 1 - t) : at(t));
        sum = sum + product;
    }
    if (folded) {
        const float product = c[kTaps / 2] * at(kTaps / 2);
        sum = sum + product;
    }
    return to_int(std::clamp(sum, -32768.0F, 32767.0F));
}

std::vector<std::int32_t> chain_model::next_block() {
    std::vector<std::int32_t> out;
    const bool pads = setup.client_bits == 32 && (setup.card_bits == 16 || truncates);
    const auto put = [&](std::int32_t sample) { out.push_back(pads ? sample * 65536 : sample); };
    for (const std::int64_t end = frame + kBlockFrames; frame < end; ++frame) {
        if (converts && frame % 3 == 0) {
            // The group that comes now enters the filter with the next output frame.
            for (unsigned int ch = 0; ch < setup.client_channels; ++ch) {
                put(filtered(ch));
            }
        }
        for (unsigned int c = 0; c < setup.card_channels; ++c) {
            delay_lines[c].push_back(card_sample(frame, c));
        }
        std::vector<std::int32_t> mixed = mixed_frame();
        for (auto& line : delay_lines) {
            line.pop_front();
        }
        if (converts) {
            window.pop_front();
            window.push_back(std::move(mixed));
        } else {
            std::for_each(mixed.begin(), mixed.end(), put);
        }
    }
    return out;
}

}  // namespace zel_test

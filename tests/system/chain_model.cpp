#include "chain_model.h"

#include <dlfcn.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

#include "test_folder.h"
#include "zel_loopback_signal.h"

namespace zel_test {

namespace {

constexpr int kCardRate = 48000;
constexpr std::int64_t kBlockFrames = 1536;
constexpr int kTaps = 237;

/// Inputs that output o of a layout takes at a half and at a quarter, counted from o on.
struct layout_weights {
    const char* name;
    unsigned int channels;
    unsigned int half, quarter;
};
constexpr layout_weights kLayouts[] = {{"1.0", 1, 0, 1}, {"4.0", 4, 1, 0}, {"5.1", 6, 2, 3}};

/// The file's entry for a layout, or null; one with more channels than inputs is none.
const layout_weights* find_layout(const char* name, unsigned int in) {
    const auto* entry = std::find_if(std::begin(kLayouts), std::end(kLayouts), [=](const auto& l) {
        return std::string(l.name) == name && l.channels <= in;
    });
    return entry != std::end(kLayouts) ? entry : nullptr;
}

std::int32_t to_int(float value) {
    return static_cast<std::int32_t>(
        std::clamp(static_cast<double>(value), -2147483648.0, 2147483647.0));
}

const float* taps() {
    static const auto* found =
        static_cast<const float*>(dlsym(dlopen(ZEL_PLUGIN_FILE, RTLD_NOW), "res_coeff"));
    return found;
}

/// The filter over 237 samples; up to two channels are summed in direct form, more folded.
std::int32_t filtered(const float* x, bool folded) {
    const float* c = taps();
    float sum = 0.0F;
    for (int t = 0; t < (folded ? kTaps / 2 : kTaps); ++t) {
        const float product = c[t] * (folded ? x[t] + x[kTaps - 1 - t] : x[t]);
        sum = sum + product;
    }
    if (folded) {
        const float product = c[kTaps / 2] * x[kTaps / 2];
        sum = sum + product;
    }
    return to_int(std::clamp(sum, -32768.0F, 32767.0F));
}

}  // namespace

std::vector<int> delays_for(unsigned int channels) {
    std::vector<int> delays(channels);
    for (unsigned int c = 0; c < channels; ++c) {
        delays[c] = static_cast<int>(c % 3 * 40);
    }
    return delays;
}

bool has_matrix(const char* layout, unsigned int in) {
    return find_layout(layout, in) != nullptr;
}

weight_matrix matrix_for(const char* layout, unsigned int in, unsigned int out) {
    weight_matrix matrix(out, std::vector<float>(in));
    const layout_weights* entry = find_layout(layout, in);
    for (unsigned int o = 0; o < out; ++o) {
        if (entry != nullptr) {
            matrix[o][(o + entry->half) % in] += 0.5F;
            matrix[o][(o + entry->quarter) % in] += 0.25F;
        } else if (o < in) {
            matrix[o][o] = 1.0F;
        }
    }
    return matrix;
}

const char* write_coefficients() {
    static const std::string& folder = test_folder();
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

chain_model::chain_model(const stream_setup& wanted, weight_matrix weights,
                         const std::vector<int>& delays_ms)
    : setup(wanted),
      matrix(std::move(weights)),
      converts(wanted.client_rate != kCardRate),
      truncates(wanted.card_bits > 16 && (wanted.client_bits == 16 || converts)),
      mixed_past(wanted.client_channels, std::vector<float>(kTaps)) {
    for (const int ms : delays_ms) {
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

std::vector<std::int32_t> chain_model::next_block() {
    std::vector<std::int32_t> out;
    for (const std::int64_t end = frame + kBlockFrames; frame < end; ++frame) {
        for (unsigned int c = 0; c < setup.card_channels; ++c) {
            delay_lines[c].push_back(card_sample(frame, c));
        }
        const std::vector<std::int32_t> mixed = mixed_frame();
        for (auto& line : delay_lines) {
            line.pop_front();
        }
        if (converts) {
            for (std::size_t o = 0; o < mixed.size(); ++o) {
                mixed_past[o].push_back(static_cast<float>(mixed[o]));
            }
        } else {
            out.insert(out.end(), mixed.begin(), mixed.end());
        }
    }
    if (converts) {
        // The window of the block's output k ends just before its input frame 3k.
        for (std::int64_t k = 0; k < kBlockFrames / 3; ++k) {
            for (const std::vector<float>& past : mixed_past) {
                out.push_back(filtered(past.data() + 3 * k, mixed_past.size() > 2));
            }
        }
        for (std::vector<float>& past : mixed_past) {
            past.erase(past.begin(), past.begin() + kBlockFrames);
        }
    }
    if (setup.client_bits == 32 && (setup.card_bits == 16 || truncates)) {
        std::for_each(out.begin(), out.end(), [](std::int32_t& sample) { sample *= 65536; });
    }
    return out;
}

}  // namespace zel_test

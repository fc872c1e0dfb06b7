// Our stages and the whole chain, a 32 ms block at a time, with every kernel that the CPU has.

#include <tinyalsa/pcm.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

#include "block.h"
#include "zel_format_converter_delay_wrapper.h"
#include "zel_format_converter_mixing_wrapper.h"
#include "zel_format_converter_src_wrapper.h"
#include "zel_kernel_choice.h"
#include "zel_ring_buf.h"
#include "zel_sample_width.h"

namespace {

enum class delays { none, equal, distinct };
enum class matrix { dense, identity, permutation };

pcm_config stream(std::size_t channels, std::size_t bytes = 2, unsigned int rate = 48000) {
    pcm_config config{};
    config.channels = static_cast<unsigned int>(channels);
    config.rate = rate;
    config.format = bytes == 2 ? PCM_FORMAT_S16_LE : PCM_FORMAT_S32_LE;
    config.period_size = kBlockFrames;
    config.period_count = 4;
    return config;
}

std::string coefficient_file(const std::string& text) {
    const auto path = std::filesystem::temp_directory_path() / "zel_bench.json";
    std::ofstream(path) << text;
    return path.string();
}

void init_delay(delays kind, const pcm_config& config) {
    std::string list;
    for (unsigned int c = 0; c < config.channels; ++c) {
        const unsigned int ms = kind == delays::none ? 0 : kind == delays::equal ? 5 : 1 + c;
        list += (c > 0 ? "," : "") + std::to_string(ms);
    }
    const std::string path = coefficient_file(
        R"({"DelayCoefficientEnable":true,"ChannelDelayMilliseconds":[{"InputChannel":)" +
        std::to_string(config.channels) + R"(,"Parameters":[)" + list + "]}]}");
    zel_fc_lib_delay_init(path.c_str(), &config);
}

void init_mixing(matrix kind, const pcm_config& in, const pcm_config& out) {
    std::string weights;
    for (unsigned int k = 0; k < in.channels * out.channels; ++k) {
        const unsigned int source = k / in.channels + (kind == matrix::permutation ? 1 : 0);
        const float weight = kind == matrix::dense                     ? dense_weight(k)
                             : k % in.channels == source % in.channels ? 1.0F
                                                                       : 0.0F;
        weights += (k > 0 ? "," : "") + std::to_string(weight);
    }
    const std::string path = coefficient_file(
        R"({"MixingCoefficientEnable":true,"MixingWeighting":[{"InputChannel":)" +
        std::to_string(in.channels) + R"(,"InputChannelLayout":"1.0","OutputChannel":)" +
        std::to_string(out.channels) + R"(,"Parameters":[)" + weights + "]}]}");
    zel_fc_lib_mixing_init(path, "1.0", &in, &out);
}

void truncation(benchmark::State& state, std::size_t channels) {
    auto block = random_block<std::int32_t>(channels);
    for (auto _ : state) {
        zel_truncate_32_to_16(block.data(), block.size());
        benchmark::ClobberMemory();
    }
}

void padding(benchmark::State& state, std::size_t channels) {
    const auto in = random_block<std::int16_t>(channels);
    block_of<std::int32_t> out(in.size());
    for (auto _ : state) {
        zel_pad_16_to_32(in.data(), in.size(), out.data());
        benchmark::ClobberMemory();
    }
}

void delay(benchmark::State& state, std::size_t channels, std::size_t bytes, delays kind) {
    const auto in = random_block<std::int16_t>(channels * bytes / 2);
    auto out = in;
    init_delay(kind, stream(channels, bytes));
    for (auto _ : state) {
        zel_fc_lib_delay_process(in.data(), out.data(), static_cast<int>(in.size() * 2));
        benchmark::ClobberMemory();
    }
    zel_fc_lib_delay_deinit();
}

void mixing(benchmark::State& state, std::size_t ins, std::size_t outs, std::size_t bytes,
            matrix kind) {
    const auto in = random_block<std::int16_t>(ins * bytes / 2);
    block_of<std::int16_t> out(kBlockFrames * outs * bytes / 2);
    init_mixing(kind, stream(ins, bytes), stream(outs, bytes));
    for (auto _ : state) {
        zel_fc_lib_mixing_process(in.data(), static_cast<unsigned int>(in.size() * 2), out.data(),
                                  static_cast<unsigned int>(out.size() * 2));
        benchmark::ClobberMemory();
    }
    zel_fc_lib_mixing_deinit();
}

void rate_conversion(benchmark::State& state, std::size_t channels, std::size_t frames) {
    auto block = random_block<std::int16_t>(channels, frames);
    const pcm_config in = stream(channels);
    const pcm_config out = stream(channels, 2, 16000);
    zel_fc_lib_src_init(0, &in, &out);
    for (auto _ : state) {
        auto bytes = static_cast<unsigned int>(block.size() * 2);
        zel_fc_lib_src_process(block.data(), &bytes);
        benchmark::ClobberMemory();
    }
    zel_fc_lib_src_deinit();
}

void ring_buffer(benchmark::State& state, std::size_t channels) {
    const auto in = random_block<std::int16_t>(channels);
    auto out = in;
    const pcm_config config = stream(channels);
    const auto bytes = static_cast<unsigned int>(in.size() * 2);
    const timespec now{};
    zel_ring_buf ring(&config, 32);
    for (auto _ : state) {
        ring.write(in.data(), bytes, &now);
        ring.read_pcm(out.data(), bytes);
        benchmark::ClobberMemory();
    }
}

/// The chain's heaviest form: truncate, distinct delays, dense 8 x 8 mix, convert.
void whole_chain(benchmark::State& state) {
    constexpr std::size_t kChannels = 8;
    auto block = random_block<std::int32_t>(kChannels);
    block_of<std::int16_t> late(block.size());
    block_of<std::int16_t> mixed(block.size());
    const pcm_config in = stream(kChannels);
    const pcm_config out = stream(kChannels, 2, 16000);
    const auto bytes = static_cast<unsigned int>(block.size() * 2);
    init_delay(delays::distinct, in);
    init_mixing(matrix::dense, in, in);
    zel_fc_lib_src_init(0, &in, &out);
    for (auto _ : state) {
        zel_truncate_32_to_16(block.data(), block.size());
        zel_fc_lib_delay_process(block.data(), late.data(), static_cast<int>(bytes));
        zel_fc_lib_mixing_process(late.data(), bytes, mixed.data(), bytes);
        unsigned int converted = bytes;
        zel_fc_lib_src_process(mixed.data(), &converted);
        benchmark::ClobberMemory();
    }
    zel_fc_lib_src_deinit();
    zel_fc_lib_mixing_deinit();
    zel_fc_lib_delay_deinit();
}

/// One benchmark of a stage with that kernel; `rest` says what the stage works on.
template <typename Function, typename... Arguments>
void add_stage(const std::string& stage, const std::string& kernel, const std::string& rest,
               Function function, Arguments... arguments) {
    add(stage + "/" + kernel + rest, [=](benchmark::State& state) {
        zel_use_kernel(kernel.c_str());
        function(state, arguments...);
    });
}

void register_kernel(const std::string& kernel) {
    for (std::size_t c = 1; c <= 8; ++c) {
        add_stage("src", kernel, "/" + std::to_string(c), rate_conversion, c, kBlockFrames);
    }
    for (const std::size_t c : {2U, 8U}) {
        for (const std::size_t frames : {162U, 480U, 1536U, 24576U}) {
            add_stage("length", kernel, "/" + std::to_string(c) + "/" + std::to_string(frames),
                      rate_conversion, c, frames);
        }
    }
    for (const std::size_t c : {2U, 6U, 8U}) {
        const std::string channels = "/" + std::to_string(c);
        add_stage("truncation", kernel, channels, truncation, c);
        add_stage("padding", kernel, channels, padding, c);
        add_stage("bypass_16", kernel, channels, delay, c, 2U, delays::none);
        add_stage("delay_equal_16", kernel, channels, delay, c, 2U, delays::equal);
        for (const std::size_t bytes : {2U, 4U}) {
            const std::string bits = "_" + std::to_string(8 * bytes);
            add_stage("delay_distinct" + bits, kernel, channels, delay, c, bytes, delays::distinct);
            add_stage("identity" + bits, kernel, channels, mixing, c, c, bytes, matrix::identity);
            add_stage("permutation" + bits, kernel, channels, mixing, c, c, bytes,
                      matrix::permutation);
        }
    }
    for (const std::size_t bytes : {2U, 4U}) {
        const std::string bits = "_" + std::to_string(8 * bytes);
        add_stage("mixing", kernel, "/8to8" + bits, mixing, 8U, 8U, bytes, matrix::dense);
        add_stage("mixing", kernel, "/8to2" + bits, mixing, 8U, 2U, bytes, matrix::dense);
        add_stage("mixing", kernel, "/12to8" + bits, mixing, 12U, 8U, bytes, matrix::dense);
    }
    add_stage("chain", kernel, "", whole_chain);
}

}  // namespace

void register_stages() {
    for (const zel_kernel_set& set : zel_kernel_sets()) {
        if (set.supported()) {
            register_kernel(set.name);
        }
    }
    for (const std::size_t c : {2U, 6U, 8U}) {
        add("ring_buffer/" + std::to_string(c),
            [c](benchmark::State& state) { ring_buffer(state, c); });
    }
}

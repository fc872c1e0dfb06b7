// Our stages and the whole chain, a 32 ms block at a time.

#include <benchmark/benchmark.h>
#include <tinyalsa/pcm.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "block.h"
#include "zel_format_converter_delay_wrapper.h"
#include "zel_format_converter_mixing_wrapper.h"
#include "zel_format_converter_src_wrapper.h"
#include "zel_sample_width.h"

namespace {

enum class delays { none, equal, distinct };

pcm_config stream(std::size_t channels, unsigned int rate = 48000) {
    pcm_config config{};
    config.channels = static_cast<unsigned int>(channels);
    config.rate = rate;
    config.format = PCM_FORMAT_S16_LE;
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

void init_mixing(const pcm_config& in, const pcm_config& out) {
    std::string weights;
    for (unsigned int k = 0; k < in.channels * out.channels; ++k) {
        weights += (k > 0 ? ",0." : "0.") + std::to_string(1 + k % 9);
    }
    const std::string path = coefficient_file(
        R"({"MixingCoefficientEnable":true,"MixingWeighting":[{"InputChannel":)" +
        std::to_string(in.channels) + R"(,"InputChannelLayout":"1.0","OutputChannel":)" +
        std::to_string(out.channels) + R"(,"Parameters":[)" + weights + "]}]}");
    zel_fc_lib_mixing_init(path, "1.0", &in, &out);
}

void truncation(benchmark::State& state) {
    auto block = random_block<std::int32_t>(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        zel_truncate_32_to_16(block.data(), block.size());
        benchmark::ClobberMemory();
    }
}

void padding(benchmark::State& state) {
    const auto in = random_block<std::int16_t>(static_cast<std::size_t>(state.range(0)));
    std::vector<std::int32_t> out(in.size());
    for (auto _ : state) {
        zel_pad_16_to_32(in.data(), in.size(), out.data());
        benchmark::ClobberMemory();
    }
}

void delay(benchmark::State& state, delays kind) {
    const auto channels = static_cast<std::size_t>(state.range(0));
    const auto in = random_block<std::int16_t>(channels);
    auto out = in;
    init_delay(kind, stream(channels));
    for (auto _ : state) {
        zel_fc_lib_delay_process(in.data(), out.data(), static_cast<int>(in.size() * 2));
        benchmark::ClobberMemory();
    }
    zel_fc_lib_delay_deinit();
}

void mixing(benchmark::State& state, bool to_stereo) {
    const auto channels = static_cast<std::size_t>(state.range(0));
    const std::size_t outs = to_stereo ? 2 : channels;
    const auto in = random_block<std::int16_t>(channels);
    std::vector<std::int16_t> out(kBlockFrames * outs);
    init_mixing(stream(channels), stream(outs));
    for (auto _ : state) {
        zel_fc_lib_mixing_process(in.data(), static_cast<unsigned int>(in.size() * 2), out.data(),
                                  static_cast<unsigned int>(out.size() * 2));
        benchmark::ClobberMemory();
    }
    zel_fc_lib_mixing_deinit();
}

void rate_conversion(benchmark::State& state) {
    const auto channels = static_cast<std::size_t>(state.range(0));
    auto block = random_block<std::int16_t>(channels);
    const pcm_config in = stream(channels);
    const pcm_config out = stream(channels, 16000);
    zel_fc_lib_src_init(0, &in, &out);
    for (auto _ : state) {
        auto bytes = static_cast<unsigned int>(block.size() * 2);
        zel_fc_lib_src_process(block.data(), &bytes);
        benchmark::ClobberMemory();
    }
    zel_fc_lib_src_deinit();
}

/// The chain's heaviest form: truncate, distinct delays, dense N x N mix, convert.
void whole_chain(benchmark::State& state) {
    const auto channels = static_cast<std::size_t>(state.range(0));
    auto block = random_block<std::int32_t>(channels);
    std::vector<std::int16_t> late(block.size());
    std::vector<std::int16_t> mixed(block.size());
    const pcm_config in = stream(channels);
    const pcm_config out = stream(channels, 16000);
    const auto bytes = static_cast<unsigned int>(block.size() * 2);
    init_delay(delays::distinct, in);
    init_mixing(in, in);
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

template <typename Function, typename... Arguments>
void add(const char* name, Function function, Arguments... arguments) {
    benchmark::RegisterBenchmark(name, function, arguments...)->Arg(2)->Arg(6)->Arg(8);
}

}  // namespace

void register_stages() {
    add("truncation", truncation);
    add("padding", padding);
    add("delay_bypass", delay, delays::none);
    add("delay_equal", delay, delays::equal);
    add("delay_distinct", delay, delays::distinct);
    add("mixing_to_stereo", mixing, true);
    add("mixing_all_to_all", mixing, false);
    add("src_48_to_16", rate_conversion);
    add("whole_chain", whole_chain);
}

// Our stages and the whole chain, a 32 ms block at a time; the filter in each width.

#include <tinyalsa/pcm.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

#include "block.h"
#include "zel_format_converter.h"
#include "zel_format_converter_delay_wrapper.h"
#include "zel_format_converter_mixing_wrapper.h"
#include "zel_format_converter_src_wrapper.h"
#include "zel_ring_buf.h"
#include "zel_src_48k_state.h"

/// Reaches the chain's own stages: those that two such formats need.
struct zel_format_converter_access {
    using block = zel_format_converter::zel_fc_pcm_info;

    zel_format_converter_access(const pcm_config& card, const pcm_config& client,
                                const std::string& delay_path = "",
                                const std::string& mixing_path = "") {
        fc.strDelayJsonPath = delay_path;
        fc.strMixingJsonPath = mixing_path;
        fc.pmInPcmInfo = std::make_unique<block>(32, &card);
        fc.pstOutInfo = std::make_unique<block>(32, &client);
        fc.init_fc_submodule();
    }
    ~zel_format_converter_access() { fc.shut_down(); }
    void truncate(void* samples, unsigned int bytes) { fc.fnTruncate(samples, &bytes, 32, 16); }
    void pad(const void* in, unsigned int bytes, void* out) {
        fc.fnPadding(in, &bytes, out, 16, 32);
    }
    void* card_block() { return fc.pmInPcmInfo->pu8Buf.get(); }
    void process() { fc.process_fc(); }

    zel_format_converter fc;
};

namespace {

enum class delays { none, equal, distinct };
/// `plain` is dense with a weight so small that the stage takes its plain loop.
enum class matrix { dense, plain, identity, permutation };

pcm_config stream(std::size_t channels, std::size_t bytes = 2, unsigned int rate = 48000) {
    pcm_config config{};
    config.channels = static_cast<unsigned int>(channels);
    config.rate = rate;
    config.format = bytes == 2 ? PCM_FORMAT_S16_LE : PCM_FORMAT_S32_LE;
    config.period_size = kBlockFrames;
    config.period_count = 4;
    return config;
}

std::string coefficient_file(const char* name, const std::string& text) {
    const auto path = std::filesystem::temp_directory_path() / name;
    std::ofstream(path) << text;
    return path.string();
}

std::string delay_file(delays kind, unsigned int channels) {
    std::string list;
    for (unsigned int c = 0; c < channels; ++c) {
        const unsigned int ms = kind == delays::none ? 0 : kind == delays::equal ? 5 : 1 + c;
        list += (c > 0 ? "," : "") + std::to_string(ms);
    }
    return coefficient_file(
        "zel_bench_delay.json",
        R"({"DelayCoefficientEnable":true,"ChannelDelayMilliseconds":[{"InputChannel":)" +
            std::to_string(channels) + R"(,"Parameters":[)" + list + "]}]}");
}

std::string mixing_file(matrix kind, unsigned int ins, unsigned int outs) {
    std::string weights;
    for (unsigned int k = 0; k < ins * outs; ++k) {
        const unsigned int source = k / ins + (kind == matrix::permutation ? 1 : 0);
        const float weight = kind == matrix::dense || kind == matrix::plain ? dense_weight(k)
                             : k % ins == source % ins                      ? 1.0F
                                                                            : 0.0F;
        weights += (k > 0 ? "," : "") +
                   (k == 0 && kind == matrix::plain ? "1e-30" : std::to_string(weight));
    }
    return coefficient_file(
        "zel_bench_mixing.json",
        R"({"MixingCoefficientEnable":true,"MixingWeighting":[{"InputChannel":)" +
            std::to_string(ins) + R"(,"InputChannelLayout":"1.0","OutputChannel":)" +
            std::to_string(outs) + R"(,"Parameters":[)" + weights + "]}]}");
}

void truncation(benchmark::State& state, std::size_t channels) {
    auto block = random_block<std::int32_t>(channels);
    zel_format_converter_access chain(stream(channels, 4), stream(channels));
    for (auto _ : state) {
        chain.truncate(block.data(), static_cast<unsigned int>(block.size() * 4));
        benchmark::ClobberMemory();
    }
}

void padding(benchmark::State& state, std::size_t channels) {
    const auto in = random_block<std::int16_t>(channels);
    block_of<std::int32_t> out(in.size());
    zel_format_converter_access chain(stream(channels), stream(channels, 4));
    for (auto _ : state) {
        chain.pad(in.data(), static_cast<unsigned int>(in.size() * 2), out.data());
        benchmark::ClobberMemory();
    }
}

void delay(benchmark::State& state, std::size_t channels, std::size_t bytes, delays kind) {
    const auto in = random_block<std::int16_t>(channels * bytes / 2);
    auto out = in;
    const pcm_config config = stream(channels, bytes);
    zel_fc_lib_delay_init(delay_file(kind, config.channels).c_str(), &config);
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
    const pcm_config from = stream(ins, bytes);
    const pcm_config to = stream(outs, bytes);
    zel_fc_lib_mixing_init(mixing_file(kind, from.channels, to.channels), "1.0", &from, &to);
    for (auto _ : state) {
        zel_fc_lib_mixing_process(in.data(), static_cast<unsigned int>(in.size() * 2), out.data(),
                                  static_cast<unsigned int>(out.size() * 2));
        benchmark::ClobberMemory();
    }
    zel_fc_lib_mixing_deinit();
}

void rate_conversion(benchmark::State& state, std::uint32_t lanes, std::size_t channels,
                     std::size_t frames) {
    auto block = random_block<std::int16_t>(channels, frames);
    const pcm_config in = stream(channels);
    const pcm_config out = stream(channels, 2, 16000);
    zel_fc_lib_src_init(0, &in, &out);
    g_zel_src.u32Lanes = lanes;
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
void whole_chain(benchmark::State& state, std::uint32_t lanes) {
    constexpr std::size_t kChannels = 8;
    zel_format_converter_access chain(stream(kChannels, 4), stream(kChannels, 2, 16000),
                                      delay_file(delays::distinct, kChannels),
                                      mixing_file(matrix::dense, kChannels, kChannels));
    const auto block = random_block<std::int32_t>(kChannels);
    std::memcpy(chain.card_block(), block.data(), block.size() * 4);
    g_zel_src.u32Lanes = lanes;
    for (auto _ : state) {
        chain.process();
        benchmark::ClobberMemory();
    }
}

template <typename Function, typename... Arguments>
void add_stage(const std::string& name, Function function, Arguments... arguments) {
    add(name, [=](benchmark::State& state) { function(state, arguments...); });
}

void register_filter(std::uint32_t lanes) {
    const std::string width = width_name(lanes);
    for (std::size_t c = 1; c <= 8; ++c) {
        add_stage("src/" + width + "/" + std::to_string(c), rate_conversion, lanes, c,
                  kBlockFrames);
    }
    for (const std::size_t c : {2U, 8U}) {
        for (const std::size_t frames : {162U, 480U, 1536U, 24576U}) {
            add_stage("length/" + width + "/" + std::to_string(c) + "/" + std::to_string(frames),
                      rate_conversion, lanes, c, frames);
        }
    }
    add_stage("chain/" + width, whole_chain, lanes);
}

}  // namespace

void register_stages() {
    for (const std::uint32_t lanes : filter_widths()) {
        register_filter(lanes);
    }
    for (const std::size_t c : {2U, 6U, 8U}) {
        const std::string channels = "/" + std::to_string(c);
        add_stage("truncation" + channels, truncation, c);
        add_stage("padding" + channels, padding, c);
        add_stage("ring_buffer" + channels, ring_buffer, c);
        add_stage("bypass_16" + channels, delay, c, 2U, delays::none);
        add_stage("delay_equal_16" + channels, delay, c, 2U, delays::equal);
        for (const std::size_t bytes : {2U, 4U}) {
            const std::string rest = "_" + std::to_string(8 * bytes) + channels;
            add_stage("delay_distinct" + rest, delay, c, bytes, delays::distinct);
            add_stage("identity" + rest, mixing, c, c, bytes, matrix::identity);
            add_stage("permutation" + rest, mixing, c, c, bytes, matrix::permutation);
        }
    }
    for (const auto& [name, kind] :
         {std::pair{"mixing", matrix::dense}, {"mixing_plain", matrix::plain}}) {
        for (const std::size_t bytes : {2U, 4U}) {
            const std::string bits = "_" + std::to_string(8 * bytes);
            const std::string stage(name);
            add_stage(stage + "/8to8" + bits, mixing, 8U, 8U, bytes, kind);
            add_stage(stage + "/8to2" + bits, mixing, 8U, 2U, bytes, kind);
            add_stage(stage + "/12to8" + bits, mixing, 12U, 8U, bytes, kind);
        }
    }
}

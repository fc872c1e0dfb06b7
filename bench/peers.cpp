// Well-kept libraries on the same blocks, 16-bit interleaved in and out where nothing else is said.

#include <benchmark/benchmark.h>
#include <soxr.h>
#include <speex/speex_resampler.h>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <cstdint>
#include <cstring>

#include "block.h"

namespace {

void soxr_hq(benchmark::State& state, std::size_t channels) {
    const auto in = random_block<std::int16_t>(channels);
    auto out = in;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_INT16_I, SOXR_INT16_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    const soxr_runtime_spec_t one_thread = soxr_runtime_spec(1);
    soxr_t resampler = soxr_create(48000, 16000, static_cast<unsigned int>(channels), nullptr, &io,
                                   &quality, &one_thread);
    for (auto _ : state) {
        std::size_t used = 0;
        std::size_t made = 0;
        soxr_process(resampler, in.data(), kBlockFrames, &used, out.data(), kBlockFrames, &made);
        benchmark::ClobberMemory();
    }
    soxr_delete(resampler);
}

void speexdsp(benchmark::State& state, std::size_t channels, int quality) {
    const auto in = random_block<std::int16_t>(channels);
    auto out = in;
    int error = 0;
    SpeexResamplerState* resampler =
        speex_resampler_init(static_cast<unsigned int>(channels), 48000, 16000, quality, &error);
    for (auto _ : state) {
        spx_uint32_t used = kBlockFrames;
        spx_uint32_t made = kBlockFrames;
        speex_resampler_process_interleaved_int(resampler, in.data(), &used, out.data(), &made);
        benchmark::ClobberMemory();
    }
    speex_resampler_destroy(resampler);
}

/// Converts the rate, or mixes by `matrix` when there is one.
void swresample(benchmark::State& state, AVSampleFormat format, std::size_t ins, std::size_t outs,
                const double* matrix) {
    const bool wide = format == AV_SAMPLE_FMT_S32;
    const auto in = random_block<std::int16_t>(ins * (wide ? 2 : 1));
    auto out = random_block<std::int16_t>(outs * (wide ? 2 : 1));
    AVChannelLayout in_layout;
    AVChannelLayout out_layout;
    av_channel_layout_default(&in_layout, static_cast<int>(ins));
    av_channel_layout_default(&out_layout, static_cast<int>(outs));
    SwrContext* context = nullptr;
    if (swr_alloc_set_opts2(&context, &out_layout, format, matrix != nullptr ? 48000 : 16000,
                            &in_layout, format, 48000, 0, nullptr) < 0 ||
        (matrix != nullptr ? swr_set_matrix(context, matrix, static_cast<int>(ins))
                           : av_opt_set_int(context, "filter_size", 64, 0)) < 0 ||
        swr_init(context) < 0) {
        state.SkipWithError("libswresample refuses");
    }
    for (auto _ : state) {
        const auto* from = reinterpret_cast<const std::uint8_t*>(in.data());
        auto* to = reinterpret_cast<std::uint8_t*>(out.data());
        swr_convert(context, &to, static_cast<int>(kBlockFrames), &from,
                    static_cast<int>(kBlockFrames));
        benchmark::ClobberMemory();
    }
    swr_free(&context);
}

void copy(benchmark::State& state, std::size_t bytes) {
    const block_of<char> in(bytes, 1);
    block_of<char> out(bytes, 2);
    for (auto _ : state) {
        std::memcpy(out.data(), in.data(), bytes);
        benchmark::ClobberMemory();
    }
}

void add_mix(const std::string& name, std::size_t ins, std::size_t outs, AVSampleFormat format) {
    std::vector<double> matrix;
    for (std::size_t k = 0; k < ins * outs; ++k) {
        matrix.push_back(static_cast<double>(dense_weight(k)));
    }
    add("swresample_mix/" + name,
        [=](benchmark::State& state) { swresample(state, format, ins, outs, matrix.data()); });
}

}  // namespace

void register_peers() {
    for (std::size_t c = 1; c <= 8; ++c) {
        const std::string channels = "/" + std::to_string(c);
        add("soxr_hq" + channels, [c](benchmark::State& state) { soxr_hq(state, c); });
        add("speexdsp_q8" + channels, [c](benchmark::State& state) { speexdsp(state, c, 8); });
        add("swresample_64" + channels,
            [c](benchmark::State& state) { swresample(state, AV_SAMPLE_FMT_S16, c, c, nullptr); });
        const std::size_t samples = c * kBlockFrames;
        add("memcpy_16" + channels, [=](benchmark::State& state) { copy(state, samples * 2); });
        add("memcpy_mean" + channels, [=](benchmark::State& state) { copy(state, samples * 3); });
        add("memcpy_32" + channels, [=](benchmark::State& state) { copy(state, samples * 4); });
    }
    add_mix("8to8_16", 8, 8, AV_SAMPLE_FMT_S16);
    add_mix("8to8_32", 8, 8, AV_SAMPLE_FMT_S32);
    add_mix("8to2_16", 8, 2, AV_SAMPLE_FMT_S16);
    add_mix("8to2_32", 8, 2, AV_SAMPLE_FMT_S32);
}

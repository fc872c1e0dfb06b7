// Well-kept resamplers on the same blocks, 48 to 16 kHz, 16-bit interleaved in and out.

#include <benchmark/benchmark.h>
#include <soxr.h>
#include <speex/speex_resampler.h>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <cstdint>

#include "block.h"

namespace {

void soxr_hq(benchmark::State& state) {
    const auto channels = static_cast<unsigned int>(state.range(0));
    const auto in = random_block<std::int16_t>(channels);
    auto out = in;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_INT16_I, SOXR_INT16_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    const soxr_runtime_spec_t one_thread = soxr_runtime_spec(1);
    soxr_t resampler = soxr_create(48000, 16000, channels, nullptr, &io, &quality, &one_thread);
    for (auto _ : state) {
        std::size_t used = 0;
        std::size_t made = 0;
        soxr_process(resampler, in.data(), kBlockFrames, &used, out.data(), kBlockFrames, &made);
        benchmark::ClobberMemory();
    }
    soxr_delete(resampler);
}

void speexdsp(benchmark::State& state, int quality) {
    const auto channels = static_cast<unsigned int>(state.range(0));
    const auto in = random_block<std::int16_t>(channels);
    auto out = in;
    int error = 0;
    SpeexResamplerState* resampler = speex_resampler_init(channels, 48000, 16000, quality, &error);
    for (auto _ : state) {
        spx_uint32_t used = kBlockFrames;
        spx_uint32_t made = kBlockFrames;
        speex_resampler_process_interleaved_int(resampler, in.data(), &used, out.data(), &made);
        benchmark::ClobberMemory();
    }
    speex_resampler_destroy(resampler);
}

void swresample(benchmark::State& state) {
    const auto channels = static_cast<int>(state.range(0));
    const auto in = random_block<std::int16_t>(static_cast<std::size_t>(channels));
    auto out = in;
    AVChannelLayout layout;
    av_channel_layout_default(&layout, channels);
    SwrContext* resampler = nullptr;
    if (swr_alloc_set_opts2(&resampler, &layout, AV_SAMPLE_FMT_S16, 16000, &layout,
                            AV_SAMPLE_FMT_S16, 48000, 0, nullptr) < 0 ||
        av_opt_set_int(resampler, "filter_size", 64, 0) < 0 || swr_init(resampler) < 0) {
        state.SkipWithError("libswresample refuses the conversion");
    }
    for (auto _ : state) {
        const auto* from = reinterpret_cast<const std::uint8_t*>(in.data());
        auto* to = reinterpret_cast<std::uint8_t*>(out.data());
        swr_convert(resampler, &to, static_cast<int>(kBlockFrames), &from,
                    static_cast<int>(kBlockFrames));
        benchmark::ClobberMemory();
    }
    swr_free(&resampler);
}

}  // namespace

void register_peers() {
    benchmark::RegisterBenchmark("soxr_hq", soxr_hq)->Arg(2)->Arg(6)->Arg(8);
    benchmark::RegisterBenchmark("speexdsp_q8", speexdsp, 8)->Arg(2)->Arg(6)->Arg(8);
    benchmark::RegisterBenchmark("speexdsp_q10", speexdsp, 10)->Arg(2)->Arg(6)->Arg(8);
    benchmark::RegisterBenchmark("swresample_64", swresample)->Arg(2)->Arg(6)->Arg(8);
}

// A delay coefficient file of any content, loaded for several streams and then used: every channel
// must come out late by one constant number of frames.

#include "captured_log.h"
#include "fuzz_input.h"
#include "stream_config.h"
#include "zel_format_converter_delay_wrapper.h"

namespace {

constexpr std::size_t kBlocks = 4;
constexpr std::uint32_t kMaxDelaySeconds = 10;

struct stream {
    unsigned int channels, rate;
};

constexpr stream kStreams[] = {{2, 48000}, {6, 1000}, {8, 16000}};

/// The sample of frame `f`, counted from the first input; never 0.
std::int32_t ramp(std::size_t f, std::size_t channel) {
    return static_cast<std::int32_t>((f + 1) << 4 | channel);
}

std::vector<std::int32_t> delayed_ramp(const pcm_config& config) {
    const std::size_t block = std::size_t{config.rate} / 1000 * 32;
    std::vector<std::int32_t> all;
    for (std::size_t b = 0; b < kBlocks; ++b) {
        std::vector<std::int32_t> in(block * config.channels);
        for (std::size_t i = 0; i < in.size(); ++i) {
            in[i] = ramp(b * block + i / config.channels, i % config.channels);
        }
        std::vector<std::int32_t> out(in.size(), -1);
        ZEL_FUZZ_CHECK(zel_fc_lib_delay_process(in.data(), out.data(),
                                                static_cast<int>(in.size() * sizeof(in[0]))) == 0);
        all.insert(all.end(), out.begin(), out.end());
    }
    return all;
}

void check_delays(const std::vector<std::int32_t>& out, const pcm_config& config) {
    const std::size_t frames = out.size() / config.channels;
    for (std::size_t c = 0; c < config.channels; ++c) {
        std::size_t delay = 0;
        while (delay < frames && out[delay * config.channels + c] == 0) {
            ++delay;
        }
        ZEL_FUZZ_CHECK(delay == frames || delay <= std::size_t{kMaxDelaySeconds} * config.rate);
        for (std::size_t f = delay; f < frames; ++f) {
            ZEL_FUZZ_CHECK(out[f * config.channels + c] == ramp(f - delay, c));
        }
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zel_test::clear_log();
    const std::string path = zel_fuzz::write_coefficients(data, size);
    for (const stream& s : kStreams) {
        const pcm_config config = zel_test::stream_config(s.channels, s.rate, PCM_FORMAT_S32_LE);
        ZEL_FUZZ_CHECK(zel_fc_lib_delay_init(path.c_str(), &config) == 0);
        check_delays(delayed_ramp(config), config);
        ZEL_FUZZ_CHECK(zel_fc_lib_delay_deinit() == 0);
    }
    return 0;
}

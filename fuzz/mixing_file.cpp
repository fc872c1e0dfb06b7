// A mixing coefficient file of any content, loaded for several streams and then used.

#include "captured_log.h"
#include "fuzz_input.h"
#include "stream_config.h"
#include "zel_format_converter_mixing_wrapper.h"

namespace {

constexpr unsigned int kFrames = 16;

struct stream {
    unsigned int in;
    const char* layout;
    unsigned int out;
    pcm_format in_format, out_format;
};

constexpr stream kStreams[] = {
    {2, "2.0", 2, PCM_FORMAT_S16_LE, PCM_FORMAT_S16_LE},
    {6, "5.1", 2, PCM_FORMAT_S32_LE, PCM_FORMAT_S32_LE},
    {8, "", 1, PCM_FORMAT_S16_LE, PCM_FORMAT_S32_LE},
    {12, "7.1.4", 8, PCM_FORMAT_S32_LE, PCM_FORMAT_S16_LE},
};

std::size_t block_bytes(const pcm_config& config) {
    return std::size_t{kFrames} * config.channels * (pcm_format_to_bits(config.format) / 8);
}

std::vector<std::uint8_t> mix(const pcm_config& in, std::uint8_t sample_byte,
                              const pcm_config& out) {
    const std::vector<std::uint8_t> block(block_bytes(in), sample_byte);
    std::vector<std::uint8_t> mixed(block_bytes(out), 1);
    ZEL_FUZZ_CHECK(zel_fc_lib_mixing_process(block.data(), static_cast<unsigned int>(block.size()),
                                             mixed.data(),
                                             static_cast<unsigned int>(mixed.size())) == 0);
    return mixed;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zel_test::clear_log();
    const std::string path = zel_fuzz::write_coefficients(data, size);
    for (const stream& s : kStreams) {
        const pcm_config in = zel_test::stream_config(s.in, 48000, s.in_format);
        const pcm_config out = zel_test::stream_config(s.out, 48000, s.out_format);
        ZEL_FUZZ_CHECK(zel_fc_lib_mixing_init(path, s.layout, &in, &out) == 0);
        // A weight that is no finite number would make noise of silence.
        const std::vector<std::uint8_t> silence(block_bytes(out));
        ZEL_FUZZ_CHECK(mix(in, 0, out) == silence);
        mix(in, 0x7F, out);
        mix(in, 0x80, out);
        zel_fc_lib_mixing_channel_change("5.1");
        ZEL_FUZZ_CHECK(mix(in, 0, out) == silence);
        ZEL_FUZZ_CHECK(zel_fc_lib_mixing_deinit() == 0);
    }
    return 0;
}

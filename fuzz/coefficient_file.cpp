// A file of any content, as both kinds of coefficient file. The device, for several streams:
// neither weights nor delays make noise of silence. `zel-fc check`, where the tool is built: every
// fallback has its reason and every reason its fallback, and what is printed obeys no terminal.

#include <algorithm>

#if __has_include("coefficient_check.h")
#include "coefficient_check.h"
#endif
#include "captured_log.h"
#include "fuzz_input.h"
#include "stream_config.h"
#include "test_folder.h"
#include "zel_format_converter_delay_wrapper.h"
#include "zel_format_converter_mixing_wrapper.h"

namespace {

constexpr pcm_format k16 = PCM_FORMAT_S16_LE, k32 = PCM_FORMAT_S32_LE;

constexpr struct {
    unsigned int in;
    const char* layout;
    unsigned int out;
    pcm_format in_format, out_format;
} kMixed[] = {{2, "2.0", 2, k16, k16},
              {6, "5.1", 2, k32, k32},
              {8, "", 1, k16, k32},
              {12, "7.1.4", 8, k32, k16}};

constexpr struct { unsigned int channels, rate; } kDelayed[] = {{2, 48000}, {6, 1000}, {8, 16000}};

std::vector<std::uint8_t> mix(const pcm_config& in, std::uint8_t sample_byte,
                              const pcm_config& out) {
    const auto block_of = [](const pcm_config& config, std::uint8_t byte) {
        const std::size_t frame_bytes = config.channels * pcm_format_to_bits(config.format) / 8;
        return std::vector<std::uint8_t>(16 * frame_bytes, byte);
    };
    const std::vector<std::uint8_t> block = block_of(in, sample_byte);
    std::vector<std::uint8_t> mixed = block_of(out, 1);
    ZEL_FUZZ_CHECK(zel_fc_lib_mixing_process(block.data(), static_cast<unsigned int>(block.size()),
                                             mixed.data(),
                                             static_cast<unsigned int>(mixed.size())) == 0);
    return mixed;
}

void check_silence(const pcm_config& in, const pcm_config& out) {
    const std::vector<std::uint8_t> mixed = mix(in, 0, out);
    ZEL_FUZZ_CHECK(mixed == std::vector<std::uint8_t>(mixed.size()));
}

#if __has_include("coefficient_check.h")
void check(const file_report& report, bool is_json) {
    bool error = false;
    for (const finding& found : report.findings) {
        error = error || found.level == severity::error;
        ZEL_FUZZ_CHECK(!found.what.empty() && !found.device.empty() && !found.mend.empty());
        ZEL_FUZZ_CHECK(found.kind != "not_used" || !is_json);
        ZEL_FUZZ_CHECK(!report.readable || (found.place.line > 0 && found.place.column > 0));
    }
    ZEL_FUZZ_CHECK(error != report.decided->used);
}

void check_print(const std::string& text) {
    ZEL_FUZZ_CHECK(std::all_of(text.begin(), text.end(),
                               [](char c) { return c == '\n' || (c >= ' ' && c < 0x7F); }));
}

/// A text that tells no kind goes by its file's name.
void check_both_kinds(const std::string& content) {
    const std::string mixing = zel_test::write_file("coefficients_mixing.json", content);
    const std::string delay = zel_test::write_file("coefficients_delay.json", content);
    const bool is_json = coefficient_text(mixing).is_json();
    for (const stream_request& stream :
         {stream_request{2, "2.0", 2, 48000}, {6, "5.1", 2, 48000}, {8, "", 1, 16000}}) {
        for (const std::string& path : {mixing, delay}) {
            check(check_file(path, stream, false), is_json);
            check_print(report_text(check_file(path, stream)));
        }
    }
}
#else
void check_both_kinds(const std::string&) {}
#endif

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zel_test::clear_log();
    const std::string content(data, data + size);
    const std::string path = zel_test::write_file("coefficients.json", content);
    for (const auto& s : kMixed) {
        const pcm_config in = zel_test::stream_config(s.in, 48000, s.in_format);
        const pcm_config out = zel_test::stream_config(s.out, 48000, s.out_format);
        ZEL_FUZZ_CHECK(zel_fc_lib_mixing_init(path, s.layout, &in, &out) == 0);
        check_silence(in, out);
        mix(in, 0x7F, out);
        mix(in, 0x80, out);
        zel_fc_lib_mixing_channel_change("5.1");
        check_silence(in, out);
        ZEL_FUZZ_CHECK(zel_fc_lib_mixing_deinit() == 0);
    }
    for (const auto& [channels, rate] : kDelayed) {
        const pcm_config config = zel_test::stream_config(channels, rate, k32);
        ZEL_FUZZ_CHECK(zel_fc_lib_delay_init(path.c_str(), &config) == 0);
        std::vector<std::int32_t> block(std::size_t{rate} / 1000 * 32 * channels);
        std::vector<std::int32_t> late(block.size(), -1);
        ZEL_FUZZ_CHECK(zel_fc_lib_delay_process(block.data(), late.data(),
                                                static_cast<int>(block.size() * 4)) == 0);
        ZEL_FUZZ_CHECK(late == block);
        ZEL_FUZZ_CHECK(zel_fc_lib_delay_deinit() == 0);
    }
    check_both_kinds(content);
    return 0;
}

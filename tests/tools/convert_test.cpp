// What a file becomes on its way through the virtual card, against the chain's model.

#include "convert.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sndfile.hh>
#include <string>
#include <vector>

#include "chain_model.h"
#include "sound_file.h"
#include "test_folder.h"
#include "zel_loopback_signal.h"

namespace {

using zel_test::chain_model;
using zel_test::stream_setup;

constexpr std::uint32_t kBlock = 1536;

std::string in_folder(const char* name) {
    return zel_test::test_folder() + "/" + name;
}

/// The simulated card's ramp as a file.
std::string write_ramp(const char* name, unsigned int channels, int bits, std::uint32_t frames) {
    const int format = bits == 16   ? SF_FORMAT_PCM_16
                       : bits == 24 ? SF_FORMAT_PCM_24
                                    : SF_FORMAT_PCM_32;
    SndfileHandle file(in_folder(name), SFM_WRITE, SF_FORMAT_WAV | format,
                       static_cast<int>(channels), 48000);
    std::vector<std::int32_t> samples;
    for (std::uint32_t k = 0; k < frames * channels; ++k) {
        samples.push_back(zel_loopback_ramp(k / channels, k % channels));
    }
    EXPECT_EQ(file.writef(samples.data(), frames), frames);
    return in_folder(name);
}

/// A file's samples, 16-bit ones in the low half.
std::vector<std::int32_t> read_samples(const std::string& path) {
    SndfileHandle file(path);
    std::vector<std::int32_t> samples(static_cast<std::size_t>(file.frames() * file.channels()));
    file.readf(samples.data(), file.frames());
    if ((file.format() & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16) {
        std::for_each(samples.begin(), samples.end(), [](std::int32_t& sample) { sample >>= 16; });
    }
    return samples;
}

convert_options options_for(const stream_setup& setup, const std::string& in) {
    convert_options options;
    options.in_file = in;
    options.out_file = in_folder("converted.wav");
    options.client.rate = setup.client_rate;
    options.client.channels = setup.client_channels;
    options.client.bits = setup.client_bits;
    options.card.layout = "1.0";
    options.json = true;
    return options;
}

class convert_test : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        setenv("ZEL_VOICE_CONFIG_DIR", zel_test::write_coefficients(), 1);
    }

    /// Runs the command, more than once where an overloaded machine takes a command's second.
    exit_code convert(const convert_options& options) {
        exit_code code = EXIT_OPEN;
        for (int attempt = 0; attempt < 5; ++attempt) {
            testing::internal::CaptureStdout();
            testing::internal::CaptureStderr();
            code = run_convert(options);
            testing::internal::GetCapturedStdout();
            told = testing::internal::GetCapturedStderr();
            std::fputs(told.c_str(), stderr);
            if (code != EXIT_OPEN || told.find(std::strerror(ETIME)) == std::string::npos) {
                break;
            }
        }
        return code;
    }
    std::string told;  ///< on the error stream, by the last run
};

TEST_F(convert_test, every_sample_is_the_models) {
    const stream_setup setups[] = {{16, 2, 16, 2, 48000},  {16, 8, 16, 2, 16000},
                                   {16, 6, 32, 6, 48000},  {24, 8, 32, 8, 48000},
                                   {32, 12, 16, 4, 16000}, {32, 8, 32, 3, 16000}};
    for (const stream_setup& setup : setups) {
        SCOPED_TRACE(testing::Message() << setup.card_bits << " bits, " << setup.card_channels
                                        << " to " << setup.client_channels << " channels");
        constexpr std::uint32_t kBlocks = 20;
        const std::string in =
            write_ramp("ramp.wav", setup.card_channels, setup.card_bits, kBlocks * kBlock);
        ASSERT_EQ(convert(options_for(setup, in)), EXIT_OK);
        const std::vector<std::int32_t> got = read_samples(in_folder("converted.wav"));

        chain_model model(setup,
                          zel_test::matrix_for("1.0", setup.card_channels, setup.client_channels));
        // Up to 80 ms of delay and 237 frames of the filter come after the file.
        const bool converts = setup.client_rate != 48000;
        const std::uint32_t ringing =
            (setup.card_channels > 2 ? 3840U : 1920U) + (converts ? 237U : 0U);
        const std::uint32_t tail_blocks = (ringing + kBlock - 1) / kBlock;
        std::vector<std::int32_t> expected;
        for (std::uint32_t b = 0; b < kBlocks + tail_blocks; ++b) {
            if (b == kBlocks) {
                model.set_volume(0, 0);
            }
            const std::vector<std::int32_t> block = model.next_block();
            expected.insert(expected.end(), block.begin(), block.end());
        }
        ASSERT_EQ(got, expected);
    }
}

/// A file of one second of a ramp in an encoding, with its end cut off.
std::string write_encoded(int format, int rate, std::uintmax_t cut_bytes) {
    const std::string path = in_folder("encoded");
    std::vector<short> samples(static_cast<std::size_t>(rate));
    for (std::size_t k = 0; k < samples.size(); ++k) {
        samples[k] = static_cast<short>(k * 7919);
    }
    SndfileHandle(path, SFM_WRITE, format, 1, rate).write(samples.data(), rate);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) - cut_bytes);
    return path;
}

TEST_F(convert_test, plays_no_silence_for_what_it_cannot_read) {
    constexpr int kFlac = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    const struct {
        int format;
        int rate;
        std::uintmax_t cut_bytes;
        exit_code code;
        const char* told;
    } cases[] = {
        {kFlac, 16000, 0, EXIT_OK, ""},
        {kFlac, 16000, 20000, EXIT_READ, "cut short"},
        {SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 0, EXIT_OK, ""},
        {SF_FORMAT_WAV | SF_FORMAT_PCM_16, 16000, 1000, EXIT_READ, "cut short"},
        {SF_FORMAT_WAV | SF_FORMAT_GSM610, 16000, 0, EXIT_OPEN, "no places to seek to"},
        {SF_FORMAT_WAV | SF_FORMAT_FLOAT, 16000, 0, EXIT_OK, ""},
    };
    for (const auto& c : cases) {
        convert_options options = options_for({16, 1, 16, 1, 16000}, "");
        options.in_file = write_encoded(c.format, c.rate, c.cut_bytes);
        EXPECT_EQ(convert(options), c.code) << std::hex << c.format;
        EXPECT_NE(told.find(c.told), std::string::npos) << std::hex << c.format << ": " << told;
    }
}

TEST_F(convert_test, an_ogg_files_channels_have_another_order_and_are_refused) {
    convert_options options = options_for({16, 3, 16, 3, 48000}, in_folder("three.ogg"));
    const std::vector<float> samples(48000);
    SndfileHandle(options.in_file, SFM_WRITE, SF_FORMAT_OGG | SF_FORMAT_VORBIS, 3, 48000)
        .write(samples.data(), 48000);
    ASSERT_EQ(convert(options), EXIT_OPEN);
    EXPECT_NE(told.find("three.ogg: its channels have another order"), std::string::npos) << told;
}

TEST_F(convert_test, a_file_that_may_pass_4_gib_has_room_for_its_length) {
    for (const std::uint64_t beyond : {0U, 1U}) {
        const std::string path = in_folder("large.wav");
        const std::uint64_t most = (0xFFFF0000 / 4) + beyond;
        wav_writer file(path, 48000, 2, 16, most);
        file.add(std::vector<short>(2).data(), 1);
        char head[96] = {};
        ASSERT_GE(std::ifstream(path).read(head, sizeof(head)).gcount(), 44);
        EXPECT_EQ(std::string(head, 4), "RIFF") << "while it is short";
        EXPECT_EQ(std::string(head + 12, 4), beyond == 0 ? "fmt " : "JUNK");
        file.close();
    }
}

}  // namespace

// What a file becomes on its way through the virtual card, against the chain's model: zel-fc, which
// ZEL_FC names, run as its users do.

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "chain_model.h"
#include "command_end.h"
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

/// What the last conversion wrote, 16-bit samples in the low half.
std::vector<std::int32_t> converted() {
    SndfileHandle file(in_folder("converted.wav"));
    std::vector<std::int32_t> samples(static_cast<std::size_t>(file.frames() * file.channels()));
    file.readf(samples.data(), file.frames());
    const bool narrow = (file.format() & SF_FORMAT_SUBMASK) == SF_FORMAT_PCM_16;
    for (std::int32_t& sample : samples) {
        sample >>= narrow ? 16 : 0;
    }
    return samples;
}

class convert_test : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        setenv("ZEL_VOICE_CONFIG_DIR", zel_test::write_coefficients(), 1);
    }

    /// Its exit code; more than one run where an overloaded machine takes a command's second.
    int convert(const stream_setup& setup, const std::string& in) {
        const std::string error = in_folder("error");
        const std::string command = fmt::format(
            "'{}' convert {} {} -r {} -c {} -b {} --card-layout 1.0 --json >/dev/null 2>{}",
            std::getenv("ZEL_FC"), in, in_folder("converted.wav"), setup.client_rate,
            setup.client_channels, setup.client_bits, error);
        for (int attempt = 0;; ++attempt) {
            const int status = std::system(command.c_str());
            std::ifstream said(error);
            told = {std::istreambuf_iterator<char>(said), {}};
            std::cerr << told;
            if (attempt == 5 || told.find(std::strerror(ETIME)) == std::string::npos) {
                return WEXITSTATUS(status);
            }
        }
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
        ASSERT_EQ(convert(setup, write_ramp("ramp.wav", setup.card_channels, setup.card_bits,
                                            kBlocks * kBlock)),
                  EXIT_OK);
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
        ASSERT_EQ(converted(), expected);
    }
}

// No silence is played for what cannot be read, and no channel in another's place.
TEST_F(convert_test, takes_a_file_whole_or_says_why_not) {
    constexpr int kFlac = SF_FORMAT_FLAC | SF_FORMAT_PCM_16;
    constexpr int kWav = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    const struct {
        int format;
        std::uintmax_t cut_bytes;
        int channels, code;
        const char* told;
    } cases[] = {
        {kFlac, 0, 1, EXIT_OK, ""},
        {kFlac, 20000, 1, EXIT_READ, "cut short"},
        {kWav, 0, 1, EXIT_OK, ""},
        {kWav, 1000, 1, EXIT_READ, "cut short"},
        {SF_FORMAT_WAV | SF_FORMAT_GSM610, 0, 1, EXIT_OPEN, "no places to seek to"},
        {SF_FORMAT_WAV | SF_FORMAT_FLOAT, 0, 1, EXIT_OK, ""},
        {SF_FORMAT_OGG | SF_FORMAT_VORBIS, 0, 3, EXIT_OPEN, "have another order"},
    };
    for (const auto& c : cases) {
        const std::string path = in_folder("encoded");
        std::vector<short> samples(48000);
        for (std::size_t k = 0; k < samples.size(); ++k) {
            samples[k] = static_cast<short>(k * 7919);
        }
        SndfileHandle(path, SFM_WRITE, c.format, c.channels, 16000).write(samples.data(), 48000);
        std::filesystem::resize_file(path, std::filesystem::file_size(path) - c.cut_bytes);
        EXPECT_EQ(convert({16, 1, 16, 1, 16000}, path), c.code) << std::hex << c.format;
        EXPECT_NE(told.find(c.told), std::string::npos) << std::hex << c.format << ": " << told;
    }
}

TEST_F(convert_test, a_file_that_may_pass_4_gib_has_room_for_its_length) {
    for (const std::uint64_t beyond : {0U, 1U}) {
        const std::string path = in_folder("large.wav");
        wav_writer file(path, 48000, 2, 16, (0xFFFF0000 / 4) + beyond);
        file.add(std::vector<short>(2).data(), 1);
        char head[96] = {};
        ASSERT_GE(std::ifstream(path).read(head, sizeof(head)).gcount(), 44);
        EXPECT_EQ(std::string(head, 4), "RIFF") << "while it is short";
        EXPECT_EQ(std::string(head + 12, 4), beyond == 0 ? "fmt " : "JUNK");
        file.close();
    }
}

}  // namespace

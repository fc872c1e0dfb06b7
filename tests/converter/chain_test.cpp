// Blocks whose size is not the client's; every sample of the others is held by the system tests.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "captured_log.h"
#include "converter_access.h"

using namespace zel_test;

namespace {

class chain_test : public testing::Test {
  protected:
    ~chain_test() override { fc_access::execute(*fc, FC_CLOSE); }
    /// `rate` is the client's, which the card may refuse: it runs at 48 kHz then.
    void open(unsigned int rate, pcm_format format, bool refused) {
        reset_script();
        if (refused) {
            refuse_rate(rate, "cannot set hw params");
        }
        fc = fc_access::make();
        ASSERT_EQ(fc_access::open_here(*fc, client_config(rate, format), PCM_IN), 0);
        out = fc_access::out(*fc);
        std::memset(fc_access::in(*fc)->pu8Buf.get(), 0x11, fc_access::in(*fc)->u32BufSize);
        std::memset(out->pu8Buf.get(), 0x55, out->u32BufSize);
    }
    /// Bytes of the client's block in front of its silent end.
    std::ptrdiff_t sounding_bytes() const {
        const std::uint8_t* begin = out->pu8Buf.get();
        const auto is_silent = [](std::uint8_t byte) { return byte == 0; };
        const auto end = std::make_reverse_iterator(begin + out->u32BufSize);
        return std::find_if_not(end, std::make_reverse_iterator(begin), is_silent).base() - begin;
    }

    fc_access::owner fc;
    fc_access::block* out = nullptr;
};

// 48 kHz make 512 frames of 4 bytes, whatever other rate the client asked for.
TEST_F(chain_test, gives_silence_when_the_size_differs) {
    const struct {
        unsigned int rate;
        pcm_format format;
        const char* message;
    } rows[] = {
        {44100, PCM_FORMAT_S16_LE, "u32DataSize 2048 u32OutBufSize 5632"},
        {96000, PCM_FORMAT_S16_LE, "u32DataSize 2048 u32OutBufSize 12288"},
        {8000, PCM_FORMAT_S32_LE, "u32DataSize 4096 u32OutBufSize 2048"},
    };
    for (const auto& row : rows) {
        open(row.rate, row.format, true);
        EXPECT_EQ(fc_access::process(*fc), 0);
        EXPECT_TRUE(log_has(row.message));
        EXPECT_EQ(sounding_bytes(), 0);
        fc_access::execute(*fc, FC_CLOSE);
    }
}

// 44100 Hz make 1408 frames of 8 bytes; 48000 Hz, after a restart, 512 of them.
TEST_F(chain_test, ends_a_short_padded_block_in_silence) {
    open(44100, PCM_FORMAT_S32_LE, false);
    ASSERT_EQ(fc_access::process(*fc), 0);
    EXPECT_EQ(sounding_bytes(), out->u32BufSize);
    refuse_rate(44100, "cannot set hw params");
    ASSERT_EQ(fc_access::restart(*fc), 0);
    std::memset(fc_access::in(*fc)->pu8Buf.get(), 0x11, fc_access::in(*fc)->u32BufSize);
    ASSERT_EQ(fc_access::process(*fc), 0);
    EXPECT_EQ(sounding_bytes(), 512 * 8);
}

}  // namespace

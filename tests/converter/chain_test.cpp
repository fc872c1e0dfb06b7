#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "captured_log.h"
#include "converter_access.h"

using zel_test::fc_access;

namespace {

template <typename From, typename To>
void expect_sample(int card_code, pcm_format client, From in, To expected) {
    zel_test::reset_script();
    zel_test::set_control("PCM Slave Format", card_code);
    const fc_access::owner fc = fc_access::make();
    ASSERT_EQ(fc_access::open_here(*fc, zel_test::client_config(48000, client), PCM_IN), 0);
    std::memcpy(fc_access::in(*fc)->pu8Buf.get() + 2 * sizeof(From), &in, sizeof(in));
    ASSERT_EQ(fc_access::process(*fc), 0);
    To out{};
    std::memcpy(&out, fc_access::out(*fc)->pu8Buf.get() + 2 * sizeof(To), sizeof(out));
    EXPECT_EQ(out, expected);
    fc_access::execute(*fc, FC_CLOSE);
}

TEST(chain, truncates_and_pads_by_sixteen_bits) {
    expect_sample<std::uint32_t, std::uint16_t>(10, PCM_FORMAT_S16_LE, 0x12345678, 0x1234);
    expect_sample<std::uint32_t, std::uint16_t>(10, PCM_FORMAT_S16_LE, 0x80000000, 0x8000);
    expect_sample<std::uint16_t, std::uint32_t>(2, PCM_FORMAT_S32_LE, 0x8000, 0x80000000);
    expect_sample<std::uint16_t, std::uint32_t>(2, PCM_FORMAT_S32_LE, 0x0001, 0x00010000);
}

// 48 kHz makes 512 frames of 4 bytes, whatever other rate the client asked for.
TEST(chain, gives_silence_when_the_size_differs) {
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
        zel_test::reset_script();
        zel_test::refuse_rate(row.rate, "cannot set hw params");
        const fc_access::owner fc = fc_access::make();
        ASSERT_EQ(fc_access::open_here(*fc, zel_test::client_config(row.rate, row.format), PCM_IN),
                  0);
        auto* out = fc_access::out(*fc);
        std::memset(out->pu8Buf.get(), 0x55, out->u32BufSize);
        zel_test::clear_log();
        EXPECT_EQ(fc_access::process(*fc), 0);
        EXPECT_TRUE(zel_test::log_has(row.message));
        for (std::uint32_t i = 0; i < out->u32BufSize; ++i) {
            ASSERT_EQ(out->pu8Buf[i], 0);
        }
        fc_access::execute(*fc, FC_CLOSE);
    }
}

// 44100 Hz make 1408 frames of 8 bytes; 48000 Hz, after a restart, 512 of them.
TEST(chain, ends_a_short_padded_block_in_silence) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    const pcm_config config = zel_test::client_config(44100, PCM_FORMAT_S32_LE);
    ASSERT_EQ(fc_access::open_here(*fc, config, PCM_IN), 0);
    auto* in = fc_access::in(*fc);
    std::memset(in->pu8Buf.get(), 0x11, in->u32BufSize);
    ASSERT_EQ(fc_access::process(*fc), 0);
    const auto* out = fc_access::out(*fc);
    EXPECT_EQ(out->pu8Buf[out->u32BufSize - 1], 0x11);
    zel_test::refuse_rate(44100, "cannot set hw params");
    ASSERT_EQ(fc_access::restart(*fc), 0);
    ASSERT_EQ(fc_access::process(*fc), 0);
    for (std::uint32_t i = 512 * 8; i < out->u32BufSize; ++i) {
        ASSERT_EQ(out->pu8Buf[i], 0) << i;
    }
    fc_access::execute(*fc, FC_CLOSE);
}

}  // namespace

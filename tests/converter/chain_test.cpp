// Blocks whose size is not the client's; every sample of the others is held by the system tests.

#include "converter_access.h"
#include "test_basics.h"

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
        ASSERT_STATUS(fc_access::open_here(*fc, client_config(rate, format), PCM_IN), 0);
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

// A card that refuses the client's rate makes 512 frames of its block, whatever that rate is: 2048
// bytes, padded 4096. A short one is silence, or padded its silent end.
TEST_F(chain_test, blocks_of_another_size_than_the_clients) {
    const struct {
        unsigned int rate;
        pcm_format format;
        bool refused;
        unsigned int sounding;
        const char* message;
    } rows[] = {
        {44100, PCM_FORMAT_S16_LE, true, 0, "u32DataSize 2048 u32OutBufSize 5632"},
        {96000, PCM_FORMAT_S16_LE, true, 0, "u32DataSize 2048 u32OutBufSize 12288"},
        {8000, PCM_FORMAT_S32_LE, true, 0, "u32DataSize 4096 u32OutBufSize 2048"},
        {44100, PCM_FORMAT_S32_LE, false, 1408 * 8, ""},
        {44100, PCM_FORMAT_S32_LE, true, 512 * 8, ""},
    };
    for (const auto& row : rows) {
        open(row.rate, row.format, row.refused);
        EXPECT_STATUS(fc_access::process(*fc), 0);
        EXPECT_TRUE(log_has(row.message));
        EXPECT_EQ(sounding_bytes(), row.sounding);
        fc_access::execute(*fc, FC_CLOSE);
    }
}

TEST_F(chain_test, truncation_and_padding_are_for_their_widths_alone) {
    open(16000, PCM_FORMAT_S32_LE, true);
    std::int32_t wide[3] = {0, 0, 0x55555555};
    std::int16_t narrow[2] = {0x1234, -1};
    unsigned int bytes = 4;
    ASSERT_NE(fc_access::padding(*fc), nullptr);
    EXPECT_STATUS(fc_access::padding(*fc)(narrow, &bytes, wide, 16, 32), 0);
    EXPECT_EQ(bytes, 8U);
    EXPECT_EQ(wide[0], 0x12340000);
    EXPECT_EQ(wide[2], 0x55555555);
    for (const auto& [from, to] : {std::pair{32U, 32U}, {16U, 16U}, {32U, 16U}}) {
        EXPECT_STATUS(fc_access::padding(*fc)(narrow, &bytes, wide, from, to), -EINVAL);
    }
    EXPECT_EQ(log_count("padding_sample_bit  :"), 3U);
    fc_access::execute(*fc, FC_CLOSE);

    reset_script();
    set_control("PCM Slave Format", 10);
    clear_log();
    ASSERT_STATUS(fc_access::open_here(*fc, client_config(), PCM_IN), 0);
    EXPECT_TRUE(log_has("channel_src    0\n        bit_padding    0")) << "of the stream before";
    ASSERT_NE(fc_access::truncation(*fc), nullptr);
    EXPECT_STATUS(fc_access::truncation(*fc)(wide, &bytes, 32, 16), 0);
    EXPECT_EQ(bytes, 4U);
    EXPECT_EQ(std::memcmp(wide, narrow, 4), 0);
    EXPECT_EQ(wide[1], -65536) << "nothing behind the samples is written";
    for (const auto& [from, to] : {std::pair{32U, 32U}, {16U, 16U}, {16U, 32U}}) {
        EXPECT_STATUS(fc_access::truncation(*fc)(wide, &bytes, from, to), -EINVAL);
    }
    EXPECT_EQ(bytes, 4U);
}

}  // namespace

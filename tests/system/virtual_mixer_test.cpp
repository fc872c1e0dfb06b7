// The virtual card's mixer beside the card's own: changes while a stream runs.

#include "stream_fixture.h"
#include "test_basics.h"

using zel_test::chain_model;
using zel_test::matrix_for;
using zel_test::stream_setup;

namespace {

using virtual_mixer_test = zel_test::virtual_card_fixture;

const stream_setup kUsual{32, 8, 16, 2, 16000};

TEST_F(virtual_mixer_test, new_paths_take_effect_with_the_next_restart_or_open) {
    const std::string swapped = zel_test::write_file(
        "swapped.json", R"({"MixingCoefficientEnable":true,"MixingWeighting":[{"InputChannel":
            2,"InputChannelLayout":"1.0","OutputChannel":2,"Parameters":[0,1,1,0]}]})");
    const std::string folder = zel_test::write_coefficients();
    const stream_setup setup{16, 2, 16, 2, 48000};
    const zel_test::weight_matrix usual = matrix_for("1.0", 2, 2);
    const zel_test::weight_matrix swap{{0, 1}, {1, 0}};

    ASSERT_NO_FATAL_FAILURE(open_and_start(setup));
    chain_model model(setup, usual);
    set_path_on(virtual_card, "FC mixing coef file", swapped);
    EXPECT_EQ(read_blocks(3), expected(model, 3));
    change("PCM Slave Active", 1);
    EXPECT_EQ(read_blocks(1), expected(model, 1));
    model = chain_model(setup, swap);
    EXPECT_EQ(read_blocks(4), expected(model, 4));
    close();

    set_path_on(virtual_card, "FC mixing coef file", folder + "/voice_channel_mixing_coef.json");
    set_path_on(virtual_card, "FC delay coef file", "/nowhere.json");
    ASSERT_NO_FATAL_FAILURE(open_and_start(setup));
    model = chain_model(setup, usual, {0, 0});
    EXPECT_EQ(read_blocks(4), expected(model, 4));
    EXPECT_TRUE(zel_test::log_has("open delay coefficient file /nowhere.json fail"));
    set_path_on(virtual_card, "FC delay coef file", folder + "/voice_channel_delay_coef.json");
}

TEST_F(virtual_mixer_test, a_card_that_cannot_be_followed_ends_the_sound_until_it_can) {
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    EXPECT_EQ(read_blocks(2), expected(kUsual, 2));
    change("PCM Slave Rate", 44100);  // no way from there to 16000 Hz
    const int reads = value("Sim Reads");
    set("Sim Granted Frames", 1536);
    read(512);
    for (int i = 0; i < 300 && !zel_test::log_has("fatal error"); ++i) {
        usleep(10'000);
    }
    EXPECT_TRUE(zel_test::log_has("fatal error can't open DD more than 10 times"));
    EXPECT_EQ(zel_test::log_count("restart fc fail count"), 10U);
    EXPECT_EQ(value("Sim Reads"), reads);
    change("PCM Slave Rate", 48000);
    ASSERT_TRUE(wait_for_read_after(reads));
    EXPECT_EQ(read_blocks(3), expected(kUsual, 3));
    EXPECT_EQ(take_events(), 1);
}

TEST_F(virtual_mixer_test, real_time_goes_on_across_restarts) {
    set_card(kUsual);
    choose("Sim Pacing", "Clock");
    ASSERT_TRUE(open(kUsual, 512, 8));
    int late_reads = 0;  // whose newest frame is older than two blocks
    std::int64_t before = 0;
    std::int64_t lost = 0;
    for (int b = 0; b <= 60; ++b) {
        if (b % 20 == 10) {
            change("PCM Slave Active", 1);
        }
        read(512);
        timespec clock{};
        clock_gettime(CLOCK_MONOTONIC, &clock);
        const auto [newest_ns, left] = newest();
        const std::int64_t age = clock.tv_sec * 1'000'000'000LL + clock.tv_nsec - newest_ns;
        EXPECT_GE(age, 0);
        late_reads += age > 70'000'000 ? 1 : 0;
        // Capture time of the frame that was read last.
        const std::int64_t now = newest_ns - std::int64_t{left} * 1'000'000'000 / 16000;
        if (b > 0) {
            EXPECT_GE(now - before, 31'000'000) << "time stands still or goes back at block " << b;
            lost += now - before - 32'000'000;
        }
        before = now;
    }
    // What a restart loses is the time it takes, and no more than a few blocks.
    EXPECT_GE(lost, -1'000'000);
    EXPECT_LT(lost, 3 * 3 * 32'000'000LL);
    EXPECT_EQ(take_events(), 3);
    EXPECT_LT(late_reads, 30);
}

}  // namespace

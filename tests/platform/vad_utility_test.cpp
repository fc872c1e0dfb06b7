#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <utility>

#include "search_lists.h"
#include "test_folder.h"
#include "zel_vad_utility.h"

namespace {

TEST(vad_utility, timestamps_move_back_by_what_is_buffered) {
    const struct {
        unsigned int avail, rate;
        timespec before, after;
    } cases[] = {
        {0, 48000, {5, 7}, {5, 7}},
        {1536, 48000, {5, 10'000'000}, {4, 978'000'000}},
        {441, 44100, {1, 0}, {0, 990'000'000}},
        {4294967295U, 8000, {1, 0}, {0, 0}},  // never before the beginning of time
    };
    for (const auto& c : cases) {
        timespec ts = c.before;
        EXPECT_EQ(adjust_timestamp(c.avail, c.rate, &ts), 0);
        EXPECT_EQ(ts.tv_sec, c.after.tv_sec) << c.avail;
        EXPECT_EQ(ts.tv_nsec, c.after.tv_nsec) << c.avail;
    }
    timespec ts{1, 2};
    EXPECT_EQ(adjust_timestamp(1, 0, &ts), -EINVAL);
    EXPECT_EQ(adjust_timestamp(1, 48000, nullptr), -EINVAL);
}

TEST(vad_utility, capture_devices_are_found_by_name) {
    using numbers = std::pair<unsigned int, unsigned int>;
    numbers found{99, 99};
    auto& [card, device] = found;
    EXPECT_EQ(search_snd_device("Nobody's Device", &card, &device), -ENODEV);
    EXPECT_EQ(found, (numbers{99, 99}));
    EXPECT_EQ(search_snd_device("Loopback Capture_I2S", nullptr, &device), -EINVAL);
    EXPECT_EQ(search_snd_device("Loopback Capture_I2S", &card, &device), 0);
    EXPECT_EQ(found, (numbers{0, 0}));
    EXPECT_TRUE(search_card_definitions("Format Converter Capture", &card, &device));
    EXPECT_EQ(found, (numbers{70, 70}));

    const std::string list =
        zel_test::write_file("pcm",
                             "garbage\n"
                             "00-00: HDA : Loopback Capture_I2S : playback 1\n"
                             "01-03: Loopback Capture_I2S x : other : capture 1\n"
                             "02-17: id : Loopback Capture_I2S : playback 1 : capture 1\n");
    EXPECT_TRUE(search_pcm_list(list.c_str(), "Loopback Capture_I2S", &card, &device));
    EXPECT_EQ(found, (numbers{2, 17}));
    EXPECT_FALSE(search_pcm_list("/nowhere", "Loopback Capture_I2S", &card, &device));
}

}  // namespace

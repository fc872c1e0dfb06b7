#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <utility>

#include "search_lists.h"
#include "status.h"
#include "test_folder.h"
#include "zel_vad_utility.h"

namespace {

TEST(vad_utility, capture_devices_are_found_by_name) {
    using numbers = std::pair<unsigned int, unsigned int>;
    numbers found{99, 99};
    auto& [card, device] = found;
    EXPECT_STATUS(search_snd_device("Nobody's Device", &card, &device), -ENODEV);
    EXPECT_EQ(found, (numbers{99, 99}));
    EXPECT_STATUS(search_snd_device("Loopback Capture_I2S", nullptr, &device), -EINVAL);
    EXPECT_STATUS(search_snd_device("Loopback Capture_I2S", &card, &device), 0);
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

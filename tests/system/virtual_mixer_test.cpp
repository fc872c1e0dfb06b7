// The virtual card's mixer as a client sees it through tinyalsa, beside the card's own.

#include <gtest/gtest.h>
#include <tinyalsa/mixer.h>

#include <cstring>
#include <numeric>
#include <utility>

#include "footprint.h"
#include "stream_fixture.h"

namespace {

using zel_test::footprint;

constexpr unsigned int kOwn = 3;

using virtual_mixer_test = zel_test::virtual_card_fixture;

TEST_F(virtual_mixer_test, values_are_the_cards_in_both_directions) {
    const auto control = [](mixer* of) {
        return [of](const char* name) { return mixer_get_ctl_by_name(of, name); };
    };
    const auto ours = control(virtual_card);
    const auto theirs = control(card);

    EXPECT_EQ(mixer_get_num_ctls(virtual_card), mixer_get_num_ctls(card) + kOwn);
    const long gains[2] = {30, 40};
    EXPECT_EQ(mixer_ctl_set_array(ours("Loopback Volume"), gains, 2), 0);
    EXPECT_EQ(mixer_ctl_get_value(theirs("Loopback Volume"), 1), 40);
    set("Loopback Volume", 77);
    EXPECT_EQ(mixer_ctl_get_value(ours("Loopback Volume"), 0), 77);
    EXPECT_NE(mixer_ctl_set_value(ours("Loopback Volume"), 1, 101), 0);
    EXPECT_EQ(mixer_ctl_get_value(theirs("Loopback Volume"), 1), 40);
    const long full[2] = {100, 100};
    EXPECT_EQ(mixer_ctl_set_array(theirs("Loopback Volume"), full, 2), 0);

    choose_on(virtual_card, "Loopback Signal", "Chirp");
    for (const auto& side : {ours, theirs}) {
        EXPECT_EQ(mixer_ctl_get_value(side("Loopback Signal"), 0), 2);
    }
    unsigned char bytes[64];
    for (const auto& [name, size] :
         {std::pair{"Loopback Calibration", 16U}, {"Loopback Tuning", 64U}}) {
        std::iota(bytes, bytes + size, static_cast<unsigned char>(size));
        EXPECT_EQ(mixer_ctl_set_array(ours(name), bytes, size), 0);
        for (const auto& side : {ours, theirs}) {
            unsigned char back[64] = {};
            EXPECT_EQ(mixer_ctl_get_array(side(name), back, size), 0);
            EXPECT_EQ(std::memcmp(bytes, back, size), 0) << name;
        }
        EXPECT_NE(mixer_ctl_set_array(ours(name), bytes, size + 1), 0) << name;
    }
}

TEST_F(virtual_mixer_test, thousands_of_opens_leave_nothing_behind) {
    const auto grown_bytes = [](unsigned int number, int rounds) {
        const std::size_t before = footprint::now().heap_bytes;
        for (int i = 0; i < rounds; ++i) {
            mixer* opened = mixer_open(number);
            EXPECT_NE(opened, nullptr);
            if (i % 2 == 0) {
                EXPECT_EQ(mixer_subscribe_events(opened, 1), 0);
            }
            mixer_close(opened);
        }
        return static_cast<long>(footprint::now().heap_bytes - before);
    };
    grown_bytes(70, 100);
    const long descriptors = footprint::now().descriptors;
    const long tinyalsas_own = grown_bytes(0, 2000);  // some versions keep a little of each open
    // Every open of the virtual card opens the real one, too.
    EXPECT_LT(grown_bytes(70, 2000), 2 * tinyalsas_own + 4096) << "less than two bytes a round";
    EXPECT_EQ(footprint::now().descriptors, descriptors);
    EXPECT_NE(mixer_ctl_get_value(mixer_get_ctl(virtual_card, kOwn), 0), -EINVAL);
}

}  // namespace

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

TEST_F(virtual_mixer_test, lists_the_cards_controls_after_its_own) {
    const unsigned int controls = mixer_get_num_ctls(card);
    ASSERT_EQ(mixer_get_num_ctls(virtual_card), controls + kOwn);
    const char* const own[] = {"FC delay coef file", "FC mixing coef file", "FC log level"};
    for (unsigned int i = 0; i < kOwn; ++i) {
        EXPECT_STREQ(mixer_ctl_get_name(mixer_get_ctl(virtual_card, i)), own[i]);
    }
    for (unsigned int k = 0; k < controls; ++k) {
        mixer_ctl* ours = mixer_get_ctl(virtual_card, k + kOwn);
        mixer_ctl* theirs = mixer_get_ctl(card, k);
        SCOPED_TRACE(mixer_ctl_get_name(theirs));
        EXPECT_STREQ(mixer_ctl_get_name(ours), mixer_ctl_get_name(theirs));
        EXPECT_EQ(mixer_ctl_get_type(ours), mixer_ctl_get_type(theirs));
        EXPECT_EQ(mixer_ctl_get_num_values(ours), mixer_ctl_get_num_values(theirs));
        EXPECT_EQ(mixer_ctl_is_access_tlv_rw(ours), mixer_ctl_is_access_tlv_rw(theirs));
        EXPECT_EQ(mixer_ctl_get_range_min(ours), mixer_ctl_get_range_min(theirs));
        EXPECT_EQ(mixer_ctl_get_range_max(ours), mixer_ctl_get_range_max(theirs));
        if (mixer_ctl_get_type(theirs) != MIXER_CTL_TYPE_ENUM) {
            continue;
        }
        ASSERT_EQ(mixer_ctl_get_num_enums(ours), mixer_ctl_get_num_enums(theirs));
        for (unsigned int i = 0; i < mixer_ctl_get_num_enums(ours); ++i) {
            EXPECT_STREQ(mixer_ctl_get_enum_string(ours, i), mixer_ctl_get_enum_string(theirs, i));
        }
    }
}

TEST_F(virtual_mixer_test, values_are_the_cards_in_both_directions) {
    const auto ours = [this](const char* name) {
        return mixer_get_ctl_by_name(virtual_card, name);
    };
    const auto theirs = [this](const char* name) { return mixer_get_ctl_by_name(card, name); };

    const long gains[2] = {30, 40};
    EXPECT_EQ(mixer_ctl_set_array(ours("Loopback Volume"), gains, 2), 0);
    EXPECT_EQ(mixer_ctl_get_value(theirs("Loopback Volume"), 1), 40);
    EXPECT_EQ(mixer_ctl_set_value(theirs("Loopback Volume"), 0, 77), 0);
    EXPECT_EQ(mixer_ctl_get_value(ours("Loopback Volume"), 0), 77);
    EXPECT_NE(mixer_ctl_set_value(ours("Loopback Volume"), 1, 101), 0);
    EXPECT_EQ(mixer_ctl_get_value(theirs("Loopback Volume"), 1), 40);

    EXPECT_EQ(mixer_ctl_set_enum_by_string(ours("Loopback Signal"), "Chirp"), 0);
    EXPECT_EQ(mixer_ctl_get_value(theirs("Loopback Signal"), 0), 2);
    EXPECT_EQ(mixer_ctl_get_value(ours("Loopback Signal"), 0), 2);

    unsigned char bytes[64];
    unsigned char back[64] = {};
    for (const auto& [name, size] :
         {std::pair{"Loopback Calibration", 16U}, {"Loopback Tuning", 64U}}) {
        std::iota(bytes, bytes + size, static_cast<unsigned char>(size));
        EXPECT_EQ(mixer_ctl_set_array(ours(name), bytes, size), 0);
        EXPECT_EQ(mixer_ctl_get_array(theirs(name), back, size), 0);
        EXPECT_EQ(std::memcmp(bytes, back, size), 0) << name;
        std::memset(back, 0, size);
        EXPECT_EQ(mixer_ctl_get_array(ours(name), back, size), 0);
        EXPECT_EQ(std::memcmp(bytes, back, size), 0) << name;
        EXPECT_NE(mixer_ctl_set_array(ours(name), bytes, size + 1), 0) << name;
    }
    const long full[2] = {100, 100};
    EXPECT_EQ(mixer_ctl_set_array(theirs("Loopback Volume"), full, 2), 0);
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

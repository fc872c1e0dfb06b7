// The mixer record's control array: what it shows, and what is left when it cannot be built.

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "allocation_faults.h"
#include "mixer_record.h"

using zel_test::call;
using zel_test::mixer_record;
namespace mixer_ops = zel_format_converter_mixer_plugin;

namespace {

void expect_slot(const snd_control& slot, const char* name, int type, unsigned int access) {
    EXPECT_STREQ(slot.name, name);
    EXPECT_EQ(slot.iface, SNDRV_CTL_ELEM_IFACE_MIXER);
    EXPECT_EQ(slot.type, type);
    EXPECT_EQ(slot.access, access);
    const bool by_value = access == 3;
    EXPECT_EQ(slot.get == mixer_ops::get, by_value);
    EXPECT_EQ(slot.put == mixer_ops::put, by_value);
    EXPECT_EQ(slot.private_value, 0U);
    EXPECT_EQ(slot.private_data, nullptr);
}

TEST(mixer_lifecycle, own_controls_come_first_then_the_cards_under_their_names) {
    zel_test::use_card_of_all_kinds();
    const mixer_record opened;
    ASSERT_EQ(opened.status, 0);
    EXPECT_EQ(opened.plugin->card, 70U);
    EXPECT_EQ(opened.plugin->priv, nullptr);
    EXPECT_EQ(opened.plugin->event_cnt, 0);
    ASSERT_EQ(opened.plugin->num_controls, 7U);

    expect_slot(opened.slot(0), "FC delay coef file", SNDRV_CTL_ELEM_TYPE_BYTES, 3);
    expect_slot(opened.slot(1), "FC mixing coef file", SNDRV_CTL_ELEM_TYPE_BYTES, 3);
    expect_slot(opened.slot(2), "FC log level", SNDRV_CTL_ELEM_TYPE_ENUMERATED, 3);
    EXPECT_EQ(opened.record<snd_value_bytes>(0).size, 128U);
    EXPECT_EQ(opened.record<snd_value_bytes>(1).size, 128U);
    const auto& levels = opened.record<snd_value_enum>(2);
    ASSERT_EQ(levels.items, 7U);
    const char* const texts[] = {"None", "Fatal", "Error", "Warn", "Info", "Trace", "All"};
    for (unsigned int i = 0; i < 7; ++i) {
        EXPECT_STREQ(levels.texts[i], texts[i]);
    }

    expect_slot(opened.slot(3), "Gain", SNDRV_CTL_ELEM_TYPE_INTEGER, 3);
    const auto& range = opened.record<snd_value_int>(3);
    EXPECT_EQ(range.count, 2U);
    EXPECT_EQ(range.min, -5);
    EXPECT_EQ(range.max, 50);
    EXPECT_EQ(range.step, 0);
    expect_slot(opened.slot(4), "Source", SNDRV_CTL_ELEM_TYPE_ENUMERATED, 3);
    ASSERT_EQ(opened.record<snd_value_enum>(4).items, 2U);
    EXPECT_STREQ(opened.record<snd_value_enum>(4).texts[1], "Bee");
    expect_slot(opened.slot(5), "Blob", SNDRV_CTL_ELEM_TYPE_BYTES, 3);
    EXPECT_EQ(opened.record<snd_value_bytes>(5).size, 4U);
    expect_slot(opened.slot(6), "Tuning", SNDRV_CTL_ELEM_TYPE_BYTES, 0x30);
    const auto& tlv = opened.record<snd_value_tlv_bytes>(6);
    EXPECT_EQ(tlv.size, 3U);
    EXPECT_EQ(tlv.get, mixer_ops::get_tlv);
    EXPECT_EQ(tlv.put, mixer_ops::put_tlv);

    EXPECT_EQ(zel_test::open_handles(), 0) << "the card's mixer is open only while it is looked at";
    const mixer_record second;
    ASSERT_EQ(second.status, 0);
    EXPECT_NE(second.plugin, opened.plugin);
    EXPECT_NE(second.slot(3).name, opened.slot(3).name);
    EXPECT_STREQ(second.slot(3).name, opened.slot(3).name);
}

TEST(mixer_lifecycle, a_card_without_controls_leaves_the_three_own_ones) {
    zel_test::reset_script();
    zel_test::set_controls({});
    const mixer_record opened;
    ASSERT_EQ(opened.status, 0);
    EXPECT_EQ(opened.plugin->num_controls, 3U);
}

TEST(mixer_lifecycle, traces_tell_each_control) {
    zel_test::use_card_of_all_kinds();
    zel_format_converter_mixer_plugin::open(nullptr, 70);  // the converter exists from here on
    zel_test::clear_log();
    mixer_record levels;
    snd_ctl_elem_value trace{};
    trace.value.enumerated.item[0] = 5;
    ASSERT_EQ(levels.put(2, &trace), 0);
    zel_test::clear_log();
    { const mixer_record opened; }
    for (const char* text :
         {"open                :", "+", "enum string:(None), len:4", "add Gain",
          "name=Gain type=1 count=2, min=-5, max=50, step=0\n", "name=Source type=2 items=2",
          "enum string:(Bee), len:3", "ELEM access name=Blob type=3 size=4",
          "TLV access name=Tuning type=3 size=3", "close               :"}) {
        EXPECT_TRUE(zel_test::log_has(text)) << text;
    }
    trace.value.enumerated.item[0] = 4;
    ASSERT_EQ(levels.put(2, &trace), 0);
}

TEST(mixer_lifecycle, what_is_not_its_card_is_refused) {
    zel_test::use_card_of_all_kinds();
    auto* const untouched = reinterpret_cast<mixer_plugin*>(0x10);
    mixer_plugin* plugin = untouched;
    EXPECT_EQ(mixer_ops::open(nullptr, 70), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("Invalid plugin"));
    for (const unsigned int card : {0U, 69U, 71U}) {
        errno = 0;
        EXPECT_EQ(mixer_ops::open(&plugin, card), -EINVAL);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_TRUE(zel_test::log_has("Invalid card id " + std::to_string(card)));
    }
    EXPECT_EQ(plugin, untouched);

    zel_test::clear_log();
    mixer_ops::close(nullptr);
    EXPECT_EQ(zel_test::log_count("Invalid plugin"), 1U);
    plugin = nullptr;
    mixer_ops::close(&plugin);
    EXPECT_EQ(zel_test::take_log().size(), 1U) << "a null record is no news";
}

TEST(mixer_lifecycle, a_card_that_cannot_be_mirrored_whole_leaves_nothing) {
    using control = zel_test::scripted_control;
    const control good{.name = "Gain", .values = {1}};
    const struct {
        std::vector<control> controls;
        int result;
        std::vector<std::string> messages;
    } rows[] = {
        {{good, {.name = "Mute", .kind = MIXER_CTL_TYPE_BOOL, .values = {1}}, good},
         -EINVAL,
         {"Unknown eMixerCtlType:0", "add fc mixer fail", "add mixer control fail"}},
        {{{.name = "IEC", .kind = MIXER_CTL_TYPE_IEC958},
          {.name = "Wide", .kind = MIXER_CTL_TYPE_INT64},
          {.nameless = true, .kind = MIXER_CTL_TYPE_UNKNOWN}},
         -EINVAL,
         {"Unknown eMixerCtlType:4", "Unknown eMixerCtlType:5", "Unknown eMixerCtlType:6"}},
        {{{.nameless = true, .values = {1}}, good}, -EINVAL, {"Fail to get name"}},
        {{{.nameless = true, .kind = MIXER_CTL_TYPE_BYTE, .bytes = {1}}},
         -EINVAL,
         {"Fail to get name"}},
    };
    for (const auto& row : rows) {
        zel_test::reset_script();
        zel_test::set_controls(row.controls);
        zel_test::clear_log();
        mixer_plugin* plugin = nullptr;
        errno = 0;
        EXPECT_EQ(mixer_ops::open(&plugin, 70), row.result);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(plugin, nullptr);
        for (const std::string& message : row.messages) {
            EXPECT_TRUE(zel_test::log_has(message)) << message;
        }
        EXPECT_EQ(zel_test::open_handles(), 0);
    }

    // The second of two texts cannot be read; the controls after it are still looked at.
    zel_test::use_card_of_all_kinds();
    zel_test::fail_call(call::mixer_ctl_get_enum_string, 2, 0);
    zel_test::clear_log();
    EXPECT_EQ(mixer_record().status, -EINVAL);
    EXPECT_TRUE(zel_test::log_has("Fail to get enum string"));
    EXPECT_EQ(zel_test::calls_of(call::mixer_get_ctl), 4);
    zel_test::fail_call(call::mixer_get_ctl, 2, 0);
    EXPECT_EQ(mixer_record().status, -EINVAL);
    EXPECT_TRUE(zel_test::log_has("add_dd_snd_ctl", "Unknown eMixerCtlType:6"));

    zel_test::fail_call(call::mixer_open, 1, 0);
    EXPECT_EQ(mixer_record().status, -ENODEV);
    EXPECT_TRUE(zel_test::log_has("mixer open card 3 fail"));
    EXPECT_EQ(mixer_record().status, 0) << "the next one works";
}

TEST(mixer_lifecycle, a_slot_whose_type_was_changed_is_released_all_the_same) {
    zel_test::use_card_of_all_kinds();
    const mixer_record opened;
    ASSERT_EQ(opened.status, 0);
    for (unsigned int numid = 0; numid < opened.plugin->num_controls; ++numid) {
        opened.slot(numid).type = opened.slot(numid).type == SNDRV_CTL_ELEM_TYPE_INTEGER
                                      ? SNDRV_CTL_ELEM_TYPE_ENUMERATED
                                      : SNDRV_CTL_ELEM_TYPE_INTEGER;
    }
}

TEST(mixer_lifecycle, memory_that_runs_out_at_any_point_leaves_nothing) {
    zel_test::use_card_of_all_kinds();
    ASSERT_EQ(mixer_record().status, 0);
    std::size_t failed = 0;
    while (true) {
        auto* const untouched = reinterpret_cast<mixer_plugin*>(0x10);
        mixer_plugin* plugin = untouched;
        zel_test::fail_allocation(failed + 1);
        const int status = mixer_ops::open(&plugin, 70);
        const bool struck = zel_test::stop_failing_allocations();
        if (!struck) {
            ASSERT_EQ(status, 0);
            mixer_ops::close(&plugin);
            break;
        }
        ++failed;
        EXPECT_EQ(status, -ENOMEM) << "allocation " << failed;
        EXPECT_EQ(plugin, untouched);
        EXPECT_EQ(zel_test::open_handles(), 0);
    }
    // Record and array; a name and a value record for each of 7 slots; Source's list of texts.
    EXPECT_EQ(failed, 2U + 2U * 7U + 1U);
}

}  // namespace

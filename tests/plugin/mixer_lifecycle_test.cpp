// The mixer record's control array: what it shows, and what is left when it cannot be built.

#include <array>

#include "allocation_faults.h"
#include "footprint.h"
#include "mixer_record.h"
#include "test_basics.h"

using namespace zel_test;

namespace {

TEST(mixer_lifecycle, own_controls_come_first_then_the_cards_under_their_names) {
    use_card_of_all_kinds();
    clear_log();
    const mixer_record opened;
    ASSERT_STATUS(opened.status, 0);
    EXPECT_FALSE(log_has("fail")) << "all is well";
    EXPECT_EQ(opened.plugin->card, 70U);
    EXPECT_EQ(opened.plugin->priv, nullptr);
    EXPECT_EQ(opened.plugin->event_cnt, 0);
    const struct {
        const char* name;
        int type;
        unsigned int access;
    } slots[] = {{"FC delay coef file", SNDRV_CTL_ELEM_TYPE_BYTES, 3},
                 {"FC mixing coef file", SNDRV_CTL_ELEM_TYPE_BYTES, 3},
                 {"FC log level", SNDRV_CTL_ELEM_TYPE_ENUMERATED, 3},
                 {"Gain", SNDRV_CTL_ELEM_TYPE_INTEGER, 3},
                 {"Source", SNDRV_CTL_ELEM_TYPE_ENUMERATED, 3},
                 {"Blob", SNDRV_CTL_ELEM_TYPE_BYTES, 3},
                 {"Tuning", SNDRV_CTL_ELEM_TYPE_BYTES, 0x30}};
    ASSERT_EQ(opened.plugin->num_controls, std::size(slots));
    for (unsigned int numid = 0; numid < std::size(slots); ++numid) {
        const snd_control& slot = opened.slot(numid);
        const bool by_value = slots[numid].access == 3;
        EXPECT_STREQ(slot.name, slots[numid].name);
        EXPECT_EQ(slot.iface, SNDRV_CTL_ELEM_IFACE_MIXER);
        EXPECT_EQ(slot.type, slots[numid].type);
        EXPECT_EQ(slot.access, slots[numid].access);
        EXPECT_EQ(slot.get == mixer_ops::get, by_value);
        EXPECT_EQ(slot.put == mixer_ops::put, by_value);
        EXPECT_EQ(slot.private_value, 0U);
        EXPECT_EQ(slot.private_data, nullptr);
    }
    for (const auto& [numid, size] : {std::pair{0U, 128U}, {1U, 128U}, {kBlob, 4U}}) {
        EXPECT_EQ(opened.record<snd_value_bytes>(numid).size, size);
    }
    const auto texts_of = [&opened](unsigned int numid) {
        const auto& record = opened.record<snd_value_enum>(numid);
        return std::vector<std::string>(record.texts, record.texts + record.items);
    };
    EXPECT_EQ(texts_of(2),
              (std::vector<std::string>{"None", "Fatal", "Error", "Warn", "Info", "Trace", "All"}));
    EXPECT_EQ(texts_of(kSource), (std::vector<std::string>{"A", "Bee"}));
    const auto& [count, min, max, step] = opened.record<snd_value_int>(kGain);
    EXPECT_EQ((std::array<int, 4>{static_cast<int>(count), min, max, step}),
              (std::array<int, 4>{2, -5, 50, 0}));
    const auto& tlv = opened.record<snd_value_tlv_bytes>(kTuning);
    EXPECT_EQ(tlv.size, 3U);
    EXPECT_EQ(tlv.get, mixer_ops::get_tlv);
    EXPECT_EQ(tlv.put, mixer_ops::put_tlv);

    EXPECT_EQ(open_handles(), 0) << "the card's mixer is open only while it is looked at";
    const mixer_record second;
    ASSERT_STATUS(second.status, 0);
    EXPECT_NE(second.plugin, opened.plugin);
    EXPECT_NE(second.slot(kGain).name, opened.slot(kGain).name);
    set_controls({});
    EXPECT_EQ(mixer_record().plugin->num_controls, 3U) << "the own ones";
}

TEST(mixer_lifecycle, a_closed_record_takes_all_along) {
    use_card_of_all_kinds();
    EXPECT_STATUS(mixer_record().status, 0) << "the converter is there";
    const std::size_t before = footprint::now().heap_bytes;
    for (int i = 0; i < 400; ++i) {
        EXPECT_STATUS(mixer_record().status, 0);
        fail_call(call::mixer_ctl_get_enum_string, 2, 0);
        EXPECT_STATUS(mixer_record().status, -EINVAL);
        clear_log();
    }
    EXPECT_LT(footprint::now().heap_bytes, before + 16'384) << "a record has 7 names";
}

TEST(mixer_lifecycle, what_is_not_its_card_is_refused) {
    use_card_of_all_kinds();
    auto* const untouched = reinterpret_cast<mixer_plugin*>(0x10);
    mixer_plugin* plugin = untouched;
    EXPECT_STATUS(mixer_ops::open(nullptr, 70), -EINVAL);
    EXPECT_TRUE(log_has("Invalid plugin"));
    for (const unsigned int card : {0U, 69U, 71U}) {
        errno = 0;
        EXPECT_STATUS(mixer_ops::open(&plugin, card), -EINVAL);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_TRUE(log_has("Invalid card id " + std::to_string(card)));
    }
    EXPECT_EQ(plugin, untouched);

    clear_log();
    mixer_ops::close(nullptr);
    EXPECT_EQ(log_count("Invalid plugin"), 1U);
    plugin = nullptr;
    mixer_ops::close(&plugin);
    EXPECT_EQ(log_count(""), 1U) << "a null record is no news";
}

TEST(mixer_lifecycle, a_card_that_cannot_be_mirrored_whole_leaves_nothing) {
    const scripted_control good{.name = "Gain", .values = {1}};
    const struct {
        std::vector<scripted_control> controls;
        std::vector<std::string> messages;
    } rows[] = {
        {{good, {.name = "Mute", .kind = MIXER_CTL_TYPE_BOOL, .values = {1}}, good},
         {"Unknown eMixerCtlType:0", "add fc mixer fail", "add mixer control fail"}},
        {{{.name = "IEC", .kind = MIXER_CTL_TYPE_IEC958},
          {.name = "Wide", .kind = MIXER_CTL_TYPE_INT64},
          {.nameless = true, .kind = MIXER_CTL_TYPE_UNKNOWN}},
         {"Unknown eMixerCtlType:4", "Unknown eMixerCtlType:5", "Unknown eMixerCtlType:6"}},
        {{{.nameless = true, .values = {1}}, good}, {"Fail to get name"}},
        {{{.nameless = true, .kind = MIXER_CTL_TYPE_BYTE, .bytes = {1}}}, {"Fail to get name"}},
    };
    for (const auto& row : rows) {
        set_controls(row.controls);
        clear_log();
        mixer_plugin* plugin = nullptr;
        errno = 0;
        EXPECT_STATUS(mixer_ops::open(&plugin, 70), -EINVAL);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(plugin, nullptr);
        for (const std::string& message : row.messages) {
            EXPECT_TRUE(log_has(message)) << message;
        }
        EXPECT_EQ(open_handles(), 0);
    }

    // The second of two texts cannot be read; the controls after it are still looked at.
    use_card_of_all_kinds();
    fail_call(call::mixer_ctl_get_enum_string, 2, 0);
    clear_log();
    EXPECT_STATUS(mixer_record().status, -EINVAL);
    EXPECT_TRUE(log_has("Fail to get enum string"));
    EXPECT_EQ(calls_of(call::mixer_get_ctl), 4);
    fail_call(call::mixer_get_ctl, 2, 0);
    EXPECT_STATUS(mixer_record().status, -EINVAL);
    EXPECT_TRUE(log_has("add_dd_snd_ctl", "Unknown eMixerCtlType:6"));

    fail_call(call::mixer_open, 1, 0);
    EXPECT_STATUS(mixer_record().status, -ENODEV);
    EXPECT_TRUE(log_has("mixer open card 3 fail"));
    EXPECT_STATUS(mixer_record().status, 0) << "the next one works";
}

TEST(mixer_lifecycle, memory_that_runs_out_at_any_point_leaves_nothing) {
    use_card_of_all_kinds();
    ASSERT_STATUS(mixer_record().status, 0);
    auto* const untouched = reinterpret_cast<mixer_plugin*>(0x10);
    std::size_t failed = 0;
    for (bool struck = true; struck; failed += struck ? 1 : 0) {
        mixer_plugin* plugin = untouched;
        fail_allocation(failed + 1);
        const int status = mixer_ops::open(&plugin, 70);
        struck = stop_failing_allocations();
        EXPECT_STATUS(status, struck ? -ENOMEM : 0) << "allocation " << failed + 1;
        EXPECT_EQ(plugin == untouched, struck);
        EXPECT_EQ(open_handles(), 0);
        if (!struck) {
            mixer_ops::close(&plugin);
        }
    }
    // Record and array; a name and a value record for each of 7 slots; Source's list of texts.
    EXPECT_EQ(failed, 2U + 2U * 7U + 1U);
}

}  // namespace

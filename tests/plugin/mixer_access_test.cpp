// Values and TLV data of the mixer's controls: own ones and mirrored ones.

#include <gtest/gtest.h>

#include <cerrno>
#include <limits>
#include <string>

#include "mixer_record.h"
#include "zel_format_converter.h"

using namespace zel_test;

namespace {

class mixer_access : public testing::Test {
  protected:
    void SetUp() override {
        use_card_of_all_kinds();
        opened = std::make_unique<mixer_record>();
        ASSERT_EQ(opened->status, 0);
        clear_log();
    }
    void TearDown() override {
        value.value.enumerated.item[0] = 4;
        EXPECT_EQ(opened->put(2, &value), 0);
        opened.reset();
        EXPECT_EQ(open_handles(), 0) << "every access closes the card's mixer";
    }
    int put_path(unsigned int numid, const std::string& path) {
        std::memset(value.value.bytes.data, 0, sizeof(value.value.bytes.data));
        path.copy(reinterpret_cast<char*>(value.value.bytes.data), 511);
        return opened->put(numid, &value);
    }
    std::string path(unsigned int numid) {
        std::memset(value.value.bytes.data, 0, sizeof(value.value.bytes.data));
        EXPECT_EQ(opened->get(numid, &value), 0);
        return reinterpret_cast<const char*>(value.value.bytes.data);
    }

    std::unique_ptr<mixer_record> opened;
    snd_ctl_elem_value value{};
};

TEST_F(mixer_access, paths_are_the_converters) {
    EXPECT_EQ(path(0), "/nonexistent/delay.json");
    EXPECT_EQ(put_path(0, "/a/delay.json"), 0);
    EXPECT_EQ(put_path(1, "/b.json"), 0);
    EXPECT_EQ(path(0), "/a/delay.json");
    EXPECT_EQ(path(1), "/b.json");
    // Only the path's characters are written.
    std::memset(value.value.bytes.data, 'x', sizeof(value.value.bytes.data));
    EXPECT_EQ(opened->get(1, &value), 0);
    EXPECT_EQ(std::memcmp(value.value.bytes.data, "/b.jsonx", 8), 0);

    EXPECT_EQ(put_path(1, std::string(127, 'p')), 0);
    EXPECT_EQ(path(1), std::string(127, 'p'));
    errno = 0;
    EXPECT_EQ(put_path(1, std::string(128, 'q')), -EINVAL);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(path(1), std::string(127, 'p'));
    EXPECT_EQ(put_path(0, "/nonexistent/delay.json"), 0);
}

TEST_F(mixer_access, log_level_items_stand_for_levels_and_act_at_once) {
    EXPECT_EQ(opened->get(2, &value), 0);
    EXPECT_EQ(value.value.enumerated.item[0], 4U) << "Info";
    const std::uint32_t levels[] = {0, 16, 32, 48, 64, 80, 240};
    for (unsigned int item = 0; item < 7; ++item) {
        value.value.enumerated.item[0] = item;
        EXPECT_EQ(opened->put(2, &value), 0);
        EXPECT_EQ(zel_format_converter::u32LOG_LEVEL, levels[item]);
        clear_log();
        value.value.enumerated.item[0] = 99;
        EXPECT_EQ(opened->get(2, &value), 0);
        EXPECT_EQ(value.value.enumerated.item[0], item);
        EXPECT_EQ(log_has(" +"), item >= 5) << "traces at level " << levels[item];
        mixer_ops::close(nullptr);
        EXPECT_EQ(log_has("Invalid plugin"), item >= 2) << "errors at level " << levels[item];
    }
    for (const unsigned int item : {7U, 8U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        value.value.enumerated.item[0] = item;
        EXPECT_EQ(opened->put(2, &value), -EINVAL);
        EXPECT_EQ(zel_format_converter::u32LOG_LEVEL, 240U);
    }
    zel_format_converter::u32LOG_LEVEL = 65;
    EXPECT_EQ(opened->get(2, &value), -EINVAL);
    EXPECT_TRUE(log_has("FC debug value 65 not defined"));
}

TEST_F(mixer_access, null_pointers_are_refused_by_name) {
    snd_control nameless = opened->slot(kTuning);
    nameless.name = nullptr;
    tlv_request request(kTuning, 3);
    mixer_plugin* plugin = opened->plugin;
    snd_control* slot = &opened->slot(kTuning);
    const auto expect_all = [&](const char* name, auto operation, auto* record) {
        using record_type = decltype(record);
        const struct {
            int status;
            const char* message;
        } rows[] = {{operation(nullptr, slot, record), "pstMixerPlugin is null"},
                    {operation(plugin, nullptr, record), "Invalid sound control"},
                    {operation(plugin, slot, record_type{nullptr}), "Invalid elem value"},
                    {operation(plugin, &nameless, record), "control name is nullptr"},
                    // The first fault in this order is the one that is told.
                    {operation(nullptr, nullptr, record_type{nullptr}), "pstMixerPlugin is null"}};
        for (const auto& row : rows) {
            EXPECT_EQ(row.status, -EINVAL) << row.message;
            EXPECT_TRUE(log_has(name, row.message));
        }
        EXPECT_EQ(log_count("pstMixerPlugin is null"), 2U);
        clear_log();
    };
    expect_all("get", mixer_ops::get, &value);
    expect_all("put", mixer_ops::put, &value);
    expect_all("get_tlv", mixer_ops::get_tlv, request.tlv);
    expect_all("put_tlv", mixer_ops::put_tlv, request.tlv);
}

TEST_F(mixer_access, integers_go_through_element_by_element) {
    EXPECT_EQ(opened->get(kGain, &value), 0);
    EXPECT_EQ(value.value.integer.value[0], 10);
    EXPECT_EQ(value.value.integer.value[1], 20);
    value.value.integer.value[0] = -5;
    value.value.integer.value[1] = std::numeric_limits<long>::max();  // not its low half, -1
    EXPECT_EQ(opened->put(kGain, &value), 0);
    EXPECT_EQ(control_state("Gain").values, (std::vector<int>{-5, 0x7FFFFFFF}));
}

TEST_F(mixer_access, the_last_element_decides_a_writes_result) {
    set_controls({{.name = "Gain", .values = {1, 2}, .refused_element = 0}});
    value.value.integer.value[0] = 7;
    value.value.integer.value[1] = 8;
    EXPECT_EQ(opened->put(kGain, &value), 0);
    EXPECT_EQ(control_state("Gain").values, (std::vector<int>{1, 8}));
    EXPECT_FALSE(log_has("fail"));
    set_controls({{.name = "Gain", .values = {1, 2}, .refused_element = 1}});
    EXPECT_EQ(opened->put(kGain, &value), -EPERM);
    EXPECT_EQ(control_state("Gain").values, (std::vector<int>{7, 2}));
    EXPECT_TRUE(log_has("mixer_ctl_set_value fail -1"));
    EXPECT_TRUE(log_has("put to DD fail"));
}

TEST_F(mixer_access, enumerated_reads_give_the_first_item_in_every_place) {
    EXPECT_EQ(opened->get(kSource, &value), 0);
    EXPECT_EQ(value.value.enumerated.item[0], 1U);
    EXPECT_EQ(value.value.enumerated.item[1], 1U);
    value.value.enumerated.item[0] = 0;
    EXPECT_EQ(opened->put(kSource, &value), 0);
    EXPECT_EQ(control_state("Source").values, (std::vector<int>{0, 1}));
}

TEST_F(mixer_access, bytes_go_through_whole) {
    EXPECT_EQ(opened->get(kBlob, &value), 0);
    EXPECT_EQ(std::memcmp(value.value.bytes.data, "\1\2\3\4", 5), 0);
    std::memcpy(value.value.bytes.data, "abcde", 5);
    EXPECT_EQ(opened->put(kBlob, &value), 0);
    EXPECT_EQ(control_state("Blob").bytes, (std::vector<unsigned char>{'a', 'b', 'c', 'd'}));
    fail_call(call::mixer_ctl_get_array, 1, -EBUSY);
    EXPECT_EQ(opened->get(kBlob, &value), -EBUSY);
    EXPECT_TRUE(log_has("get_from_dd", "mixer_ctl_get_array fail -16"));
    EXPECT_TRUE(log_has("get", "get from DD fail"));
    fail_call(call::mixer_ctl_set_array, 1, -EBUSY);
    EXPECT_EQ(opened->put(kBlob, &value), -EBUSY);
    EXPECT_TRUE(log_has("put_to_dd", "mixer_ctl_set_array fail -16"));
    EXPECT_TRUE(log_has("put", "put to DD fail"));
}

TEST_F(mixer_access, the_card_decides_what_there_is_now) {
    // Every access looks anew: controls that are gone, or that have grown beyond a value record.
    set_controls({{.name = "Gain", .values = std::vector<int>(129)}});
    EXPECT_EQ(opened->get(kGain, &value), -EINVAL);
    EXPECT_EQ(opened->put(kGain, &value), -EINVAL);
    EXPECT_TRUE(log_has("control has 129 elements, more than 128"));
    for (const unsigned int numid : {kSource, kBlob}) {
        clear_log();
        EXPECT_EQ(opened->get(numid, &value), -EINVAL);
        EXPECT_EQ(opened->put(numid, &value), -EINVAL);
        EXPECT_EQ(log_count("Unknown mixer ID " + std::to_string(numid - 3) + " in submodule"), 2U);
    }
    set_controls(
        {{},
         {},
         {.name = "Blob", .kind = MIXER_CTL_TYPE_BYTE, .bytes = std::vector<unsigned char>(513)}});
    EXPECT_EQ(opened->get(kBlob, &value), -EINVAL);
    // Another kind's array has longer elements than bytes.
    const scripted_control wide{.values = {1, 2}, .bytes = {1, 2}};
    set_controls({wide, wide, wide, wide});
    const auto& tuning = opened->record<snd_value_tlv_bytes>(kTuning);
    tlv_request request(kTuning, 2);
    clear_log();
    EXPECT_EQ(opened->get(kBlob, &value), -EINVAL);
    EXPECT_EQ(opened->put(kBlob, &value), -EINVAL);
    EXPECT_EQ(tuning.get(opened->plugin, &opened->slot(kTuning), request.tlv), -EINVAL);
    EXPECT_EQ(tuning.put(opened->plugin, &opened->slot(kTuning), request.tlv), -EINVAL);
    EXPECT_EQ(log_count("control is of kind 1 now, not of bytes"), 4U);
    fail_call(call::mixer_open, 1, 0, 2);
    EXPECT_EQ(opened->get(kGain, &value), -ENODEV);
    errno = 0;
    EXPECT_EQ(opened->put(kGain, &value), -ENODEV);
    EXPECT_EQ(errno, ENODEV);
    EXPECT_EQ(log_count("mixer open card 3 fail"), 2U);
}

TEST_F(mixer_access, a_card_control_with_an_own_name_is_the_own_one) {
    set_controls({{.name = "FC log level", .values = {3}}});
    const mixer_record record;
    EXPECT_EQ(record.get(kGain, &value), 0);
    EXPECT_EQ(value.value.enumerated.item[0], 4U);
}

TEST_F(mixer_access, tlv_data_goes_through_within_the_controls_size) {
    const auto& handlers = opened->record<snd_value_tlv_bytes>(kTuning);
    snd_control* slot = &opened->slot(kTuning);
    tlv_request whole(kTuning, 3);
    EXPECT_EQ(handlers.get(opened->plugin, slot, whole.tlv), 0);
    EXPECT_EQ(std::memcmp(whole.payload(), "\x9\x8\x7", 4), 0);
    tlv_request part(kTuning, 2);
    std::memcpy(part.payload(), "ab", 2);
    EXPECT_EQ(handlers.put(opened->plugin, slot, part.tlv), 0);
    EXPECT_EQ(control_state("Tuning").bytes, (std::vector<unsigned char>{'a', 'b', 7}));

    tlv_request more(kTuning, 4);
    EXPECT_EQ(handlers.get(opened->plugin, slot, more.tlv), -EINVAL);
    EXPECT_EQ(handlers.put(opened->plugin, slot, more.tlv), -EINVAL);
    EXPECT_EQ(log_count("tlv length 4 is more than the control's 3 bytes"), 2U);
    EXPECT_EQ(calls_of(call::mixer_ctl_get_array), 1);

    fail_call(call::mixer_ctl_get_array, 1, -EIO);
    fail_call(call::mixer_ctl_set_array, 1, -EIO);
    EXPECT_EQ(handlers.get(opened->plugin, slot, whole.tlv), -EIO);
    EXPECT_TRUE(log_has("get_tlv", "mixer_ctl_get_array fail -5"));
    errno = 0;
    EXPECT_EQ(handlers.put(opened->plugin, slot, whole.tlv), -EIO);
    EXPECT_EQ(errno, EIO);
    EXPECT_TRUE(log_has("put_tlv", "mixer_ctl_set_array fail -5"));

    // A slot without a value record: the card tells the size.
    snd_control bare = *slot;
    bare.value = nullptr;
    EXPECT_EQ(handlers.get(opened->plugin, &bare, whole.tlv), 0);
    EXPECT_EQ(handlers.get(opened->plugin, &bare, more.tlv), -EINVAL);
}

TEST_F(mixer_access, tlv_requests_that_fit_no_tlv_control_are_refused) {
    snd_control half = opened->slot(kTuning);
    half.access = SNDRV_CTL_ELEM_ACCESS_TLV_READ;
    const struct {
        unsigned int numid;
        snd_control* slot;
        const char* message;
    } rows[] = {
        {7, &opened->slot(kTuning), "Unknown mixer ID 4 in submodule"},
        {2, &opened->slot(kTuning), "Unknown mixer ID -1 in submodule"},
        {kGain, &opened->slot(kGain), "snd ctl type 2 is not valid"},
        {kBlob, &opened->slot(kBlob), "snd ctl access 3 is not valid"},
        {kTuning, &half, "snd ctl access 16 is not valid"},
    };
    for (const auto& row : rows) {
        tlv_request request(row.numid, 1);
        clear_log();
        EXPECT_EQ(mixer_ops::get_tlv(opened->plugin, row.slot, request.tlv), -EINVAL);
        EXPECT_EQ(mixer_ops::put_tlv(opened->plugin, row.slot, request.tlv), -EINVAL);
        EXPECT_EQ(log_count(row.message), 2U) << row.message;
    }
    fail_call(call::mixer_open, 1, 0);
    tlv_request request(kTuning, 1);
    EXPECT_EQ(mixer_ops::get_tlv(opened->plugin, &opened->slot(kTuning), request.tlv), -ENODEV);
    EXPECT_TRUE(log_has("mixer open card 3 fail"));
}

}  // namespace

// Values and TLV data of the mixer's controls: own ones and mirrored ones.

#include "mixer_record.h"
#include "test_basics.h"
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
        EXPECT_STATUS(put_item(4), 0);
        opened.reset();
        EXPECT_EQ(open_handles(), 0) << "every access closes the card's mixer";
    }
    int get(unsigned int numid) { return opened->get(numid, &value); }
    int put(unsigned int numid) { return opened->put(numid, &value); }
    int put_item(unsigned int item) {
        value.value.enumerated.item[0] = item;
        return put(2);
    }
    int put_path(unsigned int numid, const std::string& path) {
        value = {};
        path.copy(reinterpret_cast<char*>(bytes), 511);
        return put(numid);
    }
    std::string path(unsigned int numid) {
        value = {};
        EXPECT_STATUS(get(numid), 0);
        return reinterpret_cast<const char*>(bytes);
    }

    std::unique_ptr<mixer_record> opened;
    snd_ctl_elem_value value{};
    unsigned char* const bytes = value.value.bytes.data;
    long* const integers = value.value.integer.value;
    unsigned int* const items = value.value.enumerated.item;
};

TEST_F(mixer_access, paths_are_the_converters) {
    EXPECT_EQ(path(0), "/nonexistent/delay.json");
    EXPECT_STATUS(put_path(0, "/a/delay.json"), 0);
    EXPECT_STATUS(put_path(1, "/b.json"), 0);
    EXPECT_EQ(path(0), "/a/delay.json");
    EXPECT_EQ(path(1), "/b.json");
    // Only the path's characters are written.
    std::memset(bytes, 'x', 512);
    EXPECT_STATUS(get(1), 0);
    EXPECT_EQ(std::memcmp(bytes, "/b.jsonx", 8), 0);
    for (const unsigned int numid : {1U, 0U}) {
        EXPECT_STATUS(put_path(numid, std::string(127, 'p')), 0);
        errno = 0;
        EXPECT_STATUS(put_path(numid, std::string(128, 'q')), -EINVAL);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(path(numid), std::string(127, 'p')) << "a refused path changes nothing";
        EXPECT_TRUE(log_has("set", "path is longer than 127 characters"));
    }
    EXPECT_STATUS(put_path(0, "/nonexistent/delay.json"), 0);
    EXPECT_STATUS(put_path(1, zel_test::identity_mixing()), 0);
}

TEST_F(mixer_access, log_level_items_stand_for_levels_and_act_at_once) {
    EXPECT_STATUS(get(2), 0);
    EXPECT_EQ(items[0], 4U) << "Info";
    const std::uint32_t levels[] = {0, 16, 32, 48, 64, 80, 240};
    for (unsigned int item = 0; item < 7; ++item) {
        EXPECT_STATUS(put_item(item), 0);
        EXPECT_EQ(zel_format_converter::u32LOG_LEVEL, levels[item]);
        clear_log();
        items[0] = 99;
        EXPECT_STATUS(get(2), 0);
        EXPECT_EQ(items[0], item);
        EXPECT_EQ(log_has(" +"), item >= 5) << "traces at level " << levels[item];
        mixer_ops::close(nullptr);
        EXPECT_EQ(log_has("Invalid plugin"), item >= 2) << "errors at level " << levels[item];
    }
    for (const unsigned int item : {7U, 8U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        EXPECT_STATUS(put_item(item), -EINVAL);
        EXPECT_EQ(zel_format_converter::u32LOG_LEVEL, 240U);
    }
    zel_format_converter::u32LOG_LEVEL = 65;
    EXPECT_STATUS(get(2), -EINVAL);
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
            EXPECT_STATUS(row.status, -EINVAL) << row.message;
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

TEST_F(mixer_access, values_go_through_to_the_card) {
    integers[2] = 77;
    EXPECT_STATUS(get(kGain), 0);
    EXPECT_EQ(integers[0], 10);
    EXPECT_EQ(integers[1], 20);
    EXPECT_EQ(integers[2], 77) << "the control has two values";
    integers[0] = -5;
    integers[1] = std::numeric_limits<long>::max();  // not its low half, -1
    EXPECT_STATUS(put(kGain), 0);
    EXPECT_EQ(control_state("Gain").values, (std::vector<int>{-5, 0x7FFFFFFF}));

    EXPECT_STATUS(get(kSource), 0);
    EXPECT_EQ(items[0], 1U);
    EXPECT_EQ(items[1], 1U) << "the first item in every place";
    items[0] = 0;
    EXPECT_STATUS(put(kSource), 0);
    EXPECT_EQ(control_state("Source").values, (std::vector<int>{0, 1}));

    EXPECT_STATUS(get(kBlob), 0);
    EXPECT_EQ(std::memcmp(bytes, "\1\2\3\4", 4), 0);
    std::memcpy(bytes, "abcde", 5);
    EXPECT_STATUS(put(kBlob), 0);
    EXPECT_EQ(control_state("Blob").bytes, (std::vector<unsigned char>{'a', 'b', 'c', 'd'}));

    snd_control* slot = &opened->slot(kTuning);
    tlv_request whole(kTuning, 3);
    EXPECT_STATUS(mixer_ops::get_tlv(opened->plugin, slot, whole.tlv), 0);
    EXPECT_EQ(std::memcmp(whole.payload(), "\x9\x8\x7", 4), 0);
    tlv_request part(kTuning, 2);
    std::memcpy(part.payload(), "ab", 2);
    EXPECT_STATUS(mixer_ops::put_tlv(opened->plugin, slot, part.tlv), 0);
    EXPECT_EQ(control_state("Tuning").bytes, (std::vector<unsigned char>{'a', 'b', 7}));
    EXPECT_EQ(log_count("fail"), 0U);
}

TEST_F(mixer_access, as_many_elements_as_a_record_holds_go_through) {
    set_controls({{.values = std::vector<int>(128, 7)},
                  {},
                  {.kind = MIXER_CTL_TYPE_BYTE, .bytes = std::vector<unsigned char>(512, 9)}});
    EXPECT_STATUS(get(kGain), 0);
    EXPECT_EQ(integers[127], 7);
    EXPECT_STATUS(get(kBlob), 0);
    EXPECT_EQ(bytes[511], 9);
    EXPECT_STATUS(put(kBlob), 0);
    EXPECT_FALSE(log_has("more than"));
}

TEST_F(mixer_access, the_last_element_decides_a_writes_result) {
    for (const auto& [refused, status] : {std::pair{0, 0}, {1, -EPERM}}) {
        set_controls({{.name = "Gain", .values = {1, 2}, .refused_element = refused}});
        integers[0] = 7;
        integers[1] = 8;
        EXPECT_EQ(put(kGain), status);
        EXPECT_EQ(control_state("Gain").values,
                  refused == 0 ? (std::vector<int>{1, 8}) : (std::vector<int>{7, 2}));
        EXPECT_EQ(log_has("put_to_dd", "mixer_ctl_set_value fail -1"), status != 0);
        EXPECT_EQ(log_has("put", "put to DD fail"), status != 0);
    }
}

TEST_F(mixer_access, a_control_without_elements_is_written_with_success) {
    set_controls({{.name = "Gain", .values = {}}});
    EXPECT_STATUS(put(kGain), 0);
}

/// A card whose first controls are all like this one.
void set_all(const scripted_control& control) {
    set_controls({control, control, control, control});
}

void fail_arrays(int error) {
    fail_call(call::mixer_ctl_get_array, 1, error);
    fail_call(call::mixer_ctl_set_array, 1, error);
}

using slots = const mixer_record&;
void no_card(slots) {
    fail_call(call::mixer_open, 1, 0);
}
void other_card(slots) {
    set_all({.values = {1, 2}, .bytes = {1, 2}});
}
void no_controls(slots) {
    set_controls({});
}
void as_it_is(slots) {}

struct failing_access {
    void (*script)(slots);
    unsigned int numid, slot;
    unsigned int tlv_length;  ///< 0 for an access by value
    int result;
    std::string message;  ///< with GET for the direction
};
const failing_access kFailing[] = {
    {no_card, kGain, kGain, 0, -ENODEV, "mixer open card 3 fail"},
    {[](slots) { set_all({.values = std::vector<int>(129)}); }, kGain, kGain, 0, -EINVAL,
     "control has 129 elements, more than 128"},
    {no_controls, kSource, kSource, 0, -EINVAL, "Unknown mixer ID 1 in submodule"},
    {no_controls, kBlob, kBlob, 0, -EINVAL, "Unknown mixer ID 2 in submodule"},
    {[](slots) {
         set_all({.kind = MIXER_CTL_TYPE_BYTE, .bytes = std::vector<unsigned char>(513)});
     },
     kBlob, kBlob, 0, -EINVAL, "control has 513 elements, more than 512"},
    // Another kind's array has longer elements than bytes.
    {other_card, kBlob, kBlob, 0, -EINVAL, "control is of kind 1 now, not of bytes"},
    {other_card, kTuning, kTuning, 2, -EINVAL, "control is of kind 1 now, not of bytes"},
    {[](slots) { fail_arrays(-EBUSY); }, kBlob, kBlob, 0, -EBUSY, "mixer_ctl_GET_array fail -16"},
    {[](slots) { fail_arrays(-EIO); }, kTuning, kTuning, 3, -EIO, "mixer_ctl_GET_array fail -5"},
    {no_card, kTuning, kTuning, 1, -ENODEV, "mixer open card 3 fail"},
    {as_it_is, kTuning, kTuning, 4, -EINVAL, "tlv length 4 is more than the control's 3 bytes"},
    {as_it_is, 7, kTuning, 1, -EINVAL, "Unknown mixer ID 4 in submodule"},
    {as_it_is, 2, kTuning, 1, -EINVAL, "Unknown mixer ID -1 in submodule"},
    {as_it_is, kGain, kGain, 1, -EINVAL, "snd ctl type 2 is not valid"},
    {as_it_is, kBlob, kBlob, 1, -EINVAL, "snd ctl access 3 is not valid"},
    {[](slots record) { record.slot(kTuning).access = SNDRV_CTL_ELEM_ACCESS_TLV_READ; }, kTuning,
     kTuning, 1, -EINVAL, "snd ctl access 16 is not valid"},
};
class failing_mixer_access : public mixer_access,
                             public testing::WithParamInterface<std::tuple<failing_access, bool>> {
};
INSTANTIATE_TEST_SUITE_P(each, failing_mixer_access,
                         testing::Combine(testing::ValuesIn(kFailing), testing::Bool()));

// Every access looks anew: at controls that are gone, of another kind, or grown beyond a record.
TEST_P(failing_mixer_access, is_told) {
    const auto& [row, writes] = GetParam();
    std::string message = row.message;
    if (const std::size_t at = message.find("GET"); at != std::string::npos) {
        message.replace(at, 3, writes ? "set" : "get");
    }
    SCOPED_TRACE(message);
    row.script(*opened);
    clear_log();
    errno = 0;
    if (row.tlv_length == 0) {
        EXPECT_STATUS(writes ? put(row.numid) : get(row.numid), row.result);
        EXPECT_TRUE(log_has(writes ? "put_to_dd" : "get_from_dd", message));
        EXPECT_TRUE(writes ? log_has("put", "put to DD fail") : log_has("get", "get from DD fail"));
    } else {
        const auto access = writes ? mixer_ops::put_tlv : mixer_ops::get_tlv;
        tlv_request request(row.numid, row.tlv_length);
        EXPECT_STATUS(access(opened->plugin, &opened->slot(row.slot), request.tlv), row.result);
        EXPECT_TRUE(log_has(writes ? "put_tlv" : "get_tlv", message));
    }
    EXPECT_EQ(errno, -row.result);
    const std::vector<std::string> told = log_entries();
    EXPECT_EQ(std::count_if(told.begin(), told.end(), [](auto& one) { return one[0] == 'E'; }),
              row.tlv_length == 0 ? 2 : 1)
        << "the access ends with the fault";
    EXPECT_EQ(calls_of(call::mixer_ctl_get_array) + calls_of(call::mixer_ctl_set_array) != 0,
              row.result == -EBUSY || row.result == -EIO);
}

TEST_F(mixer_access, a_card_control_with_an_own_name_is_the_own_one) {
    set_controls({{.name = "FC log level", .values = {3}}});
    const mixer_record record;
    EXPECT_STATUS(record.get(kGain, &value), 0);
    EXPECT_EQ(items[0], 4U);
}

}  // namespace

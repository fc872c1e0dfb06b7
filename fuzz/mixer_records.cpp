// The mixer operations of card 70 on any records in any order, over a card that changes and fails.

#include <cerrno>
#include <memory>

#include "captured_log.h"
#include "fuzz_input.h"
#include "mixer_record.h"
#include "zel_format_converter.h"

namespace {

using zel_fuzz::input;
using zel_test::call;
using zel_test::scripted_control;

constexpr call kFailing[] = {call::mixer_open,
                             call::mixer_get_ctl,
                             call::mixer_ctl_get_value,
                             call::mixer_ctl_set_value,
                             call::mixer_ctl_get_array,
                             call::mixer_ctl_set_array,
                             call::mixer_ctl_get_enum_string};
constexpr std::size_t kRecords = 2;

/// Another set of controls, some of kinds or sizes that can't be mirrored or carried.
std::vector<scripted_control> take_card(input& in) {
    constexpr unsigned int kSizes[] = {0, 1, 4, 127, 128, 129, 512, 513};
    constexpr const char* kNames[] = {"Gain", "Blob", "FC log level", "FC delay coef file"};
    std::vector<scripted_control> controls(in.below(5));
    for (scripted_control& control : controls) {
        control.name = in.one_of(kNames);
        control.nameless = in.below(16) == 15;
        control.kind = static_cast<mixer_ctl_type>(
            in.below(16) == 15 ? in.below(7) : MIXER_CTL_TYPE_INT + in.below(3));
        control.values.resize(in.one_of(kSizes), static_cast<int>(in.byte()));
        control.bytes.resize(control.values.size(), in.byte());
        control.texts.resize(in.below(4), "text");
        control.tlv = in.below(2) != 0;
        control.refused_element = static_cast<int>(in.below(8)) - 1;
    }
    return controls;
}

/// What tinyalsa does with an operation's status.
void check_status(long status) {
    ZEL_FUZZ_CHECK(status >= -4095);
    ZEL_FUZZ_CHECK(status >= 0 || errno == (status == -1 ? EIO : -status));
    ZEL_FUZZ_CHECK(zel_test::open_handles() == 0);
}

class session {
  public:
    explicit session(input& bytes) : in(bytes) { zel_test::use_card_of_all_kinds(); }
    ~session() {
        for (mixer_plugin*& record : records) {
            zel_test::mixer_ops::close(&record);
        }
        ZEL_FUZZ_CHECK(zel_test::open_handles() == 0);
    }
    session(const session&) = delete;
    session& operator=(const session&) = delete;

    void step() {
        act();
        const std::uint32_t level = zel_format_converter::u32LOG_LEVEL;
        const auto& levels = zel_test::mixer_ops::vu32LOG_LEVEL_ITEMS;
        ZEL_FUZZ_CHECK(std::find(levels.begin(), levels.end(), level) != levels.end());
    }

  private:
    void act() {
        switch (in.below(10)) {
            case 0:
                return open();
            case 1:
                return zel_test::mixer_ops::close(&record());
            case 2:
                return element(zel_test::mixer_ops::get);
            case 3:
                return element(zel_test::mixer_ops::put);
            case 4:
                return tlv(zel_test::mixer_ops::get_tlv);
            case 5:
                return tlv(zel_test::mixer_ops::put_tlv);
            case 6:
                return subscribe();
            case 7:
                return read_event();
            case 8:
                return zel_test::set_controls(take_card(in));
            default:
                return zel_test::fail_call(in.one_of(kFailing), static_cast<int>(1 + in.below(4)),
                                           -static_cast<int>(1 + in.below(120)));
        }
    }

    mixer_plugin*& record() { return records[in.below(kRecords)]; }

    void open() {
        const unsigned int card = in.below(8) == 7 ? in.word() : 70;
        mixer_plugin* opened = nullptr;
        const int status = zel_test::mixer_ops::open(&opened, card);
        check_status(status);
        ZEL_FUZZ_CHECK((status == 0) == (opened != nullptr));
        if (opened != nullptr) {
            mixer_plugin*& place = record();
            zel_test::mixer_ops::close(&place);
            place = opened;
        }
    }

    /// One of the record's slots, or none; at times not the one that the numid names.
    snd_control* slot(const mixer_plugin* plugin, std::uint32_t* numid) {
        *numid = in.below(8) == 7 ? in.word() : in.below(12);
        const std::uint32_t index = in.below(8) == 7 ? in.below(12) : *numid;
        return plugin != nullptr && index < plugin->num_controls ? &plugin->controls[index]
                                                                 : nullptr;
    }

    void element(int (*access)(mixer_plugin*, snd_control*, snd_ctl_elem_value*)) {
        mixer_plugin* plugin = record();
        const auto value = std::make_unique<snd_ctl_elem_value>();
        snd_control* control = slot(plugin, &value->id.numid);
        const std::vector<std::uint8_t> content = in.bytes(in.below(600));
        std::copy_n(content.begin(), std::min(content.size(), sizeof(value->value)),
                    reinterpret_cast<std::uint8_t*>(&value->value));
        const int status = access(plugin, control, value.get());
        check_status(status);
        if (status == 0 && access == zel_test::mixer_ops::put) {
            const auto again = std::make_unique<snd_ctl_elem_value>();
            again->id.numid = value->id.numid;
            if (zel_test::mixer_ops::get(plugin, control, again.get()) == 0 &&
                control == &plugin->controls[0]) {
                // A path that was taken comes back.
                const auto* text = reinterpret_cast<const char*>(value->value.bytes.data);
                ZEL_FUZZ_CHECK(std::strncmp(text,
                                            reinterpret_cast<const char*>(again->value.bytes.data),
                                            zel_format_converter::kMaxPathBytes) == 0);
            }
        }
    }

    void tlv(int (*access)(mixer_plugin*, snd_control*, snd_ctl_tlv*)) {
        mixer_plugin* plugin = record();
        std::uint32_t numid = 0;
        snd_control* control = slot(plugin, &numid);
        const std::uint32_t length = in.below(8) == 7 ? in.word() : in.below(1024);
        // The payload really is as long as the record says, or longer than any control.
        std::vector<std::uint8_t> memory = in.bytes(sizeof(snd_ctl_tlv) + std::min(length, 4096U));
        auto* request = reinterpret_cast<snd_ctl_tlv*>(memory.data());
        request->numid = numid;
        request->length = length;
        check_status(access(plugin, control, request));
    }

    void subscribe() {
        mixer_plugin* plugin = record();
        const auto count_up = [](mixer_plugin* notified) { ++notified->event_cnt; };
        check_status(zel_test::mixer_ops::subscribe_events(
            plugin, in.below(4) == 3 ? nullptr : static_cast<mixer_event_callback>(count_up)));
        zel_test::mixer_ops::event_callback(plugin);
    }

    void read_event() {
        mixer_plugin* plugin = record();
        const std::size_t size = in.below(160);
        std::vector<std::uint8_t> memory(size);
        void* event = in.below(8) == 7 ? nullptr : memory.data();
        const ssize_t result =
            zel_test::mixer_ops::read_event(plugin, static_cast<snd_ctl_event*>(event), size);
        check_status(result);
        ZEL_FUZZ_CHECK(result <= 0 || static_cast<std::size_t>(result) == size);
    }

    input& in;
    mixer_plugin* records[kRecords] = {};
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zel_test::clear_log();
    zel_fuzz::run_session<session>(data, size);
    return 0;
}

// Life of a mixer record of the virtual card: its control array and its release. Runs on client
// threads.

#include "zel_format_converter_mixer_plugin.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <new>

#include "zel_card_names.h"
#include "zel_fc_log.h"
#include "zel_mixer_slots.h"
#include "zel_plugin_status.h"
#include "zel_virtual_card.h"

namespace zel_format_converter_mixer_plugin {

const std::vector<std::string>& vszMIXER_NAME_ITEMS = *new const std::vector<std::string>{
    zel_card_names::kDelayPathControl, zel_card_names::kMixingPathControl, "FC log level"};
const std::vector<std::string>& vszLOG_LEVEL_ITEMS =
    *new const std::vector<std::string>{"None", "Fatal", "Error", "Warn", "Info", "Trace", "All"};
const std::vector<std::uint32_t>& vu32LOG_LEVEL_ITEMS =
    *new const std::vector<std::uint32_t>{0, 16, 32, 48, 64, 80, 240};

namespace {

constexpr const char* kAdd = "add_snd_ctl";

/// Logs under the name of add_snd_ctl, as the next function does.
bool add_own_controls(snd_control* slots) {
    constexpr snd_value_bytes kPathBytes{zel_format_converter::kMaxPathBytes};
    std::array<const char*, 7> levels{};
    std::size_t item = 0;
    for (const std::string& text : vszLOG_LEVEL_ITEMS) {
        ZEL_FC_LOGT_OF(kAdd, "enum string:(%s), len:%d", text.c_str(),
                       static_cast<int>(text.size()));
        levels[item++] = text.c_str();
    }
    return zel_fill_bytes_slot(&slots[0], vszMIXER_NAME_ITEMS[0].c_str(), kPathBytes) &&
           zel_fill_bytes_slot(&slots[1], vszMIXER_NAME_ITEMS[1].c_str(), kPathBytes) &&
           zel_fill_enum_slot(&slots[2], vszMIXER_NAME_ITEMS[2].c_str(), levels.data(),
                              levels.size());
}

/// The array for the controls of an open card, own ones first.
int build_controls(mixer_plugin* plugin, mixer* card) {
    plugin->num_controls = mixer_get_num_ctls(card) + kOwnControls;
    plugin->controls = new (std::nothrow) snd_control[plugin->num_controls]();
    if (plugin->controls == nullptr || !add_own_controls(plugin->controls)) {
        ZEL_FC_LOGE_OF(kAdd, "no memory for the controls");
        return -ENOMEM;
    }
    const int status = add_dd_snd_ctl(plugin, card);
    if (status != 0) {
        ZEL_FC_LOGE_OF(kAdd, "add fc mixer fail");
    }
    return status;
}

}  // namespace

int add_snd_ctl(mixer_plugin* plugin) {
    const unsigned int card_number = zel_format_converter::getInstance().card();
    mixer* card = mixer_open(card_number);
    int status = -ENODEV;
    if (card == nullptr) {
        ZEL_FC_LOGE("mixer open card %d fail", static_cast<int>(card_number));
    } else {
        status = build_controls(plugin, card);
    }
    if (status != 0) {
        zel_release_slots(plugin);
    }
    if (card != nullptr) {
        mixer_close(card);
    }
    return status;
}

int open(mixer_plugin** plugin, unsigned int card) {
    ZEL_FC_LOGT("+");
    int status = -EINVAL;
    if (plugin == nullptr) {
        ZEL_FC_LOGE("Invalid plugin");
    } else if (card != kZelVirtualCard) {
        ZEL_FC_LOGE("Invalid card id %d", static_cast<int>(card));
    } else if (auto* record = new (std::nothrow) mixer_plugin(); record == nullptr) {
        ZEL_FC_LOGE("no memory for the mixer record");
        status = -ENOMEM;
    } else if (status = zel_guarded([=] { return add_snd_ctl(record); }); status != 0) {
        ZEL_FC_LOGE("add mixer control fail");
        delete record;
    } else {
        record->card = kZelVirtualCard;
        *plugin = record;
    }
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

void close(mixer_plugin** plugin) {
    ZEL_FC_LOGT("+");
    if (plugin == nullptr) {
        ZEL_FC_LOGE("Invalid plugin");
    } else if (mixer_plugin* record = *plugin; record != nullptr) {
        zel_format_converter::getInstance().unregister_cb(record);
        zel_release_slots(record);
        // tinyalsa makes the descriptor after `open` and leaves it behind.
        if (record->eventfd > 0) {
            ::close(record->eventfd);
        }
        delete record;
        *plugin = nullptr;
    }
    ZEL_FC_LOGT("-");
}

}  // namespace zel_format_converter_mixer_plugin

#pragma once

#include <cstring>
#include <memory>
#include <vector>

#include "scripted_tinyalsa.h"
#include "zel_format_converter_mixer_plugin.h"

namespace zel_test {

namespace mixer_ops = zel_format_converter_mixer_plugin;

/// An open mixer record of card 70 over the scripted card, as tinyalsa holds it.
class mixer_record {
  public:
    mixer_record() { status = mixer_ops::open(&plugin, 70); }
    ~mixer_record() { mixer_ops::close(&plugin); }
    mixer_record(const mixer_record&) = delete;
    mixer_record& operator=(const mixer_record&) = delete;

    snd_control& slot(unsigned int numid) const { return plugin->controls[numid]; }
    template <typename Record>
    const Record& record(unsigned int numid) const {
        return *static_cast<const Record*>(slot(numid).value);
    }
    /// Reads or writes through the slot's own handlers, as tinyalsa does.
    int get(unsigned int numid, snd_ctl_elem_value* value) const {
        value->id.numid = numid;
        return slot(numid).get(plugin, &slot(numid), value);
    }
    int put(unsigned int numid, snd_ctl_elem_value* value) const {
        value->id.numid = numid;
        return slot(numid).put(plugin, &slot(numid), value);
    }

    int status = 0;
    mixer_plugin* plugin = nullptr;
};

/// A card with a control of every kind that is mirrored, at numid 3 and on.
inline void use_card_of_all_kinds() {
    reset_script();
    set_controls(
        {{.name = "Gain", .values = {10, 20}, .min = -5, .max = 50},
         {.name = "Source", .kind = MIXER_CTL_TYPE_ENUM, .values = {1, 0}, .texts = {"A", "Bee"}},
         {.name = "Blob", .kind = MIXER_CTL_TYPE_BYTE, .bytes = {1, 2, 3, 4}},
         {.name = "Tuning", .kind = MIXER_CTL_TYPE_BYTE, .bytes = {9, 8, 7}, .tlv = true}});
}

constexpr unsigned int kGain = 3, kSource = 4, kBlob = 5, kTuning = 6;

/// A TLV request with room for `length` bytes.
struct tlv_request {
    tlv_request(unsigned int numid, unsigned int length)
        : words(2 + (length + 3) / 4), tlv(reinterpret_cast<snd_ctl_tlv*>(words.data())) {
        tlv->numid = numid;
        tlv->length = length;
    }
    unsigned char* payload() const { return reinterpret_cast<unsigned char*>(tlv + 1); }

    std::vector<unsigned int> words;
    snd_ctl_tlv* tlv;
};

}  // namespace zel_test

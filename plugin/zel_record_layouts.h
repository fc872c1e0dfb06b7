#pragma once

#include <sound/asound.h>
#include <tinyalsa/mixer.h>
#include <tinyalsa/plugin.h>

#include <cstddef>
#include <cstdint>
#include <ctime>

/// What tinyalsa and its plugins hand each other as memory. A build on 32 bits or with other
/// headers fails here, not in a client; at run time all must be built with the same size of time_t.
namespace zel_record_layouts {

constexpr std::size_t kWord = sizeof(long);
constexpr bool kIs64 = kWord == 8;
static_assert(sizeof(void*) == kWord && sizeof(std::size_t) == kWord);

// The kernel's. A time of 64 bits gives a 32-bit program the 64-bit program's record.
constexpr bool kWide = kIs64 || sizeof(time_t) == 8;
using sync_record = snd_pcm_sync_ptr;
static_assert(sizeof(sync_record) == (kWide ? 136 : 132));
static_assert(offsetof(sync_record, s.status.hw_ptr) == (kWide ? 16 : 12));
static_assert(offsetof(sync_record, s.status.tstamp) == (kWide ? 24 : 16));
static_assert(offsetof(sync_record, c.control.appl_ptr) == (kWide ? 72 : 68));
static_assert(sizeof(sync_record{}.s.status.tstamp) == (kWide ? 16 : 8));
static_assert(sizeof(sync_record{}.s.status.hw_ptr) == kWord);

static_assert(offsetof(snd_xferi, buf) == kWord && offsetof(snd_xferi, frames) == 2 * kWord);
static_assert(sizeof(snd_xferi) == 3 * kWord);

static_assert(offsetof(snd_ctl_elem_value, id.numid) == 0);
static_assert(offsetof(snd_ctl_elem_value, value) == (alignof(std::int64_t) == 8 ? 72 : 68));
static_assert(sizeof(snd_ctl_elem_value{}.value.integer.value) == 128 * kWord);
static_assert(sizeof(snd_ctl_elem_value{}.value.enumerated.item) == 512);
static_assert(sizeof(snd_ctl_elem_value{}.value.bytes.data) == 512);

static_assert(offsetof(snd_ctl_tlv, length) == 4 && sizeof(snd_ctl_tlv) == 8);

static_assert(offsetof(snd_ctl_event, data.elem.mask) == 4);
static_assert(offsetof(snd_ctl_event, data.elem.id.numid) == 8);
static_assert(sizeof(snd_ctl_event) == 72 && sizeof(mixer_ctl_event) == 72);
static_assert(offsetof(mixer_ctl_event, data.element.mask) == 4);
static_assert(offsetof(mixer_ctl_event, data.element.id.numid) == 8);

// tinyalsa's, up to what both of its versions have.
static_assert(offsetof(pcm_plugin, constraints) == 8);
static_assert(offsetof(pcm_plugin, mode) == 8 + kWord);
static_assert(offsetof(pcm_plugin, priv) == (kIs64 ? 24 : 16));
static_assert(offsetof(pcm_plugin, state) == (kIs64 ? 32 : 20));
static_assert(sizeof(pcm_plugin) == (kIs64 ? 40 : 24));
static_assert(offsetof(pcm_plugin_hw_constraints, format) == 8);
static_assert(offsetof(pcm_plugin_hw_constraints, bit_width) == 16);
static_assert(offsetof(pcm_plugin_hw_constraints, period_bytes) == 48);
static_assert(sizeof(pcm_plugin_hw_constraints) == 56);
static_assert(offsetof(struct pcm_plugin_ops, readi_frames) == 6 * kWord);
static_assert(offsetof(struct pcm_plugin_ops, start) == 9 * kWord);
static_assert(offsetof(struct pcm_plugin_ops, poll) + kWord == sizeof(struct pcm_plugin_ops));

static_assert(offsetof(mixer_plugin, priv) == kWord);
static_assert(offsetof(mixer_plugin, eventfd) == 2 * kWord);
static_assert(offsetof(mixer_plugin, event_cnt) == 2 * kWord + 8);
static_assert(offsetof(mixer_plugin, controls) == (kIs64 ? 32 : 20));
static_assert(offsetof(mixer_plugin, num_controls) == (kIs64 ? 40 : 24));
static_assert(sizeof(struct mixer_plugin_ops) == 4 * kWord);
static_assert(offsetof(snd_control, name) == 8 && offsetof(snd_control, type) == 8 + kWord);
static_assert(offsetof(snd_control, value) == (kIs64 ? 24 : 16));
static_assert(offsetof(snd_control, put) == (kIs64 ? 40 : 24));
static_assert(sizeof(snd_control) == (kIs64 ? 64 : 36));
static_assert(sizeof(snd_value_int) == 16 && sizeof(snd_value_bytes) == 4);
static_assert(offsetof(snd_value_enum, texts) == kWord);
static_assert(offsetof(snd_value_tlv_bytes, get) == kWord);

}  // namespace zel_record_layouts

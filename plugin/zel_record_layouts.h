#pragma once

#include <sound/asound.h>

#include <cstddef>
#include <ctime>

/// The one record between tinyalsa and its plugins whose layout the build chooses. Both sides must
/// be built with the same size of time_t and, for the offset that `map` takes, of off_t. A time of
/// 64 bits gives a 32-bit program the 64-bit program's record.
namespace zel_record_layouts {

constexpr bool kWide = sizeof(long) == 8 || sizeof(time_t) == 8;
using sync_record = snd_pcm_sync_ptr;
static_assert(sizeof(sync_record) == (kWide ? 136 : 132));
static_assert(offsetof(sync_record, s.status.hw_ptr) == (kWide ? 16 : 12));
static_assert(offsetof(sync_record, s.status.tstamp) == (kWide ? 24 : 16));
static_assert(sizeof(sync_record{}.s.status.tstamp) == (kWide ? 16 : 8));
static_assert(offsetof(sync_record, c.control.appl_ptr) == (kWide ? 72 : 68));

}  // namespace zel_record_layouts

// The operation tables that tinyalsa looks up by name.

#include "zel_format_converter_mixer_plugin.h"
#include "zel_format_converter_pcm_plugin.h"
#include "zel_library_mark.h"
#include "zel_record_layouts.h"

#define ZEL_EXPORT __attribute__((visibility("default")))

namespace {

// Nothing refers to it; volatile keeps it in the file.
[[gnu::used]] constexpr volatile zel_library_mark kMark;

/// Filled by field name: tinyalsa versions differ in whether there is a `drain`.
template <typename Table>
constexpr Table make_pcm_table() {
    namespace ops = zel_format_converter_pcm_plugin;
    Table table{};
    table.open = ops::open;
    table.close = ops::close;
    table.hw_params = ops::hw_params;
    table.sw_params = ops::sw_params;
    table.sync_ptr = ops::sync_ptr;
    table.writei_frames = ops::writei_frames;
    table.readi_frames = ops::readi_frames;
    table.ttstamp = ops::ttstamp;
    table.prepare = ops::prepare;
    table.start = ops::start;
    if constexpr (requires { table.drain; }) {
        table.drain = ops::drain;
    }
    table.drop = ops::drop;
    table.ioctl = ops::ioctl;
    table.mmap = ops::map;
    table.munmap = ops::munmap;
    table.poll = ops::poll;
    return table;
}

constexpr struct mixer_plugin_ops make_mixer_table() {
    namespace ops = zel_format_converter_mixer_plugin;
    struct mixer_plugin_ops table {};
    table.open = ops::open;
    table.close = ops::close;
    table.subscribe_events = ops::subscribe_events;
    table.read_event = ops::read_event;
    return table;
}

}  // namespace

extern "C" {
ZEL_EXPORT extern const struct pcm_plugin_ops pcm_plugin_ops;
constinit const struct pcm_plugin_ops pcm_plugin_ops = make_pcm_table<struct pcm_plugin_ops>();
ZEL_EXPORT extern const struct mixer_plugin_ops mixer_plugin_ops;
constinit const struct mixer_plugin_ops mixer_plugin_ops = make_mixer_table();
}

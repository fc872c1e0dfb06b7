#pragma once

#include <sound/asound.h>
#include <sys/types.h>
#include <tinyalsa/pcm.h>
// tinyalsa's plugin interface uses the kernel's sound records.
#include <tinyalsa/plugin.h>

// The converter has one stream, and it belongs to the handle whose hw_params opened it. tinyalsa
// also closes handles that never got that far (a refused second client, a look at the limits):
// those must leave the stream alone. A handle that doesn't own the stream, or would open while it
// is being opened, is refused (-22) before any lock and without a command, which would cost the
// owner its audio. Client threads, each handle on one at a time. The three steps give the
// converter's status; an exception passes through.

enum class zel_started { no, by_client, by_read };

/// Opens the converter with the configuration at the record's `priv`; the stream is the handle's
/// from then on.
int zel_open_stream(pcm_plugin* plugin);
/// Starts the stream, for a client's `start` or for its first read.
int zel_start_stream(pcm_plugin* plugin, zel_started how);
/// Closes the stream; without effect while it is another handle's. Whatever the status, the handle
/// no longer has it.
int zel_close_stream(pcm_plugin* plugin);
/// True while the stream is this handle's. Never waits.
bool zel_owns_stream(const pcm_plugin* plugin);
/// Who has started the stream. For its owner.
zel_started zel_stream_started();

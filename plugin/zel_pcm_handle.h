#pragma once

#include <sys/types.h>
#include <tinyalsa/pcm.h>
// tinyalsa's plugin interface speaks the kernel's sound records.
#include <sound/asound.h>
#include <tinyalsa/plugin.h>

/// What the plugin keeps for one handle, behind the record's `priv`.
struct zel_pcm_handle {
    pcm_config stConfig{};        ///< the client's stream; all zero until hw_params
    bool bStarted = false;        ///< this handle's stream has been started
    bool bStartedByRead = false;  ///< and it was a read that did it
};

// The converter has one stream, and it belongs to the handle whose hw_params opened it. tinyalsa
// also closes handles that never got that far (a refused second client, a look at the limits):
// those must leave the stream alone. Client threads, each handle on one at a time. The three steps
// wait for each other and give the converter's status; an exception passes through.

/// Opens the converter with the handle's configuration; the stream is the handle's from then on.
int zel_open_stream(pcm_plugin* plugin);
/// Starts the stream, for a client's `start` or for its first read. -22 while it is another
/// handle's.
int zel_start_stream(pcm_plugin* plugin, bool by_read);
/// Closes the stream unless it is another handle's. Whatever the status, the handle no longer has
/// it.
int zel_close_stream(pcm_plugin* plugin);
/// True while the stream is this handle's. Never waits.
bool zel_owns_stream(const pcm_plugin* plugin);

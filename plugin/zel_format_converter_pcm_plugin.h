#pragma once

#include <poll.h>
#include <sys/types.h>
#include <tinyalsa/pcm.h>
// tinyalsa's plugin interface uses the kernel's sound records.
#include <sound/asound.h>
#include <tinyalsa/plugin.h>

/// The virtual capture stream: card 70, device 70. tinyalsa finds these operations in the exported
/// table `pcm_plugin_ops`. All run on the client's thread; one thread at a time uses a handle, any
/// number of handles may be in use. Each returns 0 or a negative error number, with errno set to
/// its magnitude, because errno is all that tinyalsa reports.
namespace zel_format_converter_pcm_plugin {

/// Makes the record of a handle; the converter is opened by `hw_params`. -22 unless it is capture
/// of card 70, device 70; -12.
int open(pcm_plugin** plugin, unsigned int card, unsigned int device, unsigned int flags);
/// Releases the handle and the stream it opened. On failure, the converter's, the record stays, to
/// be closed again, but no longer has the stream.
int close(pcm_plugin* plugin);
/// Takes the client's configuration and opens the converter with it. -22 for unusable parameters,
/// else the converter's result.
int hw_params(pcm_plugin* plugin, snd_pcm_hw_params* params);
int sw_params(pcm_plugin* plugin, snd_pcm_sw_params* params);
/// Reports the capture time of the newest block at the last read and, as the distance of the
/// hardware pointer from the application pointer, the frames left after it. -22 for null pointers.
int sync_ptr(pcm_plugin* plugin, snd_pcm_sync_ptr* sync);
int writei_frames(pcm_plugin* plugin, snd_xferi* xferi);
/// Reads `xferi->frames` interleaved frames, starting the stream if nobody has. Non-blocking
/// handles take what is there; the others wait until all has come, at most 10 s without a single
/// new byte (-5). -22 for a handle that has no stream. On an error the result is 0 frames.
int readi_frames(pcm_plugin* plugin, snd_xferi* xferi);
int ttstamp(pcm_plugin* plugin, int* tstamp);
int prepare(pcm_plugin* plugin);
/// Lets the capture begin; a success without effect when a read has begun it already, or when the
/// client prepares it anew after a stop. -22 without a stream or for one that has been started.
int start(pcm_plugin* plugin);
/// Present in tinyalsa's table since 2023; nothing is ever left to drain in a capture stream.
int drain(pcm_plugin* plugin);
int drop(pcm_plugin* plugin);
int ioctl(pcm_plugin* plugin, int cmd, void* arg);
void* map(pcm_plugin* plugin, void* addr, size_t length, int prot, int flags, off_t offset);
int munmap(pcm_plugin* plugin, void* addr, size_t length);
int poll(pcm_plugin* plugin, pollfd* pfd, nfds_t count, int timeout);

}  // namespace zel_format_converter_pcm_plugin

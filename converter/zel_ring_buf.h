#pragma once

#include <tinyalsa/pcm.h>

#include <cstdint>
#include <ctime>
#include <memory>
#include <mutex>

/// Carries converted audio from the worker (writes) to a client (reads). The writer never waits:
/// when the client falls behind, the oldest audio is overwritten. Interleaved frames in the
/// client's format; sizes in bytes. One writer and one reader at a time; each operation takes the
/// one lock.
class zel_ring_buf {
  public:
    /// `config` is the client stream's configuration, `ms` the length of one block in milliseconds.
    /// Holds the client's whole buffer when its period is a whole number of blocks, else
    /// period_count blocks. Without a configuration the object has no storage and refuses every
    /// read and write. Throws std::bad_alloc without memory, or for more than 2 GB.
    zel_ring_buf(const pcm_config* config, int ms);
    zel_ring_buf(const zel_ring_buf&) = delete;
    zel_ring_buf& operator=(const zel_ring_buf&) = delete;

    /// [worker] Stores one block with the capture time of its newest frame. 0, or -22 for null
    /// data, no storage, or more bytes than the ring holds.
    int write(const void* data, unsigned int bytes, const timespec* ts);
    /// [client] Takes up to `bytes` bytes, oldest first. The number taken (0 when empty), or -22.
    int read_pcm(void* data, unsigned int bytes);
    /// [any] Time given with the newest block written, and whole frames not yet read. Always 0.
    int get_info(timespec* ts, unsigned int* frames);

  private:
    void copy_in(const std::uint8_t* data, std::uint32_t bytes);
    void copy_out(std::uint8_t* data, std::uint32_t bytes);

    pcm_config stRingConfig{};
    std::uint32_t u32FrameBytes = 0;
    std::mutex mBufLock;
    std::unique_ptr<std::uint8_t[]> pu8Start;
    std::uint8_t* pu8End = nullptr;
    std::uint32_t u32BlockFrames = 0;
    std::uint32_t u32RingSize = 0;
    std::uint32_t u32Filled = 0;
    // The unread bytes run from pu8Read forward, wrapping at pu8End; either pointer may rest at
    // pu8End, the next copy through it goes on at the start.
    std::uint8_t* pu8Read = nullptr;
    std::uint8_t* pu8Write = nullptr;
    timespec stTimestamp{};
};

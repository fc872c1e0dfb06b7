#pragma once

#include <tinyalsa/pcm.h>

#include <cstdint>
#include <string>

/// What a client of the virtual card asks for.
struct stream_format {
    unsigned int rate = 16000;  ///< Hz
    unsigned int channels = 2;
    unsigned int bits = 16;        ///< 16, 24 (in 32-bit words) or 32
    unsigned int period_size = 0;  ///< frames; 0 stands for one block
    unsigned int period_count = 8;

    /// Length of the converter's 32 ms block in frames.
    unsigned int block_frames() const { return rate / 1000 * 32; }
    unsigned int period_frames() const { return period_size != 0 ? period_size : block_frames(); }
};

/// The capture stream of card 70, device 70, that a client opens.
class virtual_stream {
  public:
    virtual_stream() = default;
    ~virtual_stream() { close(); }
    virtual_stream(const virtual_stream&) = delete;
    virtual_stream& operator=(const virtual_stream&) = delete;

    /// Opens the stream and, unless its first read is to do that, starts it; false with error()
    /// set. `blocking`: reads wait for their frames; else they return what is there, or 0.
    bool open(const stream_format& format, bool blocking, bool starts = true);
    void close();
    /// Frames read, or -1 with error() set. Waits for the first frame at most so long; a blocking
    /// stream has the library's bound of 10 s.
    int read(void* frames, std::uint32_t wanted, unsigned int patience_ms = 10'000);
    /// Frames left in the buffer and the newest one's time; false when the card doesn't tell.
    bool newest(unsigned int* avail, timespec* time) const;
    std::uint32_t buffer_frames() const { return pcm_get_buffer_size(handle); }
    const std::string& error() const { return message; }

  private:
    bool fail(const char* what);

    pcm* handle = nullptr;
    bool waits = true;
    std::string message;
};

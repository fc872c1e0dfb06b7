#pragma once

#include <cstdint>
#include <ctime>

/// Finds lost audio from what a stream reports after each read: the time of the newest frame in its
/// buffer, and how many frames are still buffered. Time that runs ahead of the frames is a loss: an
/// overrun when the buffer was full (the reader was late), else a gap on the card's side.
class stream_monitor {
  public:
    /// `buffer_frames` is the size of the stream's buffer, `block_frames` how far the newest frame
    /// moves at a time.
    stream_monitor(unsigned int rate, std::uint32_t buffer_frames, std::uint32_t block_frames);

    /// After a read that gave `frames`, with `avail` frames left and the newest frame's time.
    void add(std::uint32_t frames, std::uint32_t avail, const timespec& newest);

    std::uint64_t gaps() const { return gap_count; }
    std::uint64_t overruns() const { return overrun_count; }
    std::uint64_t lost_frames() const { return lost > 0 ? static_cast<std::uint64_t>(lost) : 0; }

  private:
    unsigned int rate;
    std::uint32_t buffer;
    std::uint32_t block;
    bool started = false;
    timespec first{};
    std::uint64_t first_position = 0;
    std::uint64_t frames_read = 0;
    std::int64_t lost = 0;
    std::uint64_t gap_count = 0;
    std::uint64_t overrun_count = 0;
};

#pragma once

#include <cstdint>
#include <ctime>

/// A stream's position in time: which frame the card has captured, and when. Period-granular under
/// the clock; under the other pacings the stream's own time, start + frames / rate.
class loopback_clock {
  public:
    void configure(unsigned int rate, std::uint32_t period_frames, std::uint32_t buffer_frames);
    void use_monotonic(bool monotonic) { clock = monotonic ? CLOCK_MONOTONIC : CLOCK_REALTIME; }
    bool started() const { return running; }
    void start();
    void stop() { running = false; }

    /// Waits until the card's pacing lets `frames` more frames be read. The number that can, which
    /// is less when a grant ends, or -32 when the buffer has run over; reading then goes on with
    /// the present.
    std::int64_t wait_for(std::uint32_t frames);
    void advance(std::uint32_t frames) { read_position += frames; }
    std::uint64_t position() const { return read_position; }

    /// Frames captured but not read, and the time of the last of them.
    std::uint32_t avail(timespec* time);
    void jump(int ms) { jump_ns += std::int64_t{ms} * 1'000'000; }

  private:
    std::int64_t now() const;
    std::int64_t time_of(std::uint64_t frame) const;
    std::uint64_t hardware_position() const;
    void follow_pacing();

    unsigned int rate = 48000;
    std::uint32_t period = 1;
    std::uint32_t buffer = 1;
    clockid_t clock = CLOCK_REALTIME;
    bool running = false;
    int pacing = 0;
    std::int64_t start_ns = 0;
    std::int64_t jump_ns = 0;
    std::uint64_t read_position = 0;
};

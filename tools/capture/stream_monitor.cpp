#include "stream_monitor.h"

stream_monitor::stream_monitor(unsigned int stream_rate, std::uint32_t buffer_frames,
                               std::uint32_t block_frames)
    : rate(stream_rate), buffer(buffer_frames), block(block_frames) {}

void stream_monitor::add(std::uint32_t frames, std::uint32_t avail, const timespec& newest) {
    frames_read += frames;
    const std::uint64_t position = frames_read + avail;
    if (!started) {
        started = true;
        first = newest;
        first_position = position;
        return;
    }
    constexpr std::int64_t kNsPerSecond = 1'000'000'000;
    const std::int64_t seconds = newest.tv_sec - first.tv_sec;
    const std::int64_t nanoseconds = newest.tv_nsec - first.tv_nsec;
    const std::int64_t by_time = seconds * rate + nanoseconds * rate / kNsPerSecond;
    const std::int64_t ahead = by_time - static_cast<std::int64_t>(position - first_position);
    // Half a block is beyond any rounding of the times.
    if (ahead - lost >= block / 2) {
        (avail + frames >= buffer ? overrun_count : gap_count) += 1;
        lost = ahead;
    }
}

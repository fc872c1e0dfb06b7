#include "loopback_clock.h"

#include <algorithm>
#include <cerrno>

#include "loopback_card.h"

namespace {

constexpr std::int64_t kNsPerSecond = 1'000'000'000;

timespec to_timespec(std::int64_t ns) {
    timespec ts{};
    ts.tv_sec = static_cast<decltype(ts.tv_sec)>(ns / kNsPerSecond);
    ts.tv_nsec = static_cast<decltype(ts.tv_nsec)>(ns % kNsPerSecond);
    return ts;
}

}  // namespace

void loopback_clock::configure(unsigned int stream_rate, std::uint32_t period_frames,
                               std::uint32_t buffer_frames) {
    rate = stream_rate;
    period = std::max(period_frames, 1U);
    buffer = std::max(buffer_frames, period);
    running = false;
    read_position = 0;
}

std::int64_t loopback_clock::now() const {
    timespec ts{};
    clock_gettime(clock, &ts);
    return ts.tv_sec * kNsPerSecond + ts.tv_nsec;
}

std::int64_t loopback_clock::time_of(std::uint64_t frame) const {
    // Whole seconds apart: frame * 10^9 would overflow after days.
    return start_ns + static_cast<std::int64_t>(frame / rate) * kNsPerSecond +
           static_cast<std::int64_t>(frame % rate) * kNsPerSecond / rate;
}

void loopback_clock::start() {
    running = true;
    pacing = loopback_card::instance().integer(CTL_PACING);
    start_ns = now();
    start_ns -= time_of(read_position) - start_ns;
}

/// A change of the pacing goes on from the frame that has been reached.
void loopback_clock::follow_pacing() {
    if (!running || loopback_card::instance().integer(CTL_PACING) != pacing) {
        start();
    }
}

std::uint64_t loopback_clock::hardware_position() const {
    const std::int64_t elapsed = std::max<std::int64_t>(now() - start_ns, 0);
    const auto frames = static_cast<std::uint64_t>(elapsed / kNsPerSecond) * rate +
                        static_cast<std::uint64_t>(elapsed % kNsPerSecond) * rate / kNsPerSecond;
    return std::max(frames / period * period, read_position);
}

std::int64_t loopback_clock::wait_for(std::uint32_t frames) {
    follow_pacing();
    if (pacing == PACING_STEP) {
        const std::uint32_t granted = loopback_card::instance().take_granted(frames);
        if (granted > 0) {
            return granted;
        }
        follow_pacing();
    }
    if (pacing == PACING_FAST) {
        return frames;
    }
    const std::uint64_t captured = hardware_position();
    if (captured - read_position > buffer) {
        read_position = captured;
        return -EPIPE;
    }
    const std::uint64_t wanted = read_position + frames;
    const timespec end = to_timespec(time_of((wanted + period - 1) / period * period));
    while (clock_nanosleep(clock, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
    return frames;
}

std::uint32_t loopback_clock::avail(timespec* time) {
    const std::uint64_t captured =
        running && pacing == PACING_CLOCK ? hardware_position() : read_position;
    *time = to_timespec(std::max<std::int64_t>(time_of(captured) + jump_ns, 0));
    return static_cast<std::uint32_t>(captured - read_position);
}

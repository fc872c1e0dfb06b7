// The ring buffer against a queue of bytes: the newest bytes in order, at most as many as it holds.

#include <cerrno>
#include <deque>

#include "captured_log.h"
#include "fuzz_input.h"
#include "zel_ring_buf.h"

namespace {

constexpr int kBlockMs = 32;
constexpr pcm_format kFormats[] = {PCM_FORMAT_S16_LE, PCM_FORMAT_S32_LE, PCM_FORMAT_S8,
                                   PCM_FORMAT_S24_3LE};

pcm_config take_config(zel_fuzz::input& in) {
    pcm_config config{};
    config.rate = in.below(4) * 1000 + in.below(2) * 999;
    config.channels = in.below(5);
    config.period_size = in.below(4) * 32 + in.below(2);
    config.period_count = in.below(6);
    config.format = in.one_of(kFormats);
    return config;
}

struct model {
    std::size_t capacity;
    std::deque<std::uint8_t> bytes = {};
    long newest = 0;

    void write(const std::vector<std::uint8_t>& data, long time) {
        bytes.insert(bytes.end(), data.begin(), data.end());
        while (bytes.size() > capacity) {
            bytes.pop_front();
        }
        newest = time;
    }
    std::vector<std::uint8_t> read(std::size_t count) {
        const auto end = bytes.begin() + static_cast<long>(std::min(count, bytes.size()));
        std::vector<std::uint8_t> taken(bytes.begin(), end);
        bytes.erase(bytes.begin(), end);
        return taken;
    }
};

void write(zel_ring_buf& ring, model& expected, unsigned int bytes, std::uint8_t& next, long time) {
    std::vector<std::uint8_t> data(bytes);
    std::generate(data.begin(), data.end(), [&next] { return next++; });
    data.reserve(1);  // an empty vector has no address
    const timespec ts{time, time};
    const bool fits = bytes <= expected.capacity;
    ZEL_FUZZ_CHECK(ring.write(data.data(), bytes, &ts) == (fits ? 0 : -EINVAL));
    if (fits) {
        expected.write(data, time);
    }
}

void read(zel_ring_buf& ring, model& expected, unsigned int bytes) {
    std::vector<std::uint8_t> got(bytes);
    got.reserve(1);
    const int count = ring.read_pcm(got.data(), bytes);
    ZEL_FUZZ_CHECK(count >= 0 && static_cast<unsigned int>(count) <= bytes);
    got.resize(static_cast<std::size_t>(count));
    ZEL_FUZZ_CHECK(got == expected.read(bytes));
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zel_test::clear_log();
    zel_fuzz::input in(data, size);
    const pcm_config config = take_config(in);
    zel_ring_buf ring(&config, kBlockMs);
    const unsigned int block_frames = kBlockMs * (config.rate / 1000);
    const bool whole = block_frames != 0 && config.period_size % block_frames == 0;
    const unsigned int blocks =
        config.period_count * (whole ? config.period_size / block_frames : 1);
    const unsigned int frame_bytes = pcm_format_to_bits(config.format) * config.channels / 8;
    const unsigned int capacity = blocks * block_frames * frame_bytes;
    model expected{capacity};
    std::uint8_t next = 0;
    for (long step = 1; !in.empty(); ++step) {
        const std::uint8_t operation = in.byte();
        // Half of the sizes lie around the capacity, where the pointers wrap.
        const unsigned int bytes = operation & 2 ? in.below(300) : capacity - in.below(4);
        if (bytes > capacity + 300) {
            continue;  // below zero
        }
        if (operation & 1) {
            write(ring, expected, bytes, next, step);
        } else {
            read(ring, expected, bytes);
        }
        timespec ts{};
        unsigned int frames = 0;
        ZEL_FUZZ_CHECK(ring.get_info(&ts, &frames) == 0);
        ZEL_FUZZ_CHECK(ts.tv_sec == expected.newest && ts.tv_nsec == expected.newest);
        ZEL_FUZZ_CHECK(frames == (frame_bytes == 0 ? 0 : expected.bytes.size() / frame_bytes));
    }
    return 0;
}

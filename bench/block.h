#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <new>
#include <random>
#include <string>
#include <utility>
#include <vector>

/// Frames of one 32 ms block at 48 kHz.
inline constexpr std::size_t kBlockFrames = 1536;

/// Begins at a cache line: a copy takes up to 1.8 times as long between buffers that begin at
/// different places of one, and the heap would deal that out by chance.
template <typename Sample>
struct line_allocator {
    using value_type = Sample;
    static constexpr std::align_val_t kLine{64};

    line_allocator() = default;
    template <typename Other>
    explicit line_allocator(const line_allocator<Other>&) {}
    Sample* allocate(std::size_t count) {
        return static_cast<Sample*>(::operator new(count * sizeof(Sample), kLine));
    }
    void deallocate(Sample* block, std::size_t) { ::operator delete(block, kLine); }
    bool operator==(const line_allocator&) const = default;
};
template <typename Sample>
using block_of = std::vector<Sample, line_allocator<Sample>>;

/// A block of random interleaved samples, the same for everyone.
template <typename Sample>
block_of<Sample> random_block(std::size_t channels, std::size_t frames = kBlockFrames) {
    std::mt19937 random(1);
    block_of<Sample> block(frames * channels);
    for (Sample& sample : block) {
        sample = static_cast<Sample>(random());
    }
    return block;
}

/// The weight that all dense mixes have for their k-th pair of channels.
inline float dense_weight(std::size_t k) {
    return 0.1F * static_cast<float>(1 + k % 9);
}

/// Registers a benchmark; its repetitions are mixed with all others' and the fastest one counts,
/// since whatever else the machine does only ever adds time.
template <typename Function>
void add(const std::string& name, Function function) {
    benchmark::RegisterBenchmark(name.c_str(), function)
        ->ComputeStatistics("min", [](const std::vector<double>& times) {
            return *std::min_element(times.begin(), times.end());
        });
}

/// Fastest CPU time of each benchmark, in nanoseconds per block.
using block_times = std::map<std::string, double>;

/// Widths that the CPU can run the filter in: lanes, 0 for frame after frame.
std::vector<std::uint32_t> filter_widths();
std::string width_name(std::uint32_t lanes);

void register_stages();
void register_peers();
void print_tables(const block_times& times);

#include "zel_delay_history.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "kernels/zel_vector_kernels.h"

namespace {

constexpr auto kRows = std::to_array<zel_delay_row>({{"plain", nullptr, nullptr, nullptr, nullptr},
#define ZEL_ROW(set)                                                         \
    {#set, zel_##set::delay, zel_##set::deinterleave, zel_##set::interleave, \
     zel_##set::delay_most_merged},
                                                     ZEL_EACH_KERNEL_SET(ZEL_ROW)
#undef ZEL_ROW
});

}  // namespace

std::span<const zel_delay_row> zel_delay_rows() {
    return kRows;
}

zel_delay_history::zel_delay_history(std::span<const std::uint32_t> delays,
                                     std::size_t sample_bytes, zel_delay_kernel_fn merge)
    : fnMerge(merge),
      szFrameBytes(delays.size() * sample_bytes),
      szRingFrames(*std::max_element(delays.begin(), delays.end())),
      pstGroups(std::make_unique<group[]>(delays.size())),
      ppu8Sources(std::make_unique<const unsigned char*[]>(delays.size())) {
    const std::size_t mask_bytes = szFrameBytes + zel_delay_piece::kMaxVectorBytes;
    pu8Masks = std::make_unique<unsigned char[]>(delays.size() * mask_bytes);
    for (std::size_t c = 0; c < delays.size(); ++c) {
        group* end = pstGroups.get() + szGroupCount;
        group* same = std::find_if(
            pstGroups.get(), end,
            [delay = delays[c]](const group& channels) { return channels.delay == delay; });
        if (same == end) {
            same->delay = delays[c];
            ++szGroupCount;
        }
        unsigned char* mask =
            pu8Masks.get() + static_cast<std::size_t>(same - pstGroups.get()) * mask_bytes;
        for (std::size_t b = 0; b < mask_bytes; ++b) {
            if (b % szFrameBytes / sample_bytes == c) {
                mask[b] = 0xff;
            }
        }
    }
    pu8Ring = std::make_unique<unsigned char[]>(szRingFrames * szFrameBytes);
}

/// Where the group's input for the block's `frame`-th output frame is, and for how many frames.
void zel_delay_history::find_source(group& channels, const unsigned char* in, std::size_t frame,
                                    std::size_t frames) const {
    if (frame >= channels.delay) {
        channels.source = in + (frame - channels.delay) * szFrameBytes;
        channels.run = frames - frame;
        return;
    }
    const std::size_t back = channels.delay - frame;
    const std::size_t at = szWrite >= back ? szWrite - back : szWrite + szRingFrames - back;
    channels.source = pu8Ring.get() + at * szFrameBytes;
    channels.run = std::min(back, szRingFrames - at);
}

void zel_delay_history::process(const unsigned char* in, unsigned char* out, std::size_t frames) {
    const std::span<group> groups(pstGroups.get(), szGroupCount);
    for (std::size_t frame = 0; frame < frames;) {
        std::size_t run = frames - frame;
        for (std::size_t g = 0; g < groups.size(); ++g) {
            find_source(groups[g], in, frame, frames);
            ppu8Sources[g] = groups[g].source;
            run = std::min(run, groups[g].run);
        }
        const std::size_t bytes = run * szFrameBytes;
        if (groups.size() == 1) {
            std::memcpy(out, ppu8Sources[0], bytes);
        } else {
            fnMerge({out, bytes, szFrameBytes, groups.size(), ppu8Sources.get(), pu8Masks.get(),
                     szFrameBytes + zel_delay_piece::kMaxVectorBytes});
        }
        out += bytes;
        frame += run;
    }
    keep(in, frames);
}

/// The ring takes the block's last frames.
void zel_delay_history::keep(const unsigned char* in, std::size_t frames) {
    if (frames > szRingFrames) {
        in += (frames - szRingFrames) * szFrameBytes;
        frames = szRingFrames;
    }
    const std::size_t first = std::min(frames, szRingFrames - szWrite);
    std::memcpy(pu8Ring.get() + szWrite * szFrameBytes, in, first * szFrameBytes);
    std::memcpy(pu8Ring.get(), in + first * szFrameBytes, (frames - first) * szFrameBytes);
    szWrite = (szWrite + frames) % szRingFrames;
}

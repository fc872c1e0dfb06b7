#include "zel_delay_history.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <new>

#include "kernels/zel_vector_kernels.h"

namespace {

constexpr auto kRows = std::to_array<zel_delay_row>({{"plain", nullptr},
#define ZEL_ROW(set) {#set, zel_##set::delay},
                                                     ZEL_EACH_KERNEL_SET(ZEL_ROW)
#undef ZEL_ROW
});

}  // namespace

std::span<const zel_delay_row> zel_delay_rows() {
    return kRows;
}

std::unique_ptr<unsigned char[]> zel_delay_storage(std::size_t frames, std::size_t frame_bytes) {
    if (frames > SIZE_MAX / frame_bytes) {
        throw std::bad_alloc();
    }
    return std::make_unique<unsigned char[]>(frames * frame_bytes);
}

zel_delay_history::zel_delay_history(std::span<const std::uint32_t> delays,
                                     std::size_t sample_bytes, zel_delay_kernel_fn merge)
    : fnMerge(merge),
      szFrameBytes(delays.size() * sample_bytes),
      szLongest(*std::max_element(delays.begin(), delays.end())),
      szShortest(*std::min_element(delays.begin(), delays.end())),
      szRoom(2 * szLongest),
      szFilled(szLongest),
      pszDelays(std::make_unique<std::size_t[]>(delays.size())),
      ppu8Sources(std::make_unique<const unsigned char*[]>(delays.size())) {
    const std::size_t mask_bytes = szFrameBytes + zel_delay_piece::kMaxVectorBytes;
    pu8Masks = std::make_unique<unsigned char[]>(delays.size() * mask_bytes);
    for (std::size_t c = 0; c < delays.size(); ++c) {
        std::size_t* end = pszDelays.get() + szGroupCount;
        std::size_t* same = std::find(pszDelays.get(), end, delays[c]);
        if (same == end) {
            *same = delays[c];
            ++szGroupCount;
        }
        unsigned char* mask =
            pu8Masks.get() + static_cast<std::size_t>(same - pszDelays.get()) * mask_bytes;
        for (std::size_t b = 0; b < mask_bytes; ++b) {
            if (b % szFrameBytes / sample_bytes == c) {
                mask[b] = 0xff;
            }
        }
    }
    pu8History = zel_delay_storage(szRoom, szFrameBytes);
}

void zel_delay_history::process(const unsigned char* in, unsigned char* out, std::size_t frames) {
    // So far outputs come from the history, to which the block's first frames are added, so that
    // every group has one run of input; from there on they come from the block alone.
    const std::size_t head = std::min(frames, szLongest);
    const bool all = head == frames;
    if (szFilled + head > szRoom) {
        std::memmove(pu8History.get(), pu8History.get() + (szFilled - szLongest) * szFrameBytes,
                     szLongest * szFrameBytes);
        szFilled = szLongest;
    }
    unsigned char* now = pu8History.get() + szFilled * szFrameBytes;
    std::memcpy(now, in, (all ? frames : head - szShortest) * szFrameBytes);
    give(out, now, head);
    if (all) {
        szFilled += frames;
        return;
    }
    give(out + head * szFrameBytes, in + head * szFrameBytes, frames - head);
    std::memcpy(pu8History.get(), in + (frames - szLongest) * szFrameBytes,
                szLongest * szFrameBytes);
    szFilled = szLongest;
}

/// The outputs of `frames` input frames that begin at `now`, behind those of the longest delay.
void zel_delay_history::give(unsigned char* out, const unsigned char* now, std::size_t frames) {
    for (std::size_t g = 0; g < szGroupCount; ++g) {
        ppu8Sources[g] = now - pszDelays[g] * szFrameBytes;
    }
    if (szGroupCount == 1) {
        std::memcpy(out, ppu8Sources[0], frames * szFrameBytes);
    } else {
        fnMerge({out, frames * szFrameBytes, szFrameBytes, szGroupCount, ppu8Sources.get(),
                 pu8Masks.get(), szFrameBytes + zel_delay_piece::kMaxVectorBytes});
    }
}

#include "zel_planar_delay.h"

#include <algorithm>
#include <set>

bool zel_planar_delay::suits(std::span<const std::uint32_t> delays, std::size_t sample_bytes,
                             const zel_delay_row& row) {
    return (sample_bytes == 2 || sample_bytes == 4) &&
           delays.size() * sample_bytes <= zel_delay_planes::kMaxFrameBytes &&
           std::set(delays.begin(), delays.end()).size() > row.most_merged();
}

zel_planar_delay::zel_planar_delay(std::span<const std::uint32_t> delays, std::size_t sample_bytes,
                                   const zel_delay_row& row)
    : stRow(row),
      szChannels(delays.size()),
      szSampleBytes(sample_bytes),
      szRingFrames(*std::max_element(delays.begin(), delays.end()) + kChunkFrames),
      pszDelays(std::make_unique<std::size_t[]>(delays.size())),
      ppu8Planes(std::make_unique<unsigned char*[]>(delays.size())),
      pu8Rings(std::make_unique<unsigned char[]>(delays.size() * szRingFrames * sample_bytes)) {
    std::copy(delays.begin(), delays.end(), pszDelays.get());
}

void zel_planar_delay::process(const unsigned char* in, unsigned char* out, std::size_t frames) {
    const std::size_t frame_bytes = szChannels * szSampleBytes;
    while (frames > 0) {
        // What a chunk overwrites is older than the longest delay.
        const std::size_t run = std::min({frames, kChunkFrames, szRingFrames - szWrite});
        take_in(in, run, frames - run);
        give(out, run, frames - run);
        szWrite += run;
        if (szWrite == szRingFrames) {
            szWrite = 0;
        }
        in += run * frame_bytes;
        out += run * frame_bytes;
        frames -= run;
    }
}

void zel_planar_delay::take_in(const unsigned char* in, std::size_t frames, std::size_t behind) {
    for (std::size_t c = 0; c < szChannels; ++c) {
        ppu8Planes[c] = pu8Rings.get() + (c * szRingFrames + szWrite) * szSampleBytes;
    }
    stRow.deinterleave(in, {frames, behind, szChannels, szSampleBytes, ppu8Planes.get()});
}

/// The outputs for the frames that were just taken in.
void zel_planar_delay::give(unsigned char* out, std::size_t frames, std::size_t behind) {
    for (std::size_t done = 0; done < frames;) {
        std::size_t run = frames - done;
        for (std::size_t c = 0; c < szChannels; ++c) {
            const std::size_t now = szWrite + done;
            const std::size_t at =
                now >= pszDelays[c] ? now - pszDelays[c] : now + szRingFrames - pszDelays[c];
            ppu8Planes[c] = pu8Rings.get() + (c * szRingFrames + at) * szSampleBytes;
            run = std::min(run, szRingFrames - at);
        }
        stRow.interleave(
            {run, frames - done - run + behind, szChannels, szSampleBytes, ppu8Planes.get()}, out);
        out += run * szChannels * szSampleBytes;
        done += run;
    }
}

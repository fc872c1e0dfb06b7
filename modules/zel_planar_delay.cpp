#include "zel_planar_delay.h"

#include <algorithm>
#include <cstring>
#include <set>

bool zel_planar_delay::suits(std::span<const std::uint32_t> delays, std::size_t sample_bytes) {
    return (sample_bytes == 2 || sample_bytes == 4) &&
           delays.size() * sample_bytes <= zel_planes::kMaxFrameBytes &&
           std::set(delays.begin(), delays.end()).size() > kMostMerged;
}

zel_planar_delay::zel_planar_delay(std::span<const std::uint32_t> delays, std::size_t sample_bytes,
                                   const zel_planes_row& row)
    : stRow(row),
      szChannels(delays.size()),
      szSampleBytes(sample_bytes),
      szChunkFrames(kChunkBytes / (szChannels * szSampleBytes)),
      szLongest(*std::max_element(delays.begin(), delays.end())),
      szRoom(szLongest + std::max(szLongest, szChunkFrames)),
      szFilled(szLongest),
      pszDelays(std::make_unique<std::size_t[]>(delays.size())),
      ppu8Planes(std::make_unique<unsigned char*[]>(delays.size())),
      pu8Planes(zel_delay_storage(szRoom, delays.size() * sample_bytes)) {
    std::copy(delays.begin(), delays.end(), pszDelays.get());
}

void zel_planar_delay::process(const unsigned char* in, unsigned char* out, std::size_t frames) {
    const std::size_t frame_bytes = szChannels * szSampleBytes;
    while (frames > 0) {
        const std::size_t run = std::min(frames, szChunkFrames);
        const zel_planes planes{run, frames - run, szChannels, szSampleBytes, ppu8Planes.get()};
        make_room(run);
        for (std::size_t c = 0; c < szChannels; ++c) {
            ppu8Planes[c] = pu8Planes.get() + (c * szRoom + szFilled) * szSampleBytes;
        }
        stRow.deinterleave(in, planes);
        for (std::size_t c = 0; c < szChannels; ++c) {
            ppu8Planes[c] -= pszDelays[c] * szSampleBytes;
        }
        stRow.interleave(planes, out);
        szFilled += run;
        in += run * frame_bytes;
        out += run * frame_bytes;
        frames -= run;
    }
}

void zel_planar_delay::make_room(std::size_t frames) {
    if (szFilled + frames <= szRoom) {
        return;
    }
    for (std::size_t c = 0; c < szChannels; ++c) {
        unsigned char* plane = pu8Planes.get() + c * szRoom * szSampleBytes;
        std::memmove(plane + (szLongest - pszDelays[c]) * szSampleBytes,
                     plane + (szFilled - pszDelays[c]) * szSampleBytes,
                     pszDelays[c] * szSampleBytes);
    }
    szFilled = szLongest;
}

#include "zel_mixing_plan.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "zel_kernel_choice.h"

zel_mixing_plan::zel_mixing_plan(const char* kernel, std::size_t in_channels,
                                 std::size_t in_sample_bytes, std::size_t out_channels,
                                 std::size_t out_sample_bytes)
    : pstSelection(&zel_kernel_row(zel_selection_kernels(), kernel)),
      pstPlanes(&zel_kernel_row(zel_planes_rows(), kernel)),
      fnPlain(zel_find_mixing_kernel("plain", in_sample_bytes, out_sample_bytes)),
      fnDense(zel_find_mixing_kernel(kernel, in_sample_bytes, out_sample_bytes)),
      szInChannels(in_channels),
      szOutChannels(out_channels),
      szInBytes(in_sample_bytes),
      szOutBytes(out_sample_bytes),
      pf32Packed(std::make_unique<float[]>(in_channels * out_channels)),
      pszSources(std::make_unique<std::size_t[]>(out_channels)),
      pu8Planes(std::make_unique<unsigned char[]>(kPlaneBytes)),
      ppu8In(std::make_unique<unsigned char*[]>(in_channels)),
      ppu8Out(std::make_unique<unsigned char*[]>(out_channels)) {}

void zel_mixing_plan::load(const float* matrix) {
    pf32Matrix = matrix;
    eKind = kind_of(matrix);
    if (eKind == kind::dense) {
        pack(matrix);
    } else if (eKind == kind::selection) {
        fill_index();
    } else if (eKind == kind::planes) {
        point_planes();
    }
}

/// The vector kernels give the plain one's bits unless a weight, product or sum is denormal: 32-bit
/// ARM's vectors flush those, and `pack` divides 16-bit samples' weights. With whole numbers for
/// samples, all products and sums are multiples of the smallest weight's last bit, 2^-23 of it;
/// weights from 2^-80 on keep far from the smallest normal number, 2^-126. 16-bit samples' sums
/// must also fit 32 bits; 32-bit ones' saturate.
bool zel_mixing_plan::suits_vectors(const float* matrix) const {
    constexpr float kSmallest = 0x1p-80F;
    constexpr float kLargestSum = 0x1p15F;
    for (std::size_t o = 0; o < szOutChannels; ++o) {
        float sum = 0;
        for (std::size_t i = 0; i < szInChannels; ++i) {
            const float weight = std::fabs(matrix[o * szInChannels + i]);
            if (weight != 0 && weight < kSmallest) {
                return false;
            }
            sum += weight;
        }
        if (szInBytes == 2 && !(sum <= kLargestSum)) {
            return false;
        }
    }
    return true;
}

/// True when each output has one input with the weight 1 and else zeros.
bool zel_mixing_plan::find_sources(const float* matrix) {
    for (std::size_t o = 0; o < szOutChannels; ++o) {
        const float* row = matrix + o * szInChannels;
        const float* end = row + szInChannels;
        const float* source = std::find(row, end, 1.0F);
        const auto zero = [](float weight) { return weight == 0; };
        if (source == end || !std::all_of(row, source, zero) ||
            !std::all_of(source + 1, end, zero)) {
            return false;
        }
        pszSources[o] = static_cast<std::size_t>(source - row);
    }
    return true;
}

zel_mixing_plan::kind zel_mixing_plan::kind_of(const float* matrix) {
    if (pstSelection->run == nullptr || !suits_vectors(matrix)) {
        return kind::plain;
    }
    if (szInBytes != szOutBytes || !find_sources(matrix)) {
        return kind::dense;
    }
    bool identity = szInChannels == szOutChannels;
    for (std::size_t o = 0; o < szOutChannels; ++o) {
        identity = identity && pszSources[o] == o;
    }
    if (identity) {
        return szInBytes == 2 ? kind::copy : kind::round_trip;
    }
    const std::size_t longest = std::max(szInChannels, szOutChannels) * szInBytes;
    if (pstSelection->width(szInBytes, longest) != 0) {
        return kind::selection;
    }
    constexpr std::size_t kFewProducts = 4;  // no dearer than planes
    return szInChannels * szOutChannels > kFewProducts && longest <= zel_planes::kMaxFrameBytes
               ? kind::planes
               : kind::dense;
}

void zel_mixing_plan::pack(const float* matrix) {
    const float scale = szInBytes == 2 ? 0x1p-16F : 1.0F;
    const std::size_t row = zel_mixing_block::kRowBytes / szOutBytes;
    float* to = pf32Packed.get();
    for (std::size_t first = 0; first < szOutChannels; first += row) {
        const std::size_t end = std::min(first + row, szOutChannels);
        for (std::size_t i = 0; i < szInChannels; ++i) {
            for (std::size_t o = first; o < end; ++o) {
                *to++ = matrix[o * szInChannels + i] * scale;
            }
        }
    }
}

void zel_mixing_plan::fill_index() {
    stSelection.sample_bytes = szInBytes;
    stSelection.in_frame = szInChannels * szInBytes;
    stSelection.out_frame = szOutChannels * szInBytes;
    const std::size_t longest = std::max(stSelection.in_frame, stSelection.out_frame);
    stSelection.at_once = pstSelection->width(szInBytes, longest) / longest;
    std::memset(stSelection.index, 0, sizeof(stSelection.index));
    for (std::size_t f = 0; f < stSelection.at_once; ++f) {
        for (std::size_t b = 0; b < stSelection.out_frame; ++b) {
            const std::size_t channel = pszSources[b / szInBytes];
            stSelection.index[f * stSelection.out_frame + b] = static_cast<unsigned char>(
                f * stSelection.in_frame + channel * szInBytes + b % szInBytes);
        }
    }
}

void zel_mixing_plan::point_planes() {
    const std::size_t plane = kPlaneBytes / (szInChannels * szInBytes) * szInBytes;
    for (std::size_t i = 0; i < szInChannels; ++i) {
        ppu8In[i] = pu8Planes.get() + i * plane;
    }
    for (std::size_t o = 0; o < szOutChannels; ++o) {
        ppu8Out[o] = ppu8In[pszSources[o]];
    }
}

/// Takes the frames apart into planes and puts them together in another order.
void zel_mixing_plan::run_planes(const unsigned char* in, unsigned char* out,
                                 std::size_t frames) const {
    const std::size_t in_frame = szInChannels * szInBytes;
    const std::size_t chunk = kPlaneBytes / in_frame;
    while (frames > 0) {
        const std::size_t run = std::min(frames, chunk);
        const std::size_t behind = frames - run;
        pstPlanes->deinterleave(in, {run, behind, szInChannels, szInBytes, ppu8In.get()});
        pstPlanes->interleave({run, behind, szOutChannels, szOutBytes, ppu8Out.get()}, out);
        if (szOutBytes == 4) {
            pstSelection->round_trip(out, out, run * szOutChannels);
        }
        in += run * in_frame;
        out += run * szOutChannels * szOutBytes;
        frames = behind;
    }
}

void zel_mixing_plan::run(const void* in, void* out, std::size_t frames) const {
    const zel_mixing_block block{
        in, out, frames, szInChannels, szOutChannels, pf32Matrix, pf32Packed.get()};
    switch (eKind) {
        case kind::plain:
            return fnPlain(block);
        case kind::dense:
            return fnDense(block);
        case kind::selection:
            return pstSelection->run(stSelection, in, out, frames);
        case kind::planes:
            return run_planes(static_cast<const unsigned char*>(in),
                              static_cast<unsigned char*>(out), frames);
        case kind::copy:
            std::memcpy(out, in, frames * szInChannels * szInBytes);
            return;
        case kind::round_trip:
            return pstSelection->round_trip(in, out, frames * szInChannels);
    }
}

// Mixing in vectors. A tile is as many frames as a vector has lanes, a lane is a frame: 16 bytes of
// each frame at a time become vectors of one channel each, which are added to all outputs' sums in
// the defined order; the way back to frames again writes 16 bytes of each.

#include "zel_mixing_block.h"
#include "zel_vector.h"
#include "zel_vector_kernels.h"

namespace {

template <std::size_t Bytes>
constexpr std::size_t kRowSamples = kRowBytes / Bytes;

/// 16 bytes of each of a tile's frames. Near the block's end, not `Whole`, only the bytes of the
/// `frames` that are there can be touched.
template <bool Whole>
ZEL_INLINE rows take(const unsigned char* in, std::size_t frame_bytes, std::size_t frames,
                     std::size_t bytes) {
    if constexpr (Whole) {
        return load_rows(in, frame_bytes);
    } else {
        unsigned char copy[kLanes * kRowBytes] = {};
        for (std::size_t f = 0; f < frames; ++f) {
            __builtin_memcpy(copy + f * kRowBytes, in + f * frame_bytes, bytes);
        }
        return load_rows(copy, kRowBytes);
    }
}

template <bool Whole>
ZEL_INLINE void put(const rows& words, unsigned char* out, std::size_t frame_bytes,
                    std::size_t frames, std::size_t bytes) {
    if constexpr (Whole) {
        if (frame_bytes == 4) {
            store_i(out, words.v[0]);
        } else {
            store_rows(out, frame_bytes, transpose(words));
        }
    } else {
        unsigned char copy[kLanes * kRowBytes];
        store_rows(copy, kRowBytes, transpose(words));
        for (std::size_t f = 0; f < frames; ++f) {
            __builtin_memcpy(out + f * frame_bytes, copy + f * kRowBytes, bytes);
        }
    }
}

/// Adds the row's channels from C on, `left` of them at most, to N outputs; `weights` has N for
/// every channel. 16-bit samples stay in the upper half of their words, and their weights are
/// divided by as much: powers of two change no rounding.
template <std::size_t Bytes, std::size_t N, std::size_t C = 0>
ZEL_INLINE void add_channels(const rows& words, std::size_t left, const float* weights,
                             vec_f (&sum)[N]) {
    if constexpr (C < kRowSamples<Bytes>) {
        if (C >= left) {
            return;
        }
        vec_i sample;
        if constexpr (Bytes == 4) {
            sample = words.v[C];
        } else if constexpr (C % 2 == 0) {
            sample = words.v[C / 2] << 16;
        } else {
            sample = words.v[C / 2] & ~0xffff;
        }
        const vec_f channel = __builtin_convertvector(sample, vec_f);
        for (std::size_t o = 0; o < N; ++o) {
            sum[o] = add(sum[o], mul(channel, splat(weights[C * N + o])));
        }
        add_channels<Bytes, N, C + 1>(words, left, weights, sum);
    }
}

/// N outputs of one tile.
template <std::size_t In, std::size_t Out, std::size_t N, bool Whole>
ZEL_INLINE void mix_tile(const unsigned char* in, std::size_t in_channels, const float* weights,
                         unsigned char* out, std::size_t out_frame, std::size_t frames) {
    vec_f sum[N];
    for (std::size_t o = 0; o < N; ++o) {
        sum[o] = vec_f{};
    }
    const std::size_t in_frame = in_channels * In;
    std::size_t left = in_channels;
    for (; left >= kRowSamples<In>; left -= kRowSamples<In>) {
        const rows words = transpose(take<Whole>(in, in_frame, frames, kRowBytes));
        add_channels<In, N>(words, kRowSamples<In>, weights, sum);
        in += kRowBytes;
        weights += kRowSamples<In> * N;
    }
    if (left > 0) {
        const rows words = transpose(take<Whole>(in, in_frame, frames, left * In));
        add_channels<In, N>(words, left, weights, sum);
    }
    rows words;
    for (std::size_t w = 0; w < 4; ++w) {
        words.v[w] = vec_i{};
    }
    for (std::size_t o = 0; o < N; ++o) {
        // The weights keep sums of 16-bit samples within 32 bits.
        const vec_i whole = In == 2 ? __builtin_convertvector(sum[o], vec_i) : truncate(sum[o]);
        if constexpr (Out == 4) {
            words.v[o] = whole;
        } else {
            words.v[o / 2] |= o % 2 == 0 ? whole & 0xffff : whole << 16;
        }
    }
    put<Whole>(words, out, out_frame, frames, N * Out);
}

/// N outputs of all frames, from output `first` on.
template <std::size_t In, std::size_t Out, std::size_t N>
void mix_outputs(const zel_mixing_block& block, std::size_t first) {
    const std::size_t in_frame = block.in_channels * In;
    const std::size_t out_frame = block.out_channels * Out;
    const std::size_t in_reach =
        (kLanes - 1) * in_frame + (in_frame + kRowBytes - 1) / kRowBytes * kRowBytes;
    const std::size_t out_reach = (kLanes - 1) * out_frame + first * Out + kRowBytes;
    const float* weights = block.packed + first * block.in_channels;
    const auto* in = static_cast<const unsigned char*>(block.in);
    auto* out = static_cast<unsigned char*>(block.out) + first * Out;
    std::size_t left = block.frames;
    for (; left * in_frame >= in_reach && left * out_frame >= out_reach; left -= kLanes) {
        mix_tile<In, Out, N, true>(in, block.in_channels, weights, out, out_frame, kLanes);
        in += kLanes * in_frame;
        out += kLanes * out_frame;
    }
    while (left > 0) {
        const std::size_t frames = left < kLanes ? left : kLanes;
        mix_tile<In, Out, N, false>(in, block.in_channels, weights, out, out_frame, frames);
        in += frames * in_frame;
        out += frames * out_frame;
        left -= frames;
    }
}

template <std::size_t In, std::size_t Out, std::size_t N = 1>
ZEL_INLINE void mix_some(std::size_t outputs, const zel_mixing_block& block, std::size_t first) {
    if constexpr (N <= kRowSamples<Out>) {
        if (outputs == N) {
            mix_outputs<In, Out, N>(block, first);
        } else {
            mix_some<In, Out, N + 1>(outputs, block, first);
        }
    }
}

/// Outputs by rows of 16 bytes, the last ones first: where they don't fill their row, it reaches
/// into the next frames' first outputs, which are written after them.
template <std::size_t In, std::size_t Out>
void mix(const zel_mixing_block& block) {
    for (std::size_t end = block.out_channels; end > 0;) {
        const std::size_t first = (end - 1) / kRowSamples<Out> * kRowSamples<Out>;
        mix_some<In, Out>(end - first, block, first);
        end = first;
    }
}

}  // namespace

namespace ZEL_KERNEL_SET {

void mix_16(const zel_mixing_block& block) {
    mix<2, 2>(block);
}
void mix_32(const zel_mixing_block& block) {
    mix<4, 4>(block);
}

}  // namespace ZEL_KERNEL_SET

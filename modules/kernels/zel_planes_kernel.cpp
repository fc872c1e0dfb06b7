// Interleaved frames to planes and back. 16 bytes of as many frames as they have samples are a
// square of samples, which is transposed; a vector takes one to four squares side by side.

#include "zel_planes.h"
#include "zel_vector.h"
#include "zel_vector_kernels.h"

namespace {

template <std::size_t Bytes>
struct square {
    static constexpr std::size_t kSize = kRowBytes / Bytes;     ///< rows and columns
    static constexpr std::size_t kFrames = kSize * kLanes / 4;  ///< of all squares
    /// Vector k holds the rows k, kSize + k, ... in its quarters.
    vec_i v[kSize];

    ZEL_INLINE void transpose() {
        for (std::size_t half = 1; half < kSize; half *= 2) {
            square mixed;
            for (std::size_t k = 0; k < kSize / 2; ++k) {
                mixed.v[2 * k] = interleave_low<Bytes>(v[k], v[k + kSize / 2]);
                mixed.v[2 * k + 1] = interleave_high<Bytes>(v[k], v[k + kSize / 2]);
            }
            *this = mixed;
        }
    }
    ZEL_INLINE void load_frames(const unsigned char* from, std::size_t step) {
        for (std::size_t k = 0; k < kSize; ++k) {
            v[k] = load_quarters(from + k * step, kSize * step);
        }
    }
    /// In the frames' order: each may reach into the next, which is written after it.
    template <std::size_t Quarter = 0>
    ZEL_INLINE void store_frames(unsigned char* to, std::size_t step) const {
        for (std::size_t k = 0; k < kSize; ++k, to += step) {
            store_quarter<Quarter>(to, v[k]);
        }
        if constexpr (Quarter + 1 < kLanes / 4) {
            store_frames<Quarter + 1>(to, step);
        }
    }
};

/// Up to kSize channels of the frames, which begin `step` bytes apart. Channels of a frame known to
/// the compiler, not 0, spare it half of the addresses' arithmetic.
template <std::size_t Bytes, std::size_t Channels>
struct column {
    static constexpr std::size_t kSize = square<Bytes>::kSize;
    static constexpr std::size_t kFrames = square<Bytes>::kFrames;

    std::size_t step;
    std::size_t channels;
    /// The planes; behind the last channel's they repeat.
    unsigned char* planes[kSize];

    ZEL_INLINE column(const zel_planes& all, std::size_t first)
        : step(Channels > 0 ? Channels * Bytes : all.channels * Bytes),
          channels(all.channels - first < kSize ? all.channels - first : kSize) {
        for (std::size_t c = 0; c < kSize; ++c) {
            planes[c] = all.planes[first + (c < channels ? c : 0)];
        }
    }

    ZEL_INLINE void move(const unsigned char* frames, std::size_t at) const {
        square<Bytes> s;
        s.load_frames(frames, step);
        s.transpose();
        for (std::size_t c = kSize; c-- > 0;) {  // what repeats is overwritten
            store_i(planes[c] + at * Bytes, s.v[c]);
        }
    }
    ZEL_INLINE void move(unsigned char* frames, std::size_t at) const {
        square<Bytes> s;
        for (std::size_t c = 0; c < kSize; ++c) {
            s.v[c] = load_i(planes[c] + at * Bytes);
        }
        s.transpose();
        s.store_frames(frames, step);
    }
    ZEL_INLINE void move_sample(const unsigned char* sample, std::size_t c, std::size_t at) const {
        __builtin_memcpy(planes[c] + at * Bytes, sample, Bytes);
    }
    ZEL_INLINE void move_sample(unsigned char* sample, std::size_t c, std::size_t at) const {
        __builtin_memcpy(sample, planes[c] + at * Bytes, Bytes);
    }

    /// All `count` frames, in squares; the last overlaps the one before, so that none is left over.
    /// A row reaches over the next frames where the column is narrower. `room` is what may be
    /// touched from `frames` on, in bytes; what doesn't fit there is moved sample by sample.
    template <typename Byte>
    ZEL_INLINE void move_all(Byte* frames, std::size_t count, std::size_t room) const {
        const std::size_t touched = (kFrames - 1) * step + kRowBytes;
        std::size_t done = 0;
        if (count >= kFrames && room >= touched) {
            const std::size_t fits = (room - touched) / step;
            const std::size_t last = fits < count - kFrames ? fits : count - kFrames;
            for (std::size_t at = 0;; at = last - at > kFrames ? at + kFrames : last) {
                move(frames + at * step, at);
                if (at == last) {
                    break;
                }
            }
            done = last + kFrames;
        }
        for (std::size_t c = 0; c < channels; ++c) {
            for (std::size_t f = done; f < count; ++f) {
                move_sample(frames + f * step + c * Bytes, c, f);
            }
        }
    }
};

/// From the last column to the first: only the last may be narrower than a row, and the first
/// overwrites what it left behind a frame.
template <std::size_t Bytes, std::size_t Channels, typename Byte>
void move_columns(Byte* frames, const zel_planes& planes) {
    constexpr std::size_t kSize = square<Bytes>::kSize;
    const std::size_t room = (planes.count + planes.behind) * planes.channels * Bytes;
    for (std::size_t end = (planes.channels + kSize - 1) / kSize * kSize; end > 0; end -= kSize) {
        const std::size_t first = end - kSize;
        column<Bytes, Channels>(planes, first)
            .move_all(frames + first * Bytes, planes.count, room - first * Bytes);
    }
}

template <std::size_t Bytes, typename Byte>
void move_frames(Byte* frames, const zel_planes& planes) {
    switch (planes.channels) {
        case 6:
            return move_columns<Bytes, 6>(frames, planes);
        case 8:
            return move_columns<Bytes, 8>(frames, planes);
        default:
            return move_columns<Bytes, 0>(frames, planes);
    }
}

}  // namespace

namespace ZEL_KERNEL_SET {

void deinterleave(const unsigned char* frames, const zel_planes& planes) {
    planes.sample_bytes == 2 ? move_frames<2>(frames, planes) : move_frames<4>(frames, planes);
}

void interleave(const zel_planes& planes, unsigned char* frames) {
    planes.sample_bytes == 2 ? move_frames<2>(frames, planes) : move_frames<4>(frames, planes);
}

}  // namespace ZEL_KERNEL_SET

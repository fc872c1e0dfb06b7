// 48 to 16 kHz in vectors: cuts a chunk into its parts, lays them side by side and puts what the
// filter makes of them together again; see zel_src_48k_window.h.

#include "zel_planes.h"
#include "zel_src_48k_window.h"
#include "zel_src_vector_filter.h"
#include "zel_vector.h"
#include "zel_vector_kernels.h"

namespace {

/// Outputs of a part, as many as leave its vectors in the first-level cache.
constexpr std::size_t kMaxOutputs = kLanes == 16 ? 130 : 258;
/// Vectors for so many outputs.
constexpr std::size_t vectors_for(std::size_t outputs) {
    return kFactor * (outputs - 1) + kTaps;
}
static_assert((vectors_for(kMaxOutputs) + 3) * kLanes <= zel_src_window::kMaxVectorFloats);
static_assert(kFactor * (kLanes - 1) + 3 <= zel_src_window::kSpareFrames);

/// A stream of frames `Stride` samples apart, of which S consecutive samples make a unit: of a
/// part, of all or of half of its channels.
template <std::size_t S, std::size_t Stride>
class stream {
  public:
    static constexpr std::size_t kUnits = kLanes / S;  ///< in a vector
    static constexpr std::size_t kUnitsOfFrame = Stride / S;
    static constexpr std::size_t kParts = kUnits > kUnitsOfFrame ? kUnits / kUnitsOfFrame : 1;

    /// Makes `outputs` frames, and up to kParts - 1 more, at `out` of the input that begins with
    /// kTaps earlier frames at `in`.
    template <bool Folded>
    static void convert(const std::int16_t* in, std::size_t outputs, float* vectors,
                        std::int16_t* out) {
        constexpr std::size_t kMost = kParts * kMaxOutputs;
        for (; outputs > kMost; outputs -= kMost) {
            convert_parts<Folded>(in, kMaxOutputs, vectors, out);
            in += kMost * kFactor * Stride;
            out += kMost * Stride;
        }
        convert_parts<Folded>(in, (outputs + kParts - 1) / kParts, vectors, out);
    }

  private:
    // `out` is written through `to`, which the check doesn't see in a template.
    template <bool Folded>
    static void convert_parts(const std::int16_t* in, std::size_t outputs, float* vectors,
                              std::int16_t* out) {  // NOLINT(readability-non-const-parameter)
        alignas(64) std::int16_t lanes[kMaxOutputs * kLanes];
        for (std::size_t first = 0; first < kParts * kUnitsOfFrame; first += kUnits) {
            const std::int16_t* from[kUnits];
            std::int16_t* to[kUnits];
            for (std::size_t u = 0; u < kUnits; ++u) {
                const std::size_t start = (first + u) / kUnitsOfFrame * outputs;
                const std::size_t sample = (first + u) % kUnitsOfFrame * S;
                from[u] = &in[start * kFactor * Stride + sample];
                to[u] = &out[start * Stride + sample];
            }
            fill_vectors(from, vectors_for(outputs), vectors);
            filter_all<Folded>(vectors, outputs, lanes);
            spread(lanes, outputs, to);
        }
    }

    /// The units' samples in vectors' order, four samples of each unit at a time.
    static ZEL_INLINE void fill_vectors(const std::int16_t* const (&units)[kUnits],
                                        std::size_t count, float* vectors) {
        constexpr std::size_t kFrames = 4 / S;
        for (std::size_t n = 0; n < count; n += kFrames) {
            rows r{};
            for (std::size_t k = 0; k < kFrames; ++k) {
                r.v[k] = (vec_i) __builtin_convertvector(
                    load_quarters_16<kFrames>(units + k, n * Stride), vec_f);
            }
            if constexpr (S == 1) {
                r = transpose(r);
            } else if constexpr (S == 2) {
                const vec_f a = (vec_f)r.v[0];
                const vec_f b = (vec_f)r.v[1];
                r.v[0] = (vec_i)shuffle<0, 1, 4, 5>(a, b);
                r.v[1] = (vec_i)shuffle<2, 3, 6, 7>(a, b);
            }
            for (std::size_t k = 0; k < kFrames; ++k) {
                store_own_f(vectors + (n + k) * kLanes, (vec_f)r.v[k]);
            }
        }
    }

    /// Gives every unit its samples of the output vectors.
    static ZEL_INLINE void spread(const std::int16_t* lanes, std::size_t outputs,
                                  std::int16_t* const (&units)[kUnits]) {
        if constexpr (S < 4) {
            unsigned char* planes[kUnits];
            for (std::size_t u = 0; u < kUnits; ++u) {
                planes[u] = reinterpret_cast<unsigned char*>(units[u]);
            }
            ZEL_KERNEL_SET::deinterleave(reinterpret_cast<const unsigned char*>(lanes),
                                         {outputs, 0, kUnits, S * sizeof(std::int16_t), planes});
        } else {
            for (std::size_t o = 0; o < outputs; ++o) {
                for (std::size_t u = 0; u < kUnits; ++u) {
                    __builtin_memcpy(units[u] + o * Stride, lanes + o * kLanes + u * S,
                                     S * sizeof(std::int16_t));
                }
            }
        }
    }
};

/// Room for the outputs of a chunk and what the last parts make too much.
constexpr std::size_t kOutputRoom =
    zel_src_window::kMaxChunkFrames / kFactor + zel_src_window::kSpareFrames / kFactor;

/// Converts a chunk of interleaved frames; the outputs go to `to`, which may be where it was.
template <std::size_t S, std::size_t Channels>
void convert_interleaved(zel_src_window* window, std::int16_t* chunk, std::size_t frames,
                         std::int16_t* to) {
    constexpr std::size_t kFrameBytes = Channels * sizeof(std::int16_t);
    std::int16_t* history = window->history;
    std::int16_t out[kOutputRoom * Channels];
    __builtin_memcpy(history + kTaps * Channels, chunk, frames * kFrameBytes);
    stream<S, Channels>::template convert<(Channels > 2)>(history, frames / kFactor,
                                                          window->vectors, out);
    __builtin_memcpy(to, out, frames / kFactor * kFrameBytes);
    __builtin_memmove(history, history + frames * Channels, kTaps * kFrameBytes);
}

/// The same for other numbers of channels than powers of two, channel by channel.
void convert_planar(zel_src_window* window, std::int16_t* chunk, std::size_t frames,
                    std::int16_t* to) {
    constexpr std::size_t kMaxChannels = zel_src_window::kMaxChannels;
    const std::size_t channels = window->channels;
    std::int16_t out[kOutputRoom * kMaxChannels];
    unsigned char* in_planes[kMaxChannels];
    unsigned char* out_planes[kMaxChannels];
    for (std::size_t c = 0; c < channels; ++c) {
        in_planes[c] =
            reinterpret_cast<unsigned char*>(window->history + c * zel_src_window::kFrames + kTaps);
        out_planes[c] = reinterpret_cast<unsigned char*>(out + c * kOutputRoom);
    }
    ZEL_KERNEL_SET::deinterleave(reinterpret_cast<const unsigned char*>(chunk),
                                 {frames, 0, channels, sizeof(std::int16_t), in_planes});
    for (std::size_t c = 0; c < channels; ++c) {
        std::int16_t* history = window->history + c * zel_src_window::kFrames;
        stream<1, 1>::convert<true>(history, frames / kFactor, window->vectors,
                                    out + c * kOutputRoom);
        __builtin_memmove(history, history + frames, kTaps * sizeof(std::int16_t));
    }
    ZEL_KERNEL_SET::interleave({frames / kFactor, 0, channels, sizeof(std::int16_t), out_planes},
                               reinterpret_cast<unsigned char*>(to));
}

void convert_chunk(zel_src_window* window, std::int16_t* chunk, std::size_t frames,
                   std::int16_t* to) {
    switch (window->channels) {
        case 1:
            return convert_interleaved<1, 1>(window, chunk, frames, to);
        case 2:
            return convert_interleaved<2, 2>(window, chunk, frames, to);
        case 4:
            return convert_interleaved<4, 4>(window, chunk, frames, to);
        case 8:
            return convert_interleaved<4, 8>(window, chunk, frames, to);
        default:
            return convert_planar(window, chunk, frames, to);
    }
}

}  // namespace

namespace ZEL_KERNEL_SET {

void src_reset(zel_src_window* window, std::size_t channels) {
    window->channels = channels;
    __builtin_memset(window->history, 0, sizeof(window->history));
}

void src_convert(zel_src_window* window, std::int16_t* block, std::size_t frames) {
    constexpr std::size_t kLongest = zel_src_window::kMaxChunkFrames;
    for (std::size_t done = 0; done < frames;) {
        const std::size_t size = frames - done < kLongest ? frames - done : kLongest;
        convert_chunk(window, block + done * window->channels, size,
                      block + done / kFactor * window->channels);
        done += size;
    }
}

}  // namespace ZEL_KERNEL_SET

#include "zel_channel_mixing.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

#include "zel_log.h"
#include "zel_vector.h"

namespace {

constexpr const char* kTag = "zel_channel_mixing";

bool mixable(unsigned int bits) {
    return bits == 16 || bits == 32;
}

unsigned int sample_bytes(const pcm_config& config) {
    return pcm_format_to_bits(config.format) / 8;
}

struct mixing_job {
    const void* in;
    void* out;
    std::size_t frames;
    std::size_t ins, outs;  ///< channels
    const float* matrix;
};

template <typename Sample>
Sample sample_at(const void* block, std::size_t index) {
    Sample sample{};
    std::memcpy(&sample, static_cast<const unsigned char*>(block) + index * sizeof(sample),
                sizeof(sample));
    return sample;
}

template <typename Sample>
void store_sample(void* block, std::size_t index, std::int32_t mixed) {
    const auto sample = static_cast<Sample>(mixed);
    std::memcpy(static_cast<unsigned char*>(block) + index * sizeof(sample), &sample,
                sizeof(sample));
}

/// Truncates toward zero, saturating at the ends of the range; a NaN gives 0.
std::int32_t to_int(float value) {
    constexpr float kEnd = 2147483648.0F;
    if (value >= kEnd) {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (value <= -kEnd) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return value == value ? static_cast<std::int32_t>(value) : 0;
}

/// The definition: each product and each sum is rounded to float.
template <typename In, typename Out>
void mix_plain(const mixing_job& all) {
    const mixing_job job = all;  // which no store to the output can change
    for (std::size_t f = 0; f < job.frames; ++f) {
        const float* weight = job.matrix;
        for (std::size_t o = 0; o < job.outs; ++o) {
            float sum = 0.0F;
            for (std::size_t i = 0; i < job.ins; ++i) {
                const float product =
                    static_cast<float>(sample_at<In>(job.in, f * job.ins + i)) * *weight++;
                sum += product;
            }
            store_sample<Out>(job.out, f * job.outs + o, to_int(sum));
        }
    }
}

// The same for the outputs of a frame side by side, a lane for each.

constexpr std::size_t kLanes = 4;
constexpr std::size_t kMostInputs = 32;
constexpr std::size_t kMostOutputs = 2 * kLanes;
constexpr std::size_t kPiece = 64;  // frames taken at a time
constexpr std::size_t kAtOnce = 4;  // frames under way at once: they hide the additions' latency

using floats = zel_vector<kLanes>::floats;
using any_floats = zel_vector<kLanes>::any_floats;
#if defined(__SSE2__)
typedef std::int32_t ints __attribute__((vector_size(kLanes * 4)));
typedef std::int32_t any_ints __attribute__((vector_size(kLanes * 4), aligned(4), may_alias));
#endif

/// As `to_int`.
ZEL_INLINE void store_ints(const floats& v, std::int32_t* to) {
#if defined(__ARM_NEON)
    vst1q_s32(to, vcvtq_s32_f32((float32x4_t)v));
#elif defined(__SSE2__)
    // The instruction gives the lowest integer for all that doesn't fit; its complement is the
    // highest.
    const ints whole = (ints)_mm_cvttps_epi32((__m128)v);
    *reinterpret_cast<any_ints*>(to) = (whole ^ (v >= 2147483648.0F)) & (v == v);
#else
    for (std::size_t l = 0; l < kLanes; ++l) {
        to[l] = to_int(v[l]);
    }
#endif
}

/// kAtOnce frames with V vectors of outputs; `columns` has V vectors of weights for each input.
template <std::size_t V>
ZEL_INLINE void mix_frames(const float* x, std::size_t ins, const floats* columns, float* y,
                           std::size_t outs) {
    floats sum[kAtOnce][V] = {};
    for (std::size_t i = 0; i < ins; ++i) {
        for (std::size_t f = 0; f < kAtOnce; ++f) {
            for (std::size_t v = 0; v < V; ++v) {
                zel_add_product(sum[f][v], x[f * ins + i], columns[i * V + v]);
            }
        }
    }
    // Ascending: what reaches behind a frame is overwritten by the next.
    for (std::size_t f = 0; f < kAtOnce; ++f) {
        for (std::size_t v = 0; v < V; ++v) {
            *reinterpret_cast<any_floats*>(y + f * outs + v * kLanes) = sum[f][v];
        }
    }
}

template <typename Sample, std::size_t V>
void mix_vectors(const mixing_job& all) {
    const mixing_job job = all;
    floats columns[kMostInputs * V] = {};
    for (std::size_t o = 0; o < job.outs; ++o) {
        for (std::size_t i = 0; i < job.ins; ++i) {
            columns[i * V + o / kLanes][o % kLanes] = job.matrix[o * job.ins + i];
        }
    }
    float x[kPiece * kMostInputs] = {};
    float y[(kPiece + 1) * V * kLanes] = {};
    std::int32_t mixed[(kPiece + 1) * V * kLanes];
    for (std::size_t at = 0; at < job.frames; at += kPiece) {
        const std::size_t run = std::min(job.frames - at, kPiece);
        for (std::size_t k = 0; k < run * job.ins; ++k) {
            x[k] = static_cast<float>(sample_at<Sample>(job.in, at * job.ins + k));
        }
        for (std::size_t f = 0; f < run; f += kAtOnce) {
            mix_frames<V>(x + f * job.ins, job.ins, columns, y + f * job.outs, job.outs);
        }
        for (std::size_t k = 0; k < run * job.outs; k += kLanes) {
            const floats sum = *reinterpret_cast<const any_floats*>(y + k);
            store_ints(sum, mixed + k);
        }
        for (std::size_t k = 0; k < run * job.outs; ++k) {
            store_sample<Sample>(job.out, at * job.outs + k, mixed[k]);
        }
    }
}

/// 32-bit ARM's vectors flush denormals. With whole numbers for samples, all products and sums are
/// multiples of the smallest weight's last bit, 2^-23 of it; weights from 2^-80 on keep far from
/// the smallest normal number, 2^-126.
bool suits_vectors(const mixing_job& job) {
    constexpr float kSmallest = 0x1p-80F;
    return job.ins <= kMostInputs && job.outs <= kMostOutputs &&
           std::none_of(job.matrix, job.matrix + job.ins * job.outs,
                        [](float weight) { return weight != 0 && std::fabs(weight) < kSmallest; });
}

bool is_identity(const mixing_job& job) {
    std::size_t k = 0;
    return job.ins == job.outs &&
           std::all_of(job.matrix, job.matrix + job.ins * job.outs, [&](float weight) {
               const std::size_t at = k++;
               return weight == (at / job.ins == at % job.ins ? 1.0F : 0.0F);
           });
}

/// For samples of the same width on both sides, as the chain has them.
template <typename Sample>
void mix_alike(const mixing_job& job) {
    if (std::is_same_v<Sample, std::int16_t> && is_identity(job)) {
        std::memcpy(job.out, job.in, job.frames * job.ins * sizeof(Sample));
    } else if (!suits_vectors(job)) {
        mix_plain<Sample, Sample>(job);
    } else if (job.outs <= kLanes) {
        mix_vectors<Sample, 1>(job);
    } else {
        mix_vectors<Sample, 2>(job);
    }
}

void mix(const mixing_job& job, std::size_t in_bytes, std::size_t out_bytes) {
    if (in_bytes == out_bytes) {
        in_bytes == 2 ? mix_alike<std::int16_t>(job) : mix_alike<std::int32_t>(job);
    } else {
        in_bytes == 2 ? mix_plain<std::int16_t, std::int32_t>(job)
                      : mix_plain<std::int32_t, std::int16_t>(job);
    }
}

}  // namespace

zel_channel_mixing::zel_channel_mixing()
    : strEnableKey("MixingCoefficientEnable"),
      strBodyKey("MixingWeighting"),
      strInChannelKey("InputChannel"),
      strInLayoutKey("InputChannelLayout"),
      strOutChannelKey("OutputChannel"),
      strParamKey("Parameters") {}

int zel_channel_mixing::check_pcm_configs(const pcm_config* in, const pcm_config* out) {
    if (!mixable(pcm_format_to_bits(in->format))) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "mixing must use 16 or 32 bit input PCM format");
        return -EINVAL;
    }
    if (!mixable(pcm_format_to_bits(out->format))) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "mixing must use 16 or 32 bit output PCM format");
        return -EINVAL;
    }
    if (in->rate != out->rate) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "mixing must work with same sample rate");
        return -EINVAL;
    }
    return 0;
}

int zel_channel_mixing::init(std::string path, const std::string& layout, const pcm_config* in,
                             const pcm_config* out) {
    if (in == nullptr || out == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag,
                      "pointer of pcm configs is invalid in = %p, out = %p",
                      static_cast<const void*>(in), static_cast<const void*>(out));
        return -EINVAL;
    }
    const int status = check_pcm_configs(in, out);
    if (status != 0) {
        return status;
    }
    try {
        pf32Matrix = std::make_unique<float[]>(std::size_t{in->channels} * out->channels);
        if (load_coefficient(path, in->channels, layout, out->channels) != 0) {
            ZEL_LOG_PRINT(ANDROID_LOG_WARN, kTag, "mixing coefficient load fail");
        }
    } catch (const std::bad_alloc&) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "no memory for the mixing matrix");
        deinit();
        return -ENOMEM;
    }
    stInConfig = *in;
    stOutConfig = *out;
    strCoefPath = std::move(path);
    return 0;
}

int zel_channel_mixing::process(const void* in, unsigned int in_size, void* out,
                                unsigned int out_size) {
    if (in == nullptr || out == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "buffer is invalid in = %p, out = %p", in, out);
        return -EINVAL;
    }
    if (!pf32Matrix) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "mixing coefficient is invalid");
        return -EINVAL;
    }
    const unsigned int in_frame_bytes = stInConfig.channels * sample_bytes(stInConfig);
    const unsigned int out_frame_bytes = stOutConfig.channels * sample_bytes(stOutConfig);
    if (in_frame_bytes == 0 || out_frame_bytes == 0) {
        return -EINVAL;
    }
    if (in_size % in_frame_bytes != 0) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag,
                      "input buffer size is not the multiple of frame size");
        return -EINVAL;
    }
    if (out_size % out_frame_bytes != 0) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag,
                      "outputbuffer size is not the multiple of frame size");
        return -EINVAL;
    }
    const unsigned int frames = in_size / in_frame_bytes;
    const unsigned int room = out_size / out_frame_bytes;
    if (frames > room) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag,
                      "input sample number (%d) is larger than output sample number (%d)!!",
                      static_cast<int>(frames), static_cast<int>(room));
        return -EINVAL;
    }
    mix({in, out, frames, stInConfig.channels, stOutConfig.channels, pf32Matrix.get()},
        sample_bytes(stInConfig), sample_bytes(stOutConfig));
    return 0;
}

int zel_channel_mixing::channel_change(const std::string& layout) {
    try {
        return load_coefficient(strCoefPath, stInConfig.channels, layout, stOutConfig.channels);
    } catch (const std::bad_alloc&) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "no memory to load the mixing matrix");
        return -ENOMEM;
    }
}

std::span<const float> zel_channel_mixing::matrix() const {
    return {pf32Matrix.get(), std::size_t{stInConfig.channels} * stOutConfig.channels};
}

int zel_channel_mixing::deinit() {
    pf32Matrix.reset();
    stOutConfig = {};  // no output, so no weight to reload
    return 0;
}

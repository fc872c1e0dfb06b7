#include "zel_channel_mixing.h"

#include <cerrno>
#include <new>
#include <utility>

#include "zel_kernel_choice.h"
#include "zel_log.h"

namespace {

constexpr const char* kTag = "zel_channel_mixing";

bool mixable(unsigned int bits) {
    return bits == 16 || bits == 32;
}

unsigned int sample_bytes(const pcm_config& config) {
    return pcm_format_to_bits(config.format) / 8;
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
        mPlan.emplace(zel_kernel_in_use(), in->channels, sample_bytes(*in), out->channels,
                      sample_bytes(*out));
        mPlan->load(pf32Matrix.get());
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
    mPlan->run(in, out, frames);
    return 0;
}

int zel_channel_mixing::channel_change(const std::string& layout) {
    int status = -ENOMEM;
    try {
        status = load_coefficient(strCoefPath, stInConfig.channels, layout, stOutConfig.channels);
    } catch (const std::bad_alloc&) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "no memory to load the mixing matrix");
    }
    // Whatever became of it, the matrix may have changed.
    if (mPlan) {
        mPlan->load(pf32Matrix.get());
    }
    return status;
}

std::span<const float> zel_channel_mixing::matrix() const {
    return {pf32Matrix.get(), std::size_t{stInConfig.channels} * stOutConfig.channels};
}

int zel_channel_mixing::deinit() {
    mPlan.reset();
    pf32Matrix.reset();
    stInConfig = {};
    stOutConfig = {};
    return 0;
}

#include "zel_format_converter_src_wrapper.h"

#include <cerrno>
#include <cstdint>

#include "zel_log.h"
#include "zel_src_48k.h"

int zel_fc_lib_src_init(int /*unused*/, const pcm_config* in, const pcm_config* out) {
    if (in == nullptr || out == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, nullptr, "pcm config is invalid %p %p",
                      static_cast<const void*>(in), static_cast<const void*>(out));
        return -EINVAL;
    }
    if (in->channels != out->channels) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, nullptr, "channel num is not match (%d,%d)",
                      static_cast<int>(in->channels), static_cast<int>(out->channels));
        return -EINVAL;
    }
    if (in->format != PCM_FORMAT_S16_LE) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, nullptr, "input channel format is not 16 bit");
        return -EINVAL;
    }
    if (out->format != PCM_FORMAT_S16_LE) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, nullptr, "input format mismatch with output (%d,%d)",
                      static_cast<int>(in->format), static_cast<int>(out->format));
        return -EINVAL;
    }
    if (in->rate != 48000) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, nullptr, "sample rate is not 16 48Khz");
        return -EINVAL;
    }
    if (Ovra_VOC_SrcInit48k(static_cast<int>(in->channels)) != 0) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, nullptr, "SRC module init fail");
        return -1;
    }
    return 0;
}

int zel_fc_lib_src_process(void* block, unsigned int* size) {
    unsigned int samples = *size / 2;
    Ovra_VOC_SrcProcess48k(static_cast<std::int16_t*>(block), &samples);
    *size = samples * 2;
    return 0;
}

int zel_fc_lib_src_deinit() {
    return Ovra_VOC_SrcDeInit48k();
}

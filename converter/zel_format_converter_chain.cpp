// The processing chain: truncation, delay, mixing, rate conversion, padding or copy, each present
// when the two formats need it. Also the release of everything a stream holds. Runs on the worker.

#include <cerrno>
#include <cstring>

#include "zel_fc_log.h"
#include "zel_format_converter.h"
#include "zel_format_converter_delay_wrapper.h"
#include "zel_format_converter_mixing_wrapper.h"
#include "zel_format_converter_src_wrapper.h"

namespace {

unsigned int narrow_bits() {
    return pcm_format_to_bits(PCM_FORMAT_S16_LE);
}
unsigned int wide_bits() {
    return pcm_format_to_bits(PCM_FORMAT_S32_LE);
}

int truncate_sample_bit(void* block, unsigned int* bytes, unsigned int source_bits,
                        unsigned int target_bits) {
    if (source_bits != wide_bits() || target_bits != narrow_bits()) {
        ZEL_FC_LOGE("Only support 32 bit to 16 bit trunction.");
        return -EINVAL;
    }
    auto* to = static_cast<unsigned char*>(block);
    const std::size_t samples = *bytes / sizeof(std::int32_t);
    for (std::size_t i = 0; i < samples; ++i) {
        std::int32_t wide{};
        std::memcpy(&wide, to + i * sizeof(wide), sizeof(wide));
        const auto narrow = static_cast<std::int16_t>(wide >> 16);
        std::memcpy(to + i * sizeof(narrow), &narrow, sizeof(narrow));
    }
    *bytes /= 2;
    return 0;
}

int padding_sample_bit(const void* in, unsigned int* bytes, void* out, unsigned int source_bits,
                       unsigned int target_bits) {
    if (source_bits != narrow_bits() || target_bits != wide_bits()) {
        ZEL_FC_LOGE("Only support 16 bit to 32bit padding.");
        return -EINVAL;
    }
    const auto* from = static_cast<const unsigned char*>(in);
    auto* to = static_cast<unsigned char*>(out);
    const std::size_t samples = *bytes / sizeof(std::int16_t);
    for (std::size_t i = 0; i < samples; ++i) {
        std::int16_t narrow{};
        std::memcpy(&narrow, from + i * sizeof(narrow), sizeof(narrow));
        const std::int32_t wide = std::int32_t{narrow} * 65536;
        std::memcpy(to + i * sizeof(wide), &wide, sizeof(wide));
    }
    *bytes *= 2;
    return 0;
}

}  // namespace

int zel_format_converter::init_fc_submodule() {
    fnTruncate = nullptr;
    fnSrc = nullptr;
    fnPadding = nullptr;

    // Follows the samples' width, channel count and rate through the chain.
    pcm_config working = pmInPcmInfo->stPcmConfig;
    const pcm_config& client = pstOutInfo->stPcmConfig;
    const unsigned int client_bits = pcm_format_to_bits(client.format);
    const bool convert_rate = working.rate != client.rate;

    if (pcm_format_to_bits(working.format) == wide_bits() &&
        (client_bits == narrow_bits() || convert_rate)) {
        working.format = PCM_FORMAT_S16_LE;
        fnTruncate = truncate_sample_bit;
    }
    int status = init_delay_stage(working);
    if (status == 0) {
        status = init_mixing_stage(&working);
    }
    if (status == 0 && convert_rate) {
        status = zel_fc_lib_src_init(0, &working, &working);  // its output's rate is a third
        if (status != 0) {
            ZEL_FC_LOGE("SRC module init fail");
        } else {
            fnSrc = zel_fc_lib_src_process;
        }
    }
    if (status != 0) {
        deinit_fc_submodule();
        return status;
    }
    if (pcm_format_to_bits(working.format) == narrow_bits() && client_bits == wide_bits()) {
        fnPadding = padding_sample_bit;
    }
    ZEL_FC_LOGI(
        "FC operation status:\n        bit_truncate   %d\n        channel_delay  %d\n"
        "        channel_mixing %d\n        channel_src    %d\n        bit_padding    %d\n",
        fnTruncate != nullptr, fnDelay != nullptr, fnMixing != nullptr, fnSrc != nullptr,
        fnPadding != nullptr);
    return 0;
}

// Its steps log under its name.
namespace {
constexpr const char* kInit = "init_fc_submodule";
}

int zel_format_converter::init_delay_stage(const pcm_config& working) {
    std::string path;
    {
        const std::lock_guard lock(mPathLock);
        path = strDelayJsonPath;
    }
    const int status = zel_fc_lib_delay_init(path.c_str(), &working);
    if (status != 0) {
        ZEL_FC_LOGE_OF(kInit, "delay module init fail");
        return status;
    }
    fnDelay = zel_fc_lib_delay_process;
    if (pu8DelayBuf) {
        ZEL_FC_LOGE_OF(kInit, "pstZelFC->pu8DelayBuf already exist");
        return 0;
    }
    pu8DelayBuf = std::make_unique<std::uint8_t[]>(pmInPcmInfo->u32BufSize);
    u32DelayBufSize = pmInPcmInfo->u32BufSize;
    return 0;
}

int zel_format_converter::init_mixing_stage(pcm_config* working) {
    std::string path;
    {
        const std::lock_guard lock(mPathLock);
        path = strMixingJsonPath;
    }
    pcm_config mixed = *working;
    mixed.channels = pstOutInfo->stPcmConfig.channels;
    const int status = zel_fc_lib_mixing_init(path, strChannelLayout, working, &mixed);
    if (status != 0) {
        ZEL_FC_LOGE_OF(kInit, "mixing module init fail");
        return status;
    }
    fnMixing = zel_fc_lib_mixing_process;
    *working = mixed;
    if (pu8MixingBuf) {
        ZEL_FC_LOGE_OF(kInit, "pstZelFC->pu8MixingBuf already exist");
        return 0;
    }
    const unsigned int bytes =
        mixed.channels * pmInPcmInfo->u32Frames * (pcm_format_to_bits(mixed.format) / 8);
    pu8MixingBuf = std::make_unique<std::uint8_t[]>(bytes);
    u32MixingBufSize = bytes;
    return 0;
}

int zel_format_converter::process_fc() {
    std::uint8_t* block = pmInPcmInfo->pu8Buf.get();
    unsigned int bytes = pmInPcmInfo->u32BufSize;

    if (fnTruncate != nullptr &&
        fnTruncate(block, &bytes, pcm_format_to_bits(pmInPcmInfo->stPcmConfig.format),
                   narrow_bits()) != 0) {
        return -EINVAL;
    }
    if (fnDelay != nullptr) {
        const int status = fnDelay(block, pu8DelayBuf.get(), static_cast<int>(bytes));
        if (status != 0) {
            ZEL_FC_LOGE("delay module process_fc fail(%d)", status);
            return -EINVAL;
        }
        block = pu8DelayBuf.get();
    }
    if (fnMixing != nullptr) {
        const int status = fnMixing(block, bytes, pu8MixingBuf.get(), u32MixingBufSize);
        if (status != 0) {
            ZEL_FC_LOGE("mixing module process_fc fail(%d)", status);
            return -EINVAL;
        }
        block = pu8MixingBuf.get();
        bytes = u32MixingBufSize;
    }
    if (fnSrc != nullptr) {
        fnSrc(block, &bytes);
    }
    std::uint8_t* out = pstOutInfo->pu8Buf.get();
    const unsigned int out_bytes = pstOutInfo->u32BufSize;
    const bool pads = fnPadding != nullptr;
    const unsigned int final_bytes = pads ? 2 * bytes : bytes;
    // A padded block may be shorter than the client's, whose tail is silent then, but not longer.
    if (pads ? final_bytes > out_bytes : final_bytes != out_bytes) {
        ZEL_FC_LOGE("fc process size incorrect u32DataSize %d u32OutBufSize %d",
                    static_cast<int>(final_bytes), static_cast<int>(out_bytes));
        std::memset(out, 0, out_bytes);
        return 0;
    }
    if (pads) {
        fnPadding(block, &bytes, out, narrow_bits(),
                  pcm_format_to_bits(pstOutInfo->stPcmConfig.format));
        std::memset(out + final_bytes, 0, out_bytes - final_bytes);
    } else {
        std::memcpy(out, block, out_bytes);
    }
    return 0;
}

int zel_format_converter::deinit_fc_submodule() {
    zel_fc_lib_src_deinit();
    if (zel_fc_lib_delay_deinit() != 0) {
        ZEL_FC_LOGE("delay module deinit fail");
    }
    const int status = zel_fc_lib_mixing_deinit();
    if (status != 0) {
        ZEL_FC_LOGE("mixing module deinit fail");
    }
    pu8DelayBuf.reset();
    u32DelayBufSize = 0;
    pu8MixingBuf.reset();
    u32MixingBufSize = 0;
    return status;
}

int zel_format_converter::clean_fc_resource() {
    deinit_fc_submodule();
    close_pcm_device();
    drop_ring_buf();
    if (pstMixer != nullptr) {
        mixer_close(pstMixer);
        pstMixer = nullptr;
    }
    pstOutInfo.reset();
    return 0;
}

/// A client that is reading right now keeps the buffer alive until its read returns.
void zel_format_converter::drop_ring_buf() {
    std::shared_ptr<zel_ring_buf> last;
    const std::lock_guard lock(mRingLock);
    last.swap(pstRingBuf);
}

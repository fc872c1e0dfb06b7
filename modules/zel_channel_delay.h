#pragma once

#include <cjson/cJSON.h>
#include <tinyalsa/pcm.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

/// One channel's delay line: its storage holds exactly the delay's samples. Positions may rest at
/// the storage's end and go on at its start. Moves whole samples only.
class zel_channel_delay_buffer {
  public:
    /// Sizes and clears the line for `delay_ms` at the configuration's rate and width:
    /// frames = delay_ms * rate / 1000, truncated. 0, or -12 without a configuration or memory,
    /// and then an empty line.
    int create(unsigned int delay_ms, const pcm_config* config);
    /// Takes the oldest `n` bytes / stores `n` bytes; `n` is at most the storage's size. Always 0.
    /// Here, so that a sample of known size costs one move.
    int read(unsigned char* dst, unsigned int n);
    int write(const unsigned char* src, unsigned int n);

    std::uint32_t delay_frames() const { return u32DelayFrames; }

  private:
    std::uint32_t u32DelayFrames = 0;
    std::unique_ptr<std::uint8_t[]> pu8Buf;
    std::uint32_t u32BufSize = 0;  ///< bytes
    std::uint8_t* pu8Read = nullptr;
    std::uint8_t* pu8Write = nullptr;
};

inline int zel_channel_delay_buffer::read(unsigned char* dst, unsigned int n) {
    const auto to_end = static_cast<unsigned int>(pu8Buf.get() + u32BufSize - pu8Read);
    if (n <= to_end) {
        std::memcpy(dst, pu8Read, n);
        pu8Read += n;
    } else {
        std::memcpy(dst, pu8Read, to_end);
        std::memcpy(dst + to_end, pu8Buf.get(), n - to_end);
        pu8Read = pu8Buf.get() + (n - to_end);
    }
    return 0;
}

inline int zel_channel_delay_buffer::write(const unsigned char* src, unsigned int n) {
    const auto to_end = static_cast<unsigned int>(pu8Buf.get() + u32BufSize - pu8Write);
    if (n <= to_end) {
        std::memcpy(pu8Write, src, n);
        pu8Write += n;
    } else {
        std::memcpy(pu8Write, src, to_end);
        std::memcpy(pu8Buf.get(), src + to_end, n - to_end);
        pu8Write = pu8Buf.get() + (n - to_end);
    }
    return 0;
}

/// Delays each channel of an interleaved stream by its own time, counted from the last init; frames
/// before the first input are zero. All delays zero is bypass: a copy. No lock: one thread at a
/// time.
class zel_channel_delay {
  public:
    /// Longest delay of a channel in milliseconds; a file that asks for more is unusable.
    static constexpr unsigned int kMaxDelayMs = 10'000;

    zel_channel_delay();
    zel_channel_delay(const zel_channel_delay&) = delete;
    zel_channel_delay& operator=(const zel_channel_delay&) = delete;
    ~zel_channel_delay() { destroy_delay_buffer(&pstDelayBuf, stConfig.channels); }

    /// Takes the delays for this stream from the file at `path`; one that does not fit means
    /// bypass. Call after deinit only. 0, -22, or -12.
    int init(const std::string& path, const pcm_config* config);
    /// Delays one block of `size` bytes; `in` and `out` are different blocks of that size. 0, or
    /// -22 with nothing written. Real-time.
    int process(const void* in, void* out, int size);
    /// Releases the delay lines. Always 0.
    int deinit();

    // What `init` is made of.

    /// A line for each channel. 0; -22 without a configuration, or when `*lines` holds lines, which
    /// are released; -12.
    int create_delay_buffer(zel_channel_delay_buffer** lines, const unsigned int* delays_ms,
                            const pcm_config* config);
    int destroy_delay_buffer(zel_channel_delay_buffer** lines, unsigned int count);
    /// A table of delays in milliseconds, from the file or all 0. 0, or -22 when there is one; -12.
    int create_delay_coefficient(const std::string& path, unsigned int** table,
                                 const pcm_config* config);
    int destroy_delay_coefficient(unsigned int** table);
    /// Null when the file cannot be read; throws std::bad_alloc.
    std::unique_ptr<char[]> get_cofficient_content(const char* path);
    /// Finds the delays for a channel count. 0, or -22 with a message.
    int search_coefficient(const cJSON* root, unsigned int channels, cJSON** params);
    /// Fills `*table` with one delay in milliseconds for each channel. 0, or -22 with a message and
    /// all delays 0. Throws std::bad_alloc.
    int load_coefficient(const std::string& path, unsigned int* const* table,
                         unsigned int channels);

    // Helpers, for tools too.

    /// Whether the last load took the file's delays, and the index of the entry that decided the
    /// last search, -1 when none did.
    bool used() const { return bUsed; }
    int entry() const { return s32Entry; }

    /// Stores the elements of `params` in milliseconds, up to the first that no delay can be: that
    /// element, or null.
    static const cJSON* fill_table(const cJSON* params, unsigned int* table);
    /// The length of a delay at `rate` Hz in frames, truncated.
    static constexpr std::uint32_t delay_frames(unsigned int delay_ms, unsigned int rate) {
        // The longest delay times a card's 768 kHz is more than 32 bits.
        return static_cast<std::uint32_t>(std::uint64_t{delay_ms} * rate / 1000);
    }

  private:
    friend struct zel_channel_delay_access;

    template <typename Bytes>
    void delay_channels(const unsigned char* in, unsigned char* out, std::size_t frames,
                        Bytes sample_bytes);

    std::string strEnableKey;
    std::string strBodyKey;
    std::string strInChannelKey;
    std::string strParamKey;
    pcm_config stConfig{};
    std::uint32_t u32SampleBytes = 0;
    std::uint32_t u32FrameBytes = 0;
    zel_channel_delay_buffer* pstDelayBuf = nullptr;  ///< owned; one line per channel
    bool bBypass = false;
    bool bUsed = false;
    int s32Entry = -1;
};

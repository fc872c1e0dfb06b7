#pragma once

#include <cjson/cJSON.h>
#include <tinyalsa/pcm.h>

#include <memory>
#include <span>
#include <string>

/// Mixes the card's channels into the client's by a weight matrix: every output sample is the
/// weighted sum of all input samples of its frame. Interleaved 16- or 32-bit samples; no scaling
/// between widths and no clamping to 16 bits. No lock: one thread at a time.
class zel_channel_mixing {
  public:
    zel_channel_mixing();
    zel_channel_mixing(const zel_channel_mixing&) = delete;
    zel_channel_mixing& operator=(const zel_channel_mixing&) = delete;

    /// Takes the matrix for these two streams and that channel layout from the file at `path`; a
    /// file that does not fit leaves the identity matrix, one that cannot be read silence. Call
    /// only when idle. 0, -22 for unusable configurations, -12 with nothing left.
    int init(std::string path, const std::string& layout, const pcm_config* in,
             const pcm_config* out);
    /// Mixes `in_size` bytes of input frames to the start of `out`, whose room is `out_size` bytes.
    /// The two blocks are different. 0, or -22 with nothing written. Real-time.
    int process(const void* in, unsigned int in_size, void* out, unsigned int out_size);
    /// Reloads the matrix for another layout of the same streams. 0, or -22 with the matrix
    /// replaced by the identity or left alone; -12.
    int channel_change(const std::string& layout);
    /// Back to idle. Always 0.
    int deinit();

    // What `init` is made of.

    /// 0, or -22 with a message.
    int check_pcm_configs(const pcm_config* in, const pcm_config* out);
    /// Null when the file cannot be read; throws std::bad_alloc.
    std::unique_ptr<char[]> get_cofficient_content(const char* path);
    /// The sum of a layout name's fields: 12 for "7.1.4".
    static unsigned int channel_count(const std::string& layout);
    /// Finds the weights for these streams. 0, or -22 with a message.
    int search_coefficient(const cJSON* root, unsigned int in_channels, const std::string& layout,
                           unsigned int out_channels, cJSON** params);
    /// Fills the matrix, which must be that large. 0, or -22 with the identity in it or, when there
    /// is no file to read, nothing changed. Throws std::bad_alloc.
    int load_coefficient(const std::string& path, unsigned int in_channels,
                         const std::string& layout, unsigned int out_channels);

    // Helpers, for tools too.

    /// Whether the weights in use are the file's, and the index of the entry that decided the last
    /// search, -1 when none did.
    bool used() const { return bUsed; }
    int entry() const { return s32Entry; }
    /// The weights in use, a row by output channel; empty when idle.
    std::span<const float> matrix() const;
    /// Stores the elements of `params` as weights, up to the first that no weight can be: that
    /// element, or null.
    static const cJSON* fill_matrix(const cJSON* params, float* weights);

  private:
    friend struct zel_channel_mixing_access;

    void fill_identity(unsigned int in_channels, unsigned int out_channels);

    std::string strEnableKey;
    std::string strBodyKey;
    std::string strInChannelKey;
    std::string strInLayoutKey;
    std::string strOutChannelKey;
    std::string strParamKey;
    float f32One = 1.0F;
    float f32Zero = 0.0F;
    std::string strCoefPath;
    bool bUsed = false;
    int s32Entry = -1;
    pcm_config stInConfig{};
    pcm_config stOutConfig{};
    std::unique_ptr<float[]> pf32Matrix;  ///< row by output channel
};

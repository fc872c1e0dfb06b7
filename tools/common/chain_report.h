#pragma once

#include <string>

#include "library_log.h"

/// What the library tells of the chain that it has built: the card's stream, the stages, and how
/// the two coefficient files were taken.
class chain_report {
  public:
    enum class mixing { unknown, file, identity, silence };
    enum class delay { unknown, file, bypass };

    /// Learns from a message; those that tell nothing of the chain are passed over.
    void add(const library_message& message);

    bool built = false;  ///< false: all below but the reasons is unset
    unsigned int card_channels = 0;
    unsigned int card_bits = 0;  ///< of the samples' words
    unsigned int card_rate = 0;  ///< Hz
    bool truncates = false;
    bool converts_rate = false;
    bool pads = false;
    mixing mix = mixing::unknown;
    std::string mixing_path;
    std::string mixing_reason;  ///< the library's words; empty for the file's matrix
    delay delays = delay::unknown;
    std::string delay_path;
    std::string delay_reason;
    unsigned int silent_blocks = 0;  ///< whose size was not the client's

    /// "32 to 16 bits > delay > mixing > 48 to 16 kHz > 16 to 32 bits", those that are there.
    std::string stages() const;
    /// Each a sentence when the file isn't what is in use, else empty.
    std::string mixing_warning() const;
    std::string delay_warning() const;
    std::string silence_warning() const;

  private:
    void add_mixing(const library_message& message, const std::string& text);
    void add_delay(const library_message& message, const std::string& text);
};

#pragma once

#include <cstdint>

/// What the real card and the platform call the things that the converter looks for. A device whose
/// driver numbers its controls otherwise changes the two numbers here.
namespace zel_card_names {

inline constexpr const char* kCaptureDevice = "Loopback Capture_I2S";

inline constexpr const char* kActiveControl = "PCM Slave Active";
inline constexpr const char* kFormatControl = "PCM Slave Format";
inline constexpr const char* kRateControl = "PCM Slave Rate";
inline constexpr const char* kChannelsControl = "PCM Slave Channels";
inline constexpr const char* kLayoutControl = "PCM Channel Layout";

// The numbers (numid) that the events of two of them bear.
inline constexpr std::uint32_t kActiveNumber = 1;
inline constexpr std::uint32_t kLayoutNumber = 6;

// Two of card 70's own.
inline constexpr const char* kDelayPathControl = "FC delay coef file";
inline constexpr const char* kMixingPathControl = "FC mixing coef file";

// Where the coefficient files are when the voice utility does not tell.
inline constexpr const char* kDelayFile =
    "/vendor/tvconfig/config/voc/voice_channel_delay_coef.json";
inline constexpr const char* kMixingFile =
    "/vendor/tvconfig/config/voc/voice_channel_mixing_coef.json";

}  // namespace zel_card_names

#pragma once

#include "check_report.h"

// The part of `zel-fc check` that knows delay files.

inline constexpr double kSoundMetresPerSecond = 343;  ///< in air of 20 degrees Celsius

/// Checks every entry of the text's document, which has a body.
void check_delay_entries(const located_json& text, const cJSON* body, file_report* report);
/// How the device delays one stream.
decision decide_delay(const std::string& path, const located_json& text,
                      const stream_request& stream);
/// Adds what only this stream meets: no entry for it. After the entries.
void explain_delay(const located_json& text, const cJSON* body, const decision& decided,
                   file_report* report);

#pragma once

#include "check_report.h"

// The part of `zel-fc check` that knows mixing files.

/// Checks every entry of the text's document, which has a body.
void check_mixing_entries(const located_json& text, const cJSON* body, file_report* report);
/// What the device mixes by for one stream.
decision decide_mixing(const std::string& path, const located_json& text,
                       const stream_request& stream);
/// Adds what only this stream meets: no entry for it, or another layout's entry. After the entries.
void explain_mixing(const located_json& text, const cJSON* body, const decision& decided,
                    file_report* report);
/// "6 channels (5.1) to 2".
std::string mixing_stream_text(const stream_request& stream);

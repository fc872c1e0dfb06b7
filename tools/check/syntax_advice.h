#pragma once

#include <cstddef>
#include <string>

#include "located_json.h"

/// Why a file cannot be parsed, and what to do about it. What the device makes of a text is for its
/// own parser to say; RapidJSON, which is stricter and names its errors, tells where and why.
struct syntax_advice {
    std::string what, mend;
    std::size_t offset = 0;  ///< where to look
};
syntax_advice explain_syntax(const located_json& file);

#pragma once

#include <fmt/format.h>

#include <nlohmann/json.hpp>

/// An object keeps its members' order; a number that is none or infinite becomes null.
using json = nlohmann::ordered_json;

/// To the standard output, indented; bytes that are no UTF-8 are replaced.
inline void print_json(const json& value) {
    fmt::print("{}\n", value.dump(2, ' ', false, json::error_handler_t::replace));
}

#pragma once

#include <cstdint>
#include <string>

namespace zel_fuzz {

/// Makes an input the content of a file in memory, the same one for all inputs, and forgets the
/// messages about the last one. The file's path.
const std::string& coefficient_file(const std::uint8_t* data, std::size_t size);

}  // namespace zel_fuzz

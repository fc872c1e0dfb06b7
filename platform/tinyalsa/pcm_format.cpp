// What needs no device; tests that bring their own tinyalsa take it, too.

#include <tinyalsa/pcm.h>

#include <cstddef>
#include <iterator>

__attribute__((visibility("default"))) unsigned int pcm_format_to_bits(pcm_format format) {
    // S16_LE, S32_LE, S8, S24_LE, S24_3LE, then S16_BE, S24_BE, S24_3BE, S32_BE and floats.
    constexpr unsigned int kBits[] = {16, 32, 8, 32, 24, 16, 32, 24, 32, 32, 32};
    const auto index = static_cast<std::size_t>(format);
    return index < std::size(kBits) ? kBits[index] : 16;
}

#include "valid_utf8.h"

#include <locale.h>
#include <uchar.h>

#include <algorithm>

std::size_t first_character(std::string_view text, char32_t* code) {
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    const locale_t before = uselocale(utf8);
    mbstate_t state{};
    const std::size_t length = mbrtoc32(code, text.data(), text.size(), &state);
    uselocale(before);
    // The C library may know longer forms, beyond the last character.
    return length <= 4 && *code <= 0x10FFFF ? length : 0;
}

std::string valid_utf8(std::string_view text) {
    std::string valid;
    for (char32_t code = 0; !text.empty();) {
        const std::size_t length = first_character(text, &code);
        valid += length != 0 ? text.substr(0, length) : "\xEF\xBF\xBD";
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return valid;
}

#include "json_value.h"

#include <cstdio>
#include <memory>

void json_value::print(bool one_line) const {
    const std::unique_ptr<char, void (*)(void*)> text(
        one_line ? cJSON_PrintUnformatted(node) : cJSON_Print(node), cJSON_free);
    if (text) {
        std::printf("%s\n", text.get());
        std::fflush(stdout);
    }
}

#include "exit_code.h"

#include <cstdio>

exit_code fail(exit_code code, const std::string& text) {
    std::fprintf(stderr, "zel-fc: %s\n", text.c_str());
    return code;
}

#pragma once
#pragma GCC system_header

// cJSON's header as the sources name it, in a tree whose cJSON exports it without a folder, too.
#if __has_include_next(<cjson/cJSON.h>)
#include_next <cjson/cJSON.h>
#else
#include <cJSON.h>
#endif

#pragma once

#include <cstdio>

#include "zel_log.h"
#include "zel_text_file.h"

/// Tells how reading a coefficient file went, under the caller's name and `tag`. A macro, so that
/// the messages' function and line are the caller's.
#define ZEL_LOG_TEXT_FILE(tag, file)                                                  \
    do {                                                                              \
        if ((file).status == zel_text_status::seek_end_failed) {                      \
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, tag, "fseek to end fail");               \
        } else if ((file).status == zel_text_status::bad_size) {                      \
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, tag, "file size incorrect");             \
        } else if ((file).status == zel_text_status::seek_set_failed) {               \
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, tag, "fseek to set fail");               \
        } else if ((file).status == zel_text_status::no_memory) {                     \
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, tag, "mallc content fail");              \
        }                                                                             \
        if ((file).short_read) {                                                      \
            std::fprintf(stderr, "fread size not match, errno=(%d)\n", (file).error); \
        }                                                                             \
        if ((file).close_failed) {                                                    \
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, tag, "fclose fail");                     \
        }                                                                             \
    } while (false)

#pragma once

#include "zel_format_converter.h"
#include "zel_log.h"

// Messages of the plugins and the converter: one tag, gated by the process-wide log level.

#define ZEL_FC_LOG_TAG "zel_tinyalsa_format_converter"

#define ZEL_FC_LOG(level, prio, operation, ...)                                              \
    do {                                                                                     \
        if (zel_format_converter::u32LOG_LEVEL.load(std::memory_order_relaxed) >= (level)) { \
            ZEL_LOG_PRINT_OF((prio), ZEL_FC_LOG_TAG, (operation), __VA_ARGS__);              \
        }                                                                                    \
    } while (false)

#define ZEL_FC_LOGE(...) ZEL_FC_LOGE_OF(__func__, __VA_ARGS__)
#define ZEL_FC_LOGW(...) ZEL_FC_LOGW_OF(__func__, __VA_ARGS__)
#define ZEL_FC_LOGI(...) ZEL_FC_LOGI_OF(__func__, __VA_ARGS__)
#define ZEL_FC_LOGT(...) ZEL_FC_LOGT_OF(__func__, __VA_ARGS__)

// Under the name of the operation that a step belongs to: a reader of the log knows operations.
#define ZEL_FC_LOGE_OF(operation, ...) \
    ZEL_FC_LOG(FC_LOG_ERROR, ANDROID_LOG_ERROR, operation, __VA_ARGS__)
#define ZEL_FC_LOGW_OF(operation, ...) \
    ZEL_FC_LOG(FC_LOG_WARN, ANDROID_LOG_WARN, operation, __VA_ARGS__)
#define ZEL_FC_LOGI_OF(operation, ...) \
    ZEL_FC_LOG(FC_LOG_INFO, ANDROID_LOG_DEBUG, operation, __VA_ARGS__)
#define ZEL_FC_LOGT_OF(operation, ...) \
    ZEL_FC_LOG(FC_LOG_TRACE, ANDROID_LOG_DEBUG, operation, __VA_ARGS__)

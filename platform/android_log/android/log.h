#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Priorities of the Android log, ascending.
typedef enum android_LogPriority {
    ANDROID_LOG_UNKNOWN = 0,
    ANDROID_LOG_DEFAULT,
    ANDROID_LOG_VERBOSE,
    ANDROID_LOG_DEBUG,
    ANDROID_LOG_INFO,
    ANDROID_LOG_WARN,
    ANDROID_LOG_ERROR,
    ANDROID_LOG_FATAL,
    ANDROID_LOG_SILENT,
} android_LogPriority;

/// Writes one message; a null tag stands for the log's default tag. Any thread.
int __android_log_print(int prio, const char* tag, const char* fmt, ...)
    __attribute__((format(printf, 3, 4)));

/// One message on its way to a logger; valid during the call.
struct __android_log_message {
    size_t struct_size;  ///< of this record in bytes
    int32_t buffer_id;
    int32_t priority;
    const char* tag;   ///< null for the log's default tag
    const char* file;  ///< null when not known
    uint32_t line;
    const char* message;
};

/// Takes messages instead of the log. Any thread, several at once.
typedef void (*__android_logger_function)(const struct __android_log_message* log_message);

/// All later messages of the process go to `logger`.
void __android_log_set_logger(__android_logger_function logger);
/// Writes a message to the standard error stream: the logger that a process begins with here.
void __android_log_stderr_logger(const struct __android_log_message* log_message);

#ifdef __cplusplus
}
#endif

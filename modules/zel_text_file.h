#pragma once

#include <memory>

/// Largest coefficient file that is read, in bytes. A larger one is refused: the files hold a few
/// kilobytes, and what a path names is not trusted.
inline constexpr long kZelMaxTextFileBytes = 1L << 20;

/// How reading a text file ended.
enum class zel_text_status {
    ok,
    not_opened,
    seek_end_failed,
    bad_size,
    seek_set_failed,
    no_memory
};

/// A file's whole content with a terminating zero.
struct zel_text_file {
    std::unique_ptr<char[]> text;  ///< null unless `status` is ok
    zel_text_status status = zel_text_status::not_opened;
    bool short_read = false;  ///< fewer bytes came than the file was long; the rest is zero
    bool close_failed = false;
    int error = 0;  ///< errno of the short read
};

/// Reads the regular file at `path`. A directory, device or FIFO counts as not opened, so that no
/// path can make the caller wait.
zel_text_file zel_read_text_file(const char* path);

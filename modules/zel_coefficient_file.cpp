#include "zel_coefficient_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <new>

#include "zel_log.h"

namespace {

/// O_NONBLOCK: opening a FIFO must not wait for its writer.
std::FILE* open_regular(const char* path) {
    if (path == nullptr) {
        return nullptr;
    }
    const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        return nullptr;
    }
    struct stat info {};
    std::FILE* file = nullptr;
    if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) {
        file = fdopen(fd, "rb");
    }
    if (file == nullptr) {
        close(fd);
    }
    return file;
}

void read_content(std::FILE* file, zel_text_file* result) {
    if (std::fseek(file, 0, SEEK_END) != 0) {
        result->status = zel_text_status::seek_end_failed;
        return;
    }
    const long size = std::ftell(file);
    if (size < 0) {
        result->status = zel_text_status::no_size;
        return;
    }
    if (std::fseek(file, 0, SEEK_SET) != 0) {
        result->status = zel_text_status::seek_set_failed;
        return;
    }
    const bool too_large = size > kZelMaxTextFileBytes;
    const auto bytes = too_large ? 0 : static_cast<std::size_t>(size);
    result->text.reset(new (std::nothrow) char[bytes + 1]());
    if (!result->text) {
        result->status = zel_text_status::no_memory;
        return;
    }
    result->short_read = std::fread(result->text.get(), 1, bytes, file) < bytes;
    result->error = errno;
    result->status = too_large ? zel_text_status::too_large : zel_text_status::ok;
}

}  // namespace

zel_text_file zel_read_text_file(const char* path) {
    zel_text_file result;
    errno = 0;
    std::FILE* file = open_regular(path);
    if (file == nullptr) {
        result.status = errno == ENOMEM ? zel_text_status::no_memory : zel_text_status::not_opened;
        return result;
    }
    read_content(file, &result);
    result.close_failed = std::fclose(file) != 0;
    return result;
}

zel_text_file get_cofficient_content(const char* path, const char* tag) {
    zel_text_file file = zel_read_text_file(path);
    if (file.status == zel_text_status::seek_end_failed) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, tag, "fseek to end fail");
    } else if (file.status == zel_text_status::no_size ||
               file.status == zel_text_status::too_large) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, tag, "file size incorrect");
    } else if (file.status == zel_text_status::seek_set_failed) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, tag, "fseek to set fail");
    } else if (file.status == zel_text_status::no_memory) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, tag, "mallc content fail");
        throw std::bad_alloc();
    }
    if (file.short_read) {
        std::fprintf(stderr, "fread size not match, errno=(%d)\n", file.error);
    }
    if (file.close_failed) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, tag, "fclose fail");
    }
    return file;
}

zel_json_document zel_parse_json(const char* text, const char** error) {
    errno = 0;
    zel_json_document root{cJSON_ParseWithOpts(text, error, 0), cJSON_Delete};
    if (!root && errno == ENOMEM) {
        throw std::bad_alloc();
    }
    return root;
}

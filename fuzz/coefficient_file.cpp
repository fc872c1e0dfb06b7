#include "coefficient_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include "captured_log.h"
#include "fuzz_input.h"

namespace zel_fuzz {

const std::string& coefficient_file(const std::uint8_t* data, std::size_t size) {
    static const int fd = memfd_create("coefficients", MFD_CLOEXEC);
    static const std::string path = "/proc/self/fd/" + std::to_string(fd);
    zel_test::clear_log();
    ZEL_FUZZ_CHECK(ftruncate(fd, 0) == 0);
    ZEL_FUZZ_CHECK(pwrite(fd, data, size, 0) == static_cast<ssize_t>(size));
    return path;
}

}  // namespace zel_fuzz

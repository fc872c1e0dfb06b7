#include "coefficient_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz_input.h"

namespace zel_fuzz {

coefficient_file::coefficient_file()
    : fd(memfd_create("coefficients", MFD_CLOEXEC)), name("/proc/self/fd/" + std::to_string(fd)) {
    ZEL_FUZZ_CHECK(fd >= 0);
}

coefficient_file::~coefficient_file() {
    close(fd);
}

void coefficient_file::replace(const std::uint8_t* data, std::size_t size) const {
    ZEL_FUZZ_CHECK(ftruncate(fd, 0) == 0);
    ZEL_FUZZ_CHECK(pwrite(fd, data, size, 0) == static_cast<ssize_t>(size));
}

}  // namespace zel_fuzz

# 64-bit ARM.
set(ZEL_ARCH arm64)
set(ZEL_TRIPLE aarch64-linux-gnu)
set(ZEL_CLANG_TARGET aarch64-linux-gnu)
set(ZEL_EMULATOR qemu-aarch64)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian_sysroot.cmake)

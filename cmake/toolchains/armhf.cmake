# 32-bit ARM.
set(ZEL_ARCH armhf)
set(ZEL_TRIPLE arm-linux-gnueabihf)
set(ZEL_CLANG_TARGET armv7a-linux-gnueabihf)
set(ZEL_EMULATOR qemu-arm)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
include(${CMAKE_CURRENT_LIST_DIR}/debian_sysroot.cmake)
